// A block from a segment, for the decoders with and without a state record.
#pragma once

#include <array>
#include <cstring>

#include "jpeg/huffman/bit_reader.h"
#include "jpeg/huffman/coefficients.h"
#include "jpeg/zigzag.h"

namespace zelj {

// Natural indices of zig-zag positions in decoders: runs may lead past the end, to the last coefficient. No further
// than kLastPosition, though; the entries behind it keep stores inside the block until that is found out.
constexpr int kLastPosition = 71;
constexpr auto kDecoderOrder = [] {
  std::array<Zel8u, 80> order{};
  for (size_t k = 0; k < order.size(); ++k) order[k] = k < 64 ? kNaturalOfZigzag[k] : 63;
  return order;
}();

inline void store(Zel16s* block, int position, int value) {
  store16(value, block + kDecoderOrder[static_cast<size_t>(position)]);
}

// What a decoder was reading when it ended.
enum class Reading { dcSymbol, dcBits, acSymbol, acBits, badCode };

// Decodes a block with the accurate procedures. The position reached stands in the state.
ZelStatus readBlock(const BitSource& source, const ZeliDecodeHuffmanSpec& dcTable, const ZeliDecodeHuffmanSpec& acTable,
                    Zel16s* lastDC, Zel16s* block, Reading* reading);

} // namespace zelj
