// What both directions of the run/level coding of JPEG XR share: the block's shape, runs and large levels.
#pragma once

#include <array>

#include "jpegxr/vlc_state.h"

namespace zelj {

// A coefficient and the number of places skipped in front of it.
struct RunLevel {
  Zel32s run, level;
};

// Places of a scan behind the DC, and the slots of a component.
struct BlockShape {
  int maxRun;
  Zel32u first, index, level;

  BlockShape(int longest, SlotsOf slots, Zel32u chroma)
      : maxRun(longest),
        first(slots.first + kChromaSlots * chroma),
        index(slots.index + kChromaSlots * chroma),
        level(slots.level) {}
};
constexpr int kMaxRun = 14, kMaxRun422 = 13, kMaxRun420 = 5;

// What follows a pair, as symbols tell it.
enum Next : Zel32u { kLast, kAdjacent, kBehindRun };

// A pair on the last place but one has codes of its own: by symbol (0: small and last, 1: large and last, 2: small, 3:
// large).
constexpr Codeword kLastButOne[4] = {{0, 1}, {6, 3}, {2, 2}, {7, 3}};

// A magnitude of 2 and more, less 2: a symbol of an alphabet of 7 and some low bits; from 16 up the symbol kEscape.
constexpr Zel8u kLevelBase[6] = {0, 1, 2, 4, 8, 12}, kLevelBits[7] = {0, 0, 1, 2, 2, 2, 0};
constexpr Zel32u kEscape = 6, kFirstEscaped = 16;

// Codes of a run of 1 to m places, where there are m: a truncated unary code up to m = 4, behind that a symbol of the
// first table of five symbols and the low bits of run + 1.
struct RunCodes {
  Codeword code[16][16]; // by m and run

  constexpr RunCodes() : code{} {
    constexpr Codeword kSymbol[5] = {{1, 1}, {1, 2}, {1, 3}, {0, 4}, {1, 4}};
    constexpr Zel8u kSymbolOfRun[2][14] = {{0, 1, 2, 2, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4}, {0, 1, 2, 3, 4, 4}};
    for (int m = 2; m <= kMaxRun; ++m) {
      for (int run = 1; run <= m; ++run) {
        Codeword& word = code[m][run];
        if (m < 5) {
          word = {static_cast<Zel8u>(run != m), static_cast<Zel8u>(run == m ? m - 1 : run)};
          continue;
        }
        const Zel8u symbol = kSymbolOfRun[m < 7][run - 1];
        const int longest = m < 7 ? 1 : m < 11 ? 2 : 3;
        const int bits = symbol == 4 ? longest : symbol >= 2 && m >= 7 ? 1 : 0;
        word = {static_cast<Zel8u>(kSymbol[symbol].code << bits | ((run + 1) & ((1 << bits) - 1))),
                static_cast<Zel8u>(kSymbol[symbol].length + bits)};
      }
    }
  }
};
inline constexpr RunCodes kRunCodes;

} // namespace zelj
