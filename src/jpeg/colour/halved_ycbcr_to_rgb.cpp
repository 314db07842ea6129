// YCbCr with halved chroma to RGB in one pass: a pair of pixels, or two by two, take one chroma sample.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/colour/inverse.h"

namespace zelj {
namespace {

// kRows rows of Y, then Cb and Cr, to as many rows of pixels by the lane inverse.
template <Order kOrder, int kBytes, int kRows, class D>
HWY_INLINE void convertRows(D d, Source<kRows + 2, 1, 2> src, Destination<kRows, kBytes> dst, Zel8u alpha) {
  const hn::Repartition<Zel16u, D> d16;
  const auto load = [](auto v) {
    if constexpr (kBytes == 4) {
      return spread<Zel32u>(v);
    } else {
      return v;
    }
  };
  const auto times256 = [=](const Zel8u* p) {
    return hn::ShiftLeft<8>(load(hn::PromoteTo(d16, hn::LoadU(hn::Half<D>(), p))));
  };
  const auto terms = laneTerms(times256(src.plane[kRows]), times256(src.plane[kRows + 1]));
  for (int i = 0; i < kRows; ++i) {
    const auto rgb = inOrderOf<kOrder>(lessTwice(load(hn::LoadU(d, src.plane[i])), terms));
    if constexpr (kBytes == 3) {
      storeInterleaved3(d, rgb, dst.plane[i]);
    } else {
      storeInterleaved4(d, limited(rgb), hn::Set(d, alpha), dst.plane[i]);
    }
  }
}

template <Order kOrder, int kBytes, int kRows>
ZelStatus fromHalvedChroma(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst, int dstStep, ZeliSize roiSize,
                           Zel8u alpha = 0) {
  if (ZelStatus bad = checkPointersSize(present(planes<3>(pSrc), srcStep, pDst), roiSize, {2, kRows})) return bad;
  for (int y = 0; y < roiSize.height / kRows; ++y) {
    Source<kRows + 2, 1, 2> src;
    Destination<kRows, kBytes> dst;
    for (int i = 0; i < kRows; ++i) {
      src.plane[i] = row(pSrc[0], srcStep[0], y * kRows + i);
      dst.plane[i] = row(pDst, dstStep, y * kRows + i);
    }
    src.plane[kRows] = row(pSrc[1], srcStep[1], y);
    src.plane[kRows + 1] = row(pSrc[2], srcStep[2], y);
    convertRow(roiSize.width & ~1, src, dst,
               [=](auto d, auto from, auto to) { convertRows<kOrder, kBytes, kRows>(d, from, to, alpha); });
  }
  return warnOfOddSize(roiSize, {2, kRows});
}

// What the channels subtract from Y in pairs Y0, Cb, Y1, Cr:
// R = Y + (floor(22970 Cr / 512) >> 5) - 179, G = Y + ((floor(-11700 Cr / 512) + floor(-5638 Cb / 512)) >> 5) + 135,
// B = Y + (floor(29032 Cb / 512) >> 5) - 226. Chroma comes times 128: the high half of a product with w is
// floor(w c / 512).
template <class V16>
HWY_INLINE Rgb<V16> pairedTerms(V16 cb128, V16 cr128) {
  const hn::DFromV<V16> d;
  const auto part = [=](V16 c, Zel16s weight) { return hn::MulHigh(c, hn::Set(d, weight)); };
  const auto term = [=](V16 sum, Zel16s offset) { return hn::Sub(hn::Set(d, offset), hn::ShiftRight<5>(sum)); };
  return {term(part(cr128, 22970), 179), term(hn::Add(part(cr128, -11700), part(cb128, -5638)), -135),
          term(part(cb128, 29032), 226)};
}

// Pairs of pixels as Y0, Cb, Y1, Cr.
inline constexpr auto kPairedRow = [](auto d, auto src, auto dst) {
  const hn::Repartition<Zel16s, decltype(d)> d16;
  const hn::Repartition<Zel32s, decltype(d)> d32;
  const auto lower = hn::BitCast(d16, loadBlocks<32>(d, src.plane[0]));
  const auto upper = hn::BitCast(d16, loadBlocks<32>(d, src.plane[0] + 16));
  const auto low = hn::Set(d16, 0xFF);
  const auto y = narrowUnsigned(hn::And(lower, low), hn::And(upper, low));
  const auto times128 = hn::Set(d32, 255 * 128);
  const auto cb = [=](auto v) { return hn::And(hn::ShiftRight<1>(hn::BitCast(d32, v)), times128); };
  const auto cr = [=](auto v) { return hn::And(hn::ShiftRight<17>(hn::BitCast(d32, v)), times128); };
  storeInterleaved3(d,
                    lessTwice(y, pairedTerms(hn::ReorderDemote2To(d16, cb(lower), cb(upper)),
                                             hn::ReorderDemote2To(d16, cr(lower), cr(upper)))),
                    dst.plane[0]);
};

// The last pairs of a row, four at most, in the table form.
void convertLastPairs(int count, Source<1, 2> src, Destination<1, 3> dst) {
  StagedBlock<3, 1> ycbcr;
  for (int i = 0; i < count; ++i) {
    const Zel8u* p = src.plane[0] + 4 * i;
    for (int x = 2 * i; x < 2 * i + 2; ++x) {
      ycbcr.bytes[0][x] = p[x % 2 * 2];
      ycbcr.bytes[1][x] = p[1];
      ycbcr.bytes[2][x] = p[3];
    }
  }
  StagedBlock<1, 3> rgb;
  storeInterleaved3(Block8u(), tableInverse(ycbcr.pixels<const Zel8u>().plane), rgb.bytes[0]);
  copyPixels(rgb.pixels<const Zel8u>(), dst, 0, 2 * count);
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownYCbCr422ToRGB_JPEG_8u_C2C3R(const Zel8u* pSrc, int srcStep, Zel8u* pDst, int dstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersSize(present(pSrc, pDst), roiSize)) return bad;
  forRows(roiSize, [=](int y) {
    const auto src = pixelRow<2>(pSrc, srcStep, y);
    const auto dst = pixelRow<3>(pDst, dstStep, y);
    const int grouped = roiSize.width & ~7;
    if (grouped > 0) convertRow(grouped, src, dst, kPairedRow);
    if (grouped < roiSize.width) convertLastPairs((roiSize.width - grouped + 1) / 2, src.at(grouped), dst.at(grouped));
  });
  return zelStatusOk;
}

ZelStatus ownYCbCr411ToRGB_JPEG_8u_P3C3R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst, int dstStep,
                                         ZeliSize roiSize) {
  return fromHalvedChroma<Order::rgb, 3, 2>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownYCbCr411ToBGR_JPEG_8u_P3C3R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst, int dstStep,
                                         ZeliSize roiSize) {
  return fromHalvedChroma<Order::bgr, 3, 2>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownYCbCr411ToRGB_JPEG_8u_P3C4R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst, int dstStep,
                                         ZeliSize roiSize, Zel8u alpha) {
  return fromHalvedChroma<Order::rgb, 4, 2>(pSrc, srcStep, pDst, dstStep, roiSize, alpha);
}

ZelStatus ownYCbCr411ToBGR_JPEG_8u_P3C4R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst, int dstStep,
                                         ZeliSize roiSize, Zel8u alpha) {
  return fromHalvedChroma<Order::bgr, 4, 2>(pSrc, srcStep, pDst, dstStep, roiSize, alpha);
}

ZelStatus ownYCbCr422ToRGB_JPEG_8u_P3C3R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst, int dstStep,
                                         ZeliSize roiSize) {
  return fromHalvedChroma<Order::rgb, 3, 1>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownYCbCr422ToBGR_JPEG_8u_P3C3R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst, int dstStep,
                                         ZeliSize roiSize) {
  return fromHalvedChroma<Order::bgr, 3, 1>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownYCbCr422ToRGB_JPEG_8u_P3C4R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst, int dstStep,
                                         ZeliSize roiSize, Zel8u alpha) {
  return fromHalvedChroma<Order::rgb, 4, 1>(pSrc, srcStep, pDst, dstStep, roiSize, alpha);
}

ZelStatus ownYCbCr422ToBGR_JPEG_8u_P3C4R(const Zel8u* const pSrc[3], const int srcStep[3], Zel8u* pDst, int dstStep,
                                         ZeliSize roiSize, Zel8u alpha) {
  return fromHalvedChroma<Order::bgr, 4, 1>(pSrc, srcStep, pDst, dstStep, roiSize, alpha);
}
