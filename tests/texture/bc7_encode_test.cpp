#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "support/guarded.h"
#include "support/random.h"
#include "zelj.h"

namespace zelj::test {
namespace {

using Block = std::array<Zel8u, 16>;
using Pixels = std::array<Zel8u, 64>; // R, G, B, A of 16 pixels

struct Encoded {
  Block block;
  Zel32u error;
  bool operator==(const Encoded&) const = default;
};

Encoded encoded(const Pixels& pixels, Zel32u mode) {
  Encoded result{};
  EXPECT_EQ(zeliTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(pixels.data(), 16, result.block.data(), &result.error, mode),
            zelStatusOk);
  return result;
}

Pixels decoded(const Block& block) {
  Pixels pixels{};
  EXPECT_EQ(zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R(block.data(), pixels.data(), 16, {4, 4}), zelStatusOk);
  return pixels;
}

Zel32u squaredError(const Pixels& a, const Pixels& b) {
  Zel32u sum = 0;
  for (size_t i = 0; i < 64; ++i) sum += static_cast<Zel32u>((a[i] - b[i]) * (a[i] - b[i]));
  return sum;
}

// Slopes and edges with grain, two colours, noise, or extremes; opaque or not.
Pixels randomPixels(Random& random) {
  Pixels pixels;
  const int kind = random.in(0, 4), grain = random.oneOf({0, 3, 30}), opaque = random.in(0, 1);
  int base[4], slope[2][4];
  for (int c = 0; c < 4; ++c) {
    base[c] = random.in(0, 255);
    for (auto& s : slope) s[c] = random.in(-20, 20);
  }
  for (int p = 0; p < 16; ++p) {
    const bool other = random.in(0, 2) == 0;
    for (int c = 0; c < 4; ++c) {
      int value = random.in(0, 255);
      if (kind != 0) value = base[c] + random.in(-grain, grain);
      if (kind == 1 || kind == 2) value += slope[0][c] * (p % 4) + slope[1][c] * (p / 4);
      if (kind == 2 && p % 4 + p / 4 > 3) value = 255 - value;
      if (kind == 3 && other) value = 255 - value;
      if (kind == 4) value = random.oneOf({0, 0, 255, 255, 250, 130});
      pixels[static_cast<size_t>(4 * p + c)] = c == 3 && opaque ? 255 : static_cast<Zel8u>(std::clamp(value, 0, 255));
    }
  }
  return pixels;
}

// Without p-bits the error is that of the block; a vote about p-bits moves end points by one step, no more.
TEST(Bc7Encode, BlocksHoldWhatTheirErrorSays) {
  Random random(1);
  for (int trial = 0; trial < 60; ++trial) {
    const Pixels pixels = randomPixels(random);
    for (const Zel32u mode : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u}) {
      const Encoded result = encoded(pixels, mode);
      ASSERT_EQ(result.block[0] & ((2u << mode) - 1), 1u << mode) << trial;
      const Zel32u error = squaredError(decoded(result.block), pixels);
      if (mode == 2 || mode == 4 || mode == 5) {
        ASSERT_EQ(result.error, error) << "mode " << mode << ", trial " << trial;
      } else {
        const int step = mode == 7 ? 5 : mode == 0 ? 9 : 3; // of an end point, widened to 8 bits
        const Zel32u moved = static_cast<Zel32u>(64 * step * step);
        ASSERT_LE(std::abs(std::sqrt(result.error) - std::sqrt(error)), std::sqrt(moved)) << "mode " << mode;
      }
    }
  }
}

// What a change of any step of the search, on any level, would change.
TEST(Bc7Encode, SameBlocksOnEveryLevel) {
  constexpr Zel64u expected[8] = {0xaee8accc786c465a, 0x8995930b94282dbd, 0x02df6e590a24cc15, 0xe945ac13f3a2a958,
                                  0xd2333156cfbbec79, 0xdbb601a42d0feaed, 0xc06b10aedf3e6e41, 0x4f744ae5703ac06d};
  for (Zel32u mode = 0; mode < 8; ++mode) {
    Random random(2);
    Zel64u hash = 0xCBF29CE484222325;
    const auto take = [&](Zel32u value) { hash = (hash ^ value) * 0x100000001B3; };
    for (int trial = 0; trial < 60; ++trial) {
      const Encoded result = encoded(randomPixels(random), mode);
      for (const Zel8u byte : result.block) take(byte);
      take(result.error);
    }
    EXPECT_EQ(hash, expected[mode]) << "mode " << mode << ": 0x" << std::hex << hash;
  }
}

// Two colours, of which many partitions make as good a first guess: those that are refined, and the first of them, are
// where the exchanges that sort the guesses leave equal ones.
TEST(Bc7Encode, TiesOfPartitions) {
  const auto partitionOf = [](unsigned pattern, Zel32u mode) {
    Pixels pixels;
    constexpr Zel8u kColours[2][4] = {{10, 100, 200, 255}, {60, 120, 30, 255}};
    for (size_t i = 0; i < 64; ++i) pixels[i] = kColours[pattern >> i / 4 & 1][i % 4];
    const Block block = encoded(pixels, mode).block;
    return (block[0] | block[1] << 8) >> (mode + 1) & (mode == 0 ? 15 : 63);
  };
  EXPECT_EQ(partitionOf(0, 1), 0);      // nothing to exchange
  EXPECT_EQ(partitionOf(0x0019, 0), 7); // 15 if equal guesses kept the order of their numbers
}

TEST(Bc7Encode, FlatBlocks) {
  Pixels pixels;
  for (size_t i = 0; i < 64; ++i) pixels[i] = std::array<Zel8u, 4>{10, 20, 30, 40}[i % 4];
  const Encoded exact = encoded(pixels, 6);
  EXPECT_EQ(exact.error, 0u);
  EXPECT_EQ(decoded(exact.block), pixels);
  // Lowest bits 1, 1, 1, 0: the p-bit is 1 by vote, which the error does not tell.
  for (size_t i = 0; i < 64; ++i) pixels[i] = std::array<Zel8u, 4>{11, 21, 31, 40}[i % 4];
  const Encoded voted = encoded(pixels, 6);
  EXPECT_EQ(voted.error, 0u);
  EXPECT_EQ(squaredError(decoded(voted.block), pixels), 16u);
  // Alpha counts as 255 where there is none.
  for (size_t i = 0; i < 64; ++i) pixels[i] = i % 4 == 3 ? 250 : 0;
  for (const Zel32u mode : {0u, 1u, 2u, 3u}) EXPECT_EQ(encoded(pixels, mode).error, 16u * 25);
}

// Colours on a line that the format can hold, but for one channel that goes its own way: the rotation gives it indices
// of its own.
TEST(Bc7Encode, RotationSetsAChannelApart) {
  for (size_t apart = 0; apart < 3; ++apart) {
    Pixels pixels;
    for (size_t p = 0; p < 16; ++p) {
      for (size_t c = 0; c < 4; ++c) pixels[4 * p + c] = p % 2 ? 255 : 0;
      pixels[4 * p + apart] = p / 2 % 2 ? 255 : 0;
    }
    for (const Zel32u mode : {4u, 5u}) {
      const Encoded result = encoded(pixels, mode);
      EXPECT_EQ(result.error, 0u);
      EXPECT_EQ(result.block[0] >> (mode + 1) & 3, static_cast<int>(mode == 4 ? apart + 1 : (apart + 1) & 3));
      EXPECT_EQ(decoded(result.block), pixels);
    }
  }
}

TEST(Bc7Encode, TouchesItsOperandsAlone) {
  Random random(3);
  for (const Edge edge : {Edge::end, Edge::begin}) {
    for (const Zel32u mode : {1u, 4u, 6u}) {
      const Pixels pixels = randomPixels(random);
      Region<Zel8u> image(16, 4, 16 + random.in(0, 9), edge);
      image.fill([&](int x, int y) { return pixels[static_cast<size_t>(48 - 16 * y + x)]; });
      GuardedMemory block(16, edge), error(4, edge);
      ASSERT_EQ(
          zeliTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(image.data() + 3 * image.step(), -image.step(), block.data(),
                                                         reinterpret_cast<Zel32u*>(error.data()), mode),
          zelStatusOk);
      Encoded result;
      std::memcpy(result.block.data(), block.data(), 16);
      std::memcpy(&result.error, error.data(), 4);
      EXPECT_EQ(result, encoded(pixels, mode));
    }
  }
}

TEST(Bc7Encode, OrderOfChecks) {
  const Pixels pixels{};
  Block block{7};
  Zel32u error = 7;
  const auto status = [&](bool source, bool destination, bool withError, int step, Zel32u mode) {
    return zeliTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(source ? pixels.data() : nullptr, step,
                                                          destination ? block.data() : nullptr,
                                                          withError ? &error : nullptr, mode);
  };
  EXPECT_EQ(status(false, true, true, 0, 8), zelStatusNullPointer);
  EXPECT_EQ(status(true, false, true, 0, 8), zelStatusNullPointer);
  EXPECT_EQ(status(true, true, false, 0, 8), zelStatusNullPointer);
  EXPECT_EQ(status(true, true, true, 0, 8), zelStatusBadStep);
  EXPECT_EQ(status(true, true, true, 16, 8), zelStatusBadMode);
  EXPECT_EQ(status(true, true, true, 16, 0xFFFFFFFF), zelStatusBadMode);
  EXPECT_EQ(block[0], 7);
  EXPECT_EQ(error, 7u);
}

} // namespace
} // namespace zelj::test
