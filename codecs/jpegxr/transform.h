// Both stages of the transform of a component with the overlap filters between, in place, row by row as far as rows are
// there.
#pragma once

#include "jpegxr/planes.h"
#include "jpegxr/quantiser.h"

namespace jpegxr {

// Takes an overlap filter down a plane. Where rows of blocks meet, it works on the rows of half a block on either side,
// and at the plane's first and last rows on those alone.
class OverlapFilter {
 public:
  OverlapFilter(const Plane& plane, bool isOn, bool isHalved)
      : plane_(plane), isOn_(isOn), isHalved_(isHalved), side_(isHalved ? 2 : 4), next_(-side_ / 2) {}

  // The rows above row `end` are there: filters what it can, and returns the end of the rows that are finished.
  template <bool kForward>
  int advance(int end);

 private:
  const Plane& plane_;
  const bool isOn_, isHalved_;
  const int side_; // of a block
  int next_;       // the first row of the next place to be filtered
};

class Transform {
 public:
  Transform(const Header& header, int component, Component& planes);

  // Samples above row `end` are in the plane: turns them into DC values, and high-pass values divided by their step.
  // Returns the number of rows of macroblocks that are finished.
  int forward(int end);

  // Values of the next row of macroblocks are in the planes. Returns the end of the rows of samples that are finished.
  int inverse();

 private:
  void forwardBlocks(int row);
  void inverseBlocks(int row);

  const Plane &plane_, &dc_;
  const int side_;        // of a macroblock's DCs
  const bool hasHalfDcs_; // the DCs of chroma have a fraction bit less
  const Zel32s step_;
  const Quantiser quantiser_;
  OverlapFilter filter_, dcFilter_;
  int blockRows_ = 0, macroblockRows_ = 0; // finished
};

} // namespace jpegxr
