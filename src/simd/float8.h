// Eight floats as one value of the compiler's own vector type, which works at every level at its full width: operators
// act on each element, and a comparison chooses between vectors.
#pragma once

#include <cstring>

#include "zelj.h"

namespace zelj {

using Float8 = Zel32f __attribute__((vector_size(32)));
using Int8 = Zel32s __attribute__((vector_size(32)));
using Short8 = Zel16s __attribute__((vector_size(16)));

inline Float8 min(Float8 a, Float8 b) {
  return a < b ? a : b;
}
inline Float8 max(Float8 a, Float8 b) {
  return a > b ? a : b;
}

template <class V>
inline V loadVector(const void* p) {
  V v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
template <class V>
inline void storeVector(V v, void* p) {
  std::memcpy(p, &v, sizeof v);
}

// Rows become columns.
inline void transpose(Float8 (&x)[8]) {
  Float8 t[8];
  for (int i = 0; i < 8; i += 2) { // 2x2 within 128-bit halves
    t[i] = __builtin_shufflevector(x[i], x[i + 1], 0, 8, 2, 10, 4, 12, 6, 14);
    t[i + 1] = __builtin_shufflevector(x[i], x[i + 1], 1, 9, 3, 11, 5, 13, 7, 15);
  }
  for (int i = 0; i < 8; i += 4) { // 4x4
    for (int k = i; k < i + 2; ++k) {
      x[k] = __builtin_shufflevector(t[k], t[k + 2], 0, 1, 8, 9, 4, 5, 12, 13);
      x[k + 2] = __builtin_shufflevector(t[k], t[k + 2], 2, 3, 10, 11, 6, 7, 14, 15);
    }
  }
  for (int i = 0; i < 4; ++i) {
    const Float8 a = x[i], b = x[i + 4];
    x[i] = __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11);
    x[i + 4] = __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15);
  }
}

} // namespace zelj
