// A block from a segment, for the decoders with and without a state record.
#pragma once

#include <array>

#include "jpeg/huffman/bit_reader.h"
#include "jpeg/zigzag.h"

namespace zelj {

// Natural indices of zig-zag positions in decoders. Runs may lead up to 8 positions past the end, to the last
// coefficient; kBadPosition stands further out.
constexpr Zel8u kBadPosition = 64;
constexpr auto kDecoderOrder = [] {
  std::array<Zel8u, 80> order{};
  for (int k = 0; k < 80; ++k) order[static_cast<size_t>(k)] = k < 64 ? kNaturalOrder[k] : k < 72 ? 63 : kBadPosition;
  return order;
}();

// What a decoder was reading when it ended.
enum class Reading { dcSymbol, dcBits, acSymbol, acBits, badCode };

// Decodes a block with the accurate procedures. The position reached stands in the state.
ZelStatus readBlock(const BitSource& source, const ZeliDecodeHuffmanSpec& dcTable, const ZeliDecodeHuffmanSpec& acTable,
                    Zel16s* lastDC, Zel16s* block, Reading* reading);

} // namespace zelj
