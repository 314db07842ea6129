// The modes of BC6: what their bits mean, parsed while compiling.
#pragma once

#include <array>

#include "zelj.h"

namespace zelj::bc6 {

struct Mode {
  int baseBits;      // of c0
  int deltaBits[3];  // of c1, c2 and c3 in R, G, B
  bool transformed;  // c1, c2 and c3 are differences from c0
  const char* field; // what follows the mode's bits, up to the partition or the indices
};

// Ends c0 and c1 are those of subset 0, c2 and c3 of subset 1. A field is a channel, the number of the end, and its
// bits in the order of the block's bits: "R0.0-9" holds bits 0 to 9 of c0's red, lowest first, "R0.15-10" bits 15
// to 10. Modes 0 and 1 have two bits in front, the others five; modes 10 to 13 have one subset.
constexpr int kModeCount = 14, kFirstOneSubset = 10;
inline constexpr Mode kModes[kModeCount] = {
    {10,
     {5, 5, 5},
     true,
     "G2.4 B2.4 B3.4 R0.0-9 G0.0-9 B0.0-9 R1.0-4 G3.4 G2.0-3 G1.0-4 B3.0 G3.0-3 B1.0-4 B3.1 B2.0-3 "
     "R2.0-4 B3.2 R3.0-4 B3.3"},
    {7,
     {6, 6, 6},
     true,
     "G2.5 G3.4-5 R0.0-6 B3.0-1 B2.4 G0.0-6 B2.5 B3.2 G2.4 B0.0-6 B3.3 B3.5-4 R1.0-5 G2.0-3 G1.0-5 "
     "G3.0-3 B1.0-5 B2.0-3 R2.0-5 R3.0-5"},
    {11,
     {5, 4, 4},
     true,
     "R0.0-9 G0.0-9 B0.0-9 R1.0-4 R0.10 G2.0-3 G1.0-3 G0.10 B3.0 G3.0-3 B1.0-3 B0.10 B3.1 B2.0-3 "
     "R2.0-4 B3.2 R3.0-4 B3.3"},
    {11,
     {4, 5, 4},
     true,
     "R0.0-9 G0.0-9 B0.0-9 R1.0-3 R0.10 G3.4 G2.0-3 G1.0-4 G0.10 G3.0-3 B1.0-3 B0.10 B3.1 B2.0-3 "
     "R2.0-3 B3.0 B3.2 R3.0-3 G2.4 B3.3"},
    {11,
     {4, 4, 5},
     true,
     "R0.0-9 G0.0-9 B0.0-9 R1.0-3 R0.10 B2.4 G2.0-3 G1.0-3 G0.10 B3.0 G3.0-3 B1.0-4 B0.10 B2.0-3 "
     "R2.0-3 B3.1-2 R3.0-3 B3.4-3"},
    {9,
     {5, 5, 5},
     true,
     "R0.0-8 B2.4 G0.0-8 G2.4 B0.0-8 B3.4 R1.0-4 G3.4 G2.0-3 G1.0-4 B3.0 G3.0-3 B1.0-4 B3.1 B2.0-3 "
     "R2.0-4 B3.2 R3.0-4 B3.3"},
    {8,
     {6, 5, 5},
     true,
     "R0.0-7 G3.4 B2.4 G0.0-7 B3.2 G2.4 B0.0-7 B3.3-4 R1.0-5 G2.0-3 G1.0-4 B3.0 G3.0-3 B1.0-4 B3.1 "
     "B2.0-3 R2.0-5 R3.0-5"},
    {8,
     {5, 6, 5},
     true,
     "R0.0-7 B3.0 B2.4 G0.0-7 G2.5-4 B0.0-7 G3.5 B3.4 R1.0-4 G3.4 G2.0-3 G1.0-5 G3.0-3 B1.0-4 B3.1 "
     "B2.0-3 R2.0-4 B3.2 R3.0-4 B3.3"},
    {8,
     {5, 5, 6},
     true,
     "R0.0-7 B3.1 B2.4 G0.0-7 B2.5 G2.4 B0.0-7 B3.5-4 R1.0-4 G3.4 G2.0-3 G1.0-4 B3.0 G3.0-3 B1.0-5 "
     "B2.0-3 R2.0-4 B3.2 R3.0-4 B3.3"},
    {6,
     {6, 6, 6},
     false,
     "R0.0-5 G3.4 B3.0-1 B2.4 G0.0-5 G2.5 B2.5 B3.2 G2.4 B0.0-5 G3.5 B3.3 B3.5-4 R1.0-5 G2.0-3 "
     "G1.0-5 G3.0-3 B1.0-5 B2.0-3 R2.0-5 R3.0-5"},
    {10, {10, 10, 10}, false, "R0.0-9 G0.0-9 B0.0-9 R1.0-9 G1.0-9 B1.0-9"},
    {11, {9, 9, 9}, true, "R0.0-9 G0.0-9 B0.0-9 R1.0-8 R0.10 G1.0-8 G0.10 B1.0-8 B0.10"},
    {12, {8, 8, 8}, true, "R0.0-9 G0.0-9 B0.0-9 R1.0-7 R0.11-10 G1.0-7 G0.11-10 B1.0-7 B0.11-10"},
    {16, {4, 4, 4}, true, "R0.0-9 G0.0-9 B0.0-9 R1.0-3 R0.15-10 G1.0-3 G0.15-10 B1.0-3 B0.15-10"},
};

// Codes by the lowest five bits of a block; -1 for the reserved ones.
inline constexpr std::array<Zel8s, 32> kCodes{0, 1, 2, 10, 0, 1, 3, 11, 0, 1, 4, 12, 0, 1, 5, 13,
                                              0, 1, 6, -1, 0, 1, 7, -1, 0, 1, 8, -1, 0, 1, 9, -1};

// A run of block bits that goes, in its order, to one end's 64 bits, which hold R, G, B in 16 bits each.
struct Run {
  int from, count, end, to;
};
struct Runs {
  Run run[48];
  int count, blockBits;
};

constexpr Runs parse(int code) {
  Runs runs{};
  int at = code < 2 ? 2 : 5;
  const char* p = kModes[code].field;
  const auto number = [&] {
    int n = 0;
    for (; *p >= '0' && *p <= '9'; ++p) n = 10 * n + (*p - '0');
    return n;
  };
  while (*p) {
    const int channel = *p == 'R' ? 0 : *p == 'G' ? 1 : 2;
    const int end = p[1] - '0';
    p += 3;
    const int first = number(), last = *p == '-' ? (++p, number()) : first;
    if (first <= last) {
      runs.run[runs.count++] = {at, last - first + 1, end, 16 * channel + first};
      at += last - first + 1;
    } else {
      for (int bit = first; bit >= last; --bit) runs.run[runs.count++] = {at++, 1, end, 16 * channel + bit};
    }
    if (*p == ' ') ++p;
  }
  runs.blockBits = at;
  return runs;
}
template <int kCode>
inline constexpr Runs kRuns = parse(kCode);

// Every bit of every end is there once, and nothing but the partition stands before the indices.
constexpr bool isWhole(int code) {
  const Mode& mode = kModes[code];
  const Runs runs = parse(code);
  Zel64u seen[4] = {};
  for (int i = 0; i < runs.count; ++i) {
    const Run& r = runs.run[i];
    const Zel64u bits = ((Zel64u{1} << r.count) - 1) << r.to;
    if (seen[r.end] & bits) return false;
    seen[r.end] |= bits;
  }
  for (int end = 0; end < (code < kFirstOneSubset ? 4 : 2); ++end) {
    for (int c = 0; c < 3; ++c) {
      const int bits = end ? mode.deltaBits[c] : mode.baseBits;
      if ((seen[end] >> 16 * c & 0xFFFF) != (Zel64u{1} << bits) - 1) return false;
    }
  }
  return runs.blockBits == (code < kFirstOneSubset ? 77 : 65);
}
static_assert([] {
  for (int code = 0; code < kModeCount; ++code) {
    if (!isWhole(code)) return false;
  }
  return true;
}());

} // namespace zelj::bc6
