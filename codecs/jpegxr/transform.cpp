#include "jpegxr/transform.h"

#include <algorithm>
#include <cstring>

#include "jpegxr/lifting.h"
#include "jpegxr/vectors.h"

// Streams may hold any values: sums that leave 32 bits wrap (the whole folder is compiled so).
namespace jpegxr {
namespace {

// Four neighbouring areas: a row of each to the same places of all.
inline void transpose(Four (&row)[4]) {
  const Four a = __builtin_shufflevector(row[0], row[1], 0, 4, 1, 5),
             b = __builtin_shufflevector(row[0], row[1], 2, 6, 3, 7);
  const Four c = __builtin_shufflevector(row[2], row[3], 0, 4, 1, 5),
             d = __builtin_shufflevector(row[2], row[3], 2, 6, 3, 7);
  row[0] = __builtin_shufflevector(a, c, 0, 1, 4, 5);
  row[1] = __builtin_shufflevector(a, c, 2, 3, 6, 7);
  row[2] = __builtin_shufflevector(b, d, 0, 1, 4, 5);
  row[3] = __builtin_shufflevector(b, d, 2, 3, 6, 7);
}

template <bool kForward>
void filterFourAreas(const Plane& plane, int x, int y) {
  Four v[4][4];
  for (int r = 0; r < 4; ++r) {
    std::memcpy(v[r], plane.at(x, y + r), sizeof v[r]);
    transpose(v[r]);
  }
  area<kForward>(v);
  for (int r = 0; r < 4; ++r) {
    transpose(v[r]);
    std::memcpy(plane.at(x, y + r), v[r], sizeof v[r]);
  }
}

template <bool kForward>
void filterArea(const Plane& plane, int x, int y) {
  Zel32s v[4][4];
  for (int r = 0; r < 4; ++r) std::memcpy(v[r], plane.at(x, y + r), sizeof v[r]);
  area<kForward>(v);
  for (int r = 0; r < 4; ++r) std::memcpy(plane.at(x, y + r), v[r], sizeof v[r]);
}

// Where rows y to y + 3 cross from one row of blocks into the next, but for the first and last two columns within
// blocks.
template <bool kForward>
void filterInside(const Plane& plane, int y) {
  const int w = plane.width;
  int x = 2;
  for (; x + 16 <= w; x += 16) filterFourAreas<kForward>(plane, x, y);
  for (; x + 4 <= w; x += 4) filterArea<kForward>(plane, x, y);
  for (const int side : {0, 1, w - 2, w - 1})
    four<kForward>(*plane.at(side, y), *plane.at(side, y + 1), *plane.at(side, y + 2), *plane.at(side, y + 3));
}

// The first or last two rows.
template <bool kForward>
void filterEdge(const Plane& plane, int y) {
  const int w = plane.width;
  for (Zel32s* row : {plane.at(0, y), plane.at(0, y + 1)}) {
    for (int x = 2; x + 4 <= w; x += 4) four<kForward>(row[x], row[x + 1], row[x + 2], row[x + 3]);
  }
  for (const int x : {0, w - 2})
    four<kForward>(*plane.at(x, y), *plane.at(x + 1, y), *plane.at(x, y + 1), *plane.at(x + 1, y + 1));
}

// The same for the DCs of halved chroma: blocks of 2x2.
template <bool kForward>
void filterHalvedInside(const Plane& plane, int y) {
  Zel32s *above = plane.at(0, y), *below = plane.at(0, y + 1);
  for (const int x : {0, plane.width - 1}) two<kForward>(above[x], below[x]);
  for (int x = 1; x + 2 < plane.width; x += 2) twoTimesTwo<kForward>(above[x], above[x + 1], below[x], below[x + 1]);
}

template <bool kForward>
void filterHalvedEdge(const Plane& plane, int y) {
  Zel32s *first = plane.at(0, y), *last = plane.at(plane.width - 1, y);
  first[0] -= first[1];
  last[0] -= last[-1];
  for (int x = 1; x + 2 < plane.width; x += 2) two<kForward>(first[x], first[x + 1]);
  first[0] += first[1];
  last[0] += last[-1];
}

} // namespace

template <bool kForward>
int OverlapFilter::advance(int end) {
  if (!isOn_) return end;
  const int height = plane_.height;
  for (; next_ < height && std::min(next_ + side_, height) <= end; next_ += side_) {
    const bool isEdge = next_ < 0 || next_ + side_ > height;
    const int y = std::max(next_, 0);
    if (isHalved_) {
      isEdge ? filterHalvedEdge<kForward>(plane_, y) : filterHalvedInside<kForward>(plane_, y);
    } else {
      isEdge ? filterEdge<kForward>(plane_, y) : filterInside<kForward>(plane_, y);
    }
  }
  return std::min(next_, height);
}

Transform::Transform(const Header& header, int component, Component& planes)
    : plane_(planes.plane),
      dc_(planes.dc),
      side_(planes.side / 4),
      hasHalfDcs_(header.scaled && component > 0),
      step_(header.step(kHpSet, component)),
      quantiser_(step_, false),
      filter_(plane_, header.overlap >= 1, false),
      dcFilter_(dc_, header.overlap == 2, side_ == 2) {}

// A row of blocks of samples to DCs and levels, and back.
void Transform::forwardBlocks(int row) {
  Zel32s *const values = plane_.at(0, 4 * row), *const dcs = dc_.at(0, row);
  zeliPCTFwd_JPEGXR_32s_C1IR(values, plane_.step(), {plane_.width, 4});
  for (int x = 0; x < dc_.width; ++x) dcs[x] = values[4 * x];
  if (quantiser_.isOne()) return;
  for (int y = 0; y < 4; ++y) quantiser_.quantise(values + y * plane_.below(), plane_.width);
}
void Transform::inverseBlocks(int row) {
  Zel32s *const values = plane_.at(0, 4 * row), *const dcs = dc_.at(0, row);
  const int width = plane_.width;
  const Zel32s step = step_;
  for (int y = 0; y < 4 && step != 1; ++y) {
    Zel32s* const line = values + y * plane_.below();
    for (int x = 0; x < width; ++x) line[x] *= step;
  }
  for (int x = 0; x < dc_.width; ++x) values[4 * x] = dcs[x];
  zeliPCTInv_JPEGXR_32s_C1IR(values, plane_.step(), {plane_.width, 4});
}

// The second stage of a row of macroblocks.
template <class Transform4x4>
void transformDcs(const Plane& dc, int side, int row, Transform4x4 transform) {
  Zel32s* const dcs = dc.at(0, side * row);
  if (side == 4) {
    transform(dcs, dc.step(), ZeliSize{dc.width, 4});
    return;
  }
  Zel32s* const below = dcs + dc.below();
  for (int x = 0; x < dc.width; x += 2) twoByTwo(dcs[x], dcs[x + 1], below[x], below[x + 1]);
}

template <class F>
void forDcs(const Plane& dc, int side, int row, F f) {
  for (int y = side * row; y < side * (row + 1); ++y) {
    for (int x = 0; x < dc.width; ++x) f(*dc.at(x, y));
  }
}

int Transform::forward(int end) {
  const int filtered = filter_.advance<true>(end);
  for (; 4 * (blockRows_ + 1) <= filtered; ++blockRows_) forwardBlocks(blockRows_);
  const int dcs = dcFilter_.advance<true>(blockRows_);
  for (; side_ * (macroblockRows_ + 1) <= dcs; ++macroblockRows_) {
    if (hasHalfDcs_) forDcs(dc_, side_, macroblockRows_, [](Zel32s& value) { value >>= 1; });
    transformDcs(dc_, side_, macroblockRows_, zeliPCTFwd_JPEGXR_32s_C1IR);
  }
  return macroblockRows_;
}

int Transform::inverse() {
  transformDcs(dc_, side_, macroblockRows_, zeliPCTInv_JPEGXR_32s_C1IR);
  if (hasHalfDcs_) forDcs(dc_, side_, macroblockRows_, [](Zel32s& value) { value *= 2; });
  ++macroblockRows_;
  const int dcs = dcFilter_.advance<false>(side_ * macroblockRows_);
  for (; blockRows_ < dcs; ++blockRows_) inverseBlocks(blockRows_);
  return filter_.advance<false>(4 * blockRows_);
}

} // namespace jpegxr
