// An image in memory, and what can be done to it without a codec.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "common/error.h"

namespace img {

struct Image {
  int width = 0, height = 0;
  int channels = 0;           // 1: grey; 3: R, G, B
  int bits = 8;               // of a sample: 8, or 12 or 16 in two bytes in the machine's order
  std::vector<uint8_t> bytes; // rows without gaps

  int maxValue() const { return (1 << bits) - 1; }
  size_t rowSamples() const { return static_cast<size_t>(width) * static_cast<size_t>(channels); }
  size_t rowBytes() const { return rowSamples() * (bits > 8 ? 2 : 1); }

  template <class Sample>
  Sample* row(int y) {
    return reinterpret_cast<Sample*>(bytes.data() + static_cast<size_t>(y) * rowBytes());
  }
  template <class Sample>
  const Sample* row(int y) const {
    return reinterpret_cast<const Sample*>(bytes.data() + static_cast<size_t>(y) * rowBytes());
  }
};

// How many pixels a file may claim before it is refused.
constexpr int64_t kDefaultMaxPixels = int64_t{1} << 28;

Error checkSize(int64_t width, int64_t height, int64_t maxPixels);

// Sets the size and makes room for the samples, which keep what was in memory.
void shape(Image& image, int width, int height, int channels, int bits);

// The image with samples of other bits, full scale to full scale.
Image withBits(const Image& image, int bits);

// The image in grey (luminance) or in R, G, B.
Image withChannels(const Image& image, int channels);

// Peak signal-to-noise ratio in dB of two images of one shape; 99 for equal ones.
double psnr(const Image& a, const Image& b);

} // namespace img
