// The fast path of the sequential decoders, for a block in the middle of a segment.
#pragma once

#include "jpeg/huffman/block_decoder.h"
#include "jpeg/huffman/fast_reader.h"

namespace zelj {

inline void clear(Zel16s* block) {
  const hn::CappedTag<Zel16s, 64> d;
  for (size_t i = 0; i < 64; i += hn::Lanes(d)) hn::StoreU(hn::Zero(d), d, block + i);
}

// The ordinary block in the middle of a segment. False: nothing has changed but the block's coefficients.
template <class Ahead>
HWY_INLINE bool readBlockFast(const BitSource& source, const ZeliDecodeHuffmanSpec& dcTable,
                              const ZeliDecodeHuffmanSpec& acTable, Zel16s* lastDC, Zel16s* block) {
  if (!FastReader<Ahead>::canStart(source)) return false;
  FastReader<Ahead> reader(source);
  clear(block);
  // The bits held from the last call are enough for an ordinary DC term, so that it need not wait for memory.
  if (reader.bits < FastReader<Ahead>::kFastSymbol && !reader.refill()) return false;
  Zel32u entry = reader.lookup(dcTable);
  if (!entry) [[unlikely]] {
    if (!reader.refill()) return false;
    entry = reader.lookupLong(dcTable);
    if (!entry) return false;
  }
  const auto dc = static_cast<Zel16s>(*lastDC + reader.take(entry, entry & 15));
  store(block, 0, dc);
  if (reader.bits < 8 && !reader.refill()) return false;

  // One refill serves two symbols of the look-up table, and works while the first is looked up by the bits at hand, at
  // least 8. False: the block is full.
  int k = 1;
  const auto coefficient = [&]() __attribute__((always_inline)) {
    k += entry >> 4 & 15;
    store(block, k, reader.take(entry, entry & 15));
    return ++k < 64;
  };
  for (;;) {
    entry = reader.lookup(acTable);
    if (!reader.refill()) return false;
    if (entry & 15) [[likely]] {
      if (!coefficient()) break;
      entry = reader.lookup(acTable);
      if (entry & 15) [[likely]] {
        if (!coefficient()) break;
        continue;
      }
    }
    // A longer code, or a symbol without a coefficient.
    if (!entry) {
      entry = reader.lookupLong(acTable);
      if (!entry) return false;
    }
    if (entry & 15) {
      if (!coefficient()) break;
    } else {
      reader.take(entry, 0);
      if ((entry & 0xF0) != 0xF0) goto finished;
      k += 16;
      if (k > 63) goto finished;
    }
    if (!reader.refill()) return false;
  }
  if (k > 64) return false;
finished:
  reader.finish(source);
  source.state->lastPosition = k;
  *lastDC = dc;
  return true;
}

} // namespace zelj
