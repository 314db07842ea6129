// Fixed-length codes of JPEG XR (the flexbits of ITU-T T.832 8.7.19): the low bits of the 15 AC coefficients of a
// block, a field each, with a sign bit where the symbols did not tell it.
#include <bit>

#include "frame/implementations.h"
#include "jpegxr/bit_cells.h"
#include "jpegxr/scan.h"

namespace zelj {
namespace {

constexpr int kFields = 15;
struct Place {
  Zel8u index, x, y;
};
constexpr Place kOrder[kFields] = {{5, 2, 0}, {1, 1, 0},  {6, 3, 1},  {10, 0, 2}, {12, 3, 3},
                                   {8, 0, 3}, {14, 3, 2}, {2, 0, 1},  {4, 3, 0},  {3, 1, 1},
                                   {7, 2, 1}, {9, 1, 3},  {13, 2, 3}, {11, 1, 2}, {15, 2, 2}};

template <class Sample>
struct Block {
  Zel8u* base;
  size_t step;

  Block(const Sample* p, Zel32u rowStep) : base(const_cast<Zel8u*>(reinterpret_cast<const Zel8u*>(p))), step(rowStep) {}
  Zel8u* at(Place place) const { return base + place.y * step + place.x * sizeof(Sample); }
  HWY_INLINE Zel32s get(Place place) const {
    Sample value;
    std::memcpy(&value, at(place), sizeof value);
    return value;
  }
  HWY_INLINE void set(Place place, Zel32u value) const {
    const auto sample = static_cast<Sample>(value);
    std::memcpy(at(place), &sample, sizeof sample);
  }
};

// Writes a field of 16 bits at most for each place; fieldOf(place, length) makes it.
template <class FieldOf>
HWY_INLINE ZelStatus encodeFields(BitCells cells, FieldOf fieldOf) {
  BitWriter writer(cells);
  const auto put = [&](Place place) __attribute__((always_inline)) {
    Zel32u length;
    const Zel32u field = fieldOf(place, length);
    writer.put(field & ((1u << length) - 1), length);
  };
  static_assert(2 * 16 <= BitWriter::kRoom);
  HWY_UNROLL(8)
  for (int i = 0; i < kFields - 1; i += 2) {
    writer.flush();
    put(kOrder[i]);
    put(kOrder[i + 1]);
  }
  writer.flush();
  put(kOrder[kFields - 1]);
  writer.finish();
  return zelStatusOk;
}

template <class Sample>
ZelStatus encode4x4(const Sample* pSrc, Zel32u srcStep, const Zel32u* pResidual, BitCells cells, Zel32u bits,
                    Zel32u trim, Zel32s bUseResidual) {
  if (ZelStatus bad = checkCells(present(pSrc, pResidual), cells, bits <= 15 && trim <= 15)) return bad;
  if (bUseResidual) {
    return encodeFields(
        cells, [=](Place place, Zel32u & length) __attribute__((always_inline)) {
          Zel32u residual;
          std::memcpy(&residual, pResidual + place.index, sizeof residual);
          length = bits + (residual & 1);
          return residual >> 1;
        });
  }
  const Block<Sample> block(pSrc, srcStep);
  return encodeFields(
      cells, [=](Place place, Zel32u & length) __attribute__((always_inline)) {
        const Zel32s value = block.get(place);
        const auto sign = static_cast<Zel32u>(value >> 31);
        const Zel32u magnitude = ((static_cast<Zel32u>(value) ^ sign) - sign) >> trim;
        const Zel32u hasSign = magnitude != 0;
        length = bits + hasSign;
        return (magnitude & ((1u << bits) - 1)) << hasSign | (sign & hasSign);
      });
}

// The fields of a block by index, each with the bit behind it, and above which value that bit is the sign.
struct Fields {
  alignas(16) Zel32u field[16], most[16];
};

// Takes the fields from `first` on from the top of `next`. Returns how many bits they had.
template <int kCount>
HWY_INLINE Zel32u takeFields(Zel64u next, int first, Zel32u bits, Fields& fields) {
  Zel32u taken = 0;
  HWY_UNROLL(15)
  for (int i = first; i < first + kCount; ++i) {
    const size_t index = kOrder[i].index;
    const auto field = static_cast<Zel32u>(next >> (63 - bits));
    fields.field[index] = field;
    // All that the next field waits for: whether this one has a sign.
    const Zel32u length = bits + (field > fields.most[index]);
    next <<= length;
    taken += length;
  }
  return taken;
}

// The fields of a block. It takes kFields * bits at least and leaves 16 bits in the cells, so that as many may be
// fetched in advance; then only signs are to come, of which a block has fewer than 16.
HWY_INLINE void takeBlock(BitReader& reader, Zel32u bits, Fields& fields) {
  if (bits <= 2) {
    reader.fetchFew(kFields * bits + 16);
    reader.skip(takeFields<kFields>(reader.bits(), 0, bits, fields));
    return;
  }
  const auto inGroups = [&]<int kGroup, size_t kBytes>() __attribute__((always_inline)) {
    static_assert(kFields % kGroup == 0);
    Zel8u ahead[BitReader::kAheadBytes];
    const Zel32u begin = reader.fetchAhead<kBytes>(kFields * bits + 16, ahead);
    Zel32u position = begin;
    for (int first = 0; first < kFields; first += kGroup) {
      position += takeFields<kGroup>(BitReader::windowAt(ahead, position), first, bits, fields);
    }
    reader.takeAhead(ahead, position, position - begin);
  };
  if (bits <= 4) {
    inGroups.template operator()<5, 4>();
  } else if (bits <= 8) {
    inGroups.template operator()<5, 8>();
  } else {
    inGroups.template operator()<3, 16>();
  }
}

template <class Sample>
ZelStatus decode4x4(BitCells cells, Sample* pSrcDst, Zel32u srcDstStep, Zel32u bits, Zel16s multiplier,
                    Zel32s bRefine) {
  if (ZelStatus bad = checkCells(present(pSrcDst), cells, bits <= 15)) return bad;
  BitReader reader(cells);
  if (bits > 0) {
    IndexedBlock block = loadBlock(pSrcDst, srcDstStep);
    const Four refines = hn::Set(kFour, bRefine ? -1 : 0), one = hn::Set(kFour, 1), zero = hn::Zero(kFour);
    const auto lanes = [](Zel32u* p) { return reinterpret_cast<Zel32s*>(p); };
    // A value that is there has its sign.
    Fields fields;
    Four before[4], isThere[4];
    for (int i = 0; i < 4; ++i) {
      before[i] = hn::And(block.quarter[i], refines);
      isThere[i] = hn::Not(hn::VecFromMask(kFour, hn::Eq(before[i], zero)));
      hn::Store(hn::Or(isThere[i], one), kFour, lanes(fields.most) + 4 * i);
    }
    fields.field[0] = 0;
    takeBlock(reader, bits, fields);
    const auto factor = hn::Set(kFour, multiplier);
    for (int i = 0; i < 4; ++i) {
      const Four field = hn::Load(kFour, lanes(fields.field) + 4 * i), magnitude = hn::ShiftRight<1>(field);
      const Four told = hn::BroadcastSignBit(hn::ShiftLeft<31>(field));
      const Four sign = hn::Or(hn::BroadcastSignBit(before[i]), hn::AndNot(isThere[i], told));
      const Four change = hn::Sub(hn::Xor(hn::Mul(magnitude, factor), sign), sign);
      // Without refinement fields that are 0 leave a value as it is, others replace it.
      const Four isKept = hn::Or(refines, hn::VecFromMask(kFour, hn::Eq(magnitude, zero)));
      block.quarter[i] = hn::Add(hn::And(block.quarter[i], isKept), change);
    }
    storeBlock(block, pSrcDst, srcDstStep);
  }
  reader.finish();
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownFLCEncode4x4_JPEGXR_16s1u_C1R(const Zel16s* pSrc, Zel32u srcStep, const Zel32u* pResidual,
                                           Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel32u bits,
                                           Zel32u trim, Zel32s bUseResidual) {
  return encode4x4(pSrc, srcStep, pResidual, {ppBitStream, pBitBuf, pNumBits}, bits, trim, bUseResidual);
}

ZelStatus ownFLCEncode4x4_JPEGXR_32s1u_C1R(const Zel32s* pSrc, Zel32u srcStep, const Zel32u* pResidual,
                                           Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel32u bits,
                                           Zel32u trim, Zel32s bUseResidual) {
  return encode4x4(pSrc, srcStep, pResidual, {ppBitStream, pBitBuf, pNumBits}, bits, trim, bUseResidual);
}

ZelStatus ownFLCDecode4x4_JPEGXR_1u16s_C1IR(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel16s* pSrcDst,
                                            Zel32u srcDstStep, Zel32u bits, Zel16s multiplier, Zel32s bRefine) {
  return decode4x4({ppBitStream, pBitBuf, pNumBits}, pSrcDst, srcDstStep, bits, multiplier, bRefine);
}

ZelStatus ownFLCDecode4x4_JPEGXR_1u32s_C1IR(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel32s* pSrcDst,
                                            Zel32u srcDstStep, Zel32u bits, Zel16s multiplier, Zel32s bRefine) {
  return decode4x4({ppBitStream, pBitBuf, pNumBits}, pSrcDst, srcDstStep, bits, multiplier, bRefine);
}
