// PackBits, the run-length scheme of TIFF 6.0 section 9: packets of a header byte and either 1 to 128 bytes as they are
// or one byte that is repeated 2 to 128 times.
#include <algorithm>
#include <bit>
#include <cstring>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "simd/byte_masks.h"
#include "simd/simd.h"

namespace zelj {
namespace {

constexpr int kMaxPacket = 128;
constexpr int kNoOperation = 0x80;
// Vectors of the coders: packets are short.
constexpr hn::CappedTag<Zel8u, 32> kVector;
constexpr int kLanes = static_cast<int>(hn::MaxLanes(kVector)), kShortPacket = 32;

HWY_INLINE void copyShort(const Zel8u* src, Zel8u* dst) {
  for (int i = 0; i < kShortPacket; i += kLanes) hn::StoreU(hn::LoadU(kVector, src + i), kVector, dst + i);
}

// Bit i, for i below 64: byte i equals the next one and both belong to the row, of which `left` bytes are left, 1 at
// least. Reads 65 bytes.
HWY_INLINE Zel64u equalPairs(const Zel8u* src, int left) {
  Zel64u equal = 0;
  for (int i = 0; i < 64; i += kLanes) {
    const auto same = hn::Eq(hn::LoadU(kVector, src + i), hn::LoadU(kVector, src + i + 1));
    equal |= bitsOfMask(kVector, same) << i;
  }
  return left > 64 ? equal : equal & ((Zel64u{1} << (left - 1)) - 1);
}

// Both read up to kReach bytes.
constexpr int kReach = 192;

int runLength(const Zel8u* src, int left) {
  int length = 0;
  do {
    const int equal = std::countr_one(equalPairs(src + length, left - length));
    length += equal;
    if (equal < 64) return length + 1;
  } while (length < kMaxPacket);
  return kMaxPacket;
}

// A literal ends before three equal bytes.
int literalLength(const Zel8u* src, int left) {
  const int limit = std::min(left, kMaxPacket);
  for (int from = 0; from < limit; from += 63) {
    const Zel64u equal = equalPairs(src + from, left - from);
    if (const Zel64u triples = equal & (equal >> 1)) return std::min(from + std::countr_zero(triples), limit);
  }
  return limit;
}

class RowPacker {
 public:
  RowPacker(Zel8u* dst, Zel32s position, Zel32s length) : dst_(dst), position_(position), length_(length) {}

  Zel32s position() const { return position_; }

  // Packs from `at` on until fewer than kReach bytes (if the row goes on in other memory), or none, are left.
  bool pack(const Zel8u* src, int& at, int length, bool atEnd) {
    const int stop = atEnd ? length : length - kReach + 1;
    while (at < stop) {
      if (packShort(src, at, stop, length)) continue;
      const int left = length - at;
      const bool isRun = left > 1 && src[at] == src[at + 1];
      const int count = isRun ? runLength(src + at, left) : literalLength(src + at, left);
      const int bytes = isRun ? 1 : count;
      if (Zel64s{length_} - position_ < 1 + bytes) return false;
      dst_[position_] = static_cast<Zel8u>(isRun ? 1 - count : count - 1);
      std::memcpy(dst_ + position_ + 1, src + at, static_cast<size_t>(bytes));
      position_ += 1 + bytes;
      at += count;
    }
    return true;
  }

 private:
  // Packs short packets, without a branch on what they are: both kinds begin with the byte at hand, and a run's header
  // leaves the rest behind. They go through memory of our own, for no byte behind the last may change. False: the next
  // packet is not short, or room is.
  HWY_INLINE bool packShort(const Zel8u* src, int& at, int stop, int length) {
    // A window's packets end among its first 62 bytes, and take at most one more than what they stand for.
    constexpr int kWindow = 62, kStaged = 512;
    Zel8u staged[kStaged];
    Zel8u *to = staged, *const full = staged + kStaged - (kWindow + 2 + kShortPacket);
    if (Zel64s{length_} - position_ < kStaged) return false;
    for (bool goesOn = true; goesOn && at < stop && to < full;) {
      const Zel64u equal = equalPairs(src + at, length - at);
      Zel64u unequal = ~equal, triples = equal & (equal >> 1);
      int certain = std::min(kWindow, length - at - 1);
      goesOn = false;
      for (;;) {
        const bool isRun = !(unequal & 1);
        // 64: no end in sight.
        const int run = std::countr_zero(unequal) + 1, literal = std::countr_zero(triples);
        const int count = isRun ? run : literal, bytes = isRun ? 1 : literal;
        certain -= count;
        if (certain < 0 || bytes > kShortPacket) break;
        copyShort(src + at, to + 1);
        *to = static_cast<Zel8u>(isRun ? 1 - run : literal - 1);
        to += 1 + bytes;
        at += count;
        unequal >>= count;
        triples >>= count;
        goesOn = true;
      }
    }
    const auto bytes = static_cast<size_t>(to - staged);
    if (bytes == 0) return false;
    std::memcpy(dst_ + position_, staged, bytes);
    position_ += static_cast<Zel32s>(bytes);
    return true;
  }

