// What a picture is, without its samples.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/bytes.h"
#include "common/error.h"

namespace img {

enum class Colour { grey, rgb, cmyk }; // cmyk: 0 is no ink

// Pixels or dots on a length; 0 where a file says nothing.
struct Density {
  enum class Unit { none, inch, centimetre }; // none: the ratio of width and height alone
  double x = 0, y = 0;
  Unit unit = Unit::none;
};

// What goes with the samples from file to file.
struct Metadata {
  Bytes icc;  // the colour profile
  Bytes exif; // a TIFF structure, as it stands behind the name of a segment or chunk
  Density density;
};

struct Picture {
  int width = 0, height = 0;
  Colour colour = Colour::grey;
  bool alpha = false; // the last channel is opacity, not multiplied into the others
  int bits = 8;       // of a sample, 1 to 16; 32: floating point. A sample of 8 bits or fewer takes a byte, of 16 or
                      // fewer two, a float four, in the machine's order
  Metadata metadata;

  int channels() const { return (colour == Colour::grey ? 1 : colour == Colour::rgb ? 3 : 4) + (alpha ? 1 : 0); }
  int sampleBytes() const { return bits <= 8 ? 1 : bits <= 16 ? 2 : 4; }
  int maxValue() const { return (1 << (bits <= 16 ? bits : 0)) - 1; }
  size_t rowSamples() const { return static_cast<size_t>(width) * static_cast<size_t>(channels()); }
  size_t rowBytes() const { return rowSamples() * static_cast<size_t>(sampleBytes()); }
};

// Whether samples of one can be taken for samples of the other as they are.
inline bool sameSamples(const Picture& a, const Picture& b) {
  return a.width == b.width && a.height == b.height && a.colour == b.colour && a.alpha == b.alpha && a.bits == b.bits;
}

// How many pixels a file may claim before it is refused.
constexpr int64_t kDefaultMaxPixels = int64_t{1} << 28;

Error checkSize(int64_t width, int64_t height, int64_t maxPixels);

} // namespace img
