// The coding passes of the decoder (ISO/IEC 15444-1 Annex D). A pass looks at its block chunk by chunk: bit operations
// find the samples that it codes, and the loop goes from one to the next without looking at those between them. What
// becomes significant on the way adds samples to the set.
#pragma once

#include <array>
#include <bit>
#include <cstring>

#include "jpeg2k/tier1/chunks.h"
#include "jpeg2k/tier1/decode_state.h"
#include "jpeg2k/tier1/mq_decoder.h"

namespace zelj {

// Zero-coding contexts (Table D.1) by the nine bits of a sample and its neighbours in a column word.
using ZeroContextTable = std::array<Zel8u, 512>;

constexpr ZeroContextTable makeZeroContexts(int orientation) {
  ZeroContextTable table{};
  for (size_t around = 0; around < table.size(); ++around) {
    const auto bit = [around](int i) { return static_cast<int>(around >> i & 1); };
    int h = bit(3) + bit(5), v = bit(1) + bit(7);
    const int d = bit(0) + bit(2) + bit(6) + bit(8);
    int context = 0;
    if (orientation == 2) {
      const int hv = h + v;
      context = d >= 3 ? 8 : d == 2 ? (hv ? 7 : 6) : d == 1 ? (hv >= 2 ? 5 : 3 + hv) : (hv >= 2 ? 2 : hv);
    } else {
      if (orientation == 1) std::swap(h, v);
      context = h == 2 ? 8 : h == 1 ? (v ? 7 : d ? 6 : 5) : v ? 2 + v : (d >= 2 ? 2 : d);
    }
    table[around] = static_cast<Zel8u>(context);
  }
  return table;
}

// LL and LH, HL, HH.
inline constexpr ZeroContextTable kZeroContexts[3] = {makeZeroContexts(0), makeZeroContexts(1), makeZeroContexts(2)};

// Sign coding (Tables D.2 and D.3) by the significance of the neighbours above (bit 1), left (3), right (5) and below
// (7) and, in the bits below these, whether they are negative: context << 1 | whether the sign is told inverted.
constexpr std::array<Zel8u, 256> makeSignContexts() {
  std::array<Zel8u, 256> table{};
  for (size_t around = 0; around < table.size(); ++around) {
    const auto contribution = [around](int i) { return (around >> i & 2) ? ((around >> i & 1) ? -1 : 1) : 0; };
    const auto clamp = [](int sum) { return sum > 1 ? 1 : sum < -1 ? -1 : sum; };
    int h = clamp(contribution(2) + contribution(4)), v = clamp(contribution(0) + contribution(6));
    const bool inverted = h < 0 || (h == 0 && v < 0);
    if (inverted) {
      h = -h;
      v = -v;
    }
    const Zel32u context = kSignContext + static_cast<Zel32u>(h ? 3 + v : v);
    table[around] = static_cast<Zel8u>(context << 1 | inverted);
  }
  return table;
}

inline constexpr std::array<Zel8u, 256> kSignContexts = makeSignContexts();

struct BlockDecoder {
  Zel8u* destination;
  ptrdiff_t step;
  ZeliSize size;
  BlockFlags flags;
  const ZeroContextTable& zeroContexts;
  bool causal;
  int plane;

  // Runs body(place, chunk, near) for the chunks in scan order, `near` being the samples with a significant neighbour.
  struct Place {
    ColumnWord* columns; // of the chunk's first column
    Zel8u* samples;      // the chunk's first
    Zel64u inside;
    bool marksNorth; // what becomes significant in row 0 is seen by the stripe above
  };

  template <class Body>
  [[gnu::always_inline]] void forChunks(Body body) const {
    const int n = flags.chunksPerStripe;
    for (int y = 0; y < flags.stripes; ++y) {
      ChunkState* row = flags.chunks + ptrdiff_t{y} * n;
      const auto north = [=, this](int x) { return y > 0 ? row[x - n].significant : 0; };
      const auto south = [=, this](int x) { return !causal && y + 1 < flags.stripes ? row[x + n].significant : 0; };
      const auto vertical = [=](int x) {
        return above(row[x].significant, north(x)) | below(row[x].significant, south(x));
      };
      const auto column = [=](int x) { return vertical(x) | row[x].significant; };
      Zel64u west = 0, here = column(0);
      for (int x = 0; x < n; ++x) {
        const Zel64u east = x + 1 < n ? column(x + 1) : 0;
        const Place place{flags.columns + y * flags.stride + x * kChunkColumns,
                          destination + 4 * y * step + x * (kChunkColumns * 4),
                          insideChunk(size.width - x * kChunkColumns, size.height - 4 * y), y > 0 && !causal};
        body(place, row[x], vertical(x) | leftOf(here, west) | rightOf(here, east));
        west = column(x);
        here = east;
      }
    }
  }

  Zel8u* sampleAt(const Place& place, int i) const { return place.samples + (i & 3) * step + (i >> 2) * 4; }

