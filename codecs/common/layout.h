// A row of 8-bit pixels from one layout to another, for what takes the usual one alone.
#pragma once

#include "common/picture.h"

namespace img {

// Any layout of `channels` channels to the usual one. Pixels in pairs have Y, Cb, Cr in both of them.
void toUsual(Layout layout, const uint8_t* row, int width, uint8_t* usual, int channels = 3);

// The usual layout to another one of R, G, B, or to planes. Pairs are not made.
void fromUsual(Layout layout, const uint8_t* usual, int width, uint8_t* row, int channels = 3);

} // namespace img
