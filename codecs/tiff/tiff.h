// A codec for TIFF files (baseline TIFF 6.0) in strips, by rows: grey, R, G, B, both with alpha, and on reading also
// palettes, C, M, Y, K, fewer than 8 bits, planes and either byte order. Samples have 8 or 16 bits, plain or in
// PackBits.
#pragma once

#include <memory>

#include "common/rows.h"
#include "common/sink.h"
#include "common/source.h"

namespace tiff {

using img::Bytes;
using img::ByteSpan;
using img::Error;
using img::fail;

enum class Compression { none, packBits };

struct EncodeOptions {
  Compression compression = Compression::packBits;
  // Rows of 16-bit samples as a row of the high bytes and one of the low ones, each packed by itself. It packs better,
  // but is a scheme of this codec, under a number that makes other programs refuse the file.
  bool bytePlanes = false;
};

struct DecodeOptions {
  int64_t maxPixels = img::kDefaultMaxPixels;
  bool keepGoing = false; // what is lost of damaged data is left empty
  int page = 0;           // from 1 on; 0 is the first, with a remark if there are others
};

// More are not counted.
constexpr int kMaxPages = 65535;

// Rows of a picture of a file, and files of one picture: grey or R, G, B with or without alpha, 8 or 16 bits. An
// orientation goes along as EXIF.
Error openReader(img::ByteSource& source, const DecodeOptions& options, std::unique_ptr<img::RowReader>& reader);
Error openWriter(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
                 std::unique_ptr<img::RowWriter>& writer);

// How many pictures a file has.
Error countPages(img::ByteSource& source, int& pages);

} // namespace tiff
