// Owners of the library's Huffman tables, and tables made to measure.
#pragma once

#include <memory>

#include "jpeg/tables.h"
#include "zelj.h"

namespace jpeg {

struct FreeSpec {
  void operator()(ZeliEncodeHuffmanSpec* spec) const { zeliEncodeHuffmanSpecFree_JPEG_8u(spec); }
  void operator()(ZeliDecodeHuffmanSpec* spec) const { zeliDecodeHuffmanSpecFree_JPEG_8u(spec); }
  void operator()(ZeliEncodeHuffmanState* state) const { zeliEncodeHuffmanStateFree_JPEG_8u(state); }
  void operator()(ZeliDecodeHuffmanState* state) const { zeliDecodeHuffmanStateFree_JPEG_8u(state); }
};

using EncodeSpec = std::unique_ptr<ZeliEncodeHuffmanSpec, FreeSpec>;
using DecodeSpec = std::unique_ptr<ZeliDecodeHuffmanSpec, FreeSpec>;
using EncodeState = std::unique_ptr<ZeliEncodeHuffmanState, FreeSpec>;
using DecodeState = std::unique_ptr<ZeliDecodeHuffmanState, FreeSpec>;

// How often each symbol occurs.
struct SymbolCounts {
  uint32_t count[256] = {};
};

// The table that codes these symbols in the fewest bits (T.81 K.2).
HuffmanList optimalList(const SymbolCounts& counts);

} // namespace jpeg
