// All levels of the wavelet on the plane of a component.
#pragma once

#include "jpeg2000/tile.h"

namespace j2k {

// Bits behind the point of irreversible samples in planes, so that no level rounds what can be seen.
inline int fractionBits(int bits) {
  return std::min(12, 27 - bits);
}

// Between samples and bands, each band at its place in the plane. A decoder may leave out the highest resolutions.
void splitLevels(TileComponent& component);
void joinLevels(TileComponent& component, int reduce);

} // namespace j2k
