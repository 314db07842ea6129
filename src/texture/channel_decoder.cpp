// BC4 and BC5 images to one and two channels. A row of a block is four or eight bytes: several blocks make a vector's
// worth of a row.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "texture/block_vectors.h"
#include "texture/image_blocks.h"
#include "texture/ramp_decoder.h"

namespace zelj {
namespace {

// Lane i holds the 16 bytes number 2 * i (first) and 2 * i + 1 (second) from p on.
struct Pairs {
  BlockVec first, second;
};
HWY_INLINE Pairs loadPairs(const Zel8u* p) {
  const BlockTag d;
  return {loadBlocks<32>(d, p), loadBlocks<32>(d, p + 16)};
}

HWY_INLINE void decodeBc4(const Zel8u* src, Zel8u* dst, Zel64s step) {
  const auto [first, second] = loadPairs(src);
  BlockVec v[4] = {decodeRamp<0>(first), decodeRamp<8>(first), decodeRamp<0>(second), decodeRamp<8>(second)};
  transposeDwords(v);
  for (int y = 0; y < 4; ++y) hn::StoreU(v[y], BlockTag(), dst + y * step);
}

HWY_INLINE void decodeBc5(const Zel8u* src, Zel8u* dst, Zel64s step) {
  const BlockTag d;
  const Tag64 q;
  const auto [first, second] = loadPairs(src);
  const auto r0 = decodeRamp<0>(first), g0 = decodeRamp<8>(first);
  const auto r1 = decodeRamp<0>(second), g1 = decodeRamp<8>(second);
  const auto upper0 = asQwords(hn::InterleaveLower(d, r0, g0)), upper1 = asQwords(hn::InterleaveLower(d, r1, g1));
  const auto lower0 = asQwords(hn::InterleaveUpper(d, r0, g0)), lower1 = asQwords(hn::InterleaveUpper(d, r1, g1));
  hn::StoreU(asBytes(hn::InterleaveLower(q, upper0, upper1)), d, dst);
  hn::StoreU(asBytes(hn::InterleaveUpper(q, upper0, upper1)), d, dst + step);
  hn::StoreU(asBytes(hn::InterleaveLower(q, lower0, lower1)), d, dst + 2 * step);
  hn::StoreU(asBytes(hn::InterleaveUpper(q, lower0, lower1)), d, dst + 3 * step);
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownTextureDecodeBlock_BC4_8u_C1R(const Zel8u* pSrc, Zel8u* pDst, int dstStep, ZeliSize dstRoiSize) {
  if (ZelStatus bad = checkPointersNonzeroStepSize(present(pSrc, pDst), dstStep, dstRoiSize)) return bad;
  decodeImage<4 * kLanes128, 8, 1>(pSrc, pDst, dstStep, dstRoiSize, [](auto... a) { decodeBc4(a...); });
  return zelStatusOk;
}

ZelStatus ownTextureDecodeBlockToRG_BC5_8u_C1C2R(const Zel8u* pSrc, Zel8u* pDst, int dstStep, ZeliSize dstRoiSize) {
  if (ZelStatus bad = checkPointersNonzeroStepSize(present(pSrc, pDst), dstStep, dstRoiSize)) return bad;
  decodeImage<2 * kLanes128, 16, 2>(pSrc, pDst, dstStep, dstRoiSize, [](auto... a) { decodeBc5(a...); });
  return zelStatusOk;
}
