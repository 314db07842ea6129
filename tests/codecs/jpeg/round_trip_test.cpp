#include "jpeg/huffman.h"
#include "support/images.h"
#include "support/random.h"

namespace zelj::test {
namespace {

using jpeg::Sampling;

struct Case {
  int width, height, channels, bits;
  Sampling sampling;
  int restartInterval;
};

std::ostream& operator<<(std::ostream& out, const Case& c) {
  return out << c.width << "x" << c.height << " channels " << c.channels << " bits " << c.bits << " sampling "
             << static_cast<int>(c.sampling) << " restart " << c.restartInterval;
}

std::vector<Case> cases() {
  std::vector<Case> all;
  for (const auto& [width, height] : {std::pair{1, 1}, {2, 3}, {16, 16}, {17, 33}, {97, 61}, {1100, 24}, {8, 400}}) {
    for (const int bits : {8, 12}) {
      for (const int restart : {0, 1, 5}) {
        for (const Sampling s : {Sampling::s444, Sampling::s422, Sampling::s420, Sampling::s440, Sampling::s411}) {
          all.push_back({width, height, 3, bits, s, restart});
        }
        all.push_back({width, height, 1, bits, Sampling::s420, restart});
      }
    }
  }
  return all;
}

double meanOfLastChannel(const Image& image) {
  const Image bytes = img::withBits(image, 8);
  double sum = 0;
  for (size_t i = bytes.bytes.size(); i > 0; i -= std::min<size_t>(i, 3)) sum += bytes.bytes[i - 1];
  return sum * 3 / static_cast<double>(bytes.bytes.size());
}

class RoundTrip : public testing::TestWithParam<Case> {};
INSTANTIATE_TEST_SUITE_P(All, RoundTrip, testing::ValuesIn(cases()));

// The image comes back, and threads change nothing: neither the bytes of the file nor the pixels.
TEST_P(RoundTrip, KeepsTheImageOnAnyNumberOfThreads) {
  const Case& c = GetParam();
  Image image = img::renderScene(c.width, c.height);
  image = img::withBits(img::withChannels(image, c.channels), c.bits);
  jpeg::EncodeOptions options;
  options.quality = 97;
  options.sampling = c.sampling;
  options.restartInterval = c.restartInterval;
  const Bytes file = encoded(image, options);
  const Image back = decoded(file);
  ASSERT_TRUE(sameShape(image, back));
  // Halved chroma loses what is finer than two pixels, much in so fine a picture.
  const bool halved = c.channels == 3 && c.sampling != Sampling::s444;
  EXPECT_GT(img::psnr(image, back), halved ? 17 : 37);
  if (c.width * c.height > 4000 && c.channels == 3) {
    EXPECT_NEAR(meanOfLastChannel(back), meanOfLastChannel(image), 0.5);
  }
  EXPECT_GT(img::psnr(grey(image), grey(back)), halved ? 31 : 37);

  options.threads = 3;
  EXPECT_EQ(encoded(image, options), file);
  jpeg::DecodeOptions threads;
  threads.threads = 3;
  EXPECT_EQ(decoded(file, threads).bytes, back.bytes);
}

// A reduced image is the image averaged over squares, about.
TEST(ReducedImage, IsNearTheMeans) {
  for (const Sampling sampling : {Sampling::s444, Sampling::s422, Sampling::s420}) {
    for (const int bits : {8, 12}) {
      jpeg::EncodeOptions options;
      options.quality = 95;
      options.sampling = sampling;
      const Image image = img::withBits(img::renderScene(203, 150), bits);
      const Bytes file = encoded(image, options);
      const Image full = img::withBits(decoded(file), 8);
      for (const int scale : {2, 4, 8}) {
        jpeg::DecodeOptions reduced;
        reduced.scale = scale;
        const Image small = img::withBits(decoded(file, reduced), 8);
        ASSERT_EQ(small.width, (203 + scale - 1) / scale);
        ASSERT_EQ(small.height, (150 + scale - 1) / scale);
        Image means;
        img::shape(means, 203 / scale, 150 / scale, 3, 8);
        Image inside = means;
        for (int y = 0; y < means.height; ++y) {
          for (int x = 0; x < 3 * means.width; ++x) {
            int sum = 0;
            for (int i = 0; i < scale * scale; ++i) {
              sum += full.row<uint8_t>(y * scale + i / scale)[3 * (x / 3 * scale + i % scale) + x % 3];
            }
            means.row<uint8_t>(y)[x] = static_cast<uint8_t>(sum / (scale * scale));
            inside.row<uint8_t>(y)[x] = small.row<uint8_t>(y)[x];
          }
        }
        EXPECT_GT(img::psnr(means, inside), 30) << "scale " << scale << ", sampling " << static_cast<int>(sampling);
      }
    }
  }
}

// Counts that grow like Fibonacci numbers make the longest codes there are.
TEST(OptimalTable, CodesEverySymbolWithin16BitsAndNeverAllOnes) {
  Random random(5);
  for (int round = 0; round < 60; ++round) {
    jpeg::SymbolCounts counts;
    uint32_t a = 1, b = 1;
    int used = 0;
    for (int symbol = 0; symbol < 256; ++symbol) {
      if (round % 3 == 0) { // all of them, some very rare
        counts.count[symbol] = 1u << (symbol % 30);
      } else if (round % 3 == 1 && symbol < 40) {
        counts.count[symbol] = a;
        std::swap(a, b);
        b += a;
      } else if (round % 3 == 2 && random.in(0, 9) == 0) {
        counts.count[symbol] = static_cast<uint32_t>(random.in(1, 1000));
      }
      used += counts.count[symbol] > 0;
    }
    const jpeg::HuffmanList list = jpeg::optimalList(counts);
    ASSERT_EQ(jpeg::symbolCount(list), used);
    int code = 0;
    for (const int n : list.bits) code = 2 * code + n;
    EXPECT_LT(code, 1 << 16);
    for (int i = 0; i < used; ++i) EXPECT_GT(counts.count[list.values[i]], 0u);
    ZeliEncodeHuffmanSpec* spec = nullptr;
    ASSERT_EQ(zeliEncodeHuffmanSpecInitAlloc_JPEG_8u(list.bits, list.values, &spec), zelStatusOk);
    zeliEncodeHuffmanSpecFree_JPEG_8u(spec);
  }
}

// In files of all kinds; a profile that takes more than one segment too.
TEST(RoundTrip, Metadata) {
  Image image = img::renderScene(30, 20);
  for (int i = 0; i < 150000; ++i) image.metadata.icc.push_back(static_cast<uint8_t>(i * 7 >> 3));
  image.metadata.exif = {'I', 'I', 42, 0, 8, 0, 0, 0};
  image.metadata.density = {300, 150, img::Density::Unit::inch};
  for (int kind = 0; kind < 4; ++kind) {
    jpeg::EncodeOptions options;
    options.optimize = kind == 1;
    options.progressive = kind == 2;
    options.lossless = kind == 3;
    const img::Metadata back = decoded(encoded(image, options)).metadata;
    EXPECT_EQ(back.icc, image.metadata.icc) << kind;
    EXPECT_EQ(back.exif, image.metadata.exif) << kind;
    if (kind < 3) { // R, G, B have no JFIF segment
      EXPECT_EQ(back.density.x, 300);
      EXPECT_EQ(back.density.y, 150);
      EXPECT_EQ(back.density.unit, img::Density::Unit::inch);
    }
  }
}

} // namespace
} // namespace zelj::test
