// A block from a segment, for the decoders with and without a state record.
#pragma once

#include <cstring>

#include "jpeg/huffman/bit_reader.h"
#include "jpeg/huffman/coefficients.h"
#include "jpeg/zigzag.h"

namespace zelj {

// What decoders look up, side by side, so that one register leads to both.
struct DecoderTables {
  // Natural indices of zig-zag positions: runs may lead past the end, to the last coefficient. No further than
  // kLastPosition, though; the entries behind it keep stores inside the block until that is found out.
  Zel8u order[80];
  // What is added to additional bits that stand for a negative value, by category.
  Zel32s offsets[16];
};
constexpr int kLastPosition = 71;
constexpr DecoderTables kDecoderTables = [] {
  DecoderTables tables{};
  for (size_t k = 0; k < 80; ++k) tables.order[k] = k < 64 ? kNaturalOfZigzag[k] : 63;
  for (size_t category = 0; category < 16; ++category) tables.offsets[category] = 1 - (1 << category);
  return tables;
}();

inline void store(Zel16s* block, int position, int value) {
  store16(value, block + kDecoderTables.order[static_cast<size_t>(position)]);
}

// What a decoder was reading when it ended.
enum class Reading { dcSymbol, dcBits, acSymbol, acBits, badCode };

// Decodes a block with the accurate procedures. The position reached stands in the state.
ZelStatus readBlock(const BitSource& source, const ZeliDecodeHuffmanSpec& dcTable, const ZeliDecodeHuffmanSpec& acTable,
                    Zel16s* lastDC, Zel16s* block, Reading* reading);

} // namespace zelj
