// Rows a gigabyte apart, in a mapping of which only the pages that are used take memory: y * step leaves 32 bits.
#pragma once

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>

namespace zelj::test {

constexpr int kHugeStep = 1 << 30;

class SparseRows {
 public:
  SparseRows(int rows, int bytes) : size_(static_cast<size_t>(rows - 1) * kHugeStep + static_cast<size_t>(bytes)) {
    void* mapped = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapped == MAP_FAILED) std::abort();
    base_ = static_cast<uint8_t*>(mapped);
  }
  SparseRows(const SparseRows&) = delete;
  SparseRows& operator=(const SparseRows&) = delete;
  ~SparseRows() { munmap(base_, size_); }

  uint8_t* row(int64_t y) const { return base_ + y * kHugeStep; }

 private:
  size_t size_;
  uint8_t* base_;
};

} // namespace zelj::test
