// Reading by planes of the whole picture, or MCU by MCU, to pixels of any layout; for 8 bits at full size.
#pragma once

#include "jpeg/damage.h"
#include "jpeg/markers.h"

namespace jpeg {

// Whether a file is read this way: else its rows come by runs, in the usual layout.
bool takesRoad(const DecodeOptions& options, const Header& header);

// The header has been read up to the first scan.
std::unique_ptr<img::RowReader> openRoadReader(img::ByteSource& source, const DecodeOptions& options, Header&& header,
                                               const ScanHeader& scan, Damage& damageOfHeader);

} // namespace jpeg
