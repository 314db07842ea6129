// PackBits against a byte-by-byte model, streams that end too early or too late, and byte planes.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/guarded.h"
#include "support/random.h"
#include "zelj.h"

namespace zelj::test {
namespace {

using Bytes = std::vector<Zel8u>;

// The packets of a row.
std::vector<Bytes> packetsOf(const Bytes& row) {
  std::vector<Bytes> packets;
  for (size_t at = 0, n = row.size(); at < n;) {
    size_t count = 1;
    if (at + 1 < n && row[at] == row[at + 1]) {
      while (count < 128 && at + count < n && row[at + count] == row[at]) ++count;
      packets.push_back({static_cast<Zel8u>(1 - static_cast<int>(count)), row[at]});
    } else {
      const auto endsBefore = [&](size_t i) { return i + 2 < n && row[i] == row[i + 1] && row[i] == row[i + 2]; };
      while (count < 128 && at + count < n && !endsBefore(at + count)) ++count;
      packets.push_back({static_cast<Zel8u>(count - 1)});
      packets.back().insert(packets.back().end(), row.begin() + static_cast<ptrdiff_t>(at),
                            row.begin() + static_cast<ptrdiff_t>(at + count));
    }
    at += count;
  }
  return packets;
}

GuardedMemory guarded(const Bytes& bytes) {
  GuardedMemory memory(bytes.size());
  std::copy(bytes.begin(), bytes.end(), memory.data());
  return memory;
}

// Runs and literals of all lengths around the limits of packets, windows and vectors.
Bytes randomRow(Random& random) {
  Bytes row;
  for (int pieces = random.in(1, 40); pieces > 0; --pieces) {
    const int count = random.oneOf({1, 1, 1, 2, 2, 3, 4, 7, 31, 32, 33, 61, 62, 63, 64, 65, 127, 128, 129, 257});
    const auto value = static_cast<Zel8u>(random.bits());
    const bool isRun = random.in(0, 1);
    for (int i = 0; i < count; ++i) row.push_back(isRun ? value : static_cast<Zel8u>(value + 5 * i));
  }
  row.resize(std::min(row.size(), static_cast<size_t>(random.oneOf({1, 2, 3, 64, 191, 192, 193, 700, 100000}))));
  return row;
}

TEST(PackBits, PacksAsTheModelAndComesBack) {
  Random random(1);
  for (int i = 0; i < 3000; ++i) {
    const Bytes row = randomRow(random);
    Bytes packed = {1, 2, 3};
    for (const Bytes& packet : packetsOf(row)) packed.insert(packed.end(), packet.begin(), packet.end());
    const size_t slack = static_cast<size_t>(random.oneOf({0, 1, 40, 600}));

    const GuardedMemory source = guarded(row);
    const GuardedMemory to(packed.size() + slack);
    Zel32s position = 3;
    ASSERT_EQ(zeliPackBitsRow_TIFF_8u_C1(source.data(), static_cast<Zel32s>(row.size()), to.data(), &position,
                                         static_cast<Zel32s>(to.size())),
              zelStatusOk);
    ASSERT_EQ(position, static_cast<Zel32s>(packed.size())) << "row of " << row.size();
    ASSERT_TRUE(std::equal(packed.begin() + 3, packed.end(), to.data() + 3)) << "row of " << row.size();
    for (size_t k = packed.size(); k < to.size(); ++k) ASSERT_EQ(to.data()[k], GuardedMemory::kFill);

    const GuardedMemory back(row.size());
    Zel32s from = 3;
    ASSERT_EQ(zeliUnpackBitsRow_TIFF_8u_C1(to.data(), &from, static_cast<Zel32s>(to.size()), back.data(),
                                           static_cast<Zel32s>(row.size())),
              zelStatusOk);
    ASSERT_EQ(from, position);
    ASSERT_TRUE(std::equal(row.begin(), row.end(), back.data()));
  }
}

TEST(PackBits, StopsBehindTheLastPacketThatFits) {
  Random random(2);
  for (int i = 0; i < 1000; ++i) {
    const Bytes row = randomRow(random);
    const auto packets = packetsOf(row);
    size_t all = 0;
    for (const Bytes& packet : packets) all += packet.size();
    const auto room = static_cast<size_t>(random.in(1, static_cast<int>(all)));
    size_t whole = 0;
    for (size_t k = 0; k < packets.size() && whole + packets[k].size() <= room; ++k) whole += packets[k].size();

    const GuardedMemory source = guarded(row), to(room);
    Zel32s position = 0;
    ASSERT_EQ(zeliPackBitsRow_TIFF_8u_C1(source.data(), static_cast<Zel32s>(row.size()), to.data(), &position,
                                         static_cast<Zel32s>(room)),
              room == all ? zelStatusOk : zelStatusPackBitsData);
    ASSERT_EQ(position, static_cast<Zel32s>(whole));
  }
}

TEST(PackBits, StreamsThatDoNotFit) {
  const struct {
    Bytes stream;
    Zel32s row;
    ZelStatus status;
    Zel32s position;
    Bytes produced;
  } cases[] = {
      {{2, 7, 8, 9, 0xFF, 5}, 5, 0, 6, {7, 8, 9, 5, 5}},
      {{2, 7, 8, 9, 0xFF, 5}, 3, 0, 4, {7, 8, 9}},              // what follows the row stays
      {{0x80, 0x80, 0, 7, 0x80}, 1, 0, 4, {7}},                 // no operations
      {{0x80, 0x80}, 1, -124, 2, {}},                           // the stream ends
      {{1, 7, 8}, 3, -124, 3, {7, 8}},                          // the stream ends
      {{2, 7, 8}, 3, -124, 1, {}},                              // in a literal
      {{0, 7, 0xFE, 5}, 3, -124, 3, {7}},                       // a run leads beyond the row
      {{0, 7, 2, 5, 6, 7}, 3, -124, 3, {7}},                    // a literal does
      {{0x81, 1, 0x81, 2}, 255, -124, 3, Bytes(128, Zel8u{1})}, // a full run does
  };
  for (const auto& c : cases) {
    const GuardedMemory source = guarded(c.stream), row(static_cast<size_t>(c.row));
    Zel32s position = 0;
    EXPECT_EQ(
        zeliUnpackBitsRow_TIFF_8u_C1(source.data(), &position, static_cast<Zel32s>(c.stream.size()), row.data(), c.row),
        c.status);
    EXPECT_EQ(position, c.position);
    EXPECT_TRUE(std::equal(c.produced.begin(), c.produced.end(), row.data()));
    for (size_t i = c.produced.size(); i < row.size(); ++i) EXPECT_EQ(row.data()[i], GuardedMemory::kFill);
  }
  // The byte of a last run lies behind the source.
  const Bytes stream = {0xFF, 42};
  Zel8u row[2] = {};
  Zel32s position = 0;
  EXPECT_EQ(zeliUnpackBitsRow_TIFF_8u_C1(stream.data(), &position, 1, row, 2), zelStatusOk);
  EXPECT_EQ(position, 2);
  EXPECT_EQ(row[1], 42);
}

TEST(BytePlanes, SplitAndJoin) {
  Random random(3);
  for (int length = 1; length < 300; ++length) {
    Region<Zel16u> samples(length, 1), joined(length, 1);
    samples.fill([&](int, int) { return random.bits(); });
    Region<Zel8u> high(length, 1), low(length, 1);
    Zel8u* planes[2] = {high.data(), low.data()};
    ASSERT_EQ(zeliSplitRow_TIFF_16u8u_C1(samples.data(), planes, length), zelStatusOk);
    ASSERT_TRUE(equals(high, [&](int x, int y) { return samples.get(x, y) >> 8; }));
    ASSERT_TRUE(equals(low, [&](int x, int y) { return samples.get(x, y) & 0xFF; }));
    ASSERT_EQ(zeliJoinRow_TIFF_8u16u_C1(planes, joined.data(), length), zelStatusOk);
    ASSERT_TRUE(equals(joined, [&](int x, int y) { return samples.get(x, y); }));
  }
}

TEST(TiffRows, Checks) {
  Zel8u bytes[8] = {};
  Zel16u samples[2] = {};
  Zel32s position = 0;
  Zel8u* planes[2] = {bytes, bytes + 4};
  EXPECT_EQ(zeliPackBitsRow_TIFF_8u_C1(nullptr, 0, bytes, &position, 8), -8);
  EXPECT_EQ(zeliPackBitsRow_TIFF_8u_C1(bytes, 0, bytes, nullptr, 8), -8);
  EXPECT_EQ(zeliPackBitsRow_TIFF_8u_C1(bytes, 4, nullptr, &position, 0), -8);
  EXPECT_EQ(zeliPackBitsRow_TIFF_8u_C1(bytes, 0, bytes, &position, 8), -6);
  EXPECT_EQ(zeliPackBitsRow_TIFF_8u_C1(bytes, 4, bytes + 4, &position, 0), -6);
  EXPECT_EQ(zeliUnpackBitsRow_TIFF_8u_C1(nullptr, &position, 0, bytes, 8), -8);
  EXPECT_EQ(zeliUnpackBitsRow_TIFF_8u_C1(bytes, nullptr, 4, bytes, 0), -8);
  EXPECT_EQ(zeliUnpackBitsRow_TIFF_8u_C1(bytes, &position, 4, nullptr, 8), -8);
  EXPECT_EQ(zeliUnpackBitsRow_TIFF_8u_C1(bytes, &position, 0, bytes, 8), -6);
  EXPECT_EQ(zeliUnpackBitsRow_TIFF_8u_C1(bytes, &position, 4, bytes, 0), -6);
  EXPECT_EQ(zeliSplitRow_TIFF_16u8u_C1(nullptr, planes, 0), -8);
  EXPECT_EQ(zeliSplitRow_TIFF_16u8u_C1(samples, nullptr, 2), -8);
  EXPECT_EQ(zeliSplitRow_TIFF_16u8u_C1(samples, planes, 0), -14);
  EXPECT_EQ(zeliJoinRow_TIFF_8u16u_C1(planes, nullptr, 2), -8);
  EXPECT_EQ(zeliJoinRow_TIFF_8u16u_C1(nullptr, samples, 0), -8);
  EXPECT_EQ(zeliJoinRow_TIFF_8u16u_C1(planes, samples, 0), -14);
}

} // namespace
} // namespace zelj::test
