// Eight bytes of a stream at once, at any address.
#pragma once

#include <bit>
#include <cstring>

#include "zelj.h"

namespace zelj {

inline Zel64u loadBigEndian64(const Zel8u* p) {
  Zel64u value;
  std::memcpy(&value, p, sizeof value);
  return std::endian::native == std::endian::little ? __builtin_bswap64(value) : value;
}

inline void storeBigEndian64(Zel64u value, Zel8u* p) {
  if constexpr (std::endian::native == std::endian::little) value = __builtin_bswap64(value);
  std::memcpy(p, &value, sizeof value);
}

} // namespace zelj
