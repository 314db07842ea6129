// The block transforms once more, one value at a time and straight from their definitions.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "support/random.h"

namespace zelj::test {

using Block = std::array<int, 64>;

inline int sat(int64_t v) {
  return static_cast<int>(std::clamp<int64_t>(v, -32768, 32767));
}
inline int wrap16(int64_t v) {
  return static_cast<int16_t>(v);
}
inline int wrap32(int64_t v) {
  return static_cast<int32_t>(v);
}
inline int mulhi(int a, int c) {
  return (a * c) >> 16;
}

struct Factors {
  int A, B, C, D, E, F, G;
};
inline Factors factorsOf(int row) {
  constexpr Factors sets[4] = {{16384, 22725, 19266, 12873, 4520, 21407, 8867},
                               {22725, 31521, 26722, 17855, 6270, 29692, 12299},
                               {21407, 29692, 25172, 16819, 5906, 27969, 11585},
                               {19266, 26722, 22654, 15137, 5315, 25172, 10426}};
  constexpr int setOf[8] = {0, 1, 2, 3, 0, 3, 2, 1};
  return sets[setOf[row]];
}

inline void forwardColumn(int* x) {
  const auto at = [=](int i) -> int& { return x[8 * i]; };
  int s[4], d[4];
  for (int i = 0; i < 4; ++i) {
    s[i] = wrap16(sat(at(i) + at(7 - i)) * 8);
    d[i] = sat(at(i) - at(7 - i));
  }
  const int a = sat(s[0] + s[3]), b = sat(s[0] - s[3]), c = sat(s[1] + s[2]), dd = sat(s[1] - s[2]);
  const int d1 = wrap16(d[1] * 16), d2 = wrap16(d[2] * 16), d0 = wrap16(d[0] * 8), d3 = wrap16(d[3] * 8);
  const int e = mulhi(sat(d1 + d2), 23170) | 1, f = mulhi(sat(d1 - d2), 23170);
  const int g = sat(d0 + e), h = sat(d0 - e), i = sat(d3 + f), j = sat(d3 - f);
  at(0) = sat(a + c);
  at(4) = sat(a - c);
  at(2) = sat(b + mulhi(dd, 27146)) | 1;
  at(6) = sat(mulhi(b, 27146) - dd) | 1;
  at(1) = sat(g + mulhi(i, 13036)) | 1;
  at(7) = sat(mulhi(g, 13036) - i);
  at(5) = sat(sat(mulhi(h, -21746) + h) + j);
  at(3) = sat(h - sat(mulhi(j, -21746) + j));
}

inline void forwardRow(int* x, Factors k) {
  int64_t s[4], d[4];
  for (int i = 0; i < 4; ++i) {
    s[i] = sat(x[i] + x[7 - i]);
    d[i] = sat(x[i] - x[7 - i]);
  }
  const int64_t o[8] = {k.A * (s[0] + s[1] + s[2] + s[3]),
                        k.B * d[0] + k.C * d[1] + k.D * d[2] + k.E * d[3],
                        k.F * s[0] + k.G * s[1] - k.G * s[2] - k.F * s[3],
                        k.C * d[0] - k.E * d[1] - k.B * d[2] - k.D * d[3],
                        k.A * (s[0] - s[1] - s[2] + s[3]),
                        k.D * d[0] - k.B * d[1] + k.E * d[2] + k.C * d[3],
                        k.G * s[0] - k.F * s[1] + k.F * s[2] - k.G * s[3],
                        k.E * d[0] - k.D * d[1] + k.C * d[2] - k.B * d[3]};
  for (int i = 0; i < 8; ++i) x[i] = wrap32(o[i] + 524288) >> 20;
}

inline Block forwardTransform(Block x) {
  for (int u = 0; u < 8; ++u) forwardColumn(&x[static_cast<size_t>(u)]);
  for (int v = 0; v < 8; ++v) forwardRow(&x[static_cast<size_t>(8 * v)], factorsOf(v));
  return x;
}

inline int quantised(int c, int t) {
  const int p = c * t;
  return sat((p + 16383 + ((p >> 15) & 1)) >> 15);
}

inline void inverseRow(int* x, int row) {
  constexpr int rounding[8] = {65536, 2901, 2260, 1704, 1024, 455, 512, 373};
  const Factors k = factorsOf(row);
  const int64_t n = rounding[row], x0 = x[0], x1 = x[1], x2 = x[2], x3 = x[3], x4 = x[4], x5 = x[5], x6 = x[6],
                x7 = x[7];
  const int64_t a[4] = {k.A * x0 + k.F * x2 + k.A * x4 + k.G * x6 + n, k.A * x0 + k.G * x2 - k.A * x4 - k.F * x6 + n,
                        k.A * x0 - k.G * x2 - k.A * x4 + k.F * x6 + n, k.A * x0 - k.F * x2 + k.A * x4 - k.G * x6 + n};
  const int64_t b[4] = {k.B * x1 + k.C * x3 + k.D * x5 + k.E * x7, k.C * x1 - k.E * x3 - k.B * x5 - k.D * x7,
                        k.D * x1 - k.B * x3 + k.E * x5 + k.C * x7, k.E * x1 - k.D * x3 + k.C * x5 - k.B * x7};
  for (int i = 0; i < 4; ++i) {
    x[i] = sat(wrap32(a[i] + b[i]) >> 11);
    x[7 - i] = sat(wrap32(a[i] - b[i]) >> 11);
  }
}

// The parts of a column, from which the full and the reduced outputs are made.
struct Column {
  int b0, t, u, v, w2, z2, e0, e1;
};
inline Column columnParts(const int* y) {
  const auto at = [=](int i) { return y[8 * i]; };
  const auto tan3 = [](int x) { return sat(mulhi(x, -21746) + x); };
  const auto cos4 = [](int x) { return sat(x + mulhi(x, -19195)); };
  const int m = sat(tan3(at(5)) + at(3)), n = sat(at(5) - tan3(at(3)));
  const int p = sat(at(1) + mulhi(at(7), 13036)), q = sat(mulhi(at(1), 13036) - at(7));
  Column c{};
  c.b0 = sat(p + m);
  c.t = sat(p - m);
  c.u = sat(q + n);
  c.v = sat(q - n);
  c.w2 = cos4(sat(c.t - c.v));
  c.z2 = cos4(sat(c.t + c.v));
  c.e0 = sat(mulhi(at(6), 27146) + at(2));
  c.e1 = sat(mulhi(at(2), 27146) - at(6));
  return c;
}

inline Block inverseTransform(Block x) {
  for (int v = 0; v < 8; ++v) inverseRow(&x[static_cast<size_t>(8 * v)], v);
  for (size_t u = 0; u < 8; ++u) {
    const Column c = columnParts(&x[u]);
    const int s = sat(x[u] + x[u + 32]), d = sat(x[u] - x[u + 32]);
    const int even[4] = {sat(s + c.e0), sat(d + c.e1), sat(d - c.e1), sat(s - c.e0)}, odd[4] = {c.b0, c.z2, c.w2, c.u};
    for (size_t i = 0; i < 4; ++i) {
      x[u + 8 * i] = sat(even[i] + odd[i]) >> 6;
      x[u + 8 * (7 - i)] = sat(even[i] - odd[i]) >> 6;
    }
  }
  return x;
}

inline Block inverseTo4x4(const Block& x) {
  constexpr int k[4][11] = {{16384, 15137, 20995, 7373, 8697, -17799, 6270, -4926, -4176, 11893, -1730},
                            {22725, 20995, 29121, 10226, 12063, -24688, 8697, -6833, -5793, 16496, -2399},
                            {21407, 19777, 27432, 9633, 11363, -23256, 8192, -6436, -5457, 15539, -2260},
                            {19266, 17799, 24688, 8669, 10226, -20929, 7373, -5793, -4911, 13985, -2034}};
  constexpr int setOf[8] = {0, 1, 2, 3, 0, 3, 2, 1}, n[8] = {66560, 5802, 4520, 3408, 0, 910, 1024, 746};
  Block y{}, out{};
  for (size_t r = 0; r < 8; ++r) {
    const auto& [a, b, c, d, e, f, g, h, i, j, l] = k[setOf[r]];
    const int* z = &x[8 * r];
    const int64_t s0 = int64_t{a} * z[0] + b * z[2] - g * z[6], s1 = int64_t{a} * z[0] - b * z[2] + g * z[6];
    const int64_t s2 = int64_t{c} * z[1] + d * z[3] + h * z[5] + i * z[7];
    const int64_t s3 = int64_t{e} * z[1] + f * z[3] + j * z[5] + l * z[7];
    const int64_t sums[4] = {s0 + s2, s1 + s3, s1 - s3, s0 - s2};
    for (size_t u = 0; u < 4; ++u) y[8 * r + u] = sat(wrap32(sums[u] + n[r]) >> 12);
  }
  for (size_t u = 0; u < 4; ++u) {
    const Column c = columnParts(&y[u]);
    const int e = sat(c.e0 + c.e1), twice = sat(2 * y[u]), a = sat(twice + e), a2 = sat(twice - e);
    const int r0 = sat(c.z2 + c.b0), r1 = sat(c.u + c.w2),
              rows[4] = {sat(a + r0), sat(a2 + r1), sat(a2 - r1), sat(a - r0)};
    for (size_t v = 0; v < 4; ++v) out[8 * v + u] = rows[v] >> 6;
  }
  return out;
}

inline Block inverseTo2x2(const Block& x) {
  constexpr int k[4][5] = {
      {16384, 14846, 5213, 3483, 2953}, {22725, 20592, 7231, 4832, 4096}, {}, {19266, 17457, 6130, 4096, 3472}};
  constexpr int setOf[8] = {0, 1, 2, 3, 2, 3, 2, 1}, n[8] = {67072, 5802, 0, 3408, 0, 910, 0, 746};
  Block y{}, out{};
  for (const size_t r : {0u, 1u, 3u, 5u, 7u}) {
    const auto& [c, k1, k3, k5, k7] = k[setOf[r]];
    const int* z = &x[8 * r];
    const int64_t o = int64_t{k1} * z[1] - k3 * z[3] + k5 * z[5] - k7 * z[7], even = int64_t{c} * z[0] + n[r];
    y[8 * r] = sat(wrap32(even + o) >> 12);
    y[8 * r + 1] = sat(wrap32(even - o) >> 12);
  }
  for (size_t u = 0; u < 2; ++u) {
    const Column c = columnParts(&y[u]);
    const int w = sat(c.t + mulhi(c.t, -19195)), s = sat(sat(c.u + c.b0) + sat(2 * w)), four = sat(2 * sat(2 * y[u]));
    out[u] = sat(four + s) >> 7;
    out[8 + u] = sat(four - s) >> 7;
  }
  return out;
}

// The ideal inverse DCT of ITU T.81 A.3.3.
inline std::array<double, 64> idealInverse(const Block& f) {
  std::array<double, 64> out{};
  for (size_t i = 0; i < 64; ++i) {
    for (size_t k = 0; k < 64; ++k) {
      const auto basis = [](size_t x, size_t u) {
        return std::cos(static_cast<double>((2 * x + 1) * u) * std::numbers::pi / 16) * (u ? 0.5 : std::sqrt(0.125));
      };
      out[i] += f[k] * basis(i / 8, k / 8) * basis(i % 8, k % 8);
    }
  }
  return out;
}

// Values of a block: small ones, those of any size, or only extremes.
inline int blockValue(Random& random, int trial, int small) {
  switch (trial % 4) {
    case 0:
      return random.in(-small, small);
    case 1:
      return random.in(-32768, 32767);
    case 2:
      return random.oneOf({-32768, -32767, -1, 0, 1, 32766, 32767});
    default:
      return random.in(0, 5) ? 0 : random.in(-small, small);
  }
}

} // namespace zelj::test
