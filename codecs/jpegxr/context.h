// What coding a tile adapts and remembers from macroblock to macroblock, in both directions.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <vector>

#include "jpegxr/bit_stream.h"
#include "jpegxr/header.h"

namespace jpegxr {

inline constexpr AlphabetTables<5> kTables5{
    {Codes<5>({{{1, 1}, {1, 2}, {1, 3}, {0, 4}, {1, 4}}}), Codes<5>({{{1, 1}, {0, 3}, {1, 3}, {2, 3}, {3, 3}}})},
    {0, -1, 0, 1, 1}};
inline constexpr AlphabetTables<7> kTables7{{Codes<7>({{{1, 2}, {2, 2}, {3, 2}, {1, 3}, {1, 4}, {0, 5}, {1, 5}}}),
                                             Codes<7>({{{1, 1}, {1, 2}, {1, 3}, {1, 4}, {1, 5}, {0, 6}, {1, 6}}})},
                                            {1, 0, -1, -1, -1, -1, -1}};
inline constexpr AlphabetTables<9> kTables9{
    {Codes<9>({{{2, 3}, {0, 5}, {2, 4}, {1, 5}, {2, 5}, {1, 1}, {3, 3}, {3, 5}, {3, 4}}}),
     Codes<9>({{{1, 1}, {1, 3}, {2, 3}, {1, 4}, {1, 6}, {3, 3}, {1, 5}, {0, 7}, {1, 7}}})},
    {2, 2, 1, 1, -1, -2, -2, -2, -3}};
inline constexpr Codes<4> kCodes4({{{1, 1}, {1, 2}, {0, 3}, {1, 3}}}); // ones of a pattern of chroma
inline constexpr Codes<8> kCodes8({{{2, 2}, {1, 3}, {1, 5}, {1, 4}, {3, 2}, {2, 3}, {0, 5}, {3, 3}}}); // DCs not 0
inline constexpr Codes<3> kCodes3({{{1, 1}, {1, 2}, {0, 2}}});

// Where the transforms leave the coefficient of frequency k.
struct Place {
  Zel8u x, y;
};
inline constexpr Place kPlaceOf[16] = {{0, 0}, {2, 0}, {1, 0}, {3, 1}, {0, 2}, {3, 3}, {0, 3}, {3, 2},
                                       {0, 1}, {3, 0}, {1, 1}, {2, 1}, {1, 3}, {2, 3}, {1, 2}, {2, 2}};

// Blocks of a 16x16 component in the order of their numbers; of a chroma component of 4:2:0 the first four.
inline constexpr Place kBlock[16] = {{0, 0}, {1, 0}, {0, 1}, {1, 1}, {2, 0}, {3, 0}, {2, 1}, {3, 1},
                                     {0, 2}, {1, 2}, {0, 3}, {1, 3}, {2, 2}, {3, 2}, {2, 3}, {3, 3}};

// How many low bits of coefficients are left to fixed-length codes: luma, chroma.
struct ModelBits {
  Zel32u bits[2];
  int state[2] = {0, 0};

  void update(int luma, int chroma, bool hasChroma) {
    const int count[2] = {luma, chroma};
    for (int j = 0; j <= int{hasChroma}; ++j) {
      int t = (count[j] - 70) >> 2;
      if (t <= -8) {
        state[j] += std::max(t + 4, -16);
        if (state[j] < -8) {
          state[j] = bits[j] == 0 ? -8 : 0;
          if (bits[j] > 0) --bits[j];
        }
      } else if (t >= 8) {
        state[j] += std::min(t - 4, 15);
        if (state[j] > 8) {
          state[j] = bits[j] >= 15 ? 8 : 0;
          if (bits[j] < 15) ++bits[j];
        }
      }
    }
  }
};

// How the pattern of coded blocks is told: as a difference from what neighbours say, as it is, or inverted.
struct PatternModel {
  int few = -4, many = 4, state = 0;

