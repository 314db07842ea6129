// Colour conversion and sampling of one MCU, each export beside a model of one group of pixels that shares chroma.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>

#include "support/guarded.h"
#include "support/random.h"
#include "support/sparse.h"
#include "zelj.h"

namespace zelj::test {
namespace {

using Four = std::array<Zel64s, 4>; // R, G, B, K or Y, Cb, Cr, K; before the level shift where they are pixels

int clamp8(Zel64s v) {
  return static_cast<int>(std::clamp<Zel64s>(v, 0, 255));
}

enum class Layout { rgb, bgr, packed5, packed6, cmyk, samples, pairs };

int bytesOf(Layout layout) {
  switch (layout) {
    case Layout::cmyk:
      return 4;
    case Layout::packed5:
    case Layout::packed6:
    case Layout::pairs:
      return 2;
    default:
      return 3;
  }
}

struct Export {
  const char* name;
  Layout layout;
  int across, down; // pixels that share chroma
  bool forward;
  std::function<ZelStatus(Zel8u* pixels, int step, Zel16s* const* planes)> call;

  int bytes() const { return bytesOf(layout); }
  int planes() const { return layout == Layout::cmyk ? 4 : 3; }
  int width() const { return 8 * across; }
  int height() const { return 8 * down; }
  bool samples() const { return layout == Layout::samples || layout == Layout::pairs; }
};

template <class T>
auto caller(ZelStatus (*f)(const T*, int, Zel16s* const*)) {
  return [f](Zel8u* pixels, int step, Zel16s* const* planes) {
    return f(reinterpret_cast<const T*>(pixels), step, planes);
  };
}
template <class T>
auto caller(ZelStatus (*f)(const Zel16s* const*, T*, int)) {
  return [f](Zel8u* pixels, int step, Zel16s* const* planes) { return f(planes, reinterpret_cast<T*>(pixels), step); };
}

std::vector<Export> exports() {
  std::vector<Export> list;
#define ADD(op, layout, across, down, forward) \
  list.push_back({#op, Layout::layout, across, down, forward, caller(zeli##op)})
#define SHAPES(before, after, layout, forward)    \
  ADD(before##444##after, layout, 1, 1, forward); \
  ADD(before##422##after, layout, 2, 1, forward); \
  ADD(before##411##after, layout, 2, 2, forward)
  SHAPES(RGBToYCbCr, LS_MCU_8u16s_C3P3R, rgb, true);
  SHAPES(BGRToYCbCr, LS_MCU_8u16s_C3P3R, bgr, true);
  SHAPES(BGR555ToYCbCr, LS_MCU_16u16s_C3P3R, packed5, true);
  SHAPES(BGR565ToYCbCr, LS_MCU_16u16s_C3P3R, packed6, true);
  SHAPES(CMYKToYCCK, LS_MCU_8u16s_C4P4R, cmyk, true);
  SHAPES(YCbCr, ToRGBLS_MCU_16s8u_P3C3R, rgb, false);
  SHAPES(YCbCr, ToBGRLS_MCU_16s8u_P3C3R, bgr, false);
  SHAPES(YCbCr, ToBGR555LS_MCU_16s16u_P3C3R, packed5, false);
  SHAPES(YCbCr, ToBGR565LS_MCU_16s16u_P3C3R, packed6, false);
  SHAPES(YCCK, ToCMYKLS_MCU_16s8u_P4C4R, cmyk, false);
  SHAPES(SampleDown, LS_MCU_8u16s_C3P3R, samples, true);
  SHAPES(SampleUp, LS_MCU_16s8u_P3C3R, samples, false);
  ADD(Split422LS_MCU_8u16s_C2P3R, pairs, 2, 1, true);
  ADD(Join422LS_MCU_16s8u_P3C2R, pairs, 2, 1, false);
#undef SHAPES
#undef ADD
  return list;
}

// A plane of blocks, before an inaccessible page where it is aligned, `shift` bytes off 16 otherwise.
struct Plane {
  Plane(int blocks, int shift) : memory(static_cast<size_t>(blocks * 128 + shift)), samples(blocks * 64) {}

  Zel16s* data() const { return reinterpret_cast<Zel16s*>(memory.data()); }
  Zel16s get(int i) const {
    Zel16s v;
    std::memcpy(&v, memory.data() + 2 * i, 2);
    return v;
  }
  void set(int i, int value) {
    const auto v = static_cast<Zel16s>(value);
    std::memcpy(memory.data() + 2 * i, &v, 2);
  }

  GuardedMemory memory;
  int samples;
};

struct Unit {
  Unit(const Export& e, int gap, std::array<int, 4> shifts, Edge edge = Edge::end)
      : pixels(e.width() * e.bytes(), e.height(), e.width() * e.bytes() + gap, edge) {
    for (int i = 0; i < e.planes(); ++i) {
      planes.emplace_back(i % 3 == 0 ? e.across * e.down : 1, shifts[static_cast<size_t>(i)]);
      pointers.push_back(planes.back().data());
    }
  }
  // Where sample (x, y) of plane 0 or 3 lies.
  static int lumaIndex(const Export& e, int x, int y) { return 64 * (y / 8 * e.across + x / 8) + y % 8 * 8 + x % 8; }

  Region<Zel8u> pixels;
  std::vector<Plane> planes;
  std::vector<Zel16s*> pointers;
};

// R, G, B (K) of a pixel, or its samples. Of pairs only one sample of chroma belongs to a pixel.
Four pixelAt(const Export& e, const Unit& u, int x, int y) {
  const auto at = [&](int i) -> Zel64s { return u.pixels.get(x * e.bytes() + i, y); };
  const Zel64s bits = at(0) | at(1) << 8;
  switch (e.layout) {
    case Layout::bgr:
      return {at(2), at(1), at(0), 0};
    case Layout::packed5:
      return {(bits >> 10 & 31) << 3, (bits >> 5 & 31) << 3, (bits & 31) << 3, 0};
    case Layout::packed6:
      return {(bits >> 11) << 3, (bits >> 5 & 63) << 2, (bits & 31) << 3, 0};
    case Layout::cmyk:
      return {255 - at(0), 255 - at(1), 255 - at(2), at(3)};
    case Layout::pairs:
      return {at(0), x % 2 ? 0 : 2 * at(1), x % 2 ? 2 * at(1) : 0, 0};
    default:
      return {at(0), at(1), at(2), 0};
  }
}

int lumaModel(const Export& e, Four p, bool truncates) {
  const auto [r, g, b, k] = p;
  if (e.samples()) return static_cast<int>(r - 128);
  return static_cast<int>(truncates ? ((19595 * r + 38470 * g + 7471 * b) >> 16) - 128
                                    : (4899 * r + 9617 * g + 1868 * b - 2088960) >> 14);
}

std::array<int, 2> chromaModel(const Export& e, Four sum, bool truncates) {
  const auto [r, g, b, k] = sum;
  const int n = e.across * e.down, log = n == 1 ? 0 : n == 2 ? 1 : 2;
  const auto pair = [](Zel64s cb, Zel64s cr) { return std::array<int, 2>{static_cast<int>(cb), static_cast<int>(cr)}; };
  if (e.samples()) return pair((g - 128 * n) >> log, (b - 128 * n) >> log);
  if (truncates) {
    return pair((-11059 * r - 21709 * g + 32768 * b) >> (16 + log), (32768 * r - 27439 * g - 5329 * b) >> (16 + log));
  }
  const int round = e.layout == Layout::cmyk && n == 1 ? 8133 : 8192 * n;
  return pair((-2764 * r - 5428 * g + 8192 * b + round) >> (14 + log),
              (8192 * r - 6860 * g - 1332 * b + round) >> (14 + log));
}

// The bytes of a pixel at x from its samples.
std::array<int, 4> pixelModel(const Export& e, Four p, int x, bool truncates) {
  const auto [y, cb, cr, k] = p;
  if (e.layout == Layout::samples) return {clamp8(y + 128), clamp8(cb + 128), clamp8(cr + 128)};
  if (e.layout == Layout::pairs) return {clamp8(y + 128), clamp8((x % 2 ? cr : cb) + 128)};
  int r, g, b;
  if (truncates) {
    r = clamp8(y + ((91881 * cr) >> 16) + 128);
    g = clamp8(y + ((-22554 * cb - 46802 * cr) >> 16) + 128);
    b = clamp8(y + ((116130 * cb) >> 16) + 128);
  } else if (e.across == 1 && e.bytes() == 3) {
    r = clamp8(y + ((22970 * cr + 2105344) >> 14));
    g = clamp8(y + ((-5638 * cb - 11700 * cr + 2105344) >> 14));
    b = clamp8(y + ((29032 * cb + 2105344) >> 14));
  } else {
    r = clamp8(y + ((11485 * cr + 1052672) >> 13));
    g = clamp8(y - ((5638 * cb + 11700 * cr - 2088960) >> 14));
    b = clamp8(y + ((14516 * cb + 1052672) >> 13));
  }
  const int bits5 = b >> 3 | g >> 3 << 5 | r >> 3 << 10, bits6 = b >> 3 | g >> 2 << 5 | r >> 3 << 11;
  switch (e.layout) {
    case Layout::bgr:
      return {b, g, r};
    case Layout::packed5:
      return {bits5 & 255, bits5 >> 8};
    case Layout::packed6:
      return {bits6 & 255, bits6 >> 8};
    case Layout::cmyk:
      return {255 - r, 255 - g, 255 - b, clamp8(k + 128)};
    default:
      return {r, g, b};
  }
}

// Which form the alignment of planes brings.
bool truncates(const Export& e, std::array<int, 4> shifts) {
  if (e.samples() || e.bytes() == 2) return false;
  if (e.forward && e.bytes() == 3) return e.down == 2 && shifts[0] != 0;
  if (e.forward && e.across == 2) return shifts[0] != 0 || shifts[3] != 0;
  return std::any_of(shifts.begin(), shifts.begin() + e.planes(), [](int shift) { return shift != 0; });
}

testing::AssertionResult matches(const Export& e, const Unit& u, bool cut) {
  if (!e.forward) {
    return equals(u.pixels, [&](int byte, int y) {
      const int x = byte / e.bytes(), c = y / e.down * 8 + x / e.across, l = Unit::lumaIndex(e, x, y);
      const Four p{u.planes[0].get(l), u.planes[1].get(c), u.planes[2].get(c),
                   e.planes() == 4 ? u.planes[3].get(l) : 0};
      return pixelModel(e, p, x, cut)[static_cast<size_t>(byte % e.bytes())];
    });
  }
  for (int i = 0; i < 64; ++i) {
    Four sum{};
    for (int j = 0; j < e.across * e.down; ++j) {
      const int x = i % 8 * e.across + j % e.across, y = i / 8 * e.down + j / e.across, l = Unit::lumaIndex(e, x, y);
      const Four p = pixelAt(e, u, x, y);
      for (size_t c = 0; c < 3; ++c) sum[c] += p[c];
      if (u.planes[0].get(l) != lumaModel(e, p, cut) || (e.planes() == 4 && u.planes[3].get(l) != p[3] - 128)) {
        return testing::AssertionFailure() << "luma or K at x " << x << ", y " << y;
      }
    }
    const auto want = chromaModel(e, sum, cut);
    if (u.planes[1].get(i) != want[0] || u.planes[2].get(i) != want[1]) {
      return testing::AssertionFailure() << "chroma " << i << " is " << u.planes[1].get(i) << ", " << u.planes[2].get(i)
                                         << " instead of " << testing::PrintToString(want);
    }
  }
  for (const Plane& plane : u.planes) { // what lies behind a plane off its page's end
    for (size_t i = static_cast<size_t>(plane.samples) * 2; i < plane.memory.size(); ++i) {
      if (plane.memory.data()[i] != GuardedMemory::kFill) return testing::AssertionFailure() << "wrote behind a plane";
    }
  }
  return testing::AssertionSuccess();
}

class Mcu : public testing::TestWithParam<Export> {};

INSTANTIATE_TEST_SUITE_P(Jpeg, Mcu, testing::ValuesIn(exports()),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_P(Mcu, EveryAlignmentAndContent) {
  const Export& e = GetParam();
  Random random(1);
  for (int round = 0; round < 400; ++round) {
    std::array<int, 4> shifts{};
    if (round % 2) {
      for (int& shift : shifts) shift = random.oneOf({0, 0, 1, 2, 8, 15});
    }
    Unit u(e, random.in(0, 5), shifts, round % 3 ? Edge::end : Edge::begin);
    const int content = random.in(0, 3);
    u.pixels.fill([&](int, int) {
      return content == 0   ? random.in(0, 255)
             : content == 1 ? random.oneOf({0, 255})
                            : random.oneOf({0, 1, 127, 128, 254, 255});
    });
    if (!e.forward) {
      for (Plane& plane : u.planes) {
        for (int i = 0; i < plane.samples; ++i) {
          plane.set(i, content == 0   ? random.in(-128, 127)
                       : content == 1 ? random.in(-300, 300)
                       : content == 2
                           ? random.in(-32768, 32767)
                           : random.oneOf({-32768, -32767, -16385, -16384, -128, 0, 127, 16383, 16384, 32767}));
        }
      }
    }
    ASSERT_EQ(e.call(u.pixels.data(), u.pixels.step(), u.pointers.data()), zelStatusOk);
    ASSERT_TRUE(matches(e, u, truncates(e, shifts))) << "round " << round;
  }
}

// All differences R - G and B - G, on which chroma rests, and all pairs of Cb and Cr that are samples.
TEST_P(Mcu, EveryChroma) {
  const Export& e = GetParam();
  Unit u(e, 0, {});
  const int perUnit = e.forward ? e.width() * e.height() : 64;
  for (int first = 0; first < 65536; first += perUnit) {
    if (e.forward) {
      u.pixels.fill([&](int byte, int y) {
        const int i = first + y * e.width() + byte / e.bytes(), channel = byte % e.bytes();
        return channel == 1 ? (i * 7 + i / 256) & 255 : channel == 0 ? i & 255 : i >> 8;
      });
    } else {
      for (int i = 0; i < 64; ++i) {
        u.planes[1].set(i, ((first + i) & 255) - 128);
        u.planes[2].set(i, ((first + i) >> 8) - 128);
      }
      for (int i = 0; i < u.planes[0].samples; ++i) u.planes[0].set(i, (i * 5 + first) % 256 - 128);
    }
    ASSERT_EQ(e.call(u.pixels.data(), u.pixels.step(), u.pointers.data()), zelStatusOk);
    ASSERT_TRUE(matches(e, u, false)) << "from " << first;
  }
}

TEST_P(Mcu, OrderOfChecks) {
  const Export& e = GetParam();
  Unit u(e, 0, {});
  EXPECT_EQ(e.call(nullptr, 0, u.pointers.data()), zelStatusNullPointer);
  EXPECT_EQ(e.call(u.pixels.data(), 0, nullptr), zelStatusNullPointer);
  EXPECT_EQ(e.call(u.pixels.data(), 0, u.pointers.data()), zelStatusBadStep);
  EXPECT_EQ(e.call(u.pixels.data(), -1, u.pointers.data()), zelStatusBadStep);
  for (Zel16s*& plane : u.pointers) {
    Zel16s* const kept = std::exchange(plane, nullptr);
    // Planes come behind the step on the way in, before it on the way out.
    EXPECT_EQ(e.call(u.pixels.data(), 0, u.pointers.data()),
              e.forward ? ZelStatus{zelStatusBadStep} : ZelStatus{zelStatusNullPointer});
    EXPECT_EQ(e.call(u.pixels.data(), 1, u.pointers.data()), zelStatusNullPointer);
    plane = kept;
  }
  EXPECT_TRUE(equals(u.pixels, [](int, int) { return GuardedMemory::kFill; }));
}

TEST_P(Mcu, RowsAGigabyteApart) {
  const Export& e = GetParam();
  Random random(2);
  const SparseRows rows(e.height(), e.width() * e.bytes());
  Unit u(e, 0, {});
  u.pixels.fill([&](int, int) { return random.in(0, 255); });
  for (Plane& plane : u.planes) {
    for (int i = 0; i < plane.samples; ++i) plane.set(i, random.in(-128, 127));
  }
  for (int y = 0; y < e.height(); ++y) {
    for (int i = 0; i < u.pixels.width(); ++i) rows.row(y)[i] = u.pixels.get(i, y);
  }
  ASSERT_EQ(e.call(rows.row(0), kHugeStep, u.pointers.data()), zelStatusOk);
  u.pixels.fill([&](int i, int y) { return rows.row(y)[i]; });
  EXPECT_TRUE(matches(e, u, false));
}

TEST(McuValues, WhiteBlackAndHalves) {
  alignas(16) Zel16s y[64], cb[64], cr[64];
  Zel16s* const planes[3] = {y, cb, cr};
  Zel8u bgr[192];
  std::fill_n(bgr, 192, Zel8u{255});
  ASSERT_EQ(zeliBGRToYCbCr444LS_MCU_8u16s_C3P3R(bgr, 24, planes), zelStatusOk);
  EXPECT_EQ(std::make_tuple(y[63], cb[63], cr[63]), std::make_tuple(127, 0, 0));
  std::fill_n(bgr, 192, Zel8u{0});
  ASSERT_EQ(zeliBGRToYCbCr444LS_MCU_8u16s_C3P3R(bgr, 24, planes), zelStatusOk);
  EXPECT_EQ(y[0], -128);
  // A mean of 1.5 is taken down before the shift.
  alignas(16) Zel16s two[128];
  Zel16s* const pairPlanes[3] = {two, cb, cr};
  Zel8u pixels[8 * 48];
  for (int i = 0; i < 8 * 48; ++i) pixels[i] = static_cast<Zel8u>(1 + i / 3 % 2);
  ASSERT_EQ(zeliSampleDown422LS_MCU_8u16s_C3P3R(pixels, 48, pairPlanes), zelStatusOk);
  EXPECT_EQ(cb[0], -127);
  EXPECT_EQ(two[64], -127); // the first sample of the right block
}

} // namespace
} // namespace zelj::test
