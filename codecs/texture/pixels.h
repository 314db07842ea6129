// Between the pixels of pictures and the samples that the library's block functions take and give.
#pragma once

#include <cmath>
#include <cstring>

#include "texture/layout.h"

namespace texture {

// Channels of a pixel as the encoder of a target takes it.
constexpr int channelsOf(Target target) {
  switch (target) {
    case Target::bc4:
      return 1;
    case Target::bc5:
      return 2;
    case Target::yCoCg:
      return 3;
    default:
      return 4;
  }
}
const Format* formatOf(Target target);

// A row of a picture as `nearest` gives it to a row of that many channels, and back from a row decoded of a format.
void toEncoder(const uint8_t* from, int channels, Target target, int width, uint8_t* to);

inline uint8_t clamped(int v) {
  return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

// Chroma around 128: Y = (R + 2 G + B) / 4, Co = (R - B) / 2, Cg = (2 G - R - B) / 4.
inline void rgbToYCoCg(const uint8_t* rgb, uint8_t* to) {
  const int r = rgb[0], g = rgb[1], b = rgb[2];
  to[0] = clamped((r + 2 * g + b + 2) >> 2);
  to[1] = clamped((r - b + 1) / 2 + 128);
  to[2] = clamped((2 * g - r - b + 2) / 4 + 128);
}
// From a decoded pixel: Co, Cg, the scale's field, Y.
inline void yCoCgToRgb(const uint8_t* from, uint8_t* rgb) {
  const int scale = (from[2] >> 3) + 1;
  const int y = from[3];
  const double co = double(from[0] - 128) / scale, cg = double(from[1] - 128) / scale;
  rgb[0] = clamped(static_cast<int>(std::lrint(y + co - cg)));
  rgb[1] = clamped(static_cast<int>(std::lrint(y + cg)));
  rgb[2] = clamped(static_cast<int>(std::lrint(y - co - cg)));
}

inline float halfToFloat(uint16_t half) {
  const int exponent = half >> 10 & 31, mantissa = half & 1023;
  const float magnitude = exponent == 31  ? (mantissa ? NAN : INFINITY)
                          : exponent == 0 ? std::ldexp(static_cast<float>(mantissa), -24)
                                          : std::ldexp(static_cast<float>(mantissa + 1024), exponent - 25);
  return half & 0x8000 ? -magnitude : magnitude;
}

// Rows of blocks of a format become pixels: R, G, B, A bytes; one or two channels; three half floats. `height` is a
// multiple of 4 or ends with the surface. `pixels` has room for whole blocks of half floats.
void decodeBlocks(const Format& format, const uint8_t* blocks, int width, int height, uint8_t* pixels, size_t rowBytes);
size_t decodedPixelBytes(const Format& format);

} // namespace texture
