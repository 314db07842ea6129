// Fixed-length codes of JPEG XR (the flexbits of ITU-T T.832 8.7.19): the low bits of the 15 AC coefficients of a
// block, a field each, with a sign bit where the symbols did not tell it.
#include <bit>

#include "frame/implementations.h"
#include "jpegxr/bit_cells.h"

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

// Reads the fields of a block, kGroup at a time: a block takes kFields * bits at least, and leaves 16 bits in the
// cells, so as much may be fetched in advance.
template <int kGroup, bool kRefine, class Sample>
HWY_INLINE void decodeFields(BitReader& reader, Block<Sample> block, Zel32u bits, Zel32u multiplier) {
  static_assert(kFields % kGroup == 0);
  const Zel64u zeros = ~Zel64u{0} >> bits; // the last word whose field is 0
  for (int group = 0; group < kFields; group += kGroup) {
    reader.require(kGroup * (bits + 1));
    HWY_UNROLL(15)
    for (int i = group; i < group + kGroup; ++i) {
      const Place place = kOrder[i];
      const Zel64u next = reader.bits();
      const Zel32s before = block.get(place);
      const bool isNew = !kRefine || before == 0;
      const auto field = static_cast<Zel32u>(next >> (63 - bits)); // the sign behind the magnitude
      const auto sign = static_cast<Zel32u>(kRefine ? before >> 31 : 0) | (0 - (field & Zel32u{isNew}));
      const Zel32u change = ((field >> 1) * multiplier ^ sign) - sign, kept = static_cast<Zel32u>(before);
      block.set(place, kRefine ? kept + change : next > zeros ? change : kept);
      // All that the next field waits for: whether this one has a sign.
      reader.skip(bits + (next > (isNew ? zeros : ~Zel64u{0})));
    }
  }
}

template <class Sample>
ZelStatus decode4x4(BitCells cells, Sample* pSrcDst, Zel32u srcDstStep, Zel32u bits, Zel16s multiplier,
                    Zel32s bRefine) {
  if (ZelStatus bad = checkCells(present(pSrcDst), cells, bits <= 15)) return bad;
  BitReader reader(cells);
  const Block<Sample> block(pSrcDst, srcDstStep);
  const auto factor = static_cast<Zel32u>(Zel32s{multiplier});
  if (bits == 0) {
    // Nothing is there.
  } else if (bits <= 2) {
    bRefine ? decodeFields<kFields, true>(reader, block, bits, factor)
            : decodeFields<kFields, false>(reader, block, bits, factor);
  } else {
    bRefine ? decodeFields<3, true>(reader, block, bits, factor) : decodeFields<3, false>(reader, block, bits, factor);
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
