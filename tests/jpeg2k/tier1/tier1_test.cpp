// Code-blocks: decisions, bytes and distortions beside a plain model, what rates promise, and the way back.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "jpeg2k/tier1/model.h"
#include "support/guarded.h"

namespace zelj::test {
namespace {

struct Free {
  void operator()(ZeliEncodeState_JPEG2K* state) const { zeliEncodeFree_JPEG2K(state); }
  void operator()(ZeliDecodeCBProgrState_JPEG2K* state) const { zeliDecodeCBProgrFree_JPEG2K(state); }
};
using EncodeState = std::unique_ptr<ZeliEncodeState_JPEG2K, Free>;
using DecodeState = std::unique_ptr<ZeliDecodeCBProgrState_JPEG2K, Free>;

EncodeState makeEncoder(int width, int height) {
  ZeliEncodeState_JPEG2K* state = nullptr;
  EXPECT_EQ(zeliEncodeInitAlloc_JPEG2K(&state, {width, height}), zelStatusOk);
  return EncodeState(state);
}
DecodeState makeDecoder(int width, int height) {
  ZeliDecodeCBProgrState_JPEG2K* state = nullptr;
  EXPECT_EQ(zeliDecodeCBProgrInitAlloc_JPEG2K(&state, {width, height}), zelStatusOk);
  return DecodeState(state);
}

struct Encoded {
  int planes = -1, passes = -1, segments = -1;
  std::vector<Zel8u> bytes;
  std::vector<int> rates, lengths;
  std::vector<double> distortions;
};

// How many bytes each store call gets, in turn.
using Pieces = std::vector<int>;

Encoded encode(const Block& block, ZeliEncodeState_JPEG2K* state, int subband, int magnBits, int termination, int style,
               const Pieces& pieces = {100000}, int gap = 0, Edge edge = Edge::end) {
  Encoded result;
  Region<Zel32u> source(block.width, block.height, block.width * 4 + gap, edge);
  source.fill([&](int x, int y) { return block.at(x, y); });
  EXPECT_EQ(zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(reinterpret_cast<const Zel32s*>(source.data()), source.step(),
                                                   {block.width, block.height}, state, subband, magnBits, termination,
                                                   0, style, &result.planes, &result.passes, &result.segments),
            zelStatusOk);
  for (size_t i = 0;; ++i) {
    int length = pieces[i % pieces.size()], more = -1;
    GuardedMemory piece(static_cast<size_t>(length));
    EXPECT_EQ(zeliEncodeStoreBits_JPEG2K_1u(piece.data(), &length, state, &more), zelStatusOk);
    result.bytes.insert(result.bytes.end(), piece.data(), piece.data() + length);
    if (!more) break;
  }
  for (int i = 0; i < result.passes; ++i) {
    int rate = -1;
    double distortion = -1;
    EXPECT_EQ(zeliEncodeGetRate_JPEG2K(state, i, &rate), zelStatusOk);
    EXPECT_EQ(zeliEncodeGetDist_JPEG2K(state, i, &distortion), zelStatusOk);
    result.rates.push_back(rate);
    result.distortions.push_back(distortion);
  }
  for (int i = 0; i < (result.passes ? result.segments : 0); ++i) {
    int length = -1;
    EXPECT_EQ(zeliEncodeGetTermPassLen_JPEG2K(state, i, &length), zelStatusOk);
    result.lengths.push_back(length);
  }
  return result;
}

struct Decoded {
  ZelStatus status;
  int errorPlane = 99;
  std::vector<Zel32u> samples;
};

constexpr int kKeepMidpoints = 0x40000, kPredictable = 0x100000, kRepair = 0x10000;

// Decodes into guarded memory, with a state in guarded memory.
Decoded decode(ZeliSize size, const std::vector<Zel8u>& bytes, const std::vector<int>& lengths, int planes, int passes,
               int subband, int style, int gap = 0) {
  int stateBytes = 0;
  EXPECT_EQ(zeliDecodeGetBufSize_JPEG2K(size, &stateBytes), zelStatusOk);
  const GuardedMemory state(static_cast<size_t>(stateBytes)), source(bytes.size() + 1);
  std::copy(bytes.begin(), bytes.end(), source.data() + 1);
  Region<Zel32u> samples(size.width, size.height, size.width * 4 + gap);
  const int none = 0, *lengthsOrNone = lengths.empty() ? &none : lengths.data();
  Decoded result;
  result.status = zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(source.data() + 1, reinterpret_cast<Zel32s*>(samples.data()),
                                                       samples.step(), size, subband, planes, passes, lengthsOrNone,
                                                       static_cast<int>(lengths.size()), style, &result.errorPlane,
                                                       reinterpret_cast<ZeliDecodeCBProgrState_JPEG2K*>(state.data()));
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) result.samples.push_back(samples.get(x, y));
  }
  EXPECT_TRUE(samples.gapsUntouched());
  return result;
}

