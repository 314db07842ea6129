#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "support/guarded.h"
#include "support/random.h"
#include "texture/bptc_tables.h"
#include "zelj.h"

namespace zelj::test {
namespace {

using Block = std::array<Zel8u, 16>;
using Pixels = std::array<std::array<Zel8u, 4>, 16>;

// Reads a block bit by bit, in the order of the format.
class Reader {
 public:
  explicit Reader(const Block& block) : block_(block) {}
  int take(int bits) {
    int value = 0;
    for (int i = 0; i < bits; ++i, ++at_) value |= (block_[static_cast<size_t>(at_ / 8)] >> at_ % 8 & 1) << i;
    return value;
  }

 private:
  const Block& block_;
  int at_ = 0;
};

// subsets, partition bits, p-bits per end point (2: one per subset), rotation, selector, index bits, second, colour,
// alpha
constexpr int kModes[8][9] = {{3, 4, 1, 0, 0, 3, 0, 4, 0}, {2, 6, 2, 0, 0, 3, 0, 6, 0}, {3, 6, 0, 0, 0, 2, 0, 5, 0},
                              {2, 6, 1, 0, 0, 2, 0, 7, 0}, {1, 0, 0, 2, 1, 2, 3, 5, 6}, {1, 0, 0, 2, 0, 2, 2, 7, 8},
                              {1, 0, 1, 0, 0, 4, 0, 7, 7}, {2, 6, 1, 0, 0, 2, 0, 5, 5}};

int weight(int bits, int index) {
  const size_t i = static_cast<size_t>(index);
  return bits == 2 ? bptc::kWeights2[i] : bits == 3 ? bptc::kWeights3[i] : bptc::kWeights4[i];
}

Pixels decoded(const Block& block) {
  Pixels pixels{};
  Reader read(block);
  int mode = 0;
  while (mode < 8 && !read.take(1)) ++mode;
  if (mode == 8) return pixels;
  const int(&format)[9] = kModes[mode];
  const int subsets = format[0], partitionBits = format[1], pKind = format[2], rotationBits = format[3],
            selectorBits = format[4], bits = format[5], bits2 = format[6], colour = format[7], alpha = format[8];
  const auto partition = static_cast<size_t>(read.take(partitionBits));
  const int rotation = read.take(rotationBits), selector = read.take(selectorBits);
  int ends[6][4];
  for (int c = 0; c < 4; ++c) {
    for (int e = 0; e < 2 * subsets; ++e) ends[e][c] = read.take(c < 3 ? colour : alpha);
  }
  int p = 0;
  for (int e = 0; e < 2 * subsets; ++e) {
    if (pKind == 1 || (pKind == 2 && e % 2 == 0)) p = read.take(1);
    for (int c = 0; c < 4; ++c) {
      int precision = c < 3 ? colour : alpha;
      if (precision == 0) {
        ends[e][c] = 255;
        continue;
      }
      if (pKind) ends[e][c] = ends[e][c] * 2 + p, ++precision;
      ends[e][c] = ends[e][c] << (8 - precision);
      ends[e][c] |= ends[e][c] >> precision;
    }
  }
  const auto indices = [&](int width, bool first) {
    std::array<int, 16> index{};
    for (size_t i = 0; i < 16; ++i) {
      const bool anchor = i == 0 || (first && subsets == 2 && i == bptc::kSecondAnchorOfTwo[partition]) ||
                          (first && subsets == 3 && i == bptc::kSecondAnchorOfThree[partition]) ||
                          (first && subsets == 3 && i == bptc::kThirdAnchorOfThree[partition]);
      index[i] = read.take(width - anchor);
    }
    return index;
  };
  const auto first = indices(bits, true), second = bits2 ? indices(bits2, false) : first;
  for (size_t i = 0; i < 16; ++i) {
    const int s = subsets == 1 ? 0 : subsets == 2 ? bptc::kTwoSubsets[partition][i] : bptc::kThreeSubsets[partition][i];
    for (size_t c = 0; c < 4; ++c) {
      const bool useSecond = bits2 && (c == 3) != (selector == 1);
      const int w = useSecond ? weight(bits2, second[i]) : weight(bits, first[i]);
      pixels[i][c] = static_cast<Zel8u>(((64 - w) * ends[2 * s][c] + w * ends[2 * s + 1][c] + 32) >> 6);
    }
    if (rotation) std::swap(pixels[i][static_cast<size_t>(rotation) - 1], pixels[i][3]);
  }
  return pixels;
}

Block randomBlock(Random& random, int mode) {
  Block block;
  for (Zel8u& byte : block) byte = static_cast<Zel8u>(random.bits());
  if (mode < 8) block[0] = static_cast<Zel8u>((block[0] | 1) << mode);
  if (mode == 8) block[0] = 0; // reserved
  return block;
}

// The library's pixels of one block.
Pixels decodedByLibrary(const Block& block) {
  Pixels pixels;
  EXPECT_EQ(zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R(block.data(), pixels[0].data(), 16, {4, 4}), zelStatusOk);
  return pixels;
}

TEST(Bc7Decode, EveryModePartitionRotationAndSelector) {
  Random random(1);
  for (int mode = 0; mode < 9; ++mode) {
    for (int trial = 0; trial < 4000; ++trial) {
      const Block block = randomBlock(random, mode);
      ASSERT_EQ(decodedByLibrary(block), decoded(block)) << "mode " << mode << ", trial " << trial;
    }
  }
}

// Blocks of all modes side by side, in images that cut blocks at the right and below, right way up and upside down.
TEST(Bc7Decode, EverySizeAndStep) {
  Random random(2);
  std::vector<ZeliSize> sizes{{4 * 64, 4}, {4 * 65, 8}, {4 * 150 + 1, 5}};
  for (int width = 1; width <= 13; ++width) {
    for (int height = 1; height <= 9; ++height) sizes.push_back({width, height});
  }
  for (const ZeliSize size : sizes) {
    for (const Edge edge : {Edge::end, Edge::begin}) {
      const int columns = (size.width + 3) / 4, rows = (size.height + 3) / 4;
      GuardedMemory blocks(static_cast<size_t>(columns * rows) * 16, edge);
      std::vector<Pixels> expected;
      for (int i = 0; i < columns * rows; ++i) {
        const Block block = randomBlock(random, random.in(0, 9));
        std::memcpy(blocks.data() + 16 * i, block.data(), 16);
        expected.push_back(decoded(block));
      }
      Region<Zel8u> image(4 * size.width, size.height, 4 * size.width + random.in(0, 5), edge);
      const bool upsideDown = random.in(0, 1);
      Zel8u* const first = upsideDown ? image.data() + (size.height - 1) * image.step() : image.data();
      const int step = upsideDown ? -image.step() : image.step();
      ASSERT_EQ(zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R(blocks.data(), first, step, size), zelStatusOk);
      ASSERT_TRUE(equals(image, [&](int i, int line) {
        const int x = i / 4, y = upsideDown ? size.height - 1 - line : line;
        return expected[static_cast<size_t>(y / 4 * columns + x / 4)][static_cast<size_t>(y % 4 * 4 + x % 4)]
                       [static_cast<size_t>(i % 4)];
      }));
    }
  }
}

// Worked out by hand.
TEST(Bc7Decode, GoldenBlocks) {
  // Mode 6: R, G, B, A of E0 are 0x7F, 0, 0x40, 0x7F with p-bit 1, of E1 0, 0x7F, 0x40, 0x7F with 0; indices 0, 15, 8.
  // Bits 7: 7F 00, 00 7F, 40 40, 7F 7F, then 1, 0, then three bits 000, four bits 1111, 1000 and zeros.
  unsigned __int128 bits = 1 << 6;
  int at = 7;
  const auto put = [&](unsigned value, int width) {
    bits |= static_cast<unsigned __int128>(value) << at;
    at += width;
  };
  for (const unsigned value : {0x7Fu, 0u, 0u, 0x7Fu, 0x40u, 0x40u, 0x7Fu, 0x7Fu}) put(value, 7);
  put(1, 1), put(0, 1), put(0, 3), put(15, 4), put(8, 4);
  Block block;
  std::memcpy(block.data(), &bits, 16);
  const Pixels pixels = decodedByLibrary(block);
  using Pixel = std::array<Zel8u, 4>;
  EXPECT_EQ(pixels[0], (Pixel{255, 1, 129, 255}));
  EXPECT_EQ(pixels[1], (Pixel{0, 254, 128, 254}));
  EXPECT_EQ(pixels[2], (Pixel{120, 135, 128, 254})); // weight 34: (30 * 255 + 32) / 64, (30 + 34 * 254 + 32) / 64, ...
  EXPECT_EQ(pixels[3], pixels[0]);

  // The lowest bit decides: 0x41 is mode 0, and bit 6 is the second of R of the first end point: 2 of four bits is 4
  // with its p-bit 0, and 33 of eight.
  EXPECT_EQ(decodedByLibrary({0x41})[0], (Pixel{33, 0, 0, 255}));
}

TEST(Bc7Decode, OrderOfChecks) {
  const Block block{};
  Pixels pixels{};
  pixels[0][0] = 7;
  const auto status = [&](bool source, bool destination, int step, ZeliSize size) {
    return zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R(source ? block.data() : nullptr,
                                                     destination ? pixels[0].data() : nullptr, step, size);
  };
  EXPECT_EQ(status(false, true, 0, {0, 0}), zelStatusNullPointer);
  EXPECT_EQ(status(true, false, 0, {0, 0}), zelStatusNullPointer);
  EXPECT_EQ(status(true, true, 0, {0, 0}), zelStatusBadStep);
  EXPECT_EQ(status(true, true, 16, {0, 1}), zelStatusBadSize);
  EXPECT_EQ(status(true, true, -16, {4, -1}), zelStatusBadSize);
  EXPECT_EQ(pixels[0][0], 7);
}

} // namespace
} // namespace zelj::test
