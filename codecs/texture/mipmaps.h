// The next smaller level of a picture.
#pragma once

#include "common/image.h"

namespace texture {

// Half of each side, rounded down, at least 1; a picture of 8 bits. Pixels are averages over the two by two pixels that
// they cover, or three where a side is odd; transparent pixels count less for the colours.
img::Image halved(const img::Image& image);

} // namespace texture