  // Reads the sign of sample i, which has become significant, and tells its neighbours.
  template <class Coder>
  [[gnu::always_inline]] void becomeSignificant(const Place& place, int i, Coder& coder) const {
    const int row = i & 3, at = 3 * row;
    ColumnWord* column = place.columns + (i >> 2);
    Zel32u sign;
    if constexpr (std::is_same_v<Coder, RawReader>) {
      sign = coder.read();
    } else {
      const auto signOf = [=](Zel32u word, int r) { return word >> (kSignBit + 1 + r) & 1; };
      const Zel32u around = (column[0] >> at & 0xAA) | signOf(column[0], row - 1) | signOf(column[-1], row) << 2 |
                            signOf(column[1], row) << 4 | signOf(column[0], row + 1) << 6;
      const Zel32u context = kSignContexts[around];
      sign = coder.decode(context >> 1) ^ (context & 1);
    }
    column[-1] |= 4u << (at + 3);
    column[0] |= 2u << (at + 3) | sign << (kSignBit + 1 + row);
    column[1] |= 1u << (at + 3);
    if (row == 0 && place.marksNorth) {
      ColumnWord* north = column - flags.stride;
      north[-1] |= 4u << 15;
      north[0] |= 2u << 15 | sign << (kSignBit + 5);
      north[1] |= 1u << 15;
    }
    if (row == 3) {
      ColumnWord* south = column + flags.stride;
      south[-1] |= 4u;
      south[0] |= 2u | sign << kSignBit;
      south[1] |= 1u;
    }
    const Zel32u value = sign << 31 | (3u << plane) >> 1;
    std::memcpy(sampleAt(place, i), &value, sizeof value);
  }

  [[gnu::always_inline]] Zel32u zeroContext(const Place& place, int i) const {
    return zeroContexts[place.columns[i >> 2] >> 3 * (i & 3) & 0x1FF];
  }

  template <class Coder>
  [[gnu::noinline]] void propagateSignificance(Coder& shared) const {
    Coder coder = shared;
    forChunks([&](const Place& place, ChunkState& chunk, Zel64u near) __attribute__((always_inline)) {
      // The samples behind sample i of a row that are its neighbours, i being 0.
      static constexpr Zel64u kBehind[4] = {2 + 16 + 32, 2 + 8 + 16 + 32, 2 + 8 + 16 + 32, 8 + 16};
      const Zel64u eligible = place.inside & ~chunk.significant;
      Zel64u left = near & eligible, visited = left, fresh = 0;
      while (left) {
        const int i = std::countr_zero(left);
        left &= left - 1;
        Zel32u bit;
        if constexpr (std::is_same_v<Coder, RawReader>) {
          bit = coder.read();
        } else {
          bit = coder.decode(zeroContext(place, i));
        }
        if (bit) {
          becomeSignificant(place, i, coder);
          fresh |= Zel64u{1} << i;
          const Zel64u drawn = kBehind[i & 3] << i & eligible;
          left |= drawn;
          visited |= drawn;
        }
      }
      chunk.significant |= fresh;
      chunk.visited |= visited; // a caller may have stopped behind an earlier pass over this plane
    });
    shared = coder;
  }

  template <class Coder>
  [[gnu::noinline]] void refineMagnitudes(Coder& shared) const {
    Coder coder = shared;
    const Zel32u kept = plane < 31 ? ~Zel32u{0} << (plane + 1) : 0, half = (1u << plane) >> 1;
    forChunks([&](const Place& place, ChunkState& chunk, Zel64u near) __attribute__((always_inline)) {
      const Zel64u coded = chunk.significant & ~chunk.visited;
      const Zel64u first = ~chunk.refined;
      chunk.refined |= coded;
      for (Zel64u left = coded; left; left &= left - 1) {
        const int i = std::countr_zero(left);
        Zel32u bit;
        if constexpr (std::is_same_v<Coder, RawReader>) {
          bit = coder.read();
        } else {
          const Zel32u isFirst = first >> i & 1, isNear = near >> i & 1;
          bit = coder.decode(kRefinementContext + (isFirst ? isNear : 2));
        }
        Zel8u* sample = sampleAt(place, i);
        Zel32u value;
        std::memcpy(&value, sample, sizeof value);
        value = (value & kept) | bit << plane | half;
        std::memcpy(sample, &value, sizeof value);
      }
    });
    shared = coder;
  }

  [[gnu::noinline]] void cleanUp(MqDecoder& shared) const {
    MqDecoder coder = shared;
    forChunks([&](const Place& place, ChunkState& chunk, Zel64u near) __attribute__((always_inline)) {
      Zel64u left = place.inside & ~(chunk.significant | chunk.visited);
      chunk.visited = 0;
      // Columns of four samples without a significant neighbour are told by one decision while it holds.
      Zel64u busy = ~left | near;
      busy |= busy >> 2;
      busy |= busy >> 1;
      Zel64u runs = ~busy & kRow0;
      left &= ~(runs * 14);
      Zel64u fresh = 0;
      while (left) {
        int i = std::countr_zero(left);
        left &= left - 1;
        if (runs >> i & 1) {
          if (!coder.decode(kRunContext)) continue;
          Zel32u row = coder.decode(kUniformContext) << 1;
          row |= coder.decode(kUniformContext);
          left |= Zel64u{14u << row & 15} << i; // behind the one that ends the run
          i += static_cast<int>(row);
        } else if (!coder.decode(zeroContext(place, i))) {
          continue;
        }
        becomeSignificant(place, i, coder);
        fresh |= Zel64u{1} << i;
        // The next column is no run any more.
        const Zel64u next = runs & Zel64u{16} << (i & ~3);
        runs ^= next;
        left |= next * 15;
      }
      chunk.significant |= fresh;
    });
    shared = coder;
  }
};

} // namespace zelj
