// The four records that callers hold between calls. Their sizes and fields are part of the interface: callers provide
// the memory, and records live across calls of all entropy coders.
#pragma once

#include <cstddef>

#include "zelj.h"

// The tables of one Huffman code for decoding. Indices of the last three are code lengths; 0 and 17 are no lengths.
struct ZeliDecodeHuffmanSpec {
  Zel16u huffValues[256]; // symbols in code order
  Zel32u fastLookup[256]; // by the next 8 bits: length << 16 | symbol; 0: no code of at most 8 bits begins so
  Zel16u minCode[18];     // smallest code of each length
  Zel16u maxCode[18];     // largest code of each length; kNoCode: there is none
  Zel16u valueOffset[18]; // where the symbols of each length begin in huffValues
};

// By symbol: length << 16 | code; 0: the symbol has no code.
struct ZeliEncodeHuffmanSpec {
  Zel32u entries[256];
};

struct ZeliDecodeHuffmanState {
  Zel64u accumulator;  // unread bits, right-aligned; what stands above them means nothing
  Zel32s validBits;    // number of unread bits: up to 32, below zero once more was taken than a marker left
  Zel32s eobRun;       // progressive: blocks that the last end-of-band run still covers
  Zel32s lastPosition; // sequential: where the last block ended, one more than its last zig-zag position
};

struct ZeliEncodeHuffmanState {
  Zel64u accumulator;         // pending bits: below bit 24 (narrow form), or right-aligned (AC scans)
  Zel32s validBits;           // number of pending bits: below 8 (narrow form), up to 64 (AC scans)
  Zel32s eobRun;              // progressive: end-of-band blocks counted but not yet coded
  Zel32s correctionCount;     // progressive: bytes in use in correctionBits
  Zel8u correctionBits[1024]; // pending correction bits, one in bit 0 of each byte
};

static_assert(sizeof(ZeliDecodeHuffmanSpec) == 1644 && sizeof(ZeliEncodeHuffmanSpec) == 1024);
static_assert(sizeof(ZeliDecodeHuffmanState) == 24 && sizeof(ZeliEncodeHuffmanState) == 1048);
static_assert(offsetof(ZeliDecodeHuffmanState, lastPosition) == 16);
static_assert(offsetof(ZeliEncodeHuffmanState, correctionBits) == 20);

namespace zelj {

// The value of maxCode for lengths without codes; so a code of 16 ones is never found, which T.81 C.2 forbids anyway.
constexpr Zel16u kNoCode = 0xFFFF;

} // namespace zelj