// The block cut to its coded planes, perhaps with the bit of the middle below; samples of which nothing is left have no
// sign.
std::vector<Zel32u> cut(const Block& block, int lowestPlane, bool middle) {
  std::vector<Zel32u> samples = block.samples;
  for (Zel32u& sample : samples) {
    const Zel32u kept = sample & ~Zel32u{0} << lowestPlane;
    sample = kept & 0x7FFFFFFF ? kept | (middle ? (1u << lowestPlane) >> 1 : 0) : 0;
  }
  return samples;
}

constexpr ZeliSize kSizes[] = {{1, 1}, {1, 4}, {3, 3}, {4, 4}, {5, 13}, {16, 16}, {17, 8}, {32, 7}, {64, 64}, {70, 9}};

// Every combination of styles beside the model, and back; pieces, steps, sub-bands and depths vary along.
TEST(CodeBlock, BytesAndDistortionsBesideTheModel) {
  Random random(1);
  const EncodeState state = makeEncoder(70, 64);
  const Pieces pieces[] = {{100000}, {1}, {2}, {3}, {7, 1, 400}};
  for (int style = 0; style < 64; ++style) {
    for (const ZeliSize size : kSizes) {
      if (size.height == 64 && style % 9 != 0) continue;
      const int magnBits = random.in(1, 31), lowest = 31 - magnBits;
      const int top = std::min(30, lowest + random.in(-1, 14)), subband = random.in(0, 4);
      const Block block = makeBlock(random, size.width, size.height, std::max(top, 0), std::max(top - 14, 0));
      SCOPED_TRACE("style " + std::to_string(style) + ", " + std::to_string(size.width) + "x" +
                   std::to_string(size.height) + ", subband " + std::to_string(subband) + ", magnBits " +
                   std::to_string(magnBits));
      const ModelEncoder model(block, subband, magnBits, style);
      const ModelBytes expected(model, style);
      const int piece = random.in(0, 4);
      const Encoded coded = encode(block, state.get(), subband, magnBits, 0, style, pieces[piece], random.in(0, 5),
                                   random.in(0, 1) ? Edge::end : Edge::begin);
      ASSERT_EQ(coded.planes, model.planes());
      ASSERT_EQ(coded.passes, static_cast<int>(model.passes().size()));
      ASSERT_EQ(coded.bytes, expected.bytes);
      ASSERT_EQ(coded.lengths, expected.lengths);
      if (piece == 0) {
        ASSERT_EQ(coded.rates, expected.rates); // in pieces, a 0xFF in front of a cut may go unseen
      }
      double distortion = 0;
      for (size_t i = 0; i < model.passes().size(); ++i) {
        distortion += model.passes()[i].distortion;
        ASSERT_DOUBLE_EQ(coded.distortions[i], distortion) << "pass " << i;
      }

      const Decoded back =
          decode(size, coded.bytes, coded.lengths, coded.planes, coded.passes, subband, style & 31, random.in(0, 5));
      ASSERT_EQ(back.status, expected.rawEndsInFF ? zelStatusJpeg2kStreamError : zelStatusOk);
      if (!expected.rawEndsInFF) {
        ASSERT_EQ(back.samples, cut(block, lowest, style & terminateAll)); // there the plane has moved on
      }
    }
  }
}