  void update(int ones) {
    few = std::clamp(few + ones - 3, -16, 15);
    many = std::clamp(many + 13 - ones, -16, 15);
    state = few < 0 && few < many ? 1 : few < 0 || many < 0 ? 2 : 0;
  }
};

// Which groups of low-pass components have pairs.
struct PresenceModel {
  int all = 1, none = 1;

  bool usesPrefix() const { return none <= 0 || all < 0; }
  bool inverts() const { return all < none; }
  void update(Zel32u pattern, Zel32u full) {
    all = std::clamp(all + 1 - 4 * (pattern == full), -8, 7);
    none = std::clamp(none + 1 - 4 * (pattern == 0), -8, 7);
  }
};

// The quantised values of the second stage of a macroblock, by component and frequency; four of them in chroma of
// 4:2:0.
struct Levels {
  Zel32s q[3][16];
};

enum DcMode { kFromLeft = 0, kFromAbove = 1, kFromBoth = 2, kFromNone = 3 };
enum HpMode { kHpNone, kHpFromAbove, kHpFromLeft };

// The model and memory of a tile.
struct Context {
  Header header;
  alignas(8) Zel8u vlcMemory[2208] = {};
  Alphabet<7> dcLevel[2]{Alphabet<7>(kTables7), Alphabet<7>(kTables7)};
  Alphabet<5> patternCount{kTables5}, blocksGrey{kTables5};
  Alphabet<9> blocksColour{kTables9};
  ModelBits dcBits{{8, 8}}, lpBits{{4, 4}}, hpBits{{0, 0}};
  PatternModel patterns[2];
  PresenceModel presence;
  std::vector<Levels> above;                        // of the row above, and of this one as far as it has come
  Levels aboveLeft;                                 // what `above` held to the left
  std::vector<std::array<Zel32u, 3>> patternsAbove; // likewise, the patterns of coded blocks
  Zel32u trim = 0;

  explicit Context(const Header& h)
      : header(h), above(static_cast<size_t>(h.columns())), patternsAbove(static_cast<size_t>(h.columns())) {
    zeliVLCInit_JPEGXR(vlc());
    for (const Zel32s which : {0, 1, 2}) zeliVLCScanReset_JPEGXR(vlc(), which);
  }

  ZeliVLCState_JPEGXR* vlc() { return reinterpret_cast<ZeliVLCState_JPEGXR*>(vlcMemory); }
  bool isGrey() const { return header.inner == Inner::yOnly; }
  bool isHalved(int component) const { return component > 0 && header.inner == Inner::yuv420; }
  int blocksOf(int component) const { return isHalved(component) ? 4 : 16; }
  bool restarts(int mx) const { return mx % 16 == 0; }
  bool adapts(int mx) const { return restarts(mx) || mx == header.columns() - 1; }

  void adaptDcAlphabets() {
    for (Alphabet<7>& alphabet : dcLevel) alphabet.adapt();
  }
  void adaptHpAlphabets() {
    zeliVLCAdapt_JPEGXR(vlc(), 1);
    patternCount.adapt();
    blocksGrey.adapt();
    blocksColour.adapt();
  }
  void updateDc(int luma, int chroma) { dcBits.update(luma * 240, chroma * 120, !isGrey()); }
  void updateLp(int luma, int chroma) {
    lpBits.update(luma * 12, chroma * (header.inner == Inner::yuv420 ? 37 : 6), !isGrey());
  }
  void updateHp(int luma, int chroma) {
    hpBits.update(luma, header.inner == Inner::yuv420 ? chroma * 2 : chroma * 8 >> 4, !isGrey());
  }

  DcMode dcMode(int mx, int my) const {
    if (mx == 0) return my == 0 ? kFromNone : kFromAbove;
    if (my == 0) return kFromLeft;
    const Levels &left = above[static_cast<size_t>(mx) - 1], &top = above[static_cast<size_t>(mx)];
    const Zel64s weight = isGrey() ? 1 : header.inner == Inner::yuv444 ? 2 : 8;
    Zel64s horizontal = 0, vertical = 0;
    for (int c = 0; c < header.components(); ++c) {
      const Zel64s corner = aboveLeft.q[c][0], factor = c == 0 ? weight : 1;
      horizontal += factor * std::abs(corner - left.q[c][0]);
      vertical += factor * std::abs(corner - top.q[c][0]);
    }
    return 4 * horizontal < vertical ? kFromAbove : 4 * vertical < horizontal ? kFromLeft : kFromBoth;
  }

