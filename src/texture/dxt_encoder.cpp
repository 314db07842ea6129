// RGBA images to DXT1, DXT3 and DXT5, and YCoCg images to DXT5, with the corners of the colours' bounding box as end
// points. A 128-bit lane holds a block: first its rows, then a plane of 16 values for each channel.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "texture/block_vectors.h"
#include "texture/image_blocks.h"
#include "texture/ramp_encoder.h"

namespace zelj {
namespace {

// Least or greatest pixel of each lane, channel by channel, in all four dwords.
template <class F>
HWY_INLINE BlockVec acrossPixels(const BlockVec (&rows)[4], F f) {
  const auto v = f(f(rows[0], rows[1]), f(rows[2], rows[3]));
  const auto pair = f(v, asBytes(hn::Shuffle2301(asDwords(v))));
  return f(pair, asBytes(hn::Shuffle1032(asDwords(pair))));
}
HWY_INLINE Ends extremes(const BlockVec (&rows)[4]) {
  return {acrossPixels(rows, [](auto a, auto b) { return hn::Max(a, b); }),
          acrossPixels(rows, [](auto a, auto b) { return hn::Min(a, b); })};
}

// Rows of four-byte pixels become planes, channel by channel.
HWY_INLINE void toPlanes(BlockVec (&rows)[4]) {
  static constexpr LaneBytes kChannels{{0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15}};
  for (BlockVec& v : rows) v = pick(v, kChannels);
  transposeDwords(rows);
}

// In dwords: the bytes of one where the bytes of a pixel select them, else those of the other.
HWY_INLINE BlockVec alternate(BlockVec even, BlockVec odd) {
  return asBytes(hn::OddEven(asDwords(odd), asDwords(even)));
}

// Bytes R, G, B of dwords to 5-6-5 words in dwords; the lower bits are cut off.
HWY_INLINE hn::Vec<Tag32> packColours(BlockVec rgb) {
  const Tag32 d;
  const auto v = asDwords(rgb);
  const auto redBlue = joinWords<1 << 11, 1>(hn::And(v, hn::Set(d, 0x00F800F8)));
  const auto green = hn::ShiftRight<2>(hn::And(v, hn::Set(d, 0xFC00)));
  return hn::ShiftRight<3>(hn::Add(redBlue, green));
}
// Both words of each lane's colour half in its first dword, from end points in turn.
HWY_INLINE hn::Vec<Tag32> packEnds(BlockVec ends) {
  const auto words = asQwords(packColours(ends));
  return asDwords(hn::Or(words, hn::ShiftRight<16>(words)));
}

// The palette of words R, G, B of the two end points: bytes in four dwords, as the decoder has them.
HWY_INLINE BlockVec makePalette(hn::Vec<Tag16> ends) {
  const auto weighted = hn::Add(hn::Add(ends, ends), exchangedHalves(ends));
  const auto between = hn::MulHigh(weighted, hn::Set(Tag16(), 65536 / 3 + 1)); // x / 3 for x up to 765
  return narrowUnsigned(hn::BitCast(Tag16s(), ends), hn::BitCast(Tag16s(), between));
}

// The index word, in the first dword of each lane, of kChannels planes against a palette that falls in no channel from
// the second end point over the two between to the first.
//
// With the end points e0, e1 and p2, p3 between them a sum of absolute differences d to one of them is compared with
// that to another: over an interval [low, high] of a channel the difference of distances is low + high - 2 clamp(x), so
// d(high) > d(low) if the part of the interval below x, summed over channels, is less than half of the interval's sum.
// The parts of the three intervals between neighbours, at most 85 in each channel, sum up in bytes.
template <int kChannels>
HWY_INLINE hn::Vec<Tag32> chooseIndices(const BlockVec (&planes)[4], BlockVec palette) {
  const BlockTag d;
  // Dwords e1, p3 - e1, p2 - p3, e0 - p2.
  static constexpr LaneBytes kAscending{{4, 5, 6, 7, 12, 13, 14, 15, 8, 9, 10, 11, 0, 1, 2, 3}};
  static constexpr LaneBytes kBelow{{kNone, kNone, kNone, kNone, 4, 5, 6, 7, 12, 13, 14, 15, 8, 9, 10, 11}};
  const auto steps = hn::Sub(pick(palette, kAscending), pick(palette, kBelow));
  const auto zero = hn::Zero(d);
  auto length1 = zero, length2 = zero, length3 = zero, above1 = zero, below2 = zero, below3 = zero;
  for (int c = 0; c < kChannels; ++c) {
    const auto step1 = byteInLane(steps, 4 + c), step2 = byteInLane(steps, 8 + c), step3 = byteInLane(steps, 12 + c);
    const auto from1 = hn::SaturatedSub(planes[c], byteInLane(steps, c));
    const auto from2 = hn::SaturatedSub(from1, step1), from3 = hn::SaturatedSub(from2, step2);
    length1 = hn::Add(length1, step1);
    length2 = hn::Add(length2, step2);
    length3 = hn::Add(length3, step3);
    above1 = hn::Add(above1, hn::SaturatedSub(step1, from1));
    below2 = hn::Add(below2, hn::Min(from2, step2));
    below3 = hn::Add(below3, hn::Min(from3, step3));
  }
  // Each is nonzero if the first distance is greater than the second; rounded halves since the parts are integers.
  const auto above2 = hn::Sub(length2, below2);
  const auto half = [=](BlockVec a, BlockVec b) { return hn::AverageRound(a, b); };
  const auto d0OverD3 = hn::SaturatedSub(half(length2, length3), hn::SaturatedAdd(below2, below3));
  const auto d1OverD2 = hn::SaturatedSub(half(length1, length2), hn::SaturatedAdd(above1, above2));
  const auto d0OverD2 = hn::SaturatedSub(half(length3, zero), below3);
  const auto d1OverD3 = hn::SaturatedSub(half(length1, zero), above1);
  const auto d2OverD3 = hn::SaturatedSub(half(length2, zero), below2);
  const auto low = hn::Min(d0OverD3, d2OverD3); // a minimum is nonzero if both are
  const auto high = hn::Or(hn::Min(d1OverD2, d0OverD2), hn::Min(d0OverD3, d1OverD3));
  const auto one = hn::Set(d, 1), highBit = hn::Min(high, one);
  const auto indices = hn::Or(hn::Min(low, one), hn::Add(highBit, highBit));
  static constexpr LaneBytes kBytes{
      {0, 4, 8, 12, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone}};
  return asDwords(pick(joinWords<1, 16>(joinBytes<1, 4>(indices)), kBytes));
}

// The colour half in the lower half of each lane.
HWY_INLINE BlockVec joinColourHalf(hn::Vec<Tag32> ends, hn::Vec<Tag32> indices) {
  return asBytes(hn::InterleaveLower(Tag32(), ends, indices));
}

struct Rgba {
  BlockVec planes[4];
  Ends ends; // R, G, B and alpha in each dword

