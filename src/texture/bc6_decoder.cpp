// BC6 images to half-float samples R, G, B. Ends and palettes are computed in 32-bit lanes, R, G, B and one unused; a
// block's palette of 16 entries (two subsets of 8, or one of 16) is made of four quarters, and a pixel copies an entry.
#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"
#include "texture/bc6_format.h"
#include "texture/block_vectors.h"
#include "texture/bptc_tables.h"

namespace zelj {
namespace {

using EndTag = hn::FixedTag<Zel32s, 4>; // channels of one end
using EndVec = hn::Vec<EndTag>;
using PaletteTag = hn::ScalableTag<Zel32s>; // channels of an entry in each of one, two or four quarters
using PaletteVec = hn::Vec<PaletteTag>;
constexpr int kVectors = 4 / kLanes128;

// The bits of a block, as two halves.
struct Bits {
  Zel64u low, high;

  explicit Bits(const Zel8u* block) {
    std::memcpy(&low, block, 8);
    std::memcpy(&high, block + 8, 8);
  }
  template <int kFrom, int kCount>
  Zel64u get() const {
    const Zel64u bits = kFrom >= 64           ? high >> (kFrom & 63)
                        : kFrom + kCount > 64 ? low >> kFrom | high << (64 - kFrom) % 64
                                              : low >> kFrom;
    return bits & ((Zel64u{1} << kCount) - 1);
  }
};

// The fields of the ends, R, G, B in 16 bits each.
struct Fields {
  Zel64u end[4];
};

template <int kCode>
HWY_INLINE Fields gather(Bits bits) {
  Fields fields{};
  [&]<size_t... i>(std::index_sequence<i...>) {
    ((fields.end[bc6::kRuns<kCode>.run[i].end] |=
      bits.get<bc6::kRuns<kCode>.run[i].from, bc6::kRuns<kCode>.run[i].count>() << bc6::kRuns<kCode>.run[i].to),
     ...);
  }
  (std::make_index_sequence<static_cast<size_t>(bc6::kRuns<kCode>.count)>());
  return fields;
}

HWY_INLINE Fields gather(int code, Bits bits) {
  switch (code) {
    case 0:
      return gather<0>(bits);
    case 1:
      return gather<1>(bits);
    case 2:
      return gather<2>(bits);
    case 3:
      return gather<3>(bits);
    case 4:
      return gather<4>(bits);
    case 5:
      return gather<5>(bits);
    case 6:
      return gather<6>(bits);
    case 7:
      return gather<7>(bits);
    case 8:
      return gather<8>(bits);
    case 9:
      return gather<9>(bits);
    case 10:
      return gather<10>(bits);
    case 11:
      return gather<11>(bits);
    case 12:
      return gather<12>(bits);
    default:
      return gather<13>(bits);
  }
}

// The sign bits of c1, c2 and c3 by channel, for sign extension.
struct alignas(16) SignBits {
  Zel32s channel[4];
};
constexpr std::array<SignBits, bc6::kModeCount> kDeltaSigns = [] {
  std::array<SignBits, bc6::kModeCount> signs{};
  for (size_t code = 0; code < signs.size(); ++code) {
    for (size_t c = 0; c < 3; ++c) signs[code].channel[c] = 1 << (bc6::kModes[code].deltaBits[c] - 1);
  }
  return signs;
}();

HWY_INLINE EndVec extendSign(EndVec v, EndVec signBit) {
  return hn::Sub(hn::Xor(v, signBit), signBit);
}

HWY_INLINE EndVec shiftedRight(EndVec v, int bits) {
  return hn::ShiftRightSame(v, bits);
}

template <class V>
HWY_INLINE V times31(V v) {
  return hn::Sub(hn::ShiftLeft<5>(v), v);
}
// The upper 16 bits of the lanes of two vectors, those of b behind those of a in each 128-bit lane.
template <class V>
HWY_INLINE auto narrow(V a, V b) {
  return hn::ReorderDemote2To(hn::Repartition<Zel16s, hn::DFromV<V>>(), hn::ShiftRight<16>(a), hn::ShiftRight<16>(b));
}

// How the two forms differ: signs of fields, unquantised ends in 16 bits, and samples.
struct Unsigned {
  static constexpr bool kExtendsBase = false;

