#include "jpeg/packed_blocks.h"

#include <algorithm>

namespace jpeg {
namespace {

// What the library's coder asks for.
constexpr size_t kBytesOfBlock = 514;

// Behind the last block: a marker, and the rest of the 16 bytes that the decoder may look at.
constexpr size_t kBytesBehind = 2 + 16;

// A code for every symbol, those of a typical table by their lengths there.
HuffmanList listLike(const HuffmanList& typical, int symbols) {
  SymbolCounts counts;
  std::fill_n(counts.count, symbols, 1u);
  int i = 0;
  for (int length = 1; length <= 16; ++length) {
    for (int n = typical.bits[length - 1]; n > 0; --n) counts.count[typical.values[i++]] += 1u << (20 - length);
  }
  return optimalList(counts);
}

} // namespace

PackedBlocks::PackedBlocks(const Scan& scan) : scan_(scan), rows_(static_cast<size_t>(scan.mcusHigh)) {
  const HuffmanList dc = listLike(kDcLists[0], 16), ac = listLike(kAcLists[0], 256);
  encodeDc_.init(dc);
  encodeAc_.init(ac);
  decodeDc_.init(dc);
  decodeAc_.init(ac);
}

void PackedBlocks::keep(int mcuRow, const Block* blocks) {
  const img::AlignedArray<Zel8u> bytes(blocksOfRow() * kBytesOfBlock + 8 + kBytesBehind);
  Zel16s lastDc[4] = {};
  Zel32u bits = 0;
  for (int x = 0; x < scan_.mcusWide; ++x) {
    for (const ScanBlock& b : scan_.mcu) {
      zeliEncodeHuffman8x8_Direct_JPEG_16s1u_C1(blocks++->coefficients, bytes.data(), &bits, &lastDc[b.component],
                                                encodeDc_.get(), encodeAc_.get());
    }
  }
  size_t length = bits / 8;
  if (bits % 8) {
    bytes[length] = static_cast<Zel8u>(bytes[length] | 0xFF >> bits % 8);
    if (bytes[length++] == 0xFF) bytes[length++] = 0;
  }
  Bytes& row = rows_[static_cast<size_t>(mcuRow)];
  row.assign(length + kBytesBehind, 0);
  std::copy_n(bytes.data(), length, row.begin());
  row[length] = 0xFF;
  row[length + 1] = kEoi;
}

void PackedBlocks::restore(int mcuRow, Block* blocks) const {
  const Bytes& row = rows_[static_cast<size_t>(mcuRow)];
  Zel16s lastDc[4] = {};
  Zel32s bits = 0, marker = 0, ahead = 0;
  Zel32u prefetched = 0;
  for (int x = 0; x < scan_.mcusWide; ++x) {
    for (const ScanBlock& b : scan_.mcu) {
      zeliDecodeHuffman8x8_Direct_JPEG_1u16s_C1(row.data(), &bits, blocks++->coefficients, &lastDc[b.component],
                                                &marker, &prefetched, &ahead, decodeDc_.get(), decodeAc_.get());
    }
  }
}

} // namespace jpeg
