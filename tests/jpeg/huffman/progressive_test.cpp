// Progressive scans and their statistics against a plain model, back through the decoders, and at every end of source
// and destination.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "model.h"
#include "states.h"
#include "support/guarded.h"

namespace zelj::test {
namespace {

struct Scan {
  int Ss, Se, Ah, Al; // Ss 0: of DC terms; Ah 0: the first
};

// What a scan consists of: symbols with the bits behind them, or bits alone.
struct Item {
  int symbol; // -1: none
  std::string bits;
};

struct ModelScan {
  Scan scan;
  std::vector<Item> items;
  int lastDc = 0, eobRun = 0;
  std::string pending; // correction bits of the run

  void endRun() {
    if (eobRun == 0) return;
    int n = 0;
    while (eobRun >> (n + 1)) ++n;
    std::string bits;
    for (int b = n - 1; b >= 0; --b) bits += eobRun >> b & 1 ? '1' : '0';
    items.push_back({n * 16, bits + pending});
    eobRun = 0;
    pending.clear();
  }

  void add(const Block& block) {
    static const auto order = zigzagOrder();
    if (scan.Ss == 0) {
      if (scan.Ah) {
        items.push_back({-1, block[0] >> scan.Al & 1 ? "1" : "0"});
      } else {
        const int dc = block[0] >> scan.Al;
        items.push_back({categoryOf(dc - lastDc), additionalBits(dc - lastDc)});
        lastDc = dc;
      }
      return;
    }
    const auto shifted = [&](int k) {
      const int value = block[static_cast<size_t>(order[static_cast<size_t>(k)])];
      return value < 0 ? -(-value >> scan.Al) : value >> scan.Al;
    };
    int lastFresh = scan.Ah ? 0 : 63, run = 0;
    for (int k = scan.Ss; k <= scan.Se && scan.Ah; ++k) {
      if (std::abs(shifted(k)) == 1) lastFresh = k;
    }
    std::string corrections;
    for (int k = scan.Ss; k <= scan.Se; ++k) {
      const int value = shifted(k);
      if (value == 0) {
        ++run;
        continue;
      }
      for (; run > 15 && k <= lastFresh; run -= 16) {
        endRun();
        items.push_back({0xF0, corrections});
        corrections.clear();
      }
      if (scan.Ah && std::abs(value) > 1) {
        corrections += std::abs(value) & 1 ? '1' : '0';
        continue;
      }
      endRun();
      const int category = scan.Ah ? 1 : categoryOf(value);
      items.push_back({run * 16 + category, (scan.Ah ? (value > 0 ? "1" : "0") : additionalBits(value)) + corrections});
      corrections.clear();
      run = 0;
    }
    if (run == 0 && corrections.empty()) return;
    ++eobRun;
    pending += corrections;
    if (eobRun == 32767 || pending.size() > 937) endRun();
  }
};

std::string bitsOf(const std::vector<Item>& items, Table& table) {
  std::string bits;
  for (const Item& item : items) bits += (item.symbol >= 0 ? table.codes[item.symbol] : "") + item.bits;
  return bits;
}

ModelScan modelOf(const std::vector<Block>& blocks, Scan scan) {
  ModelScan model{scan, {}, 0, 0, {}};
  for (const Block& block : blocks) model.add(block);
  model.endRun();
  return model;
}

// Codes blocks into room that ends at an inaccessible page, with the flush, and returns the first bad status.
ZelStatus encode(const std::vector<Block>& blocks, Scan s, Table& table, int room, std::vector<Zel8u>* bytes) {
  GuardedMemory destination(static_cast<size_t>(room));
  EncoderState state;
  Zel32s position = 0;
  Zel16s lastDc = 0;
  ZelStatus status = zelStatusOk;
  for (size_t i = 0; i <= blocks.size() && status == zelStatusOk; ++i) {
    const int flush = i == blocks.size();
    const Zel16s* block = flush ? nullptr : blocks[i].data();
    Zel8u* to = destination.data();
    if (s.Ss > 0) {
      auto* code = s.Ah ? zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1 : zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1;
      status = code(block, to, room, &position, s.Ss, s.Se, s.Al, table.encoder(), state.get(), flush);
    } else if (s.Ah) {
      status = zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block, to, room, &position, s.Al, state.get(), flush);
    } else {
      status = zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, to, room, &position, &lastDc, s.Al, table.encoder(),
                                                          state.get(), flush);
    }
  }
  if (status == zelStatusOk) {
    EXPECT_EQ(std::memcmp(state.bytes, EncoderState().bytes, 1048), 0) << "a flush makes the state new";
  }
  bytes->assign(destination.data(), destination.data() + position);
  return status;
}

