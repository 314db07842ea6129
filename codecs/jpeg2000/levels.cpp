#include "jpeg2000/levels.h"

#include <algorithm>

namespace j2k {
namespace {

// The sample of a line of n that stands at a place beyond its ends: it goes on symmetrically.
int mirrored(int i, int n) {
  if (n == 1) return 0;
  const int period = 2 * n - 2;
  i = (i % period + period) % period;
  return i < n ? i : period - i;
}

// A plane of floats with room around it.
struct Padded {
  static constexpr int kMargin = 5; // what the filters read beyond pairs, and the odd one of an odd number of samples
  Padded(int wide, int high)
      : width(wide),
        height(high),
        stride(wide + 2 * kMargin),
        samples(static_cast<size_t>(stride) * static_cast<size_t>(high + 2 * kMargin)) {}
  Zel32f* row(int y) {
    return samples.data() + static_cast<size_t>(y + kMargin) * static_cast<size_t>(stride) + kMargin;
  }
  int step() const { return stride * 4; }

  int width, height, stride;
  std::vector<Zel32f> samples;
};

// One level that begins at an odd place, where the library's tiles have an order of their own: by its filters of
// columns and rows, with the extension made here.
void splitByFilters(TileComponent& c, const Rect& rect) {
  const int width = rect.width(), height = rect.height(), phaseX = rect.x0 & 1, phaseY = rect.y0 & 1;
  const int pairsX = (width + 1) / 2, pairsY = (height + 1) / 2;
  const int lowRows = (height + 1 - phaseY) / 2, lowColumns = (width + 1 - phaseX) / 2;
  Padded source(width, height), bands[] = {Padded(width, pairsY), Padded(width, pairsY)};
  for (int y = -Padded::kMargin; y < height + Padded::kMargin; ++y) {
    const Zel32s* from = c.plane.data() + static_cast<size_t>(mirrored(y, height)) * static_cast<size_t>(c.width);
    std::copy_n(from, width, source.row(y));
  }
  if (height > 1) {
    zeliWTFwdCol_D97_JPEG2K_32f_C1R(source.row(0), source.step(), bands[0].row(0), bands[0].step(), bands[1].row(0),
                                    bands[1].step(), {width, pairsY}, phaseY);
  } else { // a single sample is doubled at an odd place
    for (int x = 0; x < width; ++x) bands[phaseY].row(0)[x] = source.row(0)[x] * static_cast<float>(1 + phaseY);
  }
  std::vector<Zel32f> low(static_cast<size_t>(pairsX)), high(static_cast<size_t>(pairsX));
  for (int y = 0; y < height; ++y) {
    Zel32f* line = y < lowRows ? bands[0].row(y) : bands[1].row(y - lowRows);
    Zel32s* to = c.plane.data() + static_cast<size_t>(y) * static_cast<size_t>(c.width);
    if (width == 1) {
      *to = static_cast<Zel32s>(*line * static_cast<float>(1 + phaseX));
      continue;
    }
    for (int i = 1; i <= Padded::kMargin; ++i) {
      line[-i] = line[mirrored(-i, width)];
      line[width - 1 + i] = line[mirrored(width - 1 + i, width)];
    }
    zeliWTFwdRow_D97_JPEG2K_32f_C1R(line, 4 * width, low.data(), 4 * pairsX, high.data(), 4 * pairsX, {pairsX, 1},
                                    phaseX);
    const auto toInteger = [](Zel32f v) { return static_cast<Zel32s>(v); };
    std::transform(low.begin(), low.begin() + lowColumns, to, toInteger);
    std::transform(high.begin(), high.begin() + (width - lowColumns), to + lowColumns, toInteger);
  }
}

Bytes scratchFor(const TileComponent& c) {
  return Bytes(static_cast<size_t>(std::max(c.width, c.height)) * 4 + 64);
}

} // namespace

void splitLevels(TileComponent& c) {
  Bytes scratch = scratchFor(c);
  for (int r = c.coding.levels; r > 0; --r) {
    const Rect& rect = c.resolutions[static_cast<size_t>(r)].rect;
    if (rect.empty()) continue;
    const ZeliRect tile = {rect.x0, rect.y0, rect.width(), rect.height()};
    if (c.coding.reversible) {
      zeliWTFwd_B53_JPEG2K_32s_C1IR(c.plane.data(), c.step(), &tile, scratch.data());
    } else if ((rect.x0 | rect.y0) & 1) {
      splitByFilters(c, rect);
    } else {
      zeliWTFwd_D97_JPEG2K_32s_C1IR(c.plane.data(), c.step(), &tile, scratch.data());
    }
  }
}

void joinLevels(TileComponent& c, int reduce) {
  Bytes scratch = scratchFor(c);
  for (int r = 1; r + reduce <= c.coding.levels; ++r) {
    const Rect& rect = c.resolutions[static_cast<size_t>(r)].rect;
    if (rect.empty()) continue;
    const ZeliRect tile = {rect.x0, rect.y0, rect.width(), rect.height()};
    if (c.coding.reversible) {
      zeliWTInv_B53_JPEG2K_32s_C1IR(c.plane.data(), c.step(), &tile, scratch.data());
    } else {
      zeliWTInv_D97_JPEG2K_32s_C1IR(c.plane.data(), c.step(), &tile, scratch.data());
    }
  }
}

} // namespace j2k
