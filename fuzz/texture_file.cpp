// Any bytes as a DDS or KTX2 file: any level, face and layer of it.
#include <cstdint>
#include <cstdlib>

#include "common/image.h"
#include "texture/texture.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  // The last two bytes choose, so that a file without them is a file.
  const unsigned choice = data[size - 1], more = data[size - 2];
  const auto container = choice & 1 ? texture::Container::ktx2 : texture::Container::dds;
  texture::DecodeOptions options;
  options.level = static_cast<int>(choice >> 1 & 7);
  options.face = static_cast<int>(choice >> 4 & 7);
  options.layer = static_cast<int>(more & 3);
  options.yCoCg = (more & 4) != 0;
  options.maxPixels = 1 << 18;
  const img::ByteSpan file(data, size - 2);
  img::ByteSource source(file);
  std::unique_ptr<img::RowReader> reader;
  img::Image image;
  if (!texture::openReader(source, container, options, reader) && !img::readAll(*reader, image)) {
    if (image.bytes.size() != image.rowBytes() * static_cast<size_t>(image.height)) std::abort();
  }
  std::string text;
  img::ByteSource again(file);
  if (texture::describe(again, container, text)) return 0;
  return 0;
}