  // Adds what neighbours predict (kSign = 1) or takes it away (-1).
  template <int kSign>
  void predict(Levels& levels, DcMode mode, int mx) const {
    if (mode == kFromNone) return;
    const Levels& left = above[static_cast<size_t>(mx > 0 ? mx - 1 : 0)];
    const Levels& top = above[static_cast<size_t>(mx)];
    const auto add = [](Zel32s& to, Zel32s value) {
      to = static_cast<Zel32s>(static_cast<Zel32u>(to) + static_cast<Zel32u>(kSign) * static_cast<Zel32u>(value));
    };
    for (int c = 0; c < header.components(); ++c) {
      Zel32s* q = levels.q[c];
      const bool halved = isHalved(c);
      if (mode == kFromBoth) {
        add(q[0], static_cast<Zel32s>((Zel64s{left.q[c][0]} + top.q[c][0] + halved) >> 1));
        continue;
      }
      const Zel32s* from = mode == kFromLeft ? left.q[c] : top.q[c];
      add(q[0], from[0]);
      for (int i = 1; i <= (halved ? 1 : 3); ++i) {
        const int k = mode == kFromLeft ? i : halved ? 2 : 4 * i;
        add(q[k], from[k]);
      }
    }
  }

  HpMode hpMode(const Levels& levels) const {
    const auto sum = [&](int c, std::initializer_list<int> ks) {
      Zel64s total = 0;
      for (const int k : ks) total += std::abs(Zel64s{levels.q[c][k]});
      return total;
    };
    Zel64s horizontal = sum(0, {1, 2, 3}), vertical = sum(0, {4, 8, 12});
    for (int c = 1; c < header.components(); ++c) {
      horizontal += sum(c, {1});
      vertical += sum(c, {isHalved(c) ? 2 : 4});
    }
    return 4 * horizontal < vertical ? kHpFromAbove : 4 * vertical < horizontal ? kHpFromLeft : kHpNone;
  }

  void remember(const Levels& levels, int mx) {
    aboveLeft = above[static_cast<size_t>(mx)];
    above[static_cast<size_t>(mx)] = levels;
  }

  // The bit that predicts the first one of a pattern.
  Zel32u patternFromNeighbours(int component, int mx, int my) const {
    const auto c = static_cast<size_t>(component);
    const bool halved = isHalved(component);
    if (mx > 0) return patternsAbove[static_cast<size_t>(mx) - 1][c] >> (halved ? 1 : 5) & 1;
    return my > 0 ? patternsAbove[0][c] >> (halved ? 2 : 10) & 1 : 1;
  }
};

// Which bit of a pattern predicts each; in the order in which they can be undone.
struct PatternStep {
  Zel8u bit, from;
};
inline constexpr PatternStep kPatternSteps[15] = {{1, 0}, {4, 1},  {5, 4},  {2, 0},  {3, 1},  {6, 4},   {7, 5},  {8, 2},
                                                  {9, 3}, {12, 6}, {13, 7}, {10, 8}, {11, 9}, {14, 12}, {15, 13}};
inline constexpr PatternStep kHalvedPatternSteps[3] = {{1, 0}, {2, 0}, {3, 1}};

// Classes of the four bits of luma in a quadrant, and their members.
inline constexpr Zel8u kClassMembers[6][4] = {{0}, {1, 2, 4, 8}, {3, 12}, {5, 6, 9, 10}, {7, 11, 13, 14}, {15}};
inline constexpr Zel8u kClassBits[6] = {0, 2, 1, 2, 2, 0};

// The places of two ones among four bits.
inline constexpr Zel8u kPairs[6] = {3, 5, 6, 9, 10, 12};
inline constexpr Code kPairCodes[6] = {{0, 2}, {1, 2}, {4, 3}, {5, 3}, {6, 3}, {7, 3}};

} // namespace jpegxr