// Decodes a scan onto blocks, and returns the first status that is not 0.
ZelStatus decode(const std::vector<Zel8u>& bytes, Scan s, Table& table, std::vector<Block>& blocks, Zel32s* marker) {
  GuardedMemory source(bytes.size());
  std::copy(bytes.begin(), bytes.end(), source.data());
  DecoderState state;
  const auto length = static_cast<Zel32s>(bytes.size());
  Zel32s position = 0;
  Zel16s lastDc = 0;
  for (Block& block : blocks) {
    ZelStatus status;
    if (s.Ss > 0) {
      auto* read = s.Ah ? zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1 : zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1;
      status =
          read(source.data(), length, &position, block.data(), marker, s.Ss, s.Se, s.Al, table.decoder(), state.get());
    } else if (s.Ah) {
      status = zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(source.data(), length, &position, block.data(), marker, s.Al,
                                                           state.get());
    } else {
      status = zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(source.data(), length, &position, block.data(), &lastDc,
                                                          marker, s.Al, table.decoder(), state.get());
    }
    if (status != zelStatusOk && status != zelStatusJpegMarkerPending) return status;
  }
  return zelStatusOk;
}

std::vector<Zel32u> countedBy(const std::vector<Block>& blocks, Scan s) {
  std::vector<Zel32u> counts(256);
  EncoderState state;
  Zel16s lastDc = 0;
  for (size_t i = 0; i <= blocks.size(); ++i) {
    const int flush = i == blocks.size();
    const Zel16s* block = flush ? nullptr : blocks[i].data();
    ZelStatus status = zelStatusOk;
    if (s.Ss > 0) {
      auto* count =
          s.Ah ? zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1 : zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1;
      status = count(block, counts.data(), s.Ss, s.Se, s.Al, state.get(), flush);
    } else if (!s.Ah && !flush) {
      status = zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block, counts.data(), &lastDc, s.Al);
    }
    EXPECT_EQ(status, zelStatusOk);
  }
  EXPECT_EQ(std::memcmp(state.bytes, EncoderState().bytes, sizeof state.bytes), 0);
  return counts;
}

// Blocks with coefficients of up to 11 bits; from runs of empty ones to full ones.
std::vector<Block> randomBlocks(Random& random, int count) {
  std::vector<Block> blocks;
  const int emptiness = random.oneOf({0, 1, 5});
  for (int i = 0; i < count; ++i) {
    Block block = random.in(0, emptiness) ? Block{} : randomBlock(random);
    for (Zel16s& v : block) v = static_cast<Zel16s>(v % 1024);
    if (random.in(0, 9) == 0) {
      for (Zel16s& v : block) v = static_cast<Zel16s>(random.in(-9, 9));
    }
    blocks.push_back(block);
  }
  return blocks;
}

Scan randomScan(Random& random) {
  const int Ss = random.oneOf({0, 1, 1, random.in(1, 63)}), Se = Ss ? random.oneOf({63, random.in(Ss, 63)}) : 0;
  const int Al = random.oneOf({0, 1, 2, 5});
  return {Ss, Se, random.in(0, 1) ? Al + 1 : 0, Al};
}

