// Pixels to coefficients and back by planes and MCU by MCU, in every layout, beside the usual way.
#include "common/convert.h"
#include "common/layout.h"
#include "support/images.h"

namespace zelj::test {
namespace {

using img::Layout;
using jpeg::Road;
using jpeg::Sampling;

constexpr Sampling kSamplings[] = {Sampling::s444, Sampling::s422, Sampling::s420, Sampling::s440, Sampling::s411};
constexpr Layout kLayouts[] = {Layout::usual,  Layout::bgr,    Layout::rgbx,   Layout::bgrx,
                               Layout::rgb555, Layout::rgb565, Layout::bgr555, Layout::bgr565,
                               Layout::planes, Layout::ycc,    Layout::yuyv};

// A picture whose colours are smooth, so that halved chroma loses little.
Image gradients(int width, int height) {
  Image image;
  img::shape(image, width, height, 3, 8);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      uint8_t* pixel = image.row<uint8_t>(y) + 3 * x;
      pixel[0] = static_cast<uint8_t>(40 + x % 160);
      pixel[1] = static_cast<uint8_t>(230 - y % 200);
      pixel[2] = static_cast<uint8_t>(60 + (x + y) / 2 % 120);
    }
  }
  return image;
}

Image inLayout(const Image& image, Layout layout) {
  img::Picture picture = image;
  picture.layout = layout;
  Image other;
  img::shape(other, picture);
  for (int y = 0; y < image.height; ++y) {
    if (layout != Layout::yuyv) {
      img::fromUsual(layout, image.row<uint8_t>(y), image.width, other.row<uint8_t>(y));
      continue;
    }
    Bytes ycc(3 * static_cast<size_t>(image.width));
    img::fromUsual(Layout::ycc, image.row<uint8_t>(y), image.width, ycc.data());
    uint8_t* pair = other.row<uint8_t>(y);
    for (int x = 0; x < image.width; x += 2, pair += 4) {
      const uint8_t *left = &ycc[3 * static_cast<size_t>(x)], *right = x + 1 < image.width ? left + 3 : left;
      pair[0] = left[0];
      pair[1] = static_cast<uint8_t>((left[1] + right[1]) / 2);
      pair[2] = right[0];
      pair[3] = static_cast<uint8_t>((left[2] + right[2]) / 2);
    }
  }
  return other;
}

Image usual(const Image& image) {
  img::Picture picture = image;
  picture.layout = Layout::usual;
  Image other;
  img::shape(other, picture);
  for (int y = 0; y < image.height; ++y) {
    img::toUsual(image.layout, image.row<uint8_t>(y), image.width, other.row<uint8_t>(y), image.channels());
  }
  return other;
}

// Whatever way pixels take, the picture that comes back is nearly as good as by the usual one. Packed pixels lose bits
// by themselves.
TEST(Roads, EveryLayoutKeepsThePicture) {
  for (const auto& [width, height] : {std::pair{1, 1}, {2, 3}, {97, 61}, {64, 32}, {600, 19}}) {
    const Image image = gradients(width, height);
    for (const Sampling sampling : kSamplings) {
      jpeg::EncodeOptions options;
      options.quality = 95;
      options.sampling = sampling;
      const Bytes plain = encoded(image, options);
      const double best = std::min(40.0, img::psnr(image, decoded(plain)));
      for (const Road road : {Road::runs, Road::planes, Road::mcu}) {
        for (const Layout layout : kLayouts) {
          const bool packed = layout >= Layout::rgb555 && layout <= Layout::bgr565;
          const std::string name = std::to_string(width) + "x" + std::to_string(height) + ", sampling " +
                                   std::to_string(static_cast<int>(sampling)) + ", road " +
                                   std::to_string(static_cast<int>(road)) + ", layout " +
                                   std::to_string(static_cast<int>(layout));
          options.road = road;
          options.threads = 1;
          const Image source = inLayout(image, layout);
          const Bytes file = encoded(source, options);
          EXPECT_GT(img::psnr(packed ? usual(source) : image, decoded(file)),
                    std::min(best, packed ? 33.0 : 99.0) - 2.5)
              << name;
          options.threads = 2;
          EXPECT_EQ(encoded(source, options), file) << name;

          jpeg::DecodeOptions reading;
          reading.road = road;
          reading.layout = layout;
          const Image back = decoded(plain, reading);
          const bool given = layout != Layout::yuyv || sampling == Sampling::s422;
          ASSERT_EQ(back.layout, given ? layout : Layout::usual) << name;
          EXPECT_GT(img::psnr(image, usual(back)), std::min(best, packed ? 29.0 : 99.0) - 3) << name;
        }
      }
    }
  }
}

// Where the arithmetic is the same, so are the bytes: without halved chroma in one pass, and with smooth chroma.
TEST(Roads, PlanesGiveTheSameBytesWhereTheArithmeticIsTheSame) {
  for (const auto& [width, height] : {std::pair{3, 1}, {67, 35}, {256, 64}}) {
    const Image image = img::renderScene(width, height);
    for (const Sampling sampling : kSamplings) {
      jpeg::EncodeOptions options;
      options.sampling = sampling;
      options.quality = 30;
      const Bytes file = encoded(image, options);
      jpeg::DecodeOptions reading;
      const Image usually = decoded(file, reading);
      reading.road = Road::planes;
      EXPECT_EQ(decoded(file, reading).bytes, usually.bytes) << static_cast<int>(sampling);
      options.road = Road::planes;
      if (sampling == Sampling::s444) {
        EXPECT_EQ(encoded(image, options), file);
      }
    }
  }
}

