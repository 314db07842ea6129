// A block to a segment, for the encoders with and without a state record.
#pragma once

#include "jpeg/huffman/bit_writer.h"

namespace zelj {

// Codes a block with the accurate procedures. A lenient writer leaves codes out that a table lacks.
ZelStatus writeBlock(const BitSink& sink, const Zel16s* block, int difference, const ZeliEncodeHuffmanSpec& dcTable,
                     const ZeliEncodeHuffmanSpec& acTable, bool lenient);

} // namespace zelj
