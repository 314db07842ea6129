#include <gtest/gtest.h>

#include <vector>

#include "jpeg2k/wavelet/model.h"
#include "support/guarded.h"
#include "support/random.h"
#include "zelj.h"

namespace zelj::test {
namespace {

template <class T>
struct Wavelet {
  const Form& form;
  bool reversible;
  ZelStatus (*forward)(T*, int, const ZeliRect*, Zel8u*);
  ZelStatus (*inverse)(T*, int, const ZeliRect*, Zel8u*);
  ZelStatus (*forwardBands)(const T*, int, const ZeliRect*, T* const*, const int*, Zel8u*);
  ZelStatus (*inverseBands)(const T* const*, const int*, T*, int, const ZeliRect*, Zel8u*);
  ZelStatus (*size)(const ZeliRect*, int*);
  ZelStatus (*bandsSize)(const ZeliRect*, int*);
};

#define ZELJ_WAVELET(form, reversible, name, type)                                                      \
  {                                                                                                     \
    form, reversible, zeliWTFwd_##name##_JPEG2K_##type##_C1IR, zeliWTInv_##name##_JPEG2K_##type##_C1IR, \
        zeliWTFwd_##name##_JPEG2K_##type##_C1R, zeliWTInv_##name##_JPEG2K_##type##_C1R,                 \
        zeliWTGetBufSize_##name##_JPEG2K_##type##_C1IR, zeliWTGetBufSize_##name##_JPEG2K_##type##_C1R   \
  }
const Wavelet<Zel16s> k53_16s = ZELJ_WAVELET(kFormTile53_16s, true, B53, 16s);
const Wavelet<Zel32s> k53_32s = ZELJ_WAVELET(kForm53_32s, true, B53, 32s);
const Wavelet<Zel16s> k97_16s = ZELJ_WAVELET(kFormTile97_16s, false, D97, 16s);
const Wavelet<Zel32s> k97_32s = ZELJ_WAVELET(kFormTile97_32s, false, D97, 32s);
#undef ZELJ_WAVELET

template <class T>
double cut(int64_t v) {
  return static_cast<T>(static_cast<uint64_t>(v));
}

// A whole line, its first sample at position `phase`, symmetrical around both ends; by slots of the layout in place.
template <class T>
std::vector<double> forwardLine(const Wavelet<T>& w, const std::vector<double>& x, int phase) {
  const auto n = static_cast<int>(x.size()), lows = (n + 1 - phase) / 2;
  const auto at = [&](int i) { return x[static_cast<size_t>(i)]; };
  if (n == 1) return {cut<T>(integer(x[0]) * (phase + 1))};
  if (n == 2 && w.reversible) {
    const int64_t low = integer(at(phase)), high = integer(cut<T>(integer(at(1 - phase)) - low));
    return {cut<T>(low + (wrap32(high + 1) >> 1)), static_cast<double>(high)};
  }
  const Line line = [&](int position) {
    int i = std::abs(position - phase) % (2 * n - 2);
    return at(i < n ? i : 2 * n - 2 - i);
  };
  std::vector<double> slots = x;
  const bool highFirst = phase && !w.reversible;
  for (int i = 0; i < n; ++i) { // the low ones first: the last high one may overwrite one of them
    const int position = i + phase;
    if (position % 2 == 0)
      slots[static_cast<size_t>((highFirst ? n / 2 : 0) + i / 2)] = analysed(w.form, line, position);
  }
  if (highFirst && n % 2) slots[static_cast<size_t>(n - 1)] = at(n - 1);
  for (int i = 0; i < n; ++i) {
    const int position = i + phase;
    if (position % 2) slots[static_cast<size_t>((highFirst ? 0 : lows) + i / 2)] = analysed(w.form, line, position);
  }
  return slots;
}

template <class T>
std::vector<double> inverseLine(const Wavelet<T>& w, const std::vector<double>& slots, int phase) {
  const auto n = static_cast<int>(slots.size()), lows = (n + 1 - phase) / 2;
  if (n == 1) return {static_cast<double>(integer(slots[0]) / (phase + 1))};
  std::vector<double> x(slots.size());
  if (n == 2 && w.reversible) {
    const int64_t even = integer(cut<T>(integer(slots[0]) - (wrap32(integer(slots[1]) + 1) >> 1)));
    x[static_cast<size_t>(phase)] = static_cast<double>(even);
    x[static_cast<size_t>(1 - phase)] = cut<T>(integer(slots[1]) + even);
    return x;
  }
  const Line line = [&](int position) {
    int i = std::abs(position - phase) % (2 * n - 2);
    i = i < n ? i : 2 * n - 2 - i;
    return slots[static_cast<size_t>((i + phase) % 2 ? lows + i / 2 : i / 2)];
  };
  for (int i = 0; i < n; ++i) x[static_cast<size_t>(i)] = synthesised(w.form, line, i + phase);
  return x;
}

using Matrix = std::vector<std::vector<double>>; // by rows

template <class F>
void rows(Matrix& m, F line) {
  for (auto& r : m) r = line(r);
}
template <class F>
void columns(Matrix& m, F line) {
  for (size_t x = 0; x < m[0].size(); ++x) {
    std::vector<double> column;
    for (const auto& r : m) column.push_back(r[x]);
    column = line(column);
    for (size_t y = 0; y < m.size(); ++y) m[y][x] = column[y];
  }
}

// A tile in place, and to or from bands, by the model; all memory ends at an inaccessible page, buffers too.
template <class T>
void checkTile(const Wavelet<T>& w, const ZeliRect& rect, int limit, Random& random) {
  const int width = rect.width, height = rect.height, gap = random.in(0, 3);
  Region<T> source(width, height, width * static_cast<int>(sizeof(T)) + gap);
  const int smaller = random.in(0, 1) ? limit : 100;
  source.fill([&](int, int) { return random.in(-smaller, smaller - 1); });
  const auto matrixOf = [&](const Region<T>& r) {
    Matrix m(static_cast<size_t>(height));
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) m[static_cast<size_t>(y)].push_back(r.get(x, y));
    }
    return m;
  };
  int bytes = -1, bandsBytes = -1;
  ASSERT_EQ(w.size(&rect, &bytes), zelStatusOk);
  ASSERT_EQ(w.bandsSize(&rect, &bandsBytes), zelStatusOk);
  const GuardedMemory buffer(static_cast<size_t>(bytes)), bandsBuffer(static_cast<size_t>(bandsBytes));