  static HWY_INLINE EndVec unquantise(EndVec v, int bits) {
    const EndTag d;
    if (bits >= 15) return v;
    const auto scaled = shiftedRight(hn::Add(hn::ShiftLeft<16>(v), hn::Set(d, 1 << 15)), bits);
    const auto full = hn::IfThenElse(hn::Eq(v, hn::Set(d, (1 << bits) - 1)), hn::Set(d, 0xFFFF), scaled);
    return hn::IfThenZeroElse(hn::Eq(v, hn::Zero(d)), full);
  }

  // The low 16 bits of 31 / 64 of x.
  template <class V>
  static HWY_INLINE auto samples(V a, V b) {
    return narrow(hn::ShiftLeft<10>(times31(a)), hn::ShiftLeft<10>(times31(b)));
  }
};

struct Signed {
  static constexpr bool kExtendsBase = true;

  static HWY_INLINE EndVec unquantise(EndVec v, int bits) {
    const EndTag d;
    if (bits >= 16) return v;
    const auto m = hn::Abs(v);
    const auto scaled = shiftedRight(hn::Add(hn::ShiftLeft<15>(m), hn::Set(d, 1 << 14)), bits - 1);
    const auto full = hn::IfThenElse(hn::Eq(m, hn::Set(d, (1 << (bits - 1)) - 1)), hn::Set(d, 0x7FFF), scaled);
    const auto magnitude = hn::IfThenZeroElse(hn::Eq(m, hn::Zero(d)), full);
    return extendSign(magnitude, hn::BroadcastSignBit(v)); // (m ^ -1) + 1 is -m
  }

