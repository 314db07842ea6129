// The zig-zag order of ITU T.81 Figure A.6.
#pragma once

#include <array>
#include <cstddef>

#include "zelj.h"

namespace zelj {

// Natural index (8 v + u) of each position of the zig-zag sequence. The walk along the anti-diagonals: odd ones go down
// and to the left, even ones up and to the right.
constexpr std::array<Zel8u, 64> kNaturalOfZigzag = [] {
  std::array<Zel8u, 64> natural{};
  size_t position = 0;
  for (int diagonal = 0; diagonal < 15; ++diagonal) {
    for (int i = 0; i <= diagonal; ++i) {
      const int v = diagonal % 2 ? i : diagonal - i, u = diagonal - v;
      if (v < 8 && u < 8) natural[position++] = static_cast<Zel8u>(8 * v + u);
    }
  }
  return natural;
}();
static_assert(kNaturalOfZigzag[1] == 1 && kNaturalOfZigzag[2] == 8 && kNaturalOfZigzag[5] == 2);

} // namespace zelj
