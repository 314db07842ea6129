#include "codecs/jpeg2000/support.h"
#include "support/random.h"

namespace zelj::test {
namespace {

j2k::EncodeOptions layered() {
  j2k::EncodeOptions options;
  options.rates = {0.5, 1, 2, 4};
  return options;
}

// A file that is cut anywhere is refused, or shown as far as it goes: the more of it, the better.
TEST(HostileJpeg2000, CutOff) {
  const Image image = made(128, 96, 3, 8);
  const Bytes whole = fileOf(image, layered());
  double last = 0;
  for (size_t part = 1; part < 16; ++part) {
    const Bytes file(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(whole.size() * part / 16));
    Image shown;
    EXPECT_NE(decode(file, {}, shown), "");
    bool damaged = false;
    ASSERT_EQ(decode(file, {.keepGoing = true}, shown, &damaged), "");
    EXPECT_TRUE(damaged);
    ASSERT_TRUE(sameShape(shown, image));
    const double quality = img::psnr(image, shown);
    EXPECT_GT(quality, last - 0.5) << part;
    last = quality;
  }
  EXPECT_GT(last, 30);
}

TEST(HostileJpeg2000, AnyByteChanged) {
  Random random(3);
  j2k::EncodeOptions styled = layered();
  styled.style = j2k::kPredictable | j2k::kSegmentSymbols | j2k::kBypass;
  const Image image = made(40, 33, 3, 8);
  for (const j2k::EncodeOptions& options :
       {layered(), styled, {.tileWidth = 20, .tileHeight = 15, .container = true}}) {
    const Bytes good = fileOf(image, options);
    for (size_t i = 0; i < good.size(); i += i < 200 ? 1 : 7) {
      Bytes bad = good;
      bad[i] = static_cast<uint8_t>(random.bits());
      Image shown;
      for (const bool keepGoing : {false, true}) decode(bad, {.maxPixels = 1 << 16, .keepGoing = keepGoing}, shown);
    }
  }
}

// The checks of blocks find what was changed inside them.
TEST(HostileJpeg2000, SegmentSymbolsTellOfDamage) {
  const Image image = made(64, 64, 1, 8);
  j2k::EncodeOptions options;
  options.style = j2k::kSegmentSymbols;
  options.levels = 0;
  Bytes file = fileOf(image, options);
  for (size_t i = file.size() / 2; i < file.size() / 2 + 8; ++i) file[i] ^= 0x55;
  Image shown;
  EXPECT_NE(decode(file, {}, shown), "");
  bool damaged = false;
  EXPECT_EQ(decode(file, {.keepGoing = true}, shown, &damaged), "");
  EXPECT_TRUE(damaged);
}

TEST(HostileJpeg2000, HeadersThatCannotBe) {
  const Bytes good = fileOf(made(16, 16, 3, 8), j2k::EncodeOptions());
  const auto refused = [&](size_t at, std::initializer_list<uint8_t> bytes) {
    Bytes bad = good;
    std::copy(bytes.begin(), bytes.end(), bad.begin() + static_cast<ptrdiff_t>(at));
    Image shown;
    const std::string message = decode(bad, {.keepGoing = true}, shown);
    EXPECT_NE(message, "") << "bytes at " << at;
    return message;
  };
  refused(8, {0xFF, 0xFF, 0xFF, 0xFF});  // width
  refused(8, {0, 0, 0, 0});              // ... none
  refused(24, {0, 0, 0, 0});             // width of tiles
  refused(32, {0x7F, 0xFF, 0xFF, 0xFF}); // place of tiles
  refused(40, {0xFF, 0xFF});             // components
  refused(42, {0x9F});                   // 32 bits
  refused(43, {0});                      // subsampling
  EXPECT_NE(refused(6, {0x40}).find("high-throughput"), std::string::npos);
  // The coding style: order, layers, levels, blocks, wavelet.
  const size_t cod = 51;
  ASSERT_EQ(good[cod], 0xFF);
  ASSERT_EQ(good[cod + 1], 0x52);
  refused(cod + 5, {7});
  refused(cod + 6, {0, 0});
  refused(cod + 9, {40});
  refused(cod + 10, {9});
  refused(cod + 13, {2});
  EXPECT_NE(refused(cod, {0xFF, 0x5E}).find("regions of interest"), std::string::npos);
}

} // namespace
} // namespace zelj::test
