// Huffman tables and streams from anywhere: nothing may be read or written outside, whatever they hold.
#include <algorithm>
#include <cstring>
#include <vector>

#include "support/guarded_memory.h"
#include "zelj.h"

namespace {

struct Input {
  const uint8_t* data;
  size_t size;

  // Takes up to n bytes; what is missing is zero.
  void take(Zel8u* to, size_t n) {
    std::memset(to, 0, n);
    const size_t have = std::min(n, size);
    std::memcpy(to, data, have);
    data += have;
    size -= have;
  }
};

// From the input, or a table with which almost any stream is one of long blocks: codes of four bits, half of them with
// eight additional bits, and none that ends a block.
bool makeTable(Input& input, bool longBlocks, ZeliDecodeHuffmanSpec* table) {
  Zel8u bits[16], values[256];
  if (longBlocks) {
    const Zel8u fifteen[16] = {0, 0, 0, 15};
    for (int i = 0; i < 15; ++i) values[i] = i % 2 ? 8 : 1;
    return zeliDecodeHuffmanSpecInit_JPEG_8u(fifteen, values, table) == zelStatusOk;
  }
  input.take(bits, sizeof bits);
  size_t codes = 0;
  for (Zel8u& n : bits) codes += n %= 32;
  input.take(values, std::min(codes, sizeof values));
  return zeliDecodeHuffmanSpecInit_JPEG_8u(bits, values, table) == zelStatusOk;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  alignas(8) static Zel8u tables[2][1648], stateMemory[24];
  Input input{data, size};
  auto* dc = reinterpret_cast<ZeliDecodeHuffmanSpec*>(tables[0]);
  auto* ac = reinterpret_cast<ZeliDecodeHuffmanSpec*>(tables[1]);
  Zel8u choice;
  input.take(&choice, 1);
  if (!makeTable(input, choice & 1, dc) || !makeTable(input, choice & 1, ac) || input.size == 0) return 0;
  std::vector<Zel8u> stream;
  if (choice & 2) stream = {0xFF, 0x00}; // the fast path's way across it
  stream.insert(stream.end(), input.data, input.data + input.size);
  // A sanitizer sees less of the reads in vectors than an inaccessible page does.
  zelj::test::GuardedMemory source(stream.size());
  std::copy(stream.begin(), stream.end(), source.data());
  const auto length = static_cast<Zel32s>(stream.size());
  auto* state = reinterpret_cast<ZeliDecodeHuffmanState*>(stateMemory);
  std::vector<Zel16s> block(64);

  zeliDecodeHuffmanStateInit_JPEG_8u(state);
  Zel32s position = 0, marker = 0;
  Zel16s lastDc = 0, value = 0;
  for (int i = 0; i < 100; ++i) {
    const ZelStatus status = zeliDecodeHuffman8x8_JPEG_1u16s_C1(source.data(), length, &position, block.data(), &lastDc,
                                                                &marker, dc, ac, state);
    if (status == zelStatusJpegBufferEnd || (status != zelStatusOk && marker)) break;
    zeliDecodeHuffmanOne_JPEG_1u16s_C1(source.data(), length, &position, &value, &marker, dc, state);
  }

  // Without a length: a marker stops the reader, and its line of 16 bytes may be read.
  stream.insert(stream.end(), {0, 0xFF, 0xD9});
  const size_t offset = choice >> 4; // the marker's place in the line
  zelj::test::GuardedMemory lines((offset + stream.size() + 15) / 16 * 16);
  std::copy(stream.begin(), stream.end(), lines.data() + offset);
  Zel32s bitPosition = 0, held = 0;
  Zel32u ahead = 0;
  marker = 0;
  for (int i = 0; i < 100; ++i) {
    zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(lines.data() + offset, &bitPosition, block.data(), &lastDc, &marker,
                                              &ahead, &held, dc, ac);
    if (marker && held <= 0) break;
  }
  return 0;
}
