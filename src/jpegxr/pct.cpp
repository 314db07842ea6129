// The photo core transform of JPEG XR on every 4x4 block of a plane, in place.
//
// A vector takes as many blocks as it has lanes. They come as four groups of neighbouring blocks, each a vector wide,
// from anywhere in the plane, so that the few blocks of a macroblock fill vectors as well.
#include <algorithm>
#include <cstring>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpegxr/pct_steps.h"

namespace zelj {
namespace {

// Rows of four samples become vectors of columns, lane by lane in an order that toRows undoes.
template <class D, class V = hn::VFromD<D>>
HWY_INLINE void toColumns(D d, V& a, V& b, V& c, V& e) {
  if constexpr (sizeof(hn::TFromD<D>) == 2) {
    // Two blocks in each 128 bits: their columns pair up first.
    const V ab = hn::InterleaveLower(d, a, b), abNext = hn::InterleaveUpper(d, a, b);
    const V ce = hn::InterleaveLower(d, c, e), ceNext = hn::InterleaveUpper(d, c, e);
    const hn::Repartition<Zel64s, D> d64;
    const auto ab01 = hn::BitCast(d64, hn::InterleaveLower(d, ab, abNext));
    const auto ab23 = hn::BitCast(d64, hn::InterleaveUpper(d, ab, abNext));
    const auto ce01 = hn::BitCast(d64, hn::InterleaveLower(d, ce, ceNext));
    const auto ce23 = hn::BitCast(d64, hn::InterleaveUpper(d, ce, ceNext));
    a = hn::BitCast(d, hn::InterleaveLower(d64, ab01, ce01));
    b = hn::BitCast(d, hn::InterleaveUpper(d64, ab01, ce01));
    c = hn::BitCast(d, hn::InterleaveLower(d64, ab23, ce23));
    e = hn::BitCast(d, hn::InterleaveUpper(d64, ab23, ce23));
  } else {
    const V low0 = hn::InterleaveLower(d, a, c), high0 = hn::InterleaveUpper(d, a, c);
    const V low1 = hn::InterleaveLower(d, b, e), high1 = hn::InterleaveUpper(d, b, e);
    a = hn::InterleaveLower(d, low0, low1);
    b = hn::InterleaveUpper(d, low0, low1);
    c = hn::InterleaveLower(d, high0, high1);
    e = hn::InterleaveUpper(d, high0, high1);
  }
}

template <class D, class V = hn::VFromD<D>>
HWY_INLINE void toRows(D d, V& a, V& b, V& c, V& e) {
  if constexpr (sizeof(hn::TFromD<D>) == 2) {
    const hn::Repartition<Zel32s, D> d32;
    const V low01 = hn::InterleaveLower(d, a, b), high01 = hn::InterleaveUpper(d, a, b);
    const V low23 = hn::InterleaveLower(d, c, e), high23 = hn::InterleaveUpper(d, c, e);
    const auto whole = [=](auto v) { return hn::BitCast(d32, v); };
    // Blocks of the four vectors, each 64 bits: a and a's second one, then b's, and so on.
    const auto a01 = hn::InterleaveLower(d32, whole(low01), whole(low23));
    const auto b01 = hn::InterleaveUpper(d32, whole(low01), whole(low23));
    const auto c01 = hn::InterleaveLower(d32, whole(high01), whole(high23));
    const auto e01 = hn::InterleaveUpper(d32, whole(high01), whole(high23));
    a = hn::BitCast(d, a01);
    b = hn::BitCast(d, b01);
    c = hn::BitCast(d, c01);
    e = hn::BitCast(d, e01);
  } else {
    toColumns(d, a, b, c, e); // a transposition
  }
}

// Where four groups of blocks lie, a vector wide each.
struct Groups {
  Zel8u* base[4];
  size_t step;

