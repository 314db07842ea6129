#include <gtest/gtest.h>

#include "jpeg/dct/model.h"
#include "support/guarded.h"
#include "zelj.h"

namespace zelj::test {
namespace {

size_t at(int x, int y) {
  return static_cast<size_t>(8 * y + x);
}

int tableEntry(Random& random, int trial) {
  return trial % 3 ? random.in(0, 65535) : random.oneOf({0, 1, 129, 8192, 16384, 32767, 32768, 32769, 65535});
}

TEST(ForwardDct, AgreesWithTheModel) {
  Random random(3);
  for (int trial = 0; trial < 3000; ++trial) {
    const Edge edge = trial & 1 ? Edge::end : Edge::begin;
    Region<Zel8u> samples(8, 8, 8 + random.in(0, 9), edge);
    Region<Zel16s> block(64, 1, 0, edge), result(8, 8, 0, edge);
    Region<Zel16u> table(8, 8, 0, edge);
    table.fill([&](int, int) { return tableEntry(random, trial); });
    const bool extreme = random.in(0, 1);
    samples.fill([&](int, int) { return extreme ? random.oneOf({0, 255}) : random.in(0, 255); });
    Block x{};
    for (int i = 0; i < 64; ++i) x[static_cast<size_t>(i)] = samples.get(i % 8, i / 8) - 128;
    Block c = forwardTransform(x);
    const auto expected = [&](int u, int v) { return quantised(c[at(u, v)], table.get(u, v)); };
    ASSERT_EQ(zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples.data(), samples.step(), result.data(), table.data()),
              zelStatusOk);
    ASSERT_TRUE(equals(result, expected)) << "samples, trial " << trial;

    // 300 and more, flat, is where a sum of four products leaves 32 bits.
    const int flat = random.in(200, 600);
    for (auto& v : x) v = trial % 5 ? blockValue(random, trial, 2048) : flat;
    block.fill([&](int i, int) { return x[static_cast<size_t>(i)]; });
    c = forwardTransform(x);
    ASSERT_EQ(zeliDCTQuantFwd8x8_JPEG_16s_C1(block.data(), result.data(), table.data()), zelStatusOk);
    ASSERT_TRUE(equals(result, expected)) << "block, trial " << trial;
    ASSERT_EQ(zeliDCTQuantFwd8x8_JPEG_16s_C1I(block.data(), table.data()), zelStatusOk);
    ASSERT_TRUE(equals(block, [&](int i, int) { return expected(i % 8, i / 8); })) << "in place, trial " << trial;
  }
}

// Every transform output with table entries of all kinds: the DC term of flat blocks runs through the outputs.
TEST(ForwardDct, QuotientsAreExact) {
  for (int level = -256; level < 256; ++level) {
    Zel16s block[64], result[64];
    for (const int t : {0, 1, 2, 3, 4095, 8192, 16384, 16385, 24576, 32767, 32768, 32769, 49152, 65535}) {
      Zel16u table[64];
      std::fill_n(block, 64, static_cast<Zel16s>(level));
      std::fill_n(table, 64, static_cast<Zel16u>(t));
      const int dc = forwardTransform([&] {
        Block b{};
        b.fill(level);
        return b;
      }())[0];
      ASSERT_EQ(zeliDCTQuantFwd8x8_JPEG_16s_C1(block, result, table), zelStatusOk);
      ASSERT_EQ(result[0], std::nearbyint(static_cast<double>(dc) * t / 32768)) << dc << " times " << t;
    }
  }
}

TEST(ForwardDct, LiesCloseToTheIdeal) {
  Random random(4);
  Zel16u table[64];
  std::fill_n(table, 64, Zel16u{32768});
  for (int trial = 0; trial < 50; ++trial) {
    Zel8u samples[64];
    Zel16s result[64];
    for (auto& s : samples) s = static_cast<Zel8u>(random.in(0, 255));
    ASSERT_EQ(zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples, 8, result, table), zelStatusOk);
    Block c{};
    std::copy_n(result, 64, c.begin());
    const auto back = idealInverse(c);
    double squares = 0;
    for (size_t i = 0; i < 64; ++i) squares += std::pow(back[i] + 128 - samples[i], 2);
    EXPECT_LT(std::sqrt(squares / 64), 0.4); // rounding alone gives 0.29
  }
}

