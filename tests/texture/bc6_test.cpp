// BC6 beside a plain model of a block. Where the fields of a mode lie is taken from the library's own table, which
// proves at compile time that it is whole; that the bits are in the right order is held by sums over the decoded
// samples.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "support/guarded.h"
#include "support/random.h"
#include "texture/bc6_format.h"
#include "texture/bptc_tables.h"
#include "zelj.h"

namespace zelj::test {
namespace {

using Samples = std::array<std::array<int, 3>, 16>;

int bitsAt(const Zel8u* block, int from, int count) {
  int bits = 0;
  for (int i = 0; i < count; ++i) bits |= (block[(from + i) / 8] >> (from + i) % 8 & 1) << i;
  return bits;
}

int extended(int v, int bits) {
  return v >> (bits - 1) & 1 ? v - (1 << bits) : v;
}

Samples decodeBlock(const Zel8u* block, bool isSigned) {
  Samples samples{};
  const int code = bc6::kCodes[block[0] & 31];
  if (code < 0) return samples;
  const bc6::Mode& mode = bc6::kModes[code];
  const bc6::Runs runs = bc6::parse(code);
  const int bits = mode.baseBits, subsets = code < 10 ? 2 : 1, indexBits = code < 10 ? 3 : 4;
  int ends[4][3] = {};
  for (int i = 0; i < runs.count; ++i) {
    const bc6::Run& r = runs.run[i];
    ends[r.end][r.to / 16] |= bitsAt(block, r.from, r.count) << r.to % 16;
  }
  for (int e = 0; e < 2 * subsets; ++e) {
    for (int c = 0; c < 3; ++c) {
      int& v = ends[e][c];
      if (e == 0 ? isSigned : isSigned || mode.transformed) v = extended(v, e ? mode.deltaBits[c] : bits);
    }
  }
  for (int e = 2 * subsets - 1; e > 0 && mode.transformed; --e) {
    for (int c = 0; c < 3; ++c) {
      const int sum = ends[0][c] + ends[e][c];
      ends[e][c] = sum >= 0 ? sum & ((1 << bits) - 1) : sum | ~((2 << bits) - 1);
    }
  }
  for (auto& end : ends) {
    for (int& v : end) {
      if (isSigned && bits < 16) {
        const int m = std::abs(v), top = (1 << (bits - 1)) - 1;
        const int scaled = m == 0 ? 0 : m == top ? 0x7FFF : ((m << 15) + 0x4000) >> (bits - 1);
        v = v < 0 ? -scaled : scaled;
      } else if (!isSigned && bits < 15) {
        v = v == 0 ? 0 : v == (1 << bits) - 1 ? 0xFFFF : (v * 65536 + 0x8000) >> bits;
      }
    }
  }
  const size_t partition = subsets == 2 ? static_cast<size_t>(bitsAt(block, 77, 5)) : 0;
  int at = subsets == 2 ? 82 : 65;
  for (size_t p = 0; p < 16; ++p) {
    const bool anchor = p == 0 || (subsets == 2 && p == bptc::kSecondAnchorOfTwo[partition]);
    const auto index = static_cast<size_t>(bitsAt(block, at, indexBits - anchor));
    at += indexBits - anchor;
    const size_t subset = subsets == 2 ? bptc::kTwoSubsets[partition][p] : 0;
    const int w = subsets == 2 ? bptc::kWeights3[index] : bptc::kWeights4[index];
    for (size_t c = 0; c < 3; ++c) {
      const int a = ends[2 * subset][c], b = ends[2 * subset + 1][c], x = (a * 64 + (b - a) * w + 32) >> 6;
      const int t = isSigned ? std::abs(x) * 31 >> 5 : x * 31 >> 6;
      samples[p][c] = (isSigned && x < 0 && t ? 0x8000 | t : t) & 0xFFFF;
    }
  }
  return samples;
}

ZelStatus decode(bool isSigned, const Zel8u* src, Zel16u* dst, int step, ZeliSize size) {
  return isSigned ? zeliTextureDecodeBlockToRGB_BC6_16s_C1C3R(src, reinterpret_cast<Zel16s*>(dst), step, size)
                  : zeliTextureDecodeBlockToRGB_BC6_16u_C1C3R(src, dst, step, size);
}

// A random block of a mode, or of any; often with ends of all ones or zeros.
void fillBlock(Zel8u* block, int lowestBits, Random& random) {
  const int kind = random.in(0, 5);
  for (int i = 0; i < 16; ++i) {
    block[i] = kind == 0 ? static_cast<Zel8u>(random.oneOf({0, 255})) : static_cast<Zel8u>(random.bits());
  }
  block[0] = static_cast<Zel8u>((block[0] & ~31) | lowestBits);
}

// The pixel that an image shows at a place: of the block as it is, or of the rows that overlap in a cut block.
int expectedAt(const std::vector<Samples>& blocks, ZeliSize size, int x, int y, size_t c) {
  const int across = (size.width + 3) / 4;
  const Samples& block = blocks[static_cast<size_t>(y / 4 * across + x / 4)];
  const int columns = std::min(4, size.width - x / 4 * 4), rows = std::min(4, size.height - y / 4 * 4);
  if (columns == 4 && rows == 4) return block[static_cast<size_t>(y % 4 * 4 + x % 4)][c];
  Zel8u bytes[128] = {};
  for (size_t r = 0; r < 4; ++r) {
    for (size_t i = 0; i < 12; ++i) {
      const int sample = block[r * 4 + i / 3][i % 3];
      bytes[16 * r + 2 * i] = static_cast<Zel8u>(sample);
      bytes[16 * r + 2 * i + 1] = static_cast<Zel8u>(sample >> 8);
    }
  }
  const auto at = static_cast<size_t>(y % 4 * (columns < 4 ? 6 * columns + 8 : 32) + 6 * (x % 4)) + 2 * c;
  return bytes[at] | bytes[at + 1] << 8;
}

TEST(Bc6Decoder, EverySizeAndMode) {
  Random random(1);
  for (int trial = 0; trial < 1500; ++trial) {
    const bool isSigned = trial % 2;
    const ZeliSize size = {random.in(1, 13), random.in(1, 9)};
    const int count = (size.width + 3) / 4 * ((size.height + 3) / 4);
    const Edge edge = random.in(0, 1) ? Edge::end : Edge::begin;
    Region<Zel8u> stream(16 * count, 1, 0, edge);
    std::vector<Samples> blocks;
    for (int b = 0; b < count; ++b) {
      fillBlock(stream.data() + 16 * b, random.in(0, 31), random);
      blocks.push_back(decodeBlock(stream.data() + 16 * b, isSigned));
    }
    Region<Zel16u> image(3 * size.width, size.height, 6 * size.width + random.in(0, 5), edge);
    ASSERT_EQ(decode(isSigned, stream.data(), image.data(), image.step(), size), zelStatusOk);
    // Behind byte 71 of the overlapping rows nothing is defined.
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < 3 * size.width; ++x) {
        const int columns = std::min(4, size.width - x / 12 * 4);
        const bool whole = columns == 4 && size.height - y / 4 * 4 >= 4;
        if (!whole && y % 4 * (columns < 4 ? 6 * columns + 8 : 32) + x % 12 * 2 > 70) image.set(x, y, 0);
      }
    }
    ASSERT_TRUE(equals(image, [&](int x, int y) {
      return expectedAt(blocks, size, x / 3, y, static_cast<size_t>(x % 3));
    })) << (isSigned ? "signed" : "unsigned");
  }
}

