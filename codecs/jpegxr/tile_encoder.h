// The packets of a tile from its macroblocks.
#pragma once

#include "jpegxr/context.h"
#include "jpegxr/planes.h"

namespace jpegxr {

// Takes what the transforms left; the planes are spent.
std::array<Bytes, 4> encodeTile(const Header& header, int trim, Planes& planes);

} // namespace jpegxr
