// Clearing, filling, copying and widening of large buffers. Buffers larger than the cache are written around it; no
// value depends on that.
#pragma once

#include "zelj.h"

namespace zelj {

// All six return -8 for a null pointer and -6 for a length below 1, but ownSet32s, which tests nothing.
ZelStatus ownZero8u(Zel8u* pDst, int lenBytes);
ZelStatus ownZero16s(Zel16s* pDst, int len);
ZelStatus ownZero32s(Zel32s* pDst, int len);
ZelStatus ownSet8u(Zel8u value, Zel8u* pDst, int lenBytes);
ZelStatus ownSet32s(Zel32s value, Zel32s* pDst, int len);
ZelStatus ownCopy8u(const Zel8u* pSrc, Zel8u* pDst, int lenBytes);

// Widens 8-bit elements to 16 bits.
void ownWiden8u16u(const Zel8u* pSrc, Zel16u* pDst, int len);
// Copies rows of rowBytes each.
void ownCopyRows(const void* pSrc, int srcStep, void* pDst, int dstStep, int rowBytes, int height);

} // namespace zelj
