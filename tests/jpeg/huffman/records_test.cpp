// Tables and states: what the records hold, which lists are rejected, and how records come and go.
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <set>

#include "model.h"
#include "zelcore.h"

// The test's own allocator: it knows what is in use, and can run dry.
static std::set<void*> inUse;
static bool outOfMemory = false;

void* zelMalloc(int size) {
  return outOfMemory ? nullptr : *inUse.insert(std::malloc(static_cast<size_t>(size))).first;
}
void zelFree(void* p) {
  inUse.erase(p);
  std::free(p);
}

namespace zelj::test {
namespace {

TEST(HuffmanRecords, DecodingTable) {
  // Codes 0, 10, 1100, 1101 and 111000000.
  Table table({1, 1, 0, 2, 0, 0, 0, 0, 1}, {5, 3, 200, 0, 255});
  const auto at = [&](size_t offset) {
    Zel16u value;
    std::memcpy(&value, table.decode + offset, 2);
    return int{value};
  };
  const int values[] = {5, 3, 200, 0, 255, 0};
  for (size_t i = 0; i < 6; ++i) EXPECT_EQ(at(2 * i), values[i]);
  for (int next = 0; next < 256; ++next) {
    const int symbol = next < 128 ? 5 : next < 192 ? 3 : next < 208 ? 200 : 0;
    const int length = next < 128 ? 1 : next < 192 ? 2 : next < 224 ? 4 : 0;
    EXPECT_EQ(at(512 + 4 * static_cast<size_t>(next)), symbol) << next;
    EXPECT_EQ(at(514 + 4 * static_cast<size_t>(next)), length) << next;
  }
  for (size_t length = 0; length < 18; ++length) {
    const int codes = length == 0 ? 0 : length == 17 ? 0 : table.bits[length - 1];
    const int minimum = length == 2 ? 2 : length == 4 ? 12 : length == 9 ? 0x1C0 : 0;
    const int offset = length == 2 ? 1 : length == 4 ? 2 : length == 9 ? 4 : 0;
    EXPECT_EQ(at(1536 + 2 * length), minimum);
    EXPECT_EQ(at(1572 + 2 * length), length == 0 ? 0 : codes ? minimum + codes - 1 : 0xFFFF);
    EXPECT_EQ(at(1608 + 2 * length), offset);
  }
}

TEST(HuffmanRecords, EncodingTable) {
  // Symbol 3 is listed twice: the last code holds.
  Table table({1, 1, 0, 2, 0, 0, 0, 0, 1}, {5, 3, 200, 3, 255});
  Zel32u entries[256];
  std::memcpy(entries, table.encode, sizeof entries);
  for (size_t symbol = 0; symbol < 256; ++symbol) {
    const Zel32u entry = symbol == 5     ? 0x10000
                         : symbol == 3   ? 0x4000D
                         : symbol == 200 ? 0x4000C
                         : symbol == 255 ? 0x901C0
                                         : 0;
    EXPECT_EQ(entries[symbol], entry) << symbol;
  }
}

TEST(HuffmanRecords, RejectedLists) {
  struct {
    std::array<Zel8u, 16> bits;
    ZelStatus encoder, decoder;
  } cases[] = {
      {{}, 0, 0},
      {{1}, 0, 0},
      {{2}, -64, 0},                         // a code of all ones
      {{2, 0, 0, 0, 0, 0, 0, 0, 1}, -64, 0}, // too many codes, found by the encoder alone
      {{2, 1}, -64, -64},                    // beyond the table of look-ups
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 255}, 0, 0},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 255}, -64, -64},
      {{255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255}, -64, -64},
  };
  Zel8u values[256];
  std::iota(values, values + 256, Zel8u{0});
  alignas(8) Zel8u memory[1644];
  for (const auto& c : cases) {
    EXPECT_EQ(
        zeliEncodeHuffmanSpecInit_JPEG_8u(c.bits.data(), values, reinterpret_cast<ZeliEncodeHuffmanSpec*>(memory)),
        c.encoder);
    EXPECT_EQ(
        zeliDecodeHuffmanSpecInit_JPEG_8u(c.bits.data(), values, reinterpret_cast<ZeliDecodeHuffmanSpec*>(memory)),
        c.decoder);
  }
  // The pointer is not written, and the block is not released.
  ZeliEncodeHuffmanSpec* encoder = nullptr;
  ZeliDecodeHuffmanSpec* decoder = nullptr;
  const size_t before = inUse.size();
  EXPECT_EQ(zeliEncodeHuffmanSpecInitAlloc_JPEG_8u(cases[4].bits.data(), values, &encoder), zelStatusJpegHuffmanTable);
  EXPECT_EQ(zeliDecodeHuffmanSpecInitAlloc_JPEG_8u(cases[4].bits.data(), values, &decoder), zelStatusJpegHuffmanTable);
  EXPECT_EQ(encoder, nullptr);
  EXPECT_EQ(decoder, nullptr);
  EXPECT_EQ(inUse.size(), before + 2);
  while (!inUse.empty()) zelFree(*inUse.begin());
}