// Planes of nothing, then a few samples: the coder comes to the most skewed of its states, and down from each of them.
TEST(CodeBlock, SkewedStates) {
  Random random(8);
  const EncodeState state = makeEncoder(64, 64);
  for (int quiet = 0; quiet < 30; ++quiet) {
    Block block{64, 64, std::vector<Zel32u>(4096)};
    for (Zel32u& sample : block.samples) {
      if (random.in(0, 300) == 0) sample = static_cast<Zel32u>(random.bits() % (Zel64u{1} << (30 - quiet)));
    }
    block.samples[static_cast<size_t>(random.in(0, 4095))] = 0x40000000;
    const Encoded coded = encode(block, state.get(), quiet % 4, 31, 0, 0);
    ASSERT_EQ(coded.bytes, ModelBytes(ModelEncoder(block, quiet % 4, 31, 0), 0).bytes) << quiet;
    const Decoded back = decode({64, 64}, coded.bytes, coded.lengths, coded.planes, coded.passes, quiet % 4, 0);
    ASSERT_EQ(back.samples, cut(block, 0, false)) << quiet;
  }
}

// All terminations decode to the same samples; the shortest is never longer than the plain one.
TEST(CodeBlock, Terminations) {
  Random random(2);
  const EncodeState state = makeEncoder(64, 64);
  for (int trial = 0; trial < 300; ++trial) {
    const ZeliSize size = kSizes[random.in(0, 8)];
    const int magnBits = random.in(8, 20), subband = random.in(0, 3);
    const int style = random.in(0, 1) * terminateAll | random.in(0, 1) * resetContexts | random.in(0, 1) * segmentation;
    const Block block = makeBlock(random, size.width, size.height, 28, 31 - magnBits);
    const auto bytesOf = [&](int termination) {
      const Encoded coded = encode(block, state.get(), subband, magnBits, termination, style, {5, 300});
      const int check = termination == 2 ? kPredictable : 0;
      const Decoded back = decode(size, coded.bytes, coded.lengths, coded.planes, coded.passes, subband, style | check);
      EXPECT_EQ(back.status, zelStatusOk) << termination;
      EXPECT_EQ(back.samples, cut(block, 31 - magnBits, style & terminateAll)) << termination;
      return coded.bytes.size();
    };
    const size_t plain = bytesOf(0), shortest = bytesOf(1);
    bytesOf(2);
    EXPECT_LE(shortest, plain);
    if (HasFailure()) FAIL() << "trial " << trial;
  }
}

// A stream cut at the rate of a pass decodes that far to the same samples; rates do not fall and end with the stream.
TEST(CodeBlock, RatesAreEnough) {
  Random random(3);
  const EncodeState state = makeEncoder(64, 64);
  for (int trial = 0; trial < 40; ++trial) {
    const ZeliSize size = kSizes[random.in(3, 8)];
    const int magnBits = random.in(8, 14), subband = random.in(0, 3), style = random.in(0, 1) * causal;
    const Block block = makeBlock(random, size.width, size.height, 30, 31 - magnBits);
    const Pieces pieces[] = {{100000}, {1}, {random.in(2, 50)}};
    const Encoded coded = encode(block, state.get(), subband, magnBits, random.in(0, 2), style, pieces[trial % 3]);
    const int total = static_cast<int>(coded.bytes.size());
    for (int pass = 0; pass < coded.passes; ++pass) {
      const int rate = coded.rates[static_cast<size_t>(pass)];
      ASSERT_LE(pass ? coded.rates[static_cast<size_t>(pass - 1)] : 0, rate);
      ASSERT_LE(rate, total);
      if (rate > 0) {
        ASSERT_NE(coded.bytes[static_cast<size_t>(rate - 1)], 0xFF);
      }
      const std::vector<Zel8u> head(coded.bytes.begin(), coded.bytes.begin() + rate);
      const auto all = decode(size, coded.bytes, {total}, coded.planes, pass + 1, subband, style | kKeepMidpoints);
      const auto part = decode(size, head, {rate}, coded.planes, pass + 1, subband, style | kKeepMidpoints);
      ASSERT_EQ(part.samples, all.samples) << "pass " << pass << " of " << coded.passes << ", " << rate << " bytes";
    }
    if (coded.passes) {
      EXPECT_GE(coded.rates.back() + 1, total);
    }
  }
}

