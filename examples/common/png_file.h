// PNG files, by libpng.
#pragma once

#include "common/file.h"
#include "common/image.h"

namespace img {

// Palettes and low depths become 8 bits, 16 bits stay. `alphaDropped` tells that the file had an alpha channel, which
// an Image has no place for.
Error readPng(ByteSpan file, int64_t maxPixels, Image& image, bool& alphaDropped);

// 12-bit samples are scaled to 16.
Error writePng(const Image& image, Bytes& file);

} // namespace img