  const int left = width - width / 2, top = height - height / 2;
  std::vector<Region<T>> bands;
  T* pointers[4];
  int steps[4];
  for (int i = 0; i < 4; ++i) {
    const int bandWidth = i / 2 ? width - left : left, bandHeight = i % 2 ? height - top : top;
    bands.emplace_back(bandWidth ? bandWidth : 1, bandHeight ? bandHeight : 1, 0);
    pointers[i] = bands.back().data();
    steps[i] = bands.back().step();
  }
  const auto bandSample = [&](int x, int y) {
    return bands[static_cast<size_t>((x < left ? 0 : 2) + (y < top ? 0 : 1))].get(x < left ? x : x - left,
                                                                                  y < top ? y : y - top);
  };
  const auto where = [&] {
    return testing::Message() << width << " x " << height << " at " << rect.x << ", " << rect.y << ", " << 8 * sizeof(T)
                              << " bits";
  };

  Matrix expected = matrixOf(source);
  columns(expected, [&](const auto& line) { return forwardLine(w, line, rect.y & 1); });
  rows(expected, [&](const auto& line) { return forwardLine(w, line, rect.x & 1); });
  const auto want = [&](int x, int y) { return expected[static_cast<size_t>(y)][static_cast<size_t>(x)]; };
  ASSERT_EQ(w.forwardBands(source.data(), source.step(), &rect, pointers, steps, bandsBuffer.data()), zelStatusOk);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) ASSERT_EQ(bandSample(x, y), want(x, y)) << where() << ": slot " << x << ", " << y;
  }
  ASSERT_EQ(w.forward(source.data(), source.step(), &rect, buffer.data()), zelStatusOk);
  ASSERT_TRUE(equals(source, want)) << where();

  rows(expected, [&](const auto& line) { return inverseLine(w, line, rect.x & 1); });
  columns(expected, [&](const auto& line) { return inverseLine(w, line, rect.y & 1); });
  Region<T> joined(width, height);
  ASSERT_EQ(w.inverseBands(pointers, steps, joined.data(), joined.step(), &rect, bandsBuffer.data()), zelStatusOk);
  ASSERT_TRUE(equals(joined, want)) << where() << ", inverse of bands";
  ASSERT_EQ(w.inverse(source.data(), source.step(), &rect, buffer.data()), zelStatusOk);
  ASSERT_TRUE(equals(source, want)) << where() << ", inverse";
}

