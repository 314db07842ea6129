// Decoding of BC7 images. Each mode has its own kernel, made from the layout of its blocks: fields are picked from the
// block by byte and moved to their place by a multiplication, in as many lanes as there are fields, and all 16 pixels
// are interpolated at once. Modes change from block to block without a pattern that a processor could predict, so the
// blocks of a run are sorted by mode first.
#include <bit>
#include <cstring>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"
#include "simd/blocks.h"
#include "texture/bc7_format.h"

namespace zelj {
namespace {

using namespace bc7;
using namespace bptc;

// A field of bits in a 16-bit lane: the two bytes that hold it, and the factor that moves its lowest bit to bit `to`.
struct Field {
  Zel8u from[2] = {0x80, 0x80}; // no byte
  Zel16u scale = 0;

  constexpr Field() = default;
  constexpr Field(int bit, int to) {
    for (int i = 0; i < 2; ++i) from[i] = static_cast<Zel8u>(bit / 8 + i < 16 ? bit / 8 + i : 0x80);
    scale = static_cast<Zel16u>(1 << (to - bit % 8));
  }
};

template <size_t kLanes>
struct Fields {
  Zel8u from[2 * kLanes] = {};
  Zel16u scale[kLanes] = {};

  constexpr void set(size_t lane, Field field) {
    from[2 * lane] = field.from[0];
    from[2 * lane + 1] = field.from[1];
    scale[lane] = field.scale;
  }
  // Block is the 128-bit block in every block of the vector; bits around a field remain.
  template <class V>
  HWY_INLINE auto of(V block, size_t lane) const {
    const hn::Repartition<Zel16u, hn::DFromV<V>> d16;
    const auto bytes = hn::TableLookupBytesOr0(block, hn::LoadU(hn::DFromV<V>(), from + 2 * lane));
    return hn::Mul(hn::BitCast(d16, bytes), hn::LoadU(d16, scale + lane));
  }
};

// The end points of up to four subsets, eight lanes each: R of E0 and E1, G of both, B, A. Values are held at the top
// of a lane.
struct EndPointLanes {
  Fields<32> stored, pBits;
  Zel16u storedMask[32] = {}, pMask[32] = {};
  Zel16u replicate[32] = {}; // the factor whose upper half repeats the highest bits behind the lowest
  Zel16u opaque[32] = {};    // 255 where nothing is stored

