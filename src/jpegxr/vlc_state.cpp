// The adaptive state of JPEG XR (ITU-T T.832): its tables of codes, their exchange as statistics drift, and the scan
// orders.
#include "jpegxr/vlc_state.h"

#include <algorithm>
#include <array>

#include "frame/checks.h"
#include "frame/implementations.h"

namespace zelj {
namespace {

template <size_t kSymbols, size_t kTables>
struct Codes {
  Codeword table[kTables][kSymbols];
};

constexpr Codes<5, 2> kCodes5{{{{1, 1}, {1, 2}, {1, 3}, {0, 4}, {1, 4}}, {{1, 1}, {0, 3}, {1, 3}, {2, 3}, {3, 3}}}};
constexpr Codes<6, 4> kCodes6{{{{1, 1}, {0, 5}, {1, 3}, {1, 5}, {1, 2}, {1, 4}},
                               {{1, 2}, {0, 4}, {2, 2}, {1, 4}, {3, 2}, {1, 3}},
                               {{0, 4}, {1, 4}, {1, 2}, {2, 2}, {3, 2}, {1, 3}},
                               {{0, 5}, {1, 5}, {1, 2}, {1, 1}, {1, 4}, {1, 3}}}};
constexpr Codes<7, 2> kCodes7{{{{1, 2}, {2, 2}, {3, 2}, {1, 3}, {1, 4}, {0, 5}, {1, 5}},
                               {{1, 1}, {1, 2}, {1, 3}, {1, 4}, {1, 5}, {0, 6}, {1, 6}}}};
constexpr Codes<12, 5> kCodes12{
    {{{1, 5}, {1, 6}, {0, 7}, {1, 7}, {4, 5}, {2, 3}, {5, 5}, {1, 1}, {6, 5}, {1, 4}, {7, 5}, {3, 3}},
     {{2, 4}, {2, 5}, {0, 6}, {1, 6}, {3, 4}, {2, 3}, {3, 5}, {3, 2}, {3, 3}, {4, 3}, {1, 5}, {5, 3}},
     {{3, 2}, {1, 3}, {0, 7}, {1, 7}, {1, 5}, {2, 3}, {2, 7}, {3, 3}, {4, 3}, {5, 3}, {3, 7}, {1, 4}},
     {{1, 3}, {3, 2}, {0, 7}, {1, 5}, {2, 5}, {2, 3}, {1, 7}, {3, 3}, {3, 5}, {4, 3}, {1, 6}, {5, 3}},
     {{2, 3}, {1, 1}, {1, 7}, {1, 4}, {2, 7}, {3, 3}, {0, 8}, {2, 4}, {3, 7}, {3, 4}, {1, 8}, {1, 5}}}};

constexpr Zel32s kDelta5[1][5] = {{0, -1, 0, 1, 1}};
constexpr Zel32s kDelta6[3][6] = {{-1, 1, 1, 1, 0, 1}, {-2, 0, 0, 2, 0, 0}, {-1, -1, 0, 1, -2, 0}};
constexpr Zel32s kDelta7[1][7] = {{1, 0, -1, -1, -1, -1, -1}};
constexpr Zel32s kDelta12[4][12] = {{1, 1, 1, 1, 1, 0, 0, -1, 2, 1, 0, 0},
                                    {2, 2, -1, -1, -1, 0, -2, -1, 0, 0, -2, -1},
                                    {-1, 1, 0, 2, 0, 0, 0, 0, -2, 0, 1, 1},
                                    {0, 1, 0, 1, -2, 0, -1, -1, -2, -1, -2, -2}};

// What the coders take for each table of an alphabet: symbols by number and by the bits that begin with them. Codes of
// more than five bits begin with five zeros and have eight bits at most.
constexpr size_t kShortLookups = 32, kLongLookups = 8;
template <size_t kSymbols, size_t kTables, size_t kRows>
struct Alphabet {
  SymbolCode code[kTables][kSymbols]{};
  SymbolLookup lookup[kTables][kShortLookups + kLongLookups]{};
  Zel32s delta[kRows][kSymbols]{};

  // With two scores each table is compared with both neighbours, and those at the ends with the one that they have.
  static constexpr size_t lowRow(size_t t) { return std::max<size_t>(std::min(t, kRows), 1) - 1; }
  static constexpr size_t highRow(size_t t) { return std::min(t, kRows - 1); }

