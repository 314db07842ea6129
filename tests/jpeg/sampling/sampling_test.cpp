#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <vector>

#include "support/guarded.h"
#include "support/random.h"
#include "support/sparse.h"
#include "zelj.h"

namespace zelj::test {
namespace {

using PlaneFunction = decltype(&zeliSampleUpH2V1_JPEG_8u_C1R);

// The formulas; s(x, y) gives a source sample.
template <class S>
int halved1(const S& s, int x, int y, int bias) {
  return (s(2 * x, y) + s(2 * x + 1, y) + bias) >> 1;
}

template <class S>
int halved2(const S& s, int x, int y, int bias) {
  return (s(2 * x, 2 * y) + s(2 * x + 1, 2 * y) + s(2 * x, 2 * y + 1) + s(2 * x + 1, 2 * y + 1) + bias) >> 2;
}

template <class S>
int doubled1(const S& s, int x, int y) {
  const int i = x / 2;
  return x % 2 ? (3 * s(i, y) + s(i + 1, y) + 2) >> 2 : (s(i - 1, y) + 3 * s(i, y) + 1) >> 2;
}

template <class S>
int doubled2(const S& s, int x, int near, int far) {
  const auto c = [&](int i) { return 3 * s(i, near) + s(i, far); };
  const int i = x / 2;
  return x % 2 ? (3 * c(i) + c(i + 1) + 7) >> 4 : (c(i - 1) + 3 * c(i) + 8) >> 4;
}

// A source region with a margin around it, whose outermost bytes touch the guard pages.
struct Source {
  Source(int width, int height, int marginX, int marginY, int gap, Edge edge, Random& random)
      : region(width + 2 * marginX, height + 2 * marginY, width + 2 * marginX + gap, edge), x0(marginX), y0(marginY) {
    const int kind = random.in(0, 2); // noise, the extremes, a flat plane
    const int flat = random.in(0, 255);
    region.fill([&](int, int) { return kind == 2 ? flat : kind ? random.oneOf({0, 255}) : random.in(0, 255); });
  }
  const Zel8u* data() const { return region.data() + y0 * region.step() + x0; }
  int operator()(int x, int y) const { return region.get(x + x0, y + y0); }