  // The low 16 bits of 31 / 32 of the magnitude of x, below 65536, and its sign, without a negative zero.
  template <class V>
  static HWY_INLINE auto samples(V a, V b) {
    const auto m = narrow(hn::ShiftLeft<11>(times31(hn::Abs(a))), hn::ShiftLeft<11>(times31(hn::Abs(b))));
    const hn::DFromV<decltype(m)> d;
    const auto signs = hn::And(hn::ReorderDemote2To(d, a, b), hn::Set(d, -0x8000));
    return hn::Or(m, hn::IfThenZeroElse(hn::Eq(m, hn::Zero(d)), signs));
  }
};

// The unquantised ends of a block.
template <class Form, bool kTwoSubsets>
HWY_INLINE void unpackEnds(const Fields& fields, int code, EndVec (&ends)[4]) {
  const EndTag d;
  const bc6::Mode& mode = bc6::kModes[code];
  constexpr int count = kTwoSubsets ? 4 : 2; // known here: clang 14 at -O2 mixes channels up where it is not
  const int bits = mode.baseBits;
  for (int i = 0; i < count; ++i) {
    const hn::Rebind<Zel16u, EndTag> d16;
    ends[i] = hn::PromoteTo(d, hn::BitCast(d16, hn::Set(hn::Repartition<Zel64u, decltype(d16)>(), fields.end[i])));
  }
  if (Form::kExtendsBase) ends[0] = extendSign(ends[0], hn::Set(d, 1 << (bits - 1)));
  if (Form::kExtendsBase || mode.transformed) {
    const auto signs = hn::Load(d, kDeltaSigns[static_cast<size_t>(code)].channel);
    for (int i = 1; i < count; ++i) ends[i] = extendSign(ends[i], signs);
  }
  if (mode.transformed) { // a sum wraps in its bits, but a negative one stays
    const auto wrap = hn::Set(d, (1 << bits) - 1);
    for (int i = 1; i < count; ++i) {
      const auto sum = hn::Add(ends[0], ends[i]);
      ends[i] = hn::IfThenElse(hn::Lt(sum, hn::Zero(d)), sum, hn::And(sum, wrap));
    }
  }
  for (int i = 0; i < count; ++i) ends[i] = Form::unquantise(ends[i], bits);
}

// Quarters of a palette: the first two from one end, the other two from another.
template <class D>
HWY_INLINE hn::VFromD<D> inQuarters(D d, EndVec a, EndVec b, int vector) {
  if constexpr (hn::MaxLanes(d) == 4) {
    return vector < 2 ? a : b;
  } else if constexpr (hn::MaxLanes(d) == 8) {
    const EndVec v = vector == 0 ? a : b;
    return hn::Combine(d, v, v);
  } else {
    const hn::Half<D> half;
    return hn::Combine(d, hn::Combine(half, b, b), hn::Combine(half, a, a));
  }
}

// Lane q of a vector of quarters holds entries 4q and 4q + 1, or 4q + 2 and 4q + 3, in four words each.
struct Palette {
  BlockVec lower[kVectors], upper[kVectors];
};

// Entries of quarter q begin at a weight and go on in three steps, the same for all quarters.
template <bool kTwoSubsets>
struct Weights {
  static constexpr Zel32s kStep = kTwoSubsets ? 9 : 4, kMiddleStep = kTwoSubsets ? 9 : 5;
  static constexpr Zel32s kFirst[4] = {0, kTwoSubsets ? 37 : 17, kTwoSubsets ? 0 : 34, kTwoSubsets ? 37 : 51};
  static_assert([] {
    for (size_t k = 0; k < 16; ++k) {
      const int weight = kTwoSubsets ? bptc::kWeights3[k % 8] : bptc::kWeights4[k];
      if (weight != kFirst[k / 4] + (k % 4 > 0) * kStep + (k % 4 > 1) * kMiddleStep + (k % 4 > 2) * kStep) return false;
    }
    return true;
  }());
  // By lane.
  alignas(64) static constexpr std::array<Zel32s, 16> kLanes = [] {
    std::array<Zel32s, 16> lanes{};
    for (size_t i = 0; i < 16; ++i) lanes[i] = kFirst[i / 4];
    return lanes;
  }();
};

template <class Form, bool kTwoSubsets>
HWY_INLINE void makePalette(const EndVec (&ends)[4], Palette& palette) {
  using W = Weights<kTwoSubsets>;
  const PaletteTag d;
  constexpr size_t kSecond = kTwoSubsets ? 2 : 0;
  for (int i = 0; i < kVectors; ++i) {
    const auto first = inQuarters(d, ends[0], ends[kSecond], i), second = inQuarters(d, ends[1], ends[kSecond + 1], i);
    const auto range = hn::Sub(second, first);
    const auto weights = hn::Load(d, W::kLanes.data() + 4 * kLanes128 * i);
    const auto step = hn::Mul(range, hn::Set(d, W::kStep)), middleStep = hn::Mul(range, hn::Set(d, W::kMiddleStep));
    const auto x0 = hn::Add(hn::Add(hn::ShiftLeft<6>(first), hn::Set(d, 32)), hn::Mul(range, weights));
    const auto x1 = hn::Add(x0, step), x2 = hn::Add(x1, middleStep), x3 = hn::Add(x2, step);
    palette.lower[i] = asBytes(Form::samples(hn::ShiftRight<6>(x0), hn::ShiftRight<6>(x1)));
    palette.upper[i] = asBytes(Form::samples(hn::ShiftRight<6>(x2), hn::ShiftRight<6>(x3)));
  }
}

// Puts the bit back that the index of an anchor leaves out, a zero at place `bit`.
HWY_INLINE Zel64u insertZero(Zel64u indices, int bit) {
  return indices + (indices & (~Zel64u{0} << bit));
}

using Entries = hn::Vec<Block8u>;

// The entry of each pixel: 3-bit indices behind block bit 81, with 8 more in the second subset, or 4-bit ones
// behind 64.
template <bool kTwoSubsets>
HWY_INLINE Entries readEntries(Bits bits) {
  const Block8u d;
  const hn::Repartition<Zel16u, Block8u> d16;
  const auto place = [=](Zel64u indices) {
    return hn::BitCast(d, hn::Set(hn::Repartition<Zel64u, Block8u>(), indices));
  };
  if constexpr (kTwoSubsets) {
    const size_t partition = bits.get<77, 5>();
    const auto packed = place(insertZero(insertZero(bits.high >> 18, 2), 3 * bptc::kSecondAnchorOfTwo[partition] + 2));
    const auto subset =
        hn::BitCast(d16, hn::LoadU(d, bptc::kTwoSubsets[partition].data())); // 0 or 1: stays in its byte
    return hn::Or(threeBitIndices<0>(packed), hn::BitCast(d, hn::ShiftLeft<3>(subset)));
  } else {
    const auto low = place(insertZero(bits.high >> 1, 3));
    const auto high = hn::BitCast(d, hn::ShiftRight<4>(hn::BitCast(d16, low)));
    return hn::And(hn::InterleaveLower(d, low, high), hn::Set(d, 15));
  }
}

// Four rows of the entries of four pixels, 24 bytes each.
#if HWY_TARGET <= HWY_AVX3
// The words of two rows, 12 in each half of a vector: whose entries they are of, and which of its words.
constexpr auto kTwoRows = [] {
  std::array<std::array<Zel8u, 64>, 2> from{};
  for (size_t i = 0; i < 128; ++i) {
    const size_t rows = i / 64, word = i / 2 % 16, upper = i / 32 % 2;
    from[rows][i % 64] = static_cast<Zel8u>(i % 2 || word >= 12 ? kNone : 8 * rows + 4 * upper + word / 3);
  }
  return from;
}();
constexpr auto kChannels = [] {
  std::array<Zel16u, 32> channels{};
  for (size_t i = 0; i < 32; ++i) channels[i] = static_cast<Zel16u>(i % 16 % 3);
  return channels;
}();

HWY_INLINE void storePixels(const Palette& palette, Entries entries, Zel8u* dst, Zel64s step) {
  // The first of an entry's words among the 64 of both vectors.
  static constexpr LaneBytes kFirstWords{{0, 4, 32, 36, 8, 12, 40, 44, 16, 20, 48, 52, 24, 28, 56, 60}};
  const BlockTag d;
  const Tag16 d16;
  const hn::Half<BlockTag> row;
  const auto first = hn::TableLookupBytes(hn::Load(Block8u(), kFirstWords.value), entries);
  const auto twice = hn::Combine(row, first, first);
  const auto firstWords = hn::Combine(d, twice, twice);
  for (size_t i = 0; i < 2; ++i) {
    const auto ofPixels = asWords(hn::TableLookupBytesOr0(firstWords, hn::LoadU(d, kTwoRows[i].data())));
    const auto words = hn::Add(ofPixels, hn::LoadU(d16, kChannels.data()));
    const auto pixels = pickWords(palette.lower[0], palette.upper[0], words);
    const auto store = [](hn::Vec<hn::Half<BlockTag>> v, Zel8u* to) {
      const Block8u lane;
      const hn::Half<Block8u> half;
      hn::StoreU(hn::LowerHalf(lane, v), lane, to);
      hn::StoreU(hn::LowerHalf(half, hn::UpperHalf(lane, v)), half, to + 16);
    };
    store(hn::LowerHalf(row, pixels), dst + static_cast<Zel64s>(2 * i) * step);
    store(hn::UpperHalf(row, pixels), dst + static_cast<Zel64s>(2 * i + 1) * step);
  }
}
#else
HWY_INLINE void storePixels(const Palette& palette, Entries entries, Zel8u* dst, Zel64s step) {
  alignas(64) Zel16u entry[16][4];
  alignas(16) Zel8u ofPixel[16];
  for (int i = 0; i < kVectors; ++i) {
    storeInterleaved(palette.lower[i], palette.upper[i], BlockTag(),
                     reinterpret_cast<Zel8u*>(entry[4 * kLanes128 * i]));
  }
  hn::Store(entries, Block8u(), ofPixel);
  for (int y = 0; y < 4; ++y) {
    const Zel8u* const e = ofPixel + 4 * y;
    Zel8u* const to = dst + y * step;
    for (int x = 0; x < 3; ++x) std::memcpy(to + 6 * x, entry[e[x]], 8); // the next pixel overwrites two bytes
    std::memcpy(to + 18, entry[e[3]], 6);
  }
}
#endif

template <class Form, bool kTwoSubsets>
HWY_INLINE void decodeFields(const Fields& fields, int code, Bits bits, Zel8u* dst, Zel64s step) {
  EndVec ends[4];
  Palette palette;
  unpackEnds<Form, kTwoSubsets>(fields, code, ends);
  makePalette<Form, kTwoSubsets>(ends, palette);
  storePixels(palette, readEntries<kTwoSubsets>(bits), dst, step);
}

// Writes 24 bytes in each of four rows.
template <class Form>
HWY_INLINE void decodeBlock(const Zel8u* block, Zel8u* dst, Zel64s step) {
  const Bits bits(block);
  const int code = bc6::kCodes[bits.low & 31];
  if (code < 0) {
    for (int y = 0; y < 4; ++y) std::memset(dst + y * step, 0, 24);
  } else if (code < bc6::kFirstOneSubset) {
    decodeFields<Form, true>(gather(code, bits), code, bits, dst, step);
  } else {
    decodeFields<Form, false>(gather(code, bits), code, bits, dst, step);
  }
}

// A block that reaches over an edge is decoded to rows 16 bytes apart, each of which overwrites the end of the one
// before, and read from rows at another distance: this is how these pixels are defined. Behind the last row stands 0.
template <class Form>
void decodeCutBlock(const Zel8u* block, Zel8u* dst, Zel64s step, int columns, int rows) {
  Zel8u pixels[4 * 24], overlapped[104] = {};
  decodeBlock<Form>(block, pixels, 24);
  for (int y = 0; y < 4; ++y) std::memcpy(overlapped + 16 * y, pixels + 24 * y, 24);
  const int distance = columns < 4 ? 6 * columns + 8 : 32;
  for (int y = 0; y < rows; ++y) {
    std::memcpy(dst + y * step, overlapped + y * distance, static_cast<size_t>(6 * columns));
  }
}

template <class Form, class Sample>
ZelStatus decodeImage(const Zel8u* pSrc, Sample* pDst, int dstStep, ZeliSize size) {
  if (ZelStatus bad = checkPointersNonzeroStepSize(present(pSrc, pDst), dstStep, size)) return bad;
  const Zel64s step = dstStep;
  Zel8u* const dst = reinterpret_cast<Zel8u*>(pDst);
  for (Zel64s y = 0; y < size.height; y += 4) {
    const int rows = static_cast<int>(std::min<Zel64s>(4, size.height - y));
    for (Zel64s x = 0; x < size.width; x += 4, pSrc += 16) {
      const int columns = static_cast<int>(std::min<Zel64s>(4, size.width - x));
      Zel8u* const pixels = dst + y * step + 6 * x;
      if (rows == 4 && columns == 4) {
        decodeBlock<Form>(pSrc, pixels, step);
      } else {
        decodeCutBlock<Form>(pSrc, pixels, step, columns, rows);
      }
    }
  }
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownTextureDecodeBlockToRGB_BC6_16s_C1C3R(const Zel8u* pSrc, Zel16s* pDst, int dstStep, ZeliSize dstRoiSize) {
  return decodeImage<Signed>(pSrc, pDst, dstStep, dstRoiSize);
}

ZelStatus ownTextureDecodeBlockToRGB_BC6_16u_C1C3R(const Zel8u* pSrc, Zel16u* pDst, int dstStep, ZeliSize dstRoiSize) {
  return decodeImage<Unsigned>(pSrc, pDst, dstStep, dstRoiSize);
}
