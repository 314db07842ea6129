// The predictors of the lossless process (ITU T.81 H.1.2.1): differences modulo 65536 from what the neighbours
// foretell.
#include <utility>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/coefficients.h"
#include "simd/simd.h"

namespace zelj {
namespace {

constexpr int kPredictors = 7;

// Halves of a sum or a difference of signed samples, rounded down; these have 17 bits.
template <class V>
HWY_INLINE V halfSum(V a, V b) {
  return hn::Add(hn::And(a, b), hn::ShiftRight<1>(hn::Xor(a, b)));
}
template <class V>
HWY_INLINE V halfDifference(V a, V b) { // half of a + ~b + 1, in unsigned numbers
  const hn::DFromV<V> d;
  const hn::RebindToUnsigned<decltype(d)> unsignedTag;
  const auto sign = hn::Set(d, -32768);
  const V first = hn::Xor(a, sign), second = hn::Xor(b, hn::Set(d, 32767));
  const auto half = hn::AverageRound(hn::BitCast(unsignedTag, first), hn::BitCast(unsignedTag, second));
  return hn::Xor(hn::BitCast(d, half), sign);
}

// What the samples to the left, above, and above to the left foretell.
template <int kPredictor, class V>
HWY_INLINE V predict(V left, V above, V corner) {
  if constexpr (kPredictor == 1) return left;
  if constexpr (kPredictor == 2) return above;
  if constexpr (kPredictor == 3) return corner;
  if constexpr (kPredictor == 4) return hn::Sub(hn::Add(left, above), corner);
  if constexpr (kPredictor == 5) return hn::Add(left, halfDifference(above, corner));
  if constexpr (kPredictor == 6) return hn::Add(above, halfDifference(left, corner));
  if constexpr (kPredictor == 7) return halfSum(left, above);
}

// As forVectors, from x on, but with every element computed once: for rows that are replaced.
template <size_t kLanes = HWY_LANES(Zel16s), class Body>
HWY_INLINE void forVectorsOnce(int x, int width, Body body) {
  constexpr hn::CappedTag<Zel16s, kLanes> d;
  constexpr int n = static_cast<int>(kLanes);
  for (; x + n <= width; x += n) body(d, x);
  if constexpr (kLanes > 1) forVectorsOnce<kLanes / 2>(x, width, body);
}

// The lanes in front of those of a vector: the last one of the vector before it, and all of its own but the last.
template <class D, class V>
HWY_INLINE V shiftedIn(D d, V v, V before) {
  if constexpr (hn::MaxLanes(d) > 8) before = hn::ConcatLowerUpper(d, v, before);
  return hn::CombineShiftRightBytes<14>(d, v, before);
}

// The samples behind the first. Neighbours to the left come from registers: loads beside the aligned ones would cross
// lines of the cache, and take twice the time.
template <int kPredictor>
void subtractPrediction(const Zel16s* src, const Zel16s* above, Zel16s* dst, int width) {
  constexpr hn::CappedTag<Zel16s, 16> d;
  constexpr int n = static_cast<int>(hn::MaxLanes(d));
  const auto row = [=](auto tag, int x) { return hn::LoadU(tag, (kPredictor == 1 ? src : above) + x); };
  auto lastOwn = hn::Set(d, load16(src)), lastUp = hn::Set(d, load16(kPredictor == 1 ? src : above));
  int x = 1;
  HWY_UNROLL(4)
  for (; x + n <= width; x += n) {
    const auto own = hn::LoadU(d, src + x), up = row(d, x);
    const auto left = shiftedIn(d, own, lastOwn), corner = shiftedIn(d, up, lastUp);
    hn::StoreU(hn::Sub(own, predict<kPredictor>(left, up, corner)), d, dst + x);
    lastOwn = own;
    lastUp = up;
  }
  forVectorsOnce<n / 2>(x, width, [=](auto tag, int i) {
    const auto predicted = predict<kPredictor>(hn::LoadU(tag, src + i - 1), row(tag, i), row(tag, i - 1));
    hn::StoreU(hn::Sub(hn::LoadU(tag, src + i), predicted), tag, dst + i);
  });
}

// dst[x] = dst[x - 1] + terms(d, x)
template <class Terms>
HWY_INLINE void addUp(Zel16s* dst, int width, Terms terms) {
  const auto run = [=](auto d, int x) __attribute__((always_inline)) {
    constexpr size_t kLanes = hn::MaxLanes(d);
    auto last = hn::Set(d, load16(dst + x - 1));
    for (; x + static_cast<int>(kLanes) <= width; x += static_cast<int>(kLanes)) {
      auto sum = terms(d, x);
      if constexpr (kLanes == 8) {
        sum = hn::Add(sum, hn::ShiftLeftLanes<1>(d, sum));
        sum = hn::Add(sum, hn::ShiftLeftLanes<2>(d, sum));
        sum = hn::Add(sum, hn::ShiftLeftLanes<4>(d, sum));
      }
      sum = hn::Add(sum, last);
      hn::StoreU(sum, d, dst + x);
      last = hn::Broadcast<kLanes - 1>(sum);
    }
    return x;
  };
  run(hn::FixedTag<Zel16s, 1>(), run(hn::FixedTag<Zel16s, 8>(), 1));
}

// dst[x] = half of dst[x - 1] + twice(x), rounded down
template <class Twice>
HWY_INLINE void halveUp(Zel16s* dst, int width, Twice twice) {
  int left = load16(dst);
  for (int x = 1; x < width; ++x) {
    left = static_cast<Zel16s>((left + twice(x)) >> 1);
    store16(left, dst + x);
  }
}

template <int kPredictor>
void addPrediction(const Zel16s* src, const Zel16s* above, Zel16s* dst, int width) {
  if constexpr (kPredictor == 6) {
    halveUp(dst, width, [=](int x) { return 2 * (load16(src + x) + load16(above + x)) - load16(above + x - 1); });
  } else if constexpr (kPredictor == 7) {
    halveUp(dst, width, [=](int x) { return 2 * load16(src + x) + load16(above + x); });
  } else {
    // The prediction is a sum of which the left sample is one term, or none.
    const auto terms = [=](auto d, int x) __attribute__((always_inline)) {
      const auto none = hn::Zero(d);
      const auto up = kPredictor == 1 ? none : hn::LoadU(d, above + x);
      const auto corner = kPredictor == 1 ? none : hn::LoadU(d, above + x - 1);
      return hn::Add(hn::LoadU(d, src + x), predict<kPredictor>(none, up, corner));
    };
    if constexpr (kPredictor == 2 || kPredictor == 3) {
      forVectorsOnce(1, width, [=](auto d, int x) { hn::StoreU(terms(d, x), d, dst + x); });
    } else {
      addUp(dst, width, terms);
    }
  }
}

using RowFunction = void(const Zel16s* src, const Zel16s* above, Zel16s* dst, int width);
struct RowFunctions {
  RowFunction *subtract[kPredictors], *add[kPredictors];
};
constexpr RowFunctions kRowFunctions = []<int... i>(std::integer_sequence<int, i...>) {
  return RowFunctions{{subtractPrediction<i + 1>...}, {addPrediction<i + 1>...}};
}
(std::make_integer_sequence<int, kPredictors>());

ZelStatus checkRow(bool allPresent, Zel32s width, bool inRange) {
  if (ZelStatus bad = checkPointersLength(allPresent, width)) return bad;
  return inRange ? zelStatusOk : zelStatusOutOfRange;
}

ZelStatus checkFirstRow(const Zel16s* pSrc, const Zel16s* pDst, Zel32s width, Zel32s P, Zel32s Pt) {
  return checkRow(present(pSrc, pDst), width, P >= 2 && P <= 16 && Pt >= 0);
}

// The middle of the range of samples; a point transform beyond the precision counts modulo 32.
int middle(Zel32s P, Zel32s Pt) {
  const Zel32u shift = static_cast<Zel32u>(P) - static_cast<Zel32u>(Pt) - 1;
  return static_cast<Zel16s>(1u << (shift & 31));
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDiffPredFirstRow_JPEG_16s_C1(const Zel16s* pSrc, Zel16s* pDst, Zel32s width, Zel32s P, Zel32s Pt) {
  if (ZelStatus bad = checkFirstRow(pSrc, pDst, width, P, Pt)) return bad;
  store16(load16(pSrc) - middle(P, Pt), pDst);
  subtractPrediction<1>(pSrc, nullptr, pDst, width);
  return zelStatusOk;
}

ZelStatus ownReconstructPredFirstRow_JPEG_16s_C1(const Zel16s* pSrc, Zel16s* pDst, Zel32s width, Zel32s P, Zel32s Pt) {
  if (ZelStatus bad = checkFirstRow(pSrc, pDst, width, P, Pt)) return bad;
  store16(load16(pSrc) + middle(P, Pt), pDst);
  addPrediction<1>(pSrc, nullptr, pDst, width);
  return zelStatusOk;
}

ZelStatus ownDiffPredRow_JPEG_16s_C1(const Zel16s* pSrc, const Zel16s* pPrevRow, Zel16s* pDst, Zel32s width,
                                     Zel32s predictor) {
  if (ZelStatus bad = checkRow(present(pSrc, pPrevRow, pDst), width, predictor >= 1 && predictor <= kPredictors)) {
    return bad;
  }
  store16(load16(pSrc) - load16(pPrevRow), pDst);
  kRowFunctions.subtract[predictor - 1](pSrc, pPrevRow, pDst, width);
  return zelStatusOk;
}

ZelStatus ownReconstructPredRow_JPEG_16s_C1(const Zel16s* pSrc, const Zel16s* pPrevRow, Zel16s* pDst, Zel32s width,
                                            Zel32s predictor) {
  if (ZelStatus bad = checkRow(present(pSrc, pPrevRow, pDst), width, predictor >= 1 && predictor <= kPredictors)) {
    return bad;
  }
  store16(load16(pSrc) + load16(pPrevRow), pDst);
  kRowFunctions.add[predictor - 1](pSrc, pPrevRow, pDst, width);
  return zelStatusOk;
}
