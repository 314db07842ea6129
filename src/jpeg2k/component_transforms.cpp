// The two multiple-component transforms: reversible (RCT) and irreversible (ICT). Each export has its own arithmetic:
// the 16-bit and the 32-bit irreversible forms differ on purpose, forward (the 16-bit one derives the colour
// differences from Y) and inverse (the 16-bit one rounds green's term before it is subtracted, the 32-bit one behind).
#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"
#include "simd/samples.h"
#include "simd/simd.h"

namespace zelj {
namespace {

template <class T>
struct Three {
  T a, b, c;
};

// Arithmetic of one pixel: R, G, B to Y, Cb, Cr or back. Sums and products of 32 bits wrap; 16-bit results are cut to
// 16 bits unless they are said to saturate.

template <class T>
struct ReversibleForward {
  static Three<T> apply(T r, T g, T b) {
    const Zel32s sum = add(add(r, b), add(g, g));
    return {static_cast<T>(sum >> 2), static_cast<T>(subtract(b, g)), static_cast<T>(subtract(r, g))};
  }
};

template <class T>
struct ReversibleInverse {
  static Three<T> apply(T y, T cb, T cr) {
    const T g = static_cast<T>(subtract(y, add(cb, cr) >> 2));
    return {static_cast<T>(add(cr, g)), g, static_cast<T>(add(cb, g))};
  }
};

struct IrreversibleForward32f {
  static Three<Zel32f> apply(Zel32f r, Zel32f g, Zel32f b) {
    return {(r * 0.299f + g * 0.587f) + b * 0.114f, (r * -0.16875f + g * -0.33126f) + b * 0.5f,
            (r * 0.5f + g * -0.41869f) + b * -0.08131f};
  }
};

struct IrreversibleInverse32f {
  static Three<Zel32f> apply(Zel32f y, Zel32f cb, Zel32f cr) {
    return {cr * 1.402f + y, (cb * -0.34413f + cr * -0.71414f) + y, cb * 1.772f + y};
  }
};

// 14 fraction bits.
constexpr Zel32s kHalf = 8192;
constexpr Zel32s round14(Zel32s v) {
  return add(v, kHalf) >> 14;
}
constexpr Zel32s weighted(Zel32s r, Zel32s kr, Zel32s g, Zel32s kg, Zel32s b, Zel32s kb) {
  return add(add(multiply(r, kr), multiply(g, kg)), multiply(b, kb));
}
constexpr Zel32s luma14(Zel32s r, Zel32s g, Zel32s b) {
  return weighted(r, 4899, g, 9617, b, 1868);
}

struct IrreversibleForward32s {
  static Three<Zel32s> apply(Zel32s r, Zel32s g, Zel32s b) {
    return {round14(luma14(r, g, b)), round14(weighted(r, -2765, g, -5427, b, 8192)),
            round14(weighted(r, 8192, g, -6860, b, -1332))};
  }
};

struct IrreversibleInverse32s {
  static Three<Zel32s> apply(Zel32s y, Zel32s cb, Zel32s cr) {
    return {add(y, round14(multiply(cr, 22970))), add(y, round14(weighted(cb, -5638, cr, -11700, 0, 0))),
            add(y, round14(multiply(cb, 29032)))};
  }
};

struct IrreversibleForward16s {
  // 9246 and 11686 are 0.5 / (1 - 0.114) and 0.5 / (1 - 0.299). The difference wraps in 16 bits before it is scaled.
  static Zel16s difference(Zel16s x, Zel32s luma, Zel32s scale) {
    const Zel16s d = static_cast<Zel16s>(round14(subtract(multiply(x, 1 << 14), luma)));
    return saturate16(round14(scale * d));
  }
  static Three<Zel16s> apply(Zel16s r, Zel16s g, Zel16s b) {
    const Zel32s luma = luma14(r, g, b);
    return {saturate16(round14(luma)), difference(b, luma, 9246), difference(r, luma, 11686)};
  }
};

struct IrreversibleInverse16s {
  static Three<Zel16s> apply(Zel16s y, Zel16s cb, Zel16s cr) {
    return {saturate16(y + round14(22970 * cr)), saturate16(y - round14(5638 * cb + 11700 * cr)),
            saturate16(y + round14(29032 * cb))};
  }
};

// Channel c of a row: samples `stride` apart.
template <class T, int kStride>
struct Channels {
  Sample<T>* at[3];
  T get(int c, int x) const { return at[c][x * kStride].v; }
  void set(int c, int x, T v) const { at[c][x * kStride].v = v; }
};
template <class T>
Channels<T, 1> planeRows(const T* const planes[3], int step, int y) {
  const auto at = [&](int c) { return samples<T>(const_cast<T*>(row(planes[c], step, y))); };
  return {{at(0), at(1), at(2)}};
}
template <class T>
Channels<T, 3> pixelRow(const T* pixels, int step, int y) {
  auto* at = samples<T>(const_cast<T*>(row(pixels, step, y)));
  return {{at, at + 1, at + 2}};
}

template <class Transform, class From, class To>
void transformPixel(From from, To to, int x) {
  const auto out = Transform::apply(from.get(0, x), from.get(1, x), from.get(2, x));
  to.set(0, x, out.a);
  to.set(1, x, out.b);
  to.set(2, x, out.c);
}

template <class Transform, class From, class To>
void transformRow(From from, To to, int width) {
  ZELJ_INDEPENDENT
  HWY_UNROLL(2)
  for (int x = 0; x < width; ++x) transformPixel<Transform>(from, to, x);
}

template <class Transform, class T>
ZelStatus pixelsToPlanes(const T* pSrc, int srcStep, T* const pDst[3], int dstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(pSrc, planes<3>(pDst)), srcStep, dstStep, roiSize)) return bad;
  for (int y = 0; y < roiSize.height; ++y) {
    transformRow<Transform>(pixelRow(pSrc, srcStep, y), planeRows<T>(pDst, dstStep, y), roiSize.width);
  }
  return zelStatusOk;
}

