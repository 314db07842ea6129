// Memory that ends, or begins, at an inaccessible page, so that a byte read or written outside is a crash.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace zelj::test {

enum class Edge { end, begin };

// `bytes` bytes of memory, filled with kFill, that lie directly before (Edge::end) or behind (Edge::begin) an
// inaccessible page. With Edge::end any odd size makes the start misaligned.
class GuardedMemory {
 public:
  static constexpr uint8_t kFill = 0xA5;

  explicit GuardedMemory(size_t bytes, Edge edge = Edge::end) : size_(bytes) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t inner = (bytes + page - 1) / page * page;
    mapped_ = inner + 2 * page;
    base_ = static_cast<uint8_t*>(mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (base_ == MAP_FAILED || mprotect(base_ + page, inner, PROT_READ | PROT_WRITE) != 0) std::abort();
    data_ = edge == Edge::end ? base_ + page + inner - bytes : base_ + page;
    std::memset(base_ + page, kFill, inner);
  }
  GuardedMemory(GuardedMemory&& other) noexcept { *this = std::move(other); }
  GuardedMemory& operator=(GuardedMemory&& other) noexcept {
    std::swap(base_, other.base_);
    std::swap(mapped_, other.mapped_);
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    return *this;
  }
  ~GuardedMemory() {
    if (base_) munmap(base_, mapped_);
  }

  uint8_t* data() const { return data_; }
  size_t size() const { return size_; }

 private:
  uint8_t* base_ = nullptr;
  uint8_t* data_ = nullptr;
  size_t mapped_ = 0, size_ = 0;
};

} // namespace zelj::test
