// Memory for planes and blocks that begins at a cache line and is not cleared: codecs write it before they read it.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace img {

template <class T>
class AlignedArray {
 public:
  AlignedArray() = default;
  explicit AlignedArray(size_t count)
      : memory_(static_cast<T*>(::operator new(count * sizeof(T), kAlignment))), size_(count) {}

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
