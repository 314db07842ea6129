// DXT1, DXT3 and DXT5 images to RGBA: a block's palette of four colours lies in one 128-bit lane, where it is looked up
// for a row of four pixels at a time, and neighbouring lanes make one contiguous piece of each row.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "texture/block_vectors.h"
#include "texture/image_blocks.h"
#include "texture/ramp_decoder.h"

namespace zelj {
namespace {

enum class ThreeColours { never, byOrder };

// The palette of the colour half at byte kAt of each lane: R, G, B and an alpha of 0 in four dwords.
template <int kAt, ThreeColours kThree>
HWY_INLINE BlockVec decodePalette(BlockVec blocks) {
  // Words R, G, B, 0 of both end points: the field's bits where the word's high bits are, or 3 bits lower for blue,
  // then as a product's high half repeated down to 8 bits.
  static constexpr LaneBytes kFields{{kAt, kAt + 1, kAt, kAt + 1, kNone, kAt, kNone, kNone, //
                                      kAt + 2, kAt + 3, kAt + 2, kAt + 3, kNone, kAt + 2, kNone, kNone}};
  static constexpr LaneWords kMasks{{0xF800, 0x07E0, 0x1F00, 0, 0xF800, 0x07E0, 0x1F00, 0}};
  static constexpr LaneWords kWiden{{33 << 3, 65 << 7, 33 << 6, 0, 33 << 3, 65 << 7, 33 << 6, 0}};
  const Tag16 d;
  const auto ends = hn::MulHigh(hn::And(asWords(pick(blocks, kFields)), inEachLane(kMasks)), inEachLane(kWiden));
  const auto sums = hn::Add(ends, exchangedHalves(ends));
  // x / 3 for x up to 765: the constant is too large by less than 1 / 65536.
  auto between = hn::MulHigh(hn::Add(sums, ends), hn::Set(d, 65536 / 3 + 1));
  if constexpr (kThree == ThreeColours::byOrder) {
    static constexpr LaneBytes kFirst{{kAt, kAt + 1, kAt, kAt + 1, kAt, kAt + 1, kAt, kAt + 1, kAt, kAt + 1, kAt,
                                       kAt + 1, kAt, kAt + 1, kAt, kAt + 1}};
    static constexpr LaneBytes kSecond{{kAt + 2, kAt + 3, kAt + 2, kAt + 3, kAt + 2, kAt + 3, kAt + 2, kAt + 3, kAt + 2,
                                        kAt + 3, kAt + 2, kAt + 3, kAt + 2, kAt + 3, kAt + 2, kAt + 3}};
    static constexpr LaneWords kWhite{{0, 0, 0, 0, 255, 255, 255, 255}};
    const auto first = asWords(pick(blocks, kFirst)), second = asWords(pick(blocks, kSecond));
    const auto three = hn::Or(hn::ShiftRight<1>(sums), inEachLane(kWhite));
    between = hn::IfThenElse(hn::Eq(hn::Min(first, second), first), three, between);
  }
  return narrowUnsigned(hn::BitCast(Tag16s(), ends), hn::BitCast(Tag16s(), between));
}

// Index words shifted so that dword x of each lane has the index of column x of the first row lowest, and those of the
// other rows at every eighth bit.
HWY_INLINE hn::Vec<Tag32> columnIndices(hn::Vec<Tag32> word) {
#if HWY_TARGET <= HWY_AVX2
  static constexpr LaneDwords kBits{{0, 2, 4, 6}};
  return hn::Shr(word, inEachLane(kBits));
#else
  static constexpr LaneDwords kFactors{{64, 16, 4, 1}};
  return hn::ShiftRight<6>(hn::Mul(word, inEachLane(kFactors)));
#endif
}

// Stores rows of the four pixels that `indices` picks from the palettes, with finish(row number, pixels) done to them.
template <class Finish>
HWY_INLINE void storeRows(BlockVec palette, hn::Vec<Tag32> indices, Zel8u* dst, Zel64s step, Finish finish) {
  const BlockTag d;
  hn::StoreU(finish(0, pickDwords(palette, indices)), d, dst);
  hn::StoreU(finish(1, pickDwords(palette, hn::ShiftRight<8>(indices))), d, dst + step);
  hn::StoreU(finish(2, pickDwords(palette, hn::ShiftRight<16>(indices))), d, dst + 2 * step);
  hn::StoreU(finish(3, pickDwords(palette, hn::ShiftRight<24>(indices))), d, dst + 3 * step);
}

HWY_INLINE void decodeDxt1(const Zel8u* src, Zel8u* dst, Zel64s step) {
  const auto blocks = loadLowerHalves(src);
  const auto opaque = asBytes(hn::Set(Tag32(), 0xFF000000u));
  const auto palette = hn::Or(decodePalette<0, ThreeColours::byOrder>(blocks), opaque);
  storeRows(palette, columnIndices(hn::Broadcast<1>(asDwords(blocks))), dst, step, [](int, BlockVec v) { return v; });
}

// Blocks whose first half is alpha: alphaOf(blocks) is that of the 16 pixels in each lane.
template <class Alpha>
HWY_INLINE void decodeWithAlpha(const Zel8u* src, Zel8u* dst, Zel64s step, Alpha alphaOf) {
  static constexpr LaneDwords kFirstRow{{0x00808080, 0x01808080, 0x02808080, 0x03808080}}; // alphas of the first row
  const auto blocks = hn::LoadU(BlockTag(), src);
  const auto alpha = alphaOf(blocks);
  const auto palette = decodePalette<8, ThreeColours::never>(blocks);
  storeRows(palette, columnIndices(hn::Broadcast<3>(asDwords(blocks))), dst, step, [=](int y, BlockVec colours) {
    const auto from = asBytes(hn::Add(inEachLane(kFirstRow), hn::Set(Tag32(), static_cast<Zel32u>(y) << 26)));
    if constexpr (kMaskedLookup) {
      return lookupBytesOver(colours, alpha, from);
    } else {
      return hn::Or(colours, hn::TableLookupBytesOr0(alpha, from));
    }
  });
}

HWY_INLINE void decodeDxt3(const Zel8u* src, Zel8u* dst, Zel64s step) {
  decodeWithAlpha(src, dst, step, [](BlockVec blocks) { // nibbles become the high halves of bytes
    const BlockTag d;
    const auto mask = hn::Set(d, 0xF0);
    return hn::InterleaveLower(d, hn::And(asBytes(hn::ShiftLeft<4>(asWords(blocks))), mask), hn::And(blocks, mask));
  });
}

HWY_INLINE void decodeDxt5(const Zel8u* src, Zel8u* dst, Zel64s step) {
  decodeWithAlpha(src, dst, step, [](BlockVec blocks) { return decodeRamp<0>(blocks); });
}

template <int kBlockBytes, class Decode>
ZelStatus decodeToRgba(const Zel8u* pSrc, Zel8u* pDst, int dstStep, ZeliSize size, Decode decode) {
  if (ZelStatus bad = checkPointersNonzeroStepSize(present(pSrc, pDst), dstStep, size)) return bad;
  decodeImage<kLanes128, kBlockBytes, 4>(pSrc, pDst, dstStep, size, decode);
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownTextureDecodeBlockToRGBA_DXT1_8u_C1C4R(const Zel8u* pSrc, Zel8u* pDst, int dstStep, ZeliSize dstRoiSize) {
  return decodeToRgba<8>(pSrc, pDst, dstStep, dstRoiSize, [](auto... a) { decodeDxt1(a...); });
}

ZelStatus ownTextureDecodeBlockToRGBA_DXT3_8u_C1C4R(const Zel8u* pSrc, Zel8u* pDst, int dstStep, ZeliSize dstRoiSize) {
  return decodeToRgba<16>(pSrc, pDst, dstStep, dstRoiSize, [](auto... a) { decodeDxt3(a...); });
}

ZelStatus ownTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(const Zel8u* pSrc, Zel8u* pDst, int dstStep, ZeliSize dstRoiSize) {
  return decodeToRgba<16>(pSrc, pDst, dstStep, dstRoiSize, [](auto... a) { decodeDxt5(a...); });
}
