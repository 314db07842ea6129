// The steps that the full, sparse and reduced inverse DCT share. Rows are in lanes, letters are those of the usual flow
// graph, sums of the column transform saturate. Rows come out of the row transform with their columns in the order
// 0 1 2 3 7 6 5 4, because that is how sums and differences of even and odd part pack.
#pragma once

#include "frame/rows.h"
#include "jpeg/dct/dct_tables.h"
#include "simd/rows.h"

namespace zelj {

template <class R>
HWY_INLINE R dequantised(const Zel16s* src, const Zel16u* table) {
  return each([](auto c, auto q) { return hn::Mul(c, hn::BitCast(hn::DFromV<decltype(c)>(), q)); }, loadRows<R>(src),
              loadRows<Rows<Zel16u, R::kRows>>(table));
}

// Rows 4 7 6 5: the column transform works on rows 1 and 7, and 3 and 5, together.
HWY_INLINE Rows4 dequantisedLower(const Zel16s* src, const Zel16u* table) {
  const Rows2 r45 = dequantised<Rows2>(src + 32, table + 32), r67 = dequantised<Rows2>(src + 48, table + 48);
  return combined(joined(r45, r67), joined(r67, r45));
}

template <int kRows>
HWY_INLINE Rows<Zel32s, kRows> products(Rows<Zel16s, kRows> x, const Zel16s* factors) {
  return each(sumsOfProducts, x, loadRows<Rows<Zel16s, kRows>>(factors));
}

// Shifts the sums of the row transform and packs them, saturating.
template <int kShift, int kRows>
HWY_INLINE Rows<Zel16s, kRows> packedRows(Rows<Zel32s, kRows> a, Rows<Zel32s, kRows> b) {
  return each(
      [](auto x, auto y) {
        const hn::RepartitionToNarrow<hn::DFromV<decltype(x)>> d16;
        return hn::ReorderDemote2To(d16, hn::ShiftRight<kShift>(x), hn::ShiftRight<kShift>(y));
      },
      a, b);
}

// x times 1 + c, the product with c from its high half; the sum stays below x.
template <class R>
HWY_INLINE R timesOnePlus(R x, const Zel16s* c) {
  return plus(timesHigh(x, loadRows<R>(c)), x);
}

// Rows 0 1 2 3 times 1, tan(pi / 16), tan(2 pi / 16), tan(3 pi / 16).
template <class R>
HWY_INLINE R timesTangents(R x) {
  const R tangents = loadRows<R>(kInverse.tangents.k);
  if constexpr (R::kVectors == 4) {
    return {{x.v[0], hn::MulHigh(x.v[1], tangents.v[1]), hn::MulHigh(x.v[2], tangents.v[2]),
             hn::Add(hn::MulHigh(x.v[3], tangents.v[3]), x.v[3])}};
  } else {
    return plus(timesHigh(x, tangents), bitwiseAnd(x, loadRows<R>(kInverse.whole.k)));
  }
}

// a - b, but b - a in row 3.
template <class R>
HWY_INLINE R differences(R a, R b) {
  R r = minusSaturated(a, b);
  using Tag = typename R::Tag;
  if constexpr (R::kVectors == 2) {
    r.v[1] = hn::ConcatUpperLower(Tag(), hn::SaturatedSub(b.v[1], a.v[1]), r.v[1]);
  } else {
    r.v[3] = hn::SaturatedSub(b.v[3], a.v[3]);
  }
  return r;
}

struct Halves {
  Rows2 sum, difference;
};
HWY_INLINE Halves butterfly(Rows2 a, Rows2 b) {
  return {plusSaturated(a, b), minusSaturated(a, b)};
}

// (T + V) cos(pi / 4) and (T - V) cos(pi / 4) in the second row.
HWY_INLINE Halves rotated45(Rows2 a3t, Rows2 a2v) {
  const Halves zw = butterfly(a3t, a2v);
  return {timesOnePlus(zw.sum, kInverse.cos4.k), timesOnePlus(zw.difference, kInverse.cos4.k)};
}

// Finished rows.
struct OutputRows {
  Rows2 r01, r32, r45, r76;
};

// The last steps of the column transform, from the halves a0, a3, a1, a2 of the even part in the first row and b0, T,
// U, V of the odd part in the second.
HWY_INLINE OutputRows outputRows(Rows2 a0b0, Rows2 a3t, Rows2 a1u, Rows2 a2v) {
  const Halves z2w2 = rotated45(a3t, a2v);
  const Rows2 b0a0 = exchanged(a0b0), ua1 = exchanged(a1u), va2 = exchanged(a2v); // while Z2 and W2 are under way
  const Halves outer = butterfly(joined(a0b0, ua1), joined(b0a0, z2w2.sum));
  const Halves inner = butterfly(joined(a3t, va2), joined(ua1, z2w2.difference));
  return {shiftedRight<6>(outer.sum), shiftedRight<6>(inner.sum), shiftedRight<6>(inner.difference),
          shiftedRight<6>(outer.difference)};
}

// Level shift and clamp: in each lane a row of a, then a row of b, columns in natural order.
HWY_INLINE Rows<Zel8u, 2> samples(Rows2 a, Rows2 b) {
  const auto levelled = [](auto x, auto y) {
    const auto bytes = narrowSigned(x, y);
    const hn::RebindToUnsigned<hn::DFromV<decltype(bytes)>> d;
    return hn::Xor(hn::BitCast(d, bytes), hn::Set(d, 128));
  };
  return bytesByIndex(each(levelled, a, b), kInverse.naturalBytes);
}

// Stores the first and second half of a row of bytes in two places.
template <class V>
HWY_INLINE void storeHalves(V x, Zel8u* first, Zel8u* second) {
  const hn::DFromV<V> d;
  const hn::Half<decltype(d)> half;
  hn::StoreU(hn::LowerHalf(half, x), half, first);
  hn::StoreU(hn::UpperHalf(half, x), half, second);
}

HWY_INLINE void storeSamples(OutputRows x, Zel8u* dst, int step) {
  const auto at = [=](int y) { return row(dst, step, y); };
  const auto store = [](auto rows, Zel8u* r0, Zel8u* r1, Zel8u* r2, Zel8u* r3) {
    if constexpr (rows.kVectors == 1) {
      storeHalves(hn::LowerHalf(rows.v[0]), r0, r1);
      storeHalves(hn::UpperHalf(hn::FixedTag<Zel8u, 16>(), rows.v[0]), r2, r3);
    } else {
      storeHalves(rows.v[0], r0, r1);
      storeHalves(rows.v[1], r2, r3);
    }
  };
  store(samples(x.r01, x.r32), at(0), at(3), at(1), at(2));
  store(samples(x.r45, x.r76), at(4), at(7), at(5), at(6));
}

} // namespace zelj
