// The codec beside cjpeg and djpeg: they read what it writes and it reads what they write.
#include "support/images.h"

namespace zelj::test {
namespace {

class Interop : public testing::Test {
 protected:
  void SetUp() override {
    if (folder_.run("command -v cjpeg djpeg") != 0) GTEST_SKIP() << "cjpeg and djpeg are missing: run scripts/setup.sh";
  }
  Image djpeg(const std::string& file, const std::string& options = "") const {
    std::string said;
    EXPECT_EQ(folder_.run("djpeg -dct int " + options + " -outfile d.pnm " + file, &said), 0) << said;
    EXPECT_EQ(said, "") << file;
    return folder_.readImage("d.pnm");
  }
  Folder folder_;
};

TEST_F(Interop, TheyReadOurFiles) {
  const Image colour = img::renderScene(331, 203);
  for (const Image& image : {colour, grey(colour), img::renderScene(130, 141)}) {
    folder_.writeImage("in.pnm", image);
    for (const int quality : {10, 50, 75, 90, 95, 100}) {
      for (const char* factors : {"1x1", "2x1", "2x2"}) {
        jpeg::EncodeOptions options;
        options.quality = quality;
        options.sampling = factors[0] == '1'   ? jpeg::Sampling::s444
                           : factors[2] == '1' ? jpeg::Sampling::s422
                                               : jpeg::Sampling::s420;
        const Bytes ours = encoded(image, options);
        folder_.write("ours.jpg", ours);
        ASSERT_EQ(folder_.run("cjpeg -dct int -baseline -quality " + std::to_string(quality) + " -sample " + factors +
                              " -outfile theirs.jpg in.pnm"),
                  0);
        const std::string name =
            std::to_string(image.width) + " wide, quality " + std::to_string(quality) + ", " + factors;
        EXPECT_GT(img::psnr(image, djpeg("ours.jpg")), img::psnr(image, djpeg("theirs.jpg")) - 0.1) << name;
        EXPECT_LE(static_cast<double>(ours.size()), 1.02 * static_cast<double>(folder_.read("theirs.jpg").size()))
            << name;
      }
    }
  }
}

// Restarts, tiny and odd sizes: no complaint, and the same pixels as from our own decoder.
TEST_F(Interop, TheyReadOddSizesAndRestarts) {
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 9}, {7, 1}, {16, 8}, {17, 17}, {130, 31}}) {
    for (const int restart : {0, 1, 3}) {
      for (const jpeg::Sampling sampling : {jpeg::Sampling::s444, jpeg::Sampling::s422, jpeg::Sampling::s420}) {
        jpeg::EncodeOptions options;
        options.restartInterval = restart;
        options.sampling = sampling;
        const Bytes file = encoded(img::renderScene(width, height), options);
        folder_.write("ours.jpg", file);
        EXPECT_TRUE(near(decoded(file), djpeg("ours.jpg"), 3, 1)) << width << "x" << height;
      }
    }
  }
}

TEST_F(Interop, WeReadTheirFiles) {
  folder_.write("separate", std::vector<uint8_t>{'0', ';', '1', ';', '2', ';'});
  folder_.write("partly", std::vector<uint8_t>{'0', ';', '1', ' ', '2', ';'});
  const char* const kinds[] = {"-sample 1x1",
                               "-sample 2x1 -optimize",
                               "-sample 2x2",
                               "-sample 1x2 -restart 1",
                               "-grayscale -restart 2B",
                               "-sample 2x2 -restart 1 -optimize",
                               "-sample 1x1 -restart 3B",
                               "-sample 4x1",
                               "-sample 1x4",
                               "-sample 4x2 -restart 1B",
                               "-sample 2x2,2x1,1x2",
                               "-sample 1x1,2x2,1x1",
                               "-sample 2x2 -scans separate -restart 1",
                               "-sample 2x1 -scans partly",
                               "-rgb",
                               "-sample 2x2 -quality 98"};
  double sum = 0, samples = 0;
  for (const auto& [width, height] : {std::pair{1, 1}, {2, 2}, {3, 5}, {16, 16}, {31, 17}, {33, 70}, {201, 150}}) {
    folder_.writeImage("in.ppm", img::renderScene(width, height));
    for (const std::string kind : kinds) {
      ASSERT_EQ(folder_.run("cjpeg " + kind + " -outfile theirs.jpg in.ppm"), 0) << folder_.text("said");
      for (const bool plain : {false, true}) {
        const Image theirs = djpeg("theirs.jpg", plain ? "-nosmooth" : "");
        jpeg::DecodeOptions options;
        options.upsampling = plain ? jpeg::Upsampling::plain : jpeg::Upsampling::triangle;
        const Image ours = decoded(folder_.read("theirs.jpg"), options);
        // The average of a handful of samples says little by itself.
        EXPECT_TRUE(near(ours, theirs, 3, ours.bytes.size() > 1000 ? 0.3 : 1))
            << width << "x" << height << " " << kind << (plain ? " plain" : "");
        for (size_t i = 0; i < ours.bytes.size(); ++i) sum += std::abs(ours.bytes[i] - theirs.bytes[i]);
        samples += static_cast<double>(ours.bytes.size());
      }
    }
  }
  EXPECT_LT(sum / samples, 0.1);
}

