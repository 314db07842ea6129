// JPEG XR: known codestreams, files that come back, the programs of jxrlib both ways, and hostile files.
#include "jpegxr/jpegxr.h"

#include "support/images.h"
#include "support/random.h"

namespace zelj::test {
namespace {

Bytes writtenAs(const Image& image, const jpegxr::EncodeOptions& options = {}) {
  Bytes file;
  img::MemorySink sink(file);
  std::unique_ptr<img::RowWriter> writer;
  EXPECT_EQ(jpegxr::openWriter(sink, image, options, writer).message, "");
  EXPECT_EQ(img::writeAll(image, *writer).message, "");
  return file;
}

img::Error readFrom(const Bytes& file, Image& image, const jpegxr::DecodeOptions& options = {.maxPixels = 1 << 22}) {
  img::ByteSource source{img::ByteSpan(file)};
  std::unique_ptr<img::RowReader> reader;
  if (img::Error error = jpegxr::openReader(source, options, reader)) return error;
  return img::readAll(*reader, image);
}

Image readFrom(const Bytes& file) {
  Image image;
  EXPECT_EQ(readFrom(file, image).message, "");
  return image;
}

// The picture of the known codestreams.
Image known(int channels) {
  Image image;
  img::shape(image, 20, 18, channels, 8);
  for (int y = 0; y < 18; ++y) {
    for (int x = 0; x < 20; ++x) {
      const int values[] = {40 + 5 * x + 3 * y + (x * y) % 7, 200 - 3 * x + 2 * y, 90 + ((3 * x ^ 5 * y) % 16)};
      for (int c = 0; c < channels; ++c) image.row<uint8_t>(y)[x * channels + c] = static_cast<uint8_t>(values[c]);
    }
  }
  return image;
}

Bytes fromHex(const std::string& hex) {
  Bytes bytes;
  for (size_t i = 0; i < hex.size(); i += 2)
    bytes.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  return bytes;
}

// As another program has written them, without their container.
const char* const kGreyLossless =
    "574d50484f544f001100c00100130011008020080000046fff000100000100b33f18c2060a168ea002038860a003f04308441a345131a36d"
    "1270430810d1c723f05871c78c30830d1c722464161c3bbce307068d1a368d1b6d78400c2091a36091c384c83bd381184061e9d1c65d2671"
    "0c2051f1344cb641dc9cc308241a2e28a8f8db449c73084468d9068e1320df4e30c2004c7e7cb24f8e29841b0f468f19627de38c10bc1a24"
    "a8f0db663c08c20b475b46d13689e7b8e30800982450e19a89b69cc3082098246891c3209b44bc51840c5878585858641f96df4b82436f26"
    "53894440e010180073d11f267e629837b893403f000f515f378d7383e073000712698fc001c49a43f00003980001cc00321842bf39f64c3a"
    "e24921f8007e8b9af306dc30e24947e000e24947e000e2498fc0032128fc0032128fc000e58b29c4318ce210386000711c7ab3d3fe800f4c"
    "cedd63ffd0a3c6f0710004002003846ebed727c6fe708b327c3341406634858681b00000400000008000806040302018100d51a875349a99"
    "93338605300b638cf7ddf5d0297e00011890200007e001f8000000000008000000100000000000000000000000";
const char* const kGreyLossy =
    "574d50484f544f001101c00100130011108a2288a000046fff0001000001001d6a17069f0002800340065f7a365bfdbe4e5efcac37bcac76"
    "f0ba2c9fdf672ce18f506c5f0c5cb08435fac84bc5e580b79d4527e000490004800140033fc5c44c29fc5b005373349c0143e9e3022f2ad9"
    "59132da4da4e821000008004000f697590c52994d39cd654dacf6b82450280c02705de2423bc484778931120";
const char* const kColourHalved =
    "574d50484f544f001100c071001300113000c505050c505050c505050000046fff0001000001008607e019501880000000000070e6800410"
    "ab0c28a28a28a0280d01406e4164164164140eaa9a00000000000008800811399184d41356495649a960652000001000007ca0aac4850502"
    "d294eb80001100c9329100";

// The part of a file from these bytes on.
Bytes from(const Bytes& mark, const Bytes& file) {
  return {std::search(file.begin(), file.end(), mark.begin(), mark.end()), file.end()};
}
Bytes codestreamOf(const Bytes& file) {
  return from({'W', 'M', 'P', 'H', 'O', 'T', 'O'}, file);
}

TEST(JpegXr, KnownCodestreams) {
  jpegxr::EncodeOptions options;
  options.overlap = 0;
  const Bytes lossless = writtenAs(known(1), options);
  EXPECT_EQ(codestreamOf(lossless), fromHex(kGreyLossless));
  EXPECT_EQ(readFrom(lossless).bytes, known(1).bytes);

  options.overlap = 1;
  options.quantizer = 20;
  EXPECT_EQ(codestreamOf(writtenAs(known(1), options)), fromHex(kGreyLossy));

  // They write an index for each component, we one for all: behind the headers all is the same.
  options.overlap = 0;
  options.quantizer = 40;
  options.halvesChroma = true;
  const Bytes profile = {0x6F, 0xFF, 0, 1};
  EXPECT_EQ(from(profile, writtenAs(known(3), options)), from(profile, fromHex(kColourHalved)));
}

// Pictures of all kinds that the codec holds: edges that are no multiple of 16, scenes, noise.
Image picture(int width, int height, int channels, int bits) {
  Image image = img::withBits(img::withChannels(img::renderScene(width, height), channels), bits);
  Random random(static_cast<uint64_t>(width));
  for (size_t i = 0; i < image.bytes.size(); i += 37) image.bytes[i] = static_cast<uint8_t>(random.bits());
  return image;
}

TEST(JpegXr, LosslessFilesComeBack) {
  for (const auto& [width, height] : {std::pair{1, 1}, {16, 16}, {3, 40}, {17, 5}, {70, 33}, {4200, 20}, {20, 4150}}) {
    for (const int channels : {1, 3}) {
      for (const int bits : {8, 16}) {
        const Image image = picture(width, height, channels, bits);
        for (const int overlap : {0, 1, 2}) {
          jpegxr::EncodeOptions options;
          options.overlap = overlap;
          options.frequencyOrder = (width + overlap) % 2;
          const Image back = readFrom(writtenAs(image, options));
          ASSERT_TRUE(img::sameSamples(image, back));
          ASSERT_EQ(image.bytes, back.bytes) << width << "x" << height << ", overlap " << overlap;
        }
      }
    }
  }
}

// The coarser, the smaller and the worse; the order of packets changes no sample.
TEST(JpegXr, LossyFilesKeepTheirPicture) {
  const Image image = img::renderScene(331, 203);
  for (const bool halved : {false, true}) {
    size_t bytes = SIZE_MAX;
    double quality = 99;
    for (const int quantizer : {4, 20, 60, 90}) {
      jpegxr::EncodeOptions options;
      options.quantizer = quantizer;
      options.halvesChroma = halved;
      options.overlap = quantizer % 3;
      const Bytes file = writtenAs(image, options);
      const Image back = readFrom(file);
      const double now = img::psnr(image, back);
      EXPECT_LT(file.size(), bytes);
      EXPECT_LT(now, quality);
      EXPECT_GT(now, !halved && quantizer == 4 ? 40 : 24) << quantizer;
      bytes = file.size();
      quality = now;
      options.frequencyOrder = true;
      EXPECT_EQ(readFrom(writtenAs(image, options)).bytes, back.bytes);
    }
  }
  jpegxr::EncodeOptions trimmed;
  trimmed.trim = 2;
  const Bytes file = writtenAs(image, trimmed);
  EXPECT_LT(file.size(), writtenAs(image).size());
  EXPECT_GT(img::psnr(image, readFrom(file)), 35);
}

class JpegXrInterop : public testing::Test {
 protected:
  void SetUp() override {
    if (folder_.run("command -v JxrDecApp JxrEncApp") != 0)
      GTEST_SKIP() << "libjxr-tools are missing: run scripts/setup.sh";
  }
  // What their decoder makes of a file.
  Image theirs(const Image& image, const std::string& file) const {
    const bool grey = image.channels() == 1;
    const std::string out = image.bits == 16 ? "d.tif" : grey ? "d.pgm" : "d.ppm";
    const char* const format = image.bits == 16 ? (grey ? " -c 3" : " -c 10") : (grey ? " -c 2" : " -c 9");
    folder_.run("rm -f " + out);
    EXPECT_EQ(folder_.run("JxrDecApp -i " + file + " -o " + out + format), 0);
    return folder_.readImage(out);
  }
  Folder folder_;
};

TEST_F(JpegXrInterop, TheyReadOurFiles) {
  for (const int bits : {8, 16}) {
    for (const int channels : {1, 3}) {
      const Image image = picture(133, 75, channels, bits);
      for (int i = 0; i < 24; ++i) {
        jpegxr::EncodeOptions options;
        options.overlap = i % 3;
        options.frequencyOrder = i / 3 % 2;
        options.quantizer = i < 6 ? 0 : 5 << i % 5;
        options.halvesChroma = i >= 12 && i % 2;
        options.trim = i >= 18 ? i - 17 : 0;
        const Bytes file = writtenAs(image, options);
        folder_.write("ours.jxr", file);
        const Image back = theirs(image, "ours.jxr");
        EXPECT_EQ(back.bytes, readFrom(file).bytes) << i;
        EXPECT_TRUE(i >= 6 || back.bytes == image.bytes) << i;
      }
    }
  }
}

TEST_F(JpegXrInterop, WeReadTheirFiles) {
  for (const int channels : {1, 3}) {
    const Image image = picture(133, 75, channels, 8);
    const std::string in = channels == 1 ? "in.pgm" : "in.ppm";
    folder_.writeImage(in, image);
    for (const std::string options : {"-l 0 -q 1", "-l 1 -q 1", "-l 2 -q 1", "-f -l 1 -q 1", "-q 1 -F 2", "-f -q 20",
                                      "-q 90 -F 3", "-q 0.4", "-q 0.8", "-f -q 0.97 -l 2", "-s 1 -q 30", "-s 2 -q 30",
                                      "-s 3 -q 30", "-d 0 -q 7", "-d 1 -q 9 -l 0", "-d 1 -f -q 50 -l 2", "-u"}) {
      if (channels == 1 && options.find("-d") != std::string::npos) continue;
      const std::string format = channels == 1 ? " -c 2" : " -c 9";
      ASSERT_EQ(folder_.run("JxrEncApp -i " + in + " -o theirs.jxr " + options + format), 0);
      EXPECT_EQ(readFrom(folder_.read("theirs.jxr")).bytes, theirs(image, "theirs.jxr").bytes) << options;
    }
  }
  for (const auto& [options, message] :
       {std::pair{"-d 2 -q 20", "4:2:2 chroma: not supported"}, {"-V 2 -H 2 -q 20", "several tiles: not supported"}}) {
    std::string said;
    ASSERT_EQ(folder_.run(std::string("JxrEncApp -i in.ppm -o theirs.jxr -c 9 ") + options), 0);
    EXPECT_EQ(folder_.run(ZELIMG " theirs.jxr out.png", &said), 1);
    EXPECT_NE(said.find(message), std::string::npos) << said;
  }
}

TEST_F(JpegXrInterop, Zelimg) {
  folder_.writeImage("in.ppm", img::renderScene(60, 44));
  ASSERT_EQ(folder_.run(ZELIMG " in.ppm a.jxr --overlap 2 --order frequency"), 0);
  ASSERT_EQ(folder_.run(ZELIMG " a.jxr out.ppm"), 0);
  EXPECT_EQ(folder_.readImage("out.ppm").bytes, folder_.readImage("in.ppm").bytes);
  ASSERT_EQ(folder_.run(ZELIMG " in.ppm b.jxr --quantizer 40 --sampling 420 --trim 1"), 0);
  EXPECT_LT(folder_.read("b.jxr").size(), folder_.read("a.jxr").size() / 2);

  // A pipe gets the same bytes, and gives the same picture.
  ASSERT_EQ(folder_.run(ZELIMG " in.ppm c.jxr && " ZELIMG " in.ppm - --format jpegxr | tee d.jxr | " ZELIMG " - e.ppm"),
            0);
  EXPECT_EQ(folder_.read("c.jxr"), folder_.read("d.jxr"));
  EXPECT_EQ(folder_.readImage("e.ppm").bytes, folder_.readImage("in.ppm").bytes);

  std::string said;
  ASSERT_EQ(folder_.run("head -c 2000 c.jxr > cut.jxr; " ZELIMG " cut.jxr cut.ppm", &said), 1);
  EXPECT_NE(said.find("--keep-going"), std::string::npos) << said;
  ASSERT_EQ(folder_.run(ZELIMG " cut.jxr cut.ppm --keep-going --threads 2", &said), 3);
  EXPECT_NE(said.find("missing data from row 16 on"), std::string::npos) << said;
  folder_.writeImage("narrow.ppm", img::renderScene(16, 40));
  ASSERT_EQ(folder_.run(ZELIMG " narrow.ppm n.jxr --sampling 420 --overlap 2", &said), 0);
  EXPECT_NE(said.find("overlap 1 instead of 2"), std::string::npos) << said;
}

// Two threads make the same files and pictures as one, row by row of macroblocks or of any height.
TEST(JpegXr, ThreadsChangeNothing) {
  for (const auto& [width, height] : {std::pair{300, 211}, {40, 16}, {64, 3}}) {
    const Image image = picture(width, height, 3, 8);
    for (const bool halved : {false, true}) {
      jpegxr::EncodeOptions options;
      options.overlap = 2;
      options.halvesChroma = halved;
      options.quantizer = halved ? 20 : 0;
      const Bytes file = writtenAs(image, options);
      options.threads = 2;
      Bytes other;
      img::MemorySink sink(other);
      std::unique_ptr<img::RowWriter> writer;
      ASSERT_EQ(jpegxr::openWriter(sink, image, options, writer).message, "");
      img::ImageReader rows(image);
      ASSERT_EQ(img::copyRows(rows, *writer, 2).message, "");
      EXPECT_EQ(file, other);

      img::ByteSource source{img::ByteSpan(file)};
      std::unique_ptr<img::RowReader> reader;
      ASSERT_EQ(jpegxr::openReader(source, {.threads = 2}, reader).message, "");
      Image back;
      img::shape(back, width, height, 3, 8);
      img::ImageWriter taken(back);
      ASSERT_EQ(img::copyRows(*reader, taken, 2).message, "");
      EXPECT_EQ(back.bytes, readFrom(file).bytes);
    }
  }
}

// What can be had of files that are cut off: all above the cut; in frequency order a coarser picture further down.
TEST(JpegXr, DamagedFilesGoOn) {
  const Image image = img::renderScene(160, 160);
  for (const bool frequency : {false, true}) {
    jpegxr::EncodeOptions options;
    options.frequencyOrder = frequency;
    const Bytes file = writtenAs(image, options);
    const Bytes cut(file.begin(), file.begin() + static_cast<ptrdiff_t>(file.size() * 2 / 3));
    img::ByteSource source{img::ByteSpan(cut)};
    std::unique_ptr<img::RowReader> reader;
    ASSERT_EQ(jpegxr::openReader(source, {.keepGoing = true}, reader).message, "");
    Image back;
    ASSERT_EQ(img::readAll(*reader, back).message, "");
    EXPECT_TRUE(reader->damaged());
    ASSERT_FALSE(reader->remarks().empty());
    EXPECT_NE(reader->remarks()[0].find("damaged or missing data from row "), std::string::npos);
    const auto differences = [&](int from, int to) {
      double sum = 0;
      for (int y = from; y < to; ++y) {
        for (int x = 0; x < 480; ++x) sum += std::abs(image.row<uint8_t>(y)[x] - back.row<uint8_t>(y)[x]);
      }
      return sum / (480 * (to - from));
    };
    EXPECT_EQ(differences(0, 60), 0);
    EXPECT_GT(differences(130, 160), 0.5);
    EXPECT_LT(differences(130, 160), frequency ? 12 : 200);

    Image none;
    EXPECT_NE(readFrom(cut, none).message.find("--keep-going"), std::string::npos);
  }
}

// Cut anywhere, or with other bytes anywhere: a picture or a message, at once, and nothing touched outside.
TEST(JpegXr, HostileFilesGetAMessage) {
  Random random(8);
  for (const bool frequency : {false, true}) {
    jpegxr::EncodeOptions options;
    options.frequencyOrder = frequency;
    options.quantizer = frequency ? 30 : 0;
    options.halvesChroma = frequency;
    options.trim = 1;
    const Bytes file = writtenAs(img::renderScene(90, 60), options);
    for (size_t length = 0; length < file.size() - 40; length += 1 + length / 20) {
      Image image;
      EXPECT_TRUE(bool(readFrom(Bytes(file.begin(), file.begin() + static_cast<ptrdiff_t>(length)), image))) << length;
    }
    for (int round = 0; round < 1500; ++round) {
      Bytes changed = file;
      for (int i = random.in(1, 6); i > 0; --i) {
        const int among = random.in(0, 2) ? static_cast<int>(file.size()) : 200;
        changed[static_cast<size_t>(random.in(0, among - 1))] = static_cast<uint8_t>(random.bits());
      }
      Image image;
      if (readFrom(changed, image, {.maxPixels = 1 << 16, .keepGoing = round % 2 == 1})) continue;
      EXPECT_EQ(image.bytes.size(), image.rowBytes() * static_cast<size_t>(image.height));
    }
  }
  const Bytes file = writtenAs(known(1));
  Image image;
  EXPECT_NE(readFrom(file, image, {.maxPixels = 359}).message.find("more than the limit"), std::string::npos);
  const size_t codestream = file.size() - codestreamOf(file).size();
  const struct {
    size_t at;
    uint8_t value;
    const char* message;
  } cases[] = {{0, 0, "no JPEG XR codestream"}, {8, 0x10, "old kind of overlap"}, {9, 0x80, "several tiles"},
               {10, 0xE0, "windowing"},         {11, 0x41, "colour format 4"},    {11, 0x06, "bit depth 6"},
               {16, 0x4F, "4:2:2 chroma"}};
  for (const auto& c : cases) {
    Bytes changed = file;
    changed[codestream + c.at] = c.value;
    EXPECT_NE(readFrom(changed, image).message.find(c.message), std::string::npos) << readFrom(changed, image).message;
  }
}

} // namespace
} // namespace zelj::test
