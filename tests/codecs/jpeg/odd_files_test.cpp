// Files that are odd but whole, and what is saved of damaged ones.
#include "support/images.h"

namespace zelj::test {
namespace {

// The position of the first marker of a kind.
size_t markerAt(const Bytes& file, int marker) {
  size_t at = 2;
  while (file[at + 1] != marker) at += 2 + static_cast<size_t>(file[at + 2] << 8 | file[at + 3]);
  return at;
}

Image decodedWithRemarks(const Bytes& file, std::vector<std::string>& remarks, bool& damaged, bool keepGoing = false,
                         int threads = 1) {
  jpeg::DecodeOptions options;
  options.keepGoing = keepGoing;
  options.threads = threads;
  img::ByteSource source(file);
  std::unique_ptr<img::RowReader> reader;
  Image image;
  EXPECT_EQ(jpeg::openReader(source, options, reader).message, "");
  if (!reader) return image;
  img::shape(image, reader->picture());
  img::ImageWriter writer(image);
  EXPECT_EQ(img::copyRows(*reader, writer, threads).message, "");
  remarks = reader->remarks();
  damaged = reader->damaged();
  return image;
}

TEST(OddFile, StrayBytesAndAMissingEndAreRemarks) {
  jpeg::EncodeOptions options;
  options.restartInterval = 2;
  const Bytes whole = encoded(img::renderScene(70, 50), options);
  const Image good = decoded(whole);
  const Bytes stray = {0x12, 0x34, 0x56};
  size_t restart = markerAt(whole, 0xDA);
  while (whole[restart] != 0xFF || whole[restart + 1] != 0xD1) ++restart;
  std::vector<Bytes> files;
  for (const size_t at : {markerAt(whole, 0xDB), restart, whole.size() - 2}) {
    Bytes file = whole;
    file.insert(file.begin() + static_cast<ptrdiff_t>(at), stray.begin(), stray.end());
    files.push_back(file);
  }
  files.emplace_back(whole.begin(), whole.end() - 2);
  for (const Bytes& file : files) {
    for (const int threads : {1, 2}) {
      std::vector<std::string> remarks;
      bool damaged = true;
      EXPECT_EQ(decodedWithRemarks(file, remarks, damaged, false, threads).bytes, good.bytes);
      EXPECT_FALSE(damaged);
      EXPECT_EQ(remarks.size(), 1u);
    }
  }
}

TEST(OddFile, WithoutHuffmanTablesMeansTheTypicalOnes) {
  const Bytes whole = encoded(img::renderScene(40, 30), {});
  const Image good = decoded(whole);
  Bytes file = whole;
  for (int table = 0; table < 4; ++table) {
    const auto begin = file.begin() + static_cast<ptrdiff_t>(markerAt(file, 0xC4));
    file.erase(begin, begin + 2 + (begin[2] << 8 | begin[3]));
  }
  EXPECT_LT(file.size(), whole.size() - 400);
  EXPECT_EQ(decoded(file).bytes, good.bytes);
}

TEST(OddFile, JfifRulesOverAnAdobeSegment) {
  Bytes file = encoded(img::renderScene(40, 30), {});
  const Image good = decoded(file);
  const Bytes adobe = {0xFF, 0xEE, 0, 14, 'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, 0};
  file.insert(file.begin() + static_cast<ptrdiff_t>(markerAt(file, 0xDB)), adobe.begin(), adobe.end());
  EXPECT_EQ(decoded(file).bytes, good.bytes);
  file.erase(file.begin() + 2, file.begin() + 20); // without JFIF its word counts: R, G, B as they are
  EXPECT_NE(decoded(file).bytes, good.bytes);
}

TEST(OddFile, ComponentsOfOneNameAreTakenInTheirOrder) {
  Bytes file = encoded(img::renderScene(40, 30), {});
  const Image good = decoded(file);
  const size_t frame = markerAt(file, 0xC0), scan = markerAt(file, 0xDA);
  for (size_t c = 0; c < 3; ++c) file[frame + 10 + 3 * c] = file[scan + 5 + 2 * c] = 7;
  const Bytes noLength = {0xFF, 0xE5, 0, 1}; // a segment that others pass over
  file.insert(file.begin() + 2, noLength.begin(), noLength.end());
  EXPECT_EQ(decoded(file).bytes, good.bytes);
}

// At 1/8 the samples are the rounded means, no darker on average.
TEST(OddFile, TheSmallestReductionIsAsBrightAsTheImage) {
  for (const char* kind : {"grey", "colour"}) {
    const Image scene = img::withChannels(img::renderScene(256, 256), kind[0] == 'g' ? 1 : 3);
    jpeg::EncodeOptions options;
    options.quality = 95;
    const Bytes file = encoded(scene, options);
    jpeg::DecodeOptions eighth;
    eighth.scale = 8;
    const auto mean = [](const Image& image) {
      double sum = 0;
      for (const uint8_t v : image.bytes) sum += v;
      return sum / static_cast<double>(image.bytes.size());
    };
    EXPECT_NEAR(mean(decoded(file, eighth)), mean(decoded(file)), 0.3) << kind;
  }
}

// One byte that is wrong in a scan costs little: codes fall into step again, intervals are found again.
TEST(DamagedScan, GoesOnBehindTheDamage) {
  const Image scene = img::renderScene(192, 128);
  for (const int restart : {0, 4, 12}) { // 12: a row of MCUs
    jpeg::EncodeOptions options;
    options.restartInterval = restart;
    const Bytes whole = encoded(scene, options);
    const Image good = decoded(whole);
    const size_t begin = markerAt(whole, 0xDA) + 20;
    std::vector<double> kept;
    for (size_t at = begin; at + 40 < whole.size(); at += (whole.size() - begin) / 24) {
      for (const int value : {whole[at] ^ 0x10, 0xFF}) {
        Bytes file = whole;
        file[at] = static_cast<uint8_t>(value);
        if (value == 0xFF) file[at + 1] = 0xC7; // a marker that cannot be meant
        std::vector<std::string> remarks;
        bool damaged = false;
        const Image one = decodedWithRemarks(file, remarks, damaged, true, 1);
        kept.push_back(img::psnr(good, one));
        EXPECT_EQ(one.bytes, decodedWithRemarks(file, remarks, damaged, true, 3).bytes) << at;
      }
    }
    std::sort(kept.begin(), kept.end());
    EXPECT_GT(kept[kept.size() / 2], restart ? 25 : 17) << restart;
  }
}

// A number of a restart marker that is wrong, whatever it is, costs nothing: the marker behind it tells.
TEST(DamagedScan, AWrongRestartNumberIsSeenThrough) {
  jpeg::EncodeOptions options;
  options.restartInterval = 12;
  const Bytes whole = encoded(img::renderScene(192, 128), options);
  const Image good = decoded(whole);
  size_t marker = markerAt(whole, 0xDA) + 20;
  while (whole[marker] != 0xFF || whole[marker + 1] != 0xD2) ++marker;
  for (int number = 0; number < 8; ++number) {
    Bytes file = whole;
    file[marker + 1] = static_cast<uint8_t>(0xD0 + number);
    std::vector<std::string> remarks;
    bool damaged = false;
    EXPECT_EQ(decodedWithRemarks(file, remarks, damaged, true).bytes, good.bytes) << number;
    EXPECT_EQ(damaged, number != 2);
  }
}

} // namespace
} // namespace zelj::test