template <class T>
void checkTiles(const Wavelet<T>& w, int limit) {
  Random random(5);
  for (int height = 1; height <= 10; ++height) {
    for (int width = 1; width <= 10; ++width) {
      for (const int x : {0, 1, -1}) {
        for (const int y : {0, 1}) {
          checkTile(w, {2 * random.in(-9, 9) + x, y, width, height}, limit, random);
          if (testing::Test::HasFatalFailure()) return;
        }
      }
    }
  }
  for (const ZeliSize size : {ZeliSize{64, 65}, {67, 33}, {131, 12}, {5, 130}, {1100, 6}}) {
    for (const int phase : {0, 1, 2, 3}) {
      checkTile(w, {phase & 1, phase >> 1, size.width, size.height}, limit, random);
      if (testing::Test::HasFatalFailure()) return;
    }
  }
}

TEST(WaveletTiles, Reversible) {
  checkTiles(k53_16s, 8000);
  checkTiles(k53_32s, 1 << 30); // sums wrap
}

TEST(WaveletTiles, Irreversible) {
  checkTiles(k97_16s, 32768); // stages wrap
  checkTiles(k97_32s, 1 << 30);
}

// What leaves 32 bits: above 2^31 the largest value, at 2^31 and below -2^31 the smallest.
TEST(WaveletTiles, IrreversibleResultsBeyondTheIntegers) {
  for (const int sign : {1, -1}) {
    Zel32s tile[6];
    for (Zel32s& v : tile) v = sign > 0 ? 0x7fffffff : -0x7fffffff - 1;
    Zel8u buffer[100];
    const ZeliRect column = {0, 0, 1, 6};
    ASSERT_EQ(zeliWTInv_D97_JPEG2K_32s_C1IR(tile, 4, &column, buffer), zelStatusOk);
    EXPECT_EQ(tile[3], sign > 0 ? 0x7fffffff : -0x7fffffff - 1);
  }
}

TEST(WaveletTiles, ReversibleRoundTrip) {
  Random random(6);
  for (int trial = 0; trial < 300; ++trial) {
    const ZeliRect rect = {random.in(-3, 3), random.in(-3, 3), random.in(1, 90), random.in(1, 90)};
    Region<Zel16s> tile(rect.width, rect.height), original(rect.width, rect.height);
    original.fill([&](int, int) { return random.in(-8192, 8191); });
    tile.fill([&](int x, int y) { return original.get(x, y); });
    std::vector<Zel8u> buffer(1000);
    ASSERT_EQ(zeliWTFwd_B53_JPEG2K_16s_C1IR(tile.data(), tile.step(), &rect, buffer.data()), zelStatusOk);
    ASSERT_EQ(zeliWTInv_B53_JPEG2K_16s_C1IR(tile.data(), tile.step(), &rect, buffer.data()), zelStatusOk);
    ASSERT_TRUE(equals(tile, [&](int x, int y) { return original.get(x, y); }));
  }
}

