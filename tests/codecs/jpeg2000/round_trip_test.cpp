#include "codecs/jpeg2000/support.h"
#include "common/join.h"
#include "support/random.h"

namespace zelj::test {
namespace {

TEST(Jpeg2000RoundTrip, LosslessOfAllKinds) {
  for (const int channels : {1, 2, 3, 4}) {
    for (const int bits : {1, 2, 7, 8, 9, 12, 16}) {
      const Image image = made(75, 61, channels, bits);
      EXPECT_TRUE(same(pictureOf(fileOf(image, {.container = channels % 2 == 0})), image))
          << channels << " channels of " << bits << " bits";
    }
  }
}

// The extremes of all bits, which the transforms must not let overflow.
TEST(Jpeg2000RoundTrip, LosslessOfNoise) {
  Random random(1);
  for (const int bits : {1, 8, 16}) {
    Image image;
    img::shape(image, 130, 90, 3, bits);
    for (int y = 0; y < image.height; ++y) {
      for (size_t x = 0; x < image.rowSamples(); ++x) {
        const int v = random.in(0, 1) * image.maxValue();
        if (bits <= 8) image.row<uint8_t>(y)[x] = static_cast<uint8_t>(v);
        if (bits > 8) image.row<uint16_t>(y)[x] = static_cast<uint16_t>(v);
      }
    }
    for (const int levels : {1, 5}) EXPECT_TRUE(same(pictureOf(fileOf(image, {.levels = levels})), image)) << bits;
  }
}

TEST(Jpeg2000RoundTrip, LosslessOfAllSizes) {
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 9}, {7, 1}, {2, 2}, {3, 5}, {64, 64}, {65, 63}, {200, 3}}) {
    for (const int levels : {0, 1, 5, 10}) {
      const Image image = made(width, height, 3, 8);
      EXPECT_TRUE(same(pictureOf(fileOf(image, {.levels = levels})), image)) << width << " x " << height;
    }
  }
}

TEST(Jpeg2000RoundTrip, LosslessByAllOptions) {
  Random random(2);
  const Image image = made(150, 131, 3, 8);
  for (int trial = 0; trial < 60; ++trial) {
    j2k::EncodeOptions options;
    options.levels = random.in(0, 6);
    options.style = trial; // all of them
    options.order = static_cast<j2k::Order>(trial % 5);
    options.packetMarkers = trial % 3 == 0;
    options.threads = trial % 4 == 0 ? 2 : 1;
    if (trial % 2) options.precincts = {{1 << random.in(3, 8), 1 << random.in(3, 8)}, {64, 32}};
    if (trial % 5 == 0) options.tileWidth = options.tileHeight = random.in(20, 150);
    options.blockWidth = 1 << random.in(2, 6);
    options.blockHeight = 1 << random.in(2, 6);
    EXPECT_TRUE(same(pictureOf(fileOf(image, options), {.threads = trial % 3 + 1}), image)) << trial;
  }
}

// As zelimg does it: reader and writer each have several rows at work, and say how far they are.
TEST(Jpeg2000RoundTrip, SideBySide) {
  const Image image = made(301, 203, 3, 8);
  for (const int threads : {1, 2, 5}) {
    for (const int tile : {0, 90}) {
      Bytes file;
      img::MemorySink sink(file);
      std::unique_ptr<img::RowWriter> writer;
      const j2k::EncodeOptions options{.tileWidth = tile, .tileHeight = tile, .threads = threads};
      ASSERT_EQ(j2k::openWriter(sink, image, options, writer).message, "");
      int last = 0;
      const auto progress = [&](int rows) {
        EXPECT_GE(rows, last);
        last = rows;
      };
      img::ImageReader from(image);
      ASSERT_EQ(img::copyRows(from, *writer, threads, progress).message, "");
      EXPECT_EQ(last, image.height);
      img::ByteSource source(file);
      std::unique_ptr<img::RowReader> reader;
      ASSERT_EQ(j2k::openReader(source, {.threads = threads}, reader).message, "");
      Image back;
      img::shape(back, image.width, image.height, 3, 8);
      img::ImageWriter to(back);
      last = 0;
      ASSERT_EQ(img::copyRows(*reader, to, threads, progress).message, "");
      EXPECT_EQ(last, image.height);
      EXPECT_TRUE(same(back, image)) << threads << " threads, tiles of " << tile;
    }
  }
}

