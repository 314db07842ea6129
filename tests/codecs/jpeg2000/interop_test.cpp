// The codec beside opj_compress and opj_decompress: they read what it writes and it reads what they write.
#include "codecs/jpeg2000/support.h"

namespace zelj::test {
namespace {

class Jpeg2000Interop : public testing::Test {
 protected:
  void SetUp() override {
    if (folder_.run("command -v opj_compress opj_decompress") != 0) {
      GTEST_SKIP() << "opj_compress and opj_decompress are missing: run scripts/setup.sh";
    }
    folder_.writeImage("in.ppm", image_);
  }
  Image theirs(const std::string& file, const std::string& options = "") const {
    std::string said;
    EXPECT_EQ(folder_.run("opj_decompress " + options + " -i " + file + " -o d.png", &said), 0) << said;
    EXPECT_EQ(folder_.text("printed").find("WARN"), std::string::npos) << folder_.text("printed");
    return folder_.readImage("d.png");
  }
  // They write a file by these options, and both decode it alike: exactly, or within `most`.
  void checkTheirFile(const std::string& options, int most) const {
    SCOPED_TRACE(options);
    ASSERT_EQ(folder_.run("opj_compress -i in.ppm -o t.j2k " + options), 0);
    const Bytes file = folder_.read("t.j2k");
    EXPECT_TRUE(near(pictureOf(file), theirs("t.j2k"), most, most ? 0.1 : 0));
  }

