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

  // Makes up to 61 bits available, by two bytes or four, or none. The call must be sure to take all of them but 16.
  HWY_INLINE void fetchFew(Zel32u count) {
    const Zel32u fetched = (count - left_ + 15) / 16 * 2;
    if (fetched == 0) [[unlikely]]
      return;
    const Zel64u first = loadBigEndian<Zel16u>(at_), last = loadBigEndian<Zel16u>(at_ + fetched - 2);
    bits_ |= first << (48 - left_);
    at_ += fetched;
    left_ += 8 * fetched;
    bits_ |= last << (64 - left_);
  }

  // Makes up to 256 bits available in memory, likewise. Of the bytes that must be fetched there are kBytes at least,
  // and twice as many at most. Returns where the bits begin.
  static constexpr size_t kAheadBytes = 4 + 32 + 8;
  template <size_t kBytes>
  HWY_INLINE Zel32u fetchAhead(Zel32u count, Zel8u* to) {
    const Zel32u cells = __builtin_bswap32(static_cast<Zel32u>(bits_ >> 32 >> (32 - left_)));
    std::memcpy(to, &cells, 4);
    const size_t fetched = (count - left_ + 15) / 16 * 2;
    std::memcpy(to + 4, at_, kBytes);
    std::memcpy(to + 4 + fetched - kBytes, at_ + fetched - kBytes, kBytes);
    const Zel32u begin = 32 - left_;
    at_ += fetched;
    left_ += static_cast<Zel32u>(8 * fetched);
    return begin;
  }
  // What of them is left, of which at most 31 are available.
  HWY_INLINE void takeAhead(const Zel8u* from, Zel32u position, Zel32u taken) {
    left_ -= taken;
    bits_ = windowAt(from, position) & ~(~Zel64u{0} >> left_);
  }
  // The next 57 bits at least, at the top.
  static HWY_INLINE Zel64u windowAt(const Zel8u* from, Zel32u position) {
    Zel64u word;
    std::memcpy(&word, from + position / 8, 8);
    return __builtin_bswap64(word) << position % 8;
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
