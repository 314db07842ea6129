// Operands for tests: regions of rows in guarded memory, whose gaps are checked.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "support/guarded_memory.h"

namespace zelj::test {

// A region of height rows of width elements, step bytes apart; the last row ends at the guard page (or the first begins
// at it). Elements may lie at odd addresses, so they are reached by get and set.
template <class T>
class Region {
 public:
  Region(int width, int height, int step = 0, Edge edge = Edge::end)
      : width_(width),
        height_(height),
        step_(step ? step : width * static_cast<int>(sizeof(T))),
        memory_(static_cast<size_t>(step_) * static_cast<size_t>(height - 1) + static_cast<size_t>(width) * sizeof(T),
                edge) {}

  T* data() const { return reinterpret_cast<T*>(memory_.data()); }
  int step() const { return step_; }
  int width() const { return width_; }
  int height() const { return height_; }

  T get(int x, int y = 0) const {
    T value;
    std::memcpy(&value, at(x, y), sizeof value);
    return value;
  }
  void set(int x, int y, T value) { std::memcpy(at(x, y), &value, sizeof value); }

  // Sets every element to make(x, y).
  template <class F>
  void fill(F make) {
    for (int y = 0; y < height_; ++y) {
      for (int x = 0; x < width_; ++x) set(x, y, static_cast<T>(make(x, y)));
    }
  }

  // Whether the bytes between the rows are as they were made.
  bool gapsUntouched() const {
    for (int y = 0; y + 1 < height_; ++y) {
      const uint8_t* row = memory_.data() + static_cast<ptrdiff_t>(y) * step_;
      for (int i = width_ * static_cast<int>(sizeof(T)); i < step_; ++i) {
        if (row[i] != GuardedMemory::kFill) return false;
      }
    }
    return true;
  }

 private:
  uint8_t* at(int x, int y) const {
    return memory_.data() + static_cast<ptrdiff_t>(y) * step_ + static_cast<ptrdiff_t>(x) * static_cast<int>(sizeof(T));
  }

  int width_, height_, step_;
  GuardedMemory memory_;
};

// Fails with the first element of `actual` that is not expected(x, y), and for bytes written between the rows.
template <class T, class F>
testing::AssertionResult equals(const Region<T>& actual, F expected) {
  for (int y = 0; y < actual.height(); ++y) {
    for (int x = 0; x < actual.width(); ++x) {
      const T want = static_cast<T>(expected(x, y));
      if (actual.get(x, y) != want) {
        return testing::AssertionFailure() << "at x " << x << ", y " << y << " of " << actual.width() << " x "
                                           << actual.height() << ": " << +actual.get(x, y) << " instead of " << +want;
      }
    }
  }
  if (!actual.gapsUntouched()) return testing::AssertionFailure() << "bytes between rows were written";
  return testing::AssertionSuccess();
}

} // namespace zelj::test
