// The photo core transform: every block of planes of all shapes comes back, known blocks, floats beside whole numbers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/guarded.h"
#include "support/random.h"
#include "zelj.h"

namespace zelj::test {
namespace {

template <class T>
struct Exports;
template <>
struct Exports<Zel16s> {
  static constexpr auto forward = zeliPCTFwd_JPEGXR_16s_C1IR, inverse = zeliPCTInv_JPEGXR_16s_C1IR;
};
template <>
struct Exports<Zel32s> {
  static constexpr auto forward = zeliPCTFwd_JPEGXR_32s_C1IR, inverse = zeliPCTInv_JPEGXR_32s_C1IR;
};
template <>
struct Exports<Zel32f> {
  static constexpr auto forward = zeliPCTFwd_JPEGXR_32f_C1IR, inverse = zeliPCTInv_JPEGXR_32f_C1IR;
};

// Planes whose widths leave all kinds of remainders: each block is as if it stood alone, and comes back.
template <class T>
void checkPlanes() {
  Random random(sizeof(T));
  for (int round = 0; round < 300; ++round) {
    const int width = 4 * random.in(1, 35), height = 4 * random.in(1, 9);
    const int step = width * static_cast<int>(sizeof(T)) + random.oneOf({0, 1, 4, 30});
    Region<T> plane(width, height, step, random.in(0, 1) ? Edge::begin : Edge::end), original(width, height);
    original.fill([&](int, int) { return random.in(-1000, 1000); });
    plane.fill([&](int x, int y) { return original.get(x, y); });
    ASSERT_EQ(Exports<T>::forward(plane.data(), static_cast<Zel32u>(step), {width, height}), zelStatusOk);
    for (int y = 0; y < height; y += 4) {
      for (int x = 0; x < width; x += 4) {
        Region<T> alone(4, 4);
        alone.fill([&](int i, int j) { return original.get(x + i, y + j); });
        Exports<T>::forward(alone.data(), 4 * sizeof(T), {4, 4});
        for (int i = 0; i < 16; ++i)
          ASSERT_EQ(plane.get(x + i % 4, y + i / 4), alone.get(i % 4, i / 4)) << width << "x" << height;
      }
    }
    ASSERT_EQ(Exports<T>::inverse(plane.data(), static_cast<Zel32u>(step), {width, height}), zelStatusOk);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) ASSERT_NEAR(plane.get(x, y), original.get(x, y), sizeof(T) == 4 ? 0.001 : 0);
    }
    ASSERT_TRUE(plane.gapsUntouched());
  }
}
TEST(PhotoCoreTransform, PlanesComeBack16s) {
  checkPlanes<Zel16s>();
}
TEST(PhotoCoreTransform, PlanesComeBack32s) {
  checkPlanes<Zel32s>();
}
TEST(PhotoCoreTransform, PlanesComeBack32f) {
  checkPlanes<Zel32f>();
}

TEST(PhotoCoreTransform, KnownBlocks) {
  for (const int value : {1, -7, 1000}) {
    Region<Zel32s> block(4, 4);
    block.fill([=](int, int) { return value; });
    zeliPCTFwd_JPEGXR_32s_C1IR(block.data(), 16, {4, 4});
    EXPECT_TRUE(equals(block, [=](int x, int y) { return x + y == 0 ? 4 * value : 0; }));
  }
  // All rounding terms have a say in this one.
  Region<Zel32s> block(4, 4);
  block.fill([](int x, int y) { return (x * 37 + y * 91 + x * y * 53) % 200 - 100; });
  zeliPCTFwd_JPEGXR_32s_C1IR(block.data(), 16, {4, 4});
  const Zel32s expected[16] = {-54, -100, -1, 0, 0, 0, 0, -47, 17, 38, 59, 67, -100, -45, -33, -95};
  EXPECT_TRUE(equals(block, [&](int x, int y) { return expected[4 * y + x]; }));
}

