// Rows of one kind of picture to rows of another: bits, grey and colour, alpha, CMYK.
#pragma once

#include "common/rows.h"

namespace img {

// What transparent pixels are laid on where alpha is taken away; in parts of full scale.
struct Background {
  double red = 1, green = 1, blue = 1;
};

// A reader that gives the rows of `reader` as rows of `wanted`, which has its width and height; `reader` itself where
// nothing is to be done.
std::unique_ptr<RowReader> converted(std::unique_ptr<RowReader> reader, const Picture& wanted,
                                     const Background& background = {});

} // namespace img
