// State records in memory of the test's own.
#pragma once

#include <cstring>

#include "zelj.h"

namespace zelj::test {

struct EncoderState {
  alignas(8) Zel8u bytes[1048];
  EncoderState() { zeliEncodeHuffmanStateInit_JPEG_8u(get()); }
  ZeliEncodeHuffmanState* get() { return reinterpret_cast<ZeliEncodeHuffmanState*>(bytes); }
};

struct DecoderState {
  alignas(8) Zel8u bytes[24];
  DecoderState() { zeliDecodeHuffmanStateInit_JPEG_8u(get()); }
  ZeliDecodeHuffmanState* get() { return reinterpret_cast<ZeliDecodeHuffmanState*>(bytes); }
  int lastPosition() const { return field(16); }
  int eobRun() const { return field(12); }
  int validBits() const { return field(8); }
  void hold(Zel64u bits, Zel32s count) {
    std::memcpy(bytes, &bits, 8);
    std::memcpy(bytes + 8, &count, 4);
  }
  int field(size_t offset) const {
    Zel32s value;
    std::memcpy(&value, bytes + offset, 4);
    return value;
  }
};

} // namespace zelj::test