TEST(ForwardDct, GoldenValues) {
  Zel16u table[64];
  std::fill_n(table, 64, Zel16u{32768});
  for (const auto& [level, dc] : {std::pair{138, 80}, {255, 1016}, {0, -1024}, {128, 0}}) {
    Zel8u samples[64];
    Zel16s result[64];
    std::fill_n(samples, 64, static_cast<Zel8u>(level));
    ASSERT_EQ(zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples, 8, result, table), zelStatusOk);
    EXPECT_EQ(result[0], dc);
    EXPECT_EQ(std::count(result + 1, result + 64, 0), 63);
  }
}

void forwardFloat(float (&i)[8]) {
  const float c1 = 0.19891237f, c2 = 0.41421357f, c3 = 0.66817862f, c4 = 0.70710677f;
  const float t0 = i[0] + i[7], t7 = i[0] - i[7], t1 = i[1] + i[6], t6 = i[1] - i[6];
  const float t2 = i[2] + i[5], t5 = i[2] - i[5], t3 = i[3] + i[4], t4 = i[3] - i[4];
  const volatile float p = c4 * (t6 + t5), q = c4 * (t6 - t5); // volatile: no contraction
  const float a = t7 + p, b = t7 - p, c = t4 + q, d = t4 - q;
  const volatile float x2 = c2 * (t1 - t2), x6 = c2 * (t0 - t3), x1 = c1 * c, x7 = c1 * a, x5 = c3 * b, x3 = c3 * d;
  const float o[8] = {(t0 + t3) + (t1 + t2), x1 + a, x2 + (t0 - t3), b - x3,
                      (t0 + t3) - (t1 + t2), x5 + d, x6 - (t1 - t2), x7 - c};
  std::copy_n(o, 8, i);
}

TEST(ForwardDct, TwelveBitSamples) {
  constexpr double f[8] = {1, 1.38703985, 1.30656296, 1.17587560, 1, 1.17587560, 1.30656296, 1.38703985};
  Random random(5);
  for (int trial = 0; trial < 500; ++trial) {
    Region<Zel16u> samples(8, 8, 16 + random.in(0, 9));
    Region<Zel32f> table(8, 8);
    Region<Zel16s> result(8, 8);
    samples.fill([&](int, int) { return random.in(0, trial % 4 ? 4095 : 65535); });
    table.fill(
        [&](int, int) { return 1.0f / static_cast<float>(random.in(1, trial % 2 ? 4 : 4000)) * (trial % 7 ? 1 : 99); });
    float x[8][8];
    for (int i = 0; i < 64; ++i) x[i / 8][i % 8] = static_cast<float>(wrap16(samples.get(i % 8, i / 8))) - 2048.0f;
    for (auto& row : x) forwardFloat(row);
    for (int u = 0; u < 8; ++u) {
      float column[8];
      for (int v = 0; v < 8; ++v) column[v] = x[v][u];
      forwardFloat(column);
      for (int v = 0; v < 8; ++v) x[v][u] = column[v];
    }
    ASSERT_EQ(zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(samples.data(), samples.step(), result.data(), table.data()),
              zelStatusOk);
    ASSERT_TRUE(equals(result,
                       [&](int u, int v) {
                         const float scaled = x[v][u] * static_cast<float>(f[v] * f[u] / 8);
                         return sat(static_cast<int64_t>(std::nearbyint(scaled * table.get(u, v))));
                       }))
        << "trial " << trial;
  }
}

TEST(ForwardDct, OrderOfChecks) {
  Zel8u samples[64];
  Zel16u wide[64], table[64];
  Zel16s block[64], result[64] = {7};
  Zel32f factors[64];
  EXPECT_EQ(zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(nullptr, 0, result, nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples, 0, nullptr, table), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples, 0, result, nullptr), zelStatusBadStep);
  EXPECT_EQ(zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples, -8, result, table), zelStatusBadStep);
  EXPECT_EQ(zeliDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples, 8, result, nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(nullptr, 0, result, nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(wide, 0, nullptr, factors), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(wide, 0, result, nullptr), zelStatusBadStep);
  EXPECT_EQ(zeliDCTQuantFwd8x8LS_JPEG_16u16s_C1R(wide, 16, result, nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantFwd8x8_JPEG_16s_C1(nullptr, result, table), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantFwd8x8_JPEG_16s_C1(block, nullptr, table), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantFwd8x8_JPEG_16s_C1(block, result, nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantFwd8x8_JPEG_16s_C1I(nullptr, table), zelStatusNullPointer);
  EXPECT_EQ(zeliDCTQuantFwd8x8_JPEG_16s_C1I(result, nullptr), zelStatusNullPointer);
  EXPECT_EQ(result[0], 7);
}

} // namespace
} // namespace zelj::test
