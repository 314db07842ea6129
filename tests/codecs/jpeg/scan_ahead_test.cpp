// Scans that are decoded in pieces from guesses: what is decoded from the beginning on must come out, whatever happens.
#include "jpeg/scan_ahead.h"

#include "jpeg/markers.h"
#include "support/images.h"
#include "support/random.h"

namespace zelj::test {
namespace {

using jpeg::Block;

// A file, or a pipe that gives a little at a time.
class Stream : public img::Input {
 public:
  Stream(const Bytes& bytes, bool pipe) : bytes_(bytes), pipe_(pipe) {}
  img::Error read(uint8_t* bytes, size_t count, size_t& got) override {
    got = std::min({count, pipe_ ? size_t{5000} : SIZE_MAX, bytes_.size() - at_});
    std::copy_n(bytes_.begin() + static_cast<ptrdiff_t>(at_), got, bytes);
    at_ += got;
    return {};
  }
  std::optional<uint64_t> size() const override {
    return pipe_ ? std::nullopt : std::optional<uint64_t>(bytes_.size());
  }

 private:
  const Bytes& bytes_;
  const bool pipe_;
  size_t at_ = 0;
};

// The scan of a file, at its beginning.
struct Opened {
  img::ByteSource source;
  jpeg::Damage damage{true};
  jpeg::Header header;
  jpeg::Scan scan;
  jpeg::TablesOfScan tables{};

