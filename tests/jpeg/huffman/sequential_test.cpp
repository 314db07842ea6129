// The sequential coders: streams against a plain model, every end of source and destination, markers, bad codes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "model.h"
#include "states.h"
#include "support/guarded.h"

namespace zelj::test {
namespace {

// Random blocks with tables that have codes for all of them, and the model's code.
struct Stream {
  Table dc, ac;
  std::vector<Block> blocks;
  std::string bits;
  std::vector<Zel8u> bytes; // padded with ones

  Stream(Random& random, int count) : dc(randomTable(random, 17)), ac(randomTable(random, 256)) {
    int lastDc = 0;
    for (int i = 0; i < count; ++i) {
      blocks.push_back(randomBlock(random));
      bits += encodeBlock(blocks.back(), lastDc, dc, ac);
      lastDc = blocks.back()[0];
    }
    bytes = bytesOf(bits + "1111111");
  }
};

// Encodes into room that ends at an inaccessible page; returns the first bad status. What was written must be the
// model's.
ZelStatus encodeInto(Stream& stream, int room) {
  GuardedMemory destination(static_cast<size_t>(room));
  EncoderState state;
  Zel32s position = 0;
  Zel16s lastDc = 0;
  ZelStatus status = zelStatusOk;
  for (size_t i = 0; i <= stream.blocks.size() && status == zelStatusOk; ++i) {
    const bool flush = i == stream.blocks.size();
    status = zeliEncodeHuffman8x8_JPEG_16s1u_C1(flush ? nullptr : stream.blocks[i].data(), destination.data(), room,
                                                &position, &lastDc, stream.dc.encoder(), stream.ac.encoder(),
                                                state.get(), flush);
    if (!flush) {
      EXPECT_EQ(lastDc, stream.blocks[i][0]);
    }
  }
  EXPECT_LE(position, room);
  EXPECT_EQ(std::memcmp(destination.data(), stream.bytes.data(), static_cast<size_t>(position)), 0);
  if (status == zelStatusOk) {
    EXPECT_EQ(position, static_cast<int>(stream.bytes.size()));
    EXPECT_EQ(std::memcmp(state.bytes, EncoderState().bytes, 1048), 0) << "a flush makes the state new";
  }
  return status;
}

TEST(HuffmanSequential, EncodesAsTheModelInAnyRoom) {
  Random random(1);
  for (int trial = 0; trial < 150; ++trial) {
    Stream stream(random, random.in(1, 12));
    const int length = static_cast<int>(stream.bytes.size());
    ASSERT_EQ(encodeInto(stream, length + 1000), zelStatusOk);
    ASSERT_EQ(encodeInto(stream, length), zelStatusOk);
    for (int i = 0; i < 10; ++i) ASSERT_EQ(encodeInto(stream, random.in(1, length - 1)), zelStatusJpegBufferEnd);
  }
}

// Decodes as many blocks as come, and answers -63 where bits were missing. A block that was cut off is right up to some
// coefficient, and zero from there on; only where bits were missing one more may have been made of those there were.
ZelStatus decodeFrom(Stream& stream, const std::vector<Zel8u>& bytes, Zel32s* position, Zel32s* marker) {
  static const auto order = zigzagOrder();
  GuardedMemory source(bytes.size());
  std::copy(bytes.begin(), bytes.end(), source.data());
  DecoderState state;
  Zel16s lastDc = 0;
  ZelStatus status = zelStatusOk;
  for (size_t i = 0; i < stream.blocks.size() && status == zelStatusOk; ++i) {
    const Block& expected = stream.blocks[i];
    Block block;
    block.fill(99);
    status =
        zeliDecodeHuffman8x8_JPEG_1u16s_C1(source.data(), static_cast<Zel32s>(bytes.size()), position, block.data(),
                                           &lastDc, marker, stream.dc.decoder(), stream.ac.decoder(), state.get());
    if (state.validBits() < 0) status = zelStatusJpegCoefficientRange;
    const auto at = [&](const Block& b, int k) { return b[static_cast<size_t>(order[static_cast<size_t>(k)])]; };
    int right = 0, wrong = 0;
    while (right < 64 && at(block, right) == at(expected, right)) ++right;
    for (int k = right; k < 64; ++k) wrong += at(block, k) != 0;
    EXPECT_LE(wrong, status == zelStatusJpegCoefficientRange);
    if (status == zelStatusJpegBufferEnd) {
      EXPECT_GE(right, state.lastPosition());
    }
    if (status == zelStatusOk) {
      EXPECT_EQ(right, 64) << "block " << i;
      int last = 63;
      while (last > 0 && expected[static_cast<size_t>(order[static_cast<size_t>(last)])] == 0) --last;
      EXPECT_EQ(state.lastPosition(), last + 1);
      EXPECT_LE(state.validBits(), 32);
    }
  }
  return status;
}

TEST(HuffmanSequential, DecodesWithAndWithoutBytesBehind) {
  Random random(2);
  for (int trial = 0; trial < 300; ++trial) {
    Stream stream(random, random.in(1, 12));
    auto padded = stream.bytes;
    for (int i = 0; i < 200; ++i) padded.push_back(static_cast<Zel8u>(random.in(0, 254)));
    for (const auto& bytes : {stream.bytes, padded}) {
      Zel32s position = 0, marker = 0;
      ASSERT_EQ(decodeFrom(stream, bytes, &position, &marker), zelStatusOk);
      ASSERT_EQ(marker, 0);
    }
  }
}

TEST(HuffmanSequential, EndsAtEveryCutAndMarker) {
  Random random(3);
  for (int trial = 0; trial < 40; ++trial) {
    Stream stream(random, random.in(1, 4));
    const size_t length = stream.bytes.size();
    for (size_t cut = 0; cut<length; cut += length> 100 ? 7 : 1) {
      if (cut > 0 && stream.bytes[cut - 1] == 0xFF) continue;
      std::vector<Zel8u> bytes(stream.bytes.begin(), stream.bytes.begin() + static_cast<ptrdiff_t>(cut));
      Zel32s position = 0, marker = 0;
      // The padding may complete a last byte of ones only.
      const bool complete = bytesOf(stream.bits).size() <= cut && stream.bits.size() % 8 == 0;
      ASSERT_EQ(decodeFrom(stream, bytes, &position, &marker), complete ? zelStatusOk : zelStatusJpegBufferEnd);
      ASSERT_EQ(marker, 0);
      if (complete) continue;
      ASSERT_EQ(position, static_cast<int>(cut));

      // A fill byte before the marker, and bytes behind it that must not be looked at.
      bytes.insert(bytes.end(), {0xFF, 0xFF, 0xD3});
      bytes.insert(bytes.end(), 100, 0x55);
      position = 0;
      ASSERT_EQ(decodeFrom(stream, bytes, &position, &marker), zelStatusJpegCoefficientRange) << cut;
      ASSERT_EQ(marker, 0xD3);
      ASSERT_EQ(position, static_cast<int>(cut) + 3);
    }
    auto lone = stream.bytes;
    lone.resize(lone.size() / 2 + 1);
    lone.back() = 0xFF;
    Zel32s position = 0, marker = 0;
    ASSERT_EQ(decodeFrom(stream, lone, &position, &marker), zelStatusJpegBufferEnd);
  }
}

// Zero blocks and a last coefficient, with the luminance tables of T.81 Annex K.3 as far as they matter:
// DC 0 is 00, AC 0 is 1010, F0 is 11111111001, E1 is 1111111111101011.
TEST(HuffmanSequential, GoldenBytes) {
  Table dc = standardDc();
  Table ac({0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 125}, [] {
    std::vector<Zel8u> values(162);
    values[2] = 1; // any but the symbols below
    for (auto& v : values) v = 1;
    values[3] = 0x00;
    values[31] = 0xF0;
    values[142] = 0xE1;
    return values;
  }());
  ASSERT_EQ(ac.codes[0], "1010");
  ASSERT_EQ(ac.codes[0xF0], "11111111001");
  ASSERT_EQ(ac.codes[0xE1], "1111111111101011");
  for (const int room : {12, 600}) {
    Zel8u bytes[600];
    EncoderState state;
    Zel32s position = 0;
    Zel16s lastDc = 0;
    Block block{};
    for (const int last : {0, 1}) {
      block[63] = static_cast<Zel16s>(last);
      ASSERT_EQ(zeliEncodeHuffman8x8_JPEG_16s1u_C1(block.data(), bytes, room, &position, &lastDc, dc.encoder(),
                                                   ac.encoder(), state.get(), 0),
                zelStatusOk);
    }
    ASSERT_EQ(
        zeliEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, bytes, room, &position, nullptr, nullptr, nullptr, state.get(), 1),
        zelStatusOk);
    // 001010 00 11111111001 11111111001 11111111001 1111111111101011 1, and ones
    const Zel8u expected[] = {0x28, 0xFF, 0x00, 0x3F, 0xE7, 0xFC, 0xFF, 0x00, 0xF5, 0xFF, 0x00};
    ASSERT_EQ(position, 11);
    EXPECT_EQ(std::memcmp(bytes, expected, sizeof expected), 0);
  }
}

TEST(HuffmanSequential, FlushPadsWithOnes) {
  Table table({0, 0, 2, 0, 0, 0, 0, 1}, {0, 1, 2}); // 000, 001, 01000000
  EncoderState state;
  Zel8u bytes[4] = {};
  Zel32s position = 0;
  const Zel16s zero = 0;
  const auto one = [&](const Zel16s* value, int flush) {
    return zeliEncodeHuffmanOne_JPEG_16s1u_C1(value, bytes, 4, &position, table.encoder(), state.get(), flush);
  };
  EXPECT_EQ(one(nullptr, 1), zelStatusOk);
  EXPECT_EQ(position, 0);
  EXPECT_EQ(one(&zero, 0), zelStatusOk);
  EXPECT_EQ(one(nullptr, 1), zelStatusOk);
  EXPECT_EQ(position, 1);
  EXPECT_EQ(bytes[0], 0x1F);
  // Seven ones and the padding make an 0xFF, and nowhere is room for the zero behind it.
  EncoderState last;
  Table ones({0, 0, 0, 0, 0, 0, 127}, [] {
    std::vector<Zel8u> values(127, 1);
    values.back() = 0;
    return values;
  }());
  position = 3;
  const auto atEnd = [&](int flush) {
    return zeliEncodeHuffmanOne_JPEG_16s1u_C1(&zero, bytes, 4, &position, ones.encoder(), last.get(), flush);
  };
  EXPECT_EQ(atEnd(0), zelStatusOk);
  EXPECT_EQ(atEnd(1), zelStatusOk);
  EXPECT_EQ(bytes[3], 0xFD);
  position = 3;
  Table almost({0, 0, 0, 0, 0, 0, 0, 255}, [] {
    std::vector<Zel8u> values(255, 1);
    values.back() = 0; // 11111110
    return values;
  }());
  EXPECT_EQ(atEnd(0), zelStatusOk); // 1111110
  EXPECT_EQ(zeliEncodeHuffmanOne_JPEG_16s1u_C1(&zero, bytes, 4, &position, almost.encoder(), last.get(), 0),
            zelStatusOk); // 1111110 1 | 1111110
  EXPECT_EQ(position, 4);
  EXPECT_EQ(zeliEncodeHuffmanOne_JPEG_16s1u_C1(&zero, bytes, 4, &position, almost.encoder(), last.get(), 0),
            zelStatusJpegBufferEnd);
}

TEST(HuffmanSequential, SymbolsWithoutCode) {
  Random random(4);
  Table dc = standardDc(), ac({0, 2}, {0x00, 0x01});
  for (const int room : {40, 600}) {
    const struct {
      int dc, first, second;
      ZelStatus status;
      int position;
    } cases[] = {{0, 1, 0, zelStatusOk, 0},
                 {0, 1, 2, zelStatusJpegHuffmanTable, 0},
                 {-32768, 0, 0, zelStatusJpegHuffmanTable, 0},
                 {4096, 0, 0, zelStatusJpegHuffmanTable, 0},
                 {2047, -1, 3, zelStatusJpegHuffmanTable, 3}};
    for (const auto& c : cases) {
      Block block{};
      block[0] = static_cast<Zel16s>(c.dc);
      block[1] = static_cast<Zel16s>(c.first);
      block[8] = static_cast<Zel16s>(c.second);
      std::vector<Zel8u> bytes(static_cast<size_t>(room));
      EncoderState state;
      Zel32s position = 0;
      Zel16s lastDc = 1000;
      lastDc = 0;
      EXPECT_EQ(zeliEncodeHuffman8x8_JPEG_16s1u_C1(block.data(), bytes.data(), room, &position, &lastDc, dc.encoder(),
                                                   ac.encoder(), state.get(), 0),
                c.status);
      EXPECT_EQ(lastDc, c.dc);
      EXPECT_EQ(position, c.position);
    }
  }
}

TEST(HuffmanSequential, RunsPastTheEnd) {
  static const auto order = zigzagOrder();
  Table dc({1}, {0});
  std::vector<Zel8u> symbols = {0xF0, 0xF1, 0xD1, 0x81, 0x91, 0x00, 0x30};
  Table ac({0, 0, 7}, symbols);
  const struct {
    std::vector<int> codes;
    ZelStatus status;
    int lastPosition, at63;
  } cases[] = {
      {{0xF0, 0xF0, 0xF0, 0xF1}, zelStatusOk, 65, 1},       // position 64
      {{0xF0, 0xF0, 0xF0, 0xD1, 0x81}, zelStatusOk, 72, 1}, // 62 and 71
      {{0xF0, 0xF0, 0xF0, 0xD1, 0x91}, zelStatusJpegRunOverflow, 72, 0},
      {{0xF0, 0xF0, 0xF0, 0xF0}, zelStatusOk, 65, 0},
      {{0xF0, 0xF0, 0xF0, 0xD1, 0xF0}, zelStatusOk, 79, 0},
      {{0xF1, 0x30}, zelStatusOk, 17, 0}, // any run below 15 without a coefficient ends it
  };
  for (const size_t behind : {size_t{0}, size_t{100}}) {
    for (const auto& c : cases) {
      std::string bits = dc.codes[0];
      for (const int symbol : c.codes) bits += ac.codes[symbol] + (symbol & 15 ? "1" : "");
      auto bytes = bytesOf(bits + "1111111");
      bytes.insert(bytes.end(), behind, 0);
      DecoderState state;
      Block block;
      Zel32s position = 0, marker = 0;
      Zel16s lastDc = 7;
      EXPECT_EQ(
          zeliDecodeHuffman8x8_JPEG_1u16s_C1(bytes.data(), static_cast<Zel32s>(bytes.size()), &position, block.data(),
                                             &lastDc, &marker, dc.decoder(), ac.decoder(), state.get()),
          c.status);
      EXPECT_EQ(state.lastPosition(), c.lastPosition);
      EXPECT_EQ(block[63], c.at63);
      EXPECT_EQ(block[0], 7);
      if (c.codes.size() == 5 && c.codes[3] == 0xD1) {
        EXPECT_EQ(block[static_cast<size_t>(order[62])], 1);
      }
    }
  }
}

TEST(HuffmanSequential, NoCodeFits) {
  Table dc({1}, {0}), ac({0, 1}, {0});
  for (const size_t behind : {size_t{0}, size_t{100}}) {
    std::vector<Zel8u> bytes(4 + behind, 0x7A); // 0 1 1..., and no 0xFF
    DecoderState state;
    Block block;
    Zel32s position = 0, marker = 0;
    Zel16s lastDc = 0;
    EXPECT_EQ(
        zeliDecodeHuffman8x8_JPEG_1u16s_C1(bytes.data(), static_cast<Zel32s>(bytes.size()), &position, block.data(),
                                           &lastDc, &marker, dc.decoder(), ac.decoder(), state.get()),
        zelStatusJpegCoefficientRange);
    EXPECT_EQ(state.lastPosition(), 1);
    EXPECT_EQ(position, 4);
    EXPECT_EQ(state.validBits(), 32 - 1 - 17);
  }
}

TEST(HuffmanSequential, SingleValues) {
  Random random(5);
  for (int trial = 0; trial < 100; ++trial) {
    Table table = randomTable(random, 17);
    EncoderState encoder;
    std::string bits;
    std::vector<Zel16s> values;
    std::vector<Zel8u> bytes(500);
    Zel32s position = 0;
    for (int i = 0; i < 50; ++i) {
      values.push_back(
          static_cast<Zel16s>(random.oneOf({0, -1, 1, 255, 256, -32768, 32767, random.in(-32768, 32767)})));
      bits += table.codes[categoryOf(values.back())] + (values.back() == -32768 ? "" : additionalBits(values.back()));
      ASSERT_EQ(zeliEncodeHuffmanOne_JPEG_16s1u_C1(&values.back(), bytes.data(), 500, &position, table.encoder(),
                                                   encoder.get(), 0),
                zelStatusOk);
    }
    ASSERT_EQ(zeliEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, bytes.data(), 500, &position, nullptr, encoder.get(), 1),
              zelStatusOk);
    bytes.resize(static_cast<size_t>(position));
    ASSERT_EQ(bytes, bytesOf(bits + "1111111"));
    DecoderState decoder;
    Zel32s at = 0, marker = 0;
    Zel16s decoded = 0;
    const auto next = [&] {
      return zeliDecodeHuffmanOne_JPEG_1u16s_C1(bytes.data(), position, &at, &decoded, &marker, table.decoder(),
                                                decoder.get());
    };
    for (const Zel16s value : values) {
      ASSERT_EQ(next(), zelStatusOk);
      ASSERT_EQ(decoded, value);
    }
    decoded = 77;
    const Zel16s before = decoded;
    ZelStatus status = next();
    if (status == zelStatusOk) status = next(); // the padding may hold a short code
    if (decoded == before) {
      ASSERT_NE(status, zelStatusOk);
    }
  }
}

