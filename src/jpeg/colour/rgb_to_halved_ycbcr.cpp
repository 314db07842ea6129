// RGB to YCbCr with halved chroma in one pass: a chroma sample is of the mean colour of a pair of pixels, or of two by
// two. Groups of eight pixels take the lane form, the rest of a row the 14-bit form with halves rounded up.
#include <algorithm>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/colour/forward.h"

namespace zelj {
namespace {

// The lane form of kRows rows of pixels that share their chroma.
template <Order kOrder, int kBytes, int kRows>
inline constexpr auto kLaneRows = [](auto d, auto src, auto dst) {
  using V16 = hn::VFromD<hn::Repartition<Zel16u, decltype(d)>>;
  using Channels = Halves<Lanes<V16>>;
  Channels c[kRows];
  for (int i = 0; i < kRows; ++i) {
    const auto half = [&](int h) {
      return scaledChannels<64>(pairsInOrder<kOrder, kBytes, Beside::zero>(d, src.plane[i] + 8 * kBytes * h));
    };
    c[i] = {half(0), half(1)};
    hn::StoreU(narrowUnsigned(laneLuma<64>(c[i].lower), laneLuma<64>(c[i].upper)), d, dst.plane[i]);
  }
  // A channel's means over the pixels that share chroma, times 128; where there are two rows their mean times 64 first.
  const auto means = [&](auto channel) {
    if constexpr (kRows == 1) {
      return pairSums(c[0].lower.*channel, c[0].upper.*channel);
    } else {
      return pairSums(hn::AverageRound(c[0].lower.*channel, c[1].lower.*channel),
                      hn::AverageRound(c[0].upper.*channel, c[1].upper.*channel));
    }
  };
  const auto chroma = laneChroma(Lanes<V16>{means(&Lanes<V16>::r), means(&Lanes<V16>::g), means(&Lanes<V16>::b)});
  const auto bytes = gather<Zel64u>(narrowUnsigned(chroma.cb, chroma.cr));
  const hn::Half<decltype(d)> half;
  hn::StoreU(hn::LowerHalf(half, bytes), half, dst.plane[kRows]);
  hn::StoreU(hn::UpperHalf(half, bytes), half, dst.plane[kRows + 1]);
};

// One chroma sample and its pixels in the form of the rest.
template <Order kOrder, int kBytes, int kRows>
void convertGroup(Source<kRows, kBytes> src, Destination<kRows + 2, 1, 2> dst) {
  constexpr int kShift = 14 + kRows; // 2 kRows pixels are summed
  int sumR = 0, sumG = 0, sumB = 0;
  for (int i = 0; i < kRows; ++i) {
    for (int x = 0; x < 2; ++x) {
      const Zel8u* p = src.plane[i] + x * kBytes;
      const int r = p[kOrder == Order::rgb ? 0 : 2], g = p[1], b = p[kOrder == Order::rgb ? 2 : 0];
      dst.plane[i][x] = static_cast<Zel8u>((4899 * r + 9617 * g + 1868 * b + 8192) >> 14);
      sumR += r, sumG += g, sumB += b;
    }
  }
  const auto chroma = [](int sum) {
    return static_cast<Zel8u>(std::min((sum + (257 << (kShift - 1))) >> kShift, 255));
  };
  dst.plane[kRows][0] = chroma(8192 * sumB - 5427 * sumG - 2765 * sumR);
  dst.plane[kRows + 1][0] = chroma(8192 * sumR - 6860 * sumG - 1332 * sumB);
}

template <Order kOrder, int kBytes, int kRows>
ZelStatus toHalvedChroma(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], const int dstStep[3], ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersSize(present(pSrc, planes<3>(pDst), dstStep), roiSize, {2, kRows})) return bad;
  const int width = roiSize.width & ~1, grouped = width & ~7;
  for (int y = 0; y < roiSize.height / kRows; ++y) {
    Source<kRows, kBytes> src;
    Destination<kRows + 2, 1, 2> dst;
    for (int i = 0; i < kRows; ++i) {
      src.plane[i] = row(pSrc, srcStep, y * kRows + i);
      dst.plane[i] = row(pDst[0], dstStep[0], y * kRows + i);
    }
    dst.plane[kRows] = row(pDst[1], dstStep[1], y);
    dst.plane[kRows + 1] = row(pDst[2], dstStep[2], y);
    if (grouped > 0) convertRow(grouped, src, dst, kLaneRows<kOrder, kBytes, kRows>);
    for (int x = grouped; x < width; x += 2) convertGroup<kOrder, kBytes, kRows>(src.at(x), dst.at(x));
  }
  return warnOfOddSize(roiSize, {2, kRows});
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownRGBToYCbCr411_JPEG_8u_C3P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], const int dstStep[3],
                                         ZeliSize roiSize) {
  return toHalvedChroma<Order::rgb, 3, 2>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownBGRToYCbCr411_JPEG_8u_C3P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], const int dstStep[3],
                                         ZeliSize roiSize) {
  return toHalvedChroma<Order::bgr, 3, 2>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownRGBToYCbCr411_JPEG_8u_C4P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], const int dstStep[3],
                                         ZeliSize roiSize) {
  return toHalvedChroma<Order::rgb, 4, 2>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownBGRToYCbCr411_JPEG_8u_C4P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], const int dstStep[3],
                                         ZeliSize roiSize) {
  return toHalvedChroma<Order::bgr, 4, 2>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownRGBToYCbCr422_JPEG_8u_C3P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], const int dstStep[3],
                                         ZeliSize roiSize) {
  return toHalvedChroma<Order::rgb, 3, 1>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownBGRToYCbCr422_JPEG_8u_C3P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], const int dstStep[3],
                                         ZeliSize roiSize) {
  return toHalvedChroma<Order::bgr, 3, 1>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownRGBToYCbCr422_JPEG_8u_C4P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], const int dstStep[3],
                                         ZeliSize roiSize) {
  return toHalvedChroma<Order::rgb, 4, 1>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownBGRToYCbCr422_JPEG_8u_C4P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], const int dstStep[3],
                                         ZeliSize roiSize) {
  return toHalvedChroma<Order::bgr, 4, 1>(pSrc, srcStep, pDst, dstStep, roiSize);
}
