// Kernels that are plain loops over rows, which the compiler turns into vectors: float arithmetic gets the full width
// of every level so, and a formula is scalar code written once.
#pragma once

#include <type_traits>

#include "zelj.h"

namespace zelj {

// A sample at any address: rows may begin at odd ones. Rows may hold floats where the caller sees integers.
template <class T>
struct [[gnu::packed, gnu::may_alias]] Sample {
  T v;
};

template <class T>
const Sample<T>* samples(const void* row) {
  return static_cast<const Sample<T>*>(row);
}
template <class T>
Sample<T>* samples(void* row) {
  return static_cast<Sample<T>*>(row);
}

// Stands before a loop none of whose iterations reads what another one writes. A row that is source and destination at
// once is fine if each element is read before it is written.
#ifdef __clang__
#define ZELJ_INDEPENDENT _Pragma("clang loop vectorize(assume_safety)")
#else
#define ZELJ_INDEPENDENT _Pragma("GCC ivdep")
#endif

// Sums that wrap: in 32 bits for 32-bit integers; 16-bit integers are added as int and cut where they are stored.
template <class A, class B>
constexpr auto add(A a, B b) {
  if constexpr (std::is_floating_point_v<decltype(a + b)>) {
    return a + b;
  } else {
    return static_cast<Zel32s>(static_cast<Zel32u>(a) + static_cast<Zel32u>(b));
  }
}
template <class A, class B>
constexpr auto subtract(A a, B b) {
  if constexpr (std::is_floating_point_v<decltype(a - b)>) {
    return a - b;
  } else {
    return static_cast<Zel32s>(static_cast<Zel32u>(a) - static_cast<Zel32u>(b));
  }
}
// A product that wraps in 32 bits.
constexpr Zel32s multiply(Zel32s a, Zel32s b) {
  return static_cast<Zel32s>(static_cast<Zel32u>(a) * static_cast<Zel32u>(b));
}

constexpr Zel16s saturate16(Zel64s v) {
  return static_cast<Zel16s>(v < -32768 ? -32768 : v > 32767 ? 32767 : v);
}
constexpr Zel16s saturate16(Zel32s v) {
  return static_cast<Zel16s>(v < -32768 ? -32768 : v > 32767 ? 32767 : v);
}

} // namespace zelj
