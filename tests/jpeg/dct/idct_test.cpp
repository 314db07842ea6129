#include <gtest/gtest.h>

#include "jpeg/dct/model.h"
#include "support/guarded.h"
#include "zelj.h"

namespace zelj::test {
namespace {

int sample(int v) {
  return std::clamp(v + 128, 0, 255);
}
size_t at(int x, int y) {
  return static_cast<size_t>(8 * y + x);
}

// The members that write samples: which part of the block they look at, how much they write, and what.
struct Member {
  decltype(&zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R) function;
  int corner, size;
  Block (*model)(const Block&);
};
Block full(const Block& x) {
  return inverseTransform(x);
}
const Member kMembers[] = {{zeliDCTQuantInv8x8LS_JPEG_16s8u_C1R, 8, 8, full},
                           {zeliDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R, 4, 8, full},
                           {zeliDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, 2, 8, full},
                           {zeliDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R, 8, 4, inverseTo4x4},
                           {zeliDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R, 8, 2, inverseTo2x2}};

TEST(InverseDct, AgreesWithTheModel) {
  Random random(6);
  for (int trial = 0; trial < 3000; ++trial) {
    const Edge edge = trial & 1 ? Edge::end : Edge::begin;
    Region<Zel16s> block(64, 1, 0, edge), result(8, 8, 0, edge);
    Region<Zel16u> table(64, 1, 0, edge);
    block.fill([&](int, int) { return blockValue(random, trial, 60); });
    table.fill([&](int, int) { return trial % 3 ? random.in(1, 255) : trial % 2 ? 1 : random.in(0, 65535); });
    const auto dequantised = [&](int corner) {
      Block x{};
      for (int i = 0; i < 64; ++i) {
        if (i % 8 < corner && i / 8 < corner) x[static_cast<size_t>(i)] = wrap16(int64_t{block.get(i)} * table.get(i));
      }
      return x;
    };
    for (const Member& member : kMembers) {
      Region<Zel8u> samples(member.size, member.size, member.size + random.in(0, 9), edge);
      const Block expected = member.model(dequantised(member.corner));
      ASSERT_EQ(member.function(block.data(), samples.data(), samples.step(), table.data()), zelStatusOk);
      ASSERT_TRUE(equals(samples, [&](int x, int y) { return sample(expected[at(x, y)]); }))
          << "member " << &member - kMembers << ", trial " << trial;
    }
    const Block expected = inverseTransform(dequantised(8));
    ASSERT_EQ(zeliDCTQuantInv8x8_JPEG_16s_C1(block.data(), result.data(), table.data()), zelStatusOk);
    ASSERT_TRUE(equals(result, [&](int x, int y) { return expected[at(x, y)]; })) << "trial " << trial;
    ASSERT_EQ(zeliDCTQuantInv8x8_JPEG_16s_C1I(block.data(), table.data()), zelStatusOk);
    ASSERT_TRUE(equals(block, [&](int i, int) { return expected[static_cast<size_t>(i)]; })) << "trial " << trial;
  }
}

// The DC member reads one coefficient and one step, and truncates: 4 / 8 is 128, -4 / 8 is 127.
TEST(InverseDct, DcTermAlone) {
  const struct {
    int c, q, expected;
  } cases[] = {{0, 1, 128},    {4, 1, 128},    {7, 1, 128},         {8, 1, 129},   {-1, 1, 127},   {-4, 1, 127},
               {1008, 1, 254}, {1024, 1, 255}, {-1024, 1, 0},       {-3, 100, 90}, {-32768, 1, 0}, {32639, 8, 255},
               {32640, 8, 0},  {32767, 9, 0},  {-32768, 65535, 255}}; // the last three leave 16 bits
  for (const auto& c : cases) {
    Region<Zel16s> block(1, 1);
    Region<Zel16u> table(1, 1);
    Region<Zel8u> samples(8, 8, 11);
    block.set(0, 0, static_cast<Zel16s>(c.c));
    table.set(0, 0, static_cast<Zel16u>(c.q));
    ASSERT_EQ(zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(block.data(), samples.data(), 11, table.data()), zelStatusOk);
    EXPECT_TRUE(equals(samples, [&](int, int) { return c.expected; })) << c.c << " times " << c.q;
  }
}

// The reduced members give the means of groups of the ideal inverse, the full one its values.
TEST(InverseDct, LiesCloseToTheIdeal) {
  Random random(7);
  Zel16u table[64];
  std::fill_n(table, 64, Zel16u{1});
  for (int trial = 0; trial < 50; ++trial) {
    Block x{};
    for (size_t i = 0; i < 64; ++i) x[i] = i ? random.in(-20, 20) : random.in(-300, 300);
    Zel16s block[64];
    std::copy(x.begin(), x.end(), block);
    const auto ideal = idealInverse(x);
    for (const Member& member : {kMembers[0], kMembers[3], kMembers[4]}) {
      Zel8u samples[64];
      ASSERT_EQ(member.function(block, samples, 8, table), zelStatusOk);
      const int group = 8 / member.size;
      for (int i = 0; i < member.size * member.size; ++i) {
        const int u = i % member.size, v = i / member.size;
        double mean = 0;
        for (int k = 0; k < group * group; ++k) {
          mean += ideal[at(group * u + k % group, group * v + k / group)] / (group * group);
        }
        ASSERT_NEAR(samples[8 * v + u], std::clamp(mean + 128, 0.0, 255.0), 0.8) << "to " << member.size;
      }
    }
  }
}

// A DC term of 100 is 12.5 everywhere: the rounding terms make it a mix of 12 and 13.
TEST(InverseDct, FlatBlocksAreDithered) {
  Zel16s block[64] = {100}, result[64];
  Zel16u table[64];
  std::fill_n(table, 64, Zel16u{1});
  ASSERT_EQ(zeliDCTQuantInv8x8_JPEG_16s_C1(block, result, table), zelStatusOk);
  const auto twelves = std::count(result, result + 64, 12), thirteens = std::count(result, result + 64, 13);
  EXPECT_GT(twelves, 0);
  EXPECT_GT(thirteens, 0);
  EXPECT_EQ(twelves + thirteens, 64);
  block[0] = 0;
  ASSERT_EQ(zeliDCTQuantInv8x8_JPEG_16s_C1(block, result, table), zelStatusOk);
  EXPECT_EQ(std::count(result, result + 64, 0), 64);
}

void inverseFloat(float (&i)[8]) {
  const float c1 = 0.19891237f, c2 = 0.41421357f, c3 = 0.66817862f, c4 = 0.70710677f;
  const auto times = [](float x, float y) {
    const volatile float product = x * y; // no contraction
    return static_cast<float>(product);
  };
  const float a = times(c3, i[5]) + i[3], b = i[5] - times(c3, i[3]);
  const float d = i[1] + times(c1, i[7]), e = times(c1, i[1]) - i[7];
  const float f = d + a, g = d - a, h = e + b, k = e - b, j = times(c4, g + k), l = times(c4, g - k);
  const float m = i[0] + i[4], n = i[0] - i[4], p = i[2] + times(c2, i[6]), q = times(c2, i[2]) - i[6];
  const float r = m + p, s = m - p, t = n + q, u = n - q;
  const float o[8] = {r + f, t + j, u + l, s + h, s - h, u - l, t - j, r - f};
  std::copy_n(o, 8, i);
}

TEST(InverseDct, TwelveBitSamples) {
  constexpr double f[8] = {1, 1.38703985, 1.30656296, 1.17587560, 1, 1.17587560, 1.30656296, 1.38703985};
  Random random(8);
  for (int trial = 0; trial < 500; ++trial) {
    Region<Zel16s> block(8, 8);
    Region<Zel32f> table(8, 8);
    Region<Zel16u> samples(8, 8, 16 + random.in(0, 9));
    block.fill([&](int, int) { return blockValue(random, trial, 300); });
    table.fill([&](int, int) { return static_cast<float>(random.in(1, 400)) / 16; });
    float x[8][8];
    for (int v = 0; v < 8; ++v) {
      for (int u = 0; u < 8; ++u) {
        x[v][u] = static_cast<float>(block.get(u, v)) * table.get(u, v) * static_cast<float>(f[v] * f[u] / 8);
      }
      inverseFloat(x[v]);
    }
    for (int u = 0; u < 8; ++u) {
      float column[8];
      for (int v = 0; v < 8; ++v) column[v] = x[v][u];
      inverseFloat(column);
      for (int v = 0; v < 8; ++v) x[v][u] = column[v];
    }
    ASSERT_EQ(zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(block.data(), samples.data(), samples.step(), table.data()),
              zelStatusOk);
    ASSERT_TRUE(equals(samples, [&](int u, int v) { return std::clamp(std::trunc(x[v][u] + 2048.0f), 0.0f, 4095.0f); }))
        << "trial " << trial;
  }
}

TEST(InverseDct, OrderOfChecks) {
  Zel16s block[64], result[64] = {7};
  Zel8u samples[64] = {7};
  Zel16u wide[64] = {7}, table[64];
  Zel32f factors[64];
  decltype(kMembers[0].function) functions[6] = {zeliDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R};
  for (int i = 0; i < 5; ++i) functions[i + 1] = kMembers[i].function;
  for (const auto function : functions) {
    EXPECT_EQ(function(nullptr, samples, 0, nullptr), zelStatusNullPointer);
    EXPECT_EQ(function(block, nullptr, 0, table), zelStatusNullPointer);
    EXPECT_EQ(function(block, samples, 0, nullptr), zelStatusBadStep);
    EXPECT_EQ(function(block, samples, -8, table), zelStatusBadStep);
    EXPECT_EQ(function(block, samples, 8, nullptr), zelStatusNullPointer);
  }
  EXPECT_EQ(zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(nullptr, wide, 0, nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(block, nullptr, 0, factors), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(block, wide, 0, nullptr), zelStatusBadStep);
  EXPECT_EQ(zeliDCTQuantInv8x8LS_JPEG_16s16u_C1R(block, wide, 16, nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantInv8x8_JPEG_16s_C1(nullptr, result, table), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantInv8x8_JPEG_16s_C1(block, nullptr, table), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantInv8x8_JPEG_16s_C1(block, result, nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantInv8x8_JPEG_16s_C1I(nullptr, table), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantInv8x8_JPEG_16s_C1I(result, nullptr), zelStatusNullPointer);
  EXPECT_EQ(result[0], 7);
  EXPECT_EQ(samples[0], 7);
  EXPECT_EQ(wide[0], 7);
}

} // namespace
} // namespace zelj::test
