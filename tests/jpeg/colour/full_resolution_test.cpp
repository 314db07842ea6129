// The colour conversions at full resolution, each beside a model of one pixel.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numeric>

#include "support/guarded.h"
#include "support/random.h"
#include "zelj.h"

namespace zelj::test {
namespace {

constexpr Zel8u kAlpha = 0x5C;

int clamp8(int v) {
  return std::clamp(v, 0, 255);
}

using Three = std::array<int, 3>;

Three matrix15(Three p) {
  const auto [r, g, b] = p;
  return {(9798 * r + 19235 * g + 3736 * b + 16266) >> 15, clamp8((-5529 * r - 10855 * g + 16384 * b + 4210688) >> 15),
          clamp8((16384 * r - 13720 * g - 2664 * b + 4210704) >> 15)};
}

Three matrix14(Three p) {
  const auto [r, g, b] = p;
  return {(4899 * r + 9617 * g + 1868 * b + 8192) >> 14, clamp8((-2764 * r - 5428 * g + 8192 * b + 2105344) >> 14),
          clamp8((8192 * r - 6860 * g - 1332 * b + 2105344) >> 14)};
}

Three table(Three p) {
  const auto [r, g, b] = p;
  return {(19595 * r + 38470 * g + 7471 * b + 32768) >> 16, (-11059 * r - 21709 * g + 32768 * b + 8421375) >> 16,
          (32768 * r - 27439 * g - 5329 * b + 8421375) >> 16};
}

Three lumaDifference(Three p) {
  const int y = table(p)[0];
  return {y, clamp8((18491 * (p[2] - y) + 4210688) >> 15), clamp8((23373 * (p[0] - y) + 4210688) >> 15)};
}

Three lanes(Three p) {
  const auto [r, g, b] = p;
  return {(4899 * r / 256 + 9617 * g / 256 + 1868 * b / 256 + 32) >> 6,
          clamp8((16 * b - 2765 * r / 512 - 5427 * g / 512 + 4112) >> 5),
          clamp8((16 * r - 6860 * g / 512 - 1332 * b / 512 + 4112) >> 5)};
}

Three integer14(Three p) {
  const auto [r, g, b] = p;
  return {(4899 * r + 9617 * g + 1868 * b + 8192) >> 14, (8192 * b - 5427 * g - 2765 * r + 2101248) >> 14,
          (8192 * r - 6860 * g - 1332 * b + 2101248) >> 14};
}

int floatLuma(Three p) {
  const float r = 0.299f * static_cast<float>(p[0]), g = 0.587f * static_cast<float>(p[1]);
  const float rg = r + g;
  return static_cast<int>(std::lrint(rg + 0.114f * static_cast<float>(p[2])));
}

Three interleavingInverse(Three p) {
  const auto [y, cb, cr] = p;
  return {clamp8(y + ((22970 * cr - 2932015) >> 14)), clamp8(y + ((-5638 * cb - 11700 * cr + 2227566) >> 14)),
          clamp8(y + ((29032 * cb - 3707961) >> 14))};
}

Three planarInverse(Three p) {
  const auto [y, cb, cr] = p;
  return {clamp8(y + ((22970 * cr - 2932015) >> 14)), clamp8(y - ((5638 * cb + 11700 * cr - 2211182) >> 14)),
          clamp8(y + ((29032 * cb - 3708561) >> 14))};
}

Three tableInverse(Three p) {
  const int y = p[0], cb = p[1] - 128, cr = p[2] - 128;
  return {clamp8(y + ((91881 * cr + 32768) >> 16)), clamp8(y + ((-22554 * cb - 46802 * cr + 32768) >> 16)),
          clamp8(y + ((116130 * cb + 32768) >> 16))};
}

Three laneInverse(Three p) {
  const auto [y, cb, cr] = p;
  return {clamp8((16 * y + 11485 * cr / 512 - 2871 + 8) >> 4),
          clamp8((16 * y + 2167 - (2819 * cb / 512 + 5850 * cr / 512) + 8) >> 4),
          clamp8((16 * y + 14516 * cb / 512 - 3629 + 8) >> 4)};
}

// One pixel of an operand, channel by channel; a packed one is its low and its high byte.
using Bytes = std::array<int, 4>;

// The pixels of the first groups of `group` take one form, the rest of a row another.
using Form = Three (*)(Three);
struct Forms {
  int group;
  Form first, rest;
  Three operator()(Three p, int x, int width) const { return (x < width - width % group ? first : rest)(p); }
};

Three reversed(Three p) {
  return {p[2], p[1], p[0]};
}

// Fields of 5, greenBits and 5 bits, the first channel lowest.
Three unpacked(Bytes bytes, int greenBits) {
  const int v = bytes[0] | bytes[1] << 8;
  return {(v & 31) << 3, (v >> 5 & ((1 << greenBits) - 1)) << (8 - greenBits), (v >> (5 + greenBits) & 31) << 3};
}
Bytes packed(Three p, int greenBits) {
  const int v = p[0] >> 3 | p[1] >> (8 - greenBits) << 5 | p[2] >> 3 << (5 + greenBits);
  return {v & 255, v >> 8};
}

struct Export {
  const char* name;
  int srcPlanes, srcBytes, dstPlanes, dstBytes; // bytes of a pixel in each plane
  bool testsSteps, parallel;
  std::function<ZelStatus(const Zel8u* const* src, int srcStep, Zel8u* const* dst, int dstStep, ZeliSize)> call;
  std::function<Bytes(Bytes, int x, int width)> model;
};

// How the arguments of an export look in C: planes as arrays, pixels as pointers.
template <class T, class R>
auto argument(R* const* planes) {
  if constexpr (std::is_pointer_v<std::remove_pointer_t<T>>) {
    return planes;
  } else {
    return planes ? reinterpret_cast<T>(planes[0]) : nullptr;
  }
}
template <class S, class D>
auto caller(ZelStatus (*f)(S, int, D, int, ZeliSize)) {
  return [f](const Zel8u* const* src, int srcStep, Zel8u* const* dst, int dstStep, ZeliSize size) {
    return f(argument<S>(src), srcStep, argument<D>(dst), dstStep, size);
  };
}
auto caller(ZelStatus (*f)(const Zel8u* const*, int, Zel8u*, int, ZeliSize, Zel8u)) {
  return [f](const Zel8u* const* src, int srcStep, Zel8u* const* dst, int dstStep, ZeliSize size) {
    return f(src, srcStep, argument<Zel8u*>(dst), dstStep, size, kAlpha);
  };
}

std::vector<Export> exports() {
  std::vector<Export> list;
  const auto threes = [](auto convert) {
    return [=](Bytes in, int x, int width) -> Bytes {
      const Three out = convert(Three{in[0], in[1], in[2]}, x, width);
      return {out[0], out[1], out[2], in[3]};
    };
  };
  const auto from = [](auto convert) {
    return [=](Three p, int x, int width) { return convert(reversed(p), x, width); };
  };
  const auto to = [](auto convert) {
    return [=](Three p, int x, int width) { return reversed(convert(p, x, width)); };
  };
  const auto complement = [](Three p) { return Three{255 - p[0], 255 - p[1], 255 - p[2]}; };
  const auto withAlpha = [](auto model) {
    return [=](Bytes in, int x, int width) {
      Bytes out = model(in, x, width);
      out[3] = kAlpha;
      return out;
    };
  };
  const Forms c3p3{8, matrix15, matrix14}, p3{4, lumaDifference, table}, c4p3{8, lanes, integer14};
  const Forms p3c3{4, interleavingInverse, tableInverse}, planar{4, planarInverse, tableInverse};
  const Forms all15{1, matrix15, matrix15}, all14{1, matrix14, matrix14}, allLane{1, laneInverse, laneInverse};
  const auto luma = [](Three p, int x, int width) -> Three {
    return {x < width - width % 4 ? floatLuma(p) : table(p)[0], 0, 0};
  };
#define ADD(op, srcPlanes, srcBytes, dstPlanes, dstBytes, steps, parallel, model) \
  list.push_back({#op, srcPlanes, srcBytes, dstPlanes, dstBytes, steps, parallel, caller(zeli##op), model})
  ADD(RGBToYCbCr_JPEG_8u_C3P3R, 1, 3, 3, 1, true, true, threes(c3p3));
  ADD(BGRToYCbCr_JPEG_8u_C3P3R, 1, 3, 3, 1, true, true, threes(from(c3p3)));
  ADD(RGBToYCbCr_JPEG_8u_P3R, 3, 1, 3, 1, true, true, threes(p3));
  ADD(RGBToYCbCr_JPEG_8u_C4P3R, 1, 4, 3, 1, false, false, threes(c4p3));
  ADD(BGRToYCbCr_JPEG_8u_C4P3R, 1, 4, 3, 1, false, false, threes(from(c4p3)));
  ADD(RGBToY_JPEG_8u_C3C1R, 1, 3, 1, 1, true, true, threes(all15));
  ADD(BGRToY_JPEG_8u_C3C1R, 1, 3, 1, 1, true, true, threes(from(all15)));
  ADD(RGBToY_JPEG_8u_P3C1R, 3, 1, 1, 1, true, true, threes(luma));
  const auto unpack = [&](int greenBits, auto convert) {
    return [=](Bytes in, int x, int width) -> Bytes {
      const Three out = convert(unpacked(in, greenBits), x, width);
      return {out[0], out[1], out[2]};
    };
  };
  ADD(RGB555ToYCbCr_JPEG_16u8u_C3P3R, 1, 2, 3, 1, true, false, unpack(5, all14));
  ADD(BGR555ToYCbCr_JPEG_16u8u_C3P3R, 1, 2, 3, 1, true, false, unpack(5, from(all14)));
  ADD(RGB565ToYCbCr_JPEG_16u8u_C3P3R, 1, 2, 3, 1, true, false, unpack(6, all14));
  ADD(BGR565ToYCbCr_JPEG_16u8u_C3P3R, 1, 2, 3, 1, true, false, unpack(6, from(all14)));
  const auto ofComplement = [=](auto convert) {
    return [=](Three p, int x, int width) { return convert(complement(p), x, width); };
  };
  const auto thenComplement = [=](auto convert) {
    return [=](Three p, int x, int width) { return complement(convert(p, x, width)); };
  };
  ADD(CMYKToYCCK_JPEG_8u_C4P4R, 1, 4, 4, 1, true, true, threes(ofComplement(all14)));
  ADD(CMYKToYCCK_JPEG_8u_P4R, 4, 1, 4, 1, true, true, threes(ofComplement(p3)));
  ADD(YCbCrToRGB_JPEG_8u_P3C3R, 3, 1, 1, 3, true, true, threes(p3c3));
  ADD(YCbCrToBGR_JPEG_8u_P3C3R, 3, 1, 1, 3, true, true, threes(to(p3c3)));
  ADD(YCbCrToRGB_JPEG_8u_P3R, 3, 1, 3, 1, true, true, threes(planar));
  ADD(YCbCrToRGB_JPEG_8u_P3C4R, 3, 1, 1, 4, false, false, withAlpha(threes(allLane)));
  ADD(YCbCrToBGR_JPEG_8u_P3C4R, 3, 1, 1, 4, false, false, withAlpha(threes(to(allLane))));
  const auto pack = [&](int greenBits, auto convert) {
    return [=](Bytes in, int x, int width) { return packed(convert({in[0], in[1], in[2]}, x, width), greenBits); };
  };
  ADD(YCbCrToRGB555_JPEG_8u16u_P3C3R, 3, 1, 1, 2, true, false, pack(5, planar));
  ADD(YCbCrToBGR555_JPEG_8u16u_P3C3R, 3, 1, 1, 2, true, false, pack(5, to(planar)));
  ADD(YCbCrToRGB565_JPEG_8u16u_P3C3R, 3, 1, 1, 2, true, false, pack(6, planar));
  ADD(YCbCrToBGR565_JPEG_8u16u_P3C3R, 3, 1, 1, 2, true, false, pack(6, to(planar)));
  ADD(YCCKToCMYK_JPEG_8u_P4C4R, 4, 1, 1, 4, true, true, threes(thenComplement(planar)));
  ADD(YCCKToCMYK_JPEG_8u_P4R, 4, 1, 4, 1, true, true, threes(thenComplement(planar)));
#undef ADD
  return list;
}

// The exports that take steps as they come.
std::vector<Export> exportsOfAnyStep() {
  std::vector<Export> list = exports();
  std::erase_if(list, [](const Export& e) { return e.testsSteps; });
  return list;
}

// The regions of an operand, and its pixels.
struct Operand {
  int bytes;
  std::vector<Region<Zel8u>> planes;
  std::vector<Zel8u*> pointers;

  Operand(int planeCount, int pixelBytes, int width, int height, int gap = 0, Edge edge = Edge::end)
      : bytes(pixelBytes) {
    for (int i = 0; i < planeCount; ++i) {
      planes.emplace_back(width * bytes, height, width * bytes + gap, edge);
      pointers.push_back(planes.back().data());
    }
  }
  int step() const { return planes[0].step(); }
  const Zel8u* const* source() const { return pointers.data(); }
  Zel8u* const* destination() const { return pointers.data(); }
  Bytes pixel(int x, int y) const {
    Bytes p{};
    int n = 0;
    for (const auto& plane : planes) {
      for (int i = 0; i < bytes; ++i) p[static_cast<size_t>(n++)] = plane.get(x * bytes + i, y);
    }
    return p;
  }
  void set(int x, int y, Bytes p) {
    int n = 0;
    for (auto& plane : planes) {
      for (int i = 0; i < bytes; ++i) plane.set(x * bytes + i, y, static_cast<Zel8u>(p[static_cast<size_t>(n++)]));
    }
  }
};

Bytes expected(const Export& e, Bytes pixel, int x, int width) {
  Bytes want = e.model(pixel, x, width);
  std::fill(want.begin() + e.dstPlanes * e.dstBytes, want.end(), 0);
  return want;
}

testing::AssertionResult matches(const Export& e, const Operand& src, const Operand& dst, ZeliSize size) {
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const Bytes got = dst.pixel(x, y);
      const Bytes want = expected(e, src.pixel(x, y), x, size.width);
      if (got != want) {
        return testing::AssertionFailure()
               << "at x " << x << ", y " << y << " of " << size.width << " x " << size.height << ", from "
               << testing::PrintToString(src.pixel(x, y)) << ": " << testing::PrintToString(got) << " instead of "
               << testing::PrintToString(want);
      }
    }
  }
  for (const auto& plane : dst.planes) {
    if (!plane.gapsUntouched()) return testing::AssertionFailure() << "bytes between rows were written";
  }
  return testing::AssertionSuccess();
}

class FullResolution : public testing::TestWithParam<Export> {};

INSTANTIATE_TEST_SUITE_P(Colour, FullResolution, testing::ValuesIn(exports()),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_P(FullResolution, EveryWidthStepAndAlignment) {
  const Export& e = GetParam();
  Random random(1);
  std::vector<int> widths(150);
  std::iota(widths.begin(), widths.end(), 1);
  widths.insert(widths.end(), {255, 256, 257, 1021});
  for (const int width : widths) {
    for (const Edge edge : {Edge::end, Edge::begin}) {
      const int height = 3;
      Operand src(e.srcPlanes, e.srcBytes, width, height, random.in(0, 5), edge);
      Operand dst(e.dstPlanes, e.dstBytes, width, height, random.in(0, 5), edge);
      const bool extreme = random.in(0, 1) != 0;
      for (auto& plane : src.planes) {
        plane.fill([&](int, int) { return extreme ? random.oneOf({0, 1, 127, 128, 254, 255}) : random.in(0, 255); });
      }
      ASSERT_EQ(e.call(src.source(), src.step(), dst.destination(), dst.step(), {width, height}), zelStatusOk);
      ASSERT_TRUE(matches(e, src, dst, {width, height}));
    }
  }
}

// All packed pixels, all pairs of chroma with a few Y, and otherwise all pairs of two channels with every fifth value
// of one. A row has a rest in another form.
TEST_P(FullResolution, EveryColour) {
  const Export& e = GetParam();
  const bool packedSource = e.srcBytes == 2, inverse = e.srcPlanes > 1 && std::string(e.name).starts_with("Y");
  const int firsts = packedSource ? 1 : inverse ? 6 : 52;
  constexpr int kGroups = 1024, kRest = 7, kWidth = kGroups + kRest;
  Operand src(e.srcPlanes, e.srcBytes, kWidth, 64), dst(e.dstPlanes, e.dstBytes, kWidth, 64);
  for (int first = 0; first < firsts; ++first) {
    constexpr int kLuma[] = {0, 1, 100, 150, 254, 255};
    const int value = inverse ? kLuma[first] : 5 * first;
    for (int y = 0; y < 64; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        // The rest repeats colours of the row, others in each row.
        const int i = y * kGroups + (x < kGroups ? x : (x * 37 + y * 11 + first) % kGroups);
        src.set(x, y, packedSource ? Bytes{i & 255, i >> 8} : Bytes{value, i & 255, i >> 8, (i * 7) & 255});
      }
    }
    ASSERT_EQ(e.call(src.source(), src.step(), dst.destination(), dst.step(), {kWidth, 64}), zelStatusOk);
    ASSERT_TRUE(matches(e, src, dst, {kWidth, 64}));
  }
}

TEST_P(FullResolution, SameResultOnAnyNumberOfThreads) {
  const Export& e = GetParam();
  Random random(3);
  for (const ZeliSize size : {ZeliSize{128, 64}, {8193, 1}, {2731, 3}, {3, 2731}}) {
    Operand src(e.srcPlanes, e.srcBytes, size.width, size.height);
    for (auto& plane : src.planes) {
      plane.fill([&](int, int) { return random.in(0, 255); });
    }
    for (const int threads : {1, 2, 7}) {
      omp_set_num_threads(threads);
      Operand dst(e.dstPlanes, e.dstBytes, size.width, size.height, 1);
      ASSERT_EQ(e.call(src.source(), src.step(), dst.destination(), dst.step(), size), zelStatusOk);
      ASSERT_TRUE(matches(e, src, dst, size)) << threads << " threads";
    }
  }
}

TEST_P(FullResolution, OrderOfChecks) {
  const Export& e = GetParam();
  Operand src(e.srcPlanes, e.srcBytes, 1, 1), dst(e.dstPlanes, e.dstBytes, 1, 1);
  const auto call = [&](bool hasSrc, int srcStep, bool hasDst, int dstStep, ZeliSize size) {
    return e.call(hasSrc ? src.source() : nullptr, srcStep, hasDst ? dst.destination() : nullptr, dstStep, size);
  };
  EXPECT_EQ(call(false, 0, true, 0, {0, 0}), zelStatusNullPointer);
  EXPECT_EQ(call(true, 0, false, 0, {0, 0}), zelStatusNullPointer);
  const ZelStatus ofSteps = e.testsSteps ? ZelStatus{zelStatusBadStep} : ZelStatus{zelStatusBadSize};
  EXPECT_EQ(call(true, 0, true, 1, {0, 0}), ofSteps);
  EXPECT_EQ(call(true, 1, true, 0, {0, 0}), ofSteps);
  EXPECT_EQ(call(true, -1, true, 1, {0, 0}), ofSteps);
  EXPECT_EQ(call(true, 1, true, -1, {0, 0}), ofSteps);
  EXPECT_EQ(call(true, 1, true, 1, {0, 1}), zelStatusBadSize);
  EXPECT_EQ(call(true, 1, true, 1, {1, 0}), zelStatusBadSize);
  EXPECT_EQ(call(true, 1, true, 1, {-1, -1}), zelStatusBadSize);
  for (Operand* operand : {&src, &dst}) {
    for (Zel8u*& plane : operand->pointers) {
      Zel8u* const kept = plane;
      plane = nullptr;
      EXPECT_EQ(call(true, 0, true, 0, {0, 0}), zelStatusNullPointer);
      plane = kept;
    }
  }
  EXPECT_EQ(dst.pixel(0, 0)[0], GuardedMemory::kFill);
}

// Rows walked upwards, and all rows of an operand in one place: the exports that do not test their steps.
class FullResolutionAnyStep : public testing::TestWithParam<Export> {};

INSTANTIATE_TEST_SUITE_P(Colour, FullResolutionAnyStep, testing::ValuesIn(exportsOfAnyStep()),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_P(FullResolutionAnyStep, NegativeAndZeroSteps) {
  const Export& e = GetParam();
  Random random(4);
  constexpr int kWidth = 37, kHeight = 5;
  Operand src(e.srcPlanes, e.srcBytes, kWidth, kHeight, 3);
  for (auto& plane : src.planes) {
    plane.fill([&](int, int) { return random.in(0, 255); });
  }
  for (const int sourceWay : {-1, 0}) {
    for (const int destinationWay : {-1, 0}) {
      Operand dst(e.dstPlanes, e.dstBytes, kWidth, kHeight, 2);
      const auto lastRow = [](const Operand& operand) {
        std::vector<Zel8u*> rows = operand.pointers;
        for (Zel8u*& row : rows) row += (kHeight - 1) * operand.step();
        return rows;
      };
      const std::vector<Zel8u*> from = lastRow(src), to = lastRow(dst);
      ASSERT_EQ(e.call(from.data(), sourceWay * src.step(), to.data(), destinationWay * dst.step(), {kWidth, kHeight}),
                zelStatusOk);
      for (int i = 0; i < kHeight; ++i) { // in the order of the calls, the last of which stays
        if (destinationWay == 0 && i < kHeight - 1) continue;
        for (int x = 0; x < kWidth; ++x) {
          const int sourceRow = kHeight - 1 + sourceWay * i, row = kHeight - 1 + destinationWay * i;
          ASSERT_EQ(dst.pixel(x, row), expected(e, src.pixel(x, sourceRow), x, kWidth)) << "x " << x << ", row " << i;
        }
      }
    }
  }
}

TEST(ColourValues, FormsDifferByColumn) {
  // The ninth pixel of a row is beyond the group of eight.
  constexpr int kWidth = 9;
  Zel8u bgr[3 * kWidth] = {}, y[kWidth], cb[kWidth], cr[kWidth];
  Zel8u* const planes[3] = {y, cb, cr};
  for (int x = 0; x < kWidth; ++x) bgr[3 * x] = 250;
  ASSERT_EQ(zeliBGRToYCbCr_JPEG_8u_C3P3R(bgr, sizeof bgr, planes, kWidth, {kWidth, 1}), zelStatusOk);
  for (int x = 0; x < kWidth; ++x) EXPECT_EQ(y[x], x < 8 ? 28 : 29) << x;
  for (int x = 0; x < kWidth; ++x) bgr[3 * x] = 255;
  ASSERT_EQ(zeliBGRToYCbCr_JPEG_8u_C3P3R(bgr, sizeof bgr, planes, kWidth, {kWidth, 1}), zelStatusOk);
  EXPECT_EQ(cb[0], 255); // 256 before the limit
}

TEST(ColourValues, PackedPixels) {
  const Zel16u white = 0x7FFF;
  Zel8u y, cb, cr;
  Zel8u* const planes[3] = {&y, &cb, &cr};
  ASSERT_EQ(zeliRGB555ToYCbCr_JPEG_16u8u_C3P3R(&white, 2, planes, 1, {1, 1}), zelStatusOk);
  EXPECT_EQ(y, 248); // fields are widened with zero bits
  y = 255, cb = cr = 128;
  Zel16u packedPixel = 0;
  ASSERT_EQ(zeliYCbCrToRGB565_JPEG_8u16u_P3C3R(planes, 1, &packedPixel, 2, {1, 1}), zelStatusOk);
  EXPECT_EQ(packedPixel, 0xFFFF);
  ASSERT_EQ(zeliYCbCrToRGB555_JPEG_8u16u_P3C3R(planes, 1, &packedPixel, 2, {1, 1}), zelStatusOk);
  EXPECT_EQ(packedPixel, 0x7FFF);
}

} // namespace
} // namespace zelj::test