TEST(HuffmanProgressive, EncodesAndCountsAsTheModelInAnyRoom) {
  Random random(1);
  for (int trial = 0; trial < 400; ++trial) {
    const auto blocks = randomBlocks(random, random.in(1, 60));
    const Scan scan = randomScan(random);
    Table table = randomTable(random, 256);
    const ModelScan model = modelOf(blocks, scan);
    std::vector<Zel32u> counts(256);
    for (const Item& item : model.items) {
      if (item.symbol >= 0) ++counts[static_cast<size_t>(item.symbol)];
    }
    ASSERT_EQ(countedBy(blocks, scan), counts);
    const auto expected = bytesOf(bitsOf(model.items, table) + "1111111");
    const int length = static_cast<int>(expected.size());
    std::vector<Zel8u> bytes;
    for (const int room : {length + 100, length}) {
      if (room == 0) continue;
      ASSERT_EQ(encode(blocks, scan, table, room, &bytes), zelStatusOk);
      ASSERT_EQ(bytes, expected);
    }
    for (int i = 0; i < 5 && length > 1; ++i) {
      const int room = random.in(1, length - 1);
      ASSERT_EQ(encode(blocks, scan, table, room, &bytes), zelStatusJpegBufferEnd);
      ASSERT_LE(bytes.size(), static_cast<size_t>(room));
      ASSERT_TRUE(std::equal(bytes.begin(), bytes.end(), expected.begin()));
    }
  }
}

// All of an image's scans, each coded by the model with the best table for it.
TEST(HuffmanProgressive, RoundTrip) {
  const Scan script[] = {{0, 0, 0, 1}, {1, 5, 0, 2}, {6, 63, 0, 2}, {1, 63, 2, 1}, {0, 0, 1, 0}, {1, 63, 1, 0}};
  Random random(2);
  for (int trial = 0; trial < 60; ++trial) {
    const auto blocks = randomBlocks(random, random.in(1, 80));
    for (const size_t behind : {size_t{0}, size_t{40}}) {
      auto decoded = std::vector<Block>(blocks.size());
      for (const Scan scan : script) {
        const auto counts = countedBy(blocks, scan);
        Zel8u bits[16]{}, values[256]{};
        ASSERT_EQ(zeliEncodeHuffmanRawTableInit_JPEG_8u(reinterpret_cast<const Zel32s*>(counts.data()), bits, values),
                  zelStatusOk);
        std::array<Zel8u, 16> listBits;
        std::copy(bits, bits + 16, listBits.begin());
        Table table(listBits, {values, values + 256});
        auto bytes = bytesOf(bitsOf(modelOf(blocks, scan).items, table) + "1111111");
        bytes.insert(bytes.end(), {0xFF, 0xD9});
        bytes.insert(bytes.end(), behind, 0x5A);
        Zel32s marker = 0;
        ASSERT_EQ(decode(bytes, scan, table, decoded, &marker), zelStatusOk);
      }
      ASSERT_EQ(decoded, blocks);
    }
  }
}

// A scan that is cut off, by the end or by a marker, and one of noise: a status, and no coefficient outside the band.
TEST(HuffmanProgressive, EndsAtEveryCutAndMarker) {
  static const auto order = zigzagOrder();
  Random random(3);
  for (int trial = 0; trial < 60; ++trial) {
    const auto blocks = randomBlocks(random, 20);
    const Scan scan = randomScan(random);
    Table table = randomTable(random, 256);
    const auto whole = bytesOf(bitsOf(modelOf(blocks, scan).items, table) + "1111111");
    for (int i = 0; i < 20 && whole.size() > 2; ++i) {
      std::vector<Zel8u> bytes(whole.begin(), whole.begin() + random.in(1, static_cast<int>(whole.size()) - 2));
      const bool noise = i % 4 == 3, ends = i % 2 == 0;
      if (noise) {
        for (Zel8u& b : bytes) b = static_cast<Zel8u>(random.in(0, 254));
      }
      if (bytes.back() == 0xFF) bytes.push_back(0);
      if (!ends) {
        bytes.insert(bytes.end(), {0xFF, 0xD0});
        bytes.insert(bytes.end(), 50, 0x11);
      }
      Zel32s marker = 0;
      auto decoded = std::vector<Block>(blocks.size());
      for (Block& block : decoded) block.fill(scan.Ah ? 64 : 0);
      const auto before = decoded;
      const ZelStatus status = decode(bytes, scan, table, decoded, &marker);
      if (!noise) {
        if (ends) {
          ASSERT_TRUE(status == zelStatusOk || status == zelStatusJpegBufferEnd) << status;
        }
        ASSERT_EQ(marker, status == zelStatusOk || ends ? marker : 0xD0);
      }
      for (size_t b = 0; b < blocks.size(); ++b) {
        for (int k = 0; k < 64; ++k) {
          const auto at = static_cast<size_t>(order[static_cast<size_t>(k)]);
          // Runs that lead behind the band end on the last coefficient, or up to 15 behind.
          if (k < scan.Ss || (k > scan.Se + 16 && k != 63)) {
            ASSERT_EQ(decoded[b][at], before[b][at]);
          }
        }
      }
    }
  }
}

