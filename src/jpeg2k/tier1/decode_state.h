// The record of the code-block decoder. Callers provide its memory, at any address, so its size is part of the
// interface; what follows the record in that memory depends on the block and is found by BlockFlags.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "jpeg2k/tier1/chunks.h"
#include "jpeg2k/tier1/mq_states.h"
#include "zelj.h"

struct [[gnu::packed]] ZeliDecodeCBProgrState_JPEG2K {
  char tag[4];
  Zel32s* destination;
  Zel32s width, height, step;
  Zel32s bitPlane;
  Zel32s passesLeft;
  Zel32s passKind;
  Zel32s bypassLimit;
  Zel32s styleFlags;
  Zel32s orientation; // which table of zero-coding contexts
  bool attached, failed;
  zelj::MqContexts contexts;
};

namespace zelj {

inline constexpr char kDecodeTag[4] = {'P', 'A', 'M', 'C'};

inline ZelStatus checkDecoder(const ZeliDecodeCBProgrState_JPEG2K* state) {
  if (!state) return zelStatusNullPointer;
  return std::memcmp(state->tag, kDecodeTag, sizeof kDecodeTag) == 0 ? zelStatusOk : zelStatusContextMismatch;
}

// The record with room to align what follows it.
constexpr int kDecodeRecordBytes = 472;
constexpr int kFlagAlignment = 32;
static_assert(sizeof(ZeliDecodeCBProgrState_JPEG2K) <= kDecodeRecordBytes - kFlagAlignment + 1);

// What is known of the samples of a chunk, a bit for each.
struct ChunkState {
  Zel64u significant, visited, refined;
};

// A word for each column of a stripe: which samples around it are significant, bit 3 * (row + 1) + (0 for the column to
// the left, 1 for itself, 2 for that to the right), rows being -1..4. And a byte, of the samples of the column itself
// that are negative, bit row + 2. What lies above these bits is never looked at.
using ColumnWord = Zel32u;

// The flags behind the record: stripes of column words, then of bytes of signs, each with a column on either side and a
// row below that are never looked at but may be written; then the chunks, a row for each stripe.
struct BlockFlags {
  ColumnWord* columns;
  Zel8u* signs;
  ChunkState* chunks;
  ptrdiff_t stride; // of columns and signs
  int chunksPerStripe, stripes;

  BlockFlags(ZeliDecodeCBProgrState_JPEG2K* state, ZeliSize size)
      : stride(ptrdiff_t{size.width} + 2), chunksPerStripe(chunksOf(size.width)), stripes(stripesOf(size.height)) {
    const auto behind = reinterpret_cast<uintptr_t>(state) + sizeof *state;
    auto* words = reinterpret_cast<ColumnWord*>((behind + kFlagAlignment - 1) / kFlagAlignment * kFlagAlignment);
    const ptrdiff_t count = (stripes + 1) * stride;
    columns = words + 1;
    signs = reinterpret_cast<Zel8u*>(words + count) + 1;
    const ptrdiff_t front = count * static_cast<ptrdiff_t>(sizeof(ColumnWord) + 1);
    chunks = reinterpret_cast<ChunkState*>(reinterpret_cast<Zel8u*>(words) + (front + 7) / 8 * 8);
  }
  size_t bytes() const {
    const auto end = reinterpret_cast<const Zel8u*>(chunks + ptrdiff_t{stripes} * chunksPerStripe);
    return static_cast<size_t>(end - reinterpret_cast<const Zel8u*>(columns - 1));
  }
};

} // namespace zelj
