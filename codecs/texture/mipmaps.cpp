#include "texture/mipmaps.h"

#include <algorithm>
#include <cmath>

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

// Of 1, of a sample from 0 to 1.
double sRgbLight(double v) {
  return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

} // namespace

Light::Light(bool sRgb) {
  const auto lightOf = [=](double sample) { return 65535 * (sRgb ? sRgbLight(sample / 255) : sample / 255); };
  size_t next = 0;
  for (size_t v = 0; v < 256; ++v) {
    const auto sample = static_cast<double>(v);
    light_[v] = static_cast<uint16_t>(std::lround(lightOf(sample)));
    // Up to the light of half a sample more.
    for (; next < 65536 && (v == 255 || static_cast<double>(next) < lightOf(sample + 0.5)); ++next)
      samples_[next] = static_cast<uint8_t>(v);
  }
}

img::Picture halfOf(const img::Picture& picture) {
  img::Picture half = picture;
  half.width = std::max(1, picture.width / 2);
  half.height = std::max(1, picture.height / 2);
  return half;
}

namespace {

// Four pixels of which all count the same.
void average(const uint8_t* above, const uint8_t* below, int channels, int colours, const Light& light, uint8_t* to) {
  for (int k = 0; k < colours; ++k) {
    const int64_t sum =
        light.of(above[k]) + light.of(above[channels + k]) + light.of(below[k]) + light.of(below[channels + k]);
    to[k] = light.sample((sum + 2) / 4);
  }
  if (colours < channels) to[colours] = 255;
}

} // namespace

void halve(const img::Image& image, const Light& light, int y, const img::Rows& half) {
  const int width = halfOf(image).width, channels = image.channels(), colours = channels - (image.alpha ? 1 : 0);
  const bool areEven = image.width % 2 == 0 && image.height % 2 == 0;
  for (int r = 0; r < half.count; ++r) {
    const Cover rows = coverOf(y + r, image.height);
    uint8_t* to = half.row<uint8_t>(r);
    for (int x = 0; x < width; ++x, to += channels) {
      const Cover columns = coverOf(x, image.width);
      if (areEven) {
        const uint8_t* above = image.row<uint8_t>(rows.first) + columns.first * channels;
        const uint8_t* below = image.row<uint8_t>(rows.first + 1) + columns.first * channels;
        const int c = colours;
        if (!image.alpha || (above[c] & above[channels + c] & below[c] & below[channels + c]) == 255) {
          average(above, below, channels, colours, light, to);
          continue;
        }
      }
      int64_t sum[4] = {}, plain[4] = {}, weights = 0, opacity = 0;
      for (int i = 0; i < rows.count; ++i) {
        const uint8_t* pixel = image.row<uint8_t>(rows.first + i) + columns.first * channels;
        for (int c = 0; c < columns.count; ++c, pixel += channels) {
          const int64_t weight = int64_t{rows.weight[i]} * columns.weight[c];
          const int64_t seen = image.alpha ? weight * pixel[colours] : weight;
          for (int k = 0; k < colours; ++k) {
            const int64_t value = light.of(pixel[k]);
            sum[k] += seen * value;
            plain[k] += weight * value;
          }
          weights += weight;
          opacity += seen;
        }
      }
      for (int k = 0; k < colours; ++k)
        to[k] = light.sample(opacity ? (sum[k] + opacity / 2) / opacity : (plain[k] + weights / 2) / weights);
      if (image.alpha) to[colours] = static_cast<uint8_t>((opacity + weights / 2) / weights);
    }
  }
}

} // namespace texture
