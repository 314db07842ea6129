// Any bytes as a JPEG XR file.
#include <cstdlib>

#include "common/image.h"
#include "jpegxr/jpegxr.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  img::ByteSource source{img::ByteSpan(data, size)};
  std::unique_ptr<img::RowReader> reader;
  img::Image image;
  if (jpegxr::openReader(source, {.maxPixels = 1 << 14, .keepGoing = size % 2 == 1}, reader) ||
      img::readAll(*reader, image))
    return 0;
  if (image.bytes.size() != image.rowBytes() * static_cast<size_t>(image.height)) std::abort();
  return 0;
}
