#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "jpeg/dct/model.h"
#include "support/guarded.h"
#include "zelj.h"

namespace zelj::test {
namespace {

// ITU T.81 Figure A.6, position of each natural index.
constexpr uint8_t kPosition[64] = {0,  1,  5,  6,  14, 15, 27, 28, 2,  4,  7,  13, 16, 26, 29, 42,
                                   3,  8,  12, 17, 25, 30, 41, 43, 9,  11, 18, 24, 31, 40, 44, 53,
                                   10, 19, 23, 32, 39, 45, 52, 54, 20, 22, 33, 38, 46, 51, 55, 60,
                                   21, 34, 37, 47, 50, 56, 59, 61, 35, 36, 48, 49, 57, 58, 62, 63};

TEST(QuantTables, QualityScalesAndClamps) {
  const struct {
    int quality, entry, expected;
  } cases[] = {{50, 1, 1},   {50, 255, 255}, {1, 5, 250},       {1, 6, 255},   {1, 0, 1},   {49, 16, 16},
               {75, 16, 8},  {99, 16, 1},    {99, 75, 2},       {100, 255, 1}, {25, 3, 6},  {3, 2, 33},
               {101, 40, 1}, {150, 255, 1},  {INT_MAX, 255, 1}, {10, 99, 255}, {90, 50, 10}};
  for (const auto& c : cases) {
    Region<Zel8u> table(64, 1);
    table.fill([&](int, int) { return c.entry; });
    ASSERT_EQ(zeliQuantFwdRawTableInit_JPEG_8u(table.data(), c.quality), zelStatusOk);
    EXPECT_TRUE(equals(table, [&](int, int) { return c.expected; })) << "quality " << c.quality;
  }
  Zel8u untouched[64] = {9};
  for (const int quality : {0, -1, INT_MIN}) {
    EXPECT_EQ(zeliQuantFwdRawTableInit_JPEG_8u(untouched, quality), zelStatusOutOfRange);
  }
  EXPECT_EQ(untouched[0], 9);
  EXPECT_EQ(zeliQuantFwdRawTableInit_JPEG_8u(nullptr, 0), zelStatusNullPointer);
}

TEST(QuantTables, ReciprocalsAndOrder) {
  Region<Zel8u> raw(64, 1);
  Region<Zel16u> forward(64, 1, 129), inverse(64, 1, 129);
  for (int base = 0; base < 256; base += 64) {
    raw.fill([&](int i, int) { return base + i; });
    EXPECT_EQ(zeliQuantInvTableInit_JPEG_8u16u(raw.data(), inverse.data()), zelStatusOk);
    EXPECT_TRUE(equals(inverse, [&](int i, int) { return base + kPosition[i]; }));
    EXPECT_EQ(zeliQuantFwdTableInit_JPEG_8u16u(raw.data(), forward.data()), base ? zelStatusOk : zelStatusDivideByZero);
    EXPECT_TRUE(equals(forward, [&](int i, int) {
      const int q = base + kPosition[i];
      return q ? std::lround(32768.0 / q) : 65535;
    }));
  }
  EXPECT_EQ(zeliQuantFwdTableInit_JPEG_8u16u(nullptr, forward.data()), zelStatusNullPointer);
  EXPECT_EQ(zeliQuantFwdTableInit_JPEG_8u16u(raw.data(), nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliQuantInvTableInit_JPEG_8u16u(nullptr, inverse.data()), zelStatusNullPointer);
  EXPECT_EQ(zeliQuantInvTableInit_JPEG_8u16u(raw.data(), nullptr), zelStatusNullPointer);
}

TEST(Quantise, WholeRangeOfCoefficients) {
  for (const int t : {0, 1, 129, 2047, 2048, 2049, 10923, 32767, 32768, 40000, 65535}) {
    Region<Zel16u> table(64, 1, 0, t & 1 ? Edge::end : Edge::begin);
    table.fill([&](int, int) { return t; });
    for (int base = -32768; base < 32768; base += 64) {
      Region<Zel16s> forward(64, 1), inverse(64, 1);
      forward.fill([&](int i, int) { return base + i; });
      inverse.fill([&](int i, int) { return base + i; });
      ASSERT_EQ(zeliQuantFwd8x8_JPEG_16s_C1I(forward.data(), table.data()), zelStatusOk);
      ASSERT_TRUE(equals(forward, [&](int i, int) { return (mulhi(wrap16((base + i) * 8), t >> 1) + 1) >> 1; })) << t;
      ASSERT_EQ(zeliQuantInv8x8_JPEG_16s_C1I(inverse.data(), table.data()), zelStatusOk);
      ASSERT_TRUE(equals(inverse, [&](int i, int) { return wrap16(int64_t{base + i} * t); })) << t;
    }
  }
  Zel16s block[64] = {};
  Zel16u table[64] = {};
  EXPECT_EQ(zeliQuantFwd8x8_JPEG_16s_C1I(nullptr, table), zelStatusNullPointer);
  EXPECT_EQ(zeliQuantFwd8x8_JPEG_16s_C1I(block, nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliQuantInv8x8_JPEG_16s_C1I(nullptr, table), zelStatusNullPointer);
  EXPECT_EQ(zeliQuantInv8x8_JPEG_16s_C1I(block, nullptr), zelStatusNullPointer);
}

} // namespace
} // namespace zelj::test
