// Forward DCT with quantisation in single precision, for 12-bit samples. The order of operations decides the results.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"
#include "jpeg/dct/float_constants.h"

namespace zelj {
namespace {

// Eight transforms side by side, one in each element.
inline void transform(Float8 (&x)[8]) {
  const Float8 t0 = x[0] + x[7], t7 = x[0] - x[7], t1 = x[1] + x[6], t6 = x[1] - x[6];
  const Float8 t2 = x[2] + x[5], t5 = x[2] - x[5], t3 = x[3] + x[4], t4 = x[3] - x[4];
  const Float8 p = kFloatCos4 * (t6 + t5), q = kFloatCos4 * (t6 - t5);
  const Float8 a = t7 + p, b = t7 - p, c = t4 + q, d = t4 - q;
  x[0] = (t0 + t3) + (t1 + t2);
  x[4] = (t0 + t3) - (t1 + t2);
  x[2] = kFloatTan2 * (t1 - t2) + (t0 - t3);
  x[6] = kFloatTan2 * (t0 - t3) - (t1 - t2);
  x[1] = kFloatTan1 * c + a;
  x[7] = kFloatTan1 * a - c;
  x[5] = kFloatTan3 * b + d;
  x[3] = b - kFloatTan3 * d;
}

// To the nearest integer, ties to even, and limited to 16 bits: adding 1.5 * 2^23 leaves the integer in the low bits.
inline Short8 rounded(Float8 x) {
  const Float8 limited = max(min(x, Float8{} + 32767.0f), Float8{} - 32768.0f);
  const Float8 shifted = limited + 12582912.0f;
  return __builtin_convertvector(loadVector<Int8>(&shifted), Short8);
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDCTQuantFwd8x8LS_JPEG_16u16s_C1R(const Zel16u* pSrc, int srcStep, Zel16s* pDst,
                                              const Zel32f* pQuantFwdTable) {
  if (ZelStatus bad = checkPointersStepPointers(present(pSrc, pDst), srcStep, pQuantFwdTable)) return bad;
  Float8 x[8];
  for (int y = 0; y < 8; ++y) {
    x[y] = __builtin_convertvector(loadVector<Short8>(row(pSrc, srcStep, y)), Float8) - 2048.0f;
  }
  transpose(x);
  transform(x);
  transpose(x);
  transform(x);
  for (int v = 0; v < 8; ++v) {
    const Float8 scaled = x[v] * loadVector<Float8>(kFloatScale.rows[v]);
    storeVector(rounded(scaled * loadVector<Float8>(pQuantFwdTable + 8 * v)), pDst + 8 * v);
  }
  return zelStatusOk;
}