  constexpr explicit EndPointLanes(int mode) {
    const Mode& m = kModes[static_cast<size_t>(mode)];
    const Layout at = layoutOf(mode);
    for (int i = 0; i < m.endPoints(); ++i) {
      for (int c = 0; c < 4; ++c) {
        const auto lane = static_cast<size_t>(i / 2 * 8 + c * 2 + i % 2);
        const int bits = m.colourBits[static_cast<size_t>(c)], precision = m.endPointBits[static_cast<size_t>(c)];
        if (bits == 0) {
          opaque[lane] = 0xFF00;
          continue;
        }
        stored.set(lane, Field(at.channel[static_cast<size_t>(c)] + i * bits, 16 - bits));
        storedMask[lane] = static_cast<Zel16u>(0x10000 - (0x10000 >> bits));
        replicate[lane] = static_cast<Zel16u>(0x10000 >> precision);
        if (bits == precision) continue;
        pBits.set(lane, Field(at.pBits + m.pBitOf(i), 15 - bits));
        pMask[lane] = static_cast<Zel16u>(0x8000 >> bits);
      }
    }
  }
};

// For each pixel, all ones if it is of the subset.
struct SubsetMasks {
  Zel8u of[64][16];
};
constexpr SubsetMasks masksOf(const Partitions& partitions, int subset) {
  SubsetMasks masks{};
  for (size_t i = 0; i < 64; ++i) {
    for (size_t p = 0; p < 16; ++p) masks.of[i][p] = partitions[i][p] == subset ? 0xFF : 0;
  }
  return masks;
}
constexpr SubsetMasks kSecondOfTwo = masksOf(kTwoSubsets, 1);
constexpr SubsetMasks kOfThree[2] = {masksOf(kThreeSubsets, 1), masksOf(kThreeSubsets, 2)};

// Where indices of kBits lack their highest bit, by partition: the bits above which all move up by one, in the order in
// which this is to be done.
template <int kBits>
constexpr Zel64u aboveIndex(int pixel) {
  return ~Zel64u{0} << (kBits * pixel + kBits - 1);
}
struct AnchorMasks {
  Zel64u above[64][2];
};
template <int kMode>
constexpr AnchorMasks anchorMasks() {
  constexpr int bits = kModes[kMode].indexBits;
  AnchorMasks masks{};
  for (size_t i = 0; i < 64; ++i) {
    if (kModes[kMode].subsets == 2) {
      masks.above[i][0] = aboveIndex<bits>(kSecondAnchorOfTwo[i]);
    } else {
      const int a = kSecondAnchorOfThree[i], b = kThirdAnchorOfThree[i];
      masks.above[i][0] = aboveIndex<bits>(a < b ? a : b);
      masks.above[i][1] = aboveIndex<bits>(a < b ? b : a);
    }
  }
  return masks;
}

// Vectors of pixels: vector t holds row t + kRowVectors * i of the block in its 128-bit block i. Indices of pixels lie
// in 16-bit lanes, in the same rows' blocks: eight pixels to a block, or four, twice, where each row has a block.
constexpr hn::ScalableTag<Zel8u> d8;
constexpr hn::Repartition<Zel16u, decltype(d8)> d16;
using V8 = hn::VFromD<decltype(d8)>;
using V16 = hn::VFromD<decltype(d16)>;
constexpr int kRegisterBlocks = static_cast<int>(kBlocks<decltype(d8)>);
constexpr int kRowVectors = 4 / kRegisterBlocks;
constexpr int kIndexVectors = kRegisterBlocks == 1 ? 2 : 1;
constexpr int kIndexPixels = kRegisterBlocks == 4 ? 4 : 8; // in a block of indices

template <int kBits>
constexpr auto kIndexFields = [] {
  Fields<32 * kIndexVectors> fields;
  for (int lane = 0; lane < kIndexVectors * kRegisterBlocks * 8; ++lane) {
    const int pixel = lane / 8 * kIndexPixels + lane % kIndexPixels;
    fields.set(static_cast<size_t>(lane), Field(kBits * pixel, 16 - kBits));
  }
  return fields;
}();

template <int kBits>
constexpr auto kWeights = [] {
  std::array<Zel8u, 16> weights{};
  for (size_t i = 0; i < size_t{1} << kBits; ++i) {
    weights[i] = kBits == 2 ? kWeights2[i % 4] : kBits == 3 ? kWeights3[i % 8] : kWeights4[i];
  }
  return weights;
}();

// The weights of both end points for all pixels, a pair to a lane, of indices that fill `bits` from bit 0 up.
struct Weights {
  V8 of[kIndexVectors];
};
template <int kBits>
HWY_INLINE Weights weightsOf(Zel64u bits) {
  const V8 block = hn::BitCast(d8, hn::Set(hn::Repartition<Zel64u, decltype(d8)>(), bits));
  Weights weights;
  for (int i = 0; i < kIndexVectors; ++i) {
    const V16 index =
        hn::ShiftRight<16 - kBits>(kIndexFields<kBits>.of(block, static_cast<size_t>(i) * hn::MaxLanes(d16)));
    // The index from the other end is its complement, and the weights of both ends are one table.
    const V16 both = hn::Xor(hn::Mul(index, hn::Set(d16, 0x101)), hn::Set(d16, (1 << kBits) - 1));
    weights.of[i] = hn::TableLookupBytes(hn::LoadDup128(d8, kWeights<kBits>.data()), hn::BitCast(d8, both));
  }
  return weights;
}

// Picks for the R, G, B and A of two neighbouring pixels what is theirs from a block: pairs of a block of indices
// (pixel `first` of it and the next), of those channels alone that are wanted.
struct PairsOfTwoPixels {
  Zel8u from[16];

