// What the progressive scans' coders, decoders and statistics have in common.
#pragma once

#include "jpeg/huffman/coefficients.h"
#include "zelj.h"

namespace zelj {

// Progressive scans of 8-bit samples have no coefficient of more bits, and no DC difference either.
constexpr int kMaxProgressiveCategory = 11;

inline ZelStatus checkShift(Zel32s Al) {
  return Al < 0 || Al > 13 ? zelStatusOutOfRange : zelStatusOk;
}

inline ZelStatus checkBand(Zel32s Ss, Zel32s Se, Zel32s Al) {
  if (Ss < 1 || Ss > 63 || Se < Ss || Se > 63) return zelStatusOutOfRange;
  return checkShift(Al);
}

// Source pointer, its length, the other pointers in front of the scan's parameters.
inline ZelStatus checkSource(const void* pSrc, Zel32s srcLenBytes, bool restPresent) {
  if (!pSrc) return zelStatusNullPointer;
  if (srcLenBytes < 1) return zelStatusBadSize;
  return restPresent ? zelStatusOk : zelStatusNullPointer;
}

// The difference of a block's DC term, without its low bits, from the last; this becomes the last.
inline int shiftedDifference(const Zel16s* block, int Al, Zel16s* lastDC) {
  const int dc = load16(block) >> Al, difference = dc - *lastDC;
  *lastDC = static_cast<Zel16s>(dc);
  return difference;
}

} // namespace zelj
