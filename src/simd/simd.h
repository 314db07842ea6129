// The vector vocabulary of the library: Google Highway for one fixed target, that of the compile flags, and the few
// operations on top of it that image kernels need and that it lacks. Kernels include this and no intrinsics header.
#pragma once

#include <hwy/highway.h>

#include "zelj.h"

namespace zelj {

namespace hn = hwy::HWY_NAMESPACE;

// Runs body(d, x) over the elements [0, count) of a row, with d a vector tag of T and x its first element: full
// vectors, of which the last moves back to end with the row; rows shorter than a vector take the next shorter one. An
// element may be computed twice, so source and destination must not overlap.
template <class T, size_t kLanes = HWY_LANES(T), class Body>
HWY_INLINE void forVectors(int count, Body body) {
  constexpr hn::CappedTag<T, kLanes> d;
  constexpr int n = static_cast<int>(kLanes);
  if (count >= n) {
    int x = 0;
    HWY_UNROLL(4)
    for (; x <= count - n; x += n) body(d, x);
    if (x < count) body(d, count - n);
  } else if constexpr (kLanes > 1) {
    forVectors<T, kLanes / 2>(count, body);
  }
}

} // namespace zelj
