// Rows of pixels to and from the planes: the colour transform, its bias, and the halving of chroma.
#pragma once

#include "jpegxr/planes.h"

namespace jpegxr {

// Rows of 8 or 16-bit samples into the planes, from row `y` on; the right and lower edges are repeated by finishPlanes.
// With halved chroma, `chroma` are full-size planes of U and V, which finishPlanes halves.
struct FullChroma {
  Plane u, v;
};

void putRow(const Header& header, const uint8_t* row, int y, Planes& planes, FullChroma& chroma);
void finishPlanes(const Header& header, Planes& planes, FullChroma& chroma);

// A row of the picture from the planes. `line` is room for two rows of a plane.
void getRow(const Header& header, const Planes& planes, int y, Zel32s* line, uint8_t* row);

} // namespace jpegxr