  constexpr PairsOfTwoPixels(int first, bool colours, bool alpha) {
    for (int i = 0; i < 16; ++i) {
      const bool wanted = i % 8 / 2 == 3 ? alpha : colours;
      from[i] = static_cast<Zel8u>(wanted ? 2 * (first + i / 8) + i % 2 : 0x80);
    }
  }
};
constexpr PairsOfTwoPixels kPairs[4] = {{0, true, true}, {2, true, true}, {4, true, true}, {6, true, true}};
constexpr PairsOfTwoPixels kColourPairs[4] = {{0, true, false}, {2, true, false}, {4, true, false}, {6, true, false}};
constexpr PairsOfTwoPixels kAlphaPairs[4] = {{0, false, true}, {2, false, true}, {4, false, true}, {6, false, true}};

// The same of one byte for each pixel of the block.
struct BytesOfTwoPixels {
  Zel8u from[kRowVectors][2][kRegisterBlocks * 16];

  constexpr BytesOfTwoPixels() : from{} {
    for (int t = 0; t < kRowVectors; ++t) {
      for (int half = 0; half < 2; ++half) {
        for (int i = 0; i < kRegisterBlocks * 16; ++i) {
          from[t][half][i] = static_cast<Zel8u>(4 * (t + i / 16 * kRowVectors) + 2 * half + i % 16 / 8);
        }
      }
    }
  }
};
constexpr BytesOfTwoPixels kPixelBytes;

// Exchanges of alpha with nothing, R, G and B.
constexpr Zel8u kRotations[4][16] = {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15},
                                     {3, 1, 2, 0, 7, 5, 6, 4, 11, 9, 10, 8, 15, 13, 14, 12},
                                     {0, 3, 2, 1, 4, 7, 6, 5, 8, 11, 10, 9, 12, 15, 14, 13},
                                     {0, 1, 3, 2, 4, 5, 7, 6, 8, 9, 11, 10, 12, 13, 15, 14}};

// The highest bytes of eight lanes, twice.
constexpr Zel8u kHighBytes[16] = {1, 3, 5, 7, 9, 11, 13, 15, 1, 3, 5, 7, 9, 11, 13, 15};

// E0 and E1 of R, G, B, A, twice in each 128-bit block, for each subset.
template <int kMode>
HWY_INLINE void loadEndPoints(const Zel8u* src, V8 (&endPoints)[kModes[kMode].subsets]) {
  static constexpr EndPointLanes kFields(kMode);
  constexpr int subsets = kModes[kMode].subsets;
  constexpr int together = std::min(kRegisterBlocks, subsets == 3 ? 4 : subsets); // to a vector
  constexpr hn::FixedTag<Zel16u, 8 * together> lanes;
  constexpr hn::Repartition<Zel8u, decltype(lanes)> bytes;
  const auto block = hn::LoadDup128(bytes, src);
  hn::VFromD<decltype(bytes)> highest[(subsets + together - 1) / together];
  for (int i = 0; i * together < subsets; ++i) {
    const auto lane = static_cast<size_t>(i * together) * 8;
    auto value = kFields.stored.of(block, lane);
    if constexpr (kModes[kMode].pBits > 0) {
      const auto p = hn::And(kFields.pBits.of(block, lane), hn::LoadU(lanes, kFields.pMask + lane));
      value = hn::OrAnd(p, value, hn::LoadU(lanes, kFields.storedMask + lane));
    } else {
      value = hn::And(value, hn::LoadU(lanes, kFields.storedMask + lane));
    }
    value = hn::Or(value, hn::MulHigh(value, hn::LoadU(lanes, kFields.replicate + lane)));
    if constexpr (kModes[kMode].colourBits[3] == 0) value = hn::Or(value, hn::LoadU(lanes, kFields.opaque + lane));
    highest[i] = hn::TableLookupBytes(hn::BitCast(bytes, value), hn::LoadDup128(bytes, kHighBytes));
  }
  endPoints[0] = broadcastBlock<0>(d8, highest[0]);
  if constexpr (subsets > 1) endPoints[1] = broadcastBlock<1 % together>(d8, highest[1 / together]);
  if constexpr (subsets > 2) endPoints[2] = broadcastBlock<2 % together>(d8, highest[2 / together]);
}

// The bits of a block from kBit on: at least 56, or all that there are.
template <int kBit>
HWY_INLINE Zel64u bitsFrom(const Zel8u* block) {
  constexpr int byte = std::min(kBit / 8, 8);
  Zel64u bits;
  std::memcpy(&bits, block + byte, sizeof bits);
  return bits >> (kBit - 8 * byte);
}

// Moves the bits of the mask up by one.
HWY_INLINE Zel64u insertZero(Zel64u bits, Zel64u mask) {
  return bits + (bits & mask);
}

template <int kMode>
HWY_INLINE void decodeBlock(const Zel8u* src, Zel8u* dst, ptrdiff_t step) {
  constexpr Mode mode = kModes[kMode];
  constexpr Layout at = layoutOf(kMode);
  V8 endPoints[mode.subsets];
  loadEndPoints<kMode>(src, endPoints);

  [[maybe_unused]] const auto partition = bitsFrom<at.partition>(src) & ((1u << mode.partitionBits) - 1);
  Weights weights[mode.index2Bits ? 2 : 1];
  const PairsOfTwoPixels* pairs[2] = {kPairs, nullptr};
  if constexpr (mode.index2Bits) {
    constexpr Zel64u set = (Zel64u{1} << (at.indices2 - at.indices)) - 1;
    const Zel64u first = bitsFrom<at.indices>(src) & set, second = bitsFrom<at.indices2>(src);
    weights[0] = weightsOf<mode.indexBits>(insertZero(first, aboveIndex<mode.indexBits>(0)));
    weights[1] = weightsOf<mode.index2Bits>(insertZero(second, aboveIndex<mode.index2Bits>(0)));
    const bool swapped = mode.selectorBits && (bitsFrom<at.selector>(src) & 1);
    pairs[0] = swapped ? kAlphaPairs : kColourPairs;
    pairs[1] = swapped ? kColourPairs : kAlphaPairs;
  } else {
    Zel64u bits = insertZero(bitsFrom<at.indices>(src), aboveIndex<mode.indexBits>(0));
    if constexpr (mode.subsets > 1) {
      static constexpr AnchorMasks kMasks = anchorMasks<kMode>();
      for (int i = 0; i + 1 < mode.subsets; ++i) bits = insertZero(bits, kMasks.above[partition][i]);
    }
    weights[0] = weightsOf<mode.indexBits>(bits);
  }

  for (int t = 0; t < kRowVectors; ++t) {
    hn::VFromD<hn::Repartition<Zel16s, decltype(d8)>> halves[2];
    for (int half = 0; half < 2; ++half) {
      const int first = (4 * t + 2 * half) % kIndexPixels;
      const auto weightPairs = [&](int set) {
        const V8 of = weights[set].of[kIndexVectors == 2 ? t / 2 : 0];
        return hn::TableLookupBytesOr0(of, hn::LoadDup128(d8, pairs[set][first / 2].from));
      };
      V8 weight = weightPairs(0);
      if constexpr (mode.index2Bits) weight = hn::Or(weight, weightPairs(1));
      V8 ends = endPoints[0];
      for (int s = 1; s < mode.subsets; ++s) {
        const Zel8u* mask = mode.subsets == 2 ? kSecondOfTwo.of[partition] : kOfThree[s - 1].of[partition];
        const V8 mine = hn::TableLookupBytes(hn::LoadDup128(d8, mask), hn::LoadU(d8, kPixelBytes.from[t][half]));
        ends = hn::IfVecThenElse(mine, endPoints[s], ends);
      }
      const hn::RebindToSigned<decltype(d8)> di8;
      const auto sum = mulAddPairs(ends, hn::BitCast(di8, weight));                       // at most 64 * 255
      halves[half] = hn::MulFixedPoint15(sum, hn::Set(hn::DFromV<decltype(sum)>(), 512)); // (sum + 32) >> 6
    }
    V8 rows = narrowUnsigned(halves[0], halves[1]);
    if constexpr (mode.rotationBits) {
      rows = hn::TableLookupBytes(rows, hn::LoadDup128(d8, kRotations[bitsFrom<at.rotation>(src) & 3]));
    }
    storeBlocks(d8, rows, dst + t * step, kRowVectors * step);
  }
}

// Block i of the list goes to the four columns from 4 * i on.
using Decode = void(const Zel8u* src, const Zel8u* list, int count, Zel8u* dst, ptrdiff_t step);

template <int kMode>
void decodeList(const Zel8u* src, const Zel8u* list, int count, Zel8u* dst, ptrdiff_t step) {
  for (int k = 0; k < count; ++k) decodeBlock<kMode>(src + list[k] * 16, dst + list[k] * 16, step);
}

// The reserved blocks, without a mode: transparent black.
void clearList(const Zel8u*, const Zel8u* list, int count, Zel8u* dst, ptrdiff_t step) {
  for (int k = 0; k < count; ++k) {
    for (int y = 0; y < 4; ++y) std::memset(dst + list[k] * 16 + y * step, 0, 16);
  }
}

constexpr Decode* kDecode[9] = {decodeList<0>, decodeList<1>, decodeList<2>, decodeList<3>, decodeList<4>,
                                decodeList<5>, decodeList<6>, decodeList<7>, clearList};

constexpr int kRun = 64; // blocks that are sorted together: their numbers fit seven bits

// Decodes up to kRun blocks side by side.
void decodeRun(const Zel8u* src, int count, Zel8u* dst, ptrdiff_t step) {
  Zel8u lists[9][kRun];
  Zel64u lengths = 0; // of the lists, seven bits each
  for (int i = 0; i < count; ++i) {
    const int mode = std::countr_zero(src[16 * i] | 0x100u);
    lists[mode][lengths >> 7 * mode & 127] = static_cast<Zel8u>(i);
    lengths += Zel64u{1} << 7 * mode;
  }
  for (int mode = 0; mode < 9; ++mode) {
    if (const int length = static_cast<int>(lengths >> 7 * mode & 127))
      kDecode[mode](src, lists[mode], length, dst, step);
  }
}

// A block of which only some columns or rows are inside the image.
void decodePartly(const Zel8u* src, Zel8u* dst, ptrdiff_t step, int columns, int rows) {
  Zel8u pixels[4][16];
  decodeRun(src, 1, pixels[0], 16);
  for (int y = 0; y < rows; ++y) std::memcpy(dst + y * step, pixels[y], static_cast<size_t>(columns) * 4);
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownTextureDecodeBlockToRGBA_BC7_8u_C1C4R(const Zel8u* pSrc, Zel8u* pDst, int dstStep, ZeliSize dstRoiSize) {
  if (ZelStatus bad = checkPointersNonzeroStepSize(present(pSrc, pDst), dstStep, dstRoiSize)) return bad;
  const int width = dstRoiSize.width, height = dstRoiSize.height;
  for (int y = 0; y < height; y += 4) {
    Zel8u* dst = row(pDst, dstStep, y);
    const int rows = std::min(height - y, 4), whole = rows == 4 ? width / 4 : 0;
    for (int i = 0; i < whole; i += kRun) {
      decodeRun(pSrc + Zel64s{i} * 16, std::min(whole - i, kRun), dst + Zel64s{i} * 16, dstStep);
    }
    for (int x = whole * 4; x < width; x += 4) {
      decodePartly(pSrc + Zel64s{x} * 4, dst + Zel64s{x} * 4, dstStep, std::min(width - x, 4), rows);
    }
    pSrc += (Zel64s{width} + 3) / 4 * 16;
  }
  return zelStatusOk;
}
