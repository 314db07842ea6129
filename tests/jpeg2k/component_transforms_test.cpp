#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <type_traits>
#include <vector>

#include "support/guarded.h"
#include "support/random.h"
#include "zelj.h"

namespace zelj::test {
namespace {

using Pixel = std::array<double, 3>; // holds every integer and float of the exports exactly
using Formula = Pixel (*)(Pixel);

template <class T>
double wrap(int64_t v) {
  return static_cast<T>(static_cast<uint64_t>(v));
}
double saturate(int64_t v) {
  return static_cast<double>(std::clamp<int64_t>(v, -32768, 32767));
}
int64_t integer(double v) {
  return static_cast<int64_t>(v);
}
int64_t wrap32(int64_t v) {
  return integer(wrap<int32_t>(v));
}

template <class T>
Pixel rct(Pixel p) {
  const int64_t r = integer(p[0]), g = integer(p[1]), b = integer(p[2]);
  return {wrap<T>(wrap32(r + 2 * g + b) >> 2), wrap<T>(b - g), wrap<T>(r - g)};
}
template <class T>
Pixel inverseRct(Pixel p) {
  const int64_t y = integer(p[0]), cb = integer(p[1]), cr = integer(p[2]);
  const int64_t g = integer(wrap<T>(y - (wrap32(cb + cr) >> 2)));
  return {wrap<T>(cr + g), wrap<T>(g), wrap<T>(cb + g)};
}

Pixel ict32f(Pixel p) {
  const auto r = static_cast<float>(p[0]), g = static_cast<float>(p[1]), b = static_cast<float>(p[2]);
  const auto sum = [](float x, float y, float z) {
    const float xy = x + y;
    return xy + z;
  };
  return {sum(r * 0.299f, g * 0.587f, b * 0.114f), sum(r * -0.16875f, g * -0.33126f, b * 0.5f),
          sum(r * 0.5f, g * -0.41869f, b * -0.08131f)};
}
Pixel inverseIct32f(Pixel p) {
  const auto y = static_cast<float>(p[0]), cb = static_cast<float>(p[1]), cr = static_cast<float>(p[2]);
  const float red = cr * 1.402f, blue = cb * 1.772f, green = cb * -0.34413f, greener = cr * -0.71414f;
  const float both = green + greener;
  return {red + y, both + y, blue + y};
}

int64_t shift14(int64_t v) {
  return wrap32(v + 8192) >> 14;
}
Pixel ict32s(Pixel p) {
  const int64_t r = integer(p[0]), g = integer(p[1]), b = integer(p[2]);
  return {wrap<int32_t>(shift14(4899 * r + 9617 * g + 1868 * b)),
          wrap<int32_t>(shift14(8192 * b - 2765 * r - 5427 * g)),
          wrap<int32_t>(shift14(8192 * r - 6860 * g - 1332 * b))};
}
Pixel inverseIct32s(Pixel p) {
  const int64_t y = integer(p[0]), cb = integer(p[1]), cr = integer(p[2]);
  return {wrap<int32_t>(y + shift14(22970 * cr)), wrap<int32_t>(y + shift14(-5638 * cb - 11700 * cr)),
          wrap<int32_t>(y + shift14(29032 * cb))};
}
Pixel ict16s(Pixel p) {
  const int64_t r = integer(p[0]), g = integer(p[1]), b = integer(p[2]), a = 4899 * r + 9617 * g + 1868 * b;
  const auto difference = [a](int64_t x, int64_t scale) {
    return saturate(shift14(scale * integer(wrap<int16_t>(shift14((x << 14) - a)))));
  };
  return {saturate(shift14(a)), difference(b, 9246), difference(r, 11686)};
}
Pixel inverseIct16s(Pixel p) {
  const int64_t y = integer(p[0]), cb = integer(p[1]), cr = integer(p[2]);
  return {saturate(y + shift14(22970 * cr)), saturate(y - shift14(5638 * cb + 11700 * cr)),
          saturate(y + shift14(29032 * cb))};
}

template <class T>
T sample(Random& random) {
  if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(random.in(-100000, 100000)) / 64;
  } else if (random.in(0, 3)) {
    return static_cast<T>(random.in(-300, 300));
  } else {
    return static_cast<T>(random.bits());
  }
}

template <class T>
struct Image {
  Image(ZeliSize size, int channels, int gap, Edge edge)
      : region(size.width * channels, size.height, size.width * channels * static_cast<int>(sizeof(T)) + gap, edge) {}
  Region<T> region;
};

template <class T, class Planes>
void planesInPlace(ZelStatus (*f)(Planes, int, ZeliSize), Formula formula) {
  Random random(1);
  for (int width = 1; width <= 130; ++width) {
    for (const Edge edge : {Edge::end, Edge::begin}) {
      const ZeliSize size = {width, random.in(1, 3)};
      const int gap = random.in(0, 5);
      Image<T> a(size, 1, gap, edge), b(size, 1, gap, edge), c(size, 1, gap, edge);
      Region<T>* const regions[] = {&a.region, &b.region, &c.region};
      std::vector<Pixel> expected;
      for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < width; ++x) {
          Pixel p;
          for (size_t i = 0; i < 3; ++i) {
            const T v = sample<T>(random);
            regions[i]->set(x, y, v);
            p[i] = v;
          }
          expected.push_back(formula(p));
        }
      }
      T* const planes[] = {a.region.data(), b.region.data(), c.region.data()};
      ASSERT_EQ(f(planes, a.region.step(), size), zelStatusOk);
      for (size_t i = 0; i < 3; ++i) {
        ASSERT_TRUE(equals(*regions[i], [&](int x, int y) { return expected[static_cast<size_t>(y * width + x)][i]; }))
            << "plane " << i;
      }
    }
  }
}

