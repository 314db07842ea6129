// DXT1, DXT3, DXT5, BC4 and BC5 beside plain models of one block, on images of every size around the groups of blocks
// that the kernels take.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <vector>

#include "support/guarded.h"
#include "support/random.h"
#include "zelj.h"

namespace zelj::test {
namespace {

using Values = std::array<int, 16>;
using Block = std::vector<Zel8u>;
using Pixels = std::array<std::array<int, 4>, 16>; // by pixel and channel

Zel64u bitsAt(const Zel8u* p, int bytes) {
  Zel64u bits = 0;
  for (int i = 0; i < bytes; ++i) bits |= Zel64u{p[i]} << 8 * i;
  return bits;
}

Values decodeRamp(const Zel8u* p) {
  const int a = p[0], b = p[1];
  int ramp[8] = {a, b, 0, 0, 0, 0, 0, 255};
  for (int i = 1; i < (a > b ? 7 : 5); ++i) {
    ramp[i + 1] = a > b ? ((7 - i) * a + i * b + 3) / 7 : ((5 - i) * a + i * b + 2) / 5;
  }
  Values values;
  for (size_t i = 0; i < 16; ++i) values[i] = ramp[bitsAt(p + 2, 6) >> 3 * i & 7];
  return values;
}

int widened(int value, int bits) {
  return value << (8 - bits) | value >> (2 * bits - 8);
}

Pixels decodeColours(const Zel8u* p, bool threeAllowed) {
  const int words[2] = {static_cast<int>(bitsAt(p, 2)), static_cast<int>(bitsAt(p + 2, 2))};
  const bool three = threeAllowed && words[0] <= words[1];
  int palette[4][3];
  for (int i = 0; i < 2; ++i) {
    palette[i][0] = widened(words[i] >> 11, 5);
    palette[i][1] = widened(words[i] >> 5 & 63, 6);
    palette[i][2] = widened(words[i] & 31, 5);
  }
  for (int c = 0; c < 3; ++c) {
    const int a = palette[0][c], b = palette[1][c];
    palette[2][c] = three ? (a + b) / 2 : (2 * a + b) / 3;
    palette[3][c] = three ? 255 : (a + 2 * b) / 3;
  }
  Pixels pixels;
  for (size_t i = 0; i < 16; ++i) {
    const int* colour = palette[p[4 + i / 4] >> 2 * (i % 4) & 3];
    pixels[i] = {colour[0], colour[1], colour[2], 255};
  }
  return pixels;
}

void encodeRamp(const Values& values, int a, int b, Zel8u* p) {
  Zel64u bits = 0;
  for (size_t i = 0; i < 16; ++i) {
    int below = 0; // thresholds that the value does not exceed
    for (int k = 0; k < 7; ++k) below += values[i] <= ((k ? (7 - k) * a + k * b : 7 * b) / 7 + (a - b) / 14) % 256;
    int index = (below + 1) & 7;
    if (index < 2) index ^= 1;
    bits |= static_cast<Zel64u>(index) << 3 * i;
  }
  p[0] = static_cast<Zel8u>(a);
  p[1] = static_cast<Zel8u>(b);
  for (int i = 0; i < 6; ++i) p[2 + i] = static_cast<Zel8u>(bits >> 8 * i);
}

Values channel(const Pixels& pixels, size_t c) {
  Values values;
  for (size_t i = 0; i < 16; ++i) values[i] = pixels[i][c];
  return values;
}
struct Range {
  int high, low;
};
Range rangeOf(const Values& v) {
  return {*std::max_element(v.begin(), v.end()), *std::min_element(v.begin(), v.end())};
}
Range insetRange(const Values& v) {
  const Range r = rangeOf(v);
  const int inset = (r.high - r.low) >> 4;
  return {r.high - inset, r.low + inset};
}

// Index words of the given channels against the palette between ends that are already 8 bits wide.
void encodeIndices(const Pixels& pixels, const int (&ends)[2][3], size_t channels, Zel8u* p) {
  for (size_t i = 0; i < 16; ++i) {
    int d[4] = {};
    for (size_t c = 0; c < channels; ++c) {
      const int a = ends[0][c], b = ends[1][c], v = pixels[i][c];
      d[0] += std::abs(v - a);
      d[1] += std::abs(v - b);
      d[2] += std::abs(v - (2 * a + b) / 3);
      d[3] += std::abs(v - (a + 2 * b) / 3);
    }
    const bool low = d[0] > d[3] && d[2] > d[3];
    const bool high = (d[1] > d[2] && d[0] > d[2]) || (d[0] > d[3] && d[1] > d[3]);
    p[i / 4] = static_cast<Zel8u>(p[i / 4] | (2 * high + low) << 2 * (i % 4));
  }
}

void putColour(const int (&c)[3], int blue, Zel8u* p) {
  const int word = c[0] >> 3 << 11 | c[1] >> 2 << 5 | blue;
  p[0] = static_cast<Zel8u>(word);
  p[1] = static_cast<Zel8u>(word >> 8);
}

void encodeColours(const Pixels& pixels, Zel8u* p) {
  int ends[2][3];
  for (size_t c = 0; c < 3; ++c) {
    const Range r = insetRange(channel(pixels, c));
    const int bits = c == 1 ? 6 : 5;
    ends[0][c] = widened(r.high >> (8 - bits), bits);
    ends[1][c] = widened(r.low >> (8 - bits), bits);
  }
  for (int i = 0; i < 2; ++i) putColour(ends[i], ends[i][2] >> 3, p + 2 * i);
  encodeIndices(pixels, ends, 3, p + 4);
}

void encodeYCoCg(const Pixels& yCoCg, Zel8u* p) {
  const Range y = rangeOf(channel(yCoCg, 0));
  encodeRamp(channel(yCoCg, 0), y.high, y.low, p);
  int farthest = 0;
  for (const auto& pixel : yCoCg) farthest = std::max({farthest, std::abs(pixel[1] - 128), std::abs(pixel[2] - 128)});
  const int scale = farthest < 32 ? 4 : farthest < 64 ? 2 : 1;
  Pixels chroma;
  for (size_t i = 0; i < 16; ++i) {
    for (size_t c = 0; c < 2; ++c) chroma[i][c] = (yCoCg[i][c + 1] - 128) * scale + 128;
  }
  int ends[2][3] = {};
  for (size_t c = 0; c < 2; ++c) {
    const Range r = rangeOf(channel(chroma, c));
    const int d = r.high - r.low, bits = c ? 6 : 5;
    ends[0][c] = widened(std::min((16 * r.high - (d - 7)) >> 4, 255) >> (8 - bits), bits);
    const int low = 16 * r.low + d - 7;
    ends[1][c] = low < 0 ? 255 : widened(low >> (12 - bits), bits);
  }
  int apart = 0;
  for (size_t i = 0; i < 16; ++i) {
    const auto above = [&](size_t c) { return chroma[i][c] >= (ends[0][c] + ends[1][c] + 1) >> 1; };
    apart += above(0) != above(1);
  }
  if (apart > 8) std::swap(ends[0][1], ends[1][1]);
  for (int i = 0; i < 2; ++i) putColour(ends[i], scale - 1, p + 8 + 2 * i);
  encodeIndices(chroma, ends, 2, p + 12);
}

const struct Format {
  const char* name;
  int blockBytes, channels;
  decltype(&zeliTextureDecodeBlock_BC4_8u_C1R) decode; // null: there is no such function
  std::function<Pixels(const Zel8u*)> decodeBlock;
  decltype(&zeliTextureEncodeBlock_BC4_8u_C1R) encode;
  std::function<void(const Pixels&, Zel8u*)> encodeBlock;
} kFormats[] = {
    {"DXT1", 8, 4, zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R, [](const Zel8u* p) { return decodeColours(p, true); },
     zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R, encodeColours},
    {"DXT3", 16, 4, zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R,
     [](const Zel8u* p) {
       Pixels pixels = decodeColours(p + 8, false);
       for (size_t i = 0; i < 16; ++i) pixels[i][3] = static_cast<int>(bitsAt(p, 8) >> 4 * i & 15) << 4;
       return pixels;
     },
     zeliTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R,
     [](const Pixels& pixels, Zel8u* p) {
       for (size_t i = 0; i < 16; ++i) p[i / 2] = static_cast<Zel8u>(p[i / 2] | pixels[i][3] >> 4 << 4 * (i % 2));
       encodeColours(pixels, p + 8);
     }},
    {"DXT5", 16, 4, zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R,
     [](const Zel8u* p) {
       Pixels pixels = decodeColours(p + 8, false);
       for (size_t i = 0; i < 16; ++i) pixels[i][3] = decodeRamp(p)[i];
       return pixels;
     },
     zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R,
     [](const Pixels& pixels, Zel8u* p) {
       const Range r = insetRange(channel(pixels, 3));
       encodeRamp(channel(pixels, 3), r.high, r.low, p);
       encodeColours(pixels, p + 8);
     }},
    {"DXT5 YCoCg", 16, 3, nullptr, {}, zeliTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R, encodeYCoCg},
    {"BC4", 8, 1, zeliTextureDecodeBlock_BC4_8u_C1R,
     [](const Zel8u* p) {
       Pixels pixels;
       for (size_t i = 0; i < 16; ++i) pixels[i] = {decodeRamp(p)[i]};
       return pixels;
     },
     zeliTextureEncodeBlock_BC4_8u_C1R,
     [](const Pixels& pixels, Zel8u* p) {
       const Range r = insetRange(channel(pixels, 0));
       encodeRamp(channel(pixels, 0), r.high, r.low, p);
     }},
    {"BC5", 16, 2, zeliTextureDecodeBlockToRG_BC5_8u_C1C2R,
     [](const Zel8u* p) {
       Pixels pixels;
       for (size_t i = 0; i < 16; ++i) pixels[i] = {decodeRamp(p)[i], decodeRamp(p + 8)[i]};
       return pixels;
     },
     zeliTextureEncodeBlockFromRG_BC5_8u_C2C1R,
     [](const Pixels& pixels, Zel8u* p) {
       for (size_t c = 0; c < 2; ++c) {
         const Range r = insetRange(channel(pixels, c));
         encodeRamp(channel(pixels, c), r.high, r.low, p + 8 * c);
       }
     }},
};

// Pixels whose blocks are noise, nearly flat, of two values, or a gradient, each channel in a range of its own.
void fillPixels(Region<Zel8u>& region, int channels, Random& random) {
  const int kind = random.in(0, 3);
  int middle[4], spread[4];
  for (int c = 0; c < 4; ++c) {
    middle[c] = random.oneOf({0, 3, 40, 96, 120, 128, 136, 160, 200, 252, 255});
    spread[c] = kind == 0 ? 255 : random.oneOf({0, 1, 5, 8, 31, 33, 70});
  }
  region.fill([&](int x, int y) {
    const int c = x % channels, at = kind == 3 ? (x / channels + y) % 7 * spread[c] / 6 : random.in(0, spread[c]);
    return std::clamp(middle[c] + (kind == 2 ? random.oneOf({-spread[c], spread[c]}) : at - spread[c] / 2), 0, 255);
  });
}

void checkDecoder(const Format& format, int width, int height, Edge edge, Random& random) {
  const int across = (width + 3) / 4, blocks = across * ((height + 3) / 4);
  Region<Zel8u> stream(blocks * format.blockBytes, 1, 0, edge);
  stream.fill([&](int x, int) { return x % 8 < 4 && random.in(0, 1) ? 8 * random.in(0, 31) : random.in(0, 255); });
  Region<Zel8u> image(width * format.channels, height, width * format.channels + random.in(0, 5), edge);
  ASSERT_EQ(format.decode(stream.data(), image.data(), image.step(), {width, height}), zelStatusOk);
  std::vector<Pixels> expected;
  for (int b = 0; b < blocks; ++b) expected.push_back(format.decodeBlock(stream.data() + b * format.blockBytes));
  ASSERT_TRUE(equals(image, [&](int x, int y) {
    const int column = x / format.channels;
    return expected[static_cast<size_t>(y / 4 * across + column / 4)][static_cast<size_t>(y % 4 * 4 + column % 4)]
                   [static_cast<size_t>(x % format.channels)];
  })) << format.name;
}

void checkEncoder(const Format& format, int width, int height, Edge edge, Random& random) {
  const int across = (width + 3) / 4, blocks = across * ((height + 3) / 4);
  Region<Zel8u> image(width * format.channels, height, width * format.channels + random.in(0, 5), edge);
  fillPixels(image, format.channels, random);
  Region<Zel8u> stream(blocks * format.blockBytes, 1, 0, edge);
  ASSERT_EQ(format.encode(image.data(), image.step(), {width, height}, stream.data()), zelStatusOk);
  for (int b = 0; b < blocks; ++b) {
    Pixels pixels;
    for (int p = 0; p < 16; ++p) {
      const int x = std::min(b % across * 4 + p % 4, width - 1), y = std::min(b / across * 4 + p / 4, height - 1);
      for (int c = 0; c < format.channels; ++c) {
        pixels[static_cast<size_t>(p)][static_cast<size_t>(c)] = image.get(x * format.channels + c, y);
      }
    }
    Block expected(static_cast<size_t>(format.blockBytes));
    format.encodeBlock(pixels, expected.data());
    const Zel8u* actual = stream.data() + b * format.blockBytes;
    ASSERT_EQ(Block(actual, actual + format.blockBytes), expected)
        << format.name << ", block " << b << " of " << blocks;
  }
}

TEST(TextureBlocks, EverySize) {
  Random random(1);
  for (int width = 1; width <= 150; ++width) {
    for (const Edge edge : {Edge::end, Edge::begin}) {
      for (const Format& format : kFormats) {
        if (format.decode) checkDecoder(format, width, random.in(1, 9), edge, random);
        checkEncoder(format, width, random.in(1, 9), edge, random);
        if (HasFatalFailure()) return;
      }
    }
  }
}

// Every pair of end points, in either order, with all indices.
TEST(TextureBlocks, RampsOfAllEndPoints) {
  std::vector<Zel8u> stream(8 * 256), image(16 * 256);
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      const Zel8u block[8] = {static_cast<Zel8u>(a), static_cast<Zel8u>(b), 0x88, 0xC6, 0xFA, 0x77, 0x39, 0x05};
      std::memcpy(stream.data() + 8 * b, block, 8);
    }
    ASSERT_EQ(zeliTextureDecodeBlock_BC4_8u_C1R(stream.data(), image.data(), 4 * 256, {4 * 256, 4}), zelStatusOk);
    for (size_t b = 0; b < 256; ++b) {
      const Values expected = decodeRamp(stream.data() + 8 * b);
      for (size_t p = 0; p < 16; ++p) ASSERT_EQ(image[p / 4 * 1024 + 4 * b + p % 4], expected[p]) << a << " " << b;
    }
  }
}

