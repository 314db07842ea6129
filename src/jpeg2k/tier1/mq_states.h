// The probability estimation of the MQ coder (ISO/IEC 15444-1 Table C.2) and the contexts of code-blocks (Table D.7),
// in the form that encoder and decoder share: the state of a context is one word with all that a decision needs.
#pragma once

#include <array>

#include "zelj.h"

namespace zelj {

// State of a context, with what its decisions need at hand: eight bytes, moved as one word.
struct alignas(8) MqState {
  Zel16u place; // of what follows, in kMqStates
  Zel8u lps;    // the less probable symbol
  Zel8u unused[3];
  Zel16u qe;
};

constexpr size_t kMqRows = 47;

using MqStates = std::array<MqState, 6 * kMqRows>;

constexpr size_t placeOf(size_t row, size_t mps) {
  return 3 * (2 * row + mps);
}

constexpr MqStates makeMqStates() {
  constexpr struct {
    Zel16u qe;
    Zel8u onMps, onLps, flips; // flips: an LPS exchanges the sense of the MPS
  } kRows[kMqRows] = {
      {0x5601, 1, 1, 1},   {0x3401, 2, 6, 0},   {0x1801, 3, 9, 0},   {0x0AC1, 4, 12, 0},  {0x0521, 5, 29, 0},
      {0x0221, 38, 33, 0}, {0x5601, 7, 6, 1},   {0x5401, 8, 14, 0},  {0x4801, 9, 14, 0},  {0x3801, 10, 14, 0},
      {0x3001, 11, 17, 0}, {0x2401, 12, 18, 0}, {0x1C01, 13, 20, 0}, {0x1601, 29, 21, 0}, {0x5601, 15, 14, 1},
      {0x5401, 16, 14, 0}, {0x5101, 17, 15, 0}, {0x4801, 18, 16, 0}, {0x3801, 19, 17, 0}, {0x3401, 20, 18, 0},
      {0x3001, 21, 19, 0}, {0x2801, 22, 19, 0}, {0x2401, 23, 20, 0}, {0x2201, 24, 21, 0}, {0x1C01, 25, 22, 0},
      {0x1801, 26, 23, 0}, {0x1601, 27, 24, 0}, {0x1401, 28, 25, 0}, {0x1201, 29, 26, 0}, {0x1101, 30, 27, 0},
      {0x0AC1, 31, 28, 0}, {0x09C1, 32, 29, 0}, {0x08A1, 33, 30, 0}, {0x0521, 34, 31, 0}, {0x0441, 35, 32, 0},
      {0x02A1, 36, 33, 0}, {0x0221, 37, 34, 0}, {0x0141, 38, 35, 0}, {0x0111, 39, 36, 0}, {0x0085, 40, 37, 0},
      {0x0049, 41, 38, 0}, {0x0025, 42, 39, 0}, {0x0015, 43, 40, 0}, {0x0009, 44, 41, 0}, {0x0005, 45, 42, 0},
      {0x0001, 45, 43, 0}, {0x5601, 46, 46, 0},
  };
  const auto state = [&](size_t row, size_t mps) {
    return MqState{static_cast<Zel16u>(placeOf(row, mps)), static_cast<Zel8u>(1 - mps), {}, kRows[row].qe};
  };
  MqStates states{};
  for (size_t row = 0; row < kMqRows; ++row) {
    for (size_t mps = 0; mps < 2; ++mps) {
      const auto& r = kRows[row];
      MqState* at = &states[placeOf(row, mps)];
      at[0] = state(r.onLps, mps ^ r.flips);
      at[1] = state(r.onMps, mps);
      at[2] = state(row, mps);
    }
  }
  return states;
}

// For each row of the table and either sense of the MPS three states: that behind an LPS, that behind an MPS, and its
// own, in which an MPS leaves it that needs no renormalisation.
inline constexpr MqStates kMqStates = makeMqStates();

constexpr MqState stateOfRow(size_t row) {
  return kMqStates[placeOf(row, 0) + 2];
}

// All ones, or none; hidden from the compiler, which would make a branch of it.
[[gnu::always_inline]] inline Zel64u maskOf(bool condition) {
  Zel64u mask = -Zel64u{condition};
  asm("" : "+r"(mask));
  return mask;
}

// Contexts are numbered so that their bits are cheap to form: the nine of zero coding from 0, the five of sign coding
// from kSignContext and the three of refinement from kRefinementContext.
constexpr Zel32u kRunContext = 9;
constexpr Zel32u kUniformContext = 10;
constexpr Zel32u kSignContext = 16;
constexpr Zel32u kRefinementContext = 24;
constexpr size_t kContexts = 27;

struct MqContexts {
  MqState states[kContexts];

  void reset() {
    for (MqState& state : states) state = stateOfRow(0);
    states[0] = stateOfRow(4);
    states[kRunContext] = stateOfRow(3);
    states[kUniformContext] = stateOfRow(46);
  }
};

} // namespace zelj
