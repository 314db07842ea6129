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
constexpr size_t kVectorLanes = HWY_MIN(16, HWY_LANES(Zel16s));

// Signed samples as unsigned ones, in order: x + 32768. And in reverse order: 32767 - x.
template <class V>
HWY_INLINE V raised(V x) {
  return hn::Xor(x, hn::Set(hn::DFromV<V>(), -32768));
}
template <class V>
HWY_INLINE V flipped(V x) {
  return hn::Xor(x, hn::Set(hn::DFromV<V>(), 32767));
}

// Half of a sum of unsigned numbers, rounded up. All halves that predictors round down come from it, modulo 65536: sums
// and differences of signed samples have 17 bits.
//   floor((a + b) / 2) = 32767 - half(flipped a, flipped b)
//   floor((a - b) / 2) = half(raised a, flipped b) - 32768
//                      = raised a - half(raised a, raised b), as a - b = 2a - (a + b)
template <class V>
HWY_INLINE V roundedHalf(V a, V b) {
  const hn::DFromV<V> d;
  const hn::RebindToUnsigned<decltype(d)> unsignedTag;
  return hn::BitCast(d, hn::AverageRound(hn::BitCast(unsignedTag, a), hn::BitCast(unsignedTag, b)));
}

// What differences need of the samples to the left and of those above them, in as few terms as there can be: made of a
// vector of samples and of the samples above, and moved by a lane to those whose neighbours they are.
template <class V>
struct Terms {
  V first, second;
};
template <int kPredictor, class V>
HWY_INLINE Terms<V> termsOf(V own, V above) {
  if constexpr (kPredictor == 3) return {above, above};
  if constexpr (kPredictor == 4) return {hn::Sub(own, above), above};
  if constexpr (kPredictor == 5) return {own, raised(above)};
  if constexpr (kPredictor == 6) return {roundedHalf(raised(own), flipped(above)), above};
  if constexpr (kPredictor == 7) return {flipped(own), above};
  return {own, above};
}

// The differences of samples with the terms `here`, whose neighbours to the left have the terms `left`.
template <int kPredictor, class V>
HWY_INLINE V difference(V own, V above, Terms<V> here, Terms<V> left) {
  if constexpr (kPredictor == 1 || kPredictor == 3) return hn::Sub(own, left.first);
  if constexpr (kPredictor == 2) return hn::Sub(own, above);
  if constexpr (kPredictor == 4) return hn::Sub(here.first, left.first);
  if constexpr (kPredictor == 5) {
    return hn::Add(hn::Sub(hn::Sub(own, here.second), left.first), roundedHalf(here.second, left.second));
  }
  if constexpr (kPredictor == 6) return hn::Sub(hn::Sub(raised(own), above), left.first);
  if constexpr (kPredictor == 7) return hn::Sub(roundedHalf(flipped(above), left.first), here.first);
}

// The lanes in front of those of a vector: the last one of the vector before it, and all of its own but the last.
template <class D, class V>
HWY_INLINE V movedBehind(D d, V before, V v) {
  constexpr size_t n = hn::MaxLanes(d);
  if constexpr (n == 1) {
    return before;
  } else {
    if constexpr (n > 8) before = hn::ConcatLowerUpper(d, v, before);
    return hn::CombineShiftRightBytes<2 * HWY_MIN(n, 8) - 2>(d, v, before);
  }
}

// The samples from x on. `before` is what stands to the left of a row's first sample, and to the left above it.
// Neighbours come from registers: loads beside the others would cross lines of the cache, and take twice the time.
template <int kPredictor, size_t kLanes = kVectorLanes>
HWY_INLINE void subtractPrediction(const Zel16s* src, const Zel16s* above, Zel16s* dst, int width, Zel16s before,
                                   int x = 0) {
  constexpr hn::CappedTag<Zel16s, kLanes> d;
  constexpr int n = static_cast<int>(kLanes);
  auto last =
      termsOf<kPredictor>(hn::Set(d, x ? load16(src + x - 1) : before), hn::Set(d, x ? load16(above + x - 1) : before));
  HWY_UNROLL(4)
  for (; x <= width - n; x += n) {
    const auto own = hn::LoadU(d, src + x), up = hn::LoadU(d, above + x);
    const auto here = termsOf<kPredictor>(own, up);
    const decltype(last) left = {movedBehind(d, last.first, here.first), movedBehind(d, last.second, here.second)};
    hn::StoreU(difference<kPredictor>(own, up, here, left), d, dst + x);
    last = here;
  }
  if constexpr (kLanes > 1) subtractPrediction<kPredictor, kLanes / 2>(src, above, dst, width, before, x);
}