// Whole numbers stay within their rounding of the real transform; 16 bits wrap as 32 bits cut.
TEST(PhotoCoreTransform, TypesAgree) {
  Random random(4);
  for (int round = 0; round < 500; ++round) {
    Region<Zel32s> whole(8, 8);
    Region<Zel16s> narrow(8, 8);
    Region<Zel32f> real(8, 8);
    whole.fill([&](int, int) { return random.in(-3000, 3000); });
    narrow.fill([&](int x, int y) { return whole.get(x, y); });
    real.fill([&](int x, int y) { return whole.get(x, y); });
    zeliPCTFwd8x8_JPEGXR_32s_C1IR(whole.data(), 32);
    zeliPCTFwd8x8_JPEGXR_16s_C1IR(narrow.data(), 16);
    zeliPCTFwd8x8_JPEGXR_32f_C1IR(real.data(), 32);
    for (int i = 0; i < 64; ++i) {
      ASSERT_EQ(narrow.get(i % 8, i / 8), whole.get(i % 8, i / 8));
      ASSERT_NEAR(real.get(i % 8, i / 8), whole.get(i % 8, i / 8), 4);
    }
  }
}

template <class T>
void checkFixed(int width, int height, ZelStatus (*fixed)(T*, Zel32u), ZelStatus (*general)(T*, Zel32u, ZeliSize)) {
  const auto row = static_cast<Zel32u>(width) * static_cast<Zel32u>(sizeof(T));
  Region<T> a(width, height), b(width, height);
  a.fill([](int x, int y) { return x * x - 7 * y; });
  b.fill([&](int x, int y) { return a.get(x, y); });
  EXPECT_EQ(fixed(a.data(), row), zelStatusOk);
  EXPECT_EQ(general(b.data(), row, {width, height}), zelStatusOk);
  EXPECT_TRUE(equals(a, [&](int x, int y) { return b.get(x, y); }));
  EXPECT_EQ(fixed(nullptr, 0), zelStatusNullPointer);
  EXPECT_EQ(fixed(a.data(), row - 1), zelStatusBadStep);
  EXPECT_EQ(general(nullptr, 0, {0, 4}), zelStatusNullPointer);
  EXPECT_EQ(general(a.data(), 0, {0, 4}), zelStatusBadSize);
  EXPECT_EQ(general(a.data(), row - 1, {width, 5}), zelStatusBadStep);
  EXPECT_EQ(general(a.data(), row, {width - 2, 4}), zelStatusBadSize);
  EXPECT_EQ(general(a.data(), row, {width, 6}), zelStatusBadSize);
}

TEST(PhotoCoreTransform, FixedSizesAndChecks) {
  checkFixed(16, 16, zeliPCTFwd16x16_JPEGXR_32s_C1IR, zeliPCTFwd_JPEGXR_32s_C1IR);
  checkFixed(8, 16, zeliPCTFwd8x16_JPEGXR_32s_C1IR, zeliPCTFwd_JPEGXR_32s_C1IR);
  checkFixed(8, 8, zeliPCTInv8x8_JPEGXR_32s_C1IR, zeliPCTInv_JPEGXR_32s_C1IR);
  checkFixed(16, 16, zeliPCTInv16x16_HDP_32s_C1IR, zeliPCTInv_HDP_32s_C1IR);
  checkFixed(8, 16, zeliPCTInv8x16_HDP_32s_C1IR, zeliPCTInv_JPEGXR_32s_C1IR);
  checkFixed(8, 8, zeliPCTFwd8x8_HDP_32s_C1IR, zeliPCTFwd_HDP_32s_C1IR);
  checkFixed(16, 16, zeliPCTFwd16x16_JPEGXR_16s_C1IR, zeliPCTFwd_JPEGXR_16s_C1IR);
  checkFixed(8, 16, zeliPCTInv8x16_JPEGXR_16s_C1IR, zeliPCTInv_JPEGXR_16s_C1IR);
  checkFixed(16, 16, zeliPCTInv16x16_JPEGXR_32f_C1IR, zeliPCTInv_JPEGXR_32f_C1IR);
  checkFixed(8, 8, zeliPCTFwd8x8_JPEGXR_32f_C1IR, zeliPCTFwd_JPEGXR_32f_C1IR);
}

} // namespace
} // namespace zelj::test
