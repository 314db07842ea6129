// The colour conversions with halved chroma, each beside a model of one group of pixels.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <array>
#include <functional>

#include "support/guarded.h"
#include "support/random.h"
#include "support/sparse.h"
#include "zelj.h"

namespace zelj::test {
namespace {

constexpr Zel8u kAlpha = 0x5C;

int clamp8(int v) {
  return std::clamp(v, 0, 255);
}

using Three = std::array<int, 3>;

int luma(Three p, bool inLane) {
  const auto [r, g, b] = p;
  return inLane ? (4899 * r / 256 + 9617 * g / 256 + 1868 * b / 256 + 32) >> 6
                : (4899 * r + 9617 * g + 1868 * b + 8192) >> 14;
}

// Cb and Cr of the sums of 2 * rows pixels.
std::array<int, 2> chroma(Three sum, int rows, bool inLane) {
  const auto [r, g, b] = sum;
  if (inLane) {
    const int d = 1024 * rows;
    return {clamp8((8192 * b / d - 2765 * r / d - 5427 * g / d + 4112) >> 5),
            clamp8((8192 * r / d - 6860 * g / d - 1332 * b / d + 4112) >> 5)};
  }
  const int shift = 14 + rows, round = rows == 1 ? 4210688 : 8421376;
  return {clamp8((8192 * b - 5427 * g - 2765 * r + round) >> shift),
          clamp8((8192 * r - 6860 * g - 1332 * b + round) >> shift)};
}

Three laneInverse(Three p) {
  const auto [y, cb, cr] = p;
  return {clamp8((16 * y + 11485 * cr / 512 - 2871 + 8) >> 4),
          clamp8((16 * y + 2167 - (2819 * cb / 512 + 5850 * cr / 512) + 8) >> 4),
          clamp8((16 * y + 14516 * cb / 512 - 3629 + 8) >> 4)};
}

using Planes = Zel8u* const*;
struct Export {
  const char* name;
  int bytes, rows; // of a pixel; of pixels that share chroma
  bool forward, bgr;
  // pixels, their step, planes, their steps
  std::function<ZelStatus(Zel8u*, int, Planes, const int*, ZeliSize)> call;
};

std::vector<Export> exports() {
  std::vector<Export> list;
#define FORWARD(order, c, n)                                                                          \
  list.push_back({#order #c "From" #n, n, c == 411 ? 2 : 1, true, *#order == 'B',                     \
                  [](Zel8u* p, int step, Planes planes, const int* steps, ZeliSize size) {            \
                    return zeli##order##ToYCbCr##c##_JPEG_8u_C##n##P3R(p, step, planes, steps, size); \
                  }})
#define INVERSE(order, c, n, ...)                                                                        \
  list.push_back({#order #c "To" #n, n, c == 411 ? 2 : 1, false, *#order == 'B',                         \
                  [](Zel8u* p, int step, Planes planes, const int* steps, ZeliSize size) {               \
                    return zeliYCbCr##c##To##order##_JPEG_8u_P3C##n##R(planes, steps, p, step,           \
                                                                       size __VA_OPT__(, ) __VA_ARGS__); \
                  }})
#define BOTH(order, c)  \
  FORWARD(order, c, 3); \
  FORWARD(order, c, 4); \
  INVERSE(order, c, 3); \
  INVERSE(order, c, 4, kAlpha)
  BOTH(RGB, 411);
  BOTH(BGR, 411);
  BOTH(RGB, 422);
  BOTH(BGR, 422);
#undef BOTH
#undef INVERSE
#undef FORWARD
  return list;
}

// Pixels and planes of a region, each with gaps of its own between rows. Chroma has width / 2 samples in a row, and no
// more.
struct Operands {
  Operands(const Export& e, ZeliSize size, Random& random, Edge edge)
      : pixels(size.width * e.bytes, size.height, size.width * e.bytes + random.in(0, 5), edge),
        planes{plane(size, random, edge), plane({size.width / 2, size.height / e.rows}, random, edge),
               plane({size.width / 2, size.height / e.rows}, random, edge)} {}