// As forVectors, from x on, but with every element computed once: for rows that are replaced.
template <class T, size_t kLanes = HWY_MIN(kVectorLanes, HWY_LANES(T)), class Body>
HWY_INLINE void forVectorsOnce(int x, int width, Body body) {
  constexpr hn::CappedTag<T, kLanes> d;
  constexpr int n = static_cast<int>(kLanes);
  for (; x <= width - n; x += n) body(d, x);
  if constexpr (kLanes > 1) forVectorsOnce<T, kLanes / 2>(x, width, body);
}

// dst[x] = dst[x - 1] + summands(d, x). Sums of a vector do not wait for those in front of it: what hangs together from
// vector to vector is one addition.
template <class Summands>
HWY_INLINE void addUp(Zel16s* dst, int width, Summands summands) {
  constexpr hn::CappedTag<Zel16s, kVectorLanes> d;
  constexpr int n = static_cast<int>(kVectorLanes);
  const hn::Repartition<Zel8u, decltype(d)> bytes;
  const auto lastOfBlock = hn::BitCast(bytes, hn::Set(d, 0x0F0E));
  int x = 1;
  auto sumBefore = hn::Set(d, load16(dst));
  for (; x <= width - n; x += n) {
    auto sums = summands(d, x);
    sums = hn::Add(sums, hn::ShiftLeftLanes<1>(d, sums));
    sums = hn::Add(sums, hn::ShiftLeftLanes<2>(d, sums));
    sums = hn::Add(sums, hn::ShiftLeftLanes<4>(d, sums));
    auto whole = hn::BitCast(d, hn::TableLookupBytes(hn::BitCast(bytes, sums), lastOfBlock));
    if constexpr (n == 16) {
      sums = hn::Add(sums, hn::ConcatLowerLower(d, whole, hn::Zero(d)));
      whole = hn::Add(whole, hn::ConcatLowerUpper(d, whole, whole));
    }
    hn::StoreU(hn::Add(sums, sumBefore), d, dst + x);
    sumBefore = hn::Add(sumBefore, whole);
  }
  for (; x < width; ++x) store16(load16(dst + x - 1) + hn::GetLane(summands(hn::FixedTag<Zel16s, 1>(), x)), dst + x);
}

// Chains of samples, each half of the last one and a given number of 19 bits, rounded down and cut to 16 bits.

// The sample is the upper half of a word, and what rounding drops stays in the lower half, where it never makes up a
// whole one: floor((floor(v) + k) / 2) = floor((v + k) / 2) for whole k. So the chain is a shift and an addition for
// each sample. Returns the last.
HWY_INLINE int halveOneByOne(int left, const Zel32s* numbers, int count, Zel16s* dst) {
  auto word = static_cast<Zel32u>(left) << 16;
  for (int i = 0; i < count; ++i) {
    word = static_cast<Zel32u>(static_cast<Zel32s>(word) >> 1) + (static_cast<Zel32u>(numbers[i]) << 15);
    store16(static_cast<int>(word >> 16), dst + i);
  }
  return static_cast<Zel32s>(word) >> 16;
}