// Segment by segment, with the counter set in between: as the whole block.
TEST(CodeBlock, Steps) {
  Random random(4);
  const EncodeState encoder = makeEncoder(64, 64);
  const DecodeState decoder = makeDecoder(64, 64);
  for (const int style : {0, int{bypass}, int{terminateAll}, bypass | terminateAll | causal}) {
    const Block block = makeBlock(random, 37, 30, 30, 19);
    const Encoded coded = encode(block, encoder.get(), 1, 12, 1, style);
    std::vector<Zel32s> samples(37 * 30, -1);
    const auto plane = [&] {
      int value = 99;
      EXPECT_EQ(zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K(decoder.get(), &value), zelStatusOk);
      return value;
    };
    ASSERT_EQ(
        zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(samples.data(), 37 * 4, {37, 30}, decoder.get(), 1, coded.planes, style),
        zelStatusOk);
    EXPECT_EQ(plane(), coded.planes - 1);
    EXPECT_EQ(samples, std::vector<Zel32s>(37 * 30, 0));
    EXPECT_EQ(zeliDecodeCBProgrStep_JPEG2K(coded.bytes.data(), coded.lengths[0], decoder.get()), zelStatusOk);
    EXPECT_EQ(plane(), coded.planes - 1) << "no passes were allowed";
    ASSERT_EQ(zeliDecodeCBProgrSetPassCounter_JPEG2K(coded.passes, decoder.get()), zelStatusOk);
    const Zel8u* at = coded.bytes.data();
    bool clean = true;
    for (const int length : coded.lengths) {
      clean &= zeliDecodeCBProgrStep_JPEG2K(at, length, decoder.get()) == zelStatusOk;
      at += length;
    }
    int left = -1;
    EXPECT_EQ(zeliDecodeCBProgrGetPassCounter_JPEG2K(decoder.get(), &left), zelStatusOk);
    EXPECT_EQ(left, 0);
    // Steps leave the middle of each interval; with termination behind each pass the plane has moved on.
    EXPECT_EQ(plane(), (style & terminateAll) ? 18 : 19);
    EXPECT_TRUE(clean || (style & bypass));
    EXPECT_EQ(std::vector<Zel32u>(samples.begin(), samples.end()), cut(block, 19, true));
  }
}

// Damage is found by segmentation symbols and by predictable termination, and what was decoded before can be kept.
TEST(CodeBlock, Damage) {
  Random random(5);
  const EncodeState state = makeEncoder(64, 64);
  int found[2] = {}, trials = 0;
  for (; trials < 100; ++trials) {
    const Block block = makeBlock(random, 32, 32, 30, 18);
    for (const int way : {0, 1}) {
      const int style = way ? int{terminateAll} : int{segmentation};
      Encoded coded = encode(block, state.get(), 0, 12, 2, style);
      coded.bytes[coded.bytes.size() / 3] ^= static_cast<Zel8u>(1 << random.in(0, 7));
      const Decoded back = decode({32, 32}, coded.bytes, coded.lengths, coded.planes, coded.passes, 0,
                                  style | kRepair | (way ? kPredictable : 0));
      if (back.status != zelStatusJpeg2kStreamError) continue;
      ++found[way];
      ASSERT_LT(back.errorPlane, coded.planes);
      // Each sample is zero or the middle of an interval of the plane at which decoding stopped.
      for (const Zel32u sample : back.samples) {
        if (sample && back.errorPlane >= 0) {
          ASSERT_EQ(sample & ((2u << back.errorPlane) - 1), 1u << back.errorPlane);
        }
      }
    }
  }
  // Pass 10 is the first that is raw: with the last bit of its padding turned.
  const Block block = makeBlock(random, 8, 8, 30, 18);
  Encoded coded = encode(block, state.get(), 0, 12, 0, bypass | terminateAll);
  size_t end = 0;
  for (size_t i = 0; i <= 10; ++i) end += static_cast<size_t>(coded.lengths[i]);
  ASSERT_NE(coded.bytes[end - 1], 0xFF);
  coded.bytes[end - 1] ^= 1;
  const Decoded back = decode({8, 8}, coded.bytes, coded.lengths, coded.planes, coded.passes, 0, bypass | terminateAll);
  EXPECT_EQ(back.status, zelStatusJpeg2kStreamError);
  EXPECT_EQ(back.errorPlane, coded.planes - 5);

  EXPECT_GT(found[0], trials * 8 / 10);
  EXPECT_GT(found[1], trials * 5 / 10);
}