  static Region<Zel8u> plane(ZeliSize size, Random& random, Edge edge) {
    return Region<Zel8u>(size.width, size.height, size.width + random.in(0, 5), edge);
  }
  ZelStatus call(const Export& e, ZeliSize size) const {
    Zel8u* const pointers[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
    const int steps[3] = {planes[0].step(), planes[1].step(), planes[2].step()};
    return e.call(pixels.data(), pixels.step(), pointers, steps, size);
  }
  Three pixel(const Export& e, int x, int y) const {
    const auto at = [&](int i) -> int { return pixels.get(x * e.bytes + i, y); };
    return e.bgr ? Three{at(2), at(1), at(0)} : Three{at(0), at(1), at(2)};
  }

  Region<Zel8u> pixels;
  std::array<Region<Zel8u>, 3> planes;
};

testing::AssertionResult forwardMatches(const Export& e, const Operands& o, ZeliSize size) {
  const int width = size.width & ~1, height = size.height / e.rows * e.rows;
  const auto inLane = [&](int x) { return x < (size.width & ~7); };
  const auto chromaAt = [&](size_t which) {
    return [&e, &o, inLane, which](int x, int y) {
      Three sum{};
      for (int i = 0; i < 2 * e.rows; ++i) {
        const Three p = o.pixel(e, 2 * x + i % 2, e.rows * y + i / 2);
        for (size_t c = 0; c < 3; ++c) sum[c] += p[c];
      }
      return chroma(sum, e.rows, inLane(2 * x))[which];
    };
  };
  if (auto result = equals(o.planes[0],
                           [&](int x, int y) {
                             return x < width && y < height ? luma(o.pixel(e, x, y), inLane(x)) : GuardedMemory::kFill;
                           });
      !result) {
    return result << ", in Y";
  }
  if (auto result = equals(o.planes[1], chromaAt(0)); !result) return result << ", in Cb";
  return equals(o.planes[2], chromaAt(1));
}

testing::AssertionResult inverseMatches(const Export& e, const Operands& o, ZeliSize size) {
  const int width = size.width & ~1, height = size.height / e.rows * e.rows;
  return equals(o.pixels, [&](int byte, int y) -> int {
    const int x = byte / e.bytes, channel = byte % e.bytes;
    if (x >= width || y >= height) return GuardedMemory::kFill;
    if (channel == 3) return kAlpha;
    const Three rgb =
        laneInverse({o.planes[0].get(x, y), o.planes[1].get(x / 2, y / e.rows), o.planes[2].get(x / 2, y / e.rows)});
    return rgb[static_cast<size_t>(e.bgr ? 2 - channel : channel)];
  });
}

class HalvedChroma : public testing::TestWithParam<Export> {};

INSTANTIATE_TEST_SUITE_P(Colour, HalvedChroma, testing::ValuesIn(exports()),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_P(HalvedChroma, EveryWidthStepAndAlignment) {
  const Export& e = GetParam();
  Random random(1);
  for (int width = 2; width < 150; ++width) {
    for (const Edge edge : {Edge::end, Edge::begin}) {
      const ZeliSize size{width, random.in(e.rows, 5)};
      Operands o(e, size, random, edge);
      const bool extreme = random.in(0, 1) != 0;
      const auto any = [&](int, int) { return extreme ? random.oneOf({0, 1, 127, 128, 254, 255}) : random.in(0, 255); };
      if (e.forward) {
        o.pixels.fill(any);
      } else {
        for (auto& plane : o.planes) plane.fill(any);
      }
      const bool odd = size.width % 2 != 0 || size.height % e.rows != 0;
      ASSERT_EQ(o.call(e, size), odd ? zelStatusOddSize : zelStatusOk);
      ASSERT_TRUE(e.forward ? forwardMatches(e, o, size) : inverseMatches(e, o, size));
    }
  }
}

// All pairs of chroma with some luma, and sums of groups of every size: flat, and with one pixel that differs.
TEST_P(HalvedChroma, ManyColours) {
  const Export& e = GetParam();
  const ZeliSize size{2048, 64};
  Random random(2);
  Operands o(e, size, random, Edge::end);
  for (int round = 0; round < 6; ++round) {
    if (e.forward) {
      o.pixels.fill([&](int, int) { return random.oneOf({0, 255, random.in(0, 255)}); });
    } else {
      o.planes[0].fill([&](int, int) { return random.in(0, 255); });
      o.planes[1].fill([&](int x, int) { return x / 4; });
      o.planes[2].fill([&](int x, int y) { return x % 4 + 4 * (y + (e.rows == 2 ? 32 * (round % 2) : 0)); });
    }
    ASSERT_EQ(o.call(e, size), zelStatusOk);
    ASSERT_TRUE(e.forward ? forwardMatches(e, o, size) : inverseMatches(e, o, size));
  }
}

TEST_P(HalvedChroma, OrderOfChecksAndLeastSizes) {
  const Export& e = GetParam();
  Random random(3);
  Operands o(e, {2, 2}, random, Edge::end);
  Zel8u* planes[3] = {o.planes[0].data(), o.planes[1].data(), o.planes[2].data()};
  const int steps[3] = {};
  EXPECT_EQ(e.call(nullptr, 0, planes, steps, {0, 0}), zelStatusNullPointer);
  EXPECT_EQ(e.call(o.pixels.data(), 0, nullptr, steps, {0, 0}), zelStatusNullPointer);
  for (Zel8u*& plane : planes) {
    Zel8u* const kept = std::exchange(plane, nullptr);
    EXPECT_EQ(e.call(o.pixels.data(), 0, planes, steps, {0, 0}), zelStatusNullPointer);
    plane = kept;
  }
  EXPECT_EQ(e.call(o.pixels.data(), 0, planes, steps, {1, 2}), zelStatusBadSize);
  EXPECT_EQ(e.call(o.pixels.data(), 0, planes, steps, {2, e.rows - 1}), zelStatusBadSize);
  EXPECT_EQ(e.call(o.pixels.data(), 0, planes, steps, {-2, -2}), zelStatusBadSize);
  EXPECT_TRUE(equals(o.pixels, [](int, int) { return GuardedMemory::kFill; }));
  EXPECT_TRUE(equals(o.planes[1], [](int, int) { return GuardedMemory::kFill; }));
}

TEST_P(HalvedChroma, RowsWalkedUpwards) {
  const Export& e = GetParam();
  Random random(4);
  const ZeliSize size{38, 6};
  Operands down(e, size, random, Edge::end);
  down.pixels.fill([&](int, int) { return random.in(0, 255); });
  for (auto& plane : down.planes) plane.fill([&](int, int) { return random.in(0, 255); });
  // The same rows from the last to the first, by negative steps.
  Operands up(e, size, random, Edge::end);
  const auto mirror = [](Region<Zel8u>& to, const Region<Zel8u>& from) {
    to.fill([&](int x, int y) { return from.get(x, from.height() - 1 - y); });
  };
  mirror(up.pixels, down.pixels);
  for (size_t i = 0; i < 3; ++i) mirror(up.planes[i], down.planes[i]);
  const auto last = [](const Region<Zel8u>& r) { return r.data() + (r.height() - 1) * r.step(); };
  Zel8u* const planes[3] = {last(up.planes[0]), last(up.planes[1]), last(up.planes[2])};
  const int steps[3] = {-up.planes[0].step(), -up.planes[1].step(), -up.planes[2].step()};
  ASSERT_EQ(down.call(e, size), zelStatusOk);
  ASSERT_EQ(e.call(last(up.pixels), -up.pixels.step(), planes, steps, size), zelStatusOk);
  const auto mirrored = [](const Region<Zel8u>& r) {
    return [&r](int x, int y) { return r.get(x, r.height() - 1 - y); };
  };
  EXPECT_TRUE(equals(up.pixels, mirrored(down.pixels)));
  for (size_t i = 0; i < 3; ++i) EXPECT_TRUE(equals(up.planes[i], mirrored(down.planes[i])));
}

TEST_P(HalvedChroma, RowsAGigabyteApart) {
  const Export& e = GetParam();
  Random random(6);
  const ZeliSize size{18, 4};
  Operands o(e, size, random, Edge::end);
  o.pixels.fill([&](int, int) { return random.in(0, 255); });
  for (auto& plane : o.planes) plane.fill([&](int, int) { return random.in(0, 255); });
  const SparseRows pixels(size.height, o.pixels.width()), y(size.height, 18), cb(size.height, 9), cr(size.height, 9);
  const auto copy = [](const Region<Zel8u>& from, const SparseRows& to) {
    for (int line = 0; line < from.height(); ++line) {
      for (int x = 0; x < from.width(); ++x) to.row(line)[x] = from.get(x, line);
    }
  };
  copy(o.pixels, pixels), copy(o.planes[0], y), copy(o.planes[1], cb), copy(o.planes[2], cr);
  Zel8u* const planes[3] = {y.row(0), cb.row(0), cr.row(0)};
  const int steps[3] = {kHugeStep, kHugeStep, kHugeStep};
  ASSERT_EQ(o.call(e, size), zelStatusOk);
  ASSERT_EQ(e.call(pixels.row(0), kHugeStep, planes, steps, size), zelStatusOk);
  EXPECT_TRUE(equals(o.pixels, [&](int x, int line) { return pixels.row(line)[x]; }));
  EXPECT_TRUE(equals(o.planes[0], [&](int x, int line) { return y.row(line)[x]; }));
  EXPECT_TRUE(equals(o.planes[2], [&](int x, int line) { return cr.row(line)[x]; }));
}

Three pairedInverse(Three p, bool inVector) {
  const auto [y, cb, cr] = p;
  if (inVector) {
    const auto part = [](int v) { return v >> 9; };
    return {clamp8(y + (part(22970 * cr) >> 5) - 179), clamp8(y + ((part(-11700 * cr) + part(-5638 * cb)) >> 5) + 135),
            clamp8(y + (part(29032 * cb) >> 5) - 226)};
  }
  return {clamp8(y + ((91881 * (cr - 128) + 32768) >> 16)),
          clamp8(y + ((-22554 * (cb - 128) - 46802 * (cr - 128) + 32768) >> 16)),
          clamp8(y + ((116130 * (cb - 128) + 32768) >> 16))};
}

TEST(HalvedChromaPairs, EveryWidthAndThreads) {
  Random random(5);
  std::vector<ZeliSize> sizes{{8193, 2}, {65537, 3}};
  for (int width = 1; width < 150; ++width) sizes.push_back({width, 2});
  for (const ZeliSize size : sizes) {
    const int whole = (size.width + 1) / 2 * 2; // an odd width ends on a whole pair
    Region<Zel8u> pairs(2 * whole, size.height, 2 * whole + random.in(0, 5));
    Region<Zel8u> rgb(3 * whole, size.height, 3 * whole + random.in(0, 5));
    pairs.fill([&](int, int) { return random.oneOf({0, 255, random.in(0, 255)}); });
    omp_set_num_threads(random.in(1, 3));
    ASSERT_EQ(zeliYCbCr422ToRGB_JPEG_8u_C2C3R(pairs.data(), pairs.step(), rgb.data(), rgb.step(), size), zelStatusOk);
    ASSERT_TRUE(equals(rgb, [&](int byte, int y) {
      const int x = byte / 3, pair = x / 2 * 4;
      const Three p{pairs.get(2 * x, y), pairs.get(pair + 1, y), pairs.get(pair + 3, y)};
      return pairedInverse(p, x < (size.width & ~7))[static_cast<size_t>(byte % 3)];
    }));
  }
  Zel8u bytes[6] = {};
  EXPECT_EQ(zeliYCbCr422ToRGB_JPEG_8u_C2C3R(nullptr, 0, bytes, 0, {0, 0}), zelStatusNullPointer);
  EXPECT_EQ(zeliYCbCr422ToRGB_JPEG_8u_C2C3R(bytes, 0, nullptr, 0, {0, 0}), zelStatusNullPointer);
  EXPECT_EQ(zeliYCbCr422ToRGB_JPEG_8u_C2C3R(bytes, 0, bytes, 0, {0, 1}), zelStatusBadSize);
  EXPECT_EQ(zeliYCbCr422ToRGB_JPEG_8u_C2C3R(bytes, 0, bytes, 0, {1, 0}), zelStatusBadSize);
}

} // namespace
} // namespace zelj::test
