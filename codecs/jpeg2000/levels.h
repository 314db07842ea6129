// All levels of the wavelet on the plane of a component.
#pragma once

#include "jpeg2000/tile.h"

namespace j2k {

// Between samples and bands, each band at its place in the plane. A decoder may leave out the highest resolutions.
void splitLevels(TileComponent& component);
void joinLevels(TileComponent& component, int reduce);

} // namespace j2k
