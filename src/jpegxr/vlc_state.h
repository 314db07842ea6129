// The adaptive state of a JPEG XR tile: alphabets with the tables in force, and scan orders. Its fields are part of the
// interface: callers provide the memory, and codecs reach into the scan tables.
#pragma once

#include <cstddef>

#include "zelj.h"

namespace zelj {

struct Codeword {
  Zel8u code; // right-aligned
  Zel8u length;
};

// What a symbol adds to the scores of its alphabet: against the table below the one in force and the one above.
struct ScoreSteps {
  Zel8s low, high;
};

// A symbol to be written, and the one that begins the next bits, with length 0 for a code of more than five bits.
struct SymbolCode {
  Codeword word;
  ScoreSteps steps;
};
struct SymbolLookup {
  Zel8u symbol;
  Zel8u length;
  ScoreSteps steps;
};

struct ScanEntry {
  Zel32u count; // how often the place held a significant value since the last reset
  Zel32u index; // number of the place in the 16-value order of the transform
  Zel32u x, y;
};

struct AlphabetState {
  Zel32s symbolCount, tableIndex, initialised, upperBound, lowerBound;
};

constexpr int kSlots = 21;

// The slots of alphabets. Chroma's first and index slots are kChromaSlots further on.
constexpr Zel32u kChromaSlots = 3;
struct SlotsOf {
  Zel32u first, index, level; // of 12 symbols, two of 6, two of 7
};
constexpr SlotsOf kLowPassSlots{5, 6, 11}, kHighPassSlots{13, 14, 19};

} // namespace zelj

struct ZeliVLCState_JPEGXR {
  zelj::ScanEntry* currentScan;
  const zelj::SymbolCode* codeTable[zelj::kSlots];
  const Zel32s* delta[zelj::kSlots];                    // what a symbol adds to the discriminant
  const Zel32s* delta1[zelj::kSlots];                   // and to the second one, in alphabets of 6 and of 12
  const zelj::SymbolLookup* decodeTable[zelj::kSlots];  // by the next five bits
  const zelj::SymbolLookup* decodeTable1[zelj::kSlots]; // by the next eight bits, of which five are 0
  zelj::AlphabetState slot[zelj::kSlots];
  Zel32s discriminant[zelj::kSlots];  // score of the table in force against the one below
  Zel32s discriminant1[zelj::kSlots]; // against the one above
  zelj::ScanEntry scanTable2[16];     // low-pass
  zelj::ScanEntry scanTable1[16];     // high-pass
  zelj::ScanEntry scanTable0[16];     // high-pass of blocks predicted from above
};

static_assert(offsetof(ZeliVLCState_JPEGXR, currentScan) == 0 && offsetof(ZeliVLCState_JPEGXR, codeTable) == 8);
static_assert(offsetof(ZeliVLCState_JPEGXR, delta) == 176 && offsetof(ZeliVLCState_JPEGXR, delta1) == 344);
static_assert(offsetof(ZeliVLCState_JPEGXR, decodeTable) == 512 && offsetof(ZeliVLCState_JPEGXR, decodeTable1) == 680);
static_assert(offsetof(ZeliVLCState_JPEGXR, slot) == 848 && sizeof(zelj::AlphabetState) == 20);
static_assert(offsetof(ZeliVLCState_JPEGXR, discriminant) == 1268 &&
              offsetof(ZeliVLCState_JPEGXR, discriminant1) == 1352);
static_assert(offsetof(ZeliVLCState_JPEGXR, scanTable2) == 1436 && offsetof(ZeliVLCState_JPEGXR, scanTable1) == 1692 &&
              offsetof(ZeliVLCState_JPEGXR, scanTable0) == 1948 && sizeof(zelj::ScanEntry) == 16);
static_assert(sizeof(ZeliVLCState_JPEGXR) == 2208);

namespace zelj {

// Counts a significant value at a place of a scan; a place that overtakes the one in front changes places with it.
inline void countPlace(ScanEntry* entry) {
  if (++entry->count > entry[-1].count) {
    const ScanEntry front = entry[-1];
    entry[-1] = *entry;
    *entry = front;
  }
}

} // namespace zelj
