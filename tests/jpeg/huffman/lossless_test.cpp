// Predictors and row coders of the lossless process.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <tuple>

#include "model.h"
#include "states.h"
#include "support/guarded.h"

namespace zelj::test {
namespace {

int foretell(int predictor, int left, int above, int corner) {
  switch (predictor) {
    case 1:
      return left;
    case 2:
      return above;
    case 3:
      return corner;
    case 4:
      return left + above - corner;
    case 5:
      return left + ((above - corner) >> 1);
    case 6:
      return above + ((left - corner) >> 1);
    default:
      return (left + above) >> 1;
  }
}

TEST(Lossless, PredictorsAndTheirInverses) {
  Random random(1);
  for (int trial = 0; trial < 400; ++trial) {
    const int width = trial < 80 ? trial + 1 : random.in(1, 300), step = width * 2 + random.in(0, 1);
    const int limit = random.oneOf({3, 255, 16000, 32767}), extremes = random.in(0, 1);
    // Differing edges and addresses, odd ones too.
    const auto row = [&] { return Region<Zel16s>(width, 1, step, random.in(0, 1) ? Edge::end : Edge::begin); };
    Region<Zel16s> above = row(), samples = row(), difference = row(), back = row();
    const auto make = [&](int, int) {
      return !extremes || random.in(0, 5) ? random.in(-limit, limit) : random.oneOf({-32768, 32767, 0});
    };
    above.fill(make);
    samples.fill(make);
    for (int predictor = 0; predictor <= 7; ++predictor) {
      const int P = random.in(2, 16), Pt = random.in(0, 3);
      const auto want = [&](int x, int) {
        const int left = x ? samples.get(x - 1) : 0;
        const int middle = x ? left : P > Pt ? 1 << (P - Pt - 1) : 0; // 2^31 and 2^30 leave no low bits
        const int guess = predictor == 0 ? middle
                          : x == 0       ? above.get(0)
                                         : foretell(predictor, left, above.get(x), above.get(x - 1));
        return static_cast<Zel16s>(samples.get(x) - guess);
      };
      if (predictor == 0) {
        ASSERT_EQ(zeliDiffPredFirstRow_JPEG_16s_C1(samples.data(), difference.data(), width, P, Pt), zelStatusOk);
        ASSERT_TRUE(equals(difference, want));
        ASSERT_EQ(zeliReconstructPredFirstRow_JPEG_16s_C1(difference.data(), back.data(), width, P, Pt), zelStatusOk);
        ASSERT_TRUE(equals(back, [&](int x, int y) { return samples.get(x, y); }));
        continue;
      }
      ASSERT_EQ(zeliDiffPredRow_JPEG_16s_C1(samples.data(), above.data(), difference.data(), width, predictor), 0);
      ASSERT_TRUE(equals(difference, want)) << "predictor " << predictor;
      ASSERT_EQ(zeliReconstructPredRow_JPEG_16s_C1(difference.data(), above.data(), back.data(), width, predictor), 0);
      ASSERT_TRUE(equals(back, [&](int x, int y) { return samples.get(x, y); })) << "predictor " << predictor;
      // In the place of the differences.
      ASSERT_EQ(
          zeliReconstructPredRow_JPEG_16s_C1(difference.data(), above.data(), difference.data(), width, predictor), 0);
      ASSERT_TRUE(equals(difference, [&](int x, int y) { return samples.get(x, y); })) << "predictor " << predictor;
      if (predictor != 2 && predictor != 3) continue; // which do not look at the sample to the left
      ASSERT_EQ(zeliDiffPredRow_JPEG_16s_C1(back.data(), above.data(), back.data(), width, predictor), zelStatusOk);
      ASSERT_TRUE(equals(back, want)) << "predictor " << predictor;
    }
  }
}

TEST(Lossless, PredictorGolden) {
  const Zel16s samples[] = {100, -5}, above[] = {3, 8};
  Zel16s out[2];
  ASSERT_EQ(zeliDiffPredFirstRow_JPEG_16s_C1(samples, out, 1, 16, 0), zelStatusOk);
  EXPECT_EQ(out[0], 100 - 32768);
  ASSERT_EQ(zeliDiffPredFirstRow_JPEG_16s_C1(samples, out, 1, 8, 8), zelStatusOk);
  EXPECT_EQ(out[0], 100) << "half the range is 2^31, and nothing of it is left in 16 bits";
  ASSERT_EQ(zeliDiffPredRow_JPEG_16s_C1(samples, above, out, 2, 7), zelStatusOk);
  EXPECT_EQ(out[0], 97);
  EXPECT_EQ(out[1], -5 - 54);
  const ZelStatus first[] = {-8, -8, -6, -5, -5, 0}, row[] = {-8, -8, -8, -6, -5, 0};
  for (int s = 0; s < 6; ++s) {
    for (auto* call : {zeliDiffPredFirstRow_JPEG_16s_C1, zeliReconstructPredFirstRow_JPEG_16s_C1}) {
      EXPECT_EQ(call(s >= 1 ? samples : nullptr, s >= 2 ? out : nullptr, s >= 3, s >= 4 ? 2 : 17, s >= 5 ? 0 : -1),
                first[s]);
    }
    for (auto* call : {zeliDiffPredRow_JPEG_16s_C1, zeliReconstructPredRow_JPEG_16s_C1}) {
      EXPECT_EQ(
          call(s >= 1 ? samples : nullptr, s >= 2 ? above : nullptr, s >= 3 ? out : nullptr, s >= 4, s >= 5 ? 7 : 8),
          row[s]);
    }
  }
}

// Rows of differences, a table for each plane, and the model's code.
struct Rows {
  int planes, coded, width;
  std::vector<Table> tables;
  std::vector<std::vector<Zel16s>> samples;
  std::string bits;

