// The sequential coders at the edges of their memory, of the code tables and of what they hold.
#include <gtest/gtest.h>

#include <algorithm>
#include <bitset>

#include "model.h"
#include "states.h"
#include "support/guarded.h"

namespace zelj::test {
namespace {

// The only code, of `length` zeros, is that of values of category 8.
Table tableOfOne(size_t length) {
  std::array<Zel8u, 16> bits{};
  bits[length - 1] = 1;
  return {bits, {8}};
}

// What comes of a stream of such values, `cut` bits into it, and nothing behind: the block, and how many values there
// are. The last of them may lack some of its additional bits; they are zeros.
struct CutBlock {
  Block block{};
  int values = 0;

  CutBlock(const Block& whole, int codeLength, int cut) {
    static const auto order = zigzagOrder();
    const int length = codeLength + 8;
    for (; values < 64 && cut > length * values + codeLength; ++values) {
      const auto at = static_cast<size_t>(order[static_cast<size_t>(values)]);
      const int lacking = std::max(0, length * (values + 1) - cut);
      const int bits = (whole[at] < 0 ? whole[at] + 255 : whole[at]) >> lacking << lacking;
      block[at] = static_cast<Zel16s>(bits >= 128 ? bits : bits - 255);
    }
  }
};

// The first coefficients of the block are 255, which makes bytes of 0xFF; the source begins somewhere in the first five
// bytes, and ends anywhere.
TEST(HuffmanEdges, StuffedBytesInFrontOfTheEndOfMemory) {
  static const auto order = zigzagOrder();
  for (const int codeLength : {8, 9, 12, 16}) {
    Table table = tableOfOne(static_cast<size_t>(codeLength));
    for (const size_t stuffed : {1u, 2u, 3u, 9u, 33u}) {
      Block whole;
      whole.fill(128);
      for (size_t k = 1; k <= stuffed; ++k) whole[static_cast<size_t>(order[k])] = 255;
      const std::string bits = encodeBlock(whole, 0, table, table);
      for (size_t held = 0; held <= 32; ++held) {
        const auto bytes = bytesOf(bits.substr(held));
        for (size_t length = 60; length < std::min<size_t>(bytes.size(), 130); ++length) {
          GuardedMemory source(length);
          std::copy_n(bytes.begin(), length, source.data());
          DecoderState state;
          state.hold(std::bitset<32>(bits, 0, held).to_ullong(), static_cast<Zel32s>(held));
          Block block;
          Zel32s position = 0, marker = 0;
          Zel16s lastDc = 0;
          ASSERT_EQ(
              zeliDecodeHuffman8x8_JPEG_1u16s_C1(source.data(), static_cast<Zel32s>(length), &position, block.data(),
                                                 &lastDc, &marker, table.decoder(), table.decoder(), state.get()),
              zelStatusJpegBufferEnd);
          ASSERT_EQ(position, static_cast<Zel32s>(length));
          const auto* end = bytes.data() + length;
          if (end[-1] == 0xFF) continue; // fails as soon as it is met
          const auto all =
              static_cast<int>(held) + 8 * static_cast<int>(end - bytes.data() - std::count(bytes.data(), end, 0xFF));
          const int complete = all / (codeLength + 8) * (codeLength + 8);
          ASSERT_EQ(block, CutBlock(whole, codeLength, complete).block) << length << " bytes";
        }
      }
    }
  }
}

// The bits held from before are enough for a block, and what the decoder looked at behind them it hands back: but never
// the byte in front of the place where it began, although that looks like the first half of a stuffed 0xFF.
TEST(HuffmanEdges, HandsBackNothingInFrontOfTheCall) {
  Table dc({1}, {0}), ac({1}, {0});
  std::vector<Zel8u> bytes = {0xFF, 0x00, 0xFF, 0x00, 0x5A, 0xC3};
  bytes.resize(200, 0x11);
  for (Zel32s held = 2; held <= 32; ++held) {
    DecoderState state;
    state.hold(0, held);
    Zel32s position = 1, marker = 0;
    Zel16s lastDc = 0;
    Block block;
    ASSERT_EQ(zeliDecodeHuffman8x8_JPEG_1u16s_C1(bytes.data(), 200, &position, block.data(), &lastDc, &marker,
                                                 dc.decoder(), ac.decoder(), state.get()),
              zelStatusOk);
    const int unstuffed[] = {0, 0, 1, 2, 2, 3, 4, 5, 6}; // whole bytes of data in front of a position
    ASSERT_GE(position, 1);
    ASSERT_LE(state.validBits(), 32);
    EXPECT_EQ(8 * unstuffed[position] - state.validBits(), 2 - held);
  }
}

// Of a source without a length, cut by a marker at every byte, with and without half a byte held.
TEST(HuffmanEdges, DirectDecoderAtEveryMarker) {
  Random random(11);
  Table table = tableOfOne(8);
  for (const Zel32s held : {0, 4}) {
    Block whole;
    for (Zel16s& value : whole) value = static_cast<Zel16s>(random.in(128, 255) * random.oneOf({-1, 1}));
    const std::string bits = encodeBlock(whole, 0, table, table);
    for (int count = 0; count <= 128 - (held > 0); ++count) {
      auto bytes = bytesOf(bits.substr(static_cast<size_t>(held), 8 * static_cast<size_t>(count)));
      const auto end = static_cast<Zel32s>(bytes.size());
      bytes.insert(bytes.end(), {0xFF, 0xFF, 0xD3});
      GuardedMemory source((bytes.size() + 15) / 16 * 16);
      std::copy(bytes.begin(), bytes.end(), source.data());
      Zel32s position = 0, marker = 0, left = held;
      Zel32u ahead = 0;
      Zel16s lastDc = 0;
      Block block;
      const auto decode = [&] {
        return zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(source.data(), &position, block.data(), &lastDc, &marker,
                                                         &ahead, &left, table.decoder(), table.decoder());
      };
      const int cut = 8 * count + held, rest = cut % 16;
      const CutBlock expected(whole, 8, cut);
      const ZelStatus status = decode();
      ASSERT_EQ(block, expected.block) << cut;
      ASSERT_EQ(status, rest == 8 && cut < 1024 ? zelStatusJpegBufferEnd : zelStatusOk) << cut;
      ASSERT_GE(left, 0);
      ASSERT_EQ(lastDc, expected.block[0]);
      if (cut >= 1024) continue; // a whole block need not look at the marker
      ASSERT_EQ(marker, 0xD3);
      ASSERT_EQ(position, cut < 8 ? 0 : 8 * (end + 3)) << cut;
      if (cut < 8) continue;
      if (expected.values > 0) {
        ASSERT_EQ(left, 0) << cut;
      }
      // From then on there is nothing.
      left = 0;
      ASSERT_EQ(decode(), zelStatusOk);
      ASSERT_EQ(block, Block{});
    }
  }
}

TEST(HuffmanEdges, CodesThatDoNotExist) {
  Table one({1}, {0}); // 0
  for (const size_t behind : {size_t{0}, size_t{6}, size_t{73}, size_t{200}}) {
    std::vector<Zel8u> ones(4 + behind, 0xFE), zeroAndOnes = ones;
    zeroAndOnes[0] = 0x7E;
    for (auto* bytes : {&ones, &zeroAndOnes}) {
      const int position = bytes == &ones ? 0 : 1; // the number of the symbol without a code
      DecoderState state;
      Block block;
      block.fill(9);
      Zel32s at = 0, marker = 0, held = 0;
      Zel32u ahead = 0;
      Zel16s lastDc = 5;
      EXPECT_EQ(zeliDecodeHuffman8x8_JPEG_1u16s_C1(bytes->data(), static_cast<Zel32s>(bytes->size()), &at, block.data(),
                                                   &lastDc, &marker, one.decoder(), one.decoder(), state.get()),
                zelStatusJpegCoefficientRange);
      EXPECT_EQ(state.lastPosition(), position);
      EXPECT_EQ(at, 4);
      EXPECT_EQ(lastDc, 5);
      EXPECT_EQ(block[0], position ? 5 : 0);
      EXPECT_EQ(std::count(block.begin(), block.end(), 0), position ? 63 : 64);

      bytes->insert(bytes->end(), {0xFF, 0xD9});
      bytes->resize(bytes->size() + 16);
      at = 0;
      EXPECT_EQ(zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(bytes->data(), &at, block.data(), &lastDc, &marker, &ahead,
                                                          &held, one.decoder(), one.decoder()),
                zelStatusJpegCoefficientRange);
      EXPECT_EQ(at, 8 * 4);
      EXPECT_EQ(held, 32 - position - 17);
      EXPECT_EQ(lastDc, 5);
    }
  }
}

// The only coefficient of category 16, behind a run of 15, has no symbol: nothing behind the table is read.
TEST(HuffmanEdges, LargestCoefficientBehindTheLongestRun) {
  static const auto order = zigzagOrder();
  Random random(12);
  Table table = randomTable(random, 256);
  GuardedMemory guarded(1024);
  std::copy_n(table.encode, 1024, guarded.data());
  const auto* spec = reinterpret_cast<const ZeliEncodeHuffmanSpec*>(guarded.data());
  for (const int room : {40, 600}) {
    Block block{};
    block[static_cast<size_t>(order[16])] = -32768;
    std::vector<Zel8u> bytes(static_cast<size_t>(room));
    EncoderState state;
    Zel32s position = 0;
    Zel32u bits = 0;
    Zel16s lastDc = 0;
    EXPECT_EQ(zeliEncodeHuffman8x8_JPEG_16s1u_C1(block.data(), bytes.data(), room, &position, &lastDc, spec, spec,
                                                 state.get(), 0),
              zelStatusJpegHuffmanTable);
    // Without a state the code is left out, and sixteen additional bits follow, a one and zeros.
    EXPECT_EQ(zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block.data(), bytes.data(), &bits, &lastDc, spec, spec),
              zelStatusOk);
    const std::string expected = table.codes[0] + "0111111111111111" + table.codes[0];
    EXPECT_EQ(bits, 8 * bytesOf(expected).size() + expected.size() % 8);
  }
}

} // namespace
} // namespace zelj::test