// By fours, of which the chain is as long as of one: with no sample cut, the i-th one behind `left` is
// floor((left + C) / 2^i), where C is the sum of 2^(j - 1) times the j-th number up to i. False: a sample may need more
// than 16 bits.
constexpr int kHalved = 64; // samples at a time
HWY_INLINE bool halveByFours(int* left, const Zel32s* numbers, Zel16s* dst) {
  constexpr hn::CappedTag<Zel32s, 8> d;
  alignas(32) Zel32s sums[kHalved]; // 2^(4 - i) * C
  Zel32s before[kHalved / 4];       // the sample in front of each four
  HWY_UNROLL(1)
  for (size_t x = 0; x < kHalved; x += hn::MaxLanes(d)) {
    auto sum = hn::ShiftLeft<3>(hn::Load(d, numbers + x));
    sum = hn::Add(sum, hn::ShiftRight<1>(hn::ShiftLeftLanes<1>(d, sum)));
    sum = hn::Add(sum, hn::ShiftRight<2>(hn::ShiftLeftLanes<2>(d, sum)));
    hn::Store(sum, d, sums + x);
  }
  int last = *left;
  HWY_UNROLL(4)
  for (size_t x = 0; x < kHalved; x += 4) {
    before[x / 4] = last;
    last = (last + sums[x + 3]) >> 4;
  }
  constexpr hn::FixedTag<Zel32s, 4> d4;
  constexpr hn::FixedTag<Zel16s, 8> d16;
  alignas(16) static constexpr Zel32s kScales[] = {8, 4, 2, 1};
  const auto scales = hn::Load(d4, kScales);
  const auto four = [&](size_t x) __attribute__((always_inline)) {
    const auto whole = hn::Mul(hn::Set(d4, before[x / 4]), scales);
    return hn::ShiftRight<4>(hn::Add(hn::Load(d4, sums + x), whole));
  };
  auto least = hn::Zero(d16), most = least;
  HWY_UNROLL(1)
  for (size_t x = 0; x < kHalved; x += 8) {
    const auto samples = hn::ReorderDemote2To(d16, four(x), four(x + 4)); // with saturation
    least = hn::Min(least, samples);
    most = hn::Max(most, samples);
    hn::StoreU(samples, d16, dst + x);
  }
  const auto atEnd = hn::Or(hn::Eq(least, hn::Set(d16, -32768)), hn::Eq(most, hn::Set(d16, 32767)));
  if (!hn::AllFalse(d16, atEnd)) return false;
  *left = last;
  return true;
}

// dst[x] = half of dst[x - 1] + twice(d, x)
template <class Twice>
HWY_INLINE void halveUp(Zel16s* dst, int width, Twice twice) {
  alignas(32) Zel32s numbers[kHalved];
  int left = load16(dst);
  for (int x = 1, count; x < width; x += count) {
    count = HWY_MIN(width - x, kHalved);
    forVectorsOnce<Zel32s>(0, count, [&](auto d, int i) { hn::StoreU(twice(d, x + i), d, numbers + i); });
    if (count < kHalved || !halveByFours(&left, numbers, dst + x)) left = halveOneByOne(left, numbers, count, dst + x);
  }
}

template <class D>
HWY_INLINE hn::VFromD<D> loadWide(D d, const Zel16s* p) {
  return hn::PromoteTo(d, hn::LoadU(hn::Rebind<Zel16s, D>(), p));
}

// The samples behind the first.
template <int kPredictor>
void addPrediction(const Zel16s* src, const Zel16s* above, Zel16s* dst, int width) {
  if constexpr (kPredictor == 6) {
    halveUp(
        dst, width, [=](auto d, int x) __attribute__((always_inline)) {
          const auto sum = hn::Add(loadWide(d, src + x), loadWide(d, above + x));
          return hn::Sub(hn::Add(sum, sum), loadWide(d, above + x - 1));
        });
  } else if constexpr (kPredictor == 7) {
    halveUp(
        dst, width, [=](auto d, int x) __attribute__((always_inline)) {
          const auto own = loadWide(d, src + x);
          return hn::Add(hn::Add(own, own), loadWide(d, above + x));
        });
  } else {
    // All but the left sample, which the prediction adds, or has no part of.
    const auto summands = [=](auto d, int x) __attribute__((always_inline)) {
      const auto own = hn::LoadU(d, src + x);
      if constexpr (kPredictor == 1) return own;
      if constexpr (kPredictor == 2) return hn::Add(own, hn::LoadU(d, above + x));
      const auto corner = hn::LoadU(d, above + x - 1);
      if constexpr (kPredictor == 3) return hn::Add(own, corner);
      const auto up = hn::LoadU(d, above + x);
      if constexpr (kPredictor == 4) return hn::Sub(hn::Add(own, up), corner);
      return hn::Sub(hn::Add(own, raised(up)), roundedHalf(raised(up), raised(corner)));
    };
    if constexpr (kPredictor == 2 || kPredictor == 3) {
      forVectorsOnce<Zel16s>(1, width, [=](auto d, int x) { hn::StoreU(summands(d, x), d, dst + x); });
    } else {
      addUp(dst, width, summands);
    }
  }
}

