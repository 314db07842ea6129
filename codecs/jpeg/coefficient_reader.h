// Reads the scans of sequential and progressive files into coefficients.
#pragma once

#include <memory>

#include "jpeg/coefficients.h"
#include "jpeg/damage.h"
#include "jpeg/markers.h"

namespace jpeg {

// Reads from the data of the first scan on, whose header has been read, up to the end of the image, or only so many
// scans (0: all). The quantisation tables of components are those that held at their first scans: `steps`, by
// component. With several threads a progressive file's scans are read one row behind the other.
Error readCoefficients(img::ByteSource& source, Header& header, const ScanHeader& first, int scans, int threads,
                       Damage& damage, std::unique_ptr<CoefficientImage>& image, uint16_t steps[4][64]);

} // namespace jpeg