// Two bytes a coefficient, one of 0xFF anywhere in a block, and the marker anywhere in the last line of 16 bytes that
// there is memory for.
TEST(HuffmanSequential, DirectDecoderSeesEvery0xFF) {
  static const auto order = zigzagOrder();
  Table dc({0, 0, 0, 0, 0, 0, 0, 1}, {0}), ac({0, 0, 0, 0, 0, 0, 0, 1}, {8});
  for (size_t k = 1; k < 64; ++k) {
    Block original;
    original.fill(128);
    original[0] = 0;
    original[static_cast<size_t>(order[k])] = 255;
    auto bytes = bytesOf(encodeBlock(original, 0, dc, ac));
    bytes.insert(bytes.end(), {0xFF, 0xD9});
    for (size_t behind = 0; behind < 16; ++behind) {
      GuardedMemory source(bytes.size() + behind);
      std::memcpy(source.data(), bytes.data(), bytes.size());
      Zel32s at = 0, marker = 0, held = 0;
      Zel32u ahead = 0;
      Zel16s lastDc = 0;
      Block block;
      ASSERT_EQ(zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(source.data(), &at, block.data(), &lastDc, &marker, &ahead,
                                                          &held, dc.decoder(), ac.decoder()),
                zelStatusOk);
      ASSERT_EQ(block, original) << "coefficient " << k << ", " << behind << " bytes behind the marker";
    }
  }
}

