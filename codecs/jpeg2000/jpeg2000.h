// A codec for JPEG 2000 files (ISO/IEC 15444-1), bare codestreams and JP2, on top of zelj. It owns the file formats,
// the packets and the loops; every sample and coefficient goes through the library.
#pragma once

#include <vector>

#include "common/rows.h"
#include "common/sink.h"
#include "common/source.h"

namespace j2k {

using img::Bytes;
using img::ByteSpan;
using img::Error;
using img::fail;

// Styles of code-blocks, as a codestream writes them.
enum Style { kBypass = 1, kReset = 2, kTerminateAll = 4, kCausal = 8, kPredictable = 16, kSegmentSymbols = 32 };

enum class Order { lrcp, rlcp, rpcl, pcrl, cprl };

struct EncodeOptions {
  int levels = 5;                        // 0 to 10; fewer where the picture is small
  int tileWidth = 0, tileHeight = 0;     // 0: one tile
  int blockWidth = 64, blockHeight = 64; // powers of 2 of 4 up, 4096 samples at most
  int style = 0;
  Order order = Order::lrcp;
  // Widths and heights of precincts from the highest resolution down, the last for the rest.
  std::vector<std::pair<int, int>> precincts{};
  bool packetMarkers = false;  // SOP and EPH
  std::vector<double> rates{}; // bits a pixel of each quality layer, ascending; empty: lossless
  double psnr = 0;             // dB; 0: not wanted
  bool container = false;      // a JP2 file around the codestream
  int threads = 1;
};

struct DecodeOptions {
  int reduce = 0; // resolutions to leave out
  int layers = 0; // quality layers to use, 0: all
  int threads = 1;
  int64_t maxPixels = img::kDefaultMaxPixels;
  bool keepGoing = false; // pictures of damaged data, as far as they go
};

Error openReader(img::ByteSource& source, const DecodeOptions& options, std::unique_ptr<img::RowReader>& reader);
Error openWriter(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
                 std::unique_ptr<img::RowWriter>& writer);

// What a file holds, for people to read, also of files that cannot be decoded.
Error describe(img::ByteSource& source, std::string& text);

} // namespace j2k
