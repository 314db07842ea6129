// The core library: memory, cache size and thread count, each in the plainest form that serves the image library.
#include "zelcore.h"

#include <cpuid.h>
#include <omp.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <climits>
#include <initializer_list>

namespace {

// Largest cache by the deterministic cache parameters: leaf 4 (Intel) or 0x8000001D (AMD), which share one layout.
long largestCacheByCpuid(unsigned leaf) {
  const auto last = static_cast<unsigned>(__get_cpuid_max(leaf & 0x80000000u, nullptr));
  if (last < leaf) return 0;
  long largest = 0;
  for (unsigned index = 0; index < 16; ++index) {
    unsigned a, b, c, d;
    __cpuid_count(leaf, index, a, b, c, d);
    if ((a & 31) == 0) break;
    const long ways = (b >> 22) + 1, partitions = ((b >> 12) & 0x3ff) + 1, line = (b & 0xfff) + 1, sets = long{c} + 1;
    const long size = ways * partitions * line * sets;
    if (size > largest) largest = size;
  }
  return largest;
}

long largestCache() {
  for (const int name : {_SC_LEVEL4_CACHE_SIZE, _SC_LEVEL3_CACHE_SIZE, _SC_LEVEL2_CACHE_SIZE}) {
    const long size = sysconf(name);
    if (size > 0) return size;
  }
  const long size = largestCacheByCpuid(4);
  return size > 0 ? size : largestCacheByCpuid(0x8000001Du);
}

} // namespace

// Aligned by hand, with the block's own address in front: posix_memalign of glibc leaves the pieces that it cuts off in
// its caches, so that a large block that was released does not serve the next request of its size.
void* zelMalloc(int size) {
  constexpr size_t kAlignment = 64;
  if (size < 1) return nullptr;
  auto* block = static_cast<char*>(malloc(static_cast<size_t>(size) + kAlignment));
  if (!block) return nullptr;
  char* aligned = block + kAlignment - reinterpret_cast<uintptr_t>(block) % kAlignment;
  memcpy(aligned - sizeof block, &block, sizeof block); // malloc aligns to 16, so there is room
  return aligned;
}

void zelFree(void* p) {
  if (!p) return;
  void* block;
  memcpy(&block, static_cast<char*>(p) - sizeof block, sizeof block);
  free(block);
}

int zelGetMaxCacheSizeB(int* pSizeByte) {
  if (!pSizeByte) return -8;
  const long size = largestCache();
  if (size <= 0) return -1;
  *pSizeByte = size > INT_MAX ? INT_MAX : static_cast<int>(size);
  return 0;
}

int ownGetNumThreads() {
  const int n = omp_get_max_threads();
  return n < 1 ? 1 : n;
}
