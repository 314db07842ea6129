// Bulk memory operations at lengths around their thresholds, with caches that make them stream, not stream, or unknown;
// and the allocator wrappers. This program's own core library stands in the place of libzelcore.
#include "frame/bulk_memory.h"

#include <gtest/gtest.h>

#include "frame/alloc.h"
#include "support/guarded.h"
#include "support/random.h"

namespace {
int cacheBytes = 0; // below 0: the query fails
int lastAllocation = 0;
bool freedNull = false;
} // namespace

int zelGetMaxCacheSizeB(int* pSizeByte) {
  if (cacheBytes < 0) return -1;
  *pSizeByte = cacheBytes;
  return 0;
}
void* zelMalloc(int size) {
  lastAllocation = size;
  return nullptr;
}
void zelFree(void* p) {
  freedNull = p == nullptr;
}

namespace zelj::test {
namespace {

constexpr int kCaches[] = {-1, 0, 65536, 1 << 30};

// Memory of `bytes` bytes at `offset` modulo 64 with 64 bytes of canary on both sides.
class Framed {
 public:
  Framed(size_t bytes, size_t offset) : memory_(bytes + 256), bytes_(bytes) {
    uint8_t* base = memory_.data() + 64;
    data_ = base + (64 - reinterpret_cast<uintptr_t>(base) % 64) % 64 + offset;
  }
  uint8_t* data() const { return data_; }
  bool frameUntouched() const {
    for (const uint8_t* p = memory_.data(); p != memory_.data() + memory_.size(); ++p) {
      if ((p < data_ || p >= data_ + bytes_) && *p != GuardedMemory::kFill) return false;
    }
    return true;
  }

