// BMP files: every kind of pixel, either order of rows, and what is wrong with a file.
#include "support/images.h"
#include "support/random.h"

namespace zelj::test {
namespace {

class Bmp : public testing::Test {
 protected:
  int zelimg(const std::string& arguments, std::string* said = nullptr) const {
    return folder_.run(std::string(ZELIMG) + " " + arguments, said);
  }
  Folder folder_;
  const Image scene_ = img::renderScene(61, 44);
};

TEST_F(Bmp, EveryKindOfPixelComesBack) {
  folder_.writeImage("in.ppm", scene_);
  for (const std::string pixel : {"bgr", "bgrx", "rgbx", "bgr555", "bgr565", "rgb555", "rgb565"}) {
    const bool packed = pixel.size() == 6;
    ASSERT_EQ(zelimg("in.ppm a.bmp --pixel " + pixel), 0);
    EXPECT_TRUE(near(folder_.readImage("a.bmp"), scene_, packed ? 8 : 0, 4)) << pixel;
    // Whatever road the pixels take from there.
    for (const std::string road : {"", " --road planes", " --road mcu", " --grayscale", " --lossless"}) {
      ASSERT_EQ(zelimg("a.bmp a.jpg --quality 95 --sampling 444 --threads 2" + road), 0);
      const Image back = folder_.readImage("a.jpg");
      EXPECT_GT(img::psnr(back, img::withChannels(scene_, back.channels())), packed ? 32 : 35) << pixel << road;
    }
  }
  folder_.writeImage("in.pgm", grey(scene_));
  ASSERT_EQ(zelimg("in.pgm grey.bmp"), 0);
  EXPECT_EQ(folder_.readImage("grey.bmp").bytes, grey(scene_).bytes);
}

TEST_F(Bmp, RowsFromTheBottomAndPalettes) {
  folder_.writeImage("in.pgm", grey(scene_));
  ASSERT_EQ(zelimg("in.pgm a.bmp"), 0);
  Bytes file = folder_.read("a.bmp");
  const size_t begin = 54 + 1024, step = 64;
  file[22] = 44; // the height, positive
  file[23] = file[24] = file[25] = 0;
  for (size_t y = 0; y < 22; ++y) {
    std::swap_ranges(file.begin() + static_cast<ptrdiff_t>(begin + y * step),
                     file.begin() + static_cast<ptrdiff_t>(begin + y * step + step),
                     file.begin() + static_cast<ptrdiff_t>(begin + (43 - y) * step));
  }
  folder_.write("b.bmp", file);
  EXPECT_EQ(folder_.readImage("b.bmp").bytes, grey(scene_).bytes);
  ASSERT_EQ(folder_.run(std::string("cat b.bmp | ") + ZELIMG + " - - --format pgm > c.pgm"), 0);
  EXPECT_EQ(folder_.read("printed"), folder_.read("in.pgm"));
  for (size_t i = 0; i < 256; ++i) file[54 + 4 * i + 2] = static_cast<uint8_t>(255 - i); // red runs backwards
  folder_.write("p.bmp", file);
  const Image image = folder_.readImage("p.bmp"), shades = grey(scene_);
  ASSERT_EQ(image.channels(), 3);
  for (size_t i = 0; i < shades.bytes.size(); ++i) {
    ASSERT_EQ(image.bytes[3 * i], 255 - shades.bytes[i]);
    ASSERT_EQ(image.bytes[3 * i + 1], shades.bytes[i]);
  }
}

TEST_F(Bmp, OtherFilesAreRefused) {
  folder_.writeImage("in.ppm", scene_);
  ASSERT_EQ(zelimg("in.ppm a.bmp --pixel bgr565"), 0);
  const Bytes good = folder_.read("a.bmp");
  const struct {
    size_t at;
    uint8_t value;
    const char* message;
  } cases[] = {{14, 39, "a header of 39 bytes"}, {30, 1, "compression 1"},         {28, 17, "17 bits a pixel"},
               {28, 24, "with such masks"},      {54, 0x1F, "with such masks"},    {18, 0, "the image is empty"},
               {10, 0xFF, "ends before"},        {24, 0x80, "more than the limit"}};
  for (const auto& c : cases) {
    Bytes file = good;
    file[c.at] = c.value;
    folder_.write("b.bmp", file);
    std::string said;
    EXPECT_EQ(zelimg("b.bmp c.ppm", &said), 1) << c.message;
    EXPECT_NE(said.find(c.message), std::string::npos) << said;
  }
  Random random(3);
  for (int round = 0; round < 2000; ++round) {
    Bytes file(good.begin(), good.begin() + random.in(20, round % 3 ? static_cast<int>(good.size()) : 120));
    for (int i = random.in(0, 3); i > 0; --i) {
      file[static_cast<size_t>(random.in(0, std::min<int>(static_cast<int>(file.size()), 70) - 1))] =
          static_cast<uint8_t>(random.oneOf({0, 8, 16, 24, 32, 0xFF, random.in(0, 255)}));
    }
    Image image;
    img::ByteSource source(file);
    const formats::Formats formats = formats::allFormats();
    formats::Settings settings;
    settings.maxPixels = 1 << 16;
    std::unique_ptr<img::RowReader> reader;
    if (!formats::formatNamed(formats, "bmp")->open(source, settings, reader) && !img::readAll(*reader, image)) {
      ASSERT_EQ(image.bytes.size(), image.rowBytes() * static_cast<size_t>(image.height));
    }
  }
}

} // namespace
} // namespace zelj::test
