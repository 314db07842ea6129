// Memory for planes and blocks that begins at a cache line and is not cleared: codecs write it before they read it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace img {

// Asks for large pages, where the system gives them only then: a first touch costs as much as the work on what is
// touched.
inline void useLargePages([[maybe_unused]] void* memory, [[maybe_unused]] size_t bytes) {
#if defined(MADV_HUGEPAGE)
  constexpr size_t kPage = 4096, kWorthIt = size_t{1} << 22;
  const auto begin = reinterpret_cast<uintptr_t>(memory), first = (begin + kPage - 1) / kPage * kPage;
  if (bytes >= kWorthIt) madvise(reinterpret_cast<void*>(first), begin + bytes - first, MADV_HUGEPAGE);
#endif
}

template <class T>
class AlignedArray {
 public:
  AlignedArray() = default;
  explicit AlignedArray(size_t count)
      : memory_(static_cast<T*>(::operator new(count * sizeof(T), kAlignment))), size_(count) {
    useLargePages(memory_.get(), count * sizeof(T));
  }

  T* data() const { return memory_.get(); }
  T& operator[](size_t i) const { return memory_.get()[i]; }
  size_t size() const { return size_; }

 private:
  static constexpr std::align_val_t kAlignment{64};
  struct Release {
    void operator()(T* memory) const { ::operator delete(memory, kAlignment); }
  };
  std::unique_ptr<T, Release> memory_;
  size_t size_ = 0;
};

} // namespace img
