// What a picture is, without its samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "common/bytes.h"
#include "common/error.h"

namespace img {

enum class Colour { grey, rgb, cmyk }; // cmyk: 0 is no ink

// How the 8-bit colours of a row lie in memory: as codecs have them as a rule, or as screens and cameras do.
enum class Layout {
  usual, // the channels of a pixel one after the other
  bgr,   // B, G, R
  rgbx,  // a fourth byte in each pixel that means nothing
  bgrx,
  rgb555, // pixels of 16 bits, R in the lowest ones
  rgb565,
  bgr555,
  bgr565,
  planes, // all samples of the first channel, then those of the next
  ycc,    // Y, Cb, Cr
  yuyv,   // Y, Cb, Y, Cr for each two pixels
};

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

// A line for each of them that is there, for people to read.
std::string describe(const Metadata& metadata);

struct Picture {
  int width = 0, height = 0;
  Colour colour = Colour::grey;
  bool alpha = false; // the last channel is opacity, not multiplied into the others
  int bits = 8;       // of a sample, 1 to 16; 32: floating point. A sample of 8 bits or fewer takes a byte, of 16 or
                      // fewer two, a float four, in the machine's order
  Layout layout = Layout::usual; // another one for R, G, B of 8 bits without alpha only, `planes` for C, M, Y, K too
  Metadata metadata;

  int channels() const { return (colour == Colour::grey ? 1 : colour == Colour::rgb ? 3 : 4) + (alpha ? 1 : 0); }
  int sampleBytes() const { return bits <= 8 ? 1 : bits <= 16 ? 2 : 4; }
  int maxValue() const { return (1 << (bits <= 16 ? bits : 0)) - 1; }
  size_t rowSamples() const { return static_cast<size_t>(width) * static_cast<size_t>(channels()); }
  size_t rowBytes() const {
    const auto pixels = static_cast<size_t>(width);
    if (layout == Layout::yuyv) return (pixels + 1) / 2 * 4;
    if (layout == Layout::rgbx || layout == Layout::bgrx) return 4 * pixels;
    if (layout >= Layout::rgb555 && layout <= Layout::bgr565) return 2 * pixels;
    return rowSamples() * static_cast<size_t>(sampleBytes());
  }
};

// Whether samples of one can be taken for samples of the other as they are.
inline bool sameSamples(const Picture& a, const Picture& b) {
  return a.width == b.width && a.height == b.height && a.colour == b.colour && a.alpha == b.alpha && a.bits == b.bits &&
         a.layout == b.layout;
}

// How many pixels a file may claim before it is refused.
constexpr int64_t kDefaultMaxPixels = int64_t{1} << 28;

Error checkSize(int64_t width, int64_t height, int64_t maxPixels);

} // namespace img
