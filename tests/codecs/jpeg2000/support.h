// The codec in memory.
#pragma once

#include "jpeg2000/jpeg2000.h"
#include "support/images.h"

namespace zelj::test {

inline Bytes fileOf(const Image& image, const j2k::EncodeOptions& options) {
  Bytes file;
  img::MemorySink sink(file);
  std::unique_ptr<img::RowWriter> writer;
  EXPECT_EQ(j2k::openWriter(sink, image, options, writer).message, "");
  if (writer) {
    EXPECT_EQ(img::writeAll(image, *writer).message, "");
  }
  return file;
}

// The message of a failure; what was read is in `image`, and whether samples were lost in `damaged`.
inline std::string decode(const Bytes& file, const j2k::DecodeOptions& options, Image& image, bool* damaged = nullptr) {
  img::ByteSource source(file);
  std::unique_ptr<img::RowReader> reader;
  if (img::Error error = j2k::openReader(source, options, reader)) return error.message;
  const img::Error error = img::readAll(*reader, image);
  if (damaged) *damaged = reader->damaged();
  return error.message;
}

inline Image pictureOf(const Bytes& file, const j2k::DecodeOptions& options = {}) {
  Image image;
  EXPECT_EQ(decode(file, options, image), "");
  return image;
}

inline bool same(const Image& a, const Image& b) {
  return sameShape(a, b) && a.bytes == b.bytes;
}

// A part of an image from its upper left corner, in other channels and bits.
inline Image made(int width, int height, int channels, int bits) {
  const Image scene = img::renderScene(width, height);
  const Image colour = channels < 3 ? img::withChannels(scene, 1) : scene;
  Image image;
  img::shape(image, width, height, channels, 8);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < channels; ++c) {
        const bool alpha = channels % 2 == 0 && c == channels - 1;
        image.row<uint8_t>(y)[x * channels + c] =
            alpha ? static_cast<uint8_t>(x + y) : colour.row<uint8_t>(y)[x * colour.channels() + c];
      }
    }
  }
  return bits == 8 ? image : img::withBits(image, bits);
}

} // namespace zelj::test
