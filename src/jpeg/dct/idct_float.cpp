// Dequantisation with inverse DCT in single precision, for 12-bit samples. The order of operations decides the results.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"
#include "jpeg/dct/float_constants.h"

namespace zelj {
namespace {

// Eight transforms side by side, one in each element.
inline void transform(Float8 (&x)[8]) {
  const Float8 a = kFloatTan3 * x[5] + x[3], b = x[5] - kFloatTan3 * x[3];
  const Float8 d = x[1] + kFloatTan1 * x[7], e = kFloatTan1 * x[1] - x[7];
  const Float8 f = d + a, g = d - a, h = e + b, k = e - b;
  const Float8 j = kFloatCos4 * (g + k), l = kFloatCos4 * (g - k);
  const Float8 m = x[0] + x[4], n = x[0] - x[4];
  const Float8 p = x[2] + kFloatTan2 * x[6], q = kFloatTan2 * x[2] - x[6];
  const Float8 r = m + p, s = m - p, t = n + q, u = n - q;
  x[0] = r + f;
  x[1] = t + j;
  x[2] = u + l;
  x[3] = s + h;
  x[4] = s - h;
  x[5] = u - l;
  x[6] = t - j;
  x[7] = r - f;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDCTQuantInv8x8LS_JPEG_16s16u_C1R(const Zel16s* pSrc, Zel16u* pDst, int dstStep,
                                              const Zel32f* pQuantInvTable) {
  if (ZelStatus bad = checkPointersStepPointers(present(pSrc, pDst), dstStep, pQuantInvTable)) return bad;
  Float8 x[8];
  for (int v = 0; v < 8; ++v) {
    const Float8 c = __builtin_convertvector(loadVector<Short8>(pSrc + 8 * v), Float8);
    x[v] = c * loadVector<Float8>(pQuantInvTable + 8 * v) * loadVector<Float8>(kFloatScale.rows[v]);
  }
  transpose(x);
  transform(x);
  transpose(x);
  transform(x);
  for (int y = 0; y < 8; ++y) {
    const Float8 limited = max(min(x[y] + 2048.0f, Float8{} + 4095.0f), Float8{}); // truncating keeps these limits
    storeVector(__builtin_convertvector(__builtin_convertvector(limited, Int8), Short8), row(pDst, dstStep, y));
  }
  return zelStatusOk;
}
