// Quantisation tables: scaling by a quality factor, and the forward and inverse forms of a raw table.
#include <algorithm>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/zigzag.h"

using namespace zelj;

ZelStatus ownQuantFwdRawTableInit_JPEG_8u(Zel8u* pQuantRawTable, int qualityFactor) {
  if (!pQuantRawTable) return zelStatusNullPointer;
  if (qualityFactor < 1) return zelStatusOutOfRange;
  const Zel64s quality = qualityFactor; // 64 bits hold the products for any quality
  const Zel64s scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
  for (int i = 0; i < 64; ++i) {
    pQuantRawTable[i] = static_cast<Zel8u>(std::clamp<Zel64s>((pQuantRawTable[i] * scale + 50) / 100, 1, 255));
  }
  return zelStatusOk;
}

ZelStatus ownQuantFwdTableInit_JPEG_8u16u(const Zel8u* pQuantRawTable, Zel16u* pQuantFwdTable) {
  if (!present(pQuantRawTable, pQuantFwdTable)) return zelStatusNullPointer;
  ZelStatus status = zelStatusOk;
  for (size_t i = 0; i < 64; ++i) {
    const int step = pQuantRawTable[i];
    if (step == 0) status = zelStatusDivideByZero;
    pQuantFwdTable[kNaturalOfZigzag[i]] = static_cast<Zel16u>(step == 0 ? 65535 : (32768 + step / 2) / step);
  }
  return status;
}

ZelStatus ownQuantInvTableInit_JPEG_8u16u(const Zel8u* pQuantRawTable, Zel16u* pQuantInvTable) {
  if (!present(pQuantRawTable, pQuantInvTable)) return zelStatusNullPointer;
  for (size_t i = 0; i < 64; ++i) pQuantInvTable[kNaturalOfZigzag[i]] = pQuantRawTable[i];
  return zelStatusOk;
}