TEST(Bc6Decoder, GoldenValues) {
  // Mode 14: c0 has 16 bits and stays as it is. All bits of red's c0, indices 0.
  const Zel8u ones[16] = {0xEF, 0x7F, 0, 0, 0x80, 0x1F};
  Zel16u pixels[48];
  EXPECT_EQ(decode(false, ones, pixels, 24, {4, 4}), zelStatusOk);
  EXPECT_EQ(pixels[0], 0x7BFF);
  // Red of c1 is one below c0's 0: the negative number survives, and its low bits are the sample of pixel 1.
  const Zel8u below[16] = {1, 0, 0, 0, 0xF8, 1, 0, 0, 0, 0, 0x70};
  EXPECT_EQ(decode(false, below, pixels, 24, {4, 4}), zelStatusOk);
  EXPECT_EQ(pixels[0], 0);
  EXPECT_EQ(pixels[3], 0xFF84);
  // A reserved block is black and the next one goes on.
  const Zel8u reserved[32] = {0x13, 1, 2, 3};
  Zel16u row[24];
  std::fill(row, row + 24, Zel16u{9});
  EXPECT_EQ(decode(true, reserved, row, 1000, {8, 1}), zelStatusOk);
  EXPECT_TRUE(std::all_of(row, row + 24, [](Zel16u v) { return v == 0; }));
}

// Sums that change with the place of any bit of a mode.
TEST(Bc6Decoder, FieldsOfEveryMode) {
  Random random(7);
  Zel64u sum = 0;
  for (int lowest = 0; lowest < 32; ++lowest) {
    for (int trial = 0; trial < 200; ++trial) {
      Zel8u block[16];
      Zel16u pixels[48];
      fillBlock(block, lowest, random);
      ASSERT_EQ(decode(trial % 2, block, pixels, 24, {4, 4}), zelStatusOk);
      for (const Zel16u v : pixels) sum = sum * 0x100000001B3u + v;
    }
  }
  EXPECT_EQ(sum, 5138975162731805960u);
}

TEST(Bc6Decoder, OrderOfChecks) {
  Zel8u block[16] = {};
  Zel16u pixels[48] = {7};
  for (const bool isSigned : {false, true}) {
    EXPECT_EQ(decode(isSigned, nullptr, pixels, 0, {0, 0}), zelStatusNullPointer);
    EXPECT_EQ(decode(isSigned, block, nullptr, 0, {0, 0}), zelStatusNullPointer);
    EXPECT_EQ(decode(isSigned, block, pixels, 0, {0, 0}), zelStatusBadStep);
    EXPECT_EQ(decode(isSigned, block, pixels, -24, {0, 1}), zelStatusBadSize);
    EXPECT_EQ(decode(isSigned, block, pixels, 24, {1, 0}), zelStatusBadSize);
  }
  EXPECT_EQ(pixels[0], 7);
}

} // namespace
} // namespace zelj::test
