// The caller's three cells of a bit stream (the next byte, up to 32 bits at the top of a word, their number), kept in
// registers for the length of a call. Streams grow and shrink by two bytes, the first byte higher. What a call leaves
// in the cells depends on the number of bits alone, so bits may be gathered and bytes stored or fetched in any portions
// that come out the same: a writer never leaves more than 16 bits, a reader never fewer than 16.
#pragma once

#include <bit>
#include <cstring>

#include "frame/checks.h"
#include "simd/simd.h"

namespace zelj {

struct BitCells {
  Zel8u** stream;
  Zel32u* bits;
  Zel32u* count;

  bool present() const { return stream && *stream && bits && count; }
};

// All pointers, then the number of bits, then what else has a limit.
inline ZelStatus checkCells(bool restPresent, BitCells cells, bool restInRange) {
  if (!restPresent || !cells.present()) return zelStatusNullPointer;
  return *cells.count > 32 || !restInRange ? ZelStatus{zelStatusBadArgument} : ZelStatus{zelStatusOk};
}

template <class Word>
HWY_INLINE Word loadBigEndian(const Zel8u* p) {
  Word word;
  std::memcpy(&word, p, sizeof word);
  if constexpr (std::endian::native == std::endian::big) return word;
  return sizeof word == 2 ? static_cast<Word>(__builtin_bswap16(static_cast<Zel16u>(word)))
                          : static_cast<Word>(__builtin_bswap32(static_cast<Zel32u>(word)));
}

class BitWriter {
 public:
  // What may be put between two flushes.
  static constexpr int kRoom = 32;

  HWY_INLINE explicit BitWriter(BitCells cells)
      : cells_(cells), at_(*cells.stream), bits_(Zel64u{*cells.bits} >> (32 - *cells.count)), pending_(*cells.count) {}

  // The low `length` bits of a value that has no others.
  HWY_INLINE void put(Zel64u value, Zel32u length) {
    bits_ = bits_ << length | value;
    pending_ += length;
  }

  HWY_INLINE void flush() {
    if (pending_ <= 32) return;
    pending_ -= 32;
    store(static_cast<Zel32u>(bits_ >> pending_));
  }

  HWY_INLINE void finish() {
    flush();
    if (pending_ > 16) {
      pending_ -= 16;
      store(static_cast<Zel16u>(bits_ >> pending_));
    }
    *cells_.stream = at_;
    *cells_.bits = static_cast<Zel32u>(bits_ << (32 - pending_));
    *cells_.count = pending_;
  }

 private:
  template <class Word>
  HWY_INLINE void store(Word word) {
    const Word swapped = loadBigEndian<Word>(reinterpret_cast<const Zel8u*>(&word));
    std::memcpy(at_, &swapped, sizeof swapped);
    at_ += sizeof swapped;
  }

  BitCells cells_;
  Zel8u* at_;
  Zel64u bits_;    // right-aligned; what stands above the pending bits means nothing
  Zel32u pending_; // up to 32 behind a flush
};

class BitReader {
 public:
  HWY_INLINE explicit BitReader(BitCells cells) : cells_(cells), at_(*cells.stream), left_(*cells.count) {
    bits_ = Zel64u{*cells.bits} >> (32 - left_) << 32 << (32 - left_);
    refill();
  }

  // Makes 16 bits available, given that there were none less than taken.
  HWY_INLINE void refill() {
    if (left_ < 16) fetch();
  }
  // Makes up to 48 bits available. The call must be sure to take all of them but 16.
  HWY_INLINE void require(Zel32u count) {
    while (left_ < count) fetch();
  }

  HWY_INLINE Zel64u bits() const { return bits_; } // the next at the top
  HWY_INLINE void skip(Zel32u count) {
    bits_ <<= count;
    left_ -= count;
  }
  // Takes up to 16 bits.
  HWY_INLINE Zel32u take(Zel32u count) {
    const auto value = static_cast<Zel32u>(bits_ >> 1 >> (63 - count));
    skip(count);
    return value;
  }

  HWY_INLINE void finish() {
    refill();
    *cells_.stream = at_;
    *cells_.bits = static_cast<Zel32u>(bits_ >> 32);
    *cells_.count = left_;
  }

 private:
  HWY_INLINE void fetch() {
    bits_ |= Zel64u{loadBigEndian<Zel16u>(at_)} << (48 - left_);
    at_ += 2;
    left_ += 16;
  }

  BitCells cells_;
  Zel8u* at_;
  Zel64u bits_; // left-aligned, zeros behind
  Zel32u left_;
};

} // namespace zelj
