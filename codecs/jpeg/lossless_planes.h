// Lossless files of several scans, or with components of different sizes.
#pragma once

#include "jpeg/damage.h"
#include "jpeg/markers.h"

namespace jpeg {

// The header has been read up to the first scan, and is one that is supported.
std::unique_ptr<img::RowReader> openLosslessPlanes(img::ByteSource& source, const DecodeOptions& options,
                                                   Header&& header, const ScanHeader& scan,
                                                   const Damage& damageOfHeader);

} // namespace jpeg
