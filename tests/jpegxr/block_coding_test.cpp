// Run/level and fixed-length coding of JPEG XR: codes worked out by hand, blocks that come back with the state in step,
// cells at every bit position, damaged streams, and the adaptive state.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/guarded.h"
#include "support/random.h"
#include "zelj.h"

namespace zelj::test {
namespace {

// The fields of the state record that tests look at.
constexpr size_t kStateSize = 2208, kSlotAt = 848, kDiscriminantAt = 1268, kScanAt[3] = {1948, 1692, 1436};

struct State {
  alignas(8) Zel8u bytes[kStateSize] = {};

  State() {
    EXPECT_EQ(zeliVLCInit_JPEGXR(*this), zelStatusOk);
    for (const Zel32s which : {0, 1, 2}) EXPECT_EQ(zeliVLCScanReset_JPEGXR(*this, which), zelStatusOk);
  }
  operator ZeliVLCState_JPEGXR*() { return reinterpret_cast<ZeliVLCState_JPEGXR*>(bytes); }
  Zel32s get(size_t at) const {
    Zel32s value;
    std::memcpy(&value, bytes + at, sizeof value);
    return value;
  }
  void set(size_t at, Zel32s value) { std::memcpy(bytes + at, &value, sizeof value); }
  // All but the scan in force, which is a pointer into the record.
  bool operator==(const State& other) const { return std::equal(bytes + 8, bytes + kStateSize, other.bytes + 8); }
};

struct Cells {
  Zel8u* at;
  Zel32u bits = 0, count = 0;
};

// The bits that a stream holds behind its first `skip`.
std::string bitsOf(const Zel8u* begin, const Cells& cells, size_t skip = 0) {
  std::string text;
  for (const Zel8u* p = begin; p != cells.at; ++p) {
    for (int bit = 7; bit >= 0; --bit) text += *p >> bit & 1 ? '1' : '0';
  }
  for (Zel32u i = 0; i < cells.count; ++i) text += cells.bits >> (31 - i) & 1 ? '1' : '0';
  return text.substr(skip);
}

std::string withoutSpaces(std::string text) {
  std::erase(text, ' ');
  return text;
}

TEST(RunLevelCoding, CodesWorkedOutByHand) {
  const struct {
    std::vector<Zel32s> pairs; // run, level
    const char* bits;
  } cases[] = {
      {{0, 1}, "00010 0"},                            // small and alone on the first place
      {{0, -1}, "00010 1"},                           //
      {{0, 18}, "000001 0 00001 0000 0000"},          // the least escaped magnitude
      {{0, -2000}, "000001 1 00001 0110 1111001110"}, // 1998: six bits above the lowest five
      {{2, -3, 0, 1}, "00011 1 10 01 01 0"},          // a run, then a neighbour
      {{0, 9, 3, -1}, "101 0 001 11 001 0 01 1"},
      {{13, 1}, "0010 0 0001 110"},                   // the last place but one
      {{12, 1, 0, -4}, "0011 0 0001 101 110 1 11 0"}, // it has codes of its own
      {{13, 1, 0, -2}, "0011 0 0001 110 1 1 01"},     // and so has the last
  };
  for (const auto& c : cases) {
    State state;
    // A block with the pairs along the scan in force.
    Region<Zel32s> block(4, 4);
    block.fill([](int x, int y) { return x + y ? 0 : 77; });
    size_t place = 0;
    for (size_t i = 0; i < c.pairs.size(); i += 2) {
      place += static_cast<size_t>(c.pairs[i]) + 1;
      const size_t entry = kScanAt[2] + 16 * place;
      block.set(state.get(entry + 8), state.get(entry + 12), c.pairs[i + 1]);
    }
    Zel8u bytes[64];
    Cells cells{bytes};
    Zel32u count = 0;
    ASSERT_EQ(
        zeliVLCEncode4x4_JPEGXR_32s1u_C1R(block.data(), 16, 0, 0, &cells.at, &cells.bits, &cells.count, &count, state),
        zelStatusOk);
    EXPECT_EQ(bitsOf(bytes, cells), withoutSpaces(c.bits));
    EXPECT_EQ(count, c.pairs.size() / 2);

    // The same pairs as a low-pass block; its alphabets begin alike.
    State lowPass;
    Cells second{bytes};
    ASSERT_EQ(zeliVLCEncodeDC444_JPEGXR_32s1u(c.pairs.data(), static_cast<Zel32s>(c.pairs.size() / 2), 1, &second.at,
                                              &second.bits, &second.count, lowPass),
              zelStatusOk);
    EXPECT_EQ(bitsOf(bytes, second), withoutSpaces(c.bits));
  }
}

TEST(RunLevelCoding, ShortScansHaveShorterRuns) {
  const auto encode = [](auto f, std::vector<Zel32s> pairs) {
    State state;
    Zel8u bytes[64];
    Cells cells{bytes};
    EXPECT_EQ(f(pairs.data(), static_cast<Zel32u>(pairs.size() / 2), &cells.at, &cells.bits, &cells.count, state), 0);
    return bitsOf(bytes, cells);
  };
  EXPECT_EQ(encode(zeliVLCEncodeDC420_JPEGXR_32s1u, {5, 1}), withoutSpaces("0010 0 0001 0"));
  EXPECT_EQ(encode(zeliVLCEncodeDC420_JPEGXR_32s1u, {1, 1, 2, 1}), withoutSpaces("011 0 1 01 0 0"));
  EXPECT_EQ(encode(zeliVLCEncodeDC420_JPEGXR_32s1u, {0, 1, 4, -1}), withoutSpaces("100 0 000 0 1"));
  EXPECT_EQ(encode(zeliVLCEncodeDC422_JPEGXR_32s1u, {13, 1}), withoutSpaces("0010 0 0001 110"));
  EXPECT_EQ(encode(zeliVLCEncodeDC422_JPEGXR_32s1u, {12, 1}), withoutSpaces("0010 0 0001 101"));
}

template <class Sample>
struct Exports;
template <>
struct Exports<Zel16s> {
  static constexpr auto encode = zeliVLCEncode4x4_JPEGXR_16s1u_C1R;
  static constexpr auto encodeFlex = zeliVLCEncode4x4Flex_JPEGXR_16s1u_C1R;
  static constexpr auto decode = zeliVLCDecode4x4_JPEGXR_1u16s_C1R;
  static constexpr auto encodeFixed = zeliFLCEncode4x4_JPEGXR_16s1u_C1R;
  static constexpr auto decodeFixed = zeliFLCDecode4x4_JPEGXR_1u16s_C1IR;
};
template <>
struct Exports<Zel32s> {
  static constexpr auto encode = zeliVLCEncode4x4_JPEGXR_32s1u_C1R;
  static constexpr auto encodeFlex = zeliVLCEncode4x4Flex_JPEGXR_32s1u_C1R;
  static constexpr auto decode = zeliVLCDecode4x4_JPEGXR_1u32s_C1R;
  static constexpr auto encodeFixed = zeliFLCEncode4x4_JPEGXR_32s1u_C1R;
  static constexpr auto decodeFixed = zeliFLCDecode4x4_JPEGXR_1u32s_C1IR;
};

// A block on its way through a stream: a coded one, or one without pairs whose fixed-length codes stand alone.
template <class Sample>
struct Job {
  Zel32u modelBits, trim, chroma;
  Zel32s scan, adapt;
  int step;
  bool isCoded;
  std::vector<Sample> values;