TEST(Jpeg2000RoundTrip, RatesAreKeptAndLayersAddUp) {
  const Image image = made(320, 200, 3, 8);
  const double pixels = 320 * 200;
  for (const int style : {0, static_cast<int>(j2k::kBypass), static_cast<int>(j2k::kTerminateAll)}) {
    j2k::EncodeOptions options;
    options.style = style;
    options.rates = {0.25, 1, 3};
    const Bytes file = fileOf(image, options);
    EXPECT_LE(static_cast<double>(file.size()), 3 * pixels / 8);
    EXPECT_GE(static_cast<double>(file.size()), 2.8 * pixels / 8);
    double last = 18;
    for (int layers = 1; layers <= 3; ++layers) {
      const double quality = img::psnr(image, pictureOf(file, {.layers = layers}));
      EXPECT_GT(quality, last + 3) << layers << " layers, style " << style;
      last = quality;
    }
  }
}

TEST(Jpeg2000RoundTrip, QualityIsKept) {
  const Image image = made(320, 200, 3, 8);
  for (const double wanted : {30.0, 40.0, 48.0}) {
    j2k::EncodeOptions options;
    options.psnr = wanted;
    const double quality = img::psnr(image, pictureOf(fileOf(image, options)));
    EXPECT_GT(quality, wanted - 0.5);
    EXPECT_LT(quality, wanted + 1);
  }
}

// Tiles may begin at odd places, where a level has an order of its own; they hardly cost quality.
TEST(Jpeg2000RoundTrip, LossyTilesOfAllSizes) {
  const Image image = made(163, 121, 3, 8);
  for (const auto& [width, height] : {std::pair{1, 7}, {5, 3}, {31, 33}, {64, 47}, {81, 120}, {163, 121}}) {
    for (const int levels : {1, 3, 5}) {
      j2k::EncodeOptions options;
      options.tileWidth = width;
      options.tileHeight = height;
      options.levels = levels;
      options.psnr = 45;
      EXPECT_GT(img::psnr(image, pictureOf(fileOf(image, options))), 44.5) << width << " x " << height;
    }
  }
}

// A picture at half its size keeps its look: near to the mean of two by two samples.
TEST(Jpeg2000RoundTrip, Reduced) {
  const Image image = made(163, 121, 1, 8);
  const Bytes file = fileOf(image, {.tileWidth = 50, .tileHeight = 70});
  const Image half = pictureOf(file, {.reduce = 1});
  EXPECT_EQ(half.width, 82);
  EXPECT_EQ(half.height, 61);
  double sum = 0;
  for (int y = 0; y < 60; ++y) {
    for (int x = 0; x < 81; ++x) {
      const auto at = [&](int dx, int dy) { return image.row<uint8_t>(2 * y + dy)[2 * x + dx]; };
      sum += std::abs(half.row<uint8_t>(y)[x] - (at(0, 0) + at(1, 0) + at(0, 1) + at(1, 1)) / 4);
    }
  }
  EXPECT_LT(sum / (60 * 81), 12);
  Image nothing;
  EXPECT_NE(decode(file, {.reduce = 6}, nothing), "");
}

TEST(Jpeg2000RoundTrip, MetadataOfTheContainer) {
  Image image = made(20, 10, 4, 8);
  image.metadata.icc = {1, 2, 3, 4, 5};
  image.metadata.density = {300, 150, img::Density::Unit::inch};
  const Image back = pictureOf(fileOf(image, {.container = true}));
  EXPECT_EQ(back.metadata.icc, image.metadata.icc);
  EXPECT_TRUE(back.alpha);
  EXPECT_NEAR(back.metadata.density.x, 300 / 2.54, 0.1);
  EXPECT_NEAR(back.metadata.density.y, 150 / 2.54, 0.1);
}

TEST(Jpeg2000RoundTrip, OptionsThatCannotBe) {
  const Image image = made(100, 100, 3, 8);
  Bytes file;
  img::MemorySink sink(file);
  std::unique_ptr<img::RowWriter> writer;
  for (const j2k::EncodeOptions& options :
       {j2k::EncodeOptions{.blockWidth = 48}, {.blockWidth = 128, .blockHeight = 64}, {.precincts = {{3, 4}}}}) {
    EXPECT_NE(j2k::openWriter(sink, image, options, writer).message, "");
  }
}

} // namespace
} // namespace zelj::test
