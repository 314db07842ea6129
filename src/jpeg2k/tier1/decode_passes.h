// The coding passes of the decoder (ISO/IEC 15444-1 Annex D). A pass looks at its block chunk by chunk: bit operations
// find the samples that it codes, and the loop goes from one to the next without looking at those between them. What
// becomes significant on the way adds samples to the set.
#pragma once

#include <array>
#include <bit>
#include <cstring>
#include <utility>

#include "jpeg2k/tier1/chunks.h"
#include "jpeg2k/tier1/decode_state.h"
#include "jpeg2k/tier1/mq_decoder.h"
#include "simd/simd.h"

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

// Sign coding (Tables D.2 and D.3) by the significance of the neighbours above (bit 0), left (2), right (4) and below
// (6) and whether they are negative (bits 1, 7, 5 and 3): context << 1 | whether the sign is told inverted.
constexpr std::array<Zel8u, 256> makeSignContexts() {
  std::array<Zel8u, 256> table{};
  for (size_t around = 0; around < table.size(); ++around) {
    const auto contribution = [around](int significant, int negative) {
      return (around >> significant & 1) ? ((around >> negative & 1) ? -1 : 1) : 0;
    };
    const auto clamp = [](int sum) { return sum > 1 ? 1 : sum < -1 ? -1 : sum; };
    int h = clamp(contribution(2, 7) + contribution(4, 5)), v = clamp(contribution(0, 1) + contribution(6, 3));
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

// The bit of row 0 of each column in the part of a chunk that fits a word.
alignas(32) inline constexpr Zel32u kColumnBits[8] = {1, 1 << 4, 1 << 8, 1 << 12, 1 << 16, 1 << 20, 1 << 24, 1 << 28};

struct BlockDecoder {
  Zel8u* destination;
  ptrdiff_t step;
  ZeliSize size;
  BlockFlags flags;
  const ZeroContextTable& zeroContexts;
  bool causal;
  int plane;

  // Where a chunk lies.
  struct Place {
    ColumnWord* columns; // its first column
    Zel8u* signs;
    Zel8u* samples;     // its first sample
    Zel64u inside;      // those of its samples that belong to the block
    Zel32u freshSample; // magnitude of a sample that becomes significant
    const Zel8u* zeroContexts;
    ptrdiff_t north; // columns from here to those above; where these must not see this stripe, to those below the block
  };

  // Runs body(place, chunk, near) for the chunks in scan order, `near` being the samples with a significant neighbour.
  template <class Body>
  [[gnu::always_inline]] void forChunks(Body body) const {
    const int n = flags.chunksPerStripe;
    for (int y = 0; y < flags.stripes; ++y) {
      ChunkState* row = flags.chunks + ptrdiff_t{y} * n;
      const bool hasSouth = !causal && y + 1 < flags.stripes;
      const ptrdiff_t north = (y > 0 && !causal ? -1 : flags.stripes - y) * flags.stride;
      const auto vertical = [=](int x) {
        const Zel64u here = row[x].significant;
        return above(here, y > 0 ? row[x - n].significant : 0) | below(here, hasSouth ? row[x + n].significant : 0);
      };
      // Chunks in front hold what this pass has made of them.
      Zel64u west = 0, hereVertical = vertical(0);
      for (int x = 0; x < n; ++x) {
        const bool hasEast = x + 1 < n;
        const Zel64u eastVertical = hasEast ? vertical(x + 1) : 0;
        const Zel64u east = hasEast ? eastVertical | row[x + 1].significant : 0;
        const Zel64u here = hereVertical | row[x].significant;
        const ptrdiff_t first = y * flags.stride + x * kChunkColumns;
        const Place place{flags.columns + first,
                          flags.signs + first,
                          destination + 4 * y * step + x * (kChunkColumns * 4),
                          insideChunk(size.width - x * kChunkColumns, size.height - 4 * y),
                          (3u << plane) >> 1,
                          zeroContexts.data(),
                          north};
        body(place, row[x], hereVertical | leftOf(here, west) | rightOf(here, east));
        west = vertical(x) | row[x].significant;
        hereVertical = eastVertical;
      }
    }
  }

  // Writes the samples of a set: what `kept` leaves of them, with `value` and, for those of `marked`, with `mark`.
  void writeSamples(const Place& place, Zel64u set, Zel32u kept, Zel32u value, Zel64u marked, Zel32u mark) const {
    if (place.inside == ~Zel64u{0}) {
      constexpr hn::CappedTag<Zel32u, 8> d;
      constexpr int n = static_cast<int>(hn::MaxLanes(d));
      const auto keptBits = hn::Set(d, kept), values = hn::Set(d, value), marks = hn::Set(d, mark);
      const auto columnBits = hn::Load(d, kColumnBits);
      for (int x = 0; x < kChunkColumns; x += n) {
        const auto sets = hn::Set(d, static_cast<Zel32u>(set >> 4 * x)),
                   marking = hn::Set(d, static_cast<Zel32u>(marked >> 4 * x));
        for (int row = 0; row < 4; ++row) {
          const auto bit = hn::ShiftLeftSame(columnBits, row);
          auto* at = reinterpret_cast<Zel32u*>(place.samples + row * step) + x;
          const auto old = hn::LoadU(d, at);
          const auto made =
              hn::Or(hn::Or(hn::And(old, keptBits), values), hn::IfThenElseZero(hn::TestBit(marking, bit), marks));
          hn::StoreU(hn::IfThenElse(hn::TestBit(sets, bit), made, old), d, at);
        }
      }
      return;
    }
    for (; set; set &= set - 1) {
      const int i = std::countr_zero(set);
      Zel8u* sample = place.samples + (i & 3) * step + (i >> 2) * 4;
      Zel32u word;
      std::memcpy(&word, sample, sizeof word);
      word = (word & kept) | value | ((marked >> i & 1) ? mark : 0);
      std::memcpy(sample, &word, sizeof word);
    }
  }

  // What a pass over a chunk has found.
  struct Found {
    Zel64u coded, fresh; // fresh: samples that have become significant
  };

  template <class Run>
  [[gnu::always_inline]] void becomeSignificant(const Place& place, int i, Run& run, Found& found) const {
    // Work out anew what follows from i: the decoder in front of this needs the registers.
    asm("" : "+r"(i));
    const int row = i & 3;
    ColumnWord* column = place.columns + (i >> 2);
    Zel8u* signs = place.signs + (i >> 2);
    Zel32u context = 0;
    if constexpr (!std::is_same_v<Run, RawRun>) {
      const auto signsAt = [=](int x, Zel32u bits) { return Zel32u{signs[x]} >> row & bits; };
      const Zel32u around =
          (*column >> (3 * row + 1) & 0x55) | signsAt(0, 10) | signsAt(-1, 4) << 5 | signsAt(1, 4) << 3;
      context = kSignContexts[around];
    }
    const Zel32u sign = run.decode(context >> 1) ^ (context & 1);
    found.fresh |= Zel64u{1} << i;
    const Zel32u sample = place.freshSample | sign << 31;
    std::memcpy(place.samples + row * step + (i >> 2) * 4, &sample, sizeof sample);
    // Where there is nothing to tell to the stripe above or below, shifts move it out of the bits that are looked at.
    const auto mark = [](ColumnWord* at, ColumnWord bit) {
      at[-1] |= 4 * bit;
      at[0] |= 2 * bit;
      at[1] |= bit;
    };
    const ColumnWord bit = 8u << 3 * row, negative = sign << (row + 2);
    mark(column, bit);
    mark(column + place.north, bit << 12);
    mark(column + flags.stride, bit >> 12);
    signs[0] = static_cast<Zel8u>(signs[0] | negative);
    signs[place.north] = static_cast<Zel8u>(signs[place.north] | negative << 4);
    signs[flags.stride] = static_cast<Zel8u>(signs[flags.stride] | negative >> 4);
  }

  [[gnu::always_inline]] Zel32u zeroContext(const Place& place, int i) const {
    return place.zeroContexts[place.columns[i >> 2] >> 3 * (i & 3) & 0x1FF];
  }

  // The loops over the samples of a chunk are functions of their own: they need all registers.
  template <class Coder>
  [[gnu::noinline]] void propagateInChunk(Coder& coder, const Place& place, Zel64u left, Zel64u eligible,
                                          Found& result) const {
    // The samples behind sample i of a row that are its neighbours, i being 0.
    static constexpr Zel64u kBehind[4] = {2 + 16 + 32, 2 + 8 + 16 + 32, 2 + 8 + 16 + 32, 8 + 16};
    RunOf<Coder> run(coder);
    Found found{left, 0};
    while (left) {
      const int i = std::countr_zero(left);
      left &= left - 1;
      if (run.decode(zeroContext(place, i))) {
        becomeSignificant(place, i, run, found);
        const Zel64u drawn = kBehind[i & 3] << i & eligible;
        left |= drawn;
        found.coded |= drawn;
      }
    }
    result = found;
    run.save();
  }

  template <class Coder>
  void propagateSignificance(Coder& coder) const {
    forChunks([&](const Place& place, ChunkState& chunk, Zel64u near) __attribute__((always_inline)) {
      const Zel64u eligible = place.inside & ~chunk.significant;
      if (!(near & eligible)) return;
      Found found;
      propagateInChunk(coder, place, near & eligible, eligible, found);
      chunk.visited |= found.coded; // a caller may have stopped behind an earlier pass over this plane
      chunk.significant |= found.fresh;
    });
  }

  template <class Coder>
  [[gnu::noinline]] static Zel64u refineInChunk(Coder& coder, Zel64u left, Zel64u refined, Zel64u near) {
    RunOf<Coder> run(coder);
    Zel64u ones = 0;
    for (; left; left &= left - 1) {
      const int i = std::countr_zero(left);
      const auto context =
          kRefinementContext + 2 * static_cast<Zel32u>(refined >> i & 1) + static_cast<Zel32u>(near >> i & 1);
      ones |= Zel64u{run.decode(context)} << i;
    }
    run.save();
    return ones;
  }

  template <class Coder>
  void refineMagnitudes(Coder& coder) const {
    const Zel32u kept = plane < 31 ? ~Zel32u{0} << (plane + 1) : 0;
    forChunks([&](const Place& place, ChunkState& chunk, Zel64u near) __attribute__((always_inline)) {
      // Flags that a caller keeps from elsewhere may say anything.
      const Zel64u coded = place.inside & chunk.significant & ~chunk.visited;
      if (!coded) return;
      const Zel64u ones = refineInChunk(coder, coded, chunk.refined, near & ~chunk.refined);
      chunk.refined |= coded;
      writeSamples(place, coded, kept, (1u << plane) >> 1, ones, 1u << plane);
    });
  }

  [[gnu::noinline]] void cleanUpInChunk(MqDecoder& coder, const Place& place, Zel64u left, Zel64u runs,
                                        Found& result) const {
    MqRun run(coder);
    Found found{};
    while (left) {
      int i = std::countr_zero(left);
      left &= left - 1;
      if (runs >> i & 1) {
        if (!run.decodeSkewed(kRunContext)) continue;
        Zel32u row = run.decode(kUniformContext) << 1;
        row |= run.decode(kUniformContext);
        left |= Zel64u{14u << row & 15} << i; // behind the one that ends the run
        i += static_cast<int>(row);
      } else if (!run.decode(zeroContext(place, i))) {
        continue;
      }
      becomeSignificant(place, i, run, found);
      // The next column is no run any more.
      const Zel64u next = runs & Zel64u{16} << (i & ~3);
      runs ^= next;
      left |= next * 15;
    }
    result = found;
    run.save();
  }

  void cleanUp(MqDecoder& coder) const {
    forChunks([&](const Place& place, ChunkState& chunk, Zel64u near) __attribute__((always_inline)) {
      Zel64u left = place.inside & ~(chunk.significant | chunk.visited);
      chunk.visited = 0;
      if (!left) return;
      // Columns of four samples without a significant neighbour are told by one decision while it holds.
      Zel64u busy = ~left | near;
      busy |= busy >> 2;
      busy |= busy >> 1;
      const Zel64u runs = ~busy & kRow0;
      Found found;
      cleanUpInChunk(coder, place, left & ~(runs * 14), runs, found);
      chunk.significant |= found.fresh;
    });
  }
};

} // namespace zelj