  explicit Job(Random& random)
      : modelBits(static_cast<Zel32u>(random.oneOf({0, 0, 1, 2, 3, 5, 8, 15}))),
        trim(static_cast<Zel32u>(random.oneOf({0, 0, 0, 1, 2, 7}))),
        chroma(static_cast<Zel32u>(random.in(0, 1))),
        scan(random.in(0, 2)),
        adapt(random.in(-3, 1)),
        step(random.in(4, 9) * static_cast<int>(sizeof(Sample)) + random.in(0, 1)),
        isCoded(random.in(0, 3) > 0) {
    const int density = random.in(1, 16), range = random.oneOf({1, 2, 20, 500, 30000, 1 << 28});
    const Zel64s low = (1 << modelBits) - 1; // at most this is not coded
    const Zel64s most = sizeof(Sample) == 2 ? 32767 : 0x3FFFFFFF;
    for (int i = 0; i < 16; ++i) {
      Zel64s value = random.in(1, 16) > density ? 0 : Zel64s{random.in(-range, range)} * (random.in(0, 1) << modelBits);
      if (random.in(0, 1)) value += random.in(static_cast<int>(-low), static_cast<int>(low));
      value = std::clamp(value, -most - 1, most);
      if (!isCoded) value = std::clamp(value, -low, low);
      values.push_back(static_cast<Sample>(value));
    }
  }
  Zel32u fixedBits() const { return modelBits > trim ? modelBits - trim : 0; }
  Sample valueOf(int x, int y) const { return values[static_cast<size_t>(4 * y + x)]; }
  // What comes back: without fixed-length codes, the lowest modelBits are lost, with them the lowest trim bits.
  Zel64s expected(int x, int y) const {
    if (x + y == 0) return 5;
    const Zel64s value = valueOf(x, y), lost = fixedBits() > 0 ? trim : modelBits;
    const Zel64s kept = (value < 0 ? -value : value) >> lost << lost;
    return value < 0 ? -kept : kept;
  }
};

template <class Sample>
void encode(const Job<Sample>& job, Cells& cells, State& state) {
  using E = Exports<Sample>;
  Region<Sample> block(4, 4, job.step);
  block.fill([&](int x, int y) { return job.valueOf(x, y); });
  const auto step = static_cast<Zel32u>(job.step);
  const GuardedMemory residualMemory(64);
  auto* residual = reinterpret_cast<Zel32u*>(residualMemory.data());
  Zel32u count = 0;
  zeliVLCScanSet_JPEGXR(state, job.scan);
  if (job.isCoded) {
    const ZelStatus status = job.fixedBits() > 0
                                 ? E::encodeFlex(block.data(), step, job.chroma, job.modelBits, job.trim, residual,
                                                 &cells.at, &cells.bits, &cells.count, &count, state)
                                 : E::encode(block.data(), step, job.chroma, job.modelBits, &cells.at, &cells.bits,
                                             &cells.count, &count, state);
    ASSERT_EQ(status, zelStatusOk);
    Zel32u pairs = 0;
    for (int i = 1; i < 16; ++i) pairs += std::abs(Zel64s{job.values[static_cast<size_t>(i)]}) >> job.modelBits != 0;
    ASSERT_EQ(count, pairs);
  }
  if (job.fixedBits() > 0) {
    ASSERT_EQ(E::encodeFixed(block.data(), step, residual, &cells.at, &cells.bits, &cells.count, job.fixedBits(),
                             job.trim, job.isCoded),
              zelStatusOk);
  }
  ASSERT_LE(cells.count, 16u);
  if (job.adapt >= 0) zeliVLCAdapt_JPEGXR(state, job.adapt);
}

template <class Sample>
void decode(const Job<Sample>& job, Cells& cells, State& state) {
  using E = Exports<Sample>;
  Region<Sample> block(4, 4, job.step);
  const auto step = static_cast<Zel32u>(job.step);
  block.fill([&](int x, int y) { return x + y == 0 ? 5 : job.isCoded ? 99 : 0; });
  Zel32u count = 0;
  zeliVLCScanSet_JPEGXR(state, job.scan);
  if (job.isCoded) {
    ASSERT_EQ(E::decode(&cells.at, &cells.bits, &cells.count, 1u << job.modelBits, block.data(), step,
                        static_cast<Zel32s>(job.chroma), &count, state),
              zelStatusOk);
  }
  if (job.fixedBits() > 0) {
    ASSERT_EQ(E::decodeFixed(&cells.at, &cells.bits, &cells.count, block.data(), step, job.fixedBits(),
                             static_cast<Zel16s>(1 << job.trim), job.isCoded),
              zelStatusOk);
  }
  ASSERT_TRUE(equals(block, [&](int x, int y) { return job.expected(x, y); }));
  if (job.adapt >= 0) zeliVLCAdapt_JPEGXR(state, job.adapt);
}

template <class Sample>
void checkStreams() {
  Random random(sizeof(Sample));
  for (int round = 0; round < 200; ++round) {
    // A block without a single pair is not coded; a codec knows it from elsewhere.
    std::vector<Job<Sample>> jobs;
    while (jobs.size() < 40) {
      Job<Sample> job(random);
      const auto isSignificant = [&](Sample v) { return std::abs(Zel64s{v}) >> job.modelBits != 0; };
      if (!job.isCoded || std::any_of(job.values.begin() + 1, job.values.end(), isSignificant)) jobs.push_back(job);
    }
    // Once to know the length, and once with not a byte more.
    std::vector<Zel8u> loose(1 << 16);
    Cells first{loose.data()};
    State measured;
    for (const auto& job : jobs) encode(job, first, measured);
    const auto length = static_cast<size_t>(first.at - loose.data());
    const GuardedMemory tight(length);
    Cells cells{tight.data()};
    State encoder, decoder;
    for (const auto& job : jobs) encode(job, cells, encoder);
    ASSERT_EQ(cells.at, tight.data() + length);

    // A reader has between 16 and 31 bits in hand when all is read.
    const size_t bits = length * 8 + cells.count;
    const GuardedMemory source((bits + 16 + 15) / 16 * 2);
    std::fill_n(source.data(), source.size(), Zel8u{0});
    std::copy_n(tight.data(), length, source.data());
    for (size_t i = length; i < std::min(length + 2, source.size()); ++i)
      source.data()[i] = static_cast<Zel8u>(cells.bits >> (24 - 8 * (i - length)));
    Cells reader{source.data()};
    for (const auto& job : jobs) {
      decode(job, reader, decoder);
      if (testing::Test::HasFatalFailure()) return;
    }
    ASSERT_EQ(reader.at, source.data() + source.size());
    ASSERT_EQ(size_t{reader.count}, source.size() * 8 - bits);
    ASSERT_TRUE(encoder == decoder);
  }
}

TEST(BlockCoding, StreamsComeBackWithTheStateInStep16s) {
  checkStreams<Zel16s>();
}
TEST(BlockCoding, StreamsComeBackWithTheStateInStep32s) {
  checkStreams<Zel32s>();
}

TEST(BlockCoding, LowPassBlocksComeBack) {
  Random random(5);
  State encoder, decoder;
  for (int round = 0; round < 3000; ++round) {
    const auto modelBits = static_cast<Zel32u>(random.oneOf({0, 0, 1, 4}));
    const auto chroma = static_cast<Zel32u>(random.in(0, 1));
    Zel32s values[16], pairs[32];
    Zel32u residual[16] = {1234}, count = 0;
    const int density = random.in(1, 16);
    for (Zel32s& v : values) v = random.in(1, 16) > density ? 0 : random.in(-90, 90) >> random.in(0, 7);
    zeliVLCScanSet_JPEGXR(encoder, 1);
    ASSERT_EQ(zeliVLCScan4x4DC_JPEGXR_32s(values, modelBits, residual, pairs, &count, encoder), zelStatusOk);
    EXPECT_EQ(residual[0], 1234u);
    for (size_t i = 1; i < 16 && modelBits > 0; ++i) {
      const auto magnitude = static_cast<Zel32u>(std::abs(values[i])), mask = (1u << modelBits) - 1;
      const Zel32u small = magnitude * 4 + (magnitude ? 1 : 0) + (values[i] < 0 ? 2 : 0);
      ASSERT_EQ(residual[i], magnitude > mask ? (magnitude & mask) * 2 : small);
    }
    Zel8u bytes[256] = {};
    Cells cells{bytes}, reader{bytes};
    // Begin anywhere in a byte.
    cells.count = reader.count = static_cast<Zel32u>(random.in(0, 16));
    if (count > 0) {
      ASSERT_EQ(zeliVLCEncodeDC444_JPEGXR_32s1u(pairs, static_cast<Zel32s>(count), chroma, &cells.at, &cells.bits,
                                                &cells.count, encoder),
                zelStatusOk);
    }
    cells.at[0] = static_cast<Zel8u>(cells.bits >> 24);
    cells.at[1] = static_cast<Zel8u>(cells.bits >> 16);
    // What was pending in front stands in the stream for the reader.
    const Zel32u skipped = reader.count;
    Zel32u word = Zel32u{bytes[0]} << 24 | Zel32u{bytes[1]} << 16 | Zel32u{bytes[2]} << 8 | bytes[3];
    reader = {bytes + 4, word << skipped, 32 - skipped};
    Zel32s back[16] = {};
    Zel32u found = 0;
    zeliVLCScanSet_JPEGXR(decoder, 2);
    if (count > 0) {
      ASSERT_EQ(zeliVLCDecodeDC444_JPEGXR_1u32s(&reader.at, &reader.bits, &reader.count, back, chroma, &found, decoder),
                zelStatusOk);
    }
    ASSERT_EQ(found, count);
    for (size_t i = 1; i < 16; ++i) {
      const Zel32s level = std::abs(values[i]) >> modelBits;
      ASSERT_EQ(back[i], values[i] < 0 ? -level : level);
    }
    ASSERT_TRUE(encoder == decoder);
    if (random.in(0, 9) == 0) {
      zeliVLCAdapt_JPEGXR(encoder, 0);
      zeliVLCAdapt_JPEGXR(decoder, 0);
    }
  }
}

// Whatever a stream holds, only the block is written, and as many bytes are fetched as there are.
TEST(BlockCoding, DamagedStreams) {
  Random random(6);
  State state;
  Region<Zel16s> narrow(4, 4, 11);
  Region<Zel32s> wide(4, 4, 23), values(16, 1);
  for (int round = 0; round < 2000; ++round) {
    const GuardedMemory source(300);
    for (size_t i = 0; i < source.size(); ++i)
      source.data()[i] = static_cast<Zel8u>(random.bits() & random.bits() & (round & 1 ? 255u : random.bits()));
    Cells cells{source.data()};
    Zel32u count = 0;
    const Zel32s chroma = random.in(0, 1);
    zeliVLCScanSet_JPEGXR(state, random.in(0, 2));
    zeliVLCDecode4x4_JPEGXR_1u16s_C1R(&cells.at, &cells.bits, &cells.count, 3, narrow.data(), 11, chroma, &count,
                                      state);
    ASSERT_LE(count, 16u);
    cells = {source.data()};
    zeliVLCDecode4x4_JPEGXR_1u32s_C1R(&cells.at, &cells.bits, &cells.count, 3, wide.data(), 23, chroma, &count, state);
    cells = {source.data()};
    zeliVLCDecodeDC444_JPEGXR_1u32s(&cells.at, &cells.bits, &cells.count, values.data(), 0, &count, state);
    cells = {source.data()};
    zeliVLCDecodeDC422_JPEGXR_1u32s(&cells.at, &cells.bits, &cells.count, values.data(), &count, state);
    cells = {source.data()};
    zeliVLCDecodeDC420_JPEGXR_1u32s(&cells.at, &cells.bits, &cells.count, values.data(), &count, state);
    if (random.in(0, 7) == 0) zeliVLCAdapt_JPEGXR(state, random.in(0, 1));
  }
  EXPECT_TRUE(narrow.gapsUntouched() && wide.gapsUntouched());
}

TEST(FixedLengthCoding, GoldenFields) {
  Region<Zel16s> block(4, 4);
  const Zel32u residual[16] = {};
  block.fill([](int x, int y) { return x == 2 && y == 0 ? -6 : x == 1 && y == 0 ? 4 : x == 3 && y == 1 ? 1 : 0; });
  Zel8u bytes[8];
  Cells cells{bytes};
  // 3 and its sign, 2 with low bits of zero and its sign, a value that trim takes away, twelve zeros.
  EXPECT_EQ(zeliFLCEncode4x4_JPEGXR_16s1u_C1R(block.data(), 8, residual, &cells.at, &cells.bits, &cells.count, 1, 1, 0),
            0);
  EXPECT_EQ(bitsOf(bytes, cells), withoutSpaces("11 00 0 000000000000"));

  // Refined away from zero by twice the field; a new value takes the bit behind its field for a sign.
  bytes[0] = 0b10110000;
  bytes[1] = bytes[2] = bytes[3] = 0;
  Cells reader{bytes};
  block.set(1, 0, 0);
  EXPECT_EQ(zeliFLCDecode4x4_JPEGXR_1u16s_C1IR(&reader.at, &reader.bits, &reader.count, block.data(), 8, 1, 2, 1), 0);
  EXPECT_EQ(block.get(2, 0), -8);
  EXPECT_EQ(block.get(1, 0), 0);
  EXPECT_EQ(block.get(3, 1), 3);
  EXPECT_EQ(block.get(0, 2), 2);
  EXPECT_EQ(reader.count, 32u - 15u - 1u);
}

TEST(AdaptiveState, TablesMoveWithTheirScores) {
  const struct {
    int slot;
    Zel32s table, low, high, tableAfter, lowAfter, upperBound, lowerBound;
  } cases[] = {
      {19, 0, 8, 0, 0, 8, 8, -0x7FFFFFFF - 1},     // at the bound it stays
      {19, 0, 9, 0, 1, 0, 0x40000000, -8},         // the second of two tables is the last
      {19, 0, -99, 0, 0, -64, 8, -0x7FFFFFFF - 1}, // no way down; scores are limited
      {14, 1, -8, 3, 1, -8, 8, -8},
      {14, 1, -9, 3, 0, 0, 8, -0x7FFFFFFF - 1},
      {14, 1, 60, 8, 1, 60, 8, -8}, // upwards the second score counts
      {14, 1, 0, 9, 2, 0, 8, -8},
      {13, 3, 0, 9, 4, 0, 0x40000000, -8},
  };
  for (const auto& c : cases) {
    State state;
    const size_t slot = kSlotAt + 20 * static_cast<size_t>(c.slot), score = 4 * static_cast<size_t>(c.slot);
    state.set(slot + 4, c.table);
    // Bounds as they are for the table.
    for (int pass = 0; pass < 2; ++pass) {
      state.set(kDiscriminantAt + score, pass ? c.low : 0);
      state.set(kDiscriminantAt + 84 + score, pass ? c.high : 0);
      EXPECT_EQ(zeliVLCAdapt_JPEGXR(state, 1), zelStatusOk);
    }
    EXPECT_EQ(state.get(slot + 4), c.tableAfter);
    EXPECT_EQ(state.get(kDiscriminantAt + score), c.lowAfter);
    EXPECT_EQ(state.get(slot + 12), c.upperBound);
    EXPECT_EQ(state.get(slot + 16), c.lowerBound);
  }
}

TEST(AdaptiveState, ScansReorderAndRestart) {
  State state;
  const auto indexAt = [&](size_t place) { return state.get(kScanAt[2] + 16 * place + 4); };
  Zel32s values[16] = {}, pairs[32];
  Zel32u residual[16], count = 0;
  values[4] = -1; // place 2: two more hits overtake place 1, with 30 against 32
  for (int hit = 0; hit < 3; ++hit) {
    EXPECT_EQ(indexAt(1), 1);
    zeliVLCScan4x4DC_JPEGXR_32s(values, 0, residual, pairs, &count, state);
    EXPECT_EQ(pairs[0], 1);
    EXPECT_EQ(pairs[1], -1);
  }
  EXPECT_EQ(indexAt(1), 4);
  EXPECT_EQ(indexAt(2), 1);
  EXPECT_EQ(zeliVLCScanReset_JPEGXR(state, 2), zelStatusOk);
  EXPECT_EQ(indexAt(1), 4);
  EXPECT_EQ(state.get(kScanAt[2]), 32767);
  for (int place = 1; place < 16; ++place)
    EXPECT_EQ(state.get(kScanAt[2] + 16 * static_cast<size_t>(place)), 34 - 2 * place);
}

TEST(BlockCoding, Checks) {
  State state;
  Zel32s values[32] = {0, 1};
  Zel16s narrow[16] = {};
  Zel8u bytes[64] = {};
  Zel32u residual[16] = {}, count = 0, size = 0;
  Cells c{bytes};
  EXPECT_EQ(zeliVLCGetStateSize_JPEGXR(&size), 0);
  EXPECT_EQ(size, kStateSize);
  EXPECT_EQ(zeliVLCGetStateSize_JPEGXR(nullptr), -8);
  EXPECT_EQ(zeliVLCInit_JPEGXR(nullptr), -8);
  for (const Zel32s which : {-1, 3}) {
    EXPECT_EQ(zeliVLCScanReset_JPEGXR(state, which), -7);
    EXPECT_EQ(zeliVLCScanSet_JPEGXR(state, which), -7);
    EXPECT_EQ(zeliVLCAdapt_JPEGXR(state, which), -7);
    EXPECT_EQ(zeliVLCScanSet_JPEGXR(nullptr, which), -8);
  }
  EXPECT_EQ(zeliVLCAdapt_JPEGXR(state, 2), -7);
  EXPECT_EQ(zeliVLCScan4x4DC_JPEGXR_32s(values, 16, residual, nullptr, &count, state), -8);
  EXPECT_EQ(zeliVLCScan4x4DC_JPEGXR_32s(values, 16, residual, values, &count, state), -7);

  for (const bool isNull : {true, false}) {
    // Null pointers come before values out of range.
    c.count = isNull ? 0 : 33;
    Zel8u** stream = isNull ? nullptr : &c.at;
    const ZelStatus status = isNull ? -8 : -7;
    EXPECT_EQ(zeliVLCEncode4x4_JPEGXR_16s1u_C1R(narrow, 8, 0, 0, stream, &c.bits, &c.count, &count, state), status);
    EXPECT_EQ(zeliVLCDecode4x4_JPEGXR_1u16s_C1R(stream, &c.bits, &c.count, 1, narrow, 8, 0, &count, state), status);
    EXPECT_EQ(zeliVLCDecodeDC420_JPEGXR_1u32s(stream, &c.bits, &c.count, values, &count, state), status);
    EXPECT_EQ(zeliFLCEncode4x4_JPEGXR_16s1u_C1R(narrow, 8, residual, stream, &c.bits, &c.count, 1, 0, 1), status);
    EXPECT_EQ(zeliFLCDecode4x4_JPEGXR_1u16s_C1IR(stream, &c.bits, &c.count, narrow, 8, 1, 1, 1), status);
  }
  c.count = 0;
  EXPECT_EQ(zeliVLCEncode4x4_JPEGXR_32s1u_C1R(values, 16, 0, 16, &c.at, &c.bits, &c.count, &count, state), -7);
  EXPECT_EQ(
      zeliVLCEncode4x4Flex_JPEGXR_32s1u_C1R(values, 16, 0, 1, 16, residual, &c.at, &c.bits, &c.count, &count, state),
      -7);
  EXPECT_EQ(zeliFLCEncode4x4_JPEGXR_32s1u_C1R(values, 16, residual, &c.at, &c.bits, &c.count, 16, 0, 1), -7);
  EXPECT_EQ(zeliFLCEncode4x4_JPEGXR_32s1u_C1R(values, 16, nullptr, &c.at, &c.bits, &c.count, 1, 0, 0), -8);
  EXPECT_EQ(zeliFLCDecode4x4_JPEGXR_1u32s_C1IR(&c.at, &c.bits, &c.count, values, 16, 16, 1, 1), -7);
  EXPECT_EQ(zeliVLCEncodeDC444_JPEGXR_32s1u(values, 17, 0, &c.at, &c.bits, &c.count, state), -7);
  EXPECT_EQ(zeliVLCEncodeDC422_JPEGXR_32s1u(values, 15, &c.at, &c.bits, &c.count, state), -7);
  EXPECT_EQ(zeliVLCEncodeDC420_JPEGXR_32s1u(values, 7, &c.at, &c.bits, &c.count, state), -7);
  Zel8u* none = nullptr;
  EXPECT_EQ(zeliVLCEncodeDC420_JPEGXR_32s1u(values, 7, &none, &c.bits, &c.count, state), -8);
  EXPECT_EQ(c.at, bytes);
}

} // namespace
} // namespace zelj::test
