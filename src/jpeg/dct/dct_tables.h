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
  alignas(64) Zel8u columns[4][64];  // pairs of columns, four times each
  alignas(64) Zel8u columnPairs[64]; // columns 0 4 2 6 1 3 5 7
  alignas(64) Zel8u naturalBytes[64], firstTwo[64];
  // Rows 0, 1, 2 and 3 times 1, tan(pi / 16), tan(2 pi / 16) and tan(3 pi / 16), as the high half of a product and,
  // where `whole` is set, the row itself.
  RowConstants4 tangents, whole;
  RowConstants2 cos4, tan1, emptyRow2;
  // Row transforms to four and to two means. A dword belongs to a row, 0 2 4 6 in the first lane and 1 3 5 7 in the
  // second: factors of columns 0 4, 2 6, then those of 1 3 and 5 7 for each sum of odd columns.
  struct ReducedFactors {
    alignas(32) Zel16s k[6][2 * 8];
    alignas(32) Zel32s rounding[2 * 4];
  } to4, to2;
  // Halves of a lane times tan(pi / 16) and tan(3 pi / 16), as `tangents` and `whole` above.
  alignas(16) Zel16s halfTangents[8], halfWhole[8];
};

extern const ForwardTables kForward __attribute__((visibility("hidden")));
extern const InverseTables kInverse __attribute__((visibility("hidden")));

} // namespace zelj
