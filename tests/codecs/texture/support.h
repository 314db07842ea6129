// Texture files in memory.
#pragma once

#include "support/images.h"
#include "texture/texture.h"

namespace zelj::test {

inline Bytes textureFile(const Image& image, texture::Container container, const texture::EncodeOptions& options) {
  Bytes file;
  img::MemorySink sink(file);
  std::unique_ptr<img::RowWriter> writer;
  EXPECT_EQ(texture::openWriter(sink, container, image, options, writer).message, "");
  EXPECT_EQ(img::writeAll(image, *writer).message, "");
  return file;
}

// The message, or nothing and the picture.
inline std::string readTexture(const Bytes& file, texture::Container container, const texture::DecodeOptions& options,
                               Image& image) {
  img::ByteSource source{img::ByteSpan(file)};
  std::unique_ptr<img::RowReader> reader;
  if (img::Error error = texture::openReader(source, container, options, reader)) return error.message;
  return img::readAll(*reader, image).message;
}

inline Image readTexture(const Bytes& file, texture::Container container, const texture::DecodeOptions& options = {}) {
  Image image;
  EXPECT_EQ(readTexture(file, container, options, image), "");
  return image;
}

// A picture with the channels that a target keeps.
inline Image pictureFor(texture::Target target, int width, int height) {
  Image scene = img::renderScene(width, height);
  if (target == texture::Target::bc4) return grey(scene);
  if (target != texture::Target::bc2 && target != texture::Target::bc3 && target != texture::Target::bc7) return scene;
  Image image;
  shape(image, width, height, 4, 8);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      uint8_t* to = image.row<uint8_t>(y) + 4 * x;
      std::copy_n(scene.row<uint8_t>(y) + 3 * x, 3, to);
      to[3] = static_cast<uint8_t>(255 * (x + y) / (width + height));
    }
  }
  return image;
}

constexpr texture::Target kTargets[] = {texture::Target::bc1,   texture::Target::bc2,  texture::Target::bc3,
                                        texture::Target::bc4,   texture::Target::bc5,  texture::Target::bc7,
                                        texture::Target::yCoCg, texture::Target::rgba8};
constexpr texture::Container kContainers[] = {texture::Container::dds, texture::Container::ktx2};

} // namespace zelj::test
