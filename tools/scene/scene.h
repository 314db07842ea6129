// A picture to try codecs on, made by calculation: sky, hills, grass, shining balls and a printed board, so that it has
// gradients, fine texture, hard edges and noise.
#pragma once

#include "common/image.h"

namespace img {

// 8-bit R, G, B. The content scales with the size; texture and noise are as fine as the pixels.
Image renderScene(int width, int height);

} // namespace img
