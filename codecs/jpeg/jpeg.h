// A codec for JPEG files (ITU T.81) of the sequential Huffman processes, on top of zelj: baseline and extended, 8 and
// 12 bits, grey and three components. It owns the file format and the loops; every sample and coefficient goes through
// the library.
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

enum class Sampling { s444, s422, s420 };
enum class Upsampling { triangle, plain };

struct EncodeOptions {
  int quality = 75; // 1..100
  Sampling sampling = Sampling::s420;
  int restartInterval = 0; // in MCUs or rows of MCUs; 0: none
  bool restartInRows = false;
  int threads = 1;
};

struct DecodeOptions {
  Upsampling upsampling = Upsampling::triangle;
  int scale = 1; // 1, 2, 4 or 8: the image at 1/scale of its width and height
  int threads = 1;
  int64_t maxPixels = img::kDefaultMaxPixels;
  bool keepGoing = false; // decode what is left of damaged data instead of failing
};

// Rows of pictures from files, and files of them: grey or R, G, B, 8 or 12 bits.
Error openReader(img::ByteSource& source, const DecodeOptions& options, std::unique_ptr<img::RowReader>& reader);
Error openWriter(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
                 std::unique_ptr<img::RowWriter>& writer);

// What a file holds, for people to read, also of files that cannot be decoded.
Error describe(img::ByteSource& source, std::string& text);

// Makes a file of an image of 8 or 12 bits. The memory that `file` has is used again.
Error encode(const Image& image, const EncodeOptions& options, Bytes& file);

// `damage` gets a message if data were damaged and options.keepGoing made an image of them nevertheless.
Error decode(ByteSpan file, const DecodeOptions& options, Image& image, std::string& damage);

} // namespace jpeg
