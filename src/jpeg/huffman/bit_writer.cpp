#include "jpeg/huffman/bit_writer.h"

#include <cstring>

namespace zelj {

ZelStatus ownWriteBits(const BitSink& sink, Zel32u code, int length) {
  if (length == 0) return zelStatusJpegHuffmanTable;
  ZeliEncodeHuffmanState& state = *sink.state;
  Zel32s& position = *sink.position;
  int pending = state.validBits + length;
  auto bits = static_cast<Zel32u>(state.accumulator) | (code & ((1u << length) - 1)) << (24 - pending);
  for (; pending >= 8; bits <<= 8, pending -= 8) {
    if (position >= sink.length) return zelStatusJpegBufferEnd;
    const auto byte = static_cast<Zel8u>(bits >> 16);
    sink.bytes[position++] = byte;
    if (byte == 0xFF) {
      if (position >= sink.length) return zelStatusJpegBufferEnd;
      sink.bytes[position++] = 0;
    }
  }
  state.accumulator = bits & 0xFFFFFF;
  state.validBits = pending;
  return zelStatusOk;
}

ZelStatus flushBits(const BitSink& sink) {
  const ZelStatus status = ownWriteBits(sink, 0x7F, 7);
  std::memset(sink.state, 0, sizeof *sink.state);
  return status;
}

} // namespace zelj
