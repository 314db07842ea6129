#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>

#include "support/guarded.h"
#include "support/random.h"
#include "support/sparse.h"
#include "zelj.h"

namespace zelj::test {
namespace {

int add128(int v) {
  return std::clamp(v + 128, 0, 255);
}

TEST(LevelShift, EveryWidthStepAndAlignment) {
  Random random(1);
  for (int width = 1; width <= 140; ++width) {
    for (const Edge edge : {Edge::end, Edge::begin}) {
      const int height = 3, gap = random.in(0, 3);
      Region<Zel8u> samples(width, height, width + gap, edge);
      Region<Zel16s> shifted(width, height, 2 * width + random.in(0, 5), edge);
      samples.fill([&](int, int) { return random.in(0, 255); });
      ASSERT_EQ(
          zeliSub128_JPEG_8u16s_C1R(samples.data(), samples.step(), shifted.data(), shifted.step(), {width, height}),
          zelStatusOk);
      ASSERT_TRUE(equals(shifted, [&](int x, int y) { return samples.get(x, y) - 128; }));

      shifted.fill([&](int, int) {
        return random.in(0, 1) ? random.in(-200, 400) : random.oneOf({-32768, -129, -128, 127, 128, 32640, 32767});
      });
      Region<Zel8u> back(width, height, width + gap, edge);
      ASSERT_EQ(zeliAdd128_JPEG_16s8u_C1R(shifted.data(), shifted.step(), back.data(), back.step(), {width, height}),
                zelStatusOk);
      ASSERT_TRUE(equals(back, [&](int x, int y) { return add128(shifted.get(x, y)); }));
    }
  }
}

// 8192 pixels are done by one thread, 8193 and more by as many as the runtime has, more than there are rows included.
TEST(LevelShift, SameResultOnAnyNumberOfThreads) {
  Random random(2);
  for (const ZeliSize size : {ZeliSize{128, 64}, {8193, 1}, {2731, 3}, {129, 64}, {1, 8193}}) {
    Region<Zel16s> source(size.width, size.height);
    source.fill([&](int, int) { return random.in(-32768, 32767); });
    for (const int threads : {1, 2, 7}) {
      omp_set_num_threads(threads);
      Region<Zel8u> result(size.width, size.height, size.width + 1);
      ASSERT_EQ(zeliAdd128_JPEG_16s8u_C1R(source.data(), source.step(), result.data(), result.step(), size),
                zelStatusOk);
      ASSERT_TRUE(equals(result, [&](int x, int y) { return add128(source.get(x, y)); })) << threads << " threads";
    }
  }
}

TEST(LevelShift, RowsAGigabyteApart) {
  const SparseRows samples(3, 1), shifted(3, 2);
  samples.row(2)[0] = 200;
  auto* to = reinterpret_cast<Zel16s*>(shifted.row(0));
  ASSERT_EQ(zeliSub128_JPEG_8u16s_C1R(samples.row(0), kHugeStep, to, kHugeStep, {1, 3}), zelStatusOk);
  EXPECT_EQ(*reinterpret_cast<Zel16s*>(shifted.row(2)), 72);
}

TEST(LevelShift, OrderOfChecks) {
  Zel8u samples[1] = {7};
  Zel16s shifted[1] = {7};
  const struct {
    bool source;
    int srcStep;
    bool destination;
    int dstStep;
    ZeliSize size;
    ZelStatus status;
  } cases[] = {
      {false, 0, false, 0, {0, 0}, zelStatusNullPointer}, {true, 0, false, 0, {0, 0}, zelStatusBadStep},
      {true, 1, false, 0, {0, 0}, zelStatusNullPointer},  {true, 1, true, 0, {0, 0}, zelStatusBadStep},
      {true, 1, true, 1, {0, 1}, zelStatusBadSize},       {true, 1, true, 1, {1, 0}, zelStatusBadSize},
      {true, -1, true, 1, {1, 1}, zelStatusBadStep},      {true, 1, true, 1, {-1, -1}, zelStatusBadSize},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(zeliSub128_JPEG_8u16s_C1R(c.source ? samples : nullptr, c.srcStep, c.destination ? shifted : nullptr,
                                        c.dstStep, c.size),
              c.status);
    EXPECT_EQ(zeliAdd128_JPEG_16s8u_C1R(c.source ? shifted : nullptr, c.srcStep, c.destination ? samples : nullptr,
                                        c.dstStep, c.size),
              c.status);
  }
  EXPECT_EQ(samples[0], 7);
  EXPECT_EQ(shifted[0], 7);
}

} // namespace
} // namespace zelj::test
