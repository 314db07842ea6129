// Constants of the fixed-point transforms, forward and inverse.
#pragma once

#include "zelj.h"

namespace zelj {

// Seven factors for each row: cosines scaled by what the column transform leaves out of that row.
struct RowFactors {
  Zel16s A, B, C, D, E, F, G;
};

constexpr RowFactors kRowSets[4] = {
    {16384, 22725, 19266, 12873, 4520, 21407, 8867},
    {22725, 31521, 26722, 17855, 6270, 29692, 12299},
    {21407, 29692, 25172, 16819, 5906, 27969, 11585},
    {19266, 26722, 22654, 15137, 5315, 25172, 10426},
};
// Row r takes the set of row 8 - r.
constexpr RowFactors kRowFactors[8] = {kRowSets[0], kRowSets[1], kRowSets[2], kRowSets[3],
                                       kRowSets[0], kRowSets[3], kRowSets[2], kRowSets[1]};

// Tangents and a cosine in Q16, those above a half less one.
constexpr Zel16s kTan1 = 13036;           // tan(pi / 16)
constexpr Zel16s kTan2 = 27146;           // tan(2 pi / 16)
constexpr Zel16s kTan3Less1 = -21746;     // tan(3 pi / 16) - 1
constexpr Zel16s kCos4Less1 = -19195;     // cos(pi / 4) - 1
constexpr Zel16s kCos4Half = 23170;       // cos(pi / 4) / 2

} // namespace zelj
