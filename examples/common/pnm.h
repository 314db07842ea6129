// Binary PGM and PPM files (P5 and P6).
#pragma once

#include "common/file.h"
#include "common/image.h"

namespace img {

// Up to a maximum of 255 the samples become 8 bits, up to 4095 12 bits, above that 16 bits.
Error readPnm(ByteSpan file, int64_t maxPixels, Image& image);
void writePnm(const Image& image, Bytes& file);

} // namespace img
