// The fast path of the sequential decoders, for a block in the middle of a segment.
#pragma once

#include "jpeg/huffman/block_decoder.h"
#include "jpeg/huffman/fast_reader.h"

namespace zelj {

// What a block takes before its first bit, in vectors: clears it, and looks for the next 0xFF. A function of its own,
// since functions with long vectors align their stack.
template <class Ahead>
[[gnu::noinline]] const Zel8u* prepare(Zel16s* block, const Zel8u* at, Ahead ahead) {
  const hn::CappedTag<Zel16s, 64> d;
  for (size_t i = 0; i < 64; i += hn::Lanes(d)) hn::StoreU(hn::Zero(d), d, block + i);
  return ahead.clearUntil(at);
}

// The ordinary block in the middle of a segment. False: nothing has changed but the block's coefficients.
template <class Ahead>
HWY_INLINE bool readBlockFast(const BitSource& source, const ZeliDecodeHuffmanSpec& dcTable,
                              const ZeliDecodeHuffmanSpec& acTable, Zel16s* lastDC, Zel16s* block) {
  using Reader = FastReader<Ahead>;
  if (!Reader::canStart(source)) return false;
  const Zel8u* const from = source.bytes + *source.position;
  Reader reader(source, from, prepare(block, from, Ahead(source)));
  // The bits held from the last call are enough for an ordinary DC term, so that it need not wait for memory.
  if (reader.bits < Reader::kFastSymbol && !reader.refill()) return false;
  Zel32u entry = reader.lookup(dcTable);
  if (!entry) [[unlikely]] {
    if (!reader.refill()) return false;
    entry = reader.lookupLong(dcTable);
    if (!entry) return false;
  }
  const auto dc = static_cast<Zel16s>(*lastDC + reader.takeAny(entry, entry & 15));
  store16(dc, block);
  if (reader.bits < 8 && !reader.refill()) return false;

  // A refill is enough for two symbols of the look-up table, and commonly for four: a look at the bits guards the third
  // and the fourth. It works while the first is looked up by the bits at hand, at least 8. False: the block is full.
  constexpr int kGuarded = Reader::kFastSymbol + 8;
  size_t k = 1;
  const auto coefficient = [&]() __attribute__((always_inline)) {
    k += entry >> 4 & 15;
    store16(reader.take(entry, entry & 15), block + kDecoderOrder[k]);
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
        entry = reader.lookup(acTable);
        if (entry & 15) [[likely]] {
          if (reader.bits < kGuarded && !reader.refill()) [[unlikely]]
            return false;
          if (!coefficient()) break;
          entry = reader.lookup(acTable);
          if (entry & 15) [[likely]] {
            if (reader.bits < kGuarded && !reader.refill()) [[unlikely]]
              return false;
            if (!coefficient()) break;
            continue;
          }
        }
      }
    }
    // A longer code, or a symbol without a coefficient.
    if (!entry) {
      if (!reader.refill()) return false;
      entry = reader.lookupLong(acTable);
      if (!entry) return false;
    }
    if (entry & 15) {
      if (!coefficient()) break;
    } else {
      reader.takeAny(entry, 0);
      if ((entry & 0xF0) != 0xF0) goto finished;
      k += 16;
      if (k > 63) goto finished;
    }
    if (!reader.refill()) return false;
  }
  if (k > 64) return false;
finished:
  reader.finish(source);
  source.state->lastPosition = static_cast<Zel32s>(k);
  *lastDC = dc;
  return true;
}

} // namespace zelj
