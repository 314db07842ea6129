// The tables lie in a file of their own so that kernels use them where they lie: a compiler that sees the values copies
// them into constants, which it loads with instructions and registers of their own.
#include "jpeg/dct/dct_tables.h"

namespace zelj {
namespace {

// Seven factors for each row: cosines scaled by what the column transform leaves out of that row.
struct Factors {
  int A, B, C, D, E, F, G;
};
constexpr Factors kSets[4] = {
    {16384, 22725, 19266, 12873, 4520, 21407, 8867},
    {22725, 31521, 26722, 17855, 6270, 29692, 12299},
    {21407, 29692, 25172, 16819, 5906, 27969, 11585},
    {19266, 26722, 22654, 15137, 5315, 25172, 10426},
};
constexpr int setOf(int row) {
  return row < 4 ? row : (8 - row) & 3;
}

// Tangents and cos(pi / 4) in Q16; values of a half and more, which no 16 bits hold, less 1.
constexpr int kTan1 = 13036, kTan2 = 27146, kTan3Less1 = -21746, kCos4Less1 = -19195, kCos4Half = 23170;

template <class C>
constexpr C rowConstants(const int (&values)[sizeof(C) / 16]) {
  C c{};
  for (int i = 0; i < static_cast<int>(sizeof(C) / 2); ++i) c.k[i] = static_cast<Zel16s>(values[i / 8]);
  return c;
}
constexpr RowConstants2 rows2(int first, int second) {
  return rowConstants<RowConstants2>({first, second});
}

constexpr void setBytes(Zel8s (&bytes)[32], int even0, int odd0, int even1, int odd1) {
  const int weights[2][2] = {{even0, odd0}, {even1, odd1}};
  for (int i = 0; i < 32; ++i) bytes[i] = static_cast<Zel8s>(weights[i / 16][i % 2]);
}

constexpr void setIndex(Zel8u (&index)[64], const Zel8u (&lane)[16]) {
  for (int i = 0; i < 64; ++i) index[i] = lane[i % 16];
}

constexpr ForwardTables forwardTables() {
  ForwardTables t{};
  t.tan2 = rows2(kTan2, kTan2);
  t.cos4 = rows2(kCos4Half, kCos4Half);
  t.tan1 = rows2(kTan1, kTan1);
  t.tan3 = rows2(kTan3Less1, kTan3Less1);
  t.firstOdd = rows2(1, 0);
  t.secondOdd = rows2(0, 1);
  t.levelShift = rows2(8 * 8 * 128, 0);
  setBytes(t.sums8, 8, 8, 8, 8);
  setBytes(t.sumDifference8, 8, 8, -8, -8);
  setBytes(t.differences8, 8, -8, 8, -8);
  setBytes(t.differences16, 16, -16, 16, -16);
  setBytes(t.differencesOpposed16, 16, -16, -16, 16);
  for (int dword = 0; dword < 16; ++dword) {
    constexpr int rowOf[8] = {0, 5, 2, 1, 4, 7, 6, 3};
    const Factors f = kSets[setOf(rowOf[dword / 2])];
    const int even[4][4] = {
        {f.A, f.A, f.A, f.A}, {f.F, f.G, -f.G, -f.F}, {f.A, -f.A, -f.A, f.A}, {f.G, -f.F, f.F, -f.G}};
    const int odd[4][4] = {
        {f.B, f.C, f.D, f.E}, {f.C, -f.E, -f.B, -f.D}, {f.D, -f.B, f.E, f.C}, {f.E, -f.D, f.C, -f.B}};
    for (int i = 0; i < 4; ++i) { // outputs 0 2, 1 3, 4 6, 5 7
      const int output = 2 * (i / 2) + dword % 2;
      for (int exchanged = 0; exchanged < 2; ++exchanged) {
        for (int k = 0; k < 2; ++k) {
          const int input = 2 * ((dword % 2) ^ exchanged) + k;
          t.rows[i][exchanged][2 * dword + k] = static_cast<Zel16s>(i % 2 ? odd[output][input] : even[output][input]);
        }
      }
    }
  }
  setIndex(t.mirrored, {0, 1, 2, 3, 4, 5, 6, 7, 14, 15, 12, 13, 10, 11, 8, 9});
  setIndex(t.bytePairs, {0, 8, 1, 9, 2, 10, 3, 11, 7, 15, 6, 14, 5, 13, 4, 12});
  return t;
}

// What a row adds before its shift. Tuned values: that of row 0 is the half of the last shift, by 6.
constexpr int kRounding[8] = {65536, 2901, 2260, 1704, 1024, 455, 512, 373};
constexpr int kReducedRounding[8] = {66560, 5802, 4520, 3408, 0, 910, 1024, 746};

struct FourFactors {
  int a, b, c, d, e, f, g, h, i, j, k;
};
constexpr FourFactors kFourSets[4] = {
    {16384, 15137, 20995, 7373, 8697, -17799, 6270, -4926, -4176, 11893, -1730},
    {22725, 20995, 29121, 10226, 12063, -24688, 8697, -6833, -5793, 16496, -2399},
    {21407, 19777, 27432, 9633, 11363, -23256, 8192, -6436, -5457, 15539, -2260},
    {19266, 17799, 24688, 8669, 10226, -20929, 7373, -5793, -4911, 13985, -2034},
};

constexpr InverseTables::RowFactors inverseRows(bool lower) {
  InverseTables::RowFactors t{};
  for (int dword = 0; dword < 16; ++dword) {
    const int lane = dword / 4, i = dword % 4, row = lower ? (8 - lane) % 8 + 4 * (lane == 0) : lane;
    const Factors f = kSets[setOf(row)];
    const int a[4][4] = {{f.A, f.F, f.A, f.G}, {f.A, f.G, -f.A, -f.F}, {f.A, -f.G, -f.A, f.F}, {f.A, -f.F, f.A, -f.G}};
    const int b[4][4] = {{f.B, f.C, f.D, f.E}, {f.C, -f.E, -f.B, -f.D}, {f.D, -f.B, f.E, f.C}, {f.E, -f.D, f.C, -f.B}};
    for (int k = 0; k < 4; ++k) {
      t.k[k / 2][2 * dword + k % 2] = static_cast<Zel16s>(a[i][k]);
      t.k[2 + k / 2][2 * dword + k % 2] = static_cast<Zel16s>(b[i][k]);
    }
    t.rounding[dword] = kRounding[row];
  }
  return t;
}

constexpr InverseTables::ToFour toFour() {
  InverseTables::ToFour t{};
  setIndex(t.columns[0], {0, 1, 4, 5, 0, 1, 4, 5, 2, 3, 6, 7, 2, 3, 6, 7});
  setIndex(t.columns[1], {8, 9, 12, 13, 8, 9, 12, 13, 10, 11, 14, 15, 10, 11, 14, 15});
  for (int row = 0; row < 8; ++row) {
    const FourFactors f = kFourSets[setOf(row)];
    const int k[2][8] = {{f.a, f.b, f.a, -f.b, f.c, f.d, f.e, f.f}, {0, -f.g, 0, f.g, f.h, f.i, f.j, f.k}};
    for (int i = 0; i < 16; ++i) t.k[row / 2][i / 8][row % 2 * 8 + i % 8] = static_cast<Zel16s>(k[i / 8][i % 8]);
  }
  constexpr int rows[4][4] = {{0, 6, 1, 7}, {2, 4, 3, 5}, {2, 6, 1, 7}, {0, 0, 3, 5}};
  for (int i = 0; i < 32; ++i) t.rounding[i / 16][i / 8 % 2][i % 8] = kReducedRounding[rows[i / 8][i % 8 / 2]];
  // Columns 0 1 of row 0, those of row 2, its complement, 3 2 of both; then the same of row 3 and the complement of
  // row 1.
  constexpr Zel8u order[16] = {0, 1, 5, 4, 10, 11, 15, 14, 2, 3, 7, 6, 8, 9, 13, 12};
  for (int i = 0; i < 16; ++i) {
    t.levelShift[i] = i / 2 % 2 ? 127 : 128;
    t.rows[i] = order[i];
  }
  return t;
}

constexpr InverseTables::ToTwo toTwo() {
  constexpr int k[4][5] = {
      {16384, 14846, 5213, 3483, 2953}, {22725, 20592, 7231, 4832, 4096}, {}, {19266, 17457, 6130, 4096, 3472}};
  InverseTables::ToTwo t{};
  const auto set = [&](InverseTables::ToTwo::RowPair& to, const int(&rows)[4]) {
    for (int dword = 0; dword < 8; ++dword) {
      const int row = rows[dword / 2], sign = dword % 2 ? -1 : 1;
      const int(&f)[5] = k[setOf(row)];
      const int pairs[3][2] = {{f[0], 0}, {sign * f[1], -sign * f[2]}, {sign * f[3], -sign * f[4]}};
      for (int i = 0; i < 6; ++i) to.k[i / 2][2 * dword + i % 2] = static_cast<Zel16s>(pairs[i / 2][i % 2]);
      to.rounding[dword] = row ? kReducedRounding[row] : 67072;
    }
  };
  set(t.rows13, {0, 2, 1, 3});
  set(t.rows75, {6, 4, 7, 5});
  constexpr Zel8u oddColumns[16] = {2, 3, 6, 7, 2, 3, 6, 7, 10, 11, 14, 15, 10, 11, 14, 15};
  for (int i = 0; i < 32; ++i) t.oddColumns[i] = oddColumns[i % 16];
  for (int i = 0; i < 2; ++i) {
    const int sign = i ? -1 : 1,
              row[8] = {k[0][0], sign * k[0][1], 0, -sign * k[0][2], 0, sign * k[0][3], 0, -sign * k[0][4]};
    for (int j = 0; j < 8; ++j) t.row0[i][j] = static_cast<Zel16s>(row[j]);
  }
  for (int i = 0; i < 4; ++i) {
    t.rounding0[i] = 67072;
    t.wholeFours[i] = -4;
  }
  for (int i = 0; i < 8; ++i) {
    const bool outer = i / 2 % 2 == 0; // rows 7 and 1
    t.tangents[i] = static_cast<Zel16s>(outer ? kTan1 : kTan3Less1);
    t.one[i] = i / 2 == 2;
    t.signs[i] = i < 4 ? 1 : -1;
  }
  return t;
}

constexpr InverseTables inverseTables() {
  InverseTables t{};
  t.upper = inverseRows(false);
  t.lower = inverseRows(true);
  constexpr int pairs[4][2] = {{0, 2}, {4, 6}, {1, 3}, {5, 7}};
  for (int i = 0; i < 4; ++i) {
    for (int byte = 0; byte < 64; ++byte) {
      t.columns[i][byte] = static_cast<Zel8u>(2 * pairs[i][byte / 2 % 2] + byte % 2);
    }
  }
  setIndex(t.naturalBytes, {0, 1, 2, 3, 7, 6, 5, 4, 8, 9, 10, 11, 15, 14, 13, 12});
  setIndex(t.firstTwo, {0, 1, 2, 3, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128});
  t.tangents = rowConstants<RowConstants4>({0, kTan1, kTan2, kTan3Less1});
  t.whole = rowConstants<RowConstants4>({-1, 0, 0, -1});
  t.cos4 = rows2(kCos4Less1, kCos4Less1);
  t.tan1 = rows2(kTan1, kTan1);
  t.emptyRow2 = rows2(kRounding[2] >> 11, 0);
  t.to4 = toFour();
  t.to2 = toTwo();
  for (int i = 0; i < 8; ++i) t.to4.signs[i] = i / 2 % 2 ? -1 : 1;
  for (int i = 0; i < 8; ++i) t.complement[i] = static_cast<Zel16s>(i / 2 % 2 ? -1 : 0);
  return t;
}

} // namespace

constinit const ForwardTables kForward = forwardTables();
constinit const InverseTables kInverse = inverseTables();

} // namespace zelj