// Any bytes, counts, planes and flags: nothing outside is touched, and nothing hangs.
TEST(CodeBlock, AnyBytes) {
  Random random(6);
  for (int trial = 0; trial < 2000; ++trial) {
    const ZeliSize size{random.in(1, 40), random.in(1, 14)};
    std::vector<int> lengths(static_cast<size_t>(random.in(1, 8)));
    int total = 0;
    for (int& length : lengths) total += length = random.in(0, 30);
    std::vector<Zel8u> bytes(static_cast<size_t>(total));
    const bool manyFF = random.in(0, 1);
    for (Zel8u& byte : bytes) byte = static_cast<Zel8u>(manyFF && random.in(0, 2) == 0 ? 0xFF : random.in(0, 255));
    const int flags = random.in(0, 31) | random.in(0, 1) * kRepair | random.in(0, 1) * kKeepMidpoints |
                      random.in(0, 1) * kPredictable;
    const Decoded back = decode(size, bytes, lengths, random.in(-1, 31), random.in(-1, 100), random.in(-1, 4), flags);
    ASSERT_TRUE(back.status == zelStatusOk || back.status == zelStatusJpeg2kStreamError);
  }
}

// By hand: a single sample is a cleanup pass of one zero-coding decision and a sign.
TEST(CodeBlock, Corners) {
  const EncodeState state = makeEncoder(64, 64);
  const Encoded empty = encode({4, 4, std::vector<Zel32u>(16, 0x80000000)}, state.get(), 0, 8, 0, 0);
  EXPECT_EQ(empty.planes, 0);
  EXPECT_EQ(empty.passes, 0);
  EXPECT_EQ(empty.segments, 1);
  EXPECT_TRUE(empty.bytes.empty());
  EXPECT_EQ(encode({4, 4, std::vector<Zel32u>(16, 0)}, state.get(), 0, 8, 0, terminateAll).segments, 0);
  int value = -1;
  double distortion = -1;
  EXPECT_EQ(zeliEncodeGetRate_JPEG2K(state.get(), 0, &value), zelStatusBadPassNumber);
  EXPECT_EQ(zeliEncodeGetRate_JPEG2K(state.get(), -1, &value), zelStatusBadPassNumber);
  EXPECT_EQ(zeliEncodeGetDist_JPEG2K(state.get(), 0, &distortion), zelStatusBadPassNumber);
  EXPECT_EQ(zeliEncodeGetTermPassLen_JPEG2K(state.get(), 1, &value), zelStatusBadPassNumber);

  const Encoded deep = encode({1, 1, {0xC0000000}}, state.get(), 0, 1, 0, 0);
  EXPECT_EQ(deep.planes, 31);
  EXPECT_EQ(deep.passes, 1);
  EXPECT_EQ(deep.distortions[0], 0.75) << "1 less (1 - 1.5)^2";
  EXPECT_EQ(encode({1, 1, {0xC0000000}}, state.get(), 0, 1, 0, exactLowest).distortions[0], 1.0);
  const Encoded shallow = encode({1, 1, {7}}, state.get(), 0, 20, 0, 0);
  EXPECT_EQ(shallow.planes, 3);
  EXPECT_EQ(shallow.passes, 0) << "its planes lie below the lowest that is coded";

  // Blocks of another shape fit if they are no more pieces; others are refused.
  Random random(7);
  const Block flat = makeBlock(random, 1024, 4, 20, 10);
  const Encoded coded = encode(flat, state.get(), 3, 21, 0, 0);
  EXPECT_EQ(coded.bytes, ModelBytes(ModelEncoder(flat, 3, 21, 0), 0).bytes);
  int out[3];
  EXPECT_EQ(zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(reinterpret_cast<const Zel32s*>(flat.samples.data()), 4096,
                                                   {1025, 4}, state.get(), 0, 8, 0, 0, 0, out, out + 1, out + 2),
            zelStatusBadSize);
}

