// Bulk memory operations: the C library's below a threshold, non-temporal stores above it if the buffer is larger than
// the largest cache.
#include "frame/bulk_memory.h"

#include <hwy/cache_control.h>
#include <string.h>

#include "frame/rows.h"
#include "simd/simd.h"
#include "zelcore.h"

namespace zelj {
namespace {

constexpr size_t kLine = 64;
constexpr size_t kSetThreshold = 2097152, kCopyThreshold = 1048576;
constexpr size_t kWidenThreshold = 524288, kCopyRowsThreshold = 4194304;

// The cache's size, or "everything fits" where it is unknown.
size_t cacheSize() {
  Zel32s size = 0;
  return zelGetMaxCacheSizeB(&size) == 0 && size > 0 ? static_cast<size_t>(size) : SIZE_MAX;
}

bool bypassesCache(size_t bytes, size_t threshold) {
  return bytes > threshold && bytes > cacheSize();
}

// Writes `bytes` bytes, more than two lines, around the cache: fill(at, n) writes a first line and the tail with plain
// stores, line(at) gives the vectors of the whole lines between.
template <class Fill, class Line>
void streamLines(Zel8u* dst, size_t bytes, Fill fill, Line line) {
  const hn::CappedTag<Zel8u, kLine> d;
  fill(0, kLine);
  size_t at = kLine - reinterpret_cast<uintptr_t>(dst) % kLine;
  for (; at + kLine <= bytes; at += kLine) {
    for (size_t i = 0; i < kLine; i += hn::Lanes(d)) hn::Stream(line(d, at + i), d, dst + at + i);
  }
  fill(at, bytes - at);
  hwy::FlushStream();
}

void set(Zel8u* dst, size_t bytes, Zel8u value) {
  if (!bypassesCache(bytes, kSetThreshold)) {
    memset(dst, value, bytes);
    return;
  }
  streamLines(
      dst, bytes, [=](size_t at, size_t n) { memset(dst + at, value, n); },
      [=](auto d, size_t) { return hn::Set(d, value); });
}

void copy(const Zel8u* src, Zel8u* dst, size_t bytes) {
  streamLines(
      dst, bytes, [=](size_t at, size_t n) { memcpy(dst + at, src + at, n); },
      [=](auto d, size_t at) { return hn::LoadU(d, src + at); });
}

template <class T>
ZelStatus zero(T* dst, int len) {
  if (!dst) return zelStatusNullPointer;
  if (len < 1) return zelStatusBadSize;
  set(reinterpret_cast<Zel8u*>(dst), static_cast<size_t>(len) * sizeof(T), 0);
  return zelStatusOk;
}

} // namespace

ZelStatus ownZero8u(Zel8u* pDst, int lenBytes) {
  return zero(pDst, lenBytes);
}
ZelStatus ownZero16s(Zel16s* pDst, int len) {
  return zero(pDst, len);
}
ZelStatus ownZero32s(Zel32s* pDst, int len) {
  return zero(pDst, len);
}

ZelStatus ownSet8u(Zel8u value, Zel8u* pDst, int lenBytes) {
  if (!pDst) return zelStatusNullPointer;
  if (lenBytes < 1) return zelStatusBadSize;
  set(pDst, static_cast<size_t>(lenBytes), value);
  return zelStatusOk;
}

ZelStatus ownSet32s(Zel32s value, Zel32s* pDst, int len) {
  if (len < 1) return zelStatusOk;
  auto* dst = reinterpret_cast<Zel8u*>(pDst);
  const size_t bytes = static_cast<size_t>(len) * sizeof(Zel32s);
  const auto fill = [=](size_t at, size_t n) {
    for (size_t i = at; i < at + n; i += sizeof value) memcpy(dst + i, &value, sizeof value);
  };
  // Lines begin at whole elements only if the pointer is aligned to them.
  const bool aligned = reinterpret_cast<uintptr_t>(pDst) % sizeof value == 0;
  if (!aligned || !bypassesCache(bytes, kSetThreshold)) {
    fill(0, bytes);
    return zelStatusOk;
  }
  streamLines(dst, bytes, fill,
              [=](auto d, size_t) { return hn::BitCast(d, hn::Set(hn::Repartition<Zel32s, decltype(d)>(), value)); });
  return zelStatusOk;
}

ZelStatus ownCopy8u(const Zel8u* pSrc, Zel8u* pDst, int lenBytes) {
  if (!pSrc || !pDst) return zelStatusNullPointer;
  if (lenBytes < 1) return zelStatusBadSize;
  const auto bytes = static_cast<size_t>(lenBytes);
  if (bypassesCache(bytes, kCopyThreshold))
    copy(pSrc, pDst, bytes);
  else
    memcpy(pDst, pSrc, bytes);
  return zelStatusOk;
}

void ownWiden8u16u(const Zel8u* pSrc, Zel16u* pDst, int len) {
  const size_t moved = 3 * static_cast<size_t>(len);
  int head = 0; // elements before the first aligned vector; an odd address never gets there
  const auto misaligned = reinterpret_cast<uintptr_t>(pDst) % kLine;
  if (moved > kWidenThreshold && moved >= cacheSize() && misaligned % sizeof *pDst == 0) {
    constexpr hn::ScalableTag<Zel16u> d;
    const hn::Rebind<Zel8u, decltype(d)> d8;
    constexpr int n = static_cast<int>(HWY_LANES(Zel16u));
    head = static_cast<int>((kLine - misaligned) % kLine / sizeof *pDst);
    for (int i = 0; i < head; ++i) pDst[i] = pSrc[i];
    for (; head + n <= len; head += n) hn::Stream(hn::PromoteTo(d, hn::LoadU(d8, pSrc + head)), d, pDst + head);
    hwy::FlushStream();
  }
  forVectors<Zel16u>(len - head, [=](auto d, int x) {
    const hn::Rebind<Zel8u, decltype(d)> d8;
    hn::StoreU(hn::PromoteTo(d, hn::LoadU(d8, pSrc + head + x)), d, pDst + head + x);
  });
}

void ownCopyRows(const void* pSrc, int srcStep, void* pDst, int dstStep, int rowBytes, int height) {
  const auto* src = static_cast<const Zel8u*>(pSrc);
  auto* dst = static_cast<Zel8u*>(pDst);
  auto bytes = static_cast<size_t>(rowBytes);
  const size_t total = bytes * static_cast<size_t>(height);
  if (srcStep == rowBytes && dstStep == rowBytes) {
    bytes = total;
    height = 1;
  }
  const bool stream =
      rowBytes >= 2 * static_cast<int>(kLine) && total > kCopyRowsThreshold && cacheSize() < kCopyRowsThreshold;
  for (int y = 0; y < height; ++y) {
    if (stream)
      copy(row(src, srcStep, y), row(dst, dstStep, y), bytes);
    else
      memcpy(row(dst, dstStep, y), row(src, srcStep, y), bytes);
  }
}

} // namespace zelj
