// The compiler's own vectors, for steps that are written once for numbers and for vectors of them.
#pragma once

#include <cstring>

#include "zelj.h"

namespace jpegxr {

typedef Zel32s Four __attribute__((vector_size(16)));
typedef Zel8u Sixteen __attribute__((vector_size(16)));

template <class V>
inline V load(const void* p) {
  V v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
template <class V>
inline void store(V v, void* p) {
  std::memcpy(p, &v, sizeof v);
}

inline Four magnitudes(Four v) {
  const Four sign = v >> 31;
  return (v ^ sign) - sign;
}

} // namespace jpegxr
