#include "jpegxr/samples.h"

#include <algorithm>
#include <cstring>

#include "jpegxr/vectors.h"

namespace jpegxr {
namespace {

// How samples become numbers: fraction bits that lossy pictures carry, and what samples lie around.
struct Scale {
  int fraction, shift;
  Zel32s bias, rounding, full;

  explicit Scale(const Header& header)
      : fraction(header.scaled ? 3 : 0),
        shift(header.shift),
        bias((header.bits == 8 ? 128 : 32768 >> shift) << fraction),
        rounding(fraction == 0      ? 0
                 : header.bits == 8 ? 3
                                    : 4),
        full((1 << header.bits) - 1) {}

  template <class V>
  V in(V sample) const {
    return sample >> shift << fraction;
  }
  // Limited to 0..full.
  template <class V>
  V out(V value) const {
    const V sample = value >> fraction << shift;
    return (sample | (full - sample) >> 31) & full & ~(sample >> 31);
  }
};

// The colour transform, on numbers or vectors.
template <class V>
struct Colour {
  V y, u, v;
};
template <class V>
inline Colour<V> fromRgb(const Scale& scale, V r, V g, V b) {
  r = scale.in(r), g = scale.in(g), b = scale.in(b);
  const V blue = b - r, t = r - g + ((blue + 1) >> 1);
  return {g + (t >> 1) - scale.bias, -t, blue};
}
template <class V>
inline void toRgb(const Scale& scale, Colour<V> c, V& r, V& g, V& b) {
  const V t = -c.u, green = c.y + (scale.bias + scale.rounding) - (t >> 1), red = t - ((c.v + 1) >> 1) + green;
  r = scale.out(red);
  g = scale.out(green);
  b = scale.out(c.v + red);
}

template <class Sample>
void putGrey(const Scale& scale, const Sample* from, int width, Zel32s* y) {
  for (int x = 0; x < width; ++x) y[x] = scale.in(Zel32s{from[x]}) - scale.bias;
}
template <class Sample>
void putRgb(const Scale& scale, const Sample* from, int width, Zel32s* y, Zel32s* u, Zel32s* v) {
  int x = 0;
  if constexpr (sizeof(Sample) == 1) {
    // Four pixels of sixteen bytes.
    for (; 3 * x + 16 <= 3 * width; x += 4) {
      const Sixteen pixels = load<Sixteen>(from + 3 * x), none = {};
      const auto channel = [&]<int c>() {
        return reinterpret_cast<Four>(__builtin_shufflevector(pixels, none, c, 16, 16, 16, c + 3, 16, 16, 16, c + 6, 16,
                                                              16, 16, c + 9, 16, 16, 16));
      };
      const auto colour = fromRgb(scale, channel.template operator()<0>(), channel.template operator()<1>(),
                                  channel.template operator()<2>());
      store(colour.y, y + x);
      store(colour.u, u + x);
      store(colour.v, v + x);
    }
  }
  for (; x < width; ++x) {
    const auto colour = fromRgb(scale, Zel32s{from[3 * x]}, Zel32s{from[3 * x + 1]}, Zel32s{from[3 * x + 2]});
    y[x] = colour.y;
    u[x] = colour.u;
    v[x] = colour.v;
  }
}

template <class Sample>
void getGrey(const Scale& scale, const Zel32s* y, int width, int channels, Sample* to) {
  const Zel32s offset = scale.bias + scale.rounding;
  for (int x = 0; x < width; ++x) {
    const auto sample = static_cast<Sample>(scale.out(y[x] + offset));
    for (int c = 0; c < channels; ++c) *to++ = sample;
  }
}
template <class Sample>
void getRgb(const Scale& scale, const Zel32s* y, const Zel32s* u, const Zel32s* v, int width, Sample* to) {
  int x = 0;
  if constexpr (sizeof(Sample) == 1) {
    // Each store writes four bytes that the next one replaces.
    for (; 3 * x + 16 <= 3 * width; x += 4) {
      Four r, g, b;
      toRgb(scale, {load<Four>(y + x), load<Four>(u + x), load<Four>(v + x)}, r, g, b);
      const auto pixels = reinterpret_cast<Sixteen>(r | g << 8 | b << 16);
      store(__builtin_shufflevector(pixels, pixels, 0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 3, 3, 3, 3), to + 3 * x);
    }
  }
  for (; x < width; ++x) {
    Zel32s r, g, b;
    toRgb(scale, Colour<Zel32s>{y[x], u[x], v[x]}, r, g, b);
    to[3 * x] = static_cast<Sample>(r);
    to[3 * x + 1] = static_cast<Sample>(g);
    to[3 * x + 2] = static_cast<Sample>(b);
  }
}

// Weights of 1, 4, 6, 4, 1 around the even places; mirrored at the first and the last value.
template <class V>
inline V weighted(V a, V b, V c, V d, V e) {
  return (a + e + 4 * (b + d) + 6 * c + 8) >> 4;
}
int mirrored(int i, int n) {
  return i < 0 ? -i : i >= n ? 2 * n - 2 - i : i;
}

void halveRow(const Zel32s* from, int width, Zel32s* to) {
  const auto at = [=](int x) {
    return weighted(from[mirrored(x - 2, width)], from[mirrored(x - 1, width)], from[x], from[x + 1],
                    from[mirrored(x + 2, width)]);
  };
  to[0] = at(0);
  for (int x = 1; x < width / 2 - 1; ++x) {
    const Zel32s* p = from + 2 * x;
    to[x] = weighted(p[-2], p[-1], p[0], p[1], p[2]);
  }
  to[width / 2 - 1] = at(width - 2);
}

// Row y of a halved plane at full size: between two values is their mean. `line` is room for a row of the plane, and
// one value more.
void doubleRow(const Plane& half, int y, Zel32s* __restrict line, Zel32s* __restrict to) {
  const int width = half.width, above = y / 2, below = std::min(above + y % 2, half.height - 1);
  const Zel32s *a = half.at(0, above), *b = half.at(0, below);
  for (int x = 0; x < width; ++x) line[x] = (a[x] + b[x] + 1) >> 1;
  line[width] = line[width - 1];
  for (int x = 0; x < width; ++x) {
    to[2 * x] = line[x];
    to[2 * x + 1] = (line[x] + line[x + 1] + 1) >> 1;
  }
}

} // namespace

SamplesIn::SamplesIn(const Header& header, const Planes& planes) : header_(header), planes_(planes) {
  if (header.inner != Inner::yuv420) return;
  const Plane& luma = planes.component[0].plane;
  wide_.resize(2 * static_cast<size_t>(luma.width));
  // A row of macroblocks, and what its first rows need of the one above.
  for (Plane& tall : tall_) tall = Plane(luma.width / 2, luma.height, 32);
}

void SamplesIn::put(const uint8_t* row) {
  const Scale scale(header_);
  const bool halved = header_.inner == Inner::yuv420, isLast = next_ == header_.height - 1;
  const auto pad = [&](Zel32s* values, int width) {
    std::fill(values + header_.width, values + width, values[header_.width - 1]);
  };
  const int width = planes_.component[0].plane.width;
  Zel32s* lines[3] = {planes_.component[0].plane.at(0, next_)};
  for (int c = 1; c < header_.components(); ++c)
    lines[c] = halved ? wide_.data() + (c - 1) * width : planes_.component[c].plane.at(0, next_);
  const auto put = [&](auto* samples) {
    if (header_.isRgb) {
      putRgb(scale, samples, header_.width, lines[0], lines[1], lines[2]);
    } else {
      putGrey(scale, samples, header_.width, lines[0]);
    }
  };
  header_.bits == 8 ? put(row) : put(reinterpret_cast<const uint16_t*>(row));
  for (int c = 0; c < header_.components(); ++c) pad(lines[c], width);
  for (int c = 1; c < header_.components() && halved; ++c) halveRow(lines[c], width, tall_[c - 1].at(0, next_));

  const int first = next_++;
  if (isLast) next_ = planes_.component[0].plane.height;
  for (int c = 0; c < header_.components(); ++c) {
    const Plane& plane = halved && c > 0 ? tall_[c - 1] : planes_.component[c].plane;
    for (int y = first + 1; y < next_; ++y)
      std::memcpy(plane.at(0, y), plane.at(0, first), static_cast<size_t>(plane.width) * sizeof(Zel32s));
  }
  if (halved) halve();
}

int SamplesIn::end(int component) const {
  return component > 0 && header_.inner == Inner::yuv420 ? halved_ : next_;
}

// Down the columns, as far as the rows reach that lie around.
void SamplesIn::halve() {
  const int height = tall_[0].height, end = next_ == height ? height / 2 : (next_ - 1) / 2;
  for (; halved_ < end; ++halved_) {
    for (int c = 1; c <= 2; ++c) {
      const Plane& tall = tall_[c - 1];
      const Zel32s* rows[5];
      for (int i = 0; i < 5; ++i) rows[i] = tall.at(0, mirrored(2 * halved_ + i - 2, height));
      Zel32s* const to = planes_.component[c].plane.at(0, halved_);
      const int width = tall.width;
      for (int x = 0; x < width; ++x) to[x] = weighted(rows[0][x], rows[1][x], rows[2][x], rows[3][x], rows[4][x]);
    }
  }
}

SamplesOut::SamplesOut(const Header& header, const Planes& planes) : header_(header), planes_(planes) {
  if (header.inner == Inner::yuv420) wide_.resize(3 * static_cast<size_t>(planes.component[0].plane.width));
}

int SamplesOut::end(const int (&planes)[3]) const {
  int end = planes[0];
  for (int c = 1; c < header_.components(); ++c) {
    if (planes[c] == planes_.component[c].plane.height) continue;
    end = std::min(end, header_.inner == Inner::yuv420 ? 2 * planes[c] - 1 : planes[c]);
  }
  return std::min(end, header_.height);
}

void SamplesOut::get(int y, uint8_t* row) {
  const Component* c = planes_.component;
  const Zel32s *u = nullptr, *v = nullptr;
  if (header_.inner == Inner::yuv420) {
    Zel32s *const wideU = wide_.data(), *const wideV = wideU + c[0].plane.width, *const line = wideV + c[0].plane.width;
    doubleRow(c[1].plane, y, line, wideU);
    doubleRow(c[2].plane, y, line, wideV);
    u = wideU, v = wideV;
  } else if (header_.inner == Inner::yuv444) {
    u = c[1].plane.at(0, y), v = c[2].plane.at(0, y);
  }
  const Scale scale(header_);
  const auto get = [&](auto* samples) {
    if (u) {
      getRgb(scale, c[0].plane.at(0, y), u, v, header_.width, samples);
    } else {
      getGrey(scale, c[0].plane.at(0, y), header_.width, header_.isRgb ? 3 : 1, samples);
    }
  };
  header_.bits == 8 ? get(row) : get(reinterpret_cast<uint16_t*>(row));
}

} // namespace jpegxr
