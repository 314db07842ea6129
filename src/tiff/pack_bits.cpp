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

// Bit i, for i below 64: byte i equals the next one and both belong to the row, of which `left` bytes are left. Reads
// 65 bytes.
HWY_INLINE Zel64u equalPairs(const Zel8u* src, int left) {
  Zel64u equal = 0;
  for (int i = 0; i < 64; i += kLanes) {
    const auto same = hn::Eq(hn::LoadU(kVector, src + i), hn::LoadU(kVector, src + i + 1));
    equal |= bitsOfMask(kVector, same) << i;
  }
  return left > 64 ? equal : left > 0 ? equal & ((Zel64u{1} << (left - 1)) - 1) : 0;
}

// Packets are found among so many bytes at a time, and nothing is read behind kReach bytes.
constexpr int kStretch = 256, kReach = kStretch + 128;

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
      if (packShort(src, at, length)) continue;
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
  HWY_INLINE bool packShort(const Zel8u* src, int& at, int length) {
    // A window's packets end among its first bytes, and take at most one more than what they stand for. A few at a time
    // nearly always do, so that their number is foreseen.
    constexpr int kWindow = 55, kPackets = 6, kStaged = 2 * kStretch;
    if (Zel64s{length_} - position_ < kStaged) return false;
    const Zel8u* const from = src + at;
    const int left = length - at;
    Zel64u pairs[kStretch / 64] = {equalPairs(from, left)};
    if ((pairs[0] & 1 ? ~pairs[0] : pairs[0] & (pairs[0] >> 1)) == 0) return false; // no end in sight
    for (int i = 1; i < kStretch / 64; ++i) pairs[i] = equalPairs(from + 64 * i, left - 64 * i);
    Zel8u staged[kStaged];
    Zel8u* to = staged;
    int done = 0;
    for (bool goesOn = true; goesOn && done < kStretch - 64;) {
      Zel64u equal;
      std::memcpy(&equal, reinterpret_cast<const Zel8u*>(pairs) + done / 8, 8);
      equal >>= done % 8;
      // Both have a bit set behind what is certain.
      constexpr Zel64u kBehind = Zel64u{1} << 63;
      Zel64u unequal = ~equal | kBehind, triples = (equal & (equal >> 1)) | kBehind;
      const int end = std::min(done + kWindow, left - 1);
      for (int i = 0; i < kPackets; ++i) {
        // How many bytes follow the packet's first.
        int more = __builtin_ctzll(triples) - 1;
        const int repeated = __builtin_ctzll(unequal), literal = -static_cast<int>(unequal & 1);
        if (!(unequal & 1)) more = repeated;
        const int next = done + more + 1, copied = more & literal;
        if (next > end || copied >= kShortPacket) {
          goesOn = i > 0;
          break;
        }
        copyShort(from + done, to + 1);
        *to = static_cast<Zel8u>((more ^ ~literal) - ~literal);
        to += 2 + copied;
        done = next;
        unequal = unequal >> more >> 1;
        triples = triples >> more >> 1;
      }
    }
    const auto bytes = static_cast<size_t>(to - staged);
    if (bytes == 0) return false;
    std::memcpy(dst_ + position_, staged, bytes);
    position_ += static_cast<Zel32s>(bytes);
    at += done;
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