Block encoded(const Format& format, std::vector<Zel8u> pixel) {
  Block block(static_cast<size_t>(format.blockBytes), 0xEE);
  EXPECT_EQ(format.encode(pixel.data(), -1, {1, 1}, block.data()), zelStatusOk);
  return block;
}

TEST(TextureBlocks, GoldenValues) {
  EXPECT_EQ(encoded(kFormats[0], {200, 100, 50, 0}), (Block{0x26, 0xCB, 0x26, 0xCB, 0, 0, 0, 0}));
  EXPECT_EQ(encoded(kFormats[2], {200, 100, 50, 9}),
            (Block{9, 9, 0x49, 0x92, 0x24, 0x49, 0x92, 0x24, 0x26, 0xCB, 0x26, 0xCB, 0, 0, 0, 0}));
  EXPECT_EQ(encoded(kFormats[3], {77, 128, 128}),
            (Block{77, 77, 0x49, 0x92, 0x24, 0x49, 0x92, 0x24, 0x03, 0x84, 0xE3, 0x7B, 0xAA, 0xAA, 0xAA, 0xAA}));
  // Chroma of 0 and a small range: the low end is 255, and the diagonal falls.
  EXPECT_EQ(encoded(kFormats[3], {0, 0, 128}),
            (Block{0, 0, 0x49, 0x92, 0x24, 0x49, 0x92, 0x24, 0xE0, 0x03, 0x00, 0xFC, 0, 0, 0, 0}));

  // Three colours: index 3 is opaque white. Alpha in DXT3 ends at 240. Rows may go upwards.
  const Zel8u dxt1[8] = {0, 0, 0, 0, 0xE4, 0, 0, 0}, dxt3[16] = {0x1F, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 3};
  Zel8u pixels[16];
  EXPECT_EQ(kFormats[0].decode(dxt1, pixels, -16, {4, 1}), zelStatusOk);
  EXPECT_EQ(Block(pixels + 8, pixels + 16), (Block{0, 0, 0, 255, 255, 255, 255, 255}));
  EXPECT_EQ(kFormats[1].decode(dxt3, pixels, 16, {2, 1}), zelStatusOk);
  EXPECT_EQ(Block(pixels, pixels + 8), (Block{0, 0, 5, 240, 0, 0, 0, 16}));
}

TEST(TextureBlocks, OrderOfChecks) {
  Zel8u block[16] = {7}, pixels[4] = {7};
  const struct {
    bool source, destination;
    int step;
    ZeliSize size;
    ZelStatus status;
  } cases[] = {
      {false, true, 0, {0, 0}, zelStatusNullPointer}, {true, false, 0, {0, 0}, zelStatusNullPointer},
      {true, true, 0, {0, 0}, zelStatusBadStep},      {true, true, -1, {0, 1}, zelStatusBadSize},
      {true, true, 1, {1, 0}, zelStatusBadSize},
  };
  for (const auto& c : cases) {
    for (const Format& format : kFormats) {
      if (format.decode) {
        EXPECT_EQ(format.decode(c.source ? block : nullptr, c.destination ? pixels : nullptr, c.step, c.size),
                  c.status);
      }
      EXPECT_EQ(format.encode(c.source ? pixels : nullptr, c.step, c.size, c.destination ? block : nullptr), c.status);
    }
  }
  EXPECT_EQ(block[0], 7);
  EXPECT_EQ(pixels[0], 7);
}

} // namespace
} // namespace zelj::test
