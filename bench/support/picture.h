// The picture that whole codecs are measured with: R, G, B, 8 bits.
#pragma once

#include "common/image.h"

namespace zelj::bench {

constexpr int kPictureSize = 2048; // both ways

// A rendered scene, or a mosaic of the PNG photographs in the folder that the environment variable ZELJ_BENCH_IMAGES
// names.
const img::Image& picture();

} // namespace zelj::bench