TEST(WaveletTiles, BufferSizes) {
  const auto size = [](auto f, int width, int height) {
    const ZeliRect rect = {1, 1, width, height};
    int bytes = -1;
    EXPECT_EQ(f(&rect, &bytes), zelStatusOk);
    return bytes;
  };
  EXPECT_EQ(size(k53_16s.size, 2, 2), 0);
  EXPECT_EQ(size(k53_16s.size, 2, 3), 14);
  EXPECT_EQ(size(k53_32s.size, 100, 3), 416);
  EXPECT_EQ(size(k53_16s.bandsSize, 17, 5), 64 * 5 + 42);
  EXPECT_EQ(size(k53_32s.bandsSize, 2, 2), 64);
  EXPECT_EQ(size(k97_16s.size, 1, 1), 0);
  EXPECT_EQ(size(k97_16s.size, 1, 2), 20);
  EXPECT_EQ(size(k97_32s.size, 3, 2), 44);
  EXPECT_EQ(size(k97_32s.bandsSize, 9, 9), 64 * 9 + 68);
  const ZeliRect rect = {0, 0, 4, 4};
  int bytes = 7;
  for (const auto f : {k53_16s.size, k53_32s.bandsSize, k97_16s.bandsSize, k97_32s.size}) {
    EXPECT_EQ(f(nullptr, &bytes), zelStatusNullPointer);
    EXPECT_EQ(f(&rect, nullptr), zelStatusNullPointer);
  }
  EXPECT_EQ(bytes, 7);
}

TEST(WaveletTiles, OrderOfChecks) {
  const ZeliRect rect = {0, 0, 1, 1}, flat = {0, 0, 1, 0}, thin = {0, 0, 0, 1};
  Zel32s tile[1] = {7}, a[4] = {7, 7, 7, 7};
  Zel8u buffer[64];
  for (const Wavelet<Zel32s>* w : {&k53_32s, &k97_32s}) {
    for (const auto f : {w->forward, w->inverse}) {
      EXPECT_EQ(f(nullptr, 0, nullptr, nullptr), zelStatusNullPointer);
      EXPECT_EQ(f(tile, 0, nullptr, nullptr), zelStatusBadStep);
      EXPECT_EQ(f(tile, 4, nullptr, buffer), zelStatusNullPointer);
      EXPECT_EQ(f(tile, 4, &rect, nullptr), zelStatusNullPointer);
      EXPECT_EQ(f(tile, 4, &thin, buffer), zelStatusOk);
    }
    for (int missing = 0; missing < 5; ++missing) {
      Zel32s* bands[] = {a, a + 1, missing == 2 ? nullptr : a + 2, a + 3};
      const int steps[] = {4, missing == 3 ? 0 : 4, 4, 4}, step = missing == 1 ? 0 : 4;
      const ZeliRect& r = missing == 4 ? flat : rect;
      const ZelStatus status = missing == 1 || missing == 3 ? zelStatusBadStep
                               : missing == 4               ? zelStatusBadSize
                                                            : zelStatusNullPointer;
      for (int argument = missing ? 5 : 0; argument < 6; ++argument) { // the first round lacks one argument at a time
        if (!missing && argument == 5) continue;
        const auto given = [&](int i) { return argument != i; };
        EXPECT_EQ(w->forwardBands(given(0) ? tile : nullptr, step, given(1) ? &r : nullptr, given(2) ? bands : nullptr,
                                  given(3) ? steps : nullptr, given(4) ? buffer : nullptr),
                  status);
        EXPECT_EQ(w->inverseBands(given(2) ? bands : nullptr, given(3) ? steps : nullptr, given(0) ? tile : nullptr,
                                  step, given(1) ? &r : nullptr, given(4) ? buffer : nullptr),
                  status);
      }
    }
  }
  EXPECT_EQ(tile[0] + a[0] + a[1] + a[2] + a[3], 35);
}

} // namespace
} // namespace zelj::test
