// Any bytes as a JPEG 2000 file: the reader, with and without --keep-going, whole and reduced, on one thread or two.
#include <cstdint>
#include <cstdlib>

#include "common/image.h"
#include "common/join.h"
#include "jpeg2000/jpeg2000.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // The last byte chooses, so that a file without it is a file.
  const unsigned choice = data[size - 1];
  j2k::DecodeOptions options;
  options.keepGoing = (choice & 1) != 0;
  options.reduce = choice >> 1 & 3;
  options.layers = choice >> 3 & 3;
  options.maxPixels = 1 << 16;
  const img::ByteSpan file(data, size - 1);
  img::ByteSource source(file), again(file);
  std::unique_ptr<img::RowReader> reader;
  img::Image image;
  options.threads = 1 + (choice >> 5 & 1);
  if (!j2k::openReader(source, options, reader)) {
    img::shape(image, reader->picture());
    img::ImageWriter writer(image);
    int rows = 0;
    const img::Error error = img::copyRows(*reader, writer, options.threads, [&](int done) { rows = done; });
    if (!error && rows != image.height) std::abort();
  }
  std::string text;
  if (j2k::describe(again, text)) return 0;
  return 0;
}