// Y, Cb, Cr come through the lossless process as they are, with as much chroma as they have.
TEST(Roads, LosslessFilesTakeEveryLayout) {
  for (const auto& [width, height] : {std::pair{1, 1}, {2, 3}, {97, 31}}) {
    for (const Layout layout : kLayouts) {
      const Image source = inLayout(gradients(width, height), layout);
      for (const bool optimize : {false, true}) {
        for (const int restart : {0, 2}) {
          jpeg::EncodeOptions options;
          options.lossless = true;
          options.optimize = optimize;
          options.predictor = 1 + width % 7;
          options.restartInterval = restart;
          options.restartInRows = true;
          const Image back = decoded(encoded(source, options));
          const bool exact = layout != Layout::ycc && layout != Layout::yuyv; // converted by another form
          EXPECT_TRUE(near(back, usual(source), exact ? 0 : 3, 1.5)) << width << " " << static_cast<int>(layout);
        }
      }
    }
  }
}

// The first scans of a progressive file leave most coefficients zero, which the usual way makes use of.
TEST(Roads, FirstScansAreNearTheFullTransform) {
  jpeg::EncodeOptions options;
  const char* const scripts[] = {"0,1,2: 0-0,0,0; 0: 1-63,0,0;", "0,1,2: 0-0,0,0; 0: 1-2,0,0; 1: 1-9,0,0; 2: 1-5,0,0;"};
  for (const char* script : scripts) {
    ASSERT_FALSE(jpeg::parseScript(script, options.script));
    const Bytes file = encoded(img::renderScene(120, 90), options);
    for (int scans = 1; scans <= 4; ++scans) {
      jpeg::DecodeOptions reading;
      reading.scansRead = scans;
      const Image usually = decoded(file, reading);
      reading.threads = 3;
      EXPECT_EQ(decoded(file, reading).bytes, usually.bytes);
      reading.road = Road::planes;
      EXPECT_TRUE(near(usually, decoded(file, reading), 4, 0.8)) << script << scans;
    }
  }
}

// C, M, Y, K: every way into a file and every way out of it.
TEST(Roads, KeepInks) {
  Image inks;
  img::Picture picture;
  picture.width = 75;
  picture.height = 43;
  picture.colour = img::Colour::cmyk;
  img::shape(inks, picture);
  for (int y = 0; y < inks.height; ++y) {
    for (int i = 0; i < 4 * inks.width; ++i) {
      inks.row<uint8_t>(y)[i] = static_cast<uint8_t>(i % 4 == 3 ? y : 20 + 40 * (i % 4) + i / 4);
    }
  }
  Image planes;
  picture.layout = Layout::planes;
  img::shape(planes, picture);
  for (int y = 0; y < inks.height; ++y) {
    img::fromUsual(Layout::planes, inks.row<uint8_t>(y), inks.width, planes.row<uint8_t>(y), 4);
  }
  jpeg::EncodeOptions options;
  options.quality = 95;
  for (const Sampling sampling : kSamplings) {
    for (const bool ycck : {false, true}) {
      for (const bool progressive : {false, true}) {
        for (const Road road : {Road::runs, Road::planes, Road::mcu}) {
          options.sampling = sampling;
          options.ycck = ycck;
          options.progressive = progressive;
          options.road = road;
          for (const Image* source : {&inks, &planes}) {
            const Bytes file = encoded(*source, options);
            for (const Layout layout : {Layout::usual, Layout::planes}) {
              jpeg::DecodeOptions reading;
              reading.road = road;
              reading.layout = layout;
              EXPECT_GT(img::psnr(inks, usual(decoded(file, reading))), 36)
                  << static_cast<int>(sampling) << ycck << progressive << static_cast<int>(road);
            }
          }
        }
      }
    }
  }
}

// Damage is told, or a picture made of what is left.
TEST(Roads, TellOfDamage) {
  jpeg::EncodeOptions options;
  Bytes file = encoded(gradients(100, 80), options);
  file.resize(file.size() - 100);
  for (const Road road : {Road::planes, Road::mcu}) {
    jpeg::DecodeOptions reading;
    reading.road = road;
    Image image;
    std::string damage;
    EXPECT_NE(jpeg::decode(file, reading, image, damage).message.find("damaged or missing data"), std::string::npos);
    reading.keepGoing = true;
    EXPECT_EQ(jpeg::decode(file, reading, image, damage).message, "");
    EXPECT_NE(damage.find("damaged or missing data"), std::string::npos);
  }
}

// The luminance of pixels in any layout.
TEST(Layouts, BecomeGrey) {
  const Image image = gradients(50, 20);
  for (const Layout layout : kLayouts) {
    const Image source = inLayout(image, layout);
    img::Picture wanted = image;
    wanted.colour = img::Colour::grey;
    Image made;
    ASSERT_FALSE(img::readAll(*img::converted(std::make_unique<img::ImageReader>(source), wanted), made));
    const bool packed = layout >= Layout::rgb555 && layout <= Layout::bgr565;
    EXPECT_TRUE(near(made, grey(image), packed ? 9 : 3, packed ? 5 : 1)) << static_cast<int>(layout);
  }
}

} // namespace
} // namespace zelj::test
