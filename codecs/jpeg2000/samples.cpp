#include "jpeg2000/samples.h"

#include <algorithm>
#include <cmath>

namespace j2k {
namespace {

constexpr int kStep = 4; // of the one row that is transformed at a time: never taken

// Every `step`th sample through f; loops over neighbours become vectors.
template <class From, class To, class F>
void convert(const From* from, size_t fromStep, To* to, size_t toStep, size_t count, F f) {
  if (fromStep == 1 && toStep == 1) {
    for (size_t i = 0; i < count; ++i) to[i] = f(from[i]);
  } else {
    for (size_t i = 0; i < count; ++i) to[i * toStep] = f(from[i * fromStep]);
  }
}

// A group of three of the samples of pixels, or all of them, one by one.
template <class From, class To, class F>
void convertColours(const From* from, size_t fromStep, To* to, size_t toStep, size_t width, F f) {
  if (fromStep == 3 && toStep == 3) return convert(from, 1, to, 1, 3 * width, f);
  for (size_t k = 0; k < 3; ++k) convert(from + k, fromStep, to + k, toStep, width, f);
}

// To the nearest integer, ties to even, by what the sum cannot hold any more.
Zel32s rounded(Zel32f v) {
  constexpr Zel32f kShift = 3 << 22, kMost = 1e6f;
  v = v > kMost ? kMost : v;
  v = v < -kMost ? -kMost : v;
  return static_cast<Zel32s>((v + kShift) - kShift);
}

template <class T>
T* sized(std::vector<T>& scratch, size_t count) {
  if (scratch.size() < count) scratch.resize(count);
  return scratch.data();
}

} // namespace

template <class Sample>
void toComponents(const Sample* pixels, int width, size_t channels, int bits, bool reversible, bool transformed,
                  Zel32s* const* planes, RowScratch& scratch) {
  const auto n = static_cast<size_t>(width);
  const Zel32s middle = 1 << (bits - 1), unit = 1 << fractionBits(bits);
  size_t first = 0;
  if (transformed) {
    first = 3;
    if (reversible) {
      Zel32s* const colours = sized(scratch.integers, 3 * n);
      Zel32s* to[] = {planes[0], planes[1], planes[2]};
      convertColours(pixels, channels, colours, 3, n, [=](Sample v) { return v - middle; });
      zeliRCTFwd_JPEG2K_32s_C3P3R(colours, kStep, to, kStep, {width, 1});
    } else {
      Zel32f* const colours = sized(scratch.floats, 6 * n);
      Zel32f* to[] = {colours + 3 * n, colours + 4 * n, colours + 5 * n};
      convertColours(pixels, channels, colours, 3, n, [=](Sample v) { return static_cast<Zel32f>(v - middle); });
      zeliICTFwd_JPEG2K_32f_C3P3R(colours, kStep, to, kStep, {width, 1});
      const auto scale = static_cast<Zel32f>(unit);
      for (size_t k = 0; k < 3; ++k) {
        convert(to[k], 1, planes[k], 1, n, [=](Zel32f v) { return static_cast<Zel32s>(v * scale); });
      }
    }
  }
  for (size_t i = first; i < channels; ++i) {
    const Zel32s scale = reversible ? 1 : unit;
    convert(pixels + i, channels, planes[i], 1, n, [=](Sample v) { return (v - middle) * scale; });
  }
}

template <class Sample>
void toPixels(const std::vector<ComponentRow>& components, int width, bool transformed, Sample* pixels,
              RowScratch& scratch) {
  const size_t n = static_cast<size_t>(width), channels = components.size();
  for (size_t i = 0, group; i < channels; i += group) {
    group = transformed && i == 0 ? 3 : 1;
    const ComponentRow* const c = &components[i];
    const Zel32s middle = 1 << (c->bits - 1);
    const auto sample = [=](Zel32s v) { return static_cast<Sample>(std::clamp(v, -middle, middle - 1) + middle); };
    const auto unit = std::ldexp(1.0f, -fractionBits(c->bits));
    if (group == 1) {
      if (c->reversible) {
        convert(c->samples, 1, pixels + i, channels, n, sample);
      } else {
        convert(c->samples, 1, pixels + i, channels, n,
                [=](Zel32s v) { return sample(rounded(static_cast<Zel32f>(v) * unit)); });
      }
    } else if (c->reversible) {
      Zel32s* const colours = sized(scratch.integers, 3 * n);
      const Zel32s* const from[] = {c[0].samples, c[1].samples, c[2].samples};
      zeliRCTInv_JPEG2K_32s_P3C3R(from, kStep, colours, kStep, {width, 1});
      convertColours(colours, 3, pixels, channels, n, sample);
    } else {
      Zel32f* const colours = sized(scratch.floats, 6 * n);
      const Zel32f* const from[] = {colours + 3 * n, colours + 4 * n, colours + 5 * n};
      for (size_t k = 0; k < 3; ++k) {
        convert(c[k].samples, 1, colours + (3 + k) * n, 1, n, [=](Zel32s v) { return static_cast<Zel32f>(v) * unit; });
      }
      zeliICTInv_JPEG2K_32f_P3C3R(from, kStep, colours, kStep, {width, 1});
      convertColours(colours, 3, pixels, channels, n, [=](Zel32f v) { return sample(rounded(v)); });
    }
  }
}

template void toComponents(const uint8_t*, int, size_t, int, bool, bool, Zel32s* const*, RowScratch&);
template void toComponents(const uint16_t*, int, size_t, int, bool, bool, Zel32s* const*, RowScratch&);
template void toPixels(const std::vector<ComponentRow>&, int, bool, uint8_t*, RowScratch&);
template void toPixels(const std::vector<ComponentRow>&, int, bool, uint16_t*, RowScratch&);

} // namespace j2k