 private:
  GuardedMemory memory_;
  uint8_t* data_;
  size_t bytes_;
};

TEST(BulkMemory, WritesExactlyWhatIsAskedForAtEveryAlignment) {
  for (const int cache : kCaches) {
    cacheBytes = cache;
    for (size_t offset = 0; offset < 64; offset += cache == 65536 ? 1 : 21) {
      for (const int bytes : {1, 63, 4096, 32768, 2097152, 2097153 + static_cast<int>(offset)}) {
        const Framed set(static_cast<size_t>(bytes), offset);
        ASSERT_EQ(ownSet8u(7, set.data(), bytes), zelStatusOk);
        const std::vector<uint8_t> sevens(static_cast<size_t>(bytes), 7), zeros(static_cast<size_t>(bytes), 0);
        ASSERT_EQ(std::memcmp(set.data(), sevens.data(), sevens.size()), 0) << bytes << " at " << offset;
        ASSERT_EQ(ownZero8u(set.data(), bytes), zelStatusOk);
        ASSERT_EQ(std::memcmp(set.data(), zeros.data(), zeros.size()), 0) << bytes << " at " << offset;
        ASSERT_TRUE(set.frameUntouched()) << bytes << " at " << offset;
      }
    }
  }
}

TEST(BulkMemory, WiderElements) {
  for (const int cache : kCaches) {
    cacheBytes = cache;
    for (const size_t offset : {0u, 1u, 2u, 4u, 36u, 63u}) {
      for (const int len : {1, 17, 524288, 524289, 1048577}) {
        const auto count = static_cast<size_t>(len);
        const Framed memory(4 * count, offset);
        ASSERT_EQ(ownSet32s(0x01020304, reinterpret_cast<Zel32s*>(memory.data()), len), zelStatusOk);
        for (size_t i = 0; i < 4 * count; ++i) ASSERT_EQ(memory.data()[i], 4 - i % 4) << i;
        ASSERT_EQ(ownZero16s(reinterpret_cast<Zel16s*>(memory.data()), len), zelStatusOk);
        for (size_t i = 0; i < 4 * count; ++i) ASSERT_EQ(memory.data()[i], i < 2 * count ? 0 : 4 - i % 4) << i;
        ASSERT_EQ(ownZero32s(reinterpret_cast<Zel32s*>(memory.data()), len), zelStatusOk);
        for (size_t i = 0; i < 4 * count; ++i) ASSERT_EQ(memory.data()[i], 0) << i;
        ASSERT_TRUE(memory.frameUntouched());
      }
    }
  }
}

TEST(BulkMemory, CopiesAndWidens) {
  Random random(3);
  std::vector<uint8_t> source(5 << 20);
  for (uint8_t& b : source) b = static_cast<uint8_t>(random.bits());
  for (const int cache : kCaches) {
    cacheBytes = cache;
    for (const size_t offset : {0u, 1u, 2u, 31u, 63u}) {
      for (const int len : {1, 100, 174763, 1048576, 1048577, 1048700}) {
        const auto count = static_cast<size_t>(len);
        const Framed copy(count, offset), wide(2 * count, offset);
        ASSERT_EQ(ownCopy8u(source.data() + 3, copy.data(), len), zelStatusOk);
        ASSERT_EQ(std::memcmp(copy.data(), source.data() + 3, count), 0) << len << " at " << offset;
        ASSERT_TRUE(copy.frameUntouched());
        ownWiden8u16u(source.data(), reinterpret_cast<Zel16u*>(wide.data()), len);
        for (size_t i = 0; i < count; ++i) {
          ASSERT_EQ(wide.data()[2 * i], source[i]);
          ASSERT_EQ(wide.data()[2 * i + 1], 0);
        }
        ASSERT_TRUE(wide.frameUntouched());
      }
    }
    for (const int rowBytes : {100, 130, 5000}) {
      for (const int gap : {0, 9}) {
        const int height = (5 << 20) / 5009, step = rowBytes + gap;
        const Framed rows(static_cast<size_t>(step) * static_cast<size_t>(height), 1);
        ownCopyRows(source.data(), rowBytes, rows.data(), step, rowBytes, height);
        for (int y = 0; y < height; ++y) {
          const uint8_t* copied = rows.data() + static_cast<ptrdiff_t>(y) * step;
          ASSERT_EQ(
              std::memcmp(copied, source.data() + static_cast<ptrdiff_t>(y) * rowBytes, static_cast<size_t>(rowBytes)),
              0);
          for (int i = rowBytes; i < step; ++i) ASSERT_EQ(copied[i], GuardedMemory::kFill);
        }
        ASSERT_TRUE(rows.frameUntouched());
      }
    }
  }
}

// Every size of the pieces that a row is copied in, and every alignment of them.
TEST(BulkMemory, CopiesShortRows) {
  Random random(4);
  for (const int cache : kCaches) {
    cacheBytes = cache;
    for (int rowBytes = 1; rowBytes < 64; ++rowBytes) {
      for (const int gap : {0, 1, 7}) {
        const int height = 9, step = rowBytes + gap, from = step + random.in(0, 5);
        GuardedMemory source(static_cast<size_t>(from * (height - 1) + rowBytes));
        for (size_t i = 0; i < source.size(); ++i) source.data()[i] = static_cast<uint8_t>(random.bits());
        const Framed rows(static_cast<size_t>(step * height), static_cast<size_t>(random.in(0, 63)));
        ownCopyRows(source.data(), from, rows.data(), step, rowBytes, height);
        for (int y = 0; y < height; ++y) {
          const uint8_t* copied = rows.data() + y * step;
          ASSERT_EQ(std::memcmp(copied, source.data() + y * from, static_cast<size_t>(rowBytes)), 0) << rowBytes;
          for (int i = rowBytes; i < step; ++i) ASSERT_EQ(copied[i], GuardedMemory::kFill) << rowBytes;
        }
        ASSERT_TRUE(rows.frameUntouched()) << rowBytes;
      }
    }
  }
}

TEST(BulkMemory, Checks) {
  Zel8u bytes[1] = {9};
  EXPECT_EQ(ownZero8u(nullptr, 0), zelStatusNullPointer);
  EXPECT_EQ(ownZero8u(bytes, 0), zelStatusBadSize);
  EXPECT_EQ(ownSet8u(1, nullptr, 1), zelStatusNullPointer);
  EXPECT_EQ(ownSet8u(1, bytes, -1), zelStatusBadSize);
  EXPECT_EQ(ownCopy8u(nullptr, bytes, 1), zelStatusNullPointer);
  EXPECT_EQ(ownCopy8u(bytes, nullptr, 1), zelStatusNullPointer);
  EXPECT_EQ(ownCopy8u(bytes, bytes, 0), zelStatusBadSize);
  EXPECT_EQ(bytes[0], 9);
}

TEST(Allocator, PassesOnWhatIsAskedFor) {
  lastAllocation = 5;
  EXPECT_EQ(ownAlloc(0), nullptr);
  EXPECT_EQ(ownAlloc(-1), nullptr);
  EXPECT_EQ(lastAllocation, 5);
  EXPECT_EQ(ownAlloc(1644), nullptr);
  EXPECT_EQ(lastAllocation, 1644);
  ownFree(nullptr);
  EXPECT_TRUE(freedNull);
}

} // namespace
} // namespace zelj::test
