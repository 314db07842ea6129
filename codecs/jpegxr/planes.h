// The planes of a picture between samples and coefficients: 32 bits a value, in sizes of whole macroblocks. Of each
// only the rows that the work has reached are in memory.
#pragma once

#include "common/aligned.h"
#include "common/workers.h"
#include "jpegxr/header.h"
#include "zelj.h"

namespace jpegxr {

// Row y lies where row y - rowsHeld was before; rowsHeld is a power of 2.
class Plane {
 public:
  int width = 0, height = 0;

  Plane() = default;
  Plane(int w, int h, int rowsHeld)
      : width(w),
        height(h),
        rowMask_(rowsHeld - 1),
        step_(w + kApart),
        values_(static_cast<size_t>(rowsHeld) * static_cast<size_t>(step_)) {}
  Zel32s* at(int x, int y) const { return values_.data() + static_cast<ptrdiff_t>(y & rowMask_) * step_ + x; }
  // From value to value below, within rows of a block.
  ptrdiff_t below() const { return step_; }
  Zel32u step() const { return static_cast<Zel32u>(step_) * 4; }

 private:
  // Rows of many widths would otherwise all want the same places of the cache.
  static constexpr int kApart = 16;

  int rowMask_ = 0, step_ = 0;
  img::AlignedArray<Zel32s> values_;
};

// A component: its values, and the DCs of their blocks, which a second stage transforms. A macroblock has `side` rows
// and columns of values, a quarter of it of DCs.
struct Component {
  Plane plane, dc;
  int side = 16;
};

// What the overlap filters need of rows of macroblocks: the one that they work on, and the one above. With two threads
// one codes rows and the other transforms them, some rows apart.
constexpr int kMostThreads = 2;
constexpr int rowsHeldFor(int threads) {
  return threads > 1 ? 8 : 2;
}
static_assert(rowsHeldFor(kMostThreads) > kMostThreads * img::Pipeline::kSlotsOfThread);

struct Planes {
  Component component[3];

  Planes(const Header& header, int threads) {
    const int rowsHeld = rowsHeldFor(threads);
    for (int c = 0; c < header.components(); ++c) {
      const int side = c > 0 && header.inner == Inner::yuv420 ? 8 : 16, width = header.columns() * side,
                height = header.rows() * side;
      component[c].side = side;
      component[c].plane = Plane(width, height, rowsHeld * side);
      component[c].dc = Plane(width / 4, height / 4, rowsHeld * side / 4);
    }
  }
};

} // namespace jpegxr
