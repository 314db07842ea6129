// What all codecs share: the source's window, the pipeline, conversions of rows.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <stdexcept>

#include "common/convert.h"
#include "common/image.h"
#include "common/layout.h"
#include "common/orient.h"
#include "common/source.h"
#include "common/workers.h"

namespace zelj::test {
namespace {

// Gives a few bytes at a time, as a network does.
class Trickle : public img::Input {
 public:
  Trickle(const img::Bytes& bytes, size_t most, bool knowsSize) : bytes_(bytes), most_(most), knowsSize_(knowsSize) {}
  img::Error read(uint8_t* bytes, size_t count, size_t& got) override {
    got = std::min({count, most_, bytes_.size() - at_});
    std::copy_n(bytes_.begin() + static_cast<ptrdiff_t>(at_), got, bytes);
    at_ += got;
    return {};
  }
  std::optional<uint64_t> size() const override {
    return knowsSize_ ? std::optional<uint64_t>(bytes_.size()) : std::nullopt;
  }
  img::Error seek(uint64_t position) override {
    at_ = position;
    return {};
  }

 private:
  const img::Bytes& bytes_;
  const size_t most_;
  const bool knowsSize_;
  size_t at_ = 0;
};

img::Bytes numbered(size_t count) {
  img::Bytes bytes(count);
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
  return bytes;
}

TEST(ByteSource, ShowsEveryByteInItsPlace) {
  const img::Bytes bytes = numbered(300000);
  for (const bool knowsSize : {false, true}) {
    Trickle input(bytes, 4099, knowsSize);
    img::ByteSource source(input);
    ASSERT_FALSE(source.keepForSeeking());
    size_t position = 0;
    for (const size_t step : {1u, 70000u, 3u, 130000u, 0u, 99990u}) {
      ASSERT_FALSE(source.fill(step + 5));
      ASSERT_EQ(source.position(), position);
      const size_t seen = std::min(source.visible().size(), step + 5);
      ASSERT_TRUE(std::equal(source.visible().begin(), source.visible().begin() + static_cast<ptrdiff_t>(seen),
                             bytes.begin() + static_cast<ptrdiff_t>(position)));
      source.skip(step);
      position += step;
    }
    ASSERT_FALSE(source.fill(1000)); // beyond the end
    EXPECT_EQ(source.visible().size(), 6u);
    EXPECT_TRUE(source.ended());
    for (const uint64_t place : {uint64_t{12}, uint64_t{299999}, uint64_t{150000}}) {
      ASSERT_FALSE(source.seek(place));
      uint8_t byte = 0;
      size_t got = 0;
      ASSERT_FALSE(source.read(&byte, 1, got));
      EXPECT_EQ(byte, bytes[place]);
    }
    EXPECT_EQ(bool(source.seek(400000)), !knowsSize);
  }
}

TEST(Pipeline, KeepsTheOrderOfTheFirstAndTheLastStep) {
  for (const int threads : {1, 2, 5}) {
    for (const bool early : {false, true}) {
      int64_t begun = 0, ended = 0;
      std::vector<int> held(static_cast<size_t>(threads * img::Pipeline::kSlotsOfThread), -1);
      std::atomic<int> worked{0};
      img::Pipeline pipeline;
      pipeline.items = 500;
      pipeline.beginsEarly = early;
      pipeline.begin = [&](int64_t item, int slot) {
        held[static_cast<size_t>(slot)] = static_cast<int>(item);
        return item == begun++;
      };
      pipeline.work = [&](int64_t item, int slot) {
        worked += held[static_cast<size_t>(slot)] == item;
        return true;
      };
      pipeline.end = [&](int64_t item, int slot) { return item == ended++ && held[static_cast<size_t>(slot)] == item; };
      img::run(pipeline, threads);
      EXPECT_EQ(begun, 500);
      EXPECT_EQ(ended, 500);
      EXPECT_EQ(worked, 500);
    }
  }
}

// A failure in any step of any thread ends the work, and what was thrown arrives.
TEST(Pipeline, EndsWithTheFirstFailure) {
  for (int failing = 0; failing < 6; ++failing) {
    int64_t ended = 0;
    const auto step = [failing](int which) {
      return [=](int64_t item, int) {
        if (item == 20 && failing % 3 == which) {
          if (failing >= 3) throw std::runtime_error("no more");
          return false;
        }
        return true;
      };
    };
    img::Pipeline pipeline;
    pipeline.items = 1000000;
    pipeline.begin = step(0);
    pipeline.work = step(1);
    pipeline.end = [&, last = step(2)](int64_t item, int slot) { return last(item, slot) && ++ended; };
    if (failing >= 3)
      EXPECT_THROW(img::run(pipeline, 3), std::runtime_error);
    else
      img::run(pipeline, 3);
    EXPECT_LE(ended, 20);
  }
}

img::Image onePixel(img::Colour colour, bool alpha, int bits, std::vector<uint16_t> samples) {
  img::Picture picture;
  picture.width = picture.height = 1;
  picture.colour = colour;
  picture.alpha = alpha;
  picture.bits = bits;
  img::Image image;
  img::shape(image, picture);
  for (size_t i = 0; i < samples.size(); ++i) {
    if (bits > 8)
      image.row<uint16_t>(0)[i] = samples[i];
    else
      image.bytes[i] = static_cast<uint8_t>(samples[i]);
  }
  return image;
}

TEST(Converted, RowsOfEveryKind) {
  using enum img::Colour;
  const img::Background blue{0, 0, 1};
  const struct {
    img::Image from, to;
  } cases[] = {
      {onePixel(grey, false, 8, {200}), onePixel(rgb, false, 8, {200, 200, 200})},
      {onePixel(rgb, false, 8, {255, 0, 0}), onePixel(grey, false, 8, {76})},
      {onePixel(rgb, false, 16, {65535, 65535, 65535}), onePixel(grey, false, 16, {65535})},
      {onePixel(grey, false, 8, {255}), onePixel(grey, false, 12, {4095})},
      {onePixel(grey, false, 16, {32768}), onePixel(grey, false, 8, {128})},
      {onePixel(grey, false, 1, {1}), onePixel(grey, false, 8, {255})},
      {onePixel(rgb, true, 8, {255, 100, 0, 0}), onePixel(rgb, false, 8, {0, 0, 255})},
      {onePixel(rgb, true, 8, {255, 100, 0, 255}), onePixel(rgb, false, 8, {255, 100, 0})},
      {onePixel(rgb, true, 8, {255, 100, 0, 51}), onePixel(rgb, false, 8, {51, 20, 204})},
      {onePixel(grey, true, 8, {100, 0}), onePixel(grey, false, 8, {29})}, // the luminance of the background
      {onePixel(rgb, false, 8, {1, 2, 3}), onePixel(rgb, true, 8, {1, 2, 3, 255})},
      {onePixel(grey, true, 8, {9, 77}), onePixel(rgb, true, 8, {9, 9, 9, 77})},
      {onePixel(cmyk, false, 8, {255, 0, 51, 0}), onePixel(rgb, false, 8, {0, 255, 204})},
      {onePixel(cmyk, false, 8, {0, 0, 0, 255}), onePixel(grey, false, 8, {0})},
      {onePixel(rgb, false, 8, {10, 20, 30}), onePixel(cmyk, false, 8, {245, 235, 225, 0})},
  };
  for (const auto& c : cases) {
    img::Image result;
    ASSERT_FALSE(readAll(*converted(std::make_unique<img::ImageReader>(c.from), c.to, blue), result));
    EXPECT_EQ(result.bytes, c.to.bytes) << &c - cases;
  }
}

// A wide row, and its pixels one by one or pair by pair, which may round Y, Cb, Cr otherwise.
TEST(Layout, WideRowsAsTheirPixels) {
  using img::Layout;
  constexpr int kWidth = 9001;
  for (const Layout layout : {Layout::bgr, Layout::rgbx, Layout::rgb555, Layout::bgr565, Layout::ycc, Layout::yuyv}) {
    img::Picture picture;
    picture.colour = img::Colour::rgb;
    picture.layout = layout;
    const auto bytesOf = [&](int width) {
      picture.width = width;
      return picture.rowBytes();
    };
    img::Bytes row(bytesOf(kWidth)), whole(3 * kWidth), back(row.size());
    uint32_t v = 1;
    for (uint8_t& byte : row) byte = static_cast<uint8_t>((v = v * 1664525 + 1013904223) >> 24);
    img::toUsual(layout, row.data(), kWidth, whole.data());
    const int step = layout == Layout::yuyv ? 2 : 1;
    const auto isNear = [=](int a, int b) { return std::abs(a - b) <= (layout >= Layout::ycc); };
    for (int x = 0; x < kWidth; x += step) {
      uint8_t pixels[6];
      const int count = std::min(step, kWidth - x);
      img::toUsual(layout, row.data() + bytesOf(x), count, pixels);
      ASSERT_TRUE(std::equal(pixels, pixels + 3 * count, whole.begin() + 3 * x, isNear)) << int(layout) << " at " << x;
    }
    if (layout == Layout::yuyv) continue;
    img::fromUsual(layout, whole.data(), kWidth, back.data());
    for (int x = 0; x < kWidth; ++x) {
      uint8_t pixel[4];
      img::fromUsual(layout, whole.data() + 3 * x, 1, pixel);
      ASSERT_TRUE(std::equal(pixel, pixel + bytesOf(1), back.data() + bytesOf(x), isNear))
          << int(layout) << " at " << x;
    }
  }
}

// 5 and 6 bits to 8 by the nearest value.
TEST(Layout, PackedPixels) {
  for (int level = 0; level < 64; ++level) {
    const int five = level / 2, pixel = five | level << 5 | (31 - five) << 11;
    const uint8_t packed[2] = {static_cast<uint8_t>(pixel), static_cast<uint8_t>(pixel >> 8)};
    uint8_t rgb[3], back[2];
    img::toUsual(img::Layout::rgb565, packed, 1, rgb);
    EXPECT_EQ(rgb[0], std::lround(five * 255 / 31.0));
    EXPECT_EQ(rgb[1], std::lround(level * 255 / 63.0));
    EXPECT_EQ(rgb[2], std::lround((31 - five) * 255 / 31.0));
    img::fromUsual(img::Layout::rgb565, rgb, 1, back);
    EXPECT_TRUE(back[0] == packed[0] && back[1] == packed[1]);
  }
}

// 1 2 3 over 4 5 6, as each orientation has it seen; and EXIF then says that it is so.
TEST(Orientation, TurnsAndMirrors) {
  const char* const kSeen[] = {"123456", "321654", "654321", "456123", "142536", "415263", "635241", "362514"};
  img::Image image;
  img::shape(image, 3, 2, 1, 8);
  image.bytes = {'1', '2', '3', '4', '5', '6'};
  image.metadata.density = {100, 200, img::Density::Unit::inch};
  for (int orientation = 0; orientation <= 9; ++orientation) {
    const auto value = static_cast<uint8_t>(orientation);
    const img::Bytes intel = {'I', 'I', 42, 0, 8, 0,    0, 0, 2, 0, 0x0F, 1, 2, 0,     1, 0, 0,
                              0,   'a', 0,  0, 0, 0x12, 1, 3, 0, 1, 0,    0, 0, value, 0, 0, 0};
    const img::Bytes motorola = {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0x12, 0, 3, 0, 0, 0, 1, 0, value, 0, 0};
    for (const img::Bytes& exif : {intel, motorola}) {
      image.metadata.exif = exif;
      const bool turned = orientation >= 5 && orientation <= 8, sound = orientation >= 1 && orientation <= 8;
      img::Image seen;
      ASSERT_FALSE(img::readAll(*img::oriented(std::make_unique<img::ImageReader>(image)), seen));
      EXPECT_EQ(seen.width, turned ? 2 : 3);
      EXPECT_EQ(seen.metadata.density.x, turned ? 200 : 100);
      EXPECT_EQ(std::string(seen.bytes.begin(), seen.bytes.end()), kSeen[sound ? orientation - 1 : 0]);
      EXPECT_EQ(img::orientationOf(seen.metadata), 1);
      EXPECT_EQ(seen.metadata.exif.size(), exif.size());
      for (size_t length = 0; length < exif.size(); ++length) { // cut off anywhere
        image.metadata.exif.assign(exif.begin(), exif.begin() + static_cast<ptrdiff_t>(length));
        EXPECT_LE(img::orientationOf(image.metadata), 8);
      }
    }
  }
}

} // namespace
} // namespace zelj::test