// By hand, up to a marker; FF FF is one, too.
TEST(HuffmanProgressive, AtAMarker) {
  Table table({0, 3, 1}, {0x00, 0x02, 0x0F, 0xE0}); // 00, 01, 10, 110
  for (const Zel8u marker : {Zel8u{0xD9}, Zel8u{0xFF}}) {
    Zel8u bytes[] = {0x7C, 0xFF, marker};
    DecoderState state;
    Block block{};
    Zel32s position = 0, met = 0;
    const auto read = [&](auto* decoder) {
      return decoder(bytes, 3, &position, block.data(), &met, 1, 63, 0, table.decoder(), state.get());
    };
    // 01 1 1 1 1 00: behind corrections of three, of which one has its bit, a new coefficient, of whatever size.
    block[1] = 2;
    block[8] = 3;
    block[16] = -2;
    EXPECT_EQ(read(zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1), zelStatusJpegMarkerPending);
    EXPECT_EQ(block, (Block{0, 3, 0, 0, 0, 0, 0, 0, 3, 1, 0, 0, 0, 0, 0, 0, -3}));
    EXPECT_EQ(position, 3);
    EXPECT_EQ(met, marker);
    EXPECT_EQ(read(zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1), zelStatusJpegCoefficientRange);
    // 01 00 00: a first scan has no such note.
    bytes[0] = 0x40;
    position = met = 0;
    EXPECT_EQ(read(zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1), zelStatusOk);
    EXPECT_EQ(block[1], -3);
    // Bits that a read lacks which meets the marker itself, of a coefficient and of a run of blocks.
    for (const int held : {0x80, 0xC0}) {
      state.hold(static_cast<Zel64u>(held), 8);
      position = 1;
      met = 0;
      EXPECT_EQ(read(zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1), zelStatusJpegBufferEnd);
      EXPECT_EQ(met, marker);
      EXPECT_EQ(state.eobRun(), held == 0xC0 ? 1 << 14 : 0);
    }
  }
}

// What a block wrote in front of a failure stays, and a flush makes the state new whatever fails in it.
TEST(HuffmanProgressive, BehindAFailure) {
  Table table({0, 1}, {0x01}); // 00; no code for the end of a band
  for (const int room : {2, 1}) {
    EncoderState state, fresh;
    Block block{};
    Zel8u bytes[2];
    Zel32s position = 0;
    const auto put = [&](int Se, int flush) {
      return zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(block.data(), bytes, room, &position, 1, Se, 0, table.encoder(),
                                                        state.get(), flush);
    };
    block[1] = 1;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(put(1, 0), zelStatusOk); // 00 1
    block[8] = 2;
    EXPECT_EQ(put(2, 0), zelStatusJpegHuffmanTable); // 00 1 in front of what has no code
    block.fill(0);
    EXPECT_EQ(put(2, 0), zelStatusOk);
    EXPECT_EQ(put(2, 1), zelStatusJpegHuffmanTable); // the run of one block
    EXPECT_EQ(position, room);
    EXPECT_EQ(bytes[0], 0b00100100);
    if (room == 2) {
      EXPECT_EQ(bytes[1], 0b10011111);
    }
    fresh.bytes[12] = 1; // the run stays
    EXPECT_EQ(std::memcmp(state.bytes, fresh.bytes, sizeof fresh.bytes), 0);
  }
}