TEST(CodeBlock, Checks) {
  const EncodeState encoder = makeEncoder(8, 8);
  const DecodeState decoder = makeDecoder(8, 8);
  GuardedMemory junk(2000);
  auto* noEncoder = reinterpret_cast<ZeliEncodeState_JPEG2K*>(junk.data());
  auto* noDecoder = reinterpret_cast<ZeliDecodeCBProgrState_JPEG2K*>(junk.data());
  Zel32s samples[64] = {};
  Zel8u bytes[64];
  int a = 0, b = 0, c = 0;
  double d = 0;
  ZeliEncodeState_JPEG2K* e = nullptr;
  EXPECT_EQ(zeliEncodeInitAlloc_JPEG2K(nullptr, {0, 0}), zelStatusNullPointer);
  EXPECT_EQ(zeliEncodeInitAlloc_JPEG2K(&e, {8, 0}), zelStatusBadSize);
  EXPECT_EQ(zeliEncodeInitAlloc_JPEG2K(&e, {1 << 30, 1 << 30}), zelStatusNoMemory);
  EXPECT_EQ(e, nullptr);
  EXPECT_EQ(zeliEncodeFree_JPEG2K(nullptr), zelStatusNullPointer);

  const auto load = [&](const Zel32s* source, int step, ZeliSize size, ZeliEncodeState_JPEG2K* state, int* out) {
    return zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(source, step, size, state, 0, 8, 0, 0, 0, out, &b, &c);
  };
  EXPECT_EQ(load(nullptr, 0, {0, 0}, nullptr, nullptr), zelStatusNullPointer);
  EXPECT_EQ(load(nullptr, 0, {0, 0}, noEncoder, nullptr), zelStatusContextMismatch);
  EXPECT_EQ(load(nullptr, 0, {0, 0}, encoder.get(), nullptr), zelStatusNullPointer);
  EXPECT_EQ(load(nullptr, 0, {8, 0}, encoder.get(), &a), zelStatusBadSize);
  EXPECT_EQ(load(nullptr, 0, {8, 8}, encoder.get(), &a), zelStatusNullPointer);
  EXPECT_EQ(load(samples, 0, {8, 8}, encoder.get(), &a), zelStatusBadStep);
  EXPECT_EQ(zeliEncodeStoreBits_JPEG2K_1u(bytes, &a, nullptr, &b), zelStatusNullPointer);
  EXPECT_EQ(zeliEncodeStoreBits_JPEG2K_1u(nullptr, &a, noEncoder, &b), zelStatusContextMismatch);
  EXPECT_EQ(zeliEncodeStoreBits_JPEG2K_1u(nullptr, &a, encoder.get(), &b), zelStatusNullPointer);
  a = 0;
  EXPECT_EQ(zeliEncodeStoreBits_JPEG2K_1u(bytes, &a, encoder.get(), &b), zelStatusBadSize);
  EXPECT_EQ(zeliEncodeGetRate_JPEG2K(encoder.get(), 0, nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliEncodeGetDist_JPEG2K(noEncoder, 0, &d), zelStatusContextMismatch);
  EXPECT_EQ(zeliEncodeGetTermPassLen_JPEG2K(nullptr, 0, &a), zelStatusNullPointer);
  EXPECT_EQ(zeliEncodeGetRate_JPEG2K(encoder.get(), 0, &a), zelStatusBadPassNumber) << "nothing was loaded";

  ZeliDecodeCBProgrState_JPEG2K* p = nullptr;
  EXPECT_EQ(zeliDecodeCBProgrGetStateSize_JPEG2K({0, 8}, nullptr), zelStatusBadSize);
  EXPECT_EQ(zeliDecodeGetBufSize_JPEG2K({8, 8}, nullptr), zelStatusNullPointer);
  for (const auto& [size, expected] : {std::pair{ZeliSize{64, 64}, 288 * 34 + 472}, {{1, 1}, 32 * 3 + 472}}) {
    EXPECT_EQ(zeliDecodeCBProgrGetStateSize_JPEG2K(size, &a), zelStatusOk);
    EXPECT_EQ(a, expected);
  }
  EXPECT_EQ(zeliDecodeCBProgrInit_JPEG2K(nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliDecodeCBProgrInitAlloc_JPEG2K(nullptr, {0, 0}), zelStatusNullPointer);
  EXPECT_EQ(zeliDecodeCBProgrInitAlloc_JPEG2K(&p, {0, 8}), zelStatusBadSize);
  EXPECT_EQ(zeliDecodeCBProgrInitAlloc_JPEG2K(&p, {1 << 30, 1 << 30}), zelStatusNoMemory);
  EXPECT_EQ(zeliDecodeCBProgrFree_JPEG2K(noDecoder), zelStatusContextMismatch);
  const auto attach = [&](Zel32s* to, int step, ZeliSize size, ZeliDecodeCBProgrState_JPEG2K* state) {
    return zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(to, step, size, state, 0, 8, 0);
  };
  EXPECT_EQ(zeliDecodeCBProgrStep_JPEG2K(bytes, 8, decoder.get()), zelStatusJpeg2kNotAttached);
  EXPECT_EQ(attach(nullptr, 0, {0, 0}, noDecoder), zelStatusContextMismatch);
  EXPECT_EQ(attach(nullptr, 0, {0, 0}, decoder.get()), zelStatusNullPointer);
  EXPECT_EQ(attach(samples, 0, {0, 0}, decoder.get()), zelStatusBadStep);
  EXPECT_EQ(attach(samples, 32, {8, 0}, decoder.get()), zelStatusBadSize);
  EXPECT_EQ(zeliDecodeCBProgrStep_JPEG2K(nullptr, 8, noDecoder), zelStatusNullPointer);
  EXPECT_EQ(zeliDecodeCBProgrStep_JPEG2K(bytes, 8, noDecoder), zelStatusContextMismatch);
  EXPECT_EQ(zeliDecodeCBProgrGetPassCounter_JPEG2K(noDecoder, nullptr), zelStatusNullPointer);
  EXPECT_EQ(zeliDecodeCBProgrGetCurBitPlaneNum_JPEG2K(noDecoder, nullptr), zelStatusContextMismatch);
  EXPECT_EQ(zeliDecodeCBProgrSetPassCounter_JPEG2K(1, nullptr), zelStatusNullPointer);
  const auto whole = [&](Zel32s* to, int step, ZeliSize size, const int* lengths) {
    return zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(bytes, to, step, size, 0, 8, 1, lengths, 1, 0, nullptr, decoder.get());
  };
  EXPECT_EQ(whole(nullptr, 0, {8, 0}, nullptr), zelStatusBadSize);
  EXPECT_EQ(whole(samples, 0, {8, 8}, nullptr), zelStatusNullPointer);
  EXPECT_EQ(whole(samples, 0, {8, 8}, &a), zelStatusBadStep);
}

} // namespace
} // namespace zelj::test