// Pixels to planes, or back.
template <class T, class F>
void pixels(F f, Formula formula, bool forward) {
  Random random(2);
  for (int width = 1; width <= 130; ++width) {
    for (const Edge edge : {Edge::end, Edge::begin}) {
      const ZeliSize size = {width, random.in(1, 3)};
      const int gap = random.in(0, 5);
      Image<T> interleaved(size, 3, gap, edge), a(size, 1, 7, edge), b(size, 1, 7, edge), c(size, 1, 7, edge);
      Region<T>* const regions[] = {&a.region, &b.region, &c.region};
      std::vector<Pixel> expected;
      for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < width; ++x) {
          Pixel p;
          for (size_t i = 0; i < 3; ++i) {
            const T v = sample<T>(random);
            p[i] = v;
            if (forward) {
              interleaved.region.set(3 * x + static_cast<int>(i), y, v);
            } else {
              regions[i]->set(x, y, v);
            }
          }
          expected.push_back(formula(p));
        }
      }
      T* const planes[] = {a.region.data(), b.region.data(), c.region.data()};
      f(interleaved.region, planes, a.region.step(), size);
      const auto want = [&](int x, int y, size_t i) { return expected[static_cast<size_t>(y * width + x)][i]; };
      if (!forward) {
        ASSERT_TRUE(
            equals(interleaved.region, [&](int x, int y) { return want(x / 3, y, static_cast<size_t>(x % 3)); }));
      }
      for (size_t i = 0; forward && i < 3; ++i) {
        ASSERT_TRUE(equals(*regions[i], [&](int x, int y) { return want(x, y, i); })) << "plane " << i;
      }
    }
  }
}

