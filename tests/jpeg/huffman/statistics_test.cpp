// Counts of sequential coding, and the table that is made of counts.
#include <gtest/gtest.h>

#include <numeric>
#include <queue>

#include "model.h"

namespace zelj::test {
namespace {

struct RawTable {
  std::array<Zel8u, 16> bits{};
  std::vector<Zel8u> values = std::vector<Zel8u>(256, 0xEE);
  ZelStatus status;

  explicit RawTable(const std::vector<Zel32s>& counts)
      : status(zeliEncodeHuffmanRawTableInit_JPEG_8u(counts.data(), bits.data(), values.data())) {}
  int symbols() const { return std::accumulate(bits.begin(), bits.end(), 0); }
};

TEST(HuffmanStatistics, SequentialBlocksAsTheModelCodesThem) {
  Random random(1);
  Zel32u dc[256]{}, ac[256]{}, expectedDc[256]{}, expectedAc[256]{};
  Zel16s lastDc = 0;
  static const auto order = zigzagOrder();
  for (int trial = 0; trial < 500; ++trial) {
    const Block block = randomBlock(random);
    ++expectedDc[categoryOf(block[0] - lastDc)];
    int run = 0;
    for (size_t k = 1; k < 64; ++k) {
      const int value = block[static_cast<size_t>(order[k])];
      if (value) {
        expectedAc[0xF0] += static_cast<Zel32u>(run / 16);
        ++expectedAc[run % 16 * 16 + categoryOf(value)];
      }
      run = value ? 0 : run + 1;
    }
    expectedAc[0] += run > 0;
    ASSERT_EQ(zeliGetHuffmanStatistics8x8_JPEG_16s_C1(block.data(), dc, ac, &lastDc), zelStatusOk);
    ASSERT_EQ(lastDc, block[0]);
  }
  EXPECT_TRUE(std::equal(dc, dc + 256, expectedDc));
  EXPECT_TRUE(std::equal(ac, ac + 256, expectedAc));
}

TEST(HuffmanStatistics, Limits) {
  Zel32u dc[256]{}, ac[256]{};
  Zel16s lastDc = 32767;
  Block block{};
  block[0] = -32768; // the difference has 17 bits
  EXPECT_EQ(zeliGetHuffmanStatistics8x8_JPEG_16s_C1(block.data(), dc, ac, &lastDc), zelStatusJpegCoefficientRange);
  EXPECT_EQ(lastDc, -32768);
  block[63] = 16384; // 15 bits, behind three runs that are counted
  EXPECT_EQ(zeliGetHuffmanStatistics8x8_JPEG_16s_C1(block.data(), dc, ac, &lastDc), zelStatusJpegCoefficientRange);
  EXPECT_EQ(dc[0], 1u);
  EXPECT_EQ(ac[0xF0], 3u);
  EXPECT_EQ(ac[0], 0u);
  const Zel16s values[] = {0, -1, 255, -32768};
  for (const Zel16s& value : values) EXPECT_EQ(zeliGetHuffmanStatisticsOne_JPEG_16s_C1(&value, ac), zelStatusOk);
  EXPECT_EQ(ac[0] + ac[1] + ac[8] + ac[16], 4u);
  EXPECT_EQ(zeliGetHuffmanStatisticsOne_JPEG_16s_C1(values, nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliGetHuffmanStatistics8x8_JPEG_16s_C1(block.data(), dc, nullptr, &lastDc), zelStatusNullPointer);
}

// Worked out by hand. Of equal counts the larger symbol joins first, the reserved one before all.
TEST(HuffmanStatistics, GoldenTables) {
  std::vector<Zel32s> counts(256);
  EXPECT_EQ(RawTable(counts).symbols(), 0);
  counts[7] = 5;
  RawTable one(counts);
  EXPECT_EQ(one.bits[0], 1);
  EXPECT_EQ(one.values[0], 7);
  EXPECT_EQ(one.values[1], 0xEE) << "no more than the values is written";
  // 3: 1, 9: 1, reserved: 1. Reserved and 9 join, then 3 and they.
  counts[7] = 0;
  counts[3] = counts[9] = 1;
  RawTable two(counts);
  EXPECT_EQ(two.bits[0], 1);
  EXPECT_EQ(two.bits[1], 1);
  EXPECT_EQ(two.values[0], 3);
  EXPECT_EQ(two.values[1], 9);
  // Powers of two make a code of each length; 20 of them are limited.
  std::vector<Zel32s> powers(256);
  for (int i = 0; i < 20; ++i) powers[static_cast<size_t>(i)] = 1 << i;
  RawTable limited(powers);
  EXPECT_EQ(limited.status, zelStatusOk);
  EXPECT_EQ(limited.symbols(), 20);
  EXPECT_EQ(limited.values[0], 19);
  Table(limited.bits, limited.values); // stops if the library does not take it
  // A count behind the bound stays by itself, without a code.
  for (const int beyond : {0, 1}) {
    counts[3] = 1000000000 + beyond;
    RawTable common(counts);
    EXPECT_EQ(common.symbols(), 2 - beyond);
    EXPECT_EQ(common.values[0], beyond ? 9 : 3);
  }
  EXPECT_EQ(zeliEncodeHuffmanRawTableInit_JPEG_8u(counts.data(), nullptr, two.values.data()), zelStatusNullPointer);
}

// Fibonacci numbers make the deepest tree: 33 of them one level more than there is room for.
TEST(HuffmanStatistics, TooDeep) {
  std::vector<Zel32s> counts(256);
  counts[0] = 1;
  counts[1] = 2;
  for (size_t i = 2; i < 32; ++i) counts[i] = counts[i - 1] + counts[i - 2];
  EXPECT_EQ(RawTable(counts).status, zelStatusOk);
  counts[32] = counts[31] + counts[30];
  RawTable deep(counts);
  EXPECT_EQ(deep.status, zelStatusJpegHuffmanTable);
  EXPECT_EQ(deep.values[0], 0xEE);
}

// Codes cost what Huffman's procedure with a queue says, as long as none is longer than 16 bits.
TEST(HuffmanStatistics, CodesAreTheShortest) {
  Random random(5);
  for (int trial = 0; trial < 100; ++trial) {
    std::vector<Zel32s> counts(256);
    std::priority_queue<int64_t, std::vector<int64_t>, std::greater<>> queue;
    queue.push(1);
    const int used = random.in(1, 256);
    for (int i = 0; i < used; ++i) {
      Zel32s& count = counts[static_cast<size_t>(random.in(0, 255))];
      if (count) continue;
      count = random.in(1, random.oneOf({3, 300, 5000}));
      queue.push(count);
    }
    int64_t cost = 0;
    while (queue.size() > 1) {
      int64_t sum = queue.top();
      queue.pop();
      sum += queue.top();
      queue.pop();
      cost += sum;
      queue.push(sum);
    }
    RawTable raw(counts);
    ASSERT_EQ(raw.status, zelStatusOk);
    Table table(raw.bits, raw.values);
    int64_t actual = 0;
    size_t longest = 0;
    for (size_t s = 0; s < 256; ++s) {
      if (counts[s] == 0) continue;
      const auto& code = table.codes.at(static_cast<int>(s));
      ASSERT_NE(code.find('0'), std::string::npos);
      actual += counts[s] * static_cast<int64_t>(code.size());
      longest = std::max(longest, code.size());
    }
    if (longest < 16) { // the reserved code is among the longest
      ASSERT_EQ(actual + static_cast<int64_t>(longest), cost);
    }
  }
}

} // namespace
} // namespace zelj::test
