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
  HWY_UNROLL(8) // no loop, nor what the compiler takes for one that clears memory
  for (size_t i = 0; i < 64; i += hn::MaxLanes(d)) hn::StoreU(hn::Zero(d), d, block + i);
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
  // A refill works while the symbol behind it is being looked up by the bits at hand.
  if (reader.bits < Reader::kLookup) [[unlikely]] {
    if (!reader.refill(source)) return false;
  }
  Code code = reader.lookup(dcTable);
  if (!reader.refill(source)) return false;
  if (!code.length) [[unlikely]] {
    code = reader.lookupLong(dcTable);
    if (!code.length) return false;
  }
  store16(load16(lastDC) + reader.takeAny(code, kDecoderTables), block);

  // A refill is enough for two symbols of the table, with the look-up behind them, and commonly for three.
  constexpr int kGuarded = Reader::kFastSymbol + Reader::kLookup;
  const DecoderTables* const tables = opaque(&kDecoderTables);
  ptrdiff_t k = 1 - 64;                                           // the position less 64
  const auto coefficient = [&]() __attribute__((always_inline)) { // false: the block is full
    k += static_cast<ptrdiff_t>(code.symbol >> 4);
    store16(reader.take(code, *tables), block + tables->order[k + 64]);
    code = reader.lookup(acTable);
    return ++k < 0;
  };
  code = reader.lookup(acTable);
  for (;;) {
    if (!code.category()) [[unlikely]]
      goto other;
    if (reader.bits < kGuarded) [[unlikely]] {
      if (!reader.refill(source)) return false;
    }
    if (!coefficient()) [[unlikely]]
      goto full;
    if (!code.category()) [[unlikely]]
      goto other;
    if (!reader.refill(source)) return false;
    if (!coefficient()) [[unlikely]]
      goto full;
    if (!code.category()) [[unlikely]]
      goto other;
    if (!coefficient()) [[unlikely]]
      goto full;
    continue;
  other: // no coefficient, or a longer code
    code = reader.lookup(acTable);
    if (code.length && code.symbol != 0xF0) [[likely]] {
      reader.takeCode({0, code.length});
      break;
    }
    if (!reader.refill(source)) return false;
    if (!code.length) {
      code = reader.lookupLong(acTable);
      if (!code.length) return false;
    }
    if (code.category()) {
      if (!coefficient()) [[unlikely]]
        goto full;
    } else {
      reader.takeCode({0, code.length});
      if (code.symbol != 0xF0) break;
      k += 16;
      if (k >= 0) break;
      code = reader.lookup(acTable);
    }
    continue;
  full:
    if (k > 0) return false;
    break;
  }
  reader.finish(source);
  source.state->lastPosition = static_cast<Zel32s>(k + 64);
  *lastDC = load16(block);
  return true;
}

} // namespace zelj
