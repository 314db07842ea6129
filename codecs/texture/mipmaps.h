// The next smaller level of a picture.
#pragma once

#include <array>

#include "common/image.h"

namespace texture {

// What samples of 8 bits mean where they are averaged: light of 16 bits, and the nearest sample for it.
class Light {
 public:
  explicit Light(bool sRgb);

  int64_t of(uint8_t sample) const { return light_[sample]; }
  uint8_t sample(int64_t light) const { return samples_[static_cast<size_t>(light)]; }

 private:
  std::array<uint16_t, 256> light_;
  std::array<uint8_t, 65536> samples_;
};

// Half of each side, rounded down, at least 1.
img::Picture halfOf(const img::Picture& picture);

// Rows of a picture of 8 bits made half as large. Pixels are averages over the two by two pixels that they cover, or
// three where a side is odd; transparent pixels count less for the colours. Alpha is averaged as it is.
void halve(const img::Image& image, const Light& light, int y, const img::Rows& half);

} // namespace texture