  Rows(Random& random, int planeCount) : planes(planeCount), coded(std::min(planeCount, 4)), width(random.in(1, 90)) {
    const int limit = random.oneOf({1, 20, 2000, 32767});
    for (int c = 0; c < coded; ++c) {
      tables.push_back(randomTable(random, 17));
      samples.emplace_back();
      for (int x = 0; x < width; ++x) {
        const int value = random.in(0, 40) ? random.in(-limit, limit) : -32768;
        samples.back().push_back(static_cast<Zel16s>(value));
      }
    }
    for (size_t x = 0; x < static_cast<size_t>(width); ++x) {
      for (size_t c = 0; c < static_cast<size_t>(coded); ++c) {
        const int value = samples[c][x];
        bits += tables[c].codes[categoryOf(value)] + (value == -32768 ? "" : additionalBits(value));
      }
    }
  }
};

ZelStatus encode(Rows& rows, int room, std::vector<Zel8u>* bytes) {
  GuardedMemory destination(static_cast<size_t>(room));
  EncoderState state;
  Zel32s position = 0;
  const Zel16s* samples[4] = {};
  const ZeliEncodeHuffmanSpec* tables[4] = {};
  for (size_t c = 0; c < rows.samples.size(); ++c) {
    samples[c] = rows.samples[c].data();
    tables[c] = rows.tables[c].encoder();
  }
  ZelStatus status = zelStatusOk;
  for (const int flush : {0, 1}) {
    if (status) break;
    status = zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(flush ? nullptr : samples, rows.width, rows.planes,
                                                  destination.data(), room, &position, tables, state.get(), flush);
  }
  bytes->assign(destination.data(), destination.data() + position);
  return status;
}

// Decodes into rows that end at an inaccessible page; returns how many samples are right, in coded order.
ZelStatus decode(Rows& rows, const std::vector<Zel8u>& bytes, Zel32s* marker, int* right) {
  GuardedMemory source(bytes.size());
  std::copy(bytes.begin(), bytes.end(), source.data());
  std::vector<Region<Zel16s>> decoded;
  Zel16s* to[4] = {};
  const ZeliDecodeHuffmanSpec* tables[4] = {};
  for (size_t c = 0; c < rows.samples.size(); ++c) {
    decoded.emplace_back(rows.width, 1);
    to[c] = decoded[c].data();
    tables[c] = rows.tables[c].decoder();
  }
  DecoderState state;
  Zel32s position = 0;
  ZelStatus status = zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(source.data(), static_cast<Zel32s>(bytes.size()), &position,
                                                          to, rows.width, rows.planes, marker, tables, state.get());
  EXPECT_LE(state.validBits(), 32);
  if (status != zelStatusOk) {
    // All is left as by one value after the other.
    DecoderState one;
    Zel32s at = 0, met = 0;
    Zel16s value;
    ZelStatus last = zelStatusOk;
    for (size_t c = 0; last == zelStatusOk; c = (c + 1) % rows.samples.size()) {
      last = zeliDecodeHuffmanOne_JPEG_1u16s_C1(source.data(), static_cast<Zel32s>(bytes.size()), &at, &value, &met,
                                                rows.tables[c].decoder(), one.get());
    }
    EXPECT_EQ(std::tie(status, position, *marker), std::tie(last, at, met));
    EXPECT_EQ(std::memcmp(state.bytes, one.bytes, 12), 0);
  }
  if (state.validBits() < 0) status = zelStatusJpegCoefficientRange; // of bits that a marker withheld
  *right = 0;
  for (int x = 0; x < rows.width; ++x) {
    for (size_t c = 0; c < rows.samples.size(); ++c) {
      if (decoded[c].get(x) != rows.samples[c][static_cast<size_t>(x)]) return status;
      ++*right;
    }
  }
  return status;
}

TEST(Lossless, RowCodersAsTheModel) {
  Random random(2);
  for (int trial = 0; trial < 300; ++trial) {
    Rows rows(random, random.in(1, 5));
    const auto expected = bytesOf(rows.bits + "1111111");
    const int length = static_cast<int>(expected.size()), all = rows.coded * rows.width;
    std::vector<Zel8u> bytes;
    for (const int room : {length + 300, length}) {
      ASSERT_EQ(encode(rows, std::max(room, 1), &bytes), zelStatusOk);
      ASSERT_EQ(bytes, expected);
    }
    if (length > 1) {
      ASSERT_EQ(encode(rows, random.in(1, length - 1), &bytes), zelStatusJpegBufferEnd);
      ASSERT_TRUE(std::equal(bytes.begin(), bytes.end(), expected.begin()));
    }
    for (const size_t behind : {size_t{0}, size_t{300}}) {
      auto whole = expected;
      for (size_t i = 0; i < behind; ++i) whole.push_back(static_cast<Zel8u>(random.in(0, 254)));
      Zel32s marker = 0;
      int right;
      ASSERT_EQ(decode(rows, whole, &marker, &right), zelStatusOk);
      ASSERT_EQ(right, all);
    }
    if (length < 4) continue;
    auto cut = std::vector<Zel8u>(expected.begin(), expected.begin() + random.in(1, length - 2));
    if (cut.back() == 0xFF) cut.push_back(0);
    Zel32s marker = 0;
    int right;
    ASSERT_EQ(decode(rows, cut, &marker, &right), zelStatusJpegBufferEnd);
    ASSERT_LT(right, all);
    cut.insert(cut.end(), {0xFF, 0xFF, 0xD7});
    cut.insert(cut.end(), 100, 0x11);
    ASSERT_EQ(decode(rows, cut, &marker, &right), zelStatusJpegCoefficientRange);
    ASSERT_EQ(marker, 0xD7);
  }
}

TEST(Lossless, RowCoderStatuses) {
  Table table({0, 2}, {0, 16}); // 00, 01
  EncoderState encoder;
  DecoderState decoder;
  Zel16s samples[2] = {0, 5}, *to[4] = {samples, samples, nullptr, nullptr};
  const Zel16s* rows[4] = {samples, samples, nullptr, nullptr};
  const ZeliEncodeHuffmanSpec* encode[4] = {table.encoder(), table.encoder(), nullptr, nullptr};
  const ZeliDecodeHuffmanSpec* decode[4] = {table.decoder(), table.decoder(), nullptr, nullptr};
  Zel8u bytes[64] = {};
  Zel32s position = 0, marker = 0;
  const auto in = [&](int stage, int from, auto* p) { return stage >= from ? p : nullptr; };
  const ZelStatus statuses[] = {-8, -6, -8, -8, -8, -6, -6, -8, -8, 0};
  for (int s = 0; s < 10; ++s) {
    EXPECT_EQ(zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(in(s, 5, rows), s >= 6,
                                                   s < 7   ? 0
                                                   : s < 9 ? 3
                                                           : 2,
                                                   in(s, 1, bytes), s >= 2 ? 64 : 0, in(s, 3, &position),
                                                   in(s, 8, encode), in(s, 4, encoder.get()), 0),
              statuses[s])
        << s;
  }
  const ZelStatus reading[] = {-8, -6, -8, -8, -6, -6, -8, -8, -8, -8, 0};
  for (int s = 0; s < 11; ++s) {
    EXPECT_EQ(zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(in(s, 1, bytes), s >= 2 ? 64 : 0, in(s, 3, &(position = 0)),
                                                   in(s, 4, to), s >= 5,
                                                   s < 6    ? 0
                                                   : s < 10 ? 3
                                                            : 2,
                                                   in(s, 7, &marker), in(s, 8, decode), in(s, 9, decoder.get())),
              reading[s])
        << s;
  }
  // Categories of 17 and more, too, stand for -32768, without further bits; of a DC term's symbol four bits count.
  Table beyond({1}, {0x23}); // 0
  Zel8u zeros[60] = {};
  Zel16s row[40], lastDc = 0;
  Zel16s* only[4] = {row, nullptr, nullptr, nullptr};
  const ZeliDecodeHuffmanSpec* specs[4] = {beyond.decoder(), nullptr, nullptr, nullptr};
  for (const int length : {60, 8}) { // with and without room to read ahead
    DecoderState state;
    position = 0;
    EXPECT_EQ(zeliDecodeHuffmanRow_JPEG_1u16s_C1P4(zeros, length, &position, only, 40, 1, &marker, specs, state.get()),
              zelStatusOk);
    EXPECT_EQ(std::count(row, row + 40, -32768), 40);
  }
  zeros[0] = 0x70;
  DecoderState dc;
  EXPECT_EQ(zeliDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(zeros, 60, &(position = 0), row, &lastDc, &marker, 0,
                                                       beyond.decoder(), dc.get()),
            zelStatusOk);
  EXPECT_EQ(lastDc, 7);
  // Samples in front of one without a code are written.
  position = 0;
  samples[1] = 5;
  EncoderState fresh;
  const Zel16s first = -32768;
  const Zel16s* one[4] = {&first, samples + 1, nullptr, nullptr};
  EXPECT_EQ(zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(one, 1, 2, bytes, 64, &position, encode, fresh.get(), 0),
            zelStatusJpegHuffmanTable);
  EXPECT_EQ(zeliEncodeHuffmanRow_JPEG_16s1u_P4C1(one, 1, 2, bytes, 64, &position, encode, fresh.get(), 1), zelStatusOk);
  EXPECT_EQ(position, 1);
  EXPECT_EQ(bytes[0], 0x7F);
}

} // namespace
} // namespace zelj::test
