// All coefficients of an image, for what cannot be coded in one pass: progressive files, tables made to measure, and
// changes from one process to another.
#pragma once

#include <cstring>
#include <vector>

#include "common/aligned.h"
#include "jpeg/frame.h"

namespace jpeg {

class CoefficientImage {
 public:
  // Blocks of whole MCUs, all zero.
  explicit CoefficientImage(const Frame& frame) {
    for (const Component& c : frame.components) {
      Plane plane;
      plane.wide = std::max(frame.mcusWide * c.h, c.blocksWide);
      plane.high = std::max(frame.mcusHigh * c.v, c.blocksHigh);
      const auto count = static_cast<size_t>(plane.wide) * static_cast<size_t>(plane.high);
      plane.blocks = img::AlignedArray<Block>(count);
      std::memset(static_cast<void*>(plane.blocks.data()), 0, count * sizeof(Block));
      planes_.push_back(std::move(plane));
    }
  }

  // With those that fill MCUs.
  int blocksWide(int component) const { return planes_[static_cast<size_t>(component)].wide; }
  int rows(int component) const { return planes_[static_cast<size_t>(component)].high; }

  Block* row(int component, int y) const {
    const Plane& plane = planes_[static_cast<size_t>(component)];
    return plane.blocks.data() + static_cast<ptrdiff_t>(y) * plane.wide;
  }

  // The coefficients of all blocks of a component outside of so many rows and columns are zero: 1, 2, 4, or 8 where
  // nothing is known.
  void setCorner(int component, int size) { planes_[static_cast<size_t>(component)].corner = size; }
  int corner(int component) const { return planes_[static_cast<size_t>(component)].corner; }

  // A block of the MCU in a column and a row of a scan.
  Block& block(const ScanBlock& b, int mcuX, int mcuY) const {
    return row(b.component, mcuY * b.down + b.y)[mcuX * b.across + b.x];
  }

 private:
  struct Plane {
    int wide = 0, high = 0, corner = 8;
    img::AlignedArray<Block> blocks;
  };
  std::vector<Plane> planes_;
};

} // namespace jpeg
