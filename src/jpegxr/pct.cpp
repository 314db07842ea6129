// The photo core transform of JPEG XR on every 4x4 block of a plane, in place.
//
// A vector takes as many blocks as it has lanes. They come as four groups of neighbouring blocks, each a vector wide,
// from anywhere in the plane, so that the few blocks of a macroblock fill vectors as well.
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

// Four groups of blocks, a vector wide each.
template <class D, class Transform>
HWY_INLINE void transformGroups(D d, Zel8u* const (&groups)[4], const size_t (&steps)[4], Transform transform) {
  using T = hn::TFromD<D>;
  hn::VFromD<D> x[4][4];
  const auto at = [&](int group, size_t y) { return reinterpret_cast<T*>(groups[group] + y * steps[group]); };
  for (size_t y = 0; y < 4; ++y) {
    for (int i = 0; i < 4; ++i) x[y][i] = hn::LoadU(d, at(i, y));
    toColumns(d, x[y][0], x[y][1], x[y][2], x[y][3]);
  }
  transform(x);
  for (size_t y = 0; y < 4; ++y) {
    toRows(d, x[y][0], x[y][1], x[y][2], x[y][3]);
    for (int i = 0; i < 4; ++i) hn::StoreU(x[y][i], d, at(i, y));
  }
}

template <class T>
struct Plane {
  Zel8u* base;
  size_t step;
  int width, height;

  Zel8u* at(int x, int y) const { return base + static_cast<size_t>(y) * step + static_cast<size_t>(x) * sizeof(T); }
};

// The columns from `left` on, `right` at most; as many as full groups take, the rest by narrower ones, and the last
// blocks through memory of our own.
template <size_t kLanes, class T, class Transform>
void transformColumns(Plane<T> plane, int left, Transform transform) {
  constexpr size_t kNarrowest = 16 / sizeof(T);
  constexpr hn::CappedTag<T, kLanes> d;
  constexpr int n = static_cast<int>(kLanes), kBytes = n * static_cast<int>(sizeof(T));
  const int across = (plane.width - left) / n, groups = across * (plane.height / 4);
  alignas(64) Zel8u spare[4][4][kBytes];
  int x = 0, y = 0;
  for (int g = 0; g < groups; g += 4) {
    Zel8u* group[4];
    size_t steps[4];
    for (int i = 0; i < 4; ++i) {
      const bool exists = g + i < groups;
      if (!exists) std::memset(spare[i], 0, sizeof spare[i]);
      group[i] = exists ? plane.at(left + x * n, y) : spare[i][0];
      steps[i] = exists ? plane.step : kBytes;
      if (++x == across) x = 0, y += 4;
    }
    transformGroups(d, group, steps, transform);
  }
  left += across * n;
  if constexpr (kLanes > kNarrowest) {
    if (left < plane.width) transformColumns<kLanes / 2>(plane, left, transform);
  } else if (left < plane.width) {
    // A single column of blocks is left of 16-bit samples: a vector has room for two in a row.
    constexpr int kBlockBytes = 4 * static_cast<int>(sizeof(T));
    Zel8u* const group[4] = {spare[0][0], spare[1][0], spare[2][0], spare[3][0]};
    const size_t steps[4] = {kBytes, kBytes, kBytes, kBytes};
    for (int top = 0; top < plane.height; top += 4 * n) {
      const auto each = [&](auto move) {
        for (int i = 0; i < n && top + 4 * i < plane.height; ++i) {
          for (int r = 0; r < 4; ++r) move(spare[i % 4][r] + i / 4 * kBlockBytes, plane.at(left, top + 4 * i + r));
        }
      };
      std::memset(spare, 0, sizeof spare);
      each([](Zel8u* own, Zel8u* theirs) { std::memcpy(own, theirs, kBlockBytes); });
      transformGroups(d, group, steps, transform);
      each([](Zel8u* own, Zel8u* theirs) { std::memcpy(theirs, own, kBlockBytes); });
    }
  }
}

template <class Transform, class T>
ZelStatus transformPlane(T* pSrcDst, Zel32u step, ZeliSize size) {
  const Plane<T> plane{reinterpret_cast<Zel8u*>(pSrcDst), step, size.width, size.height};
  transformColumns<HWY_LANES(T)>(plane, 0, Transform());
  return zelStatusOk;
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
  return transformPlane<Transform>(pSrcDst, step, size);
}

constexpr ZeliSize k16x16{16, 16}, k8x16{8, 16}, k8x8{8, 8};

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownPCTFwd_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTFwd16x16_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, k16x16);
}

ZelStatus ownPCTFwd8x16_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, k8x16);
}

ZelStatus ownPCTFwd8x8_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, k8x8);
}

ZelStatus ownPCTFwd_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTFwd16x16_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, k16x16);
}

ZelStatus ownPCTFwd8x16_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, k8x16);
}

ZelStatus ownPCTFwd8x8_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, k8x8);
}

ZelStatus ownPCTFwd_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTFwd16x16_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, k16x16);
}

ZelStatus ownPCTFwd8x16_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, k8x16);
}

ZelStatus ownPCTFwd8x8_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, k8x8);
}

ZelStatus ownPCTFwd_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTFwd16x16_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, k16x16);
}

ZelStatus ownPCTFwd8x16_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, k8x16);
}

ZelStatus ownPCTFwd8x8_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep) {
  return transform<ForwardTransform>(pSrcDst, srcDstStep, k8x8);
}

ZelStatus ownPCTInv_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTInv16x16_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, k16x16);
}

ZelStatus ownPCTInv8x16_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, k8x16);
}

ZelStatus ownPCTInv8x8_JPEGXR_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, k8x8);
}

ZelStatus ownPCTInv_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTInv16x16_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, k16x16);
}

ZelStatus ownPCTInv8x16_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, k8x16);
}

ZelStatus ownPCTInv8x8_HDP_32s_C1IR(Zel32s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, k8x8);
}

ZelStatus ownPCTInv_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTInv16x16_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, k16x16);
}

ZelStatus ownPCTInv8x16_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, k8x16);
}

ZelStatus ownPCTInv8x8_JPEGXR_16s_C1IR(Zel16s* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, k8x8);
}

ZelStatus ownPCTInv_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep, ZeliSize roiSize) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, roiSize);
}

ZelStatus ownPCTInv16x16_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, k16x16);
}

ZelStatus ownPCTInv8x16_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, k8x16);
}

ZelStatus ownPCTInv8x8_JPEGXR_32f_C1IR(Zel32f* pSrcDst, Zel32u srcDstStep) {
  return transform<InverseTransform>(pSrcDst, srcDstStep, k8x8);
}