  Zel8u* dst_;
  Zel32s position_, length_;
};

// A packet's header.
struct Header {
  Zel8u byte;
  bool isRun() const { return byte > kNoOperation; }
  int count() const { return isRun() ? 257 - byte : byte + 1; }
};

struct RowUnpacker {
  const Zel8u* src;
  Zel64s at, srcLength;
  Zel8u* dst;
  Zel64s out, dstLength;

  // False: the next packet is not whole, or does not fit. Only its header has been taken.
  bool unpackOne() {
    if (at >= srcLength) return false;
    const Header header{src[at++]};
    if (header.byte == kNoOperation) return true;
    const int count = header.count();
    // The byte of a run may lie just behind the source: that much is the contract.
    if (at + (header.isRun() ? 0 : count) > srcLength || out + count > dstLength) return false;
    // Long stretches are full packets, whose copying needs no call.
    if (count == kMaxPacket) {
      transfer(header.isRun(), kMaxPacket);
    } else {
      transfer(header.isRun(), static_cast<size_t>(count));
    }
    return true;
  }

  HWY_INLINE void transfer(bool isRun, size_t count) {
    if (isRun) {
      std::memset(dst + out, src[at], count);
    } else {
      std::memcpy(dst + out, src + at, count);
    }
    at += isRun ? 1 : static_cast<Zel64s>(count);
    out += static_cast<Zel64s>(count);
  }

  // Unpacks short packets as long as there are any, without a branch on what they are. They go through memory of our
  // own, for no byte behind the last may change.
  HWY_INLINE void unpackShort() {
    constexpr int kStaged = 2048;
    Zel8u staged[kStaged];
    int done = 0;
    const int limit = static_cast<int>(std::min<Zel64s>(kStaged - kShortPacket, dstLength - out));
    while (srcLength - at > kShortPacket && src[at] != kNoOperation) {
      const Header header{src[at]};
      const int count = header.count();
      if (count > kShortPacket || done + count > limit) break;
      const Zel8u* const bytes = src + at + 1;
      const auto repeated = hn::Set(kVector, *bytes);
      const auto isRun = hn::Set(kVector, static_cast<Zel8u>(header.isRun() ? 0xFF : 0));
      for (int i = 0; i < kShortPacket; i += kLanes) {
        const auto literal = hn::LoadU(kVector, bytes + i);
        hn::StoreU(hn::Or(hn::And(isRun, repeated), hn::AndNot(isRun, literal)), kVector, staged + done + i);
      }
      at += header.isRun() ? 2 : 1 + count;
      done += count;
    }
    if (done == 0) return;
    std::memcpy(dst + out, staged, static_cast<size_t>(done));
    out += done;
  }
};

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownPackBitsRow_TIFF_8u_C1(const Zel8u* pSrc, Zel32s srcLenBytes, Zel8u* pDst, Zel32s* pDstCurrPos,
                                    Zel32s dstLenBytes) {
  if (ZelStatus bad = checkPointersLength(present(pSrc, pDstCurrPos, pDst), std::min(srcLenBytes, dstLenBytes)))
    return bad;
  RowPacker packer(pDst, *pDstCurrPos, dstLenBytes);
  int at = 0;
  bool fits = packer.pack(pSrc, at, srcLenBytes, false);
  if (fits) {
    // The end of the row, in memory that may be read as far as a packet reaches.
    Zel8u end[2 * kReach] = {};
    const int left = srcLenBytes - at;
    std::memcpy(end, pSrc + at, static_cast<size_t>(left));
    at = 0;
    fits = packer.pack(end, at, left, true);
  }
  *pDstCurrPos = packer.position();
  return fits ? zelStatusOk : zelStatusPackBitsData;
}

ZelStatus ownUnpackBitsRow_TIFF_8u_C1(const Zel8u* pSrc, Zel32s* pSrcCurrPos, Zel32s srcLenBytes, Zel8u* pDst,
                                      Zel32s dstLenBytes) {
  if (ZelStatus bad = checkPointersLength(present(pSrc, pSrcCurrPos, pDst), std::min(srcLenBytes, dstLenBytes)))
    return bad;
  RowUnpacker row{pSrc, *pSrcCurrPos, srcLenBytes, pDst, 0, dstLenBytes};
  ZelStatus status = zelStatusOk;
  while (row.out < dstLenBytes && status == zelStatusOk) {
    row.unpackShort();
    if (row.out < dstLenBytes && !row.unpackOne()) status = zelStatusPackBitsData;
  }
  *pSrcCurrPos = static_cast<Zel32s>(row.at);
  return status;
}
