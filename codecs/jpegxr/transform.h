// Both stages of the transform with the overlap filters between, on whole planes in place.
#pragma once

#include "jpegxr/planes.h"

namespace jpegxr {

// Planes of samples to the values that are quantised: the planes without their DCs, and the DC planes.
void transformForward(const Header& header, Planes& planes);
void transformInverse(const Header& header, Planes& planes);

} // namespace jpegxr
