// The core library's own four functions. This program's sysconf stands in the place of the C library's, and can know
// nothing about caches.
#include "zelcore.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <omp.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

static bool knowsCaches = true;
static int questions = 0; // about caches

static long systemKnows(int name) {
  static const auto system = reinterpret_cast<long (*)(int)>(dlsym(RTLD_NEXT, "sysconf"));
  return system(name);
}

extern "C" __attribute__((visibility("default"))) long sysconf(int name) noexcept {
  const bool cache = name >= _SC_LEVEL1_ICACHE_SIZE && name <= _SC_LEVEL4_CACHE_LINESIZE;
  questions += cache;
  return cache && !knowsCaches ? 0 : systemKnows(name);
}

namespace zelj::test {
namespace {

TEST(Core, MemoryIsAlignedToLines) {
  for (const int size : {1, 24, 63, 64, 65, 1644, 1 << 20}) {
    void* p = zelMalloc(size);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 64, 0u) << size;
    std::memset(p, 0xA5, static_cast<size_t>(size));
    zelFree(p);
  }
  EXPECT_EQ(zelMalloc(0), nullptr);
  EXPECT_EQ(zelMalloc(-1), nullptr);
  EXPECT_EQ(zelMalloc(INT_MIN), nullptr);
  zelFree(nullptr);
}

TEST(Core, LargestCache) {
  long largest = 0;
  for (const int name : {_SC_LEVEL2_CACHE_SIZE, _SC_LEVEL3_CACHE_SIZE, _SC_LEVEL4_CACHE_SIZE}) {
    largest = std::max(largest, systemKnows(name));
  }
  if (largest > 0) {
    int size = 0;
    ASSERT_EQ(zelGetMaxCacheSizeB(&size), 0);
    EXPECT_EQ(size, std::min<long>(largest, INT_MAX));
  }
  EXPECT_EQ(zelGetMaxCacheSizeB(nullptr), -8);
}

TEST(Core, LargestCacheByTheProcessorsOwnWord) {
  knowsCaches = false;
  int size = -5;
  const int status = zelGetMaxCacheSizeB(&size);
  knowsCaches = true;
  ASSERT_GT(questions, 0) << "the library asks another sysconf";
  if (status != 0) { // a machine that hides its caches altogether
    EXPECT_EQ(size, -5);
    GTEST_SKIP() << "no cache known";
  }
  // No less than a level that the system knows of; which level is the last is not always told in both ways.
  EXPECT_GE(size, std::max(systemKnows(_SC_LEVEL2_CACHE_SIZE), 1024L));
}

TEST(Core, ThreadsAreTheRuntimes) {
  const int before = omp_get_max_threads();
  for (const int n : {1, 3, before}) {
    omp_set_num_threads(n);
    EXPECT_EQ(ownGetNumThreads(), n);
  }
}

} // namespace
} // namespace zelj::test