  template <class T>
  explicit Opened(T&& bytes) : source(bytes) {
    jpeg::MarkerReader markers(source);
    jpeg::ScanHeader scanHeader;
    EXPECT_FALSE(jpeg::readStart(source));
    EXPECT_FALSE(jpeg::readToScan(markers, header, scanHeader, damage));
    scan = layOutScan(header.frame, scanHeader.components);
    for (const int c : scanHeader.components) {
      tables.dc[c] = header.dc[scanHeader.dcTable[c]].get();
      tables.ac[c] = header.ac[scanHeader.acTable[c]].get();
    }
  }
};

std::vector<Block> inOrder(const Bytes& file) {
  Opened opened{img::ByteSpan(file)};
  jpeg::ScanReader reader(opened.source, opened.scan, opened.tables, 0, opened.damage);
  std::vector<Block> blocks(static_cast<size_t>(opened.scan.mcuCount()) * opened.scan.mcu.size());
  EXPECT_FALSE(reader.read(static_cast<int>(opened.scan.mcuCount()), blocks.data()));
  return blocks;
}

bool same(const Block* a, const Block* b, size_t count) {
  return count == 0 || std::memcmp(a, b, count * sizeof(Block)) == 0;
}

// Reads ahead as far as that goes and on from there; returns how many MCUs were guessed, as a part of all.
template <class T>
double readAhead(T&& bytes, int threads, const std::vector<Block>& expected) {
  Opened opened{bytes};
  const size_t blocksOfMcu = opened.scan.mcu.size();
  jpeg::ScanAhead ahead(opened.source, opened.scan, opened.tables, threads);
  int64_t next = 0, guessed = 0;
  EXPECT_FALSE(ahead.run([&](int64_t mcu, int64_t count, const Block* blocks, int thread) {
    EXPECT_EQ(mcu, next);
    EXPECT_TRUE(thread >= 0 && thread < threads);
    const Block* wanted = expected.data() + static_cast<size_t>(mcu) * blocksOfMcu;
    EXPECT_TRUE(same(blocks, wanted, static_cast<size_t>(count) * blocksOfMcu)) << mcu;
    next = mcu + count;
    guessed += count > 1 ? count : 0;
    return true;
  }));
  EXPECT_EQ(ahead.mcu(), next);
  const auto left = static_cast<size_t>(opened.scan.mcuCount() - next) * blocksOfMcu;
  jpeg::ScanReader reader(opened.source, opened.scan, opened.tables, 0, opened.damage);
  reader.resume(ahead.mcu(), ahead.place());
  std::vector<Block> rest(left);
  EXPECT_FALSE(reader.read(static_cast<int>(opened.scan.mcuCount() - next), rest.data()));
  EXPECT_TRUE(same(rest.data(), expected.data() + (expected.size() - left), left));
  return static_cast<double>(guessed) / static_cast<double>(opened.scan.mcuCount());
}

Image noise(int width, int height) {
  Image image = img::renderScene(8, 8);
  image.width = width;
  image.height = height;
  image.bytes.resize(image.rowBytes() * static_cast<size_t>(height));
  Random random(1);
  for (uint8_t& sample : image.bytes) sample = static_cast<uint8_t>(random.in(0, 255));
  return image;
}

TEST(ScanAhead, GuessesAlmostAllOfAPicture) {
  const Image scene = img::renderScene(1000, 700);
  const struct {
    Image image;
    jpeg::Sampling sampling;
    int quality;
  } cases[] = {{scene, jpeg::Sampling::s420, 75},
               {scene, jpeg::Sampling::s444, 90},
               {img::withBits(scene, 12), jpeg::Sampling::s422, 90},
               {grey(scene), jpeg::Sampling::s444, 75},
               {noise(1500, 1200), jpeg::Sampling::s444, 100}}; // longer than the window
  for (const auto& c : cases) {
    jpeg::EncodeOptions options;
    options.quality = c.quality;
    options.sampling = c.sampling;
    const Bytes file = encoded(c.image, options);
    const std::vector<Block> expected = inOrder(file);
    EXPECT_GT(readAhead(img::ByteSpan(file), 1, expected), 0.8);
    for (const bool pipe : {false, true}) {
      Stream stream(file, pipe);
      EXPECT_GT(readAhead(stream, pipe ? 3 : 2, expected), 0.8) << pipe;
    }
  }
}

// Restart intervals of files that are longer than what is in memory at a time, and groups of them that are.
TEST(ScanAhead, TakesIntervalsAsTheyComeIn) {
  const struct {
    int width, height, restart; // in MCUs
  } cases[] = {{1500, 1200, 188}, {30000, 136, 8 * 3750}};
  for (const auto& c : cases) {
    const Image image = noise(c.width, c.height);
    jpeg::EncodeOptions options;
    options.quality = 100;
    options.sampling = jpeg::Sampling::s444;
    options.restartInterval = c.restart;
    const Bytes file = encoded(image, options);
    const Image expected = decoded(file);
    for (const bool pipe : {false, true}) {
      Stream stream(file, pipe);
      img::ByteSource source(stream);
      jpeg::DecodeOptions reading;
      reading.threads = 2;
      std::unique_ptr<img::RowReader> reader;
      ASSERT_FALSE(jpeg::openReader(source, reading, reader));
      Image back = expected;
      std::fill(back.bytes.begin(), back.bytes.end(), uint8_t{0});
      img::ImageWriter writer(back);
      ASSERT_FALSE(img::copyRows(*reader, writer, 2));
      ASSERT_EQ(back.bytes, expected.bytes);
      ASSERT_TRUE(reader->remarks().empty());
    }
  }
}

// Where all blocks are the same nobody knows which is which.
TEST(ScanAhead, EndsWhereGuessesFail) {
  Image image = noise(2000, 1600);
  std::fill(image.bytes.begin() + static_cast<ptrdiff_t>(image.bytes.size() / 8), image.bytes.end(), uint8_t{99});
  const Bytes file = encoded(image, {});
  EXPECT_LT(readAhead(img::ByteSpan(file), 2, inOrder(file)), 0.5);
}

// With restart intervals, too: of each that is damaged, and of what comes behind one that is missing.
TEST(ScanAhead, LeavesDamageToTheReader) {
  Random random(2);
  for (const int restart : {0, 20, 40, 80, 13, 4000}) {
    jpeg::EncodeOptions writing;
    writing.restartInterval = restart;
    const Bytes whole = encoded(img::renderScene(640, 480), writing);
    for (int round = 0; round < 30; ++round) {
      Bytes file = whole;
      for (int i = random.in(1, 3); i > 0; --i) {
        file[static_cast<size_t>(random.in(700, static_cast<int>(file.size()) - 1))] =
            static_cast<uint8_t>(random.oneOf({0, 0xFF, 0xD3, 0xD9, random.in(0, 255)}));
      }
      if (round % 4 == 0) file.resize(static_cast<size_t>(random.in(700, static_cast<int>(file.size()))));
      if (!restart) readAhead(img::ByteSpan(file), 2, inOrder(file));
      jpeg::DecodeOptions options;
      options.keepGoing = true;
      Image image, again;
      std::string damage, damageAgain;
      ASSERT_FALSE(jpeg::decode(file, options, image, damage));
      options.threads = 2;
      ASSERT_FALSE(jpeg::decode(file, options, again, damageAgain));
      ASSERT_EQ(image.bytes, again.bytes) << restart << " " << round;
      ASSERT_EQ(restart ? damage.empty() : damage == damageAgain, restart ? damageAgain.empty() : true);
    }
  }
}

} // namespace
} // namespace zelj::test