TEST(ComponentTransforms, PlanesInPlace) {
  planesInPlace<Zel16s>(zeliRCTFwd_JPEG2K_16s_P3IR, rct<int16_t>);
  planesInPlace<Zel32s>(zeliRCTFwd_JPEG2K_32s_P3IR, rct<int32_t>);
  planesInPlace<Zel16s>(zeliRCTInv_JPEG2K_16s_P3IR, inverseRct<int16_t>);
  planesInPlace<Zel32s>(zeliRCTInv_JPEG2K_32s_P3IR, inverseRct<int32_t>);
  planesInPlace<Zel16s>(zeliICTFwd_JPEG2K_16s_P3IR, ict16s);
  planesInPlace<Zel32s>(zeliICTFwd_JPEG2K_32s_P3IR, ict32s);
  planesInPlace<Zel32f>(zeliICTFwd_JPEG2K_32f_P3IR, ict32f);
  planesInPlace<Zel16s>(zeliICTInv_JPEG2K_16s_P3IR, inverseIct16s);
  planesInPlace<Zel32s>(zeliICTInv_JPEG2K_32s_P3IR, inverseIct32s);
  planesInPlace<Zel32f>(zeliICTInv_JPEG2K_32f_P3IR, inverseIct32f);
}

TEST(ComponentTransforms, PixelsAndPlanes) {
  const auto forward = [](auto f) {
    return [f](auto& p, auto& planes, int step, ZeliSize size) {
      ASSERT_EQ(f(p.data(), p.step(), planes, step, size), zelStatusOk);
    };
  };
  const auto inverse = [](auto f) {
    return [f](auto& p, auto& planes, int step, ZeliSize size) {
      ASSERT_EQ(f(planes, step, p.data(), p.step(), size), zelStatusOk);
    };
  };
  pixels<Zel16s>(forward(zeliRCTFwd_JPEG2K_16s_C3P3R), rct<int16_t>, true);
  pixels<Zel32s>(forward(zeliRCTFwd_JPEG2K_32s_C3P3R), rct<int32_t>, true);
  pixels<Zel32f>(forward(zeliICTFwd_JPEG2K_32f_C3P3R), ict32f, true);
  pixels<Zel16s>(inverse(zeliRCTInv_JPEG2K_16s_P3C3R), inverseRct<int16_t>, false);
  pixels<Zel32s>(inverse(zeliRCTInv_JPEG2K_32s_P3C3R), inverseRct<int32_t>, false);
  pixels<Zel32f>(inverse(zeliICTInv_JPEG2K_32f_P3C3R), inverseIct32f, false);
}

TEST(ComponentTransforms, GoldenValues) {
  const auto apply = []<class T, class P>(ZelStatus (*f)(P, int, ZeliSize), T a, T b, T c) {
    T* const planes[] = {&a, &b, &c};
    EXPECT_EQ(f(planes, sizeof(T), {1, 1}), zelStatusOk);
    return std::array<T, 3>{a, b, c};
  };
  using Shorts = std::array<Zel16s, 3>;
  using Ints = std::array<Zel32s, 3>;
  EXPECT_EQ(apply(zeliRCTFwd_JPEG2K_16s_P3IR, Zel16s{32767}, Zel16s{-32768}, Zel16s{0}), (Shorts{-8193, -32768, -1}));
  EXPECT_EQ(apply(zeliICTFwd_JPEG2K_16s_P3IR, Zel16s{32767}, Zel16s{32767}, Zel16s{32767}), (Shorts{32767, 0, 0}));
  // Half a unit of green goes down in 16 bits, where the term is subtracted, and up in 32.
  EXPECT_EQ(apply(zeliICTInv_JPEG2K_16s_P3IR, Zel16s{0}, Zel16s{4096}, Zel16s{0}), (Shorts{0, -1410, 7258}));
  EXPECT_EQ(apply(zeliICTInv_JPEG2K_32s_P3IR, 0, 4096, 0), (Ints{0, -1409, 7258}));
  EXPECT_EQ(apply(zeliICTInv_JPEG2K_16s_P3IR, Zel16s{32000}, Zel16s{0}, Zel16s{4000})[0], 32767);
  EXPECT_EQ(apply(zeliICTInv_JPEG2K_32s_P3IR, 32000, 0, 4000)[0], 37608);
}

