// How a picture is to be turned, which EXIF tells, and doing it.
#pragma once

#include "common/rows.h"

namespace img {

// 1 to 8 as EXIF counts (1: as it is); 1 where it says nothing, or nothing sensible.
int orientationOf(const Metadata& metadata);

// EXIF that tells of an orientation alone, for files that have a word of their own for it.
Bytes exifOfOrientation(int orientation);

// A reader that gives the rows of `reader` turned and mirrored as its picture's EXIF says, which then says no more of
// it; `reader` itself where nothing is to be done. All but mirrored rows need the whole picture in memory.
std::unique_ptr<RowReader> oriented(std::unique_ptr<RowReader> reader);

} // namespace img