TEST(HuffmanProgressive, RunsAndCorrectionsHaveLimits) {
  Table table({0, 0, 0, 0, 0, 0, 0, 16},
              {0x00, 0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x70, 0x80, 0x90, 0xA0, 0xB0, 0xC0, 0xD0, 0xE0, 0x01});
  const Scan first{1, 63, 0, 0}, refinement{1, 63, 1, 0};
  std::vector<Zel8u> bytes;
  std::vector<Block> blocks(32766);
  ASSERT_EQ(encode(blocks, first, table, 100, &bytes), zelStatusOk);
  EXPECT_EQ(bytes, bytesOf(table.codes[0xE0] + "11111111111110" + "11111111"));
  blocks.resize(32768);
  ASSERT_EQ(encode(blocks, first, table, 100, &bytes), zelStatusOk);
  EXPECT_EQ(bytes, bytesOf(table.codes[0xE0] + "11111111111111" + table.codes[0] + "1111111"));
  // 63 corrections a block: 945 of 15 blocks are too many, and those of the next block stand alone.
  Block full;
  full.fill(2);
  blocks.assign(16, full);
  ASSERT_EQ(encode(blocks, refinement, table, 500, &bytes), zelStatusOk);
  EXPECT_EQ(bytes, bytesOf(table.codes[0x30] + "111" + std::string(945, '0') + table.codes[0] + std::string(63, '0') +
                           "1111111"));
  // 937 are not.
  blocks.assign(14, full);
  blocks.resize(16);
  std::fill_n(blocks[14].begin() + 1, 55, Zel16s{2});
  blocks[15][1] = 2;
  ASSERT_EQ(encode(blocks, refinement, table, 500, &bytes), zelStatusOk);
  EXPECT_EQ(bytes, bytesOf(table.codes[0x40] + "0000" + std::string(938, '0') + "11"));
  // Too many bits; and a symbol without a code.
  Block large{};
  large[1] = 2048;
  EXPECT_EQ(encode({large}, first, table, 100, &bytes), zelStatusJpegCoefficientRange);
  large[1] = -32768;
  EXPECT_EQ(encode({large}, first, table, 100, &bytes), zelStatusJpegCoefficientRange);
  large[1] = 2;
  EXPECT_EQ(encode({large}, first, table, 100, &bytes), zelStatusJpegHuffmanTable);
  large[0] = 2048;
  EXPECT_EQ(encode({large}, {0, 0, 0, 0}, table, 100, &bytes), zelStatusJpegCoefficientRange);
  Zel32u counts[256]{};
  Zel16s lastDc = 0;
  EXPECT_EQ(zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(large.data(), counts, &lastDc, 0),
            zelStatusJpegCoefficientRange);
}

// A decoder in a run of blocks reads nothing.
TEST(HuffmanProgressive, RunOfBlocks) {
  Table table({0, 1}, {0x20}); // 00
  const Zel8u bytes[] = {0x10, 0xFF, 0xD9};
  DecoderState state;
  Block block;
  block.fill(1);
  for (int left = 4; left >= 0; --left) { // 00 01: a run of 5
    Zel32s position = left == 4 ? 0 : 1, marker = 0;
    ASSERT_EQ(zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(bytes, 3, &position, block.data(), &marker, 1, 63, 0,
                                                         table.decoder(), state.get()),
              zelStatusOk);
    ASSERT_EQ(state.eobRun(), left);
    if (left < 4) {
      ASSERT_EQ(position, 1);
    }
  }
  for (const Zel16s v : block) ASSERT_EQ(v, 1);
}

