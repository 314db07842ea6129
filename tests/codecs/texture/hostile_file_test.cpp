// Files that are cut, lie about what they hold, or hold what is not read: a message each, and no byte outside of them.
#include "codecs/texture/support.h"
#include "support/random.h"

namespace zelj::test {
namespace {

using texture::Container;
using texture::Target;

Bytes small(Container container, Target target = Target::bc7) {
  texture::EncodeOptions options;
  options.target = target;
  options.mips = true;
  options.effort = texture::Effort::fast;
  return textureFile(pictureFor(target, 20, 12), container, options);
}

TEST(HostileTexture, EveryCutHasAMessage) {
  for (const Container container : kContainers) {
    const Bytes file = small(container);
    for (size_t size = 0; size < file.size(); ++size) {
      texture::DecodeOptions options;
      options.level = container == Container::dds ? 4 : 0; // the last one in the file
      Image image;
      EXPECT_NE(
          readTexture(Bytes(file.begin(), file.begin() + static_cast<ptrdiff_t>(size)), container, options, image), "")
          << size;
    }
  }
}

TEST(HostileTexture, KeepsGoing) {
  const Image image = pictureFor(Target::rgba8, 20, 12);
  texture::EncodeOptions options;
  options.target = Target::rgba8;
  Bytes file = textureFile(image, Container::dds, options);
  Bytes expected = readTexture(file, Container::dds).bytes;
  file.resize(file.size() - 100);
  std::fill(expected.end() - 100, expected.end(), uint8_t{0});
  texture::DecodeOptions keep;
  keep.keepGoing = true;
  img::ByteSource source{img::ByteSpan(file)};
  std::unique_ptr<img::RowReader> reader;
  ASSERT_FALSE(texture::openReader(source, Container::dds, keep, reader));
  Image back;
  ASSERT_FALSE(img::readAll(*reader, back));
  EXPECT_EQ(back.bytes, expected);
  EXPECT_TRUE(reader->damaged());
}

TEST(HostileTexture, AbsurdHeadersHaveMessages) {
  const struct {
    Container container;
    size_t at;
    uint32_t value;
    const char* message;
  } cases[] = {
      {Container::dds, 0, 0, "not a DDS file"},
      {Container::dds, 4, 123, "not a DDS file"},
      {Container::dds, 12, 0, "the image is empty"},
      {Container::dds, 12, 0x7FFFFFFF, "more than the limit"},
      {Container::dds, 16, 0x7FFFFFFF, "are wider than"},
      {Container::dds, 28, 4000000000, "levels are more"},
      {Container::dds, 84, 0x21212121, "pixel format 0x21212121"},
      {Container::dds, 112, 0x200000, "volume"},
      {Container::dds, 128, 12345, "pixel format 12345"},
      {Container::dds, 132, 4, "3 dimensions"},
      {Container::dds, 140, 0, "0 layers"},
      {Container::dds, 140, 0xFFFFFFFF, "4294967295 layers"},
      {Container::dds, 16, 40000, "the file ends before level 0"},
      {Container::ktx2, 0, 0, "not a KTX2 file"},
      {Container::ktx2, 12, 7777, "pixel format 7777"},
      {Container::ktx2, 20, 0, "the image is empty"},
      {Container::ktx2, 28, 5, "volume"},
      {Container::ktx2, 32, 0xFFFFFFFF, "layers are not read"},
      {Container::ktx2, 36, 3, "3 faces"},
      {Container::ktx2, 40, 99, "99 levels"},
      {Container::ktx2, 44, 2, "supercompression (scheme 2)"},
      {Container::ktx2, 84, 0xFFFFFFFF, "the file ends before level 0"},
      {Container::ktx2, 88, 3, "level 0 is shorter"},
  };
  for (const auto& c : cases) {
    Bytes file = small(c.container);
    for (size_t i = 0; i < 4; ++i) file[c.at + i] = static_cast<uint8_t>(c.value >> 8 * i);
    Image image;
    EXPECT_NE(readTexture(file, c.container, {}, image).find(c.message), std::string::npos)
        << c.message << ": " << readTexture(file, c.container, {}, image);
  }
}

// Damaged headers, read from memory that ends with the file.
TEST(HostileTexture, DamageAnywhere) {
  Random random(1);
  for (int trial = 0; trial < 4000; ++trial) {
    const Container container = kContainers[trial % 2];
    static const Bytes files[2][2] = {{small(Container::dds), small(Container::ktx2)},
                                      {small(Container::dds, Target::rgba8), small(Container::ktx2, Target::yCoCg)}};
    Bytes file = files[trial / 2 % 2][trial % 2];
    for (int i = random.in(1, 4); i > 0; --i) {
      const auto at = static_cast<size_t>(random.in(0, 199));
      file[at] =
          static_cast<uint8_t>(random.in(0, 1) ? random.bits() : static_cast<uint64_t>(random.oneOf({0, 1, 2, 255})));
    }
    texture::DecodeOptions options;
    options.level = random.in(0, 5);
    options.face = random.in(0, 1);
    options.maxPixels = 1 << 20;
    Image image;
    const std::string message = readTexture(file, container, options, image);
    EXPECT_EQ(message.empty(), !image.bytes.empty()) << message;
    std::string text;
    img::ByteSource source{img::ByteSpan(file)};
    (void)texture::describe(source, container, text);
  }
}

} // namespace
} // namespace zelj::test