  Region<Zel8u> region;
  int x0, y0;
};

const struct Plane {
  PlaneFunction function;
  bool up, vertical;
  int (*expected)(const Source& s, int x, int y);
} kPlanes[] = {
    {zeliSampleDownH2V1_JPEG_8u_C1R, false, false, [](auto& s, int x, int y) { return halved1(s, x, y, 1); }},
    {zeliSampleDownH2V2_JPEG_8u_C1R, false, true, [](auto& s, int x, int y) { return halved2(s, x, y, 3); }},
    {zeliSampleUpH2V1_JPEG_8u_C1R, true, false, [](auto& s, int x, int y) { return doubled1(s, x, y); }},
    {zeliSampleUpH2V2_JPEG_8u_C1R, true, true,
     [](auto& s, int x, int y) { return doubled2(s, x, y / 2, y % 2 ? y / 2 + 1 : y / 2 - 1); }},
};

// A destination of this size from a source that is just large enough, margins included.
void checkPlane(const Plane& plane, ZeliSize size, int gap, Edge edge, Random& random) {
  const int width = plane.up ? size.width / 2 : 2 * size.width;
  const int height = !plane.vertical ? size.height : plane.up ? size.height / 2 : 2 * size.height;
  const Source source(width, height, plane.up, plane.up && plane.vertical, gap, edge, random);
  Region<Zel8u> result(size.width, size.height, size.width + random.in(0, 3), edge);
  // Only the destination's size counts.
  ASSERT_EQ(plane.function(source.data(), source.region.step(), {1, 1}, result.data(), result.step(), size),
            zelStatusOk);
  ASSERT_TRUE(equals(result, [&](int x, int y) { return plane.expected(source, x, y); }))
      << "function " << &plane - kPlanes;
}

TEST(Sampling, PlanesOfEveryWidth) {
  Random random(1);
  for (int width = 1; width <= 300; ++width) {
    for (const Edge edge : {Edge::end, Edge::begin}) {
      for (const Plane& plane : kPlanes) checkPlane(plane, {width, random.in(1, 5)}, random.in(0, 3), edge, random);
    }
  }
}

// From 8193 pixels of the destination on rows are shared out over threads.
TEST(Sampling, PlanesOnAnyNumberOfThreads) {
  Random random(2);
  for (const ZeliSize size : {ZeliSize{128, 64}, {8193, 1}, {2731, 3}, {129, 64}}) {
    for (const int threads : {1, 2, 7}) {
      omp_set_num_threads(threads);
      for (const Plane& plane : kPlanes) checkPlane(plane, size, 1, Edge::end, random);
    }
  }
}

TEST(Sampling, RowsOfEveryWidth) {
  Random random(3);
  for (int width = 1; width <= 300; ++width) {
    for (const Edge edge : {Edge::end, Edge::begin}) {
      const Source upper(width, 1, 0, 0, 0, edge, random), lower(width, 1, 0, 0, 0, edge, random);
      const Zel8u *first = upper.data(), *second = lower.data();
      const auto s = [&](int x, int y) { return (y ? lower : upper)(x, 0); };
      const auto repeated = [&](int x, int y) { return s(std::clamp(x, 0, width - 1), y); };
      Region<Zel8u> doubled(2 * width, 1, 0, edge);
      ASSERT_EQ(zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(second, width, doubled.data()), zelStatusOk);
      ASSERT_TRUE(equals(doubled, [&](int x, int) { return doubled1(repeated, x, 1); }));
      ASSERT_EQ(zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(second, first, width, doubled.data()), zelStatusOk);
      ASSERT_TRUE(equals(doubled, [&](int x, int) { return doubled2(repeated, x, 1, 0); }));

      Region<Zel8u> halved(width / 2, 1, 0, edge);
      ASSERT_EQ(zeliSampleDownRowH2V1_Box_JPEG_8u_C1(second, width, halved.data()), zelStatusOk);
      ASSERT_TRUE(equals(halved, [&](int x, int) { return halved1(s, x, 1, x % 2); }));
      ASSERT_EQ(zeliSampleDownRowH2V2_Box_JPEG_8u_C1(first, second, width, halved.data()), zelStatusOk);
      ASSERT_TRUE(equals(halved, [&](int x, int) { return halved2(s, x, 0, 1 + x % 2); }));
    }
  }
}

// Doubling sees two neighbours at a time: all pairs of samples, and all pairs of vertical sums 3 near + far.
TEST(Sampling, DoublingOfEveryPairOfNeighbours) {
  constexpr int kSums = 1021;
  std::vector<Zel8u> near(2 * kSums), far(2 * kSums), result(4 * kSums);
  const auto s = [&](int x, int y) {
    x = std::clamp(x, 0, 2 * kSums - 1);
    return static_cast<int>(y ? far[static_cast<size_t>(x)] : near[static_cast<size_t>(x)]);
  };
  const auto set = [&](int x, int sum) {
    near[static_cast<size_t>(x)] = static_cast<Zel8u>(std::min(sum / 3, 255));
    far[static_cast<size_t>(x)] = static_cast<Zel8u>(sum - 3 * std::min(sum / 3, 255));
  };
  for (int a = 0; a < kSums; ++a) {
    for (int b = 0; b < kSums; ++b) {
      set(2 * b, a);
      set(2 * b + 1, b);
    }
    ASSERT_EQ(zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(near.data(), far.data(), 2 * kSums, result.data()), zelStatusOk);
    for (int x = 0; x < 4 * kSums; ++x)
      ASSERT_EQ(result[static_cast<size_t>(x)], doubled2(s, x, 0, 1)) << a << " " << x;
    ASSERT_EQ(zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(near.data(), 2 * kSums, result.data()), zelStatusOk);
    for (int x = 0; x < 4 * kSums; ++x) ASSERT_EQ(result[static_cast<size_t>(x)], doubled1(s, x, 0)) << a << " " << x;
  }
}

TEST(Sampling, RowsAGigabyteApart) {
  const SparseRows source(4, 2), result(4, 4);
  for (int y = 0; y < 4; ++y) {
    source.row(y)[0] = source.row(y)[1] = static_cast<Zel8u>(10 + y);
  }
  ASSERT_EQ(zeliSampleDownH2V2_JPEG_8u_C1R(source.row(0), kHugeStep, {2, 4}, result.row(0), kHugeStep, {1, 2}),
            zelStatusOk);
  EXPECT_EQ(result.row(1)[0], (2 * 12 + 2 * 13 + 3) >> 2);
  ASSERT_EQ(zeliSampleDownH2V1_JPEG_8u_C1R(source.row(0), kHugeStep, {2, 4}, result.row(0), kHugeStep, {1, 4}),
            zelStatusOk);
  EXPECT_EQ(result.row(3)[0], 13);
}

// Rows and planes differ in their rounding.
TEST(Sampling, GoldenValues) {
  const Zel8u ramp[] = {1, 2, 1, 2, 1, 2}, ones[] = {1, 1, 1, 1}, twos[] = {2, 2, 2, 2}, step[] = {0, 4};
  const Zel8u single[] = {0, 1, 0, 0}, zeros[] = {0, 0, 0, 0};
  Zel8u d[4];
  zeliSampleDownRowH2V1_Box_JPEG_8u_C1(ramp, 6, d);
  EXPECT_EQ(std::vector<Zel8u>(d, d + 3), (std::vector<Zel8u>{1, 2, 1}));
  zeliSampleDownRowH2V2_Box_JPEG_8u_C1(ones, twos, 4, d);
  EXPECT_EQ(std::vector<Zel8u>(d, d + 2), (std::vector<Zel8u>{1, 2}));
  zeliSampleDownRowH2V2_Box_JPEG_8u_C1(single, zeros, 4, d);
  EXPECT_EQ(std::vector<Zel8u>(d, d + 2), (std::vector<Zel8u>{0, 0}));
  zeliSampleDownH2V2_JPEG_8u_C1R(single, 2, {2, 2}, d, 1, {1, 1});
  EXPECT_EQ(d[0], 1);
  zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(step, 2, d);
  EXPECT_EQ(std::vector<Zel8u>(d, d + 4), (std::vector<Zel8u>{0, 1, 3, 4}));
}

TEST(Sampling, OrderOfChecks) {
  Zel8u s[1] = {7}, d[1] = {7};
  const struct {
    bool source;
    int srcStep;
    ZeliSize srcSize;
    bool destination;
    int dstStep;
    ZeliSize dstSize;
    ZelStatus status;
  } cases[] = {
      {false, 0, {0, 0}, false, 0, {0, 0}, zelStatusNullPointer}, {true, 0, {0, 0}, false, 0, {0, 0}, zelStatusBadStep},
      {true, 1, {0, 1}, false, 0, {0, 0}, zelStatusBadSize},      {true, 1, {1, 0}, false, 0, {0, 0}, zelStatusBadSize},
      {true, 1, {1, 1}, false, 0, {0, 0}, zelStatusNullPointer},  {true, 1, {1, 1}, true, 0, {0, 0}, zelStatusBadStep},
      {true, 1, {1, 1}, true, 1, {0, 1}, zelStatusBadSize},       {true, 1, {1, 1}, true, 1, {1, 0}, zelStatusBadSize},
  };
  for (const auto& c : cases) {
    for (const Plane& plane : kPlanes) {
      EXPECT_EQ(plane.function(c.source ? s : nullptr, c.srcStep, c.srcSize, c.destination ? d : nullptr, c.dstStep,
                               c.dstSize),
                c.status);
    }
  }
  for (const int width : {0, -1, 1}) {
    const ZelStatus status = width < 1 ? zelStatusBadSize : zelStatusOk;
    for (int missing = 0; missing < 4; ++missing) {
      Zel8u doubled[2];
      const Zel8u *first = missing == 1 ? nullptr : s, *second = missing == 2 ? nullptr : s;
      Zel8u* to = missing == 3 ? nullptr : doubled;
      EXPECT_EQ(zeliSampleDownRowH2V2_Box_JPEG_8u_C1(first, second, width, to),
                missing ? zelStatusNullPointer : status);
      EXPECT_EQ(zeliSampleUpRowH2V2_Triangle_JPEG_8u_C1(first, second, width, to),
                missing ? zelStatusNullPointer : status);
      if (missing == 2) continue;
      EXPECT_EQ(zeliSampleDownRowH2V1_Box_JPEG_8u_C1(first, width, to), missing ? zelStatusNullPointer : status);
      EXPECT_EQ(zeliSampleUpRowH2V1_Triangle_JPEG_8u_C1(first, width, to), missing ? zelStatusNullPointer : status);
    }
  }
  EXPECT_EQ(d[0], 7);
}

} // namespace
} // namespace zelj::test
