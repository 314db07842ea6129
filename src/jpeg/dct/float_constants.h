// Constants of the single-precision transforms for 12-bit samples.
#pragma once

#include "simd/float8.h"

namespace zelj {

constexpr Zel32f kFloatTan1 = 0.19891237f; // tan(pi / 16)
constexpr Zel32f kFloatTan2 = 0.41421357f; // tan(2 pi / 16)
constexpr Zel32f kFloatTan3 = 0.66817862f; // tan(3 pi / 16)
constexpr Zel32f kFloatCos4 = 0.70710677f; // cos(pi / 4)

// What the transforms leave out of the coefficients: f(v) f(u) / 8.
struct FloatScale {
  alignas(32) Zel32f rows[8][8];
};
constexpr FloatScale kFloatScale = [] {
  constexpr double f[8] = {1, 1.38703985, 1.30656296, 1.17587560, 1, 1.17587560, 1.30656296, 1.38703985};
  FloatScale scale{};
  for (int v = 0; v < 8; ++v) {
    for (int u = 0; u < 8; ++u) scale.rows[v][u] = static_cast<Zel32f>(f[v] * f[u] / 8);
  }
  return scale;
}();

} // namespace zelj
