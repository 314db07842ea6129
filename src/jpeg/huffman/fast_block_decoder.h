// The fast path of the sequential decoders, for a block in the middle of a segment.
#pragma once

#include "jpeg/huffman/block_decoder.h"
#include "jpeg/huffman/fast_reader.h"
#include "jpeg/huffman/opaque.h"

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
  if (!reader.refill(source)) return false;
  Zel32u entry = reader.lookup(dcTable);
  if (!entry) [[unlikely]] {
    entry = reader.lookupLong(dcTable);
    if (!entry) return false;
  }
  const auto dc = static_cast<Zel16s>(*lastDC + reader.takeAny(entry, entry & 15));
  store16(dc, block);

  // A look-up takes 8 bits, a symbol of the table 23. A refill is commonly enough for four: a look at the bits guards
  // them. It works while the symbol behind it is being looked up by the bits at hand.
  constexpr int kGuarded = Reader::kFastSymbol + 8;
  ptrdiff_t k = 1 - 64;                                           // the position less 64
  const auto coefficient = [&]() __attribute__((always_inline)) { // false: the block is full
    k += opaque<Zel32u>(static_cast<Zel8u>(entry)) >> 4;
    store16(reader.take(entry, entry & 15), block + kDecoderOrder[static_cast<size_t>(k + 64)]);
    return ++k < 0;
  };
  const auto endsBlock = [&] { return (entry & 15) == 0 && (entry & 0xF0) != 0xF0; };
  entry = reader.lookup(acTable);
  for (;;) {
    HWY_UNROLL(4)
    for (int i = 0; i < 4; ++i) {
      if (!(entry & 15)) [[unlikely]]
        goto other;
      if (reader.bits < kGuarded) [[unlikely]] {
        if (!reader.refill(source)) return false;
      }
      if (!coefficient()) goto full;
      entry = reader.lookup(acTable);
    }
    if (!reader.refill(source)) return false;
    continue;
  other: // no coefficient, or a longer code
    if (entry && endsBlock()) [[likely]] {
      reader.takeAny(entry, 0);
      break;
    }
    if (!reader.refill(source)) return false;
    if (!entry) {
      entry = reader.lookupLong(acTable);
      if (!entry) return false;
    }
    if (entry & 15) {
      if (!coefficient()) goto full;
    } else {
      reader.takeAny(entry, 0);
      if (endsBlock()) break;
      k += 16;
      if (k >= 0) break;
    }
    entry = reader.lookup(acTable);
    continue;
  full:
    if (k > 0) return false;
    break;
  }
  reader.finish(source);
  source.state->lastPosition = static_cast<Zel32s>(k + 64);
  *lastDC = dc;
  return true;
}

} // namespace zelj
