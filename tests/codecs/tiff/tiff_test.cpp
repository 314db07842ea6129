// TIFF beside the programs of libtiff, exactly and both ways; kinds of files that only reading knows; hostile files.
#include "tiff/tiff.h"

#include "common/orient.h"
#include "support/images.h"
#include "support/random.h"

namespace zelj::test {
namespace {

Bytes writtenAs(const Image& image, const tiff::EncodeOptions& options = {}) {
  Bytes file;
  img::MemorySink sink(file);
  std::unique_ptr<img::RowWriter> writer;
  EXPECT_EQ(tiff::openWriter(sink, image, options, writer).message, "");
  EXPECT_EQ(img::writeAll(image, *writer).message, "");
  return file;
}

img::Error readFrom(const Bytes& file, Image& image, int64_t maxPixels = 1 << 22, bool keepGoing = false) {
  img::ByteSource source{img::ByteSpan(file)};
  std::unique_ptr<img::RowReader> reader;
  if (img::Error error = tiff::openReader(source, {maxPixels, keepGoing}, reader)) return error;
  return img::readAll(*reader, image);
}

// Grey, grey and alpha, R, G, B, and with alpha; 8 and 16 bits.
Image picture(int width, int height, int channels, int bits) {
  Random random(static_cast<uint64_t>(width + 10 * channels + bits));
  const Image scene = img::withBits(img::renderScene(width, height), bits);
  Image image;
  img::shape(image, width, height, channels, bits);
  for (size_t i = 0; i < image.bytes.size(); ++i)
    image.bytes[i] = random.in(0, 3) ? scene.bytes[i % scene.bytes.size()] : static_cast<uint8_t>(random.bits());
  image.metadata.icc.assign(501, 7);
  image.metadata.density = {300, 150, img::Density::Unit::inch};
  return image;
}

TEST(Tiff, WhatIsWrittenIsRead) {
  for (const int bits : {8, 16}) {
    for (const int channels : {1, 2, 3, 4}) {
      for (const auto& [width, height] : {std::pair{1, 1}, {37, 23}, {700, 150}, {30000, 3}}) {
        const Image image = picture(width, height, channels, bits);
        for (const tiff::EncodeOptions options : {tiff::EncodeOptions{tiff::Compression::none, false},
                                                  {tiff::Compression::packBits, false},
                                                  {tiff::Compression::packBits, true},
                                                  {tiff::Compression::none, true}}) {
          Image back;
          ASSERT_EQ(readFrom(writtenAs(image, options), back).message, "");
          EXPECT_TRUE(img::sameSamples(image, back));
          EXPECT_EQ(image.bytes, back.bytes);
          EXPECT_EQ(image.metadata.icc, back.metadata.icc);
          EXPECT_EQ(back.metadata.density.x, 300);
          EXPECT_EQ(back.metadata.density.unit, img::Density::Unit::inch);
        }
      }
    }
  }
  // What byte planes are for: the high bytes of a smooth picture.
  Image ramp;
  img::shape(ramp, 1000, 10, 1, 16);
  for (int y = 0; y < 10; ++y) {
    for (int x = 0; x < 1000; ++x) ramp.row<uint16_t>(y)[x] = static_cast<uint16_t>(3 * x);
  }
  EXPECT_LT(writtenAs(ramp, {tiff::Compression::packBits, true}).size() * 3, writtenAs(ramp).size() * 2);
}

class TiffInterop : public testing::Test {
 protected:
  void SetUp() override {
    if (folder_.run("command -v tiffcp tiffcmp tiffinfo") != 0)
      GTEST_SKIP() << "libtiff-tools are missing: run scripts/setup.sh";
  }
  Folder folder_;
};

TEST_F(TiffInterop, BothWaysExactly) {
  for (const int bits : {8, 16}) {
    for (const int channels : {1, 3, 4}) {
      const Image image = picture(333, 91, channels, bits);
      folder_.write("plain.tif", writtenAs(image, {tiff::Compression::none, false}));
      folder_.write("packed.tif", writtenAs(image));
      std::string said;
      for (const std::string ours : {"plain.tif", "packed.tif"}) {
        EXPECT_EQ(folder_.run("tiffinfo -D " + ours, &said), 0);
        EXPECT_EQ(said, "") << ours;
        for (const char* options : {"-c none", "-c packbits", "-c packbits -B", "-c none -B -r 1", "-c none -L -r 7",
                                    "-c packbits -r 1000"}) {
          ASSERT_EQ(folder_.run(std::string("tiffcp ") + options + " " + ours + " theirs.tif", &said), 0) << said;
          EXPECT_EQ(folder_.run("tiffcmp " + ours + " theirs.tif", &said), 0) << said;
          Image back;
          ASSERT_EQ(readFrom(folder_.read("theirs.tif"), back).message, "") << options;
          EXPECT_EQ(back.bytes, image.bytes) << options;
          EXPECT_EQ(back.metadata.icc, image.metadata.icc);
        }
        for (const char* options : {"-c none", "-c packbits -r 7 -B"}) {
          if (bits == 16) break; // more than tiffcp can take apart
          ASSERT_EQ(folder_.run(std::string("tiffcp -p separate ") + options + " " + ours + " planes.tif", &said), 0);
          Image back;
          ASSERT_EQ(readFrom(folder_.read("planes.tif"), back).message, "") << options;
          EXPECT_EQ(back.bytes, image.bytes) << options;
        }
      }
      const struct {
        const char *options, *message;
      } refused[] = {{"-c lzw", "compression 5: not supported"},
                     {"-t -w 64 -l 64", "tiles: not supported"},
                     {"-f lsb2msb", "reversed bits: not supported"}};
      for (const auto& r : refused) {
        EXPECT_EQ(
            folder_.run(std::string("tiffcp ") + r.options + " plain.tif r.tif && " ZELIMG " r.tif out.png", &said), 1);
        EXPECT_NE(said.find(std::string("r.tif: ") + r.message), std::string::npos) << said;
      }
    }
  }
}

// Pipes on both sides. Byte planes that are not made are told of.
TEST_F(TiffInterop, Zelimg) {
  for (const int bits : {8, 16}) {
    folder_.writeImage("in.ppm", img::withBits(img::renderScene(60, 44), bits));
    for (const std::string options : {"", "--compression none", "--byte-planes", "--byte-planes --compression none"}) {
      std::string said;
      ASSERT_EQ(folder_.run("(cat in.ppm | " ZELIMG " - - --format tiff " + options + " > a.tif)", &said), 0) << said;
      const bool ignored = options.starts_with("--byte") && (bits == 8 || options.ends_with("none"));
      EXPECT_EQ(said.find("byte planes are for 16 bits") != std::string::npos, ignored) << said;
      ASSERT_EQ(folder_.run(ZELIMG " in.ppm b.tif " + options), 0);
      EXPECT_EQ(folder_.read("a.tif"), folder_.read("b.tif"));
      ASSERT_EQ(folder_.run("cat a.tif | " ZELIMG " - out.ppm"), 0);
      EXPECT_EQ(folder_.read("out.ppm"), folder_.read("in.ppm"));
    }
  }
}

TEST_F(TiffInterop, Pages) {
  folder_.writeImage("a.tif", img::renderScene(20, 10));
  folder_.writeImage("b.tif", img::renderScene(31, 17));
  ASSERT_EQ(folder_.run("tiffcp a.tif b.tif both.tif"), 0);
  std::string said;
  ASSERT_EQ(folder_.run("cat both.tif | " ZELIMG " - out.tif --page 2", &said), 0);
  EXPECT_EQ(said, "");
  EXPECT_EQ(folder_.read("out.tif"), folder_.read("b.tif"));
  ASSERT_EQ(folder_.run(ZELIMG " both.tif out.tif", &said), 0);
  EXPECT_NE(said.find("both.tif: the file holds more pages"), std::string::npos);
  EXPECT_EQ(folder_.read("out.tif"), folder_.read("a.tif"));
  EXPECT_EQ(folder_.run(ZELIMG " both.tif out.tif --page 3", &said), 1);
  EXPECT_NE(said.find("there is no page 3: the file has 2"), std::string::npos);
  ASSERT_EQ(folder_.run(ZELIMG " info both.tif"), 0);
  EXPECT_NE(folder_.text("printed").find("pages: 2\n"), std::string::npos);
}

// A file made by hand, tag by tag.
struct HandMade {
  bool bigEndian = false;
  Bytes bytes, samples;
  struct Field {
    int tag, type;
    std::vector<uint32_t> values;
  };
  std::vector<Field> fields;