// Pixels in ascending order, the three samples of each read before they are written, first plane first.
TEST(ComponentTransforms, InverseRctOfPlanesThatShareMemory) {
  Random random(3);
  for (int trial = 0; trial < 300; ++trial) {
    const int width = random.in(1, 100), shift[] = {0, random.in(-20, 20), random.in(-120, 120)};
    std::vector<Zel16s> memory(400), expected;
    for (Zel16s& v : memory) v = static_cast<Zel16s>(random.bits());
    expected = memory;
    const auto place = [&](int i, int x) { return static_cast<size_t>(150 + shift[i] + x); };
    for (int x = 0; x < width; ++x) {
      Pixel p;
      for (int i = 0; i < 3; ++i) p[static_cast<size_t>(i)] = expected[place(i, x)];
      p = inverseRct<int16_t>(p);
      for (int i = 0; i < 3; ++i) expected[place(i, x)] = static_cast<Zel16s>(p[static_cast<size_t>(i)]);
    }
    Zel16s* const planes[] = {&memory[place(0, 0)], &memory[place(1, 0)], &memory[place(2, 0)]};
    ASSERT_EQ(zeliRCTInv_JPEG2K_16s_P3IR(planes, 2, {width, 1}), zelStatusOk);
    ASSERT_EQ(memory, expected) << width << " " << shift[1] << " " << shift[2];
  }
}

TEST(ComponentTransforms, OrderOfChecks) {
  Zel32s a = 7, b = 7, c = 7, pixel[3] = {7, 7, 7};
  for (int missing = -1; missing < 3; ++missing) {
    Zel32s* const planes[] = {missing == 0 ? nullptr : &a, missing == 1 ? nullptr : &b, missing == 2 ? nullptr : &c};
    const ZelStatus absent = missing < 0 ? zelStatusBadStep : zelStatusNullPointer;
    EXPECT_EQ(zeliRCTFwd_JPEG2K_32s_P3IR(planes, 0, {0, 0}), absent);
    EXPECT_EQ(zeliRCTFwd_JPEG2K_32s_C3P3R(pixel, 12, planes, 0, {0, 0}), absent);
    EXPECT_EQ(zeliRCTFwd_JPEG2K_32s_C3P3R(pixel, 0, planes, 4, {0, 0}), absent);
    EXPECT_EQ(zeliRCTInv_JPEG2K_32s_P3C3R(planes, 0, pixel, 12, {0, 0}), absent);
    EXPECT_EQ(zeliRCTInv_JPEG2K_32s_P3C3R(planes, 4, pixel, 0, {0, 0}), absent);
  }
  Zel32s* const planes[] = {&a, &b, &c};
  EXPECT_EQ(zeliRCTFwd_JPEG2K_32s_P3IR(nullptr, 4, {1, 1}), zelStatusNullPointer);
  EXPECT_EQ(zeliRCTFwd_JPEG2K_32s_C3P3R(nullptr, 0, planes, 0, {0, 0}), zelStatusNullPointer);
  EXPECT_EQ(zeliRCTInv_JPEG2K_32s_P3C3R(planes, 0, nullptr, 0, {0, 0}), zelStatusNullPointer);
  for (const ZeliSize size : {ZeliSize{0, 1}, {1, 0}, {-1, 1}, {1, -1}}) {
    EXPECT_EQ(zeliRCTFwd_JPEG2K_32s_P3IR(planes, 4, size), zelStatusBadSize);
    EXPECT_EQ(zeliRCTFwd_JPEG2K_32s_C3P3R(pixel, 12, planes, 4, size), zelStatusBadSize);
    EXPECT_EQ(zeliRCTInv_JPEG2K_32s_P3C3R(planes, 4, pixel, 12, size), zelStatusBadSize);
  }
  EXPECT_EQ(a + b + c + pixel[0] + pixel[1] + pixel[2], 42);
}

} // namespace
} // namespace zelj::test
