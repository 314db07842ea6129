// Owners of the library's Huffman tables, and tables made to measure.
#pragma once

#include <memory>

#include "common/aligned.h"
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
using DecodeSpec = std::shared_ptr<ZeliDecodeHuffmanSpec>; // scans that are read side by side may share one
using EncodeState = std::unique_ptr<ZeliEncodeHuffmanState, FreeSpec>;
using DecodeState = std::unique_ptr<ZeliDecodeHuffmanState, FreeSpec>;

// A record in memory of the codec's own, for those that are made anew for each scan.
template <class T, ZelStatus (*getSize)(Zel32s*)>
class Record {
 public:
  Record() : memory_(size()) {}
  T* get() const { return reinterpret_cast<T*>(memory_.data()); }

 private:
  static size_t size() {
    Zel32s size = 0;
    getSize(&size);
    return static_cast<size_t>(size);
  }
  img::AlignedArray<Zel8u> memory_;
};

struct EncodeSpecRecord : Record<ZeliEncodeHuffmanSpec, zeliEncodeHuffmanSpecGetBufSize_JPEG_8u> {
  bool init(const HuffmanList& list) {
    return zeliEncodeHuffmanSpecInit_JPEG_8u(list.bits, list.values, get()) == zelStatusOk;
  }
};
struct DecodeSpecRecord : Record<ZeliDecodeHuffmanSpec, zeliDecodeHuffmanSpecGetBufSize_JPEG_8u> {
  bool init(const HuffmanList& list) {
    return zeliDecodeHuffmanSpecInit_JPEG_8u(list.bits, list.values, get()) == zelStatusOk;
  }
};
struct EncodeStateRecord : Record<ZeliEncodeHuffmanState, zeliEncodeHuffmanStateGetBufSize_JPEG_8u> {
  void init() { zeliEncodeHuffmanStateInit_JPEG_8u(get()); }
};
struct DecodeStateRecord : Record<ZeliDecodeHuffmanState, zeliDecodeHuffmanStateGetBufSize_JPEG_8u> {
  void init() { zeliDecodeHuffmanStateInit_JPEG_8u(get()); }
};

// How often each symbol occurs.
struct SymbolCounts {
  uint32_t count[256] = {};
};

// The table that codes these symbols in the fewest bits (T.81 K.2).
HuffmanList optimalList(const SymbolCounts& counts);

} // namespace jpeg
