// Progressive files, tables made to measure and recoded files: the same coefficients as in one scan, also by the tools
// of others, byte by byte; and what is bad about scans.
#include "support/images.h"
#include "support/random.h"

namespace zelj::test {
namespace {

jpeg::EncodeOptions withSampling(jpeg::Sampling sampling) {
  jpeg::EncodeOptions options;
  options.sampling = sampling;
  return options;
}

Bytes recoded(const Bytes& file, const jpeg::RecodeOptions& options) {
  img::ByteSource source(file);
  Bytes made;
  img::MemorySink sink(made);
  std::string damage;
  EXPECT_EQ(jpeg::recode(source, sink, options, damage).message, "");
  EXPECT_EQ(damage, "");
  return made;
}

TEST(Progressive, ScansAndTablesChangeNoPixel) {
  std::vector<jpeg::ScanSpec> script, separate;
  ASSERT_EQ(jpeg::parseScript("0 1 2: 0-0, 0, 1; # coarse\n2: 1-63,0,3;\n1: 1-9 0 0;0: 1-63, 0, 1; 0,1,2: 0-0, 1, 0;"
                              "2: 1-63, 3, 2; 1: 10-63,0,0; 2: 1-63,2,1; 0: 1-63,1,0; 2: 1-63,1,0",
                              script)
                .message,
            "");
  ASSERT_EQ(script.size(), 10u);
  ASSERT_FALSE(jpeg::parseScript("0;1, 2;", separate));
  for (const auto& [width, height] : {std::pair{1, 1}, {17, 9}, {100, 75}}) {
    for (const jpeg::Sampling sampling : {jpeg::Sampling::s444, jpeg::Sampling::s422, jpeg::Sampling::s420}) {
      const Image scene = img::renderScene(width, height);
      const Bytes plain = encoded(scene, withSampling(sampling));
      const Image expected = decoded(plain);
      for (int kind = 0; kind < 5; ++kind) {
        for (const int restart : {0, 2}) {
          jpeg::EncodeOptions options = withSampling(sampling);
          options.optimize = kind == 0;
          options.progressive = kind == 1 || kind == 4;
          if (kind == 2) options.script = script;
          if (kind == 3) options.script = separate;
          options.restartInterval = restart;
          options.restartInRows = kind == 1;
          options.threads = kind >= 2 ? 3 : 1;
          const Bytes file = encoded(scene, options);
          jpeg::DecodeOptions reading;
          reading.threads = options.threads;
          ASSERT_EQ(decoded(file, reading).bytes, expected.bytes) << width << " wide, kind " << kind;
          if (restart == 0 && kind < 2 && width == 100) {
            EXPECT_LT(file.size(), plain.size());
          }
        }
      }
    }
  }
  // Coefficients that are packed for want of memory.
  for (const int bits : {8, 12}) {
    for (const bool noisy : {false, true}) {
      Image image = img::withBits(img::renderScene(333, 170), bits);
      Random random(9);
      for (size_t i = 0; noisy && bits == 8 && i < image.bytes.size(); ++i) {
        image.bytes[i] = static_cast<uint8_t>(random.oneOf({0, 255}));
      }
      jpeg::EncodeOptions options;
      options.quality = noisy ? 100 : 60;
      options.optimize = true;
      options.restartInterval = noisy;
      const Bytes file = encoded(image, options);
      options.coefficientMemory = 0;
      EXPECT_EQ(encoded(image, options), file);
      options.threads = 3;
      EXPECT_EQ(encoded(image, options), file);
    }
  }
  for (const int bits : {8, 12}) {
    const Image image = img::withBits(grey(img::renderScene(61, 40)), bits);
    jpeg::EncodeOptions options;
    const Image expected = decoded(encoded(image, options));
    options.progressive = true;
    EXPECT_EQ(decoded(encoded(image, options)).bytes, expected.bytes) << bits;
  }
}

TEST(Progressive, FirstScansMakeACoarserPicture) {
  const Image scene = img::renderScene(120, 90);
  jpeg::EncodeOptions options;
  options.progressive = true;
  const Bytes file = encoded(scene, options);
  double last = 0;
  for (const int scans : {1, 2, 5, 6, 0}) {
    jpeg::DecodeOptions reading;
    reading.scansRead = scans;
    const double now = img::psnr(scene, decoded(file, reading));
    EXPECT_GT(now, last) << scans;
    last = now;
  }
}

TEST(Progressive, RecodedFilesAreThoseOfJpegtran) {
  Folder folder;
  if (folder.run("command -v jpegtran cjpeg") != 0) GTEST_SKIP() << "jpegtran is missing: run scripts/setup.sh";
  using Process = jpeg::RecodeOptions::Process;
  folder.writeImage("in.ppm", img::renderScene(201, 150));
  for (const char* kind : {"-sample 2x2", "-sample 1x1 -progressive", "-sample 2x1 -restart 1", "-sample 4x1 -optimize",
                           "-grayscale", "-sample 1x2 -progressive -restart 2B", "-rgb -quality 100"}) {
    ASSERT_EQ(folder.run(std::string("cjpeg ") + kind + " -outfile a.jpg in.ppm"), 0);
    const Bytes theirs = folder.read("a.jpg");
    for (const auto& [how, process, optimize] : {std::tuple{"-optimize", Process::sequential, true},
                                                 {"-progressive", Process::progressive, false},
                                                 {"-restart 2", Process::sequential, false}}) {
      jpeg::RecodeOptions options;
      options.process = process;
      options.optimize = optimize;
      options.restartInRows = std::string(how).find("restart") != std::string::npos;
      options.restartInterval = options.restartInRows ? 2 : 0;
      const Bytes ours = recoded(theirs, options);
      EXPECT_EQ(decoded(ours).bytes, decoded(theirs).bytes) << kind << how;
      folder.write("ours.jpg", ours);
      ASSERT_EQ(folder.run(std::string("jpegtran ") + how + " -outfile b.jpg a.jpg"), 0);
      EXPECT_LE(static_cast<double>(ours.size()), 1.01 * static_cast<double>(folder.read("b.jpg").size()))
          << kind << how;
      // What they make of ours has the same coefficients.
      ASSERT_EQ(folder.run("jpegtran -optimize -outfile c.jpg ours.jpg && jpegtran -optimize -outfile d.jpg a.jpg"), 0);
      EXPECT_EQ(folder.read("c.jpg"), folder.read("d.jpg")) << kind << how;
    }
  }
}

TEST(Progressive, WeReadTheirFiles) {
  Folder folder;
  if (folder.run("command -v cjpeg") != 0) GTEST_SKIP() << "cjpeg is missing: run scripts/setup.sh";
  for (const auto& [width, height] : {std::pair{1, 1}, {33, 70}, {130, 90}}) {
    folder.writeImage("in.ppm", img::renderScene(width, height));
    for (const char* kind : {"-sample 2x2", "-sample 2x1", "-sample 1x2", "-sample 4x1", "-sample 1x1", "-grayscale",
                             "-sample 2x2 -restart 1", "-sample 2x2,2x1,1x2 -quality 98", "-rgb"}) {
      ASSERT_EQ(folder.run(std::string("cjpeg ") + kind + " -outfile a.jpg in.ppm"), 0);
      ASSERT_EQ(folder.run(std::string("cjpeg -progressive ") + kind + " -outfile b.jpg in.ppm"), 0);
      EXPECT_EQ(decoded(folder.read("b.jpg")).bytes, decoded(folder.read("a.jpg")).bytes) << width << " wide, " << kind;
    }
  }
}

// The position of the parameters of each scan.
std::vector<size_t> scansOf(const Bytes& file) {
  std::vector<size_t> scans;
  for (size_t i = 2; i + 4 < file.size(); ++i) {
    if (file[i] == 0xFF && file[i + 1] == 0xDA) scans.push_back(i + 2 + file[i + 3] - 3);
  }
  return scans;
}

// On one thread, and with threads, which must not change a thing.
jpeg::Error decodeQuietly(const Bytes& file, bool keepGoing, Image& image, std::string& damage) {
  jpeg::DecodeOptions options;
  options.keepGoing = keepGoing;
  options.maxPixels = 1 << 20;
  const jpeg::Error error = jpeg::decode(file, options, image, damage);
  options.threads = 2;
  Image other;
  std::string otherDamage;
  EXPECT_EQ(jpeg::decode(file, options, other, otherDamage).message, error.message);
  if (!error) {
    EXPECT_EQ(other.bytes, image.bytes);
    EXPECT_EQ(otherDamage, damage);
  }
  return error;
}

TEST(Progressive, BadScansAreNamed) {
  jpeg::EncodeOptions options;
  options.progressive = true;
  const Bytes good = encoded(img::renderScene(70, 50), options);
  const std::vector<size_t> scans = scansOf(good);
  ASSERT_EQ(scans.size(), 10u); // DC, Y 1-5, Cr, Cb, Y 6-63, Y again, DC, Cr, Cb, Y
  const struct {
    size_t scan;
    int Ss, Se, bits;
    const char* message;
  } cases[] = {
      {0, 0, 5, 0x01, "bad coefficients"}, {1, 6, 5, 0x02, "bad coefficients"}, {1, 1, 64, 0x02, "bad coefficients"},
      {0, 1, 5, 0x01, "bad coefficients"}, {1, 1, 5, 0x0E, "bad bits"},         {5, 1, 63, 0x20, "bad bits"},
      {5, 1, 63, 0x12, "bad bits"},        {5, 1, 63, 0x32, "no such bits"},    {5, 1, 63, 0x01, "comes twice"},
      {2, 1, 63, 0x21, "no such bits"},    {0, 0, 0, 0x10, "no such bits"},
  };
  for (const auto& c : cases) {
    Bytes file = good;
    file[scans[c.scan]] = static_cast<uint8_t>(c.Ss);
    file[scans[c.scan] + 1] = static_cast<uint8_t>(c.Se);
    file[scans[c.scan] + 2] = static_cast<uint8_t>(c.bits);
    Image image;
    std::string damage;
    const jpeg::Error error = decodeQuietly(file, false, image, damage);
    EXPECT_NE(error.message.find(c.message), std::string::npos) << c.message << ": " << error.message;
    if (!decodeQuietly(file, true, image, damage)) {
      EXPECT_NE(damage, "");
    }
  }
  // A scan after the other, thousands of them, in a small file.
  Bytes many(good.begin(), good.begin() + static_cast<ptrdiff_t>(scans[1]));
  const Bytes again(good.begin() + static_cast<ptrdiff_t>(scans[1]) - 7,
                    good.begin() + static_cast<ptrdiff_t>(scans[1]) + 3);
  for (int i = 0; i < 5000; ++i) many.insert(many.end(), again.begin(), again.end());
  Image image;
  std::string damage;
  EXPECT_NE(decodeQuietly(many, false, image, damage).message, "");
  EXPECT_EQ(decodeQuietly(many, true, image, damage).message, "");
  EXPECT_NE(damage, "");
}

TEST(Progressive, CutOffAndDamagedAnywhere) {
  Random random(5);
  const Image scene = img::renderScene(70, 50);
  for (const int restart : {0, 3}) {
    jpeg::EncodeOptions options;
    options.progressive = true;
    options.restartInterval = restart;
    const Bytes whole = encoded(scene, options);
    const size_t first = scansOf(whole)[0] + 3;
    for (size_t length = 0; length < whole.size(); length += 3) {
      const Bytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
      Image image;
      std::string damage;
      const bool kept = !decodeQuietly(cut, true, image, damage);
      ASSERT_TRUE(kept || length < first + 200) << length;
      if (kept) {
        ASSERT_TRUE(image.width == 70 && image.height == 50);
      }
    }
    for (int round = 0; round < 1500; ++round) {
      Bytes file = whole;
      for (int i = random.in(1, 4); i > 0; --i) {
        file[static_cast<size_t>(random.in(0, static_cast<int>(file.size()) - 1))] =
            static_cast<uint8_t>(random.oneOf({0, 0xFF, 0xD3, 0xD9, random.in(0, 255)}));
      }
      Image image;
      std::string damage;
      for (const bool keepGoing : {false, true}) {
        if (decodeQuietly(file, keepGoing, image, damage)) continue;
        ASSERT_EQ(image.bytes.size(), image.rowBytes() * static_cast<size_t>(image.height));
      }
      // What can be read can be recoded.
      img::ByteSource source(file);
      Bytes made;
      img::MemorySink sink(made);
      jpeg::RecodeOptions recoding;
      recoding.keepGoing = true;
      recoding.maxPixels = 1 << 20;
      recoding.process = jpeg::RecodeOptions::Process::sequential;
      if (!jpeg::recode(source, sink, recoding, damage)) {
        ASSERT_EQ(decodeQuietly(made, false, image, damage).message, "");
      }
    }
  }
}

TEST(Progressive, BadScriptsAreNamed) {
  const Image scene = img::renderScene(16, 16);
  const struct {
    const char* script;
    const char* message;
  } cases[] = {
      {"", "no scan"},
      {"x;", "components are numbers"},
      {"0: 1-63, 0;", "not of the form"},
      {"0 0;", "no such components"},
      {"0;1;3;", "no such components"},
      {"0;1;", "leave DC terms out"},
      {"0: 0-5,0,0;", "bad coefficients"},
      {"0: 1-63,0,0;", "DC terms come first"},
      {"0,1,2: 0-0,0,1; 0,1: 1-5,0,0;", "bad coefficients"},
      {"0,1,2: 0-0,0,1; 0,1,2: 0-0,2,0;", "bad bits"},
      {"0,1,2: 0-0,0,2; 0,1,2: 0-0,1,0;", "does not go on"},
  };
  jpeg::EncodeOptions options;
  Bytes file;
  for (const auto& c : cases) {
    jpeg::Error error = jpeg::parseScript(c.script, options.script);
    if (!error) error = jpeg::encode(scene, options, file);
    EXPECT_NE(error.message.find(c.message), std::string::npos) << c.script << ": " << error.message;
  }
  options.script.resize(jpeg::kMostScans + 1); // our own decoder would refuse the file
  EXPECT_NE(jpeg::encode(scene, options, file).message.find("500 scans at most"), std::string::npos);
}

} // namespace
} // namespace zelj::test
