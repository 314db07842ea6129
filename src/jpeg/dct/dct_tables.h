// Constants of the fixed-point transforms in the shape in which the kernels multiply them: a lane of 128 bits for each
// row, and the products of a row as pairs of neighbours.
#pragma once

#include "zelj.h"

namespace zelj {

// One constant for each row, in its lane.
struct RowConstants2 {
  alignas(32) Zel16s k[2 * 8];
};
struct RowConstants4 {
  alignas(64) Zel16s k[4 * 8];
};

struct ForwardTables {
  RowConstants2 tan2, cos4, tan1, tan3;
  RowConstants2 firstOdd, secondOdd, levelShift;
  // Weights of two neighbouring bytes, for the first and for the second row.
  alignas(32) Zel8s sums8[32], sumDifference8[32], differences8[32], differences16[32], differencesOpposed16[32];
  // Row transform, [outputs j and j + 2, j = 0, 1, 4, 5][inputs as they stand, with neighbours exchanged]. Two rows
  // share a lane, 0 5, 2 1, 4 7 and 6 3: dwords 0 and 1 give outputs of the one, 2 and 3 of the other.
  alignas(64) Zel16s rows[4][2][4 * 8];
  alignas(64) Zel8u mirrored[64], bytePairs[64];
};

struct InverseTables {
  // Row transform of rows 0 1 2 3 and of rows 4 7 6 5: factors of the columns 0 2, 4 6, 1 3, 5 7.
  struct RowFactors {
    alignas(64) Zel16s k[4][4 * 8];
    alignas(64) Zel32s rounding[4 * 4];
  } upper, lower;
  alignas(64) Zel8u columns[4][64]; // pairs of columns, four times each
  alignas(64) Zel8u naturalBytes[64], firstTwo[64];
  // Rows 0, 1, 2 and 3 times 1, tan(pi / 16), tan(2 pi / 16) and tan(3 pi / 16), as the high half of a product and,
  // where `whole` is set, the row itself.
  RowConstants4 tangents, whole;
  RowConstants2 cos4, tan1, emptyRow2;
  // Row transform to four means, of rows 0 1, 2 3, 4 5 and 6 7: the columns 0 2 and 4 6 twice, then 1 3 and 5 7 twice,
  // their factors, and what rows 0 6 1 7 and 2 4 3 5, or else 2 6 1 7 and 0 0 3 5, add.
  struct ToFour {
    alignas(64) Zel8u columns[2][64];
    alignas(32) Zel16s k[4][2][2 * 8];
    alignas(32) Zel32s rounding[2][2][2 * 4];
    alignas(16) Zel16s signs[8];
    alignas(16) Zel8u levelShift[16], rows[16];
  } to4;
  // Row transform to two means, of rows 0 2 1 3 and of rows 6 4 7 5: factors of the columns 0, 1 3 and 5 7. That of row
  // 0 takes the columns as they lie. Tangents are those of rows 7 5 1 3, the last two as `tangents` and `whole` above.
  struct ToTwo {
    struct RowPair {
      alignas(32) Zel16s k[3][2 * 8];
      alignas(32) Zel32s rounding[2 * 4];
    } rows13, rows75;
    alignas(32) Zel8u oddColumns[2 * 16];
    alignas(16) Zel16s row0[2][8];
    alignas(16) Zel32s rounding0[4], wholeFours[4];
    alignas(16) Zel16s tangents[8], one[8], signs[8];
  } to2;
  alignas(16) Zel16s complement[8]; // of the odd dwords
};

extern const ForwardTables kForward __attribute__((visibility("hidden")));
extern const InverseTables kInverse __attribute__((visibility("hidden")));

} // namespace zelj