TEST(HuffmanProgressive, OrderOfChecks) {
  Table table({1}, {0});
  EncoderState encoder;
  DecoderState decoder;
  Block block{};
  Zel8u bytes[16] = {};
  Zel32u counts[256] = {};
  Zel16s lastDc = 0;
  Zel32s position = 0, marker = 0;
  const auto in = [&](int stage, int from, auto* p) { return stage >= from ? p : nullptr; };
  // Each call with one more argument put right than the last.
  const ZelStatus encodes[] = {-8, -6, -8, -8, -8, -8, -5, -5, -5, 0};
  for (int s = 0; s < 10; ++s) {
    for (auto* code : {zeliEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1, zeliEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1}) {
      EXPECT_EQ(code(in(s, 6, block.data()), in(s, 1, bytes), s >= 2 ? 16 : 0, in(s, 3, &position), s >= 7 ? 2 : 64,
                     s >= 8 ? 2 : 1, s >= 9 ? 13 : 14, in(s, 5, table.encoder()), in(s, 4, encoder.get()), 0),
                encodes[s])
          << s;
    }
  }
  const ZelStatus dcFirst[] = {-8, -6, -8, -8, -8, -8, -5, -8, 0};
  for (int s = 0; s < 9; ++s) {
    EXPECT_EQ(zeliEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(in(s, 5, block.data()), in(s, 1, bytes), s >= 2 ? 16 : 0,
                                                         in(s, 3, &position), in(s, 6, &lastDc), s >= 7 ? 0 : -1,
                                                         in(s, 8, table.encoder()), in(s, 4, encoder.get()), 0),
              dcFirst[s]);
    EXPECT_EQ(zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(in(s, 1, bytes), s >= 2 ? 16 : 0, in(s, 3, &(position = 0)),
                                                         in(s, 4, block.data()), in(s, 5, &lastDc), in(s, 6, &marker),
                                                         s >= 7 ? 0 : 14, in(s, 8, table.decoder()), decoder.get()),
              s == 6   ? -5
              : s == 7 ? -8
                       : dcFirst[s]);
  }
  const ZelStatus decodes[] = {-8, -6, -8, -8, -8, -5, -5, -5, -8, -8, 0};
  for (int s = 0; s < 11; ++s) {
    for (auto* read : {zeliDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1, zeliDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1}) {
      EXPECT_EQ(
          read(in(s, 1, bytes), s >= 2 ? 16 : 0, in(s, 3, &(position = 0)), in(s, 4, block.data()), in(s, 5, &marker),
               s >= 6 ? 1 : 0, s >= 7 ? 63 : 64, s >= 8 ? 0 : -1, in(s, 9, table.decoder()), in(s, 10, decoder.get())),
          decodes[s])
          << s;
    }
  }
  EXPECT_EQ(zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(bytes, 16, &position, block.data(), &marker, 14, nullptr), -5);
  EXPECT_EQ(zeliDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(bytes, 16, &position, block.data(), &marker, 13, nullptr), -8);
  EXPECT_EQ(zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(nullptr, bytes, 16, &position, 14, encoder.get(), 0), -8);
  EXPECT_EQ(zeliEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block.data(), bytes, 16, &position, 14, encoder.get(), 0), -5);
  const ZelStatus counting[] = {-8, -8, -8, -5, -5, -5, 0};
  for (int s = 0; s < 7; ++s) {
    for (auto* count :
         {zeliGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1, zeliGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1}) {
      EXPECT_EQ(count(in(s, 3, block.data()), in(s, 1, counts), s >= 4 ? 63 : 0, s >= 5 ? 63 : 64, s >= 6 ? 13 : 14,
                      in(s, 2, encoder.get()), 0),
                counting[s]);
    }
  }
  EXPECT_EQ(zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block.data(), counts, nullptr, 14), -8);
  EXPECT_EQ(zeliGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block.data(), counts, &lastDc, 14), -5);
}

} // namespace
} // namespace zelj::test
