// The planes of a picture between samples and coefficients: 32 bits a value, in sizes of whole macroblocks.
#pragma once

#include "common/aligned.h"
#include "jpegxr/header.h"
#include "zelj.h"

namespace jpegxr {

struct Plane {
  int width = 0, height = 0;
  img::AlignedArray<Zel32s> values;

  Plane() = default;
  Plane(int w, int h) : width(w), height(h), values(static_cast<size_t>(w) * static_cast<size_t>(h)) {}
  Zel32s* at(int x, int y) const { return values.data() + static_cast<ptrdiff_t>(y) * width + x; }
  Zel32u step() const { return static_cast<Zel32u>(width) * 4; }
};

// A component: its values, and the DCs of their blocks, which a second stage transforms.
struct Component {
  Plane plane, dc;
};

struct Planes {
  Component component[3];

  explicit Planes(const Header& header) {
    for (int c = 0; c < header.components(); ++c) {
      const int side = c > 0 && header.inner == Inner::yuv420 ? 8 : 16;
      component[c].plane = Plane(header.columns() * side, header.rows() * side);
      component[c].dc = Plane(header.columns() * side / 4, header.rows() * side / 4);
    }
  }
};

} // namespace jpegxr