// Rows behind the first. The sample above their first one stands in for all its neighbours: every predictor foretells
// it.
template <int kPredictor>
void subtractRow(const Zel16s* src, const Zel16s* above, Zel16s* dst, int width) {
  subtractPrediction<kPredictor>(src, above, dst, width, load16(above));
}
template <int kPredictor>
void addRow(const Zel16s* src, const Zel16s* above, Zel16s* dst, int width) {
  store16(load16(src) + load16(above), dst);
  addPrediction<kPredictor>(src, above, dst, width);
}

using RowFunction = void(const Zel16s* src, const Zel16s* above, Zel16s* dst, int width);
struct RowFunctions {
  RowFunction *subtract[kPredictors], *add[kPredictors];
};
constexpr RowFunctions kRowFunctions = []<int... i>(std::integer_sequence<int, i...>) {
  return RowFunctions{{subtractRow<i + 1>...}, {addRow<i + 1>...}};
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
Zel16s middle(Zel32s P, Zel32s Pt) {
  const Zel32u shift = static_cast<Zel32u>(P) - static_cast<Zel32u>(Pt) - 1;
  return static_cast<Zel16s>(1u << (shift & 31));
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDiffPredFirstRow_JPEG_16s_C1(const Zel16s* pSrc, Zel16s* pDst, Zel32s width, Zel32s P, Zel32s Pt) {
  if (ZelStatus bad = checkFirstRow(pSrc, pDst, width, P, Pt)) return bad;
  subtractPrediction<1>(pSrc, pSrc, pDst, width, middle(P, Pt)); // nothing above, which it does not look at
  return zelStatusOk;
}

ZelStatus ownReconstructPredFirstRow_JPEG_16s_C1(const Zel16s* pSrc, Zel16s* pDst, Zel32s width, Zel32s P, Zel32s Pt) {
  if (ZelStatus bad = checkFirstRow(pSrc, pDst, width, P, Pt)) return bad;
  store16(load16(pSrc) + middle(P, Pt), pDst);
  addPrediction<1>(pSrc, pSrc, pDst, width);
  return zelStatusOk;
}

ZelStatus ownDiffPredRow_JPEG_16s_C1(const Zel16s* pSrc, const Zel16s* pPrevRow, Zel16s* pDst, Zel32s width,
                                     Zel32s predictor) {
  if (ZelStatus bad = checkRow(present(pSrc, pPrevRow, pDst), width, predictor >= 1 && predictor <= kPredictors)) {
    return bad;
  }
  kRowFunctions.subtract[predictor - 1](pSrc, pPrevRow, pDst, width);
  return zelStatusOk;
}

ZelStatus ownReconstructPredRow_JPEG_16s_C1(const Zel16s* pSrc, const Zel16s* pPrevRow, Zel16s* pDst, Zel32s width,
                                            Zel32s predictor) {
  if (ZelStatus bad = checkRow(present(pSrc, pPrevRow, pDst), width, predictor >= 1 && predictor <= kPredictors)) {
    return bad;
  }
  kRowFunctions.add[predictor - 1](pSrc, pPrevRow, pDst, width);
  return zelStatusOk;
}
