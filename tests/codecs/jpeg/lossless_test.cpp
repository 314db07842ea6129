// Lossless files: every sample comes back, and damage has an end.
#include "support/images.h"
#include "support/random.h"

namespace zelj::test {
namespace {

Image noise(int width, int height, img::Colour colour, int bits, Random& random) {
  img::Picture picture;
  picture.width = width;
  picture.height = height;
  picture.colour = colour;
  picture.bits = bits;
  Image image;
  img::shape(image, picture);
  int value = 0;
  for (int y = 0; y < height; ++y) {
    for (size_t x = 0; x < image.rowSamples(); ++x) {
      // Mostly near the sample before, sometimes anything.
      value =
          random.in(0, 9) ? std::clamp(value + random.in(-3, 3), 0, image.maxValue()) : random.in(0, image.maxValue());
      if (bits <= 8)
        image.row<uint8_t>(y)[x] = static_cast<uint8_t>(value);
      else
        image.row<uint16_t>(y)[x] = static_cast<uint16_t>(value);
    }
  }
  return image;
}

TEST(LosslessFiles, KeepEverySample) {
  Random random(1);
  for (int bits = 2; bits <= 16; ++bits) {
    for (const img::Colour colour : {img::Colour::grey, img::Colour::rgb, img::Colour::cmyk}) {
      for (int predictor = 1; predictor <= 7; ++predictor) {
        const Image image = noise(random.in(1, 70), random.in(1, 20), colour, bits, random);
        jpeg::EncodeOptions options;
        options.lossless = true;
        options.predictor = predictor;
        options.optimize = random.in(0, 1);
        options.restartInRows = true;
        options.restartInterval = random.oneOf({0, 1, 3});
        const Bytes file = encoded(image, options);
        const Image back = decoded(file);
        options.threads = 3;
        ASSERT_EQ(encoded(image, options), file);
        ASSERT_TRUE(img::sameSamples(image, back));
        ASSERT_EQ(image.bytes, back.bytes) << bits << " bits, predictor " << predictor;
        if (bits < 4) continue;
        options.pointTransform = 2;
        const Image coarse = decoded(encoded(image, options));
        for (int y = 0; y < image.height; ++y) {
          for (size_t x = 0; x < image.rowSamples(); ++x) {
            // Inks are counted from the other end in files.
            const int flip = colour == img::Colour::cmyk ? image.maxValue() : 0;
            const int before = bits <= 8 ? image.row<uint8_t>(y)[x] : image.row<uint16_t>(y)[x];
            const int after = bits <= 8 ? coarse.row<uint8_t>(y)[x] : coarse.row<uint16_t>(y)[x];
            ASSERT_EQ((before ^ flip) & ~3, after ^ flip);
          }
        }
      }
    }
  }
}

// A file with a scan for each component, of the scans of three grey files.
Bytes inThreeScans(const Image& image, const jpeg::EncodeOptions& options) {
  Bytes all;
  for (int c = 0; c < 3; ++c) {
    Image plane;
    img::shape(plane, image.width, image.height, 1, 8);
    for (int y = 0; y < image.height; ++y) {
      for (int x = 0; x < image.width; ++x) plane.row<uint8_t>(y)[x] = image.row<uint8_t>(y)[3 * x + c];
    }
    const Bytes grey = encoded(plane, options);
    size_t at = 2;
    while (grey[at + 1] != 0xC3) at += 2u + grey[at + 2] * 256u + grey[at + 3];
    const size_t behindFrame = at + 2u + grey[at + 2] * 256u + grey[at + 3];
    if (c == 0) {
      all = {0xFF, 0xD8, 0xFF, 0xC3, 0, 17, 8, grey[at + 5], grey[at + 6], grey[at + 7], grey[at + 8], 3};
      for (const char id : {'R', 'G', 'B'}) all.insert(all.end(), {static_cast<uint8_t>(id), 0x11, 0});
    }
    const size_t begin = all.size();
    all.insert(all.end(), grey.begin() + static_cast<ptrdiff_t>(behindFrame), grey.end() - 2);
    for (size_t i = begin; i + 5 < all.size(); ++i) {
      if (all[i] != 0xFF || all[i + 1] != 0xDA) continue;
      all[i + 5] = static_cast<uint8_t>("RGB"[c]);
      break;
    }
  }
  all.insert(all.end(), {0xFF, 0xD9});
  return all;
}

TEST(LosslessFiles, OfSeveralScansAreRead) {
  Random random(7);
  for (const int restart : {0, 3}) {
    const Image image = noise(50, 20, img::Colour::rgb, 8, random);
    jpeg::EncodeOptions options;
    options.lossless = true;
    options.predictor = 5;
    options.restartInRows = true;
    options.restartInterval = restart;
    EXPECT_EQ(decoded(inThreeScans(image, options)).bytes, image.bytes);
  }
}

TEST(LosslessFiles, DamageHasAnEnd) {
  Random random(2);
  const Image image = noise(40, 30, img::Colour::rgb, 8, random);
  Image pairs = image; // pixels that mean something else
  pairs.layout = img::Layout::yuyv;
  pairs.width = 60;
  for (int kind = 0; kind < 6; ++kind) {
    jpeg::EncodeOptions options;
    options.lossless = true;
    options.restartInRows = true;
    options.restartInterval = kind % 2 ? 5 : 0;
    const Bytes whole = kind < 2   ? encoded(image, options)
                        : kind < 4 ? inThreeScans(image, options)
                                   : encoded(pairs, options);
    for (size_t length = 0; length < whole.size(); length += length < 200 ? 1 : 17) {
      const Bytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
      Image out;
      std::string damage;
      jpeg::DecodeOptions reading;
      ASSERT_TRUE(jpeg::decode(cut, reading, out, damage)) << length;
      reading.keepGoing = true;
      if (!jpeg::decode(cut, reading, out, damage)) {
        ASSERT_NE(damage, "");
      }
    }
    for (int round = 0; round < 1000; ++round) {
      Bytes file = whole;
      for (int i = random.in(1, 4); i > 0; --i) {
        file[static_cast<size_t>(random.in(2, static_cast<int>(file.size()) - 1))] =
            static_cast<uint8_t>(random.oneOf({0, 0xFF, 0xD3, 0xD9, random.in(0, 255)}));
      }
      Image out;
      std::string damage;
      jpeg::DecodeOptions reading;
      reading.keepGoing = round % 2 == 0;
      reading.maxPixels = 1 << 16;
      const jpeg::Error error = jpeg::decode(file, reading, out, damage);
      reading.threads = 2; // change nothing
      Image other;
      std::string otherDamage;
      ASSERT_EQ(jpeg::decode(file, reading, other, otherDamage).message, error.message);
      if (error) continue;
      ASSERT_EQ(out.bytes.size(), out.rowBytes() * static_cast<size_t>(out.height));
      ASSERT_TRUE(other.bytes == out.bytes && otherDamage == damage);
    }
  }
  // An interval that is lost costs its rows and no others.
  jpeg::EncodeOptions options;
  options.lossless = true;
  options.restartInRows = true;
  options.restartInterval = 5;
  Bytes file = encoded(image, options);
  size_t restarts = 0;
  for (size_t i = 0; i + 1 < file.size(); ++i) {
    if (file[i] != 0xFF || (file[i + 1] & 0xF8) != 0xD0 || ++restarts != 2) continue;
    std::fill_n(file.begin() + static_cast<ptrdiff_t>(i) - 40, 40, uint8_t{0x5A});
    break;
  }
  jpeg::DecodeOptions reading;
  reading.keepGoing = true;
  Image out;
  std::string damage;
  ASSERT_EQ(jpeg::decode(file, reading, out, damage).message, "");
  for (int y = 0; y < 30; ++y) {
    if (y >= 5 && y < 10) continue;
    ASSERT_TRUE(std::equal(out.row<uint8_t>(y), out.row<uint8_t>(y) + 120, image.row<uint8_t>(y))) << y;
  }
}

TEST(LosslessFiles, WhatIsRefused) {
  Random random(3);
  const Image image = noise(40, 30, img::Colour::rgb, 8, random);
  jpeg::EncodeOptions options;
  options.lossless = true;
  options.pointTransform = 8;
  Bytes file;
  EXPECT_NE(jpeg::encode(image, options, file).message.find("leaves no bits"), std::string::npos);
  options.pointTransform = 0;
  options.restartInterval = 41;
  EXPECT_NE(jpeg::encode(image, options, file).message.find("whole rows"), std::string::npos);
  options.restartInterval = 80;
  const Bytes good = encoded(image, options);
  EXPECT_EQ(decoded(good).bytes, image.bytes);
  Image out;
  std::string damage;
  jpeg::DecodeOptions reading;
  reading.scale = 2;
  EXPECT_NE(jpeg::decode(good, reading, out, damage).message.find("reduced size"), std::string::npos);
}

} // namespace
} // namespace zelj::test
