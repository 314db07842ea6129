// Coding of the AC scans of the progressive mode.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/ac_walk.h"
#include "jpeg/huffman/wide_writer.h"

namespace zelj {
namespace {

struct Code {
  static constexpr bool kWritten = true;

  const ZeliEncodeHuffmanSpec& table;
  WideWriter writer;

  HWY_INLINE ZelStatus symbol(int symbol, Zel32u bits, int count) {
    const Zel32u entry = table.entries[symbol];
    if (!entry) [[unlikely]]
      return zelStatusJpegHuffmanTable;
    return put(Zel64u{entry & 0xFFFF} << count | bits, static_cast<int>(entry >> 16) + count);
  }
  HWY_INLINE ZelStatus corrections(Zel64u bits, int count) {
    if (count > 32) [[unlikely]] {
      if (ZelStatus bad = put(bits >> 32, count - 32)) return bad;
      return put(bits & 0xFFFFFFFF, 32);
    }
    return put(bits, count);
  }

 private:
  HWY_INLINE ZelStatus put(Zel64u bits, int length) {
    return writer.put(bits, length) ? zelStatusOk : zelStatusJpegBufferEnd;
  }
};

// Codes what is pending, pads the last byte and makes the state new, whatever happens on the way.
ZelStatus flush(const BitSink& sink, const ZeliEncodeHuffmanSpec& table) {
  Code code{table, WideWriter(sink)};
  ZelStatus status = putEobRun(*sink.state, code);
  const Zel32s eobRun = sink.state->eobRun;
  if (!status) status = putPendingCorrections(*sink.state, code);
  if (!code.writer.flush() && !status) status = zelStatusJpegBufferEnd;
  code.writer.save(sink);
  std::memset(sink.state, 0, sizeof *sink.state);
  sink.state->eobRun = eobRun;
  return status;
}

template <class Walk>
HWY_INLINE ZelStatus encodeBand(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes, Zel32s* pDstCurrPos, Zel32s Ss,
                                Zel32s Se, Zel32s Al, const ZeliEncodeHuffmanSpec* pAcTable,
                                ZeliEncodeHuffmanState* pState, Zel32s bFlushState, Walk walk) {
  if (ZelStatus bad = checkSink(pDst, dstLenBytes, present(pDstCurrPos, pState, pAcTable))) return bad;
  const BitSink sink{pDst, dstLenBytes, pDstCurrPos, pState};
  if (bFlushState) return flush(sink, *pAcTable);
  if (!pSrc) return zelStatusNullPointer;
  if (ZelStatus bad = checkBand(Ss, Se, Al)) return bad;
  Code code{*pAcTable, WideWriter(sink)};
  const ZelStatus status = walk(*pState, code);
  code.writer.save(sink);
  return status;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes,
                                                    Zel32s* pDstCurrPos, Zel32s Ss, Zel32s Se, Zel32s Al,
                                                    const ZeliEncodeHuffmanSpec* pAcTable,
                                                    ZeliEncodeHuffmanState* pState, Zel32s bFlushState) {
  return encodeBand(
      pSrc, pDst, dstLenBytes, pDstCurrPos, Ss, Se, Al, pAcTable, pState, bFlushState,
      [=](ZeliEncodeHuffmanState& state, Code& code) { return walkFirstScan(pSrc, Ss, Se, Al, state, code); });
}

ZelStatus ownEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes,
                                                     Zel32s* pDstCurrPos, Zel32s Ss, Zel32s Se, Zel32s Al,
                                                     const ZeliEncodeHuffmanSpec* pAcTable,
                                                     ZeliEncodeHuffmanState* pState, Zel32s bFlushState) {
  return encodeBand(
      pSrc, pDst, dstLenBytes, pDstCurrPos, Ss, Se, Al, pAcTable, pState, bFlushState,
      [=](ZeliEncodeHuffmanState& state, Code& code) { return walkRefinementScan(pSrc, Ss, Se, Al, state, code); });
}
