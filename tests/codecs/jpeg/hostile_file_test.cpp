// Files that are cut off, damaged or made to do harm: a message, never a crash, an endless loop or much memory.
#include "support/images.h"
#include "support/random.h"

namespace zelj::test {
namespace {

jpeg::Error decodeQuietly(const Bytes& file, bool keepGoing, Image& image, std::string& damage, int threads = 1) {
  jpeg::DecodeOptions options;
  options.keepGoing = keepGoing;
  options.threads = threads;
  options.maxPixels = 1 << 20;
  return jpeg::decode(file, options, image, damage);
}

Bytes smallFile(int restartInterval) {
  jpeg::EncodeOptions options;
  options.restartInterval = restartInterval;
  return encoded(img::renderScene(70, 50), options);
}

// The position of the body of the first segment of a kind.
size_t segmentOf(const Bytes& file, int marker) {
  size_t at = 2;
  while (file[at + 1] != marker) at += 2 + static_cast<size_t>(file[at + 2] << 8 | file[at + 3]);
  return at + 4;
}

TEST(HostileFile, CutOffAnywhere) {
  for (const int restart : {0, 3}) {
    const Bytes whole = smallFile(restart);
    const size_t scan = segmentOf(whole, 0xDA);
    for (size_t length = 0; length < whole.size(); ++length) {
      const Bytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
      const int threads = length % 16 == 0 ? 2 : 1;
      Image image;
      std::string damage;
      // Only padding and the marker of the end may be missed without a word.
      const bool whollyThere = !decodeQuietly(cut, false, image, damage, threads);
      ASSERT_TRUE(length + 3 >= whole.size() ? !whollyThere || image.bytes == decoded(whole).bytes : !whollyThere);
      ASSERT_TRUE(whollyThere || length + 2 != whole.size());
      const bool kept = !decodeQuietly(cut, true, image, damage, threads);
      ASSERT_EQ(kept, length >= scan + 10) << length;
      if (kept) {
        ASSERT_TRUE(image.width == 70 && image.height == 50);
        ASSERT_EQ(damage.empty(), whollyThere);
      }
    }
  }
}

TEST(HostileFile, DamagedAnywhere) {
  Random random(3);
  const Bytes inOnePiece = smallFile(0), inIntervals = smallFile(2);
  for (int round = 0; round < 4000; ++round) {
    Bytes file = round % 3 == 0 ? inOnePiece : inIntervals;
    for (int i = random.in(1, 4); i > 0; --i) {
      file[static_cast<size_t>(random.in(0, static_cast<int>(file.size()) - 1))] =
          static_cast<uint8_t>(random.oneOf({0, 0xFF, 0xD3, 0xD9, random.in(0, 255)}));
    }
    Image image;
    std::string damage;
    for (const bool keepGoing : {false, true}) {
      if (decodeQuietly(file, keepGoing, image, damage, round % 16 == 0 ? 2 : 1)) continue;
      ASSERT_EQ(image.bytes.size(), image.rowBytes() * static_cast<size_t>(image.height));
      ASSERT_TRUE(keepGoing || damage.empty());
    }
  }
}

// A lost restart interval, a lost marker and damage inside an interval cost the blocks concerned and no others.
TEST(HostileFile, DamageStaysInItsRestartInterval) {
  const Image scene = img::renderScene(64, 64);
  jpeg::EncodeOptions options;
  options.restartInterval = 4; // a row of MCUs
  const Bytes whole = encoded(scene, options);
  const Image good = decoded(whole);
  std::vector<size_t> restarts;
  for (size_t i = segmentOf(whole, 0xDA); i + 1 < whole.size(); ++i) {
    if (whole[i] == 0xFF && (whole[i + 1] & 0xF8) == 0xD0) restarts.push_back(i);
  }
  ASSERT_EQ(restarts.size(), 3u);
  const auto position = [&](size_t i) { return whole.begin() + static_cast<ptrdiff_t>(i); };

  Bytes lostInterval(whole.begin(), position(restarts[0]));
  lostInterval.insert(lostInterval.end(), position(restarts[1]), whole.end());
  Bytes garbage = whole;
  std::fill(garbage.begin() + static_cast<ptrdiff_t>(restarts[0]) + 2,
            garbage.begin() + static_cast<ptrdiff_t>(restarts[1]), 0xFE);
  Bytes wrongNumber = whole;
  wrongNumber[restarts[1] + 1] = 0xD6;

  const struct {
    const Bytes& file;
    int firstBad, lastBad; // rows, chroma of the neighbours included
  } cases[] = {{lostInterval, 15, 32}, {garbage, 15, 32}, {wrongNumber, -1, -1}};
  for (const auto& c : cases) {
    for (const int threads : {1, 2}) {
      Image image;
      std::string damage;
      EXPECT_TRUE(decodeQuietly(c.file, false, image, damage, threads));
      ASSERT_FALSE(decodeQuietly(c.file, true, image, damage, threads));
      EXPECT_NE(damage, "");
      for (int y = 0; y < 64; ++y) {
        if (y >= c.firstBad && y <= c.lastBad) continue;
        ASSERT_TRUE(std::equal(image.row<uint8_t>(y), image.row<uint8_t>(y) + 192, good.row<uint8_t>(y))) << y;
      }
    }
  }
}

TEST(HostileFile, BadHeadersAreNamed) {
  const Bytes good = smallFile(0);
  const size_t frame = segmentOf(good, 0xC0), scan = segmentOf(good, 0xDA), dqt = segmentOf(good, 0xDB),
               dht = segmentOf(good, 0xC4);
  const struct {
    std::vector<std::pair<size_t, int>> changes;
    const char* message;
  } cases[] = {
      {{{0, 0x89}}, "not a JPEG file"},
      {{{frame - 3, 0xC2}}, "a scan of bad coefficients (0 to 63)"},
      {{{frame - 3, 0xC3}}, "bad scan header"},
      {{{frame - 3, 0xC9}}, "arithmetic-coded files are not supported"},
      {{{frame, 12}}, "12 bits a sample are not supported"}, // in a baseline frame
      {{{frame, 16}, {frame - 3, 0xC1}}, "16 bits a sample are not supported"},
      {{{frame + 1, 0}, {frame + 2, 0}}, "DNL"},
      {{{frame + 3, 0}, {frame + 4, 0}}, "empty"},
      {{{frame + 1, 0xFF}, {frame + 2, 0xFF}, {frame + 3, 0xFF}, {frame + 4, 0xFF}}, "more than the limit"},
      {{{frame + 1, 2}, {frame + 3, 2}}, "too short for"},
      {{{frame + 5, 4}}, "bad frame header"},    // a component more than the segment holds
      {{{frame + 7, 0x52}}, "bad frame header"}, // a sampling factor of 5
      {{{frame + 7, 0x20}}, "bad frame header"},
      {{{frame + 7, 0x44}}, "more than 10 blocks"},
      {{{frame + 8, 3}}, "quantisation table is missing"},
      {{{scan, 4}}, "bad scan header"},
      {{{scan + 1, 9}}, "unknown component"},
      {{{scan + 2, 0x22}}, "Huffman table is missing"},
      {{{scan + 1, 2}, {scan + 3, 1}}, "out of order"},
      {{{dqt, 0x14}}, "bad quantisation table"},
      {{{dqt + 5, 0}}, "holds a zero"},
      {{{dht, 0x20}}, "bad Huffman table"},
      {{{dht + 1, 3}}, "bad Huffman table"},   // three codes of one bit
      {{{dht + 20, 99}}, "bad Huffman table"}, // a DC category above 15
      {{{dht - 2, 0xFF}}, "leads out of the file"},
      {{{scan - 3, 0xD9}}, "holds no image"},
      {{{scan + 10, 0xFF}, {scan + 11, 0xD5}}, "damaged or missing data"},
  };
  for (const auto& c : cases) {
    Bytes file = good;
    for (const auto& [at, value] : c.changes) file[at] = static_cast<uint8_t>(value);
    Image image;
    std::string damage;
    const jpeg::Error error = decodeQuietly(file, false, image, damage);
    EXPECT_NE(error.message.find(c.message), std::string::npos) << c.message << " expected, not: " << error.message;
  }
}

// A frame of the greatest size in a file of a few hundred bytes must not make anybody reserve gigabytes.
TEST(HostileFile, ClaimsAreHeldAgainstTheLengthOfTheFile) {
  Bytes file = smallFile(0);
  const size_t frame = segmentOf(file, 0xC0);
  std::fill_n(file.begin() + static_cast<ptrdiff_t>(frame) + 1, 4, uint8_t{0xFF});
  for (const bool keepGoing : {false, true}) {
    jpeg::DecodeOptions options;
    options.maxPixels = INT64_MAX;
    options.keepGoing = keepGoing;
    Image image;
    std::string damage;
    EXPECT_TRUE(jpeg::decode(file, options, image, damage));
    EXPECT_EQ(image.bytes.capacity(), 0u);
  }
}

} // namespace
} // namespace zelj::test