TEST(HuffmanSequential, DirectCodersAtEveryBit) {
  Random random(6);
  for (int trial = 0; trial < 200; ++trial) {
    Stream stream(random, random.in(1, 6));
    const int offset = random.in(0, 7);
    const std::string front = std::string("0110011").substr(0, static_cast<size_t>(offset));
    const std::string bits = front + stream.bits;
    auto expected = bytesOf(bits + "0000000");
    GuardedMemory destination(bytesOf(bits).size() + (bits.size() % 8 ? 1 : 0));
    if (destination.size() == 0) continue;
    destination.data()[0] = 0x66 | 1;
    Zel32u position = static_cast<Zel32u>(offset);
    Zel16s lastDc = 0;
    for (const Block& block : stream.blocks) {
      ASSERT_EQ(zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block.data(), destination.data(), &position, &lastDc,
                                                          stream.dc.encoder(), stream.ac.encoder()),
                zelStatusOk);
    }
    ASSERT_EQ(position, bytesOf(bits).size() * 8 + bits.size() % 8);
    ASSERT_EQ(std::memcmp(destination.data(), expected.data(), destination.size()), 0);

    // Back from bytes that end in a marker, whose line of 16 bytes ends at an inaccessible page.
    auto bytes = stream.bytes;
    bytes.insert(bytes.end(), {0xFF, 0xD9});
    for (size_t behind = 0; behind < 16; ++behind) {
      GuardedMemory source(bytes.size() + behind);
      std::memcpy(source.data(), bytes.data(), bytes.size());
      Zel32s at = 0, marker = 0, held = 0;
      Zel32u ahead = 0;
      lastDc = 0;
      Block block;
      const auto decode = [&] {
        return zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(source.data(), &at, block.data(), &lastDc, &marker, &ahead,
                                                         &held, stream.dc.decoder(), stream.ac.decoder());
      };
      for (const Block& original : stream.blocks) {
        ASSERT_EQ(decode(), zelStatusOk);
        ASSERT_EQ(block, original);
        ASSERT_EQ(at % 8, 0);
        ASSERT_LE(held, 32);
      }
      held = 0;
      while (marker == 0) decode();
      held = 0;
      const Zel32s before = at;
      ASSERT_EQ(decode(), zelStatusOk) << "nothing is left before the marker";
      ASSERT_EQ(at, before);
      ASSERT_EQ(block, Block{});
    }
  }
  // A symbol without a code is left out, its additional bits are not.
  Table dc({0, 1}, {0}), ac({0, 1}, {0});
  Block block{};
  block[1] = 5;
  Zel8u bytes[4] = {};
  Zel32u position = 0;
  Zel16s lastDc = 0;
  ASSERT_EQ(
      zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block.data(), bytes, &position, &lastDc, dc.encoder(), ac.encoder()),
      zelStatusOk);
  EXPECT_EQ(position, 7u); // 00 101 00
  EXPECT_EQ(bytes[0], 0x28);
}