template <class Transform, class T>
ZelStatus planesToPixels(const T* const pSrc[3], int srcStep, T* pDst, int dstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(planes<3>(pSrc), pDst), srcStep, dstStep, roiSize)) return bad;
  for (int y = 0; y < roiSize.height; ++y) {
    transformRow<Transform>(planeRows(pSrc, srcStep, y), pixelRow(pDst, dstStep, y), roiSize.width);
  }
  return zelStatusOk;
}

template <class Transform, class T>
ZelStatus planesInPlace(T* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(planes<3>(pSrcDst)), srcDstStep, srcDstStep, roiSize)) return bad;
  for (int y = 0; y < roiSize.height; ++y) {
    const auto rows = planeRows<T>(pSrcDst, srcDstStep, y);
    transformRow<Transform>(rows, rows, roiSize.width);
  }
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownRCTFwd_JPEG2K_16s_C3P3R(const Zel16s* pSrc, int srcStep, Zel16s* const pDst[3], int dstStep,
                                     ZeliSize roiSize) {
  return pixelsToPlanes<ReversibleForward<Zel16s>>(pSrc, srcStep, pDst, dstStep, roiSize);
}
ZelStatus ownRCTFwd_JPEG2K_32s_C3P3R(const Zel32s* pSrc, int srcStep, Zel32s* const pDst[3], int dstStep,
                                     ZeliSize roiSize) {
  return pixelsToPlanes<ReversibleForward<Zel32s>>(pSrc, srcStep, pDst, dstStep, roiSize);
}
ZelStatus ownICTFwd_JPEG2K_32f_C3P3R(const Zel32f* pSrc, int srcStep, Zel32f* const pDst[3], int dstStep,
                                     ZeliSize roiSize) {
  return pixelsToPlanes<IrreversibleForward32f>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownRCTInv_JPEG2K_16s_P3C3R(const Zel16s* const pSrc[3], int srcStep, Zel16s* pDst, int dstStep,
                                     ZeliSize roiSize) {
  return planesToPixels<ReversibleInverse<Zel16s>>(pSrc, srcStep, pDst, dstStep, roiSize);
}
ZelStatus ownRCTInv_JPEG2K_32s_P3C3R(const Zel32s* const pSrc[3], int srcStep, Zel32s* pDst, int dstStep,
                                     ZeliSize roiSize) {
  return planesToPixels<ReversibleInverse<Zel32s>>(pSrc, srcStep, pDst, dstStep, roiSize);
}
ZelStatus ownICTInv_JPEG2K_32f_P3C3R(const Zel32f* const pSrc[3], int srcStep, Zel32f* pDst, int dstStep,
                                     ZeliSize roiSize) {
  return planesToPixels<IrreversibleInverse32f>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownRCTFwd_JPEG2K_16s_P3IR(Zel16s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<ReversibleForward<Zel16s>>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus ownRCTFwd_JPEG2K_32s_P3IR(Zel32s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<ReversibleForward<Zel32s>>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus ownICTFwd_JPEG2K_16s_P3IR(Zel16s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<IrreversibleForward16s>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus ownICTFwd_JPEG2K_32s_P3IR(Zel32s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<IrreversibleForward32s>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus ownICTFwd_JPEG2K_32f_P3IR(Zel32f* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<IrreversibleForward32f>(pSrcDst, srcDstStep, roiSize);
}

// Here alone planes may share memory, as the plain loop in ascending order leaves it.
ZelStatus ownRCTInv_JPEG2K_16s_P3IR(Zel16s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(planes<3>(pSrcDst)), srcDstStep, srcDstStep, roiSize)) return bad;
  for (int y = 0; y < roiSize.height; ++y) {
    const auto rows = planeRows<Zel16s>(pSrcDst, srcDstStep, y);
    for (int x = 0; x < roiSize.width; ++x) transformPixel<ReversibleInverse<Zel16s>>(rows, rows, x);
  }
  return zelStatusOk;
}
ZelStatus ownRCTInv_JPEG2K_32s_P3IR(Zel32s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<ReversibleInverse<Zel32s>>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus ownICTInv_JPEG2K_16s_P3IR(Zel16s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<IrreversibleInverse16s>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus ownICTInv_JPEG2K_32s_P3IR(Zel32s* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<IrreversibleInverse32s>(pSrcDst, srcDstStep, roiSize);
}
ZelStatus ownICTInv_JPEG2K_32f_P3IR(Zel32f* const pSrcDst[3], int srcDstStep, ZeliSize roiSize) {
  return planesInPlace<IrreversibleInverse32f>(pSrcDst, srcDstStep, roiSize);
}
