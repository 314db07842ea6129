// One and two channels to BC4 and BC5: blocks whose rows share a vector are taken apart into a lane of 16 values for
// each half block.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "texture/block_vectors.h"
#include "texture/image_blocks.h"
#include "texture/ramp_encoder.h"

namespace zelj {
namespace {

// Least or greatest of the four bytes of each dword, in all of them.
template <class F>
HWY_INLINE BlockVec acrossDwords(BlockVec v, F f) {
  static constexpr LaneBytes kNeighbours{{1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14}};
  v = f(v, pick(v, kNeighbours));
  return f(v, asBytes(hn::Or(hn::ShiftLeft<16>(asDwords(v)), hn::ShiftRight<16>(asDwords(v)))));
}

// rows[y] has row y of four channels of blocks in the four dwords of each lane; their half blocks follow one another.
HWY_INLINE void encodeChannels(BlockVec (&rows)[4], Zel8u* dst) {
  const auto min = [](BlockVec a, BlockVec b) { return hn::Min(a, b); };
  const auto max = [](BlockVec a, BlockVec b) { return hn::Max(a, b); };
  const auto lowest = acrossDwords(min(min(rows[0], rows[1]), min(rows[2], rows[3])), min);
  const auto highest = acrossDwords(max(max(rows[0], rows[1]), max(rows[2], rows[3])), max);
  const auto ends = inset(highest, lowest);
  transposeDwords(rows);
  hn::Vec<Tag64> halves[4];
  for (int i = 0; i < 4; ++i) {
    halves[i] = asQwords(encodeRamp(rows[i], byteInWords(ends.high, 4 * i), byteInWords(ends.low, 4 * i)));
  }
  const Tag64 q;
  storeInterleaved(asBytes(hn::InterleaveLower(q, halves[0], halves[1])),
                   asBytes(hn::InterleaveLower(q, halves[2], halves[3])), BlockTag(), dst);
}

HWY_INLINE void encodeBc4(const Zel8u* src, Zel64s step, Zel8u* dst) {
  BlockVec rows[4];
  for (int y = 0; y < 4; ++y) rows[y] = hn::LoadU(BlockTag(), src + y * step);
  encodeChannels(rows, dst);
}

HWY_INLINE void encodeBc5(const Zel8u* src, Zel64s step, Zel8u* dst) {
  static constexpr LaneBytes kChannels{{0, 2, 4, 6, 1, 3, 5, 7, 8, 10, 12, 14, 9, 11, 13, 15}};
  BlockVec rows[4];
  for (int y = 0; y < 4; ++y) rows[y] = pick(hn::LoadU(BlockTag(), src + y * step), kChannels);
  encodeChannels(rows, dst);
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownTextureEncodeBlock_BC4_8u_C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize, Zel8u* pDst) {
  if (ZelStatus bad = checkPointersNonzeroStepSize(present(pSrc, pDst), srcStep, srcRoiSize)) return bad;
  encodeImage<4 * kLanes128, 8, 1>(pSrc, srcStep, srcRoiSize, pDst, [](auto... a) { encodeBc4(a...); });
  return zelStatusOk;
}

ZelStatus ownTextureEncodeBlockFromRG_BC5_8u_C2C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize, Zel8u* pDst) {
  if (ZelStatus bad = checkPointersNonzeroStepSize(present(pSrc, pDst), srcStep, srcRoiSize)) return bad;
  encodeImage<2 * kLanes128, 16, 2>(pSrc, srcStep, srcRoiSize, pDst, [](auto... a) { encodeBc5(a...); });
  return zelStatusOk;
}
