// A codec for JPEG files (ITU T.81) of the Huffman processes, on top of zelj: sequential and progressive ones of 8 bits
// and up to four components and of 12 bits and up to three, and lossless ones of 2 to 16 bits and up to four. It
// owns the file format and the loops; every sample and coefficient goes through the library.
#pragma once

#include "common/image.h"
#include "common/sink.h"
#include "common/source.h"

namespace jpeg {

using img::Bytes;
using img::ByteSpan;
using img::Error;
using img::fail;
using img::Image;

enum class Sampling { s444, s422, s420, s440, s411 }; // s411: a quarter of the width
enum class Upsampling { triangle, plain };

// The way between pixels and coefficients. `runs`: as is fastest. `planes`: planes of samples, level shift and
// transform one after the other. `mcu`: each MCU from its pixels to its blocks and back; chroma is doubled plainly.
// Where the library has nothing for an MCU of such a shape or layout, it is by planes.
enum class Road { runs, planes, mcu };

// Nobody needs as many scans; a short file of them could keep a decoder busy for hours.
constexpr int kMostScans = 500;

// A scan of components: coefficients Ss to Se in zig-zag order, from bit Ah (0: all that are above) down to bit Al.
struct ScanSpec {
  std::vector<int> components;
  int Ss = 0, Se = 63, Ah = 0, Al = 0;
};

struct EncodeOptions {
  int quality = 75; // 1..100
  Sampling sampling = Sampling::s420;
  bool optimize = false;        // Huffman tables made to measure
  bool progressive = false;     // by the usual scans; both keep all coefficients in memory
  std::vector<ScanSpec> script; // scans in place of the usual ones
  bool lossless = false;
  int predictor = 1, pointTransform = 0; // 1..7; low bits of samples that are left out
  Road road = Road::runs;
  bool ycck = true;        // C, M, Y, K as Y, Cb, Cr, K
  int restartInterval = 0; // in MCUs or rows of MCUs; 0: none
  bool restartInRows = false;
  int threads = 1;
  int64_t coefficientMemory = int64_t{1} << 28; // where coefficients of one scan take more they are kept packed
};

struct DecodeOptions {
  Upsampling upsampling = Upsampling::triangle;
  int scale = 1; // 1, 2, 4 or 8: the image at 1/scale of its width and height
  Road road = Road::runs;
  img::Layout layout = img::Layout::usual; // what the reader gives where it can: its picture tells
  int scansRead = 0;                       // of a progressive file: the picture that so many scans make; 0: all
  int threads = 1;
  int64_t maxPixels = img::kDefaultMaxPixels;
  bool keepGoing = false; // decode what is left of damaged data instead of failing
};

// Scans from text: "0,1,2: 0-0, 0, 1;" and so on, with components, Ss-Se, Ah and Al, or the components alone; # begins
// a comment.
Error parseScript(const std::string& text, std::vector<ScanSpec>& script);

// Rows of pictures from files, and files of them: grey, R, G, B, or C, M, Y, K of 8 bits in any layout, grey or R, G, B
// of 12 bits; lossless ones of 2 to 16 bits.
Error openReader(img::ByteSource& source, const DecodeOptions& options, std::unique_ptr<img::RowReader>& reader);
Error openWriter(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
                 std::unique_ptr<img::RowWriter>& writer);

// What a file holds, for people to read, also of files that cannot be decoded.
Error describe(img::ByteSource& source, std::string& text);

// Makes a file of an image of 8 or 12 bits. The memory that `file` has is used again.
Error encode(const Image& image, const EncodeOptions& options, Bytes& file);

// `damage` gets a message if data were damaged and options.keepGoing made an image of them nevertheless.
Error decode(ByteSpan file, const DecodeOptions& options, Image& image, std::string& damage);

struct RecodeOptions {
  enum class Process { same, sequential, progressive } process = Process::same;
  bool optimize = false;
  int quality = 0; // 1 to 100: quantisation steps become as coarse as its own, where they are finer; 0: they stay
  std::vector<ScanSpec> script;
  int restartInterval = 0; // as in EncodeOptions
  bool restartInRows = false;
  bool strip = false; // leaves metadata and comments out
  bool keepGoing = false;
  int threads = 1;
  int64_t maxPixels = img::kDefaultMaxPixels;
};

// Codes the coefficients of a file anew: the same picture, bit by bit, unless `quality` is given. `damage` as in
// decode.
Error recode(img::ByteSource& source, img::ByteSink& sink, const RecodeOptions& options, std::string& damage);

} // namespace jpeg