  void put(uint32_t value, int size) {
    for (int i = 0; i < size; ++i) bytes.push_back(static_cast<uint8_t>(value >> 8 * (bigEndian ? size - 1 - i : i)));
  }
  // Samples directly behind the header, then values, then the directory.
  Bytes make() {
    bytes.assign(2, bigEndian ? 'M' : 'I');
    put(42, 2);
    put(0, 4);
    bytes.insert(bytes.end(), samples.begin(), samples.end());
    std::vector<uint32_t> places;
    for (const Field& field : fields) {
      places.push_back(static_cast<uint32_t>(bytes.size()));
      for (const uint32_t value : field.values) put(value, field.type == 3 ? 2 : 4);
    }
    const auto directory = static_cast<uint32_t>(bytes.size());
    put(static_cast<uint32_t>(fields.size()), 2);
    for (size_t i = 0; i < fields.size(); ++i) {
      const Field& field = fields[i];
      const int size = field.type == 3 ? 2 : 4;
      put(static_cast<uint32_t>(field.tag), 2);
      put(static_cast<uint32_t>(field.type), 2);
      put(static_cast<uint32_t>(field.values.size()), 4);
      if (field.values.size() * static_cast<size_t>(size) > 4) {
        put(places[i], 4);
      } else {
        for (const uint32_t value : field.values) put(value, size);
        for (size_t k = field.values.size() * static_cast<size_t>(size); k < 4; ++k) bytes.push_back(0);
      }
    }
    put(0, 4);
    const Bytes all = bytes;
    bytes.clear();
    put(directory, 4);
    Bytes file = all;
    std::copy(bytes.begin(), bytes.end(), file.begin() + 4);
    return file;
  }
};

HandMade handMade(uint32_t width, uint32_t height, uint32_t bits, uint32_t photometric, Bytes samples) {
  HandMade file;
  file.samples = std::move(samples);
  file.fields = {{256, 3, {width}},       {257, 4, {height}}, {258, 3, {bits}}, {259, 3, {1}},
                 {262, 3, {photometric}}, {273, 4, {8}},      {277, 3, {1}},    {278, 4, {height}}};
  return file;
}

TEST(Tiff, KindsThatAreReadOnly) {
  for (const bool bigEndian : {false, true}) {
    const auto samplesOf = [&](HandMade file) {
      file.bigEndian = bigEndian;
      Image image;
      EXPECT_EQ(readFrom(file.make(), image).message, "");
      return image.bytes;
    };
    // Bits from the top of a byte, rows begin with one; white as zero.
    EXPECT_EQ(samplesOf(handMade(10, 2, 1, 1, {0xA5, 0x40, 0x00, 0x80})),
              (Bytes{255, 0, 255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 0, 0, 0, 0, 0, 0, 255, 0}));
    EXPECT_EQ(samplesOf(handMade(3, 1, 2, 0, {0b00011011})), (Bytes{255, 170, 85}));
    EXPECT_EQ(samplesOf(handMade(2, 1, 4, 1, {0x3F})), (Bytes{51, 255}));
    EXPECT_EQ(samplesOf(handMade(2, 1, 8, 0, {0, 200})), (Bytes{255, 55}));
    HandMade palette = handMade(4, 1, 2, 3, {0b00011011});
    palette.fields.push_back({320, 3, {0, 65535, 257, 0, 0, 0, 514, 0, 0, 0, 771, 65535}});
    EXPECT_EQ(samplesOf(palette), (Bytes{0, 0, 0, 255, 0, 0, 1, 2, 3, 0, 0, 255}));
    HandMade premultiplied = handMade(2, 1, 8, 1, {50, 100, 7, 0});
    premultiplied.fields[2].values = {8, 8};
    premultiplied.fields[6].values = {2};
    premultiplied.fields.push_back({338, 3, {1}});
    EXPECT_EQ(samplesOf(premultiplied), (Bytes{128, 100, 0, 0}));
    premultiplied.fields.back().values = {0};
    EXPECT_EQ(samplesOf(premultiplied), (Bytes{50, 7}));
    // Two planes of three rows in strips of two, the strips of a plane in any order.
    HandMade planes = handMade(2, 3, 8, 1, {5, 6, 1, 2, 3, 4, 11, 12, 13, 14, 15, 16});
    planes.fields[2].values = {8, 8};
    planes.fields[5].values = {10, 8, 14, 18};
    planes.fields[6].values = {2};
    planes.fields[7].values = {2};
    planes.fields.push_back({284, 3, {2}});
    planes.fields.push_back({338, 3, {2}});
    EXPECT_EQ(samplesOf(planes), (Bytes{1, 11, 2, 12, 3, 13, 4, 14, 5, 15, 6, 16}));
  }
}

TEST(Tiff, AnOrientationGoesAlong) {
  HandMade file = handMade(3, 2, 8, 1, {1, 2, 3, 4, 5, 6});
  file.fields.push_back({274, 3, {6}});
  Image image, back;
  ASSERT_EQ(readFrom(file.make(), image).message, "");
  ASSERT_EQ(readFrom(writtenAs(image), back).message, "");
  EXPECT_EQ(back.bytes, image.bytes);
  const auto turned = img::oriented(std::make_unique<img::ImageReader>(back));
  ASSERT_EQ(img::readAll(*turned, image).message, "");
  EXPECT_EQ(image.width, 2);
  EXPECT_EQ(image.bytes, (Bytes{4, 1, 5, 2, 6, 3}));
}

TEST(Tiff, PagesInACircleEnd) {
  Bytes file = handMade(3, 2, 8, 1, {1, 2, 3, 4, 5, 6}).make();
  std::copy_n(file.begin() + 4, 4, file.end() - 4); // the next directory is this one
  img::ByteSource source{img::ByteSpan(file)};
  int pages = 0;
  ASSERT_EQ(tiff::countPages(source, pages).message, "");
  EXPECT_GT(pages, tiff::kMaxPages);
}

// A damaged strip is empty from the damage on, and the next one is whole. What a file lacks at its end is empty.
TEST(Tiff, KeepsGoing) {
  Image image;
  const auto kept = [&](const Bytes& bytes) {
    EXPECT_NE(readFrom(bytes, image).message.find("--keep-going makes a picture"), std::string::npos);
    img::ByteSource from{img::ByteSpan(bytes)};
    std::unique_ptr<img::RowReader> reader;
    EXPECT_EQ(tiff::openReader(from, {1 << 20, true}, reader).message, "");
    img::shape(image, reader->picture());
    std::fill(image.bytes.begin(), image.bytes.end(), uint8_t{0xEE});
    EXPECT_EQ(reader->read(image.rows()).message, "");
    EXPECT_EQ(reader->finish().message, "");
    EXPECT_TRUE(reader->damaged());
    EXPECT_EQ(reader->remarks().size(), 1u);
    return image.bytes;
  };
  // Two strips of two rows of three; a literal leads out of row 1.
  HandMade file = handMade(3, 4, 8, 1, {0xFE, 9, 0xFF, 7, 5, 3, 0xFE, 5, 0xFE, 4});
  file.fields[3].values = {32773};
  file.fields[5].values = {8, 14};
  file.fields[7].values = {2};
  file.fields.push_back({279, 4, {6, 4}});
  EXPECT_EQ(kept(file.make()), (Bytes{9, 9, 9, 0, 0, 0, 5, 5, 5, 4, 4, 4}));

  const Bytes whole = writtenAs(picture(30, 40, 3, 8), {tiff::Compression::none, false});
  const Bytes half = kept(Bytes(whole.begin(), whole.end() - 1000));
  ASSERT_FALSE(readFrom(whole, image));
  std::fill(image.bytes.end() - 1000, image.bytes.end(), uint8_t{0});
  EXPECT_EQ(half, image.bytes);
}

TEST(Tiff, HostileFilesGetAMessage) {
  const Bytes samples(64, 1);
  const struct {
    int tag;
    std::vector<uint32_t> values;
    const char* message;
  } cases[] = {
      {256, {0}, "0 x 8"},
      {257, {0x7FFFFFFF}, "more than the limit"},
      {256, {60000}, "too small for its number of pixels"},
      {258, {9}, "9 bits"},
      {258, {8, 16}, "different bits"},
      {259, {7}, "compression 7"},
      {262, {6}, "photometric interpretation 6"},
      {273, {0xFFFFFF00}, "outside the file"},
      {273, {}, "tag of an unknown type or without a value"},
      {277, {9}, "9 samples"},
      {278, {3}, "1 strips instead of 3"},
      {278, {0}, "1 strips instead of 8"},
      {322, {16}, "tiles"},
      {317, {2}, "predictor"},
      {339, {3}, "not unsigned whole numbers"},
      {284, {3}, "planar configuration 3"},
  };
  for (const auto& c : cases) {
    HandMade file = handMade(8, 8, 8, 1, samples);
    const auto found =
        std::find_if(file.fields.begin(), file.fields.end(), [&](const auto& f) { return f.tag == c.tag; });
    if (found == file.fields.end()) {
      file.fields.push_back({c.tag, 3, c.values});
    } else {
      *found = {c.tag, c.values.size() > 1 ? 3 : 4, c.values};
    }
    Image image;
    EXPECT_NE(readFrom(file.make(), image).message.find(c.message), std::string::npos)
        << c.tag << ": " << readFrom(file.make(), image).message;
  }
  // PackBits that ends too early, in a header, and that leads out of its row.
  for (const Bytes& packed : {Bytes{}, Bytes{0xF9}, Bytes{0xF0, 1}, Bytes{20, 1, 2}, Bytes{0xF9, 1, 0x80, 0x80}}) {
    HandMade file = handMade(8, 2, 8, 1, packed);
    file.fields[3].values = {32773};
    file.fields.push_back({279, 4, {static_cast<uint32_t>(packed.size())}});
    Image image;
    EXPECT_NE(readFrom(file.make(), image).message.find("bad PackBits data"), std::string::npos) << packed.size();
  }
  // Every cut, and bytes changed at random: a picture or a message, at once.
  Random random(9);
  const Bytes file = writtenAs(picture(40, 30, 3, 8));
  for (size_t length = 0; length < file.size(); length += 1 + length / 50) {
    Image image;
    EXPECT_TRUE(bool(readFrom(Bytes(file.begin(), file.begin() + static_cast<ptrdiff_t>(length)), image)));
  }
  for (int round = 0; round < 3000; ++round) {
    Bytes changed = file;
    for (int i = random.in(1, 5); i > 0; --i) {
      const int behind = random.in(0, 1) ? 800 : static_cast<int>(file.size()); // most often in the directory
      changed[changed.size() - static_cast<size_t>(random.in(1, behind))] = static_cast<uint8_t>(random.bits());
    }
    Image image;
    if (readFrom(changed, image, 1 << 16)) continue;
    EXPECT_EQ(image.bytes.size(), image.rowBytes() * static_cast<size_t>(image.height));
  }
}

} // namespace
} // namespace zelj::test