  Folder folder_;
  const Image image_ = made(150, 131, 3, 8);
};

TEST_F(Jpeg2000Interop, TheyReadOurFiles) {
  for (int style = 0; style < 64; ++style) {
    j2k::EncodeOptions options;
    options.style = style;
    options.levels = style % 7;
    options.order = static_cast<j2k::Order>(style % 5);
    options.packetMarkers = style % 3 == 0;
    options.container = style % 2;
    if (style % 4 == 1) options.precincts = {{64, 32}, {32, 32}};
    if (style % 4 == 2) options.tileWidth = 61, options.tileHeight = 47;
    if (style % 4 == 3) options.blockWidth = 16, options.blockHeight = 128;
    const std::string name = style % 2 ? "o.jp2" : "o.j2k";
    folder_.write(name, fileOf(image_, options));
    EXPECT_TRUE(same(theirs(name), image_)) << "style " << style;
  }
}

TEST_F(Jpeg2000Interop, TheyReadOurDepthsAndChannels) {
  for (const int channels : {1, 2, 3, 4}) {
    for (const int bits : {8, 16}) {
      const Image image = made(40, 30, channels, bits);
      folder_.write("o.jp2", fileOf(image, {.container = true}));
      EXPECT_TRUE(same(theirs("o.jp2"), image)) << channels << " channels of " << bits << " bits";
    }
  }
}

TEST_F(Jpeg2000Interop, WeReadTheirStyles) {
  for (int style = 0; style < 64; ++style) {
    checkTheirFile("-n 4 -M " + std::to_string(style) + (style % 8 == 5 ? " -I" : ""), style % 8 == 5);
  }
}

TEST_F(Jpeg2000Interop, WeReadTheirStructures) {
  for (const char* order : {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"}) {
    const std::string progression = std::string("-n 3 -p ") + order;
    checkTheirFile(progression + " -c [64,64],[32,32] -r 30,10,1 -SOP -EPH", 0);
    checkTheirFile(progression + " -t 64,50 -TP R -r 20,5", 0);
    checkTheirFile(progression + " -t 100,90 -d 37,51 -T 11,13", 0);
  }
  for (const char* options : {"-b 4,4", "-b 1024,4", "-b 4,1024", "-n 1", "-n 7", "-I", "-I -r 20", "-mct 0",
                              "-n 3 -r 40,10,1 -POC T0=0,0,1,3,3,CPRL/T0=0,0,3,3,3,LRCP"}) {
    checkTheirFile(options, std::string(options).starts_with("-I"));
  }
}

TEST_F(Jpeg2000Interop, ReductionAndLayers) {
  ASSERT_EQ(folder_.run("opj_compress -i in.ppm -o t.j2k -r 50,20,5 -t 100,90 -d 5,3"), 0);
  const Bytes file = folder_.read("t.j2k");
  for (int n = 1; n <= 3; ++n) {
    const std::string number = std::to_string(n);
    EXPECT_TRUE(same(pictureOf(file, {.reduce = n}), theirs("t.j2k", "-r " + number))) << n;
    EXPECT_TRUE(same(pictureOf(file, {.layers = n}), theirs("t.j2k", "-l " + number))) << n;
  }
}

size_t number(const Bytes& bytes, size_t at, size_t count) {
  size_t value = 0;
  for (size_t i = 0; i < count; ++i) value = value << 8 | bytes[at + i];
  return value;
}
void put(Bytes& bytes, size_t value, size_t count) {
  for (size_t i = count; i-- > 0;) bytes.push_back(static_cast<uint8_t>(value >> 8 * i));
}

// Segments of a marker, each with its index and a part of the bytes.
Bytes segmentsOf(size_t marker, const Bytes& bytes) {
  Bytes segments;
  constexpr size_t kPart = 150;
  for (size_t i = 0; i * kPart < bytes.size(); ++i) {
    const size_t length = std::min(kPart, bytes.size() - i * kPart);
    put(segments, marker, 2);
    put(segments, length + 3, 2);
    put(segments, i, 1);
    const auto from = bytes.begin() + static_cast<ptrdiff_t>(i * kPart);
    segments.insert(segments.end(), from, from + static_cast<ptrdiff_t>(length));
  }
  return segments;
}

// A codestream with SOP and EPH of which all packet headers stand in the main header (PPM) or in those of tiles (PPT).
Bytes withPackedHeaders(const Bytes& file, bool inMain) {
  const auto at = [&](size_t i) { return file.begin() + static_cast<ptrdiff_t>(i); };
  size_t i = 2;
  while (number(file, i, 2) != 0xFF90) i += 2 + number(file, i + 2, 2);
  Bytes main(file.begin(), at(i)), allHeaders, tiles;
  while (number(file, i, 2) == 0xFF90) {
    const size_t end = i + number(file, i + 6, 4);
    Bytes headers, bodies, start(at(i), at(i + 12));
    for (i += 14; i < end;) {
      bodies.insert(bodies.end(), at(i), at(i + 6)); // SOP
      for (i += 6; number(file, i, 2) != 0xFF92; ++i) headers.push_back(file[i]);
      put(headers, 0xFF92, 2);
      for (i += 2; i < end && number(file, i, 2) != 0xFF91; ++i) bodies.push_back(file[i]);
    }
    put(allHeaders, headers.size(), 4);
    allHeaders.insert(allHeaders.end(), headers.begin(), headers.end());
    const Bytes own = inMain ? Bytes() : segmentsOf(0xFF61, headers);
    start.resize(6);
    put(start, 14 + own.size() + bodies.size(), 4);
    put(start, 1, 2); // the only part of its tile
    tiles.insert(tiles.end(), start.begin(), start.end());
    tiles.insert(tiles.end(), own.begin(), own.end());
    put(tiles, 0xFF93, 2);
    tiles.insert(tiles.end(), bodies.begin(), bodies.end());
  }
  if (inMain) {
    const Bytes segments = segmentsOf(0xFF60, allHeaders);
    main.insert(main.end(), segments.begin(), segments.end());
  }
  main.insert(main.end(), tiles.begin(), tiles.end());
  put(main, 0xFFD9, 2);
  return main;
}

TEST_F(Jpeg2000Interop, PackedPacketHeaders) {
  const Bytes file = fileOf(image_, {.levels = 3, .tileWidth = 100, .tileHeight = 90, .packetMarkers = true});
  for (const bool inMain : {false, true}) {
    const Bytes packed = withPackedHeaders(file, inMain);
    EXPECT_TRUE(same(pictureOf(packed), image_)) << inMain;
    folder_.write("o.j2k", packed);
    EXPECT_TRUE(same(theirs("o.j2k"), image_)) << inMain;
    Image shown;
    Bytes cut = packed;
    cut.resize(cut.size() / 3);
    EXPECT_NE(decode(cut, {}, shown), "");
  }
}

void putBox(Bytes& bytes, const char* type, const Bytes& body) {
  put(bytes, body.size() + 8, 4);
  bytes.insert(bytes.end(), type, type + 4);
  bytes.insert(bytes.end(), body.begin(), body.end());
}

// Channels stand in another order in the palette than in the picture.
TEST_F(Jpeg2000Interop, Palettes) {
  constexpr uint8_t kColours[3][3] = {{10, 200, 30}, {40, 50, 255}, {0, 80, 90}};
  Image indices, wanted;
  img::shape(indices, 40, 30, 1, 8);
  img::shape(wanted, 40, 30, 3, 8);
  for (int y = 0; y < 30; ++y) {
    for (int x = 0; x < 40; ++x) {
      const int index = (x / 3 + y / 5) % 3;
      indices.row<uint8_t>(y)[x] = static_cast<uint8_t>(index);
      std::copy_n(kColours[index], 3, wanted.row<uint8_t>(y) + 3 * x);
    }
  }
  Bytes palette = {0, 3, 3, 7, 7, 7};
  for (const auto& colour : kColours) palette.insert(palette.end(), {colour[2], colour[1], colour[0]});
  Bytes header;
  putBox(header, "ihdr", {0, 0, 0, 30, 0, 0, 0, 40, 0, 1, 7, 7, 0, 0});
  putBox(header, "colr", {1, 0, 0, 0, 0, 0, 16});
  putBox(header, "pclr", palette);
  putBox(header, "cmap", {0, 0, 1, 0, 0, 0, 1, 1, 0, 0, 1, 2});
  putBox(header, "cdef", {0, 3, 0, 0, 0, 0, 0, 3, 0, 1, 0, 0, 0, 2, 0, 2, 0, 0, 0, 1});
  const Bytes whole = fileOf(indices, {.container = true});
  const auto begin = [&](const char* type) { // of a box
    return std::search(whole.begin(), whole.end(), type, type + 4) - 4;
  };
  Bytes file(whole.begin(), begin("jp2h"));
  putBox(file, "jp2h", header);
  file.insert(file.end(), begin("jp2c"), whole.end());
  EXPECT_TRUE(same(pictureOf(file), wanted));
  folder_.write("o.jp2", file);
  EXPECT_TRUE(same(theirs("o.jp2"), wanted));
  // Whatever the header says then, it is refused or shown.
  const auto begun = std::search(file.begin(), file.end(), palette.begin(), palette.end()) - file.begin();
  std::vector<std::string> messages;
  for (size_t i = 0; i < palette.size() + 40; ++i) {
    Bytes bad = file;
    bad[static_cast<size_t>(begun) + i] = 255;
    Image shown;
    messages.push_back(decode(bad, {.keepGoing = true}, shown));
  }
  EXPECT_EQ(messages[0], "a palette without entries");
  EXPECT_EQ(messages[1], "the palette is cut off");
  EXPECT_EQ(messages[3], "a palette of 128 bits is not supported");
}

// At one size ours are as good as theirs.
TEST_F(Jpeg2000Interop, QualityAtARate) {
  for (const int ratio : {10, 30}) {
    ASSERT_EQ(folder_.run("opj_compress -i in.ppm -o t.j2k -I -r " + std::to_string(ratio)), 0);
    j2k::EncodeOptions options;
    options.rates = {static_cast<double>(folder_.read("t.j2k").size()) * 8 / (150 * 131)};
    folder_.write("o.j2k", fileOf(image_, options));
    EXPECT_GT(img::psnr(image_, theirs("o.j2k")), img::psnr(image_, theirs("t.j2k")) - 0.15) << ratio;
  }
}

} // namespace
} // namespace zelj::test