TEST(HuffmanSequential, OrderOfChecks) {
  Table table({1}, {0});
  EncoderState encoder;
  DecoderState decoder;
  Block block{};
  alignas(16) Zel8u bytes[16] = {};
  Zel32s position = 0, marker = 0, held = 0;
  Zel32u ahead = 0;
  Zel16s lastDc = 0;
  // Each call with one more argument put right than the last, up to the first that succeeds.
  const auto in = [&](int stage, int from, auto* p) { return stage >= from ? p : nullptr; };
  const ZelStatus encode[] = {-8, -6, -8, -8, -8, -8, -8, -8, 0};
  for (int s = 0; s < 9; ++s) {
    EXPECT_EQ(zeliEncodeHuffman8x8_JPEG_16s1u_C1(in(s, 5, block.data()), in(s, 1, bytes), s >= 2 ? 8 : 0,
                                                 in(s, 3, &position), in(s, 6, &lastDc), in(s, 7, table.encoder()),
                                                 in(s, 8, table.encoder()), in(s, 4, encoder.get()), 0),
              encode[s]);
    EXPECT_EQ(
        zeliEncodeHuffmanOne_JPEG_16s1u_C1(in(s, 7, block.data()), in(s, 1, bytes), s >= 2 ? 8 : 0, in(s, 3, &position),
                                           in(s, 8, table.encoder()), in(s, 4, encoder.get()), 0),
        encode[s]);
    EXPECT_EQ(zeliDecodeHuffman8x8_JPEG_1u16s_C1(
                  in(s, 1, bytes), s >= 2 ? 8 : -1, in(s, 3, &position), in(s, 4, block.data()), in(s, 5, &lastDc),
                  in(s, 6, &marker), in(s, 7, table.decoder()), in(s, 7, table.decoder()), in(s, 8, decoder.get())),
              s == 1 ? -5 : encode[s]);
    EXPECT_EQ(
        zeliDecodeHuffmanOne_JPEG_1u16s_C1(in(s, 1, bytes), s >= 2 ? 8 : 0, in(s, 3, &position), in(s, 4, block.data()),
                                           in(s, 6, &marker), in(s, 7, table.decoder()), in(s, 8, decoder.get())),
        encode[s]);
  }
  const ZelStatus direct[] = {-8, -8, -5, -8, -8, -8, -8, -8, -5, -8, -8, 0};
  bytes[1] = 0xFF;
  bytes[2] = 0xD9;
  for (int s = 0; s < 12; ++s) {
    Zel32s at = s >= 3 ? 0 : -1;
    held = s >= 9 ? 0 : -1;
    EXPECT_EQ(zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(
                  in(s, 1, bytes), in(s, 2, &at), in(s, 4, block.data()), in(s, 5, &lastDc), in(s, 6, &marker),
                  in(s, 7, &ahead), in(s, 8, &held), in(s, 10, table.decoder()), in(s, 11, table.decoder())),
              direct[s])
        << s;
  }
  for (int s = 0; s < 6; ++s) {
    Zel32u at = 0;
    EXPECT_EQ(zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(
                  in(-(s == 0), 0, block.data()), in(-(s == 1), 0, bytes), in(-(s == 2), 0, &at),
                  in(-(s == 3), 0, &lastDc), in(-(s == 4), 0, table.encoder()), in(-(s == 5), 0, table.encoder())),
              zelStatusNullPointer);
  }
  // An empty source is no argument error for blocks.
  Zel32s start = 0;
  DecoderState fresh;
  block.fill(3);
  EXPECT_EQ(zeliDecodeHuffman8x8_JPEG_1u16s_C1(bytes, 0, &start, block.data(), &lastDc, &(marker = 0), table.decoder(),
                                               table.decoder(), fresh.get()),
            zelStatusJpegBufferEnd);
  EXPECT_EQ(block, Block{});
}

} // namespace
} // namespace zelj::test