  constexpr Alphabet(const Codes<kSymbols, kTables>& codes, const Zel32s (&steps)[kRows][kSymbols]) {
    for (size_t row = 0; row < kRows; ++row) std::copy(steps[row], steps[row] + kSymbols, delta[row]);
    for (size_t t = 0; t < kTables; ++t) {
      for (size_t symbol = 0; symbol < kSymbols; ++symbol) {
        const Codeword word = codes.table[t][symbol];
        const ScoreSteps scores{static_cast<Zel8s>(steps[lowRow(t)][symbol]),
                                static_cast<Zel8s>(kRows == 1 ? 0 : steps[highRow(t)][symbol])};
        code[t][symbol] = {word, scores};
        const bool isLong = word.length > 5;
        const int spare = (isLong ? 8 : 5) - word.length;
        for (size_t i = 0; i < size_t{1} << spare; ++i) {
          lookup[t][(isLong ? kShortLookups : 0) + (size_t{word.code} << spare) + i] = {static_cast<Zel8u>(symbol),
                                                                                        word.length, scores};
        }
      }
    }
  }
};

constexpr Alphabet kAlphabet5(kCodes5, kDelta5);
constexpr Alphabet kAlphabet6(kCodes6, kDelta6);
constexpr Alphabet kAlphabet7(kCodes7, kDelta7);
constexpr Alphabet kAlphabet12(kCodes12, kDelta12);

// Any bits begin with a code, so a damaged stream gives symbols as well, and with one alone: the codes fill all places,
// and no place is left for two.
template <size_t kSymbols, size_t kTables, size_t kRows>
constexpr bool isComplete(const Alphabet<kSymbols, kTables, kRows>& alphabet) {
  for (size_t t = 0; t < kTables; ++t) {
    int sum = 0;
    for (const SymbolCode& code : alphabet.code[t]) sum += 256 >> code.word.length;
    if (sum != 256) return false;
    const auto& table = alphabet.lookup[t];
    for (size_t bits = 0; bits < 256; ++bits) {
      if (table[bits >> 3].length == 0 && (bits >= kLongLookups || table[kShortLookups + bits].length == 0))
        return false;
    }
  }
  return true;
}
static_assert(isComplete(kAlphabet5) && isComplete(kAlphabet6) && isComplete(kAlphabet7) && isComplete(kAlphabet12));

constexpr Zel32s kSymbolCounts[kSlots] = {5, 4, 8, 7, 7, 12, 6, 6, 12, 6, 6, 7, 7, 12, 6, 6, 12, 6, 6, 7, 7};

constexpr Zel32s kThreshold = 8, kLimit = 64;
constexpr Zel32s kNeverBelow = -0x7FFFFFFF - 1, kNeverAbove = 0x40000000;

// Points a slot at the codes and increments of its table.
template <size_t kSymbols, size_t kTables, size_t kRows>
void pointAtTables(ZeliVLCState_JPEGXR& state, int s, const Alphabet<kSymbols, kTables, kRows>& alphabet) {
  const auto t = static_cast<size_t>(state.slot[s].tableIndex);
  state.codeTable[s] = alphabet.code[t];
  state.decodeTable[s] = alphabet.lookup[t];
  state.decodeTable1[s] = alphabet.lookup[t] + kShortLookups;
  state.delta[s] = alphabet.delta[alphabet.lowRow(t)];
  state.delta1[s] = kRows == 1 ? nullptr : alphabet.delta[alphabet.highRow(t)];
}

void adapt(ZeliVLCState_JPEGXR& state, int s) {
  AlphabetState& slot = state.slot[s];
  Zel32s &low = state.discriminant[s], &high = state.discriminant1[s];
  const int symbols = slot.symbolCount;
  const bool hasSecond = symbols == 6 || symbols == 12;
  const int tables = symbols == 6 ? 4 : symbols == 12 ? 5 : 2;
  if (!slot.initialised) {
    slot.initialised = 1;
    slot.tableIndex = hasSecond;
    low = high = 0;
  }
  const int step = low < slot.lowerBound ? -1 : (hasSecond ? high : low) > slot.upperBound ? 1 : 0;
  slot.tableIndex += step;
  low = step ? 0 : std::clamp(low, -kLimit, kLimit);
  high = step ? 0 : std::clamp(high, -kLimit, kLimit);
  slot.lowerBound = slot.tableIndex == 0 ? kNeverBelow : -kThreshold;
  slot.upperBound = slot.tableIndex == tables - 1 ? kNeverAbove : kThreshold;
  switch (symbols) {
    case 5:
      return pointAtTables(state, s, kAlphabet5);
    case 6:
      return pointAtTables(state, s, kAlphabet6);
    case 7:
      return pointAtTables(state, s, kAlphabet7);
    default:
      return pointAtTables(state, s, kAlphabet12);
  }
}

// The slots of the low-pass (0) or the high-pass bands (1). Slots 1 to 4 are in no coder's use.
void adaptBand(ZeliVLCState_JPEGXR& state, Zel32s band) {
  if (band == 0) adapt(state, 0);
  for (int s = band == 0 ? 5 : 13, end = s + 8; s < end; ++s) adapt(state, s);
}

struct Place {
  Zel8u index, x, y;
};
constexpr Place kOrder2[15] = {{1, 1, 0}, {4, 3, 0},  {5, 2, 0},  {2, 0, 1},  {8, 0, 3},
                               {6, 3, 1}, {9, 1, 3},  {3, 1, 1},  {12, 3, 3}, {10, 0, 2},
                               {7, 2, 1}, {13, 2, 3}, {11, 1, 2}, {14, 3, 2}, {15, 2, 2}};
constexpr Place kOrder1[15] = {{5, 2, 0},  {10, 0, 2}, {12, 3, 3}, {1, 1, 0},  {2, 0, 1},
                               {8, 0, 3},  {4, 3, 0},  {6, 3, 1},  {9, 1, 3},  {3, 1, 1},
                               {14, 3, 2}, {13, 2, 3}, {7, 2, 1},  {11, 1, 2}, {15, 2, 2}};
constexpr Place kOrder0[15] = {{10, 0, 2}, {2, 0, 1},  {12, 3, 3}, {5, 2, 0},  {9, 1, 3},
                               {4, 3, 0},  {8, 0, 3},  {1, 1, 0},  {13, 2, 3}, {6, 3, 1},
                               {15, 2, 2}, {14, 3, 2}, {3, 1, 1},  {11, 1, 2}, {7, 2, 1}};

// The counts stay as they are.
void setOrder(ScanEntry (&table)[16], const Place (&order)[15]) {
  table[0].index = table[0].x = table[0].y = 0;
  for (int i = 0; i < 15; ++i) {
    ScanEntry& entry = table[i + 1];
    entry.index = order[i].index;
    entry.x = order[i].x;
    entry.y = order[i].y;
  }
}

ScanEntry* scanTable(ZeliVLCState_JPEGXR& state, Zel32s which) {
  return which == 0 ? state.scanTable0 : which == 1 ? state.scanTable1 : state.scanTable2;
}

ZelStatus checkChoice(const void* pState, Zel32s which, Zel32u last) {
  if (!pState) return zelStatusNullPointer;
  return static_cast<Zel32u>(which) > last ? zelStatusBadArgument : zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownVLCGetStateSize_JPEGXR(Zel32u* pSize) {
  if (!pSize) return zelStatusNullPointer;
  *pSize = sizeof(ZeliVLCState_JPEGXR);
  return zelStatusOk;
}

ZelStatus ownVLCInit_JPEGXR(ZeliVLCState_JPEGXR* pState) {
  if (!pState) return zelStatusNullPointer;
  for (int s = 0; s < kSlots; ++s) {
    pState->slot[s] = {kSymbolCounts[s], 0, 0, 0, 0};
    pState->discriminant[s] = 0;
  }
  // The first pass settles the bounds; the second, with them, is the first adaptation of a fresh slot.
  for (int pass = 0; pass < 2; ++pass) {
    for (AlphabetState& slot : pState->slot) slot.initialised = 0;
    adaptBand(*pState, 0);
    adaptBand(*pState, 1);
  }
  pState->currentScan = pState->scanTable2;
  setOrder(pState->scanTable2, kOrder2);
  setOrder(pState->scanTable1, kOrder1);
  setOrder(pState->scanTable0, kOrder0);
  return zelStatusOk;
}

ZelStatus ownVLCAdapt_JPEGXR(ZeliVLCState_JPEGXR* pState, Zel32s which) {
  if (ZelStatus bad = checkChoice(pState, which, 1)) return bad;
  adaptBand(*pState, which);
  return zelStatusOk;
}

ZelStatus ownVLCScanReset_JPEGXR(ZeliVLCState_JPEGXR* pState, Zel32s which) {
  if (ZelStatus bad = checkChoice(pState, which, 2)) return bad;
  ScanEntry* table = scanTable(*pState, which);
  table[0].count = 32767; // no place overtakes it
  for (Zel32u i = 1; i < 16; ++i) table[i].count = 34 - 2 * i;
  return zelStatusOk;
}

ZelStatus ownVLCScanSet_JPEGXR(ZeliVLCState_JPEGXR* pState, Zel32s which) {
  if (ZelStatus bad = checkChoice(pState, which, 2)) return bad;
  pState->currentScan = scanTable(*pState, which);
  return zelStatusOk;
}
