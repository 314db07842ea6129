#include "texture/mipmaps.h"

#include <algorithm>

namespace texture {
namespace {

// Weights of up to three neighbours for a result: for an odd side of 2n + 1, what each of n results covers of them.
struct Cover {
  int first, count, weight[3];
};

Cover coverOf(int i, int side) {
  const int half = side / 2;
  if (side == 1) return {0, 1, {1, 0, 0}};
  if (side % 2 == 0) return {2 * i, 2, {1, 1, 0}};
  return {2 * i, 3, {half - i, half, i + 1}};
}

} // namespace

img::Image halved(const img::Image& image) {
  img::Picture picture = image;
  picture.width = std::max(1, image.width / 2);
  picture.height = std::max(1, image.height / 2);
  img::Image half;
  shape(half, picture);
  const int channels = image.channels(), colours = channels - (image.alpha ? 1 : 0);
  for (int y = 0; y < half.height; ++y) {
    const Cover rows = coverOf(y, image.height);
    for (int x = 0; x < half.width; ++x) {
      const Cover columns = coverOf(x, image.width);
      int64_t sum[4] = {}, plain[4] = {}, weights = 0, opacity = 0;
      for (int r = 0; r < rows.count; ++r) {
        for (int c = 0; c < columns.count; ++c) {
          const uint8_t* pixel = image.row<uint8_t>(rows.first + r) + (columns.first + c) * channels;
          const int64_t weight = int64_t{rows.weight[r]} * columns.weight[c];
          const int64_t seen = image.alpha ? weight * pixel[colours] : weight;
          for (int k = 0; k < colours; ++k) {
            sum[k] += seen * pixel[k];
            plain[k] += weight * pixel[k];
          }
          weights += weight;
          opacity += seen;
        }
      }
      uint8_t* to = half.row<uint8_t>(y) + x * channels;
      for (int k = 0; k < colours; ++k) {
        to[k] = static_cast<uint8_t>(opacity ? (sum[k] + opacity / 2) / opacity : (plain[k] + weights / 2) / weights);
      }
      if (image.alpha) to[colours] = static_cast<uint8_t>((opacity + weights / 2) / weights);
    }
  }
  return half;
}

} // namespace texture
