// 16-bit samples as two rows of bytes, the high and the low ones: what makes them compress.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "simd/blocks.h"
#include "simd/simd.h"

namespace zelj {
namespace {

// The status for a length is that of a bad step: it is part of the interface.
ZelStatus checkPointersLengthAsStep(bool allPresent, Zel32s length) {
  if (!allPresent) return zelStatusNullPointer;
  return length < 1 ? zelStatusBadStep : zelStatusOk;
}

// Rows shorter than a vector of 16 samples.
constexpr int kShort = 16;

void split(const Zel8u* src, Zel8u* high, Zel8u* low, int length) {
  if (length < kShort) {
    for (int i = 0; i < length; ++i) {
      low[i] = src[2 * i];
      high[i] = src[2 * i + 1];
    }
    return;
  }
  forVectors<Zel8u>(length, [=](auto d, int x) {
    if constexpr (hn::MaxLanes(d) >= kShort) {
      const hn::Repartition<Zel16u, decltype(d)> d16;
      const auto first = hn::BitCast(d16, hn::LoadU(d, src + 2 * x));
      const auto second = hn::BitCast(d16, hn::LoadU(d, src + 2 * x + hn::MaxLanes(d)));
      const auto lowByte = hn::Set(d16, 0xFF);
      hn::StoreU(packBytes(hn::ShiftRight<8>(first), hn::ShiftRight<8>(second)), d, high + x);
      hn::StoreU(packBytes(hn::And(first, lowByte), hn::And(second, lowByte)), d, low + x);
    }
  });
}

void join(const Zel8u* high, const Zel8u* low, Zel8u* dst, int length) {
  if (length < kShort) {
    for (int i = 0; i < length; ++i) {
      dst[2 * i] = low[i];
      dst[2 * i + 1] = high[i];
    }
    return;
  }
  forVectors<Zel8u>(length, [=](auto d, int x) {
    if constexpr (hn::MaxLanes(d) >= kShort) {
      const auto h = hn::LoadU(d, high + x), l = hn::LoadU(d, low + x);
      storeInterleaved(hn::InterleaveLower(d, l, h), hn::InterleaveUpper(d, l, h), d, dst + 2 * x);
    }
  });
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownSplitRow_TIFF_16u8u_C1(const Zel16u* pSrc, Zel8u* pDst[2], Zel32s len) {
  if (ZelStatus bad = checkPointersLengthAsStep(present(pSrc, pDst), len)) return bad;
  split(reinterpret_cast<const Zel8u*>(pSrc), pDst[0], pDst[1], len);
  return zelStatusOk;
}

ZelStatus ownJoinRow_TIFF_8u16u_C1(Zel8u* pSrc[2], Zel16u* pDst, Zel32s len) {
  if (ZelStatus bad = checkPointersLengthAsStep(present(pSrc, pDst), len)) return bad;
  join(pSrc[0], pSrc[1], reinterpret_cast<Zel8u*>(pDst), len);
  return zelStatusOk;
}
