// The lossless process (T.81 Annex H), row by row.
#pragma once

#include "jpeg/damage.h"
#include "jpeg/jpeg.h"
#include "jpeg/markers.h"

namespace jpeg {

// The header has been read up to the scan.
Error openLosslessReader(img::ByteSource& source, const DecodeOptions& options, Header&& header, const ScanHeader& scan,
                         const Damage& damageOfHeader, std::unique_ptr<img::RowReader>& reader);
Error openLosslessWriter(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
                         std::unique_ptr<img::RowWriter>& writer);

} // namespace jpeg