// GetBufSize, InitAlloc, Init and Free of one record; init and initAlloc take the record's pointers.
template <class Record, class GetSize, class Init, class InitAlloc, class Free>
void checkLifecycle(int size, GetSize getSize, Init init, InitAlloc initAlloc, Free release) {
  Zel32s reported = 0;
  EXPECT_EQ(getSize(&reported), zelStatusOk);
  EXPECT_EQ(reported, size);
  EXPECT_EQ(getSize(nullptr), zelStatusNullPointer);
  EXPECT_EQ(init(nullptr), zelStatusNullPointer);
  EXPECT_EQ(initAlloc(nullptr), zelStatusNullPointer);
  EXPECT_EQ(release(nullptr), zelStatusNullPointer);

  const size_t before = inUse.size();
  Record* record = nullptr;
  outOfMemory = true;
  EXPECT_EQ(initAlloc(&record), zelStatusNullPointer);
  outOfMemory = false;
  EXPECT_EQ(record, nullptr);
  EXPECT_EQ(initAlloc(&record), zelStatusOk);
  EXPECT_EQ(inUse.size(), before + 1);

  // Init makes the same of dirty memory, and touches nothing behind it.
  alignas(8) Zel8u memory[2048];
  std::memset(memory, 0xA5, sizeof memory);
  EXPECT_EQ(init(reinterpret_cast<Record*>(memory)), zelStatusOk);
  EXPECT_EQ(std::memcmp(memory, record, static_cast<size_t>(size)), 0);
  EXPECT_EQ(memory[size], 0xA5);
  EXPECT_EQ(release(record), zelStatusOk);
  EXPECT_EQ(inUse.size(), before);
}

TEST(HuffmanRecords, Lifecycle) {
  const Zel8u bits[16] = {1, 1, 1}, values[] = {1, 2, 3};
  checkLifecycle<ZeliDecodeHuffmanSpec>(
      1644, zeliDecodeHuffmanSpecGetBufSize_JPEG_8u,
      [&](ZeliDecodeHuffmanSpec* p) { return zeliDecodeHuffmanSpecInit_JPEG_8u(bits, values, p); },
      [&](ZeliDecodeHuffmanSpec** p) { return zeliDecodeHuffmanSpecInitAlloc_JPEG_8u(bits, values, p); },
      zeliDecodeHuffmanSpecFree_JPEG_8u);
  checkLifecycle<ZeliEncodeHuffmanSpec>(
      1024, zeliEncodeHuffmanSpecGetBufSize_JPEG_8u,
      [&](ZeliEncodeHuffmanSpec* p) { return zeliEncodeHuffmanSpecInit_JPEG_8u(bits, values, p); },
      [&](ZeliEncodeHuffmanSpec** p) { return zeliEncodeHuffmanSpecInitAlloc_JPEG_8u(bits, values, p); },
      zeliEncodeHuffmanSpecFree_JPEG_8u);
  checkLifecycle<ZeliDecodeHuffmanState>(24, zeliDecodeHuffmanStateGetBufSize_JPEG_8u,
                                         zeliDecodeHuffmanStateInit_JPEG_8u, zeliDecodeHuffmanStateInitAlloc_JPEG_8u,
                                         zeliDecodeHuffmanStateFree_JPEG_8u);
  checkLifecycle<ZeliEncodeHuffmanState>(1048, zeliEncodeHuffmanStateGetBufSize_JPEG_8u,
                                         zeliEncodeHuffmanStateInit_JPEG_8u, zeliEncodeHuffmanStateInitAlloc_JPEG_8u,
                                         zeliEncodeHuffmanStateFree_JPEG_8u);
  ZeliEncodeHuffmanSpec* encoder = nullptr;
  ZeliDecodeHuffmanSpec* decoder = nullptr;
  for (const bool first : {true, false}) {
    EXPECT_EQ(zeliEncodeHuffmanSpecInitAlloc_JPEG_8u(first ? nullptr : bits, first ? values : nullptr, &encoder), -8);
    EXPECT_EQ(zeliDecodeHuffmanSpecInitAlloc_JPEG_8u(first ? nullptr : bits, first ? values : nullptr, &decoder), -8);
  }
}

} // namespace
} // namespace zelj::test
