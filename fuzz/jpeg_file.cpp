// Any bytes as a JPEG file: the decoder, with and without --keep-going, on one thread and two, by every road.
#include <cstdint>
#include <cstdlib>

#include "jpeg/jpeg.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // The last byte chooses, so that a file without it is a file.
  const unsigned choice = data[size - 1];
  jpeg::DecodeOptions options;
  options.keepGoing = (choice & 1) != 0;
  options.threads = (choice & 14) == 14 ? 2 : 1;
  options.scale = 1 << (choice >> 4 & 3);
  options.upsampling = (choice & 64) != 0 ? jpeg::Upsampling::plain : jpeg::Upsampling::triangle;
  options.maxPixels = 1 << 18;
  if ((choice & 128) != 0) { // the size is not reduced there
    options.road = static_cast<jpeg::Road>(1 + (choice >> 5 & 1));
    options.layout = static_cast<img::Layout>((choice >> 1 & 15) % 11);
    options.scale = 1;
  }
  const jpeg::ByteSpan file(data, size - 1);
  jpeg::Image image;
  std::string damage;
  if (!jpeg::decode(file, options, image, damage)) {
    if (image.bytes.size() != image.rowBytes() * static_cast<size_t>(image.height)) std::abort();
  }
  std::string text;
  img::ByteSource source(file);
  if (jpeg::describe(source, text)) return 0;
  return 0;
}