  template <class T>
  HWY_INLINE T* row(int group, size_t y) const {
    return reinterpret_cast<T*>(base[group] + y * step);
  }
};

template <class D, class Transform>
HWY_INLINE void transformGroups(D d, const Groups& groups, Transform transform) {
  using T = hn::TFromD<D>;
  hn::VFromD<D> x[4][4];
  for (size_t y = 0; y < 4; ++y) {
    for (int i = 0; i < 4; ++i) x[y][i] = hn::LoadU(d, groups.row<T>(i, y));
    toColumns(d, x[y][0], x[y][1], x[y][2], x[y][3]);
  }
  transform(x);
  for (size_t y = 0; y < 4; ++y) {
    toRows(d, x[y][0], x[y][1], x[y][2], x[y][3]);
    for (int i = 0; i < 4; ++i) hn::StoreU(x[y][i], d, groups.row<T>(i, y));
  }
}

// As many groups as there are, four at a time. Where the last ones are fewer, one stands for those that are missing:
// what is stored twice is the same. next() tells where the groups begin, one after the other.
template <size_t kLanes, class T, class Next, class Transform>
HWY_INLINE void transformAll(int count, size_t step, Next next, Transform transform) {
  constexpr hn::CappedTag<T, kLanes> d;
  for (int g = 0; g < count; g += 4) {
    Groups groups{{}, step};
    for (int i = 0; i < 4; ++i) groups.base[i] = g + i < count ? next(g + i) : groups.base[i - 1];
    transformGroups(d, groups, transform);
  }
}

// What is left of 16-bit samples when vectors of two blocks are full: a column of single blocks, through memory of our
// own.
template <class Transform>
void transformColumn(Zel16s* column, size_t step, int height, Transform transform) {
  alignas(16) Zel16s pair[4][8] = {};
  const auto each = [&](int blocks, auto move) {
    for (int y = 0; y < 4 * blocks; ++y)
      move(pair[y % 4] + y / 4 * 4, reinterpret_cast<Zel8u*>(column) + static_cast<size_t>(y) * step);
  };
  for (int y = 0; y < height; y += 8) {
    const int blocks = std::min((height - y) / 4, 2);
    each(blocks, [](Zel16s* own, Zel8u* theirs) { std::memcpy(own, theirs, 8); });
    transformAll<8, Zel16s>(
        1, sizeof pair[0], [&](int) { return reinterpret_cast<Zel8u*>(pair); }, transform);
    each(blocks, [](Zel16s* own, Zel8u* theirs) { std::memcpy(theirs, own, 8); });
    column = reinterpret_cast<Zel16s*>(reinterpret_cast<Zel8u*>(column) + 8 * step);
  }
}

// The columns of a plane: as many as full vectors take, the rest by narrower ones.
template <size_t kLanes, class Transform, class T>
void transformColumns(T* plane, size_t step, ZeliSize size, Transform transform) {
  constexpr int n = static_cast<int>(kLanes);
  const int across = size.width / n, rest = size.width % n;
  auto* row = reinterpret_cast<Zel8u*>(plane);
  int x = -1;
  const auto next = [&](int) __attribute__((always_inline)) {
    if (++x == across) x = 0, row += 4 * step;
    return row + static_cast<size_t>(x) * kLanes * sizeof(T);
  };
  transformAll<kLanes, T>(across * (size.height / 4), step, next, transform);
  if (rest == 0) return;
  if constexpr (kLanes * sizeof(T) > 16) {
    transformColumns<kLanes / 2>(plane + across * n, step, {rest, size.height}, transform);
  } else if constexpr (sizeof(T) == 2) {
    transformColumn(plane + across * n, step, size.height, transform);
  }
}

template <class T>
ZelStatus checkPlane(const T* pSrcDst, Zel32u step, ZeliSize size) {
  if (!pSrcDst) return zelStatusNullPointer;
  if (ZelStatus bad = checkSize(size)) return bad;
  if (step < Zel64u{sizeof(T)} * static_cast<Zel32u>(size.width)) return zelStatusBadStep;
  return size.width % 4 || size.height % 4 ? zelStatusBadSize : zelStatusOk;
}

template <class Transform, class T>
ZelStatus transform(T* pSrcDst, Zel32u step, ZeliSize size) {
  if (ZelStatus bad = checkPlane(pSrcDst, step, size)) return bad;
  transformColumns<HWY_LANES(T)>(pSrcDst, step, size, Transform());
  return zelStatusOk;
}

// A rectangle of fixed size, by vectors of which it fills four.
template <class Transform, int kWidth, int kHeight, class T>
ZelStatus transform(T* pSrcDst, Zel32u step) {
  constexpr ZeliSize kSize{kWidth, kHeight};
  constexpr size_t kFill = std::max<size_t>(kWidth * kHeight / 16, 16 / sizeof(T));
  constexpr size_t kLanes = std::min<size_t>({HWY_LANES(T), kWidth, kFill});
  if (ZelStatus bad = checkPlane(pSrcDst, step, kSize)) return bad;
  constexpr size_t kAcross = kWidth / kLanes;
  const auto at = [=](int group) __attribute__((always_inline)) {
    const auto g = static_cast<size_t>(group);
    return reinterpret_cast<Zel8u*>(pSrcDst) + g / kAcross * 4 * step + g % kAcross * kLanes * sizeof(T);
  };
  transformAll<kLanes, T>(kAcross * kHeight / 4, step, at, Transform());
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownPCTFwd_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTFwd16x16_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform, 16, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTFwd8x16_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform, 8, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTFwd8x8_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform, 8, 8>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTFwd_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTFwd16x16_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform, 16, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTFwd8x16_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform, 8, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTFwd8x8_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform, 8, 8>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTFwd_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTFwd16x16_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform, 16, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTFwd8x16_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform, 8, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTFwd8x8_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform, 8, 8>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTFwd_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTFwd16x16_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform, 16, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTFwd8x16_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform, 8, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTFwd8x8_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform, 8, 8>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTInv_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTInv16x16_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform, 16, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTInv8x16_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform, 8, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTInv8x8_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform, 8, 8>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTInv_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTInv16x16_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform, 16, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTInv8x16_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform, 8, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTInv8x8_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform, 8, 8>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTInv_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTInv16x16_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform, 16, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTInv8x16_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform, 8, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTInv8x8_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform, 8, 8>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTInv_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTInv16x16_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform, 16, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTInv8x16_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform, 8, 16>(pSrcDst, srcDstStep);
}

ZelStatus ownPCTInv8x8_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform, 8, 8>(pSrcDst, srcDstStep);
}
