// Rows of regions: where they begin, and how the plane functions share them out over threads.
#pragma once

#include <type_traits>

#include "zelcore.h"
#include "zelj.h"

namespace zelj {

// Start of row y. Steps are bytes and may be negative or zero, and y * step may leave 32 bits.
template <class T>
T* row(T* base, int step, int y) {
  using Byte = std::conditional_t<std::is_const_v<T>, const char*, char*>;
  return reinterpret_cast<T*>(reinterpret_cast<Byte>(base) + Zel64s{y} * step);
}

// Opening a parallel region costs microseconds: smaller regions are done sooner by one thread.
constexpr Zel32s kParallelPixels = 8193;

// Calls f(y) for all rows of a region: in order on the calling thread below kParallelPixels, else on all threads with a
// contiguous run of rows each. The area wraps in 32 bits; a negative one counts as small.
template <class F>
void forRows(ZeliSize size, F f) {
  const auto area = static_cast<Zel32s>(static_cast<Zel32u>(size.width) * static_cast<Zel32u>(size.height));
  const int threads = area < kParallelPixels ? 1 : ownGetNumThreads();
  if (threads == 1) {
    for (int y = 0; y < size.height; ++y) f(y);
    return;
  }
#pragma omp parallel for schedule(static) num_threads(threads)
  for (int y = 0; y < size.height; ++y) f(y);
}

} // namespace zelj