TEST_F(Interop, ReducedImagesAgree) {
  folder_.writeImage("in.ppm", img::renderScene(203, 150));
  for (const char* factors : {"1x1", "2x1", "2x2", "1x2"}) {
    ASSERT_EQ(folder_.run(std::string("cjpeg -sample ") + factors + " -outfile theirs.jpg in.ppm"), 0);
    for (const int scale : {2, 4, 8}) {
      jpeg::DecodeOptions options;
      options.scale = scale;
      // At 1/8 the transform truncates. Elsewhere theirs drops high frequencies, ours averages.
      EXPECT_GT(img::psnr(decoded(folder_.read("theirs.jpg"), options),
                          djpeg("theirs.jpg", "-scale 1/" + std::to_string(scale))),
                scale == 8 ? 44 : 35);
    }
  }
}

// Chroma at half the height, or a quarter of the width.
TEST_F(Interop, OtherSamplings) {
  const Image image = img::renderScene(203, 150);
  folder_.writeImage("in.ppm", image);
  for (const auto& [sampling, factors] : {std::pair{jpeg::Sampling::s440, "1x2"}, {jpeg::Sampling::s411, "4x1"}}) {
    for (const bool progressive : {false, true}) {
      jpeg::EncodeOptions options;
      options.sampling = sampling;
      options.progressive = progressive;
      const Bytes ours = encoded(image, options);
      folder_.write("ours.jpg", ours);
      ASSERT_EQ(folder_.run(std::string("cjpeg -dct int -sample ") + factors + (progressive ? " -progressive" : "") +
                            " -outfile theirs.jpg in.ppm"),
                0);
      EXPECT_GT(img::psnr(image, djpeg("ours.jpg")), img::psnr(image, djpeg("theirs.jpg")) - 0.1) << factors;
      EXPECT_LE(static_cast<double>(ours.size()), 1.02 * static_cast<double>(folder_.read("theirs.jpg").size()));
    }
  }
}

// Ink for ink as Pillow reads them: its files, the same as Y, Cb, Cr, K, and ours of either kind.
TEST_F(Interop, FourComponentsBothWays) {
  const std::string pillow = "/usr/bin/python3 -c \"from PIL import Image; ";
  if (folder_.run(pillow + "\"") != 0) GTEST_SKIP() << "Pillow is missing: run scripts/setup.sh";
  folder_.writeImage("in.ppm", img::renderScene(130, 70));
  ASSERT_EQ(folder_.run(pillow + "Image.open('in.ppm').convert('CMYK').save('a.jpg', quality=92)\""), 0)
      << folder_.text("said");
  const auto theirs = [&](const Bytes& file) {
    folder_.write("b.jpg", file);
    EXPECT_EQ(folder_.run(pillow + "open('raw', 'wb').write(Image.open('b.jpg').tobytes())\""), 0)
        << folder_.text("said");
    return folder_.read("raw");
  };
  Bytes file = folder_.read("a.jpg");
  const std::string name = "Adobe";
  const auto adobe = std::search(file.begin(), file.end(), name.begin(), name.end());
  ASSERT_NE(adobe, file.end());
  Image inks;
  for (const int transform : {2, 0}) {
    adobe[11] = static_cast<uint8_t>(transform);
    inks = decoded(file);
    ASSERT_EQ(inks.colour, img::Colour::cmyk);
    Image other = inks;
    other.bytes = theirs(file);
    ASSERT_EQ(other.bytes.size(), inks.bytes.size());
    EXPECT_TRUE(near(inks, other, 3, 1)) << transform;
  }
  jpeg::EncodeOptions options;
  options.quality = 95;
  for (const bool ycck : {false, true}) {
    for (const bool progressive : {false, true}) {
      options.ycck = ycck;
      options.progressive = progressive;
      options.sampling = progressive ? jpeg::Sampling::s420 : jpeg::Sampling::s444;
      const Bytes ours = encoded(inks, options);
      Image other = inks;
      other.bytes = theirs(ours);
      ASSERT_EQ(other.bytes.size(), inks.bytes.size());
      EXPECT_GT(img::psnr(inks, other), ycck && progressive ? 27 : 35) << ycck << progressive;
      EXPECT_TRUE(near(decoded(ours), other, 60, 1)) << ycck << progressive; // chroma is smoothed by other filters
    }
  }
}

} // namespace
} // namespace zelj::test
