// A codec for JPEG XR files (ITU-T T.832) of one tile, on top of zelj: grey and R, G, B of 8 and 16 bits, without
// subsampling of chroma or 4:2:0, lossless and lossy. It owns the file format, the loops and the colour transform;
// every coefficient goes through the library.
#pragma once

#include <memory>

#include "common/rows.h"
#include "common/sink.h"
#include "common/source.h"

namespace jpegxr {

using img::Bytes;
using img::ByteSpan;
using img::Error;
using img::fail;

struct EncodeOptions {
  int quantizer = 0;         // 0: lossless; 1 to 255: index of the quantiser, 1 the finest
  bool halvesChroma = false; // 4:2:0; not lossless
  int overlap = 1;           // levels of the overlap filter, 0 to 2
  bool frequencyOrder = false;
  int trim = 0; // lowest bits of the coefficients that are left out, 0 to 15
  int threads = 1;
};

struct DecodeOptions {
  int64_t maxPixels = img::kDefaultMaxPixels;
  bool keepGoing = false; // pictures of damaged data, as far as they go
  int threads = 1;
};

// Rows of pictures from files, and files of them: grey or R, G, B, 8 or 16 bits.
Error openReader(img::ByteSource& source, const DecodeOptions& options, std::unique_ptr<img::RowReader>& reader);
Error openWriter(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
                 std::unique_ptr<img::RowWriter>& writer);

} // namespace jpegxr