  HWY_INLINE Rgba(const Zel8u* src, Zel64s step) {
    for (int y = 0; y < 4; ++y) planes[y] = hn::LoadU(BlockTag(), src + y * step);
    const Ends outer = extremes(planes);
    ends = inset(outer.high, outer.low);
    toPlanes(planes);
  }

  HWY_INLINE BlockVec colourHalf() const {
    const auto both = alternate(ends.high, ends.low);
    const auto cut = hn::And(both, asBytes(hn::Set(Tag32(), 0x00F8FCF8)));
    // The upper bits repeated below: a 32nd or, for green, a 64th of the whole.
    static constexpr LaneWords kRepeat{{1 << 11, 1 << 10, 1 << 11, 0, 1 << 11, 1 << 10, 1 << 11, 0}};
    const auto words = asWords(hn::InterleaveLower(BlockTag(), cut, hn::Zero(BlockTag())));
    const auto palette = makePalette(hn::Add(words, hn::MulHigh(words, inEachLane(kRepeat))));
    return joinColourHalf(packEnds(both), chooseIndices<3>(planes, palette));
  }
};

HWY_INLINE void encodeDxt1(const Zel8u* src, Zel64s step, Zel8u* dst) {
  storeLowerHalves(Rgba(src, step).colourHalf(), dst);
}

HWY_INLINE void storeHalves(BlockVec first, BlockVec second, Zel8u* dst) {
  hn::StoreU(asBytes(hn::InterleaveLower(Tag64(), asQwords(first), asQwords(second))), BlockTag(), dst);
}

HWY_INLINE void encodeDxt3(const Zel8u* src, Zel64s step, Zel8u* dst) {
  const Rgba block(src, step);
  const auto nibbles = hn::And(hn::ShiftRight<4>(asWords(block.planes[3])), hn::Set(Tag16(), 0x0F0F));
  storeHalves(narrowTwice(joinBytes<1, 16>(nibbles)), block.colourHalf(), dst);
}

HWY_INLINE void encodeDxt5(const Zel8u* src, Zel64s step, Zel8u* dst) {
  const Rgba block(src, step);
  const auto alpha = encodeRamp(block.planes[3], byteInWords(block.ends.high, 3), byteInWords(block.ends.low, 3));
  storeHalves(alpha, block.colourHalf(), dst);
}

// Four pixels of Y, Co, Cg for each lane become bytes Co, Cg, 0, Y in its dwords. Reads 12 bytes a lane and no more.
HWY_INLINE BlockVec loadCoCgY(const Zel8u* p) {
  if constexpr (kLanes128 == 1) {
    static constexpr LaneBytes kFrom{{1, 2, kNone, 0, 4, 5, kNone, 3, 7, 12, kNone, 6, 14, 15, kNone, 13}};
    const hn::Half<BlockTag> half;
    return pick(hn::Combine(BlockTag(), hn::LoadU(half, p + 4), hn::LoadU(half, p)), kFrom);
  } else {
    static constexpr LaneBytes kFrom{{1, 2, kNone, 0, 4, 5, kNone, 3, 7, 8, kNone, 6, 10, 11, kNone, 9}};
    alignas(64) static constexpr Zel32u kSpread[] = {0, 1, 2, 0, 3, 4, 5, 0, 6, 7, 8, 0, 9, 10, 11, 0};
    const Tag32 d;
    const auto v = hn::MaskedLoad(hn::FirstN(d, 3 * kLanes128), d, reinterpret_cast<const Zel32u*>(p));
    return pick(hn::TableLookupLanes(v, hn::SetTableIndices(d, kSpread)), kFrom);
  }
}

// Chroma around 128 grows by 2 where `twice` has all bits set, and by 2 again where `fourfold` has.
struct Growth {
  BlockVec twice, fourfold;

