// One difference to and from a segment, for single values and for the rows of the lossless process. -32768 is the code
// of category 16 alone.
#pragma once

#include "jpeg/huffman/bit_reader.h"
#include "jpeg/huffman/bit_writer.h"

namespace zelj {

ZelStatus encodeOneValue(const BitSink& sink, const ZeliEncodeHuffmanSpec& table, int value);
// On failure *value is not written.
ZelStatus decodeOneValue(const BitSource& source, const ZeliDecodeHuffmanSpec& table, int* value);

} // namespace zelj
