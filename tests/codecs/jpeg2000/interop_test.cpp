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