  HWY_INLINE BlockVec operator()(BlockVec v) const {
    const auto middle = hn::Set(BlockTag(), 128);
    v = hn::Xor(v, middle);
    v = hn::Add(v, hn::And(v, twice));
    v = hn::Add(v, hn::And(v, fourfold));
    return hn::Xor(v, middle);
  }
};

HWY_INLINE void encodeYCoCg(const Zel8u* src, Zel64s step, Zel8u* dst) {
  const BlockTag d;
  const Tag16 d16;
  const auto atMost = [=](BlockVec v, BlockVec limit) { return hn::VecFromMask(d, hn::Eq(hn::Min(v, limit), v)); };
  BlockVec planes[4];
  for (int y = 0; y < 4; ++y) planes[y] = loadCoCgY(src + y * step);
  const Ends outer = extremes(planes);
  toPlanes(planes);

  // The scale, by the chroma that lies farthest from the middle.
  const auto middle = hn::Set(d, 128);
  const auto distance = [=](BlockVec v) { return hn::Or(hn::SaturatedSub(v, middle), hn::SaturatedSub(middle, v)); };
  const auto both = hn::Max(distance(outer.high), distance(outer.low));
  const auto farthest = hn::Max(byteInLane(both, 0), byteInLane(both, 1));
  const Growth grow{atMost(farthest, hn::Set(d, 63)), atMost(farthest, hn::Set(d, 31))};
  planes[0] = grow(planes[0]);
  planes[1] = grow(planes[1]);

  // End points in words Co, Cg, 0, 0, the high ones first: (16 max - range + 7) / 16 and (16 min + range - 7) / 16 cut
  // to 5 and 6 bits and widened again. A negative number comes out as 255.
  const auto highest = asWords(hn::InterleaveLower(d, grow(outer.high), hn::Zero(d)));
  const auto lowest = asWords(hn::InterleaveLower(d, grow(outer.low), hn::Zero(d)));
  const auto inward = hn::Sub(hn::Sub(highest, lowest), hn::Set(d16, 7));
  const auto high = hn::Sub(hn::ShiftLeft<4>(highest), inward), low = hn::Add(hn::ShiftLeft<4>(lowest), inward);
  const auto ends = asWords(hn::OddEven(asQwords(low), asQwords(high)));
  static constexpr LaneWords kCut{{0xF8, 0xFC, 0, 0, 0xF8, 0xFC, 0, 0}};
  static constexpr LaneWords kRepeat{{1 << 7, 1 << 6, 0, 0, 1 << 7, 1 << 6, 0, 0}};
  const auto widened = hn::Or(hn::And(hn::ShiftRight<4>(ends), inEachLane(kCut)),
                              hn::And(hn::MulHigh(ends, inEachLane(kRepeat)), hn::Set(d16, 0xFF)));

  // The diagonal: Cg is exchanged if most pixels have one chroma above the middle and the other below.
  const auto middles = asBytes(hn::AverageRound(widened, exchangedHalves(widened)));
  const auto apart = hn::Xor(atMost(byteInLane(middles, 0), planes[0]), atMost(byteInLane(middles, 2), planes[1]));
  const auto halfCounts = hn::SumsOf8(hn::And(apart, hn::Set(d, 1)));
  const auto count = byteInLane(hn::Add(halfCounts, exchangedHalves(halfCounts)), 0);
  static constexpr LaneWords kCg{{0, 0xFFFF, 0, 0, 0, 0xFFFF, 0, 0}};
  const auto exchange = hn::AndNot(asWords(atMost(count, hn::Set(d, 8))), inEachLane(kCg));
  const auto chosen = hn::Xor(widened, hn::And(hn::Xor(widened, exchangedHalves(widened)), exchange));

  // The palette falls where an exchange, or a low end of 255, made it rise: there the channel is looked at upside down.
  const auto palette = makePalette(chosen);
  const auto e0 = asBytes(hn::Broadcast<0>(asDwords(palette))), e1 = asBytes(hn::Broadcast<1>(asDwords(palette)));
  const auto reversed = hn::Xor(atMost(e1, e0), hn::Set(d, 0xFF));
  planes[0] = hn::Xor(planes[0], byteInLane(reversed, 0));
  planes[1] = hn::Xor(planes[1], byteInLane(reversed, 1));
  const auto indices = chooseIndices<2>(planes, hn::Xor(palette, reversed));

  // Blue holds the scale less 1: 0, 1 or 3.
  const auto blue = hn::Or(hn::And(grow.twice, asBytes(hn::Set(Tag32(), 1u << 19))),
                           hn::And(grow.fourfold, asBytes(hn::Set(Tag32(), 2u << 19))));
  const auto luma = encodeRamp(planes[3], byteInWords(outer.high, 3), byteInWords(outer.low, 3));
  storeHalves(luma, joinColourHalf(packEnds(hn::Or(palette, blue)), indices), dst);
}

template <int kBlockBytes, int kPixelBytes, class Encode>
ZelStatus encodeChecked(const Zel8u* pSrc, int srcStep, ZeliSize size, Zel8u* pDst, Encode encode) {
  if (ZelStatus bad = checkPointersNonzeroStepSize(present(pSrc, pDst), srcStep, size)) return bad;
  encodeImage<kLanes128, kBlockBytes, kPixelBytes>(pSrc, srcStep, size, pDst, encode);
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize,
                                                      Zel8u* pDst) {
  return encodeChecked<8, 4>(pSrc, srcStep, srcRoiSize, pDst, [](auto... a) { encodeDxt1(a...); });
}

ZelStatus ownTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize,
                                                      Zel8u* pDst) {
  return encodeChecked<16, 4>(pSrc, srcStep, srcRoiSize, pDst, [](auto... a) { encodeDxt3(a...); });
}

ZelStatus ownTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize,
                                                      Zel8u* pDst) {
  return encodeChecked<16, 4>(pSrc, srcStep, srcRoiSize, pDst, [](auto... a) { encodeDxt5(a...); });
}

ZelStatus ownTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize,
                                                       Zel8u* pDst) {
  return encodeChecked<16, 3>(pSrc, srcStep, srcRoiSize, pDst, [](auto... a) { encodeYCoCg(a...); });
}
