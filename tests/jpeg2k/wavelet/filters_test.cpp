#include <gtest/gtest.h>

#include <vector>

#include "jpeg2k/wavelet/model.h"
#include "support/guarded.h"
#include "support/random.h"
#include "zelj.h"

namespace zelj::test {
namespace {

template <class T>
using Forward = ZelStatus (*)(const T*, int, T*, int, T*, int, ZeliSize, int);
template <class T>
using Inverse = ZelStatus (*)(const T*, int, const T*, int, ZeliSize, T*, int, int);

// Samples up to `limit`, sometimes only its extremes.
template <class T>
void fill(Region<T>& region, int limit, Random& random) {
  const bool extremes = limit > 40000 ? false : random.in(0, 2) == 0;
  region.fill([&](int, int) -> double {
    const double v = extremes ? random.oneOf({-limit, limit - 1}) : random.in(-limit, limit - 1);
    return std::is_floating_point_v<T> ? v / 16 : v;
  });
}

// The sample of a pair's line at a position, of which phase's is the first: rows along x, columns along y.
struct Axis {
  bool columns;
  template <class T>
  T get(const Region<T>& region, int i, int line) const {
    return columns ? region.get(line, i) : region.get(i, line);
  }
  ZeliSize size(int length, int lines) const { return columns ? ZeliSize{lines, length} : ZeliSize{length, lines}; }
  template <class T>
  Region<T> region(int length, int lines, int gap, Edge edge) const {
    const ZeliSize s = size(length, lines);
    return Region<T>(s.width, s.height, s.width * static_cast<int>(sizeof(T)) + gap, edge);
  }
  template <class T>
  T* at(const Region<T>& region, int i) const {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(region.data()) +
                                i * (columns ? region.step() : static_cast<int>(sizeof(T))));
  }
  template <class T, class F>
  testing::AssertionResult equal(const Region<T>& region, F expected) const {
    return equals(region, [&](int x, int y) { return columns ? expected(y, x) : expected(x, y); });
  }
};

// The direct taps: what a line of one pair gets. Around is the sample that the taps are centred on.
double lowTaps(const Form& form, const Line& x, int i) {
  constexpr double taps[] = {0.602949f, 0.26686412f, -0.078223266f, -0.01686412f, 0.026748758f};
  constexpr int64_t q16[] = {39515, 17489, -5126, -1105, 1753};
  if (&form == &kForm97_32f) {
    float sum = single(taps[4]) * (single(x(i - 4)) + single(x(i + 4)));
    for (const int k : {3, 2, 1}) sum = sum + single(taps[k]) * (single(x(i - k)) + single(x(i + k)));
    return sum + single(taps[0]) * single(x(i));
  }
  int64_t whole = 0, parts = 0;
  for (int k = 0; k < 5; ++k) {
    const int64_t t = q16[k] * (integer(x(i - k)) + (k ? integer(x(i + k)) : 0));
    whole += t;
    parts += round16(t);
  }
  return static_cast<double>(&form == &kForm97_16s ? sat16(round16(whole)) : wrap32(parts));
}
double highTaps(const Form& form, const Line& x, int i) {
  constexpr double taps[] = {1.115087f, -0.59127176f, -0.057543527f, 0.091271766f};
  constexpr int64_t q16[] = {73078, -38749, -3771, 5982};
  if (&form == &kForm97_32f) {
    float sum = single(taps[3]) * (single(x(i - 3)) + single(x(i + 3)));
    for (const int k : {2, 1}) sum = sum + single(taps[k]) * (single(x(i - k)) + single(x(i + k)));
    return sum + single(taps[0]) * single(x(i));
  }
  int64_t whole = 0, parts = 0;
  for (int k = 0; k < 4; ++k) {
    const int64_t t = q16[k] * (integer(x(i - k)) + (k ? integer(x(i + k)) : 0));
    whole += t;
    parts += round16(t);
  }
  return static_cast<double>(&form == &kForm97_16s ? sat16(round16(whole)) : wrap32(parts));
}

template <class T>
struct Filter {
  const Form& form;
  Axis axis;
  Forward<T> forward;
  Inverse<T> inverse;
  int limit;
};

template <class T>
void checkForward(const Filter<T>& f, int pairs, int phase, Edge edge, Random& random) {
  const int lines = f.axis.columns ? random.in(1, 40) : random.in(1, 2), gap = random.in(0, 5), reach = f.form.steps;
  // What the filter may read, and no sample more: from an even position to an even one in phase 0.
  const int before = phase ? reach - 1 : reach;
  auto source = f.axis.template region<T>(2 * pairs + 2 * reach - 1, lines, gap, edge);
  fill(source, f.limit, random);
  auto low = f.axis.template region<T>(pairs, lines, gap, edge),
       high = f.axis.template region<T>(pairs, lines, 0, edge);
  ASSERT_EQ(f.forward(f.axis.at(source, before), source.step(), low.data(), low.step(), high.data(), high.step(),
                      f.axis.size(pairs, lines), phase),
            zelStatusOk);
  const int odd = phase != 0;
  const auto expected = [&](int position, int line) {
    const Line x = [&](int i) -> double { return f.axis.get(source, i - odd + before, line); };
    if (pairs == 1 && reach == 4) return position % 2 ? highTaps(f.form, x, position) : lowTaps(f.form, x, position);
    if (&f.form == &kForm97_16s) return row97_16s(x, position, 2 * odd, pairs);
    return analysed(f.form, x, position);
  };
  ASSERT_TRUE(f.axis.equal(low, [&](int j, int line) { return expected(2 * j + 2 * odd, line); }))
      << "low, " << pairs << " pairs, phase " << phase;
  ASSERT_TRUE(f.axis.equal(high, [&](int j, int line) { return expected(2 * j + 1, line); }))
      << "high, " << pairs << " pairs, phase " << phase;
}

template <class T>
void checkInverse(const Filter<T>& f, int pairs, int phase, Edge edge, Random& random) {
  const int lines = f.axis.columns ? random.in(1, 40) : random.in(1, 2), gap = random.in(0, 5), odd = phase != 0;
  const int reach = f.form.steps / 2; // of each band, beyond its samples
  auto low = f.axis.template region<T>(pairs + 2 * reach - 1, lines, gap, edge);
  auto high = f.axis.template region<T>(pairs + 2 * reach, lines, 3, edge);
  fill(low, f.limit, random);
  fill(high, f.limit, random);
  // Phase 0: low samples from 1 - reach on, high ones from -reach on; else low ones from -reach on.
  const int lowBefore = odd ? reach : reach - 1;
  auto result = f.axis.template region<T>(2 * pairs, lines, gap, edge);
  ASSERT_EQ(f.inverse(f.axis.at(low, lowBefore), low.step(), f.axis.at(high, reach), high.step(),
                      f.axis.size(pairs, lines), result.data(), result.step(), phase),
            zelStatusOk);
  ASSERT_TRUE(f.axis.equal(
      result,
      [&](int i, int line) {
        // Positions: the first sample's is odd. In the bands, low sample j stands at 2 (j + odd), high sample j at 2 j
        // + 1.
        const Line x = [&](int at) -> double {
          return at & 1 ? f.axis.get(high, (at >> 1) + reach, line)
                        : f.axis.get(low, (at >> 1) - odd + lowBefore, line);
        };
        if (pairs > 1 || reach == 1) return synthesised(f.form, x, i + odd);
        const auto l = [&](int j) { return x(2 * (j + odd)); };
        const auto h = [&](int j) { return x(2 * j + 1); };
        const int s = odd; // both bands' neighbours of the even sample, then of the odd one
        if ((i + odd) % 2 == 0) {
          const double a = l(-1), b = l(1), centre = l(0), c = h(s - 2), d = h(s + 1), e = h(s - 1), g = h(s);
          if (&f.form == &kForm97_32f) {
            return static_cast<double>((single(a) + single(b)) * -0.057543527f + 1.115087f * single(centre) +
                                       (single(c) + single(d)) * 0.01686412f + (single(e) + single(g)) * -0.26686412f);
          }
          const int64_t t[] = {-3771 * integer(a + b), 73078 * integer(centre), 1105 * integer(c + d),
                               -17489 * integer(e + g)};
          if (&f.form == &kForm97_16s) return static_cast<double>(sat16(round16(t[0] + t[1] + t[2] + t[3])));
          return static_cast<double>(wrap32(round16(t[0]) + round16(t[1]) + round16(t[2]) + round16(t[3])));
        }
        const double a = l(-1 - s), b = l(2 - s), c = l(-s), d = l(1 - s), e = h(-2), g = h(2), k = h(-1), m = h(1),
                     o = h(0);
        if (&f.form == &kForm97_32f) {
          return static_cast<double>(-0.091271766f * (single(a) + single(b)) + 0.59127176f * (single(c) + single(d)) +
                                     0.026748758f * (single(e) + single(g)) + (single(k) + single(m)) * -0.078223266f +
                                     0.602949f * single(o));
        }
        const int64_t t[] = {-5981 * integer(a + b), 38750 * integer(c + d), 1753 * integer(e + g),
                             -5126 * integer(k + m), 39515 * integer(o)};
        if (&f.form == &kForm97_16s) return static_cast<double>(sat16(round16(t[0] + t[1] + t[2] + t[3] + t[4])));
        return static_cast<double>(
            wrap32(round16(t[0]) + round16(t[1]) + round16(t[2]) + round16(t[3]) + round16(t[4])));
      }))
      << pairs << " pairs, phase " << phase;
}

template <class T>
void checkFilter(const Filter<T>& f) {
  Random random(1);
  std::vector<int> lengths;
  for (int n = 1; n <= 40; ++n) lengths.push_back(n);
  if (!f.axis.columns) lengths.insert(lengths.end(), {63, 64, 65, 255, 256, 257, 258, 511, 513, 514});
  for (const int pairs : lengths) {
    for (const Edge edge : {Edge::end, Edge::begin}) {
      for (const int phase : {0, random.oneOf({1, 2, -1})}) { // any value but 0 is odd
        checkForward(f, pairs, phase, edge, random);
        checkInverse(f, pairs, phase, edge, random);
        if (testing::Test::HasFatalFailure()) return;
      }
    }
  }
}

constexpr Axis kRows{false}, kColumns{true};
constexpr int kFits = 5000; // sums of neighbours fit 16 bits, those of carried values too

TEST(WaveletFilters, Reversible) {
  checkFilter<Zel16s>({kForm53_16s, kRows, zeliWTFwdRow_B53_JPEG2K_16s_C1R, zeliWTInvRow_B53_JPEG2K_16s_C1R, kFits});
  checkFilter<Zel32s>({kForm53_32s, kRows, zeliWTFwdRow_B53_JPEG2K_32s_C1R, zeliWTInvRow_B53_JPEG2K_32s_C1R, 1 << 30});
  checkFilter<Zel16s>({kForm53_16s, kColumns, zeliWTFwdCol_B53_JPEG2K_16s_C1R, zeliWTInvCol_B53_JPEG2K_16s_C1R, kFits});
  checkFilter<Zel32s>(
      {kForm53_32s, kColumns, zeliWTFwdCol_B53_JPEG2K_32s_C1R, zeliWTInvCol_B53_JPEG2K_32s_C1R, 1 << 30});
}

TEST(WaveletFilters, Irreversible) {
  checkFilter<Zel16s>({kForm97_16s, kRows, zeliWTFwdRow_D97_JPEG2K_16s_C1R, zeliWTInvRow_D97_JPEG2K_16s_C1R, 32768});
  checkFilter<Zel32s>({kForm97_32s, kRows, zeliWTFwdRow_D97_JPEG2K_32s_C1R, zeliWTInvRow_D97_JPEG2K_32s_C1R, 1 << 30});
  checkFilter<Zel32f>({kForm97_32f, kRows, zeliWTFwdRow_D97_JPEG2K_32f_C1R, zeliWTInvRow_D97_JPEG2K_32f_C1R, 32768});
  checkFilter<Zel32f>({kForm97_32f, kColumns, zeliWTFwdCol_D97_JPEG2K_32f_C1R, zeliWTInvCol_D97_JPEG2K_32f_C1R, 32768});
}

// Strips of columns join without a seam.
TEST(WaveletFilters, WideColumns) {
  Random random(2);
  const auto check = [&]<class T>(const Form& form, auto forward) {
    for (const int width : {511, 513, 1500}) {
      const int reach = form.steps, pairs = 2;
      Region<T> source(width, 2 * pairs + 2 * reach - 1), low(width, pairs), high(width, pairs);
      fill(source, 5000, random);
      ASSERT_EQ(forward(kColumns.at(source, reach), source.step(), low.data(), low.step(), high.data(), high.step(),
                        ZeliSize{width, pairs}, 0),
                zelStatusOk);
      ASSERT_TRUE(equals(low, [&](int x, int y) {
        return analysed(
            form, [&](int i) -> double { return source.get(x, i + reach); }, 2 * y);
      }));
    }
  };
  check.operator()<Zel16s>(kForm53_16s, zeliWTFwdCol_B53_JPEG2K_16s_C1R);
  check.operator()<Zel32f>(kForm97_32f, zeliWTFwdCol_D97_JPEG2K_32f_C1R);
}

// Rows of lifts, each at its end of a page.
template <class T, int kRows>
struct LiftRows {
  LiftRows(int width, int limit, Edge edge, Random& random) {
    for (int i = 0; i < kRows; ++i) {
      rows.emplace_back(width, 1, 0, edge);
      fill(rows.back(), limit, random);
    }
  }
  T* operator[](int i) const { return rows[static_cast<size_t>(i)].data(); }
  double get(int i, int x) const { return rows[static_cast<size_t>(i)].get(x); }
  std::vector<Region<T>> rows;
};

template <class T>
void checkLifts53(const Form& form, decltype(&zeliWTFwdColLift_B53_JPEG2K_16s_C1) forward16,
                  decltype(&zeliWTFwdColLift_B53_JPEG2K_32s_C1) forward32, int limit) {
  Random random(3);
  for (int width = 1; width <= 80; ++width) {
    for (const Edge edge : {Edge::end, Edge::begin}) {
      LiftRows<T, 4> in(width, limit, edge, random);
      Region<T> first(width, 1, 0, edge), second(width, 1, 0, edge);
      if constexpr (sizeof(T) == 2) {
        ASSERT_EQ(forward16(in[0], in[1], in[2], first.data(), in[3], second.data(), width), zelStatusOk);
      } else {
        ASSERT_EQ(forward32(in[0], in[1], in[2], first.data(), in[3], second.data(), width), zelStatusOk);
      }
      const auto high = [&](int x, int) { return form.forward(0, in.get(1, x), in.get(0, x), in.get(2, x)); };
      ASSERT_TRUE(equals(second, high));
      ASSERT_TRUE(equals(first, [&](int x, int) { return form.forward(1, in.get(0, x), in.get(3, x), high(x, 0)); }));
      if constexpr (sizeof(T) == 2) {
        zeliWTInvColLift_B53_JPEG2K_16s_C1(in[0], in[1], in[2], in[3], first.data(), second.data(), width);
      } else {
        zeliWTInvColLift_B53_JPEG2K_32s_C1(in[0], in[1], in[2], in[3], first.data(), second.data(), width);
      }
      const auto even = [&](int x, int) { return form.inverse(0, in.get(0, x), in.get(1, x), in.get(2, x)); };
      ASSERT_TRUE(equals(second, even));
      ASSERT_TRUE(equals(first, [&](int x, int) { return form.inverse(1, in.get(1, x), in.get(3, x), even(x, 0)); }));
    }
  }
}

template <class T>
void checkLifts97(const Form& form, int limit,
                  ZelStatus (*forward)(const T*, const T*, const T*, T*, T*, T*, T*, T*, int),
                  ZelStatus (*inverse)(const T*, const T*, const T*, const T*, T*, T*, T*, T*, int)) {
  Random random(4);
  for (int width = 1; width <= 80; ++width) {
    for (const Edge edge : {Edge::end, Edge::begin}) {
      const uint64_t seed = random.bits();
      Random same(seed), again(seed);
      // The last three of six, then the last two of six, are changed in place: `in` keeps what they were.
      const LiftRows<T, 6> in(width, limit, edge, same), rows(width, limit, edge, again);
      Region<T> first(width, 1, 0, edge), second(width, 1, 0, edge);
      ASSERT_EQ(forward(rows[0], rows[1], rows[2], rows[3], first.data(), rows[4], rows[5], second.data(), width),
                zelStatusOk);
      for (int x = 0; x < width; ++x) {
        const double a = form.forward(0, in.get(1, x), in.get(0, x), in.get(2, x));
        const double b = form.forward(1, in.get(0, x), in.get(5, x), a);
        const double c = form.forward(2, in.get(5, x), in.get(3, x), b);
        ASSERT_EQ(static_cast<double>(second.get(x)), static_cast<double>(static_cast<T>(a)));
        ASSERT_EQ(static_cast<double>(first.get(x)), static_cast<double>(static_cast<T>(b)));
        ASSERT_EQ(rows.get(5, x), c);
        ASSERT_EQ(rows.get(3, x), form.finish(form.forward(3, in.get(3, x), in.get(4, x), c), false));
        ASSERT_EQ(rows.get(4, x), form.finish(in.get(4, x), true));
      }
      Random third(seed);
      const LiftRows<T, 6> back(width, limit, edge, third);
      ASSERT_EQ(inverse(back[0], back[1], back[2], back[3], back[4], back[5], first.data(), second.data(), width),
                zelStatusOk);
      for (int x = 0; x < width; ++x) {
        const double a = form.inverse(0, in.get(0, x), in.get(1, x), in.get(2, x));
        const double b = form.inverse(1, in.get(1, x), in.get(5, x), a);
        const double c = form.inverse(2, in.get(5, x), in.get(4, x), b);
        ASSERT_EQ(static_cast<double>(second.get(x)), a);
        ASSERT_EQ(static_cast<double>(first.get(x)), b);
        ASSERT_EQ(back.get(5, x), c);
        ASSERT_EQ(back.get(4, x), form.inverse(3, in.get(4, x), in.get(3, x), c));
      }
    }
  }
}

TEST(WaveletFilters, ColumnLifts) {
  checkLifts53<Zel16s>(kForm53_16s, zeliWTFwdColLift_B53_JPEG2K_16s_C1, nullptr, 32768); // sums of 16 bits wrap
  checkLifts53<Zel32s>(kForm53_32s, nullptr, zeliWTFwdColLift_B53_JPEG2K_32s_C1, 1 << 30);
  checkLifts97<Zel16s>(kForm97_16s, 32768, zeliWTFwdColLift_D97_JPEG2K_16s_C1, zeliWTInvColLift_D97_JPEG2K_16s_C1);
  checkLifts97<Zel32s>(kForm97_32s, 1 << 30, zeliWTFwdColLift_D97_JPEG2K_32s_C1, zeliWTInvColLift_D97_JPEG2K_32s_C1);
  checkLifts97<Zel32f>(kForm97_32f, 32768, zeliWTFwdColLift_D97_JPEG2K_32f_C1, zeliWTInvColLift_D97_JPEG2K_32f_C1);
}

TEST(WaveletFilters, OrderOfChecks) {
  Zel32f s[64] = {}, d[64] = {}, e[64] = {};
  Zel32f* const none = nullptr;
  const auto forward = [&](const Zel32f* a, int aStep, Zel32f* b, int bStep, Zel32f* c, int cStep, ZeliSize size) {
    const ZelStatus status = zeliWTFwdRow_D97_JPEG2K_32f_C1R(a, aStep, b, bStep, c, cStep, size, 0);
    EXPECT_EQ(zeliWTFwdCol_D97_JPEG2K_32f_C1R(a, aStep, b, bStep, c, cStep, size, 0), status);
    EXPECT_EQ(zeliWTInvRow_D97_JPEG2K_32f_C1R(b, bStep, c, cStep, size, const_cast<Zel32f*>(a), aStep, 0), status);
    EXPECT_EQ(zeliWTInvCol_D97_JPEG2K_32f_C1R(b, bStep, c, cStep, size, const_cast<Zel32f*>(a), aStep, 0), status);
    return status;
  };
  EXPECT_EQ(forward(none, 0, d, 0, e, 0, {0, 0}), zelStatusNullPointer);
  EXPECT_EQ(forward(s, 0, none, 0, e, 0, {0, 0}), zelStatusNullPointer);
  EXPECT_EQ(forward(s, 0, d, 0, none, 0, {0, 0}), zelStatusNullPointer);
  EXPECT_EQ(forward(s, 0, d, 4, e, 4, {0, 0}), zelStatusBadStep);
  EXPECT_EQ(forward(s, 4, d, 0, e, 4, {0, 0}), zelStatusBadStep);
  EXPECT_EQ(forward(s, 4, d, 4, e, 0, {0, 0}), zelStatusBadStep);
  EXPECT_EQ(forward(s, 4, d, 4, e, 4, {0, 1}), zelStatusBadSize);
  EXPECT_EQ(forward(s, 4, d, 4, e, 4, {1, 0}), zelStatusBadSize);
  for (int missing = 0; missing < 9; ++missing) {
    Zel32f* p[8];
    for (int i = 0; i < 8; ++i) p[i] = i == missing ? nullptr : s + i;
    const ZelStatus status = missing < 8 ? zelStatusNullPointer : zelStatusBadSize;
    EXPECT_EQ(zeliWTFwdColLift_D97_JPEG2K_32f_C1(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], 0), status);
    EXPECT_EQ(zeliWTInvColLift_D97_JPEG2K_32f_C1(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], 0), status);
    if (missing > 5 && missing < 8) continue;
    const auto q = [&](int i) { return reinterpret_cast<Zel32s*>(p[i]); };
    EXPECT_EQ(zeliWTFwdColLift_B53_JPEG2K_32s_C1(q(0), q(1), q(2), q(3), q(4), q(5), 0), status);
    EXPECT_EQ(zeliWTInvColLift_B53_JPEG2K_32s_C1(q(0), q(1), q(2), q(3), q(4), q(5), 0), status);
  }
}

} // namespace
} // namespace zelj::test
