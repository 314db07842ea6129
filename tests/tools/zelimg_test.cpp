// The program zelimg as its users see it: files by extension, exit codes, messages.
#include <cstring>

#include "support/images.h"
#include "support/png.h"

namespace zelj::test {
namespace {

class Zelimg : public testing::Test {
 protected:
  int zelimg(const std::string& arguments, std::string* said = nullptr) const {
    return folder_.run(std::string(ZELIMG) + " " + arguments, said);
  }
  Folder folder_;
  const Image scene_ = img::renderScene(60, 44);
};

TEST_F(Zelimg, LosslessFormatsKeepEverySample) {
  for (const int bits : {3, 8, 11, 12, 16}) {
    for (const int channels : {1, 3}) {
      const Image image = img::withBits(img::withChannels(scene_, channels), bits);
      const std::string extension = channels == 1 ? ".pgm" : ".ppm";
      folder_.writeImage("in" + extension, image);
      ASSERT_EQ(zelimg("in" + extension + " a.png"), 0);
      ASSERT_EQ(zelimg("a.png b" + extension), 0);
      EXPECT_EQ(folder_.readImage("b" + extension).bytes, img::withBits(image, bits <= 8 ? 8 : 16).bytes);
      ASSERT_EQ(zelimg("in" + extension + " a.jpg --lossless --predictor 4 --optimize"), 0);
      ASSERT_EQ(zelimg("a.jpg c" + extension), 0);
      EXPECT_EQ(folder_.read("c" + extension), folder_.read("in" + extension));
    }
  }
  const std::string beyond = "P5 1 1 4095\n\xFF\xFF"; // its maximum: white
  folder_.write("beyond.pgm", Bytes(beyond.begin(), beyond.end()));
  ASSERT_EQ(zelimg("beyond.pgm white.png"), 0);
  EXPECT_EQ(folder_.readImage("white.png").bytes, Bytes({0xFF, 0xFF}));
  const std::pair<const char*, Bytes> others[] = {
      {"P1 # black and white\n3 2\n101 # a row\n0 1\n0", {0, 255, 0, 255, 0, 255}},
      {"P4\n3 2\n\xA0\x40", {0, 255, 0, 255, 0, 255}},
      {"P2 2 2 15\n0\n15 7 99", {0, 255, 119, 255}},
      {"P3 1 1 255 1 2\n3", {1, 2, 3}},
  };
  for (const auto& [text, samples] : others) {
    folder_.write("other.pnm", Bytes(text, text + std::strlen(text)));
    ASSERT_EQ(zelimg("other.pnm other.png"), 0) << text;
    EXPECT_EQ(folder_.readImage("other.png").bytes, samples) << text;
  }
  EXPECT_EQ(zelimg("in.ppm grey.pgm"), 0); // the luminance of colours, three equal channels of grey
  EXPECT_EQ(folder_.readImage("grey.pgm").channels(), 1);
  EXPECT_EQ(zelimg("grey.pgm colour.ppm"), 0);
  EXPECT_EQ(folder_.readImage("colour.ppm").channels(), 3);
}

TEST_F(Zelimg, LaysWhatIsTransparentOnABackground) {
  Image clear;
  img::shape(clear, 2, 2, 4, 8);
  folder_.writeImage("in.png", clear);
  const struct {
    const char* option;
    Bytes pixel;
  } cases[] = {{"", {255, 255, 255}}, {"--background black", {0, 0, 0}}, {"--background=0180fE", {1, 128, 254}}};
  for (const auto& c : cases) {
    ASSERT_EQ(zelimg(std::string("in.png out.ppm ") + c.option), 0);
    const Bytes pixels = folder_.readImage("out.ppm").bytes;
    EXPECT_TRUE(std::equal(pixels.end() - 3, pixels.end(), c.pixel.begin())) << c.option;
  }
  EXPECT_EQ(zelimg("in.png out.ppm --background 12345"), 2);
}

TEST_F(Zelimg, ReadsInterlacedPng) {
  const auto value = [](int x, int y) { return static_cast<uint8_t>(11 * x + 17 * y); };
  constexpr int kPasses[7][4] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                                 {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}}; // first column and row, steps
  Bytes rows;
  for (const auto& [x0, y0, dx, dy] : kPasses) {
    for (int y = y0; y < 11; y += dy) {
      rows.push_back(0);
      for (int x = x0; x < 13; x += dx) rows.push_back(value(x, y));
    }
  }
  folder_.write("in.png", pngFile({13, 11, 8, 0, 0, 0, 1}, rows));
  ASSERT_EQ(zelimg("in.png out.pgm"), 0);
  const Image image = folder_.readImage("out.pgm");
  for (int y = 0; y < 11; ++y) {
    for (int x = 0; x < 13; ++x) ASSERT_EQ(image.row<uint8_t>(y)[x], value(x, y)) << x << ", " << y;
  }
}

TEST_F(Zelimg, ConvertsJpegBothWays) {
  folder_.writeImage("in.ppm", scene_);
  ASSERT_EQ(zelimg("in.ppm a.jpg --quality 90 --sampling 422 --restart 2 --threads 2"), 0);
  ASSERT_EQ(zelimg("info a.jpg"), 0);
  EXPECT_EQ(folder_.text("printed"),
            "JPEG, baseline, 60 x 44, 8 bits\ncomponents: 3 (Y, Cb, Cr), sampling 2x1,1x1,1x1 (4:2:2)\n"
            "quantisation: as by quality 90\nrestart interval: 2 MCUs\nscans: one\nmarked as JFIF\n");
  ASSERT_EQ(zelimg("a.jpg half.png --scale 1/2 --upsample plain"), 0);
  const Image half = folder_.readImage("half.png");
  EXPECT_TRUE(half.width == 30 && half.height == 22 && half.channels() == 3);
  ASSERT_EQ(zelimg("a.jpg eighth.png --scale 1/8"), 0);
  EXPECT_EQ(folder_.readImage("eighth.png").height, 6);

  folder_.writeImage("in12.ppm", img::withBits(scene_, 12));
  ASSERT_EQ(zelimg("in12.ppm b.jpeg"), 0);
  ASSERT_EQ(zelimg("b.jpeg out12.ppm"), 0);
  EXPECT_EQ(folder_.readImage("out12.ppm").bits, 12);
  ASSERT_EQ(zelimg("in12.ppm c.jpg --bits 8"), 0);
  ASSERT_EQ(zelimg("c.jpg out8.ppm"), 0);
  EXPECT_EQ(folder_.readImage("out8.ppm").bits, 8);
}

TEST_F(Zelimg, ConvertsJpeg2000BothWays) {
  folder_.writeImage("in.ppm", scene_);
  ASSERT_EQ(zelimg("in.ppm a.jp2 --levels 3 --tile 40x30 --block 16x32 --style bypass,segsym --progression RPCL "
                   "--precinct 32x32,16x16 --packet-markers --threads 2"),
            0);
  ASSERT_EQ(zelimg("info a.jp2"), 0);
  EXPECT_EQ(
      folder_.text("printed"),
      "JPEG 2000 (JP2), 60 x 44, 3 components of 8 bits\n5/3 wavelet, 3 levels, code-blocks of 16 x 32, style 33\n"
      "1 layer, RPCL, 4 tiles of 40 x 30\n");
  ASSERT_EQ(zelimg("a.jp2 out.ppm --threads 2"), 0);
  EXPECT_EQ(folder_.readImage("out.ppm").bytes, scene_.bytes);
  ASSERT_EQ(zelimg("a.jp2 small.ppm --reduce 2"), 0);
  EXPECT_EQ(folder_.readImage("small.ppm").width, 15);

  ASSERT_EQ(zelimg("in.ppm b.j2k --rate 0.5,2,8"), 0);
  EXPECT_LE(folder_.read("b.j2k").size(), size_t{60} * 44);
  ASSERT_EQ(zelimg("b.j2k rough.ppm --layers 1"), 0);
  ASSERT_EQ(zelimg("b.j2k fine.ppm"), 0);
  EXPECT_GT(img::psnr(scene_, folder_.readImage("fine.ppm")), img::psnr(scene_, folder_.readImage("rough.ppm")) + 5);
  for (const char* bad : {"--rate 2,1", "--rate 0", "--tile 0x5", "--style fast", "--progression RL", "--levels 11",
                          "--precinct 32", "--psnr 5"}) {
    EXPECT_EQ(zelimg(std::string("in.ppm c.jp2 ") + bad), 2) << bad;
  }
}

TEST_F(Zelimg, ConvertsTexturesBothWays) {
  folder_.writeImage("in.ppm", scene_);
  std::string said;
  ASSERT_EQ(zelimg("in.ppm a.dds --texture bc7 --modes 6,4 --mips --report --threads 2", &said), 0);
  EXPECT_EQ(said.rfind("zelimg: a.dds: PSNR R ", 0), 0u) << said;
  ASSERT_EQ(zelimg("info a.dds"), 0);
  EXPECT_EQ(folder_.text("printed"), "DDS, BC7, 60 x 44\nlevels: 6 (all)\ncolours: sRGB\n");
  ASSERT_EQ(zelimg("a.dds b.ktx2 --level 1 --texture bc5 --linear"), 0);
  ASSERT_EQ(zelimg("b.ktx2 c.png"), 0);
  const Image half = folder_.readImage("c.png");
  EXPECT_TRUE(half.width == 30 && half.height == 22 && half.channels() == 3);

  // Blocks of BC7 that are called BC6 are BC6: floating point for PFM, shown in 16 bits in PNG.
  Bytes file = folder_.read("a.dds");
  file[128] = 95;
  folder_.write("hdr.dds", file);
  ASSERT_EQ(zelimg("hdr.dds d.pfm"), 0);
  EXPECT_EQ(folder_.read("d.pfm").size(), std::string("PF\n60 44\n-1.0\n").size() + 60 * 44 * 12);
  ASSERT_EQ(zelimg("hdr.dds d.png"), 0);
  EXPECT_EQ(folder_.readImage("d.png").bits, 16);
}

TEST_F(Zelimg, RecodesAndReadsTheFirstScans) {
  folder_.writeImage("in.ppm", scene_);
  const std::string script = "0,1,2: 0-0, 0, 0;\n0: 1-63, 0, 0; 1: 1-63, 0, 0; 2: 1-63, 0, 0;";
  folder_.write("script", Bytes(script.begin(), script.end()));
  ASSERT_EQ(zelimg("in.ppm a.jpg"), 0);
  ASSERT_EQ(zelimg("a.jpg a.ppm"), 0);
  for (const char* how : {"--progressive", "--baseline --optimize", "--restart 1r", "--scans script"}) {
    ASSERT_EQ(zelimg(std::string("recode a.jpg b.jpg ") + how), 0);
    ASSERT_EQ(zelimg("b.jpg b.ppm"), 0);
    EXPECT_EQ(folder_.read("a.ppm"), folder_.read("b.ppm")) << how;
    ASSERT_EQ(zelimg(std::string("in.ppm c.jpg ") + (how[2] == 'b' ? "--optimize" : how)), 0);
    EXPECT_EQ(folder_.read("b.jpg"), folder_.read("c.jpg")) << how;
  }
  ASSERT_EQ(zelimg("in.ppm p.jpg --progressive"), 0);
  ASSERT_EQ(zelimg("p.jpg coarse.ppm --scans-read 1"), 0);
  EXPECT_NE(folder_.read("coarse.ppm"), folder_.read("a.ppm"));
  std::string said;
  EXPECT_EQ(zelimg("recode in.ppm b.jpg", &said), 1);
  EXPECT_NE(said.find("cannot be recoded"), std::string::npos);
  EXPECT_EQ(zelimg("recode a.jpg b.jpg --orient --sampling 422", &said), 0);
  EXPECT_NE(said.find("--orient has no effect"), std::string::npos);
  EXPECT_NE(said.find("--sampling has no effect"), std::string::npos);
  EXPECT_EQ(zelimg("in.ppm b.jpg --lossless --quality 80", &said), 0);
  EXPECT_NE(said.find("--quality has no effect"), std::string::npos);
}

TEST_F(Zelimg, MetadataGoAlongUnlessStripped) {
  Image image = scene_;
  image.metadata.exif = {'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  image.metadata.density = {300, 300, img::Density::Unit::inch};
  Bytes file;
  ASSERT_FALSE(jpeg::encode(image, {}, file));
  folder_.write("a.jpg", file);
  ASSERT_EQ(zelimg("a.jpg b.png"), 0);
  ASSERT_EQ(zelimg("b.png c.jpg --progressive"), 0);
  ASSERT_EQ(zelimg("info b.png"), 0);
  EXPECT_NE(folder_.text("printed").find("EXIF: 14 bytes"), std::string::npos);
  ASSERT_EQ(zelimg("info b.png c.jpg"), 0);
  const std::string printed = folder_.text("printed");
  EXPECT_EQ(printed.find("b.png:\nPNG, 60 x 44"), 0u);
  EXPECT_NE(printed.find("\nc.jpg:\nJPEG, progressive, 60 x 44"), std::string::npos);
  EXPECT_NE(
      printed.find("scans: several\nmarked as JFIF\nEXIF: 14 bytes, orientation 1\ndensity: 300 x 300 dots per inch\n"),
      std::string::npos)
      << printed;
  const std::string exif = "Exif";
  Bytes back = folder_.read("c.jpg");
  EXPECT_NE(std::search(back.begin(), back.end(), exif.begin(), exif.end()), back.end());
  image.metadata.density = {40, 50, img::Density::Unit::centimetre};
  folder_.write("a.jpg", encoded(image, {}));
  ASSERT_EQ(zelimg("a.jpg e.png"), 0);
  ASSERT_EQ(zelimg("info e.png"), 0);
  EXPECT_NE(folder_.text("printed").find("density: 40 x 50 dots per centimetre"), std::string::npos);
  ASSERT_EQ(zelimg("b.png d.jpg --strip"), 0);
  back = folder_.read("d.jpg");
  EXPECT_EQ(std::search(back.begin(), back.end(), exif.begin(), exif.end()), back.end());

  image.metadata.exif.resize(70000);
  image.metadata.icc = {1, 2, 3, 4};
  folder_.writeImage("long.png", image);
  folder_.write("a.jpg", encoded(image, {}));
  std::string said;
  ASSERT_EQ(zelimg("long.png e.jpg", &said), 0);
  EXPECT_NE(said.find("e.jpg: the EXIF is left out"), std::string::npos) << said;
  ASSERT_EQ(zelimg("a.jpg grey.jpg --grayscale", &said), 0);
  EXPECT_NE(said.find("a.jpg: the colour profile is left out"), std::string::npos) << said;
  EXPECT_LT(folder_.read("grey.jpg").size(), 4000u);
}

TEST_F(Zelimg, TurnsPicturesOnRequest) {
  Image image = scene_;
  image.metadata.exif = {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0x12, 0, 3, 0, 0, 0, 1, 0, 6, 0, 0};
  folder_.write("a.jpg", encoded(image, {}));
  ASSERT_EQ(zelimg("a.jpg b.png"), 0);
  EXPECT_EQ(folder_.readImage("b.png").width, 60);
  ASSERT_EQ(zelimg("info b.png"), 0);
  EXPECT_NE(folder_.text("printed").find("EXIF: 22 bytes, orientation 6"), std::string::npos);
  ASSERT_EQ(zelimg("b.png c.jpg --orient --threads 2"), 0); // the orientation went along
  const Image turned = folder_.readImage("c.jpg");
  EXPECT_TRUE(turned.width == 44 && turned.height == 60);
  ASSERT_EQ(zelimg("c.jpg d.png --orient"), 0); // and is used up
  EXPECT_EQ(folder_.readImage("d.png").width, 44);
}

TEST_F(Zelimg, KeepsInksUnlessAsked) {
  img::Picture picture = scene_;
  picture.colour = img::Colour::cmyk;
  Image inks;
  img::shape(inks, picture);
  for (size_t i = 0; i < inks.bytes.size(); ++i) inks.bytes[i] = static_cast<uint8_t>(i % 4 == 3 ? 20 : 60 + i / 240);
  folder_.write("a.jpg", encoded(inks, {}));
  const std::pair<const char*, const char*> cases[] = {
      {"", "components: 4 (Y, Cb, Cr, K)"},
      {"--inks cmyk", "components: 4 (C, M, Y, K)"},
      {"--inks rgb", "components: 3 (Y, Cb, Cr)"},
      {"--grayscale", "components: 1,"},
  };
  for (const auto& [option, components] : cases) {
    ASSERT_EQ(zelimg(std::string("a.jpg b.jpg ") + option), 0);
    ASSERT_EQ(zelimg("info b.jpg"), 0);
    EXPECT_NE(folder_.text("printed").find(components), std::string::npos) << folder_.text("printed");
  }
}

TEST_F(Zelimg, ComparesPictures) {
  Image other = scene_;
  other.row<uint8_t>(7)[3 * 11 + 1] ^= 0x40;
  folder_.writeImage("a.ppm", scene_);
  folder_.writeImage("b.png", other);
  ASSERT_EQ(zelimg("compare a.ppm b.png --diff d.ppm"), 0);
  // One sample of 60 x 44 is 64 away: 20 log(255 / 64) + 10 log(2640) dB.
  EXPECT_EQ(folder_.text("printed"),
            "red: equal\ngreen: PSNR 46.22 dB, largest difference 64 of 255 at 11, 7\nblue: equal\n");
  const Image difference = folder_.readImage("d.ppm");
  EXPECT_EQ(difference.row<uint8_t>(7)[3 * 11 + 1], 64);
  EXPECT_EQ(difference.row<uint8_t>(7)[3 * 11], 0);
  folder_.writeImage("c.ppm", img::renderScene(10, 10));
  std::string said;
  EXPECT_EQ(zelimg("compare a.ppm c.ppm", &said), 1);
  EXPECT_NE(said.find("differ in size"), std::string::npos);
}

// Every failure: its exit code, its message on one line, and no file of any name left behind.
TEST_F(Zelimg, FailsWithAMessageAndLeavesNothing) {
  folder_.writeImage("in.ppm", scene_);
  ASSERT_EQ(zelimg("in.ppm good.jpg"), 0);
  ASSERT_EQ(zelimg("in.ppm good.png"), 0);
  for (const std::string name : {"good.jpg", "good.png", "in.ppm"}) {
    Bytes file = folder_.read(name);
    file.resize(file.size() / 2);
    folder_.write("cut-" + name, file);
  }
  const std::string huge = "P6 65000 65000 255\n";
  folder_.write("huge.ppm", Bytes(huge.begin(), huge.end()));
  folder_.write("empty.png", {});
  folder_.run("mkdir folder");
  const auto filesBefore = std::distance(std::filesystem::directory_iterator(folder_.at("")), {});
  const struct {
    const char* arguments;
    int exitCode;
    const char* message;
  } cases[] = {
      {"", 2, "nothing to do"},
      {"in.ppm", 2, "name an output"},
      {"info", 2, "info needs"},
      {"recode good.jpg", 2, "recode needs"},
      {"compare good.jpg", 2, "compare needs"},
      {"in.ppm out.gif", 2, "no format has the extension .gif"},
      {"in.ppm out.jpg --fast", 2, "no option --fast"},
      {"in.ppm out.jpg --quality 0", 2, "--quality must be 1 to 100, not '0'"},
      {"in.ppm out.jpg --quality 7x", 2, "--quality must be 1 to 100, not '7x'"},
      {"in.ppm out.jpg --quality", 2, "--quality needs a value"},
      {"in.ppm out.dds --texture bc6", 2, "--texture must be bc1, bc2"},
      {"in.ppm out.dds --modes 0,8", 2, "--modes must be numbers from 0 to 7"},
      {"in.ppm out.jpg --sampling 412", 2, "--sampling must be 444, 422, 420, 440 or 411, not '412'"},
      {"in.ppm out.jpg --road fast", 2, "--road must be planes or mcu, not 'fast'"},
      {"in.ppm out.jpg --inks lab", 2, "--inks must be ycck, cmyk or rgb, not 'lab'"},
      {"good.jpg out.ppm --scale 1/3", 2, "--scale must be 1/1, 1/2, 1/4 or 1/8, not '1/3'"},
      {"missing.ppm out.jpg", 1, "missing.ppm: No such file"},
      {"folder out.png", 1, "folder: this is a folder"},
      {"in.ppm nowhere/out.png", 1, "nowhere/out.png: No such file"},
      {"cut-good.jpg out.ppm", 1, "cut-good.jpg: damaged or missing data"},
      {"cut-good.png out.ppm", 1, "cut-good.png:"},
      {"cut-in.ppm out.jpg", 1, "ends before its last sample"},
      {"huge.ppm out.jpg", 1, "more than the limit"},
      {"good.jpg out.ppm --max-pixels 2639", 1, "more than the limit"},
      {"good.png out.ppm --max-pixels 2639", 1, "more than the limit"},
      {"empty.png out.ppm", 1, "empty.png:"},
      {"info in.gif", 1, "No such file"},
      {"compare in.ppm missing.ppm", 1, "zelimg: missing.ppm: No such file"},
      {"recode good.jpg out.png", 2, "good.jpg is a JPEG file, out.png is not"},
      {"in.ppm out.jpg --scans missing", 1, "zelimg: missing: a script of scans cannot be read"},
      {"in.ppm out.jpg --scans in.ppm", 1, "in.ppm: scan 1: components are numbers"},
  };
  for (const auto& c : cases) {
    std::string said;
    EXPECT_EQ(zelimg(c.arguments, &said), c.exitCode) << c.arguments;
    EXPECT_NE(said.find(c.message), std::string::npos) << c.arguments << ": " << said;
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.at("")), {}), filesBefore) << c.arguments;
  }
  std::string said;
  EXPECT_EQ(zelimg("cut-good.jpg out.ppm --keep-going", &said), 3);
  EXPECT_NE(said.find("damaged or missing data"), std::string::npos);
  EXPECT_EQ(folder_.readImage("out.ppm").height, 44);
}

// Products of sizes that no integer holds, with any limit that a user may set.
TEST_F(Zelimg, SizesThatOverflowAreRefused) {
  for (const char* size : {"4000000000 4000000000", "2000000000 2000000000", "999999999 4"}) {
    const std::string header = std::string("P6 ") + size + " 65535\n";
    folder_.write("in.ppm", Bytes(header.begin(), header.end()));
    for (const char* output : {"out.jpg", "out.png"}) {
      std::string said;
      EXPECT_EQ(zelimg(std::string("in.ppm ") + output + " --max-pixels=9223372036854775807", &said), 1) << size;
      EXPECT_NE(said.find("in.ppm: "), std::string::npos) << said;
    }
  }
}

TEST_F(Zelimg, HelpFitsOneScreen) {
  ASSERT_EQ(zelimg("a.png b.jpg --help"), 0);
  const std::string help = folder_.text("printed");
  EXPECT_LE(std::count(help.begin(), help.end(), '\n'), 24);
  size_t begin = 0;
  for (size_t end; (end = help.find('\n', begin)) != std::string::npos; begin = end + 1) EXPECT_LE(end - begin, 80u);
}

} // namespace
} // namespace zelj::test
