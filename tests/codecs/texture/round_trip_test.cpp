// What the codec writes, it reads: every format in both kinds of files, levels, faces and layers.
#include "codecs/texture/support.h"
#include "common/join.h"
#include "support/random.h"

namespace zelj::test {
namespace {

using texture::Container;
using texture::Target;

// The lowest PSNR over the whole picture that a target may have, of smooth scenes.
double leastPsnr(Target target) {
  switch (target) {
    case Target::bc4:
      return 36;
    case Target::bc7:
      return 38;
    case Target::yCoCg:
      return 33;
    case Target::rgba8:
      return 99;
    default:
      return 28;
  }
}

TEST(TextureRoundTrip, EveryFormatKindAndSize) {
  for (const auto& [width, height] : {std::pair{1, 1}, {3, 5}, {4, 4}, {17, 9}, {130, 67}, {256, 64}}) {
    for (const Target target : kTargets) {
      Image image = pictureFor(target, width, height);
      texture::EncodeOptions options;
      options.target = target;
      options.effort = texture::Effort::fast;
      options.threads = width % 3;
      Image first;
      for (const Container container : kContainers) {
        const Image back = readTexture(textureFile(image, container, options), container);
        ASSERT_TRUE(back.width == width && back.height == height);
        if (target == Target::bc5) { // blue is not kept
          for (size_t i = 2; i < image.bytes.size(); i += 3) image.bytes[i] = 0;
        }
        const Image same = target == Target::rgba8 ? img::withChannels(back, 3) : back;
        ASSERT_TRUE(sameShape(image, same)) << static_cast<int>(target);
        if (width > 100) {
          EXPECT_GT(img::psnr(image, same), leastPsnr(target) - 0.1) << static_cast<int>(target);
        }
        if (container == Container::dds) {
          first = back;
        } else if (first.channels() == back.channels()) {
          EXPECT_EQ(first.bytes, back.bytes);
        }
      }
    }
  }
}

// Strips of any height, in one piece and on several threads, make the same file.
TEST(TextureRoundTrip, StripsAndThreadsDoNotShow) {
  for (const Target target : {Target::bc1, Target::bc7}) {
    const Image image = pictureFor(target, 61, 75);
    texture::EncodeOptions options;
    options.target = target;
    options.mips = true;
    const Bytes whole = textureFile(image, Container::dds, options);
    options.threads = 3;
    Random random(1);
    Bytes file;
    img::MemorySink sink(file);
    std::unique_ptr<img::RowWriter> writer;
    ASSERT_FALSE(texture::openWriter(sink, Container::dds, image, options, writer));
    for (int y = 0; y < image.height;) {
      const int count = std::min(random.in(1, 11), image.height - y);
      ASSERT_FALSE(writer->write(image.rows().part(y, count)));
      y += count;
    }
    ASSERT_FALSE(writer->finish());
    EXPECT_TRUE(file == whole);

    file.clear();
    int told = 0;
    img::ImageReader reader(image);
    ASSERT_FALSE(texture::openWriter(sink, Container::dds, image, options, writer));
    ASSERT_FALSE(img::copyRows(reader, *writer, 3, [&](int rows) {
      EXPECT_GE(rows, told);
      told = rows;
    }));
    EXPECT_TRUE(file == whole);
    EXPECT_EQ(told, image.height);
  }
}

// Black and white make the grey of half their light, or of their mean where they are no colours.
TEST(TextureRoundTrip, LevelsAverageLight) {
  Image image;
  shape(image, 2, 2, 3, 8);
  std::fill(image.bytes.begin(), image.bytes.begin() + 6, uint8_t{255});
  for (const auto& [linear, expected] : {std::pair{false, 188}, {true, 128}}) {
    texture::EncodeOptions options;
    options.target = Target::rgba8;
    options.mips = true;
    options.linear = linear;
    texture::DecodeOptions choice;
    choice.level = 1;
    const Image grey = readTexture(textureFile(image, Container::ktx2, options), Container::ktx2, choice);
    EXPECT_EQ(grey.bytes[0], expected);
  }
}

TEST(TextureRoundTrip, LevelsGoDownToOneTexel) {
  Image image;
  shape(image, 37, 6, 4, 8);
  for (size_t i = 0; i < image.bytes.size(); i += 4) { // transparent red beside opaque blue
    const bool clear = i / 4 % 37 < 18;
    const uint8_t pixel[4] = {static_cast<uint8_t>(clear ? 255 : 0), 0, static_cast<uint8_t>(clear ? 0 : 200),
                              static_cast<uint8_t>(clear ? 0 : 255)};
    std::copy_n(pixel, 4, image.bytes.begin() + static_cast<ptrdiff_t>(i));
  }
  texture::EncodeOptions options;
  options.target = Target::rgba8;
  options.mips = true;
  for (const Container container : kContainers) {
    const Bytes file = textureFile(image, container, options);
    constexpr int kWidths[] = {37, 18, 9, 4, 2, 1}, kHeights[] = {6, 3, 1, 1, 1, 1};
    for (int level = 0; level < 6; ++level) {
      texture::DecodeOptions choice;
      choice.level = level;
      const Image back = readTexture(file, container, choice);
      EXPECT_TRUE(back.width == kWidths[level] && back.height == kHeights[level]) << level;
      if (level == 0) {
        EXPECT_EQ(back.bytes, image.bytes);
      }
      if (level == 5) { // the red that nobody sees has gone, the opacity is that of 19 columns of 37
        EXPECT_LT(back.bytes[0], 3);
        EXPECT_NEAR(back.bytes[2], 200, 2);
        EXPECT_NEAR(back.bytes[3], 255 * 19 / 37, 3);
      }
    }
    texture::DecodeOptions beyond;
    beyond.level = 6;
    Image none;
    EXPECT_EQ(readTexture(file, container, beyond, none), "there is no level 6: the texture has 6");
  }
}

void put32(Bytes& file, size_t at, uint32_t v) {
  for (size_t i = 0; i < 4; ++i) file[at + i] = static_cast<uint8_t>(v >> 8 * i);
}

// Files of others: cube maps and arrays, each surface of one colour that tells where it lies.
TEST(TextureRoundTrip, FacesAndLayersLieWhereTheKindOfFileSays) {
  constexpr int kLayers = 2, kFaces = 6, kLevels = 2;
  Image dot;
  shape(dot, 2, 2, 4, 8);
  texture::EncodeOptions options;
  options.target = Target::rgba8;
  const auto texels = [](int level, int layer, int face) {
    Bytes bytes;
    for (int i = 0; i < (level ? 1 : 4); ++i) {
      for (const int v : {level + 1, layer + 1, face + 1, 255}) bytes.push_back(static_cast<uint8_t>(v));
    }
    return bytes;
  };
  const auto append = [](Bytes& file, const Bytes& more) { file.insert(file.end(), more.begin(), more.end()); };

  Bytes dds = textureFile(dot, Container::dds, options);
  dds.resize(128);
  put32(dds, 28, kLevels);
  put32(dds, 80, 4);
  put32(dds, 84, 0x30315844); // DX10
  for (const uint32_t v : {28u, 3u, 4u, uint32_t{kLayers}, 0u}) {
    dds.resize(dds.size() + 4);
    put32(dds, dds.size() - 4, v);
  }
  for (int layer = 0; layer < kLayers; ++layer) {
    for (int face = 0; face < kFaces; ++face) {
      for (int level = 0; level < kLevels; ++level) append(dds, texels(level, layer, face));
    }
  }

  options.mips = true;
  Bytes ktx = textureFile(dot, Container::ktx2, options);
  const size_t data = ktx.size() - 20; // a texel of level 1 and four of level 0
  ktx.resize(data);
  put32(ktx, 32, kLayers);
  put32(ktx, 36, kFaces);
  for (int level = kLevels - 1; level >= 0; --level) {
    put32(ktx, 80 + 24 * static_cast<size_t>(level), static_cast<uint32_t>(ktx.size()));
    put32(ktx, 88 + 24 * static_cast<size_t>(level), kLayers * kFaces * (level ? 4 : 16));
    for (int layer = 0; layer < kLayers; ++layer) {
      for (int face = 0; face < kFaces; ++face) append(ktx, texels(level, layer, face));
    }
  }

  for (int layer = 0; layer < kLayers; ++layer) {
    for (int face = 0; face < kFaces; ++face) {
      for (int level = 0; level < kLevels; ++level) {
        texture::DecodeOptions choice;
        choice.level = level;
        choice.face = face;
        choice.layer = layer;
        EXPECT_EQ(readTexture(dds, Container::dds, choice).bytes, texels(level, layer, face));
        EXPECT_EQ(readTexture(ktx, Container::ktx2, choice).bytes, texels(level, layer, face));
      }
    }
  }
}

// Half floats of a BC6 block come out as floats: 0, one, a small number; at sizes that cut blocks, too.
TEST(TextureRoundTrip, Bc6IsReadAsFloats) {
  texture::EncodeOptions options;
  Image image = pictureFor(Target::bc7, 6, 3);
  Bytes file = textureFile(image, Container::dds, options);
  put32(file, 128, 95);
  // Mode 14 with one colour in all 16 bits: red 0x7BFF, the largest half, the others 0.
  const uint8_t block[16] = {0xEF, 0x7F, 0, 0, 0x80, 0x1F};
  for (size_t b = 0; b < 2; ++b) std::copy_n(block, 16, file.begin() + 148 + static_cast<ptrdiff_t>(16 * b));
  const Image floats = readTexture(file, Container::dds);
  ASSERT_TRUE(floats.bits == 32 && floats.channels() == 3 && floats.width == 6 && floats.height == 3);
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 6; ++x) {
      const float* pixel = floats.row<float>(y) + 3 * x;
      EXPECT_TRUE(pixel[0] == 65504.0f && pixel[1] == 0 && pixel[2] == 0) << x << " " << y;
    }
  }
}

} // namespace
} // namespace zelj::test
