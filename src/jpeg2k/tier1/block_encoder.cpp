// The first stage of the code-block encoder (ISO/IEC 15444-1 Annex D): all coding passes of a block, each decision
// written to a log with its context. The whole block is known beforehand, so nothing here goes sample by sample: which
// samples a pass codes, what becomes significant and every context are found with bit operations on chunks of 64.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg2k/tier1/chunks.h"
#include "jpeg2k/tier1/encode_state.h"
#include "jpeg2k/tier1/style.h"
#include "jpeg2k/tier1/symbol_log.h"
#include "simd/byte_masks.h"
#include "simd/simd.h"

namespace zelj {
namespace {

enum class Orientation { ll, hl, hh };

// The maps of a block: chunks in rows, with an empty chunk on each side and an empty row above and below.
struct Maps {
  Zel64u* base;
  ptrdiff_t stride; // from a chunk to the one below
  ptrdiff_t size;

  explicit Maps(Zel64u* maps, int chunks, int stripes)
      : base(maps + chunks + 3), stride(chunks + 2), size(stride * (stripes + 2)) {}

  // Bit `plane` of all magnitudes; plane 31 is the signs.
  Zel64u* plane(int plane) const { return base + plane * size; }
  Zel64u* significant() const { return base + 32 * size; }
  Zel64u* visited() const { return base + 33 * size; }
  Zel64u* refined() const { return base + 34 * size; }
  void clearStates() const { std::fill_n(significant() - stride - 1, 3 * size, Zel64u{0}); }
};

// Which neighbours of each sample are significant at the moment at which the scan reaches it.
struct Neighbours {
  Zel64u n, s, w, e, nw, sw, ne, se;
};

// `before` and `after` are the significant samples of the chunk before and after the pass: what lies behind a sample in
// the scan is as it was before, what lies in front of it as it is after. Chunks in front hold their new state already.
// kBlind: contexts are stripe-causal, the stripe below is not seen.
template <bool kBlind>
HWY_INLINE Neighbours neighboursOf(const Zel64u* at, ptrdiff_t stride, Zel64u before, Zel64u after) {
  const auto south = [=](ptrdiff_t i) { return kBlind ? 0 : at[i + stride]; };
  const auto north = [=](ptrdiff_t i) { return at[i - stride]; };
  const Zel64u n = above(after, north(0)), s = below(before, south(0));
  return {n,
          s,
          leftOf(after, at[-1]),
          rightOf(before, at[1]),
          leftOf(n, above(at[-1], north(-1))),
          leftOf(below(after, south(0)), below(at[-1], south(-1))),
          rightOf(above(before, north(0)), above(at[1], north(1))),
          rightOf(s, below(at[1], south(1)))};
}

HWY_INLINE Zel64u any(const Neighbours& m) {
  return m.n | m.s | m.w | m.e | m.nw | m.sw | m.ne | m.se;
}

// The zero-coding contexts of Table D.1, bit by bit from the lowest.
HWY_INLINE std::array<Zel64u, 4> zeroContexts(const Neighbours& m, Orientation orientation) {
  // At least one and at least two of the diagonal neighbours.
  const Zel64u p1 = m.nw | m.ne, q1 = m.sw | m.se, p2 = m.nw & m.ne, q2 = m.sw & m.se;
  const Zel64u d1 = p1 | q1, d2 = p2 | q2 | (p1 & q1);
  if (orientation == Orientation::hh) {
    const Zel64u d3 = (p2 & q1) | (q2 & p1);
    const Zel64u h1 = m.w | m.e, v1 = m.n | m.s;
    const Zel64u one = h1 | v1, two = (m.w & m.e) | (m.n & m.s) | (h1 & v1);
    // 8: d3; 6 and 7: d2 by one; 3, 4, 5: d1 by one, two; 0, 1, 2: by one, two.
    const Zel64u only2 = d2 & ~d3, only1 = d1 & ~d2, none = ~d1;
    return {(only2 & one) | (only1 & ~(one ^ two)) | (none & one & ~two), only2 | (only1 & ~one) | (none & two),
            only2 | (only1 & one), d3};
  }
  const bool swapped = orientation == Orientation::hl;
  const Zel64u west = swapped ? m.n : m.w, east = swapped ? m.s : m.e;
  const Zel64u north = swapped ? m.w : m.n, south = swapped ? m.e : m.s;
  const Zel64u h1 = west ^ east, h0 = ~(west | east), v1 = north | south, v2 = north & south;
  // 8: both horizontal; 7, 6, 5: one, by v1 and d1; 4, 3: none, by v2 and v1; 2, 1: by d2 and d1 alone.
  return {(h1 & (v1 | ~d1)) | (h0 & ((v1 & ~v2) | (~v1 & d1 & ~d2))), (h1 & (v1 | d1)) | (h0 & ~v2 & (v1 | d2)),
          h1 | (h0 & v2), west & east};
}

// The sign-coding contexts of Tables D.2 and D.3, and which signs are told inverted.
struct SignContexts {
  std::array<Zel64u, 3> bits;
  Zel64u inverted;
};

HWY_INLINE SignContexts signContexts(const Neighbours& m, const Zel64u* signs, ptrdiff_t stride) {
  const Zel64u n = above(signs[0], signs[-stride]), s = below(signs[0], signs[stride]);
  const Zel64u w = leftOf(signs[0], signs[-1]), e = rightOf(signs[0], signs[1]);
  const Zel64u hPlus = (m.w & ~w) | (m.e & ~e), hMinus = (m.w & w) | (m.e & e);
  const Zel64u vPlus = (m.n & ~n) | (m.s & ~s), vMinus = (m.n & n) | (m.s & s);
  const Zel64u hp = hPlus & ~hMinus, hm = hMinus & ~hPlus, vp = vPlus & ~vMinus, vm = vMinus & ~vPlus;
  const Zel64u h = hp | hm, v = vp | vm, same = (hp & vp) | (hm & vm);
  return {{h ^ v, h & ~same, same}, hm | (~h & vm)};
}

// The samples behind each sample of a set, in scan order, that are its neighbours in the same chunk.
constexpr Zel64u neighboursBehind(Zel64u set) {
  return (set & ~kRow3) << 1 | (set & ~kRow0) << 3 | set << 4 | (set & ~kRow3) << 5;
}

struct BlockEncoder {
  Maps maps;
  int chunks, stripes;
  ZeliSize size;
  Orientation orientation;
  bool lowestPlaneExact;
  int lowestPlane;
  // Of the current pass.
  int plane;
  Zel8u* log;
  Zel32u distortion;

  // Runs body(k, inside) for the chunks in scan order, k being the place of a chunk in a map.
  template <class Body>
  HWY_INLINE void forChunks(Body body) {
    for (int y = 0; y < stripes; ++y) {
      for (int x = 0; x < chunks; ++x) {
        body(y * maps.stride + x, insideChunk(size.width - x * kChunkColumns, size.height - 4 * y));
      }
    }
  }

  // Sum of t, and of its square, over a set, t being the six bits below the plane.
  Zel32u sumBelow(ptrdiff_t k, Zel64u set) const {
    Zel32u sum = 0;
    for (int j = 0; j < 6; ++j) {
      if (const int p = plane - 6 + j; p >= 0) {
        sum += static_cast<Zel32u>(std::popcount(set & maps.plane(p)[k])) << j;
      }
    }
    return sum;
  }
  Zel32u sumOfSquaresBelow(ptrdiff_t k, Zel64u set) const {
    Zel32u sum = 0;
    for (int j = 0; j < 6; ++j) {
      const int p = plane - 6 + j;
      if (p < 0) continue;
      const Zel64u bits = set & maps.plane(p)[k];
      sum += static_cast<Zel32u>(std::popcount(bits)) << 2 * j;
      for (int i = 0; i < j; ++i) {
        const int q = plane - 6 + i;
        if (q >= 0) sum += static_cast<Zel32u>(std::popcount(bits & maps.plane(q)[k])) << (i + j + 1);
      }
    }
    return sum;
  }

  bool exactHere() const { return lowestPlaneExact && plane == lowestPlane; }

  // By how much the squared error falls where samples become significant, in 2^-13 of the square of the plane's step:
  // with x the magnitude, x^2 - (x - 1.5)^2, or x^2 where x becomes known exactly.
  HWY_INLINE void addSignificance(ptrdiff_t k, Zel64u fresh) {
    const auto count = static_cast<Zel32u>(std::popcount(fresh)), sum = sumBelow(k, fresh);
    if (exactHere()) {
      distortion += 8192 * count + 256 * sum + 2 * sumOfSquaresBelow(k, fresh);
    } else {
      distortion += 6144 * count + 384 * sum;
    }
  }
  // Where samples are refined: (x - 1)^2 less (x - 0.5)^2 or (x - 1.5)^2, or nothing; x lies in 0..2.
  HWY_INLINE void addRefinement(ptrdiff_t k, Zel64u coded) {
    const Zel64u ones = coded & maps.plane(plane)[k], zeros = coded & ~ones;
    const auto count1 = static_cast<Zel32u>(std::popcount(ones)), count0 = static_cast<Zel32u>(std::popcount(zeros));
    const Zel32u sum1 = sumBelow(k, ones), sum0 = sumBelow(k, zeros);
    if (exactHere()) {
      distortion += 8192 * count0 - 256 * sum0 + 2 * sumOfSquaresBelow(k, coded);
    } else {
      distortion += 128 * sum1 - 2048 * count1 + 6144 * count0 - 128 * sum0;
    }
  }

  // Logs the samples of `coded`, of which `fresh` become significant; see putCodedWithSigns. In the columns of `quiet`
  // (by their bits of row 0) one decision says that nothing becomes significant.
  HWY_INLINE void logCoded(ptrdiff_t k, const Neighbours& m, Zel64u coded, Zel64u fresh, Zel64u quiet, Zel64u runs) {
    alignas(32) Zel8u bytes[64], signs[64];
    const auto zero = zeroContexts(m, orientation);
    static_assert(kRunContext == 9);
    spread<5>({maps.plane(plane)[k], zero[0] | quiet, zero[1], zero[2], zero[3] | quiet}, 0, bytes);
    if (fresh) {
      const Zel64u* sign = maps.plane(31) + k;
      const auto context = signContexts(m, sign, maps.stride);
      spread<4>({*sign ^ context.inverted, context.bits[0], context.bits[1], context.bits[2]},
                symbolOf(kSignContext, 0), signs);
      log = putCodedWithSigns(bytes, signs, coded, fresh, runs, log);
    } else {
      log = putCoded(bytes, coded, log);
    }
  }

  template <bool kBlind>
  void propagateSignificance(bool raw) {
    forChunks([&](ptrdiff_t k, Zel64u inside) {
      Zel64u* at = maps.significant() + k;
      const Zel64u before = *at, ones = maps.plane(plane)[k];
      const Zel64u eligible = inside & ~before;
      Neighbours m = neighboursOf<kBlind>(at, maps.stride, before, before);
      Zel64u coded = any(m) & eligible;
      Zel64u fresh = coded & ones;
      // What becomes significant draws in the samples behind it.
      for (Zel64u wave = fresh; wave;) {
        const Zel64u drawn = neighboursBehind(wave) & eligible & ~coded;
        coded |= drawn;
        fresh |= wave = drawn & ones;
      }
      maps.visited()[k] = coded;
      if (!coded) return;
      if (raw) {
        alignas(32) Zel8u bytes[64], signs[64];
        spread<1>({ones}, 0, bytes);
        spread<1>({maps.plane(31)[k]}, 0, signs);
        log = putCodedWithSigns(bytes, signs, coded, fresh, 0, log);
      } else {
        if (fresh) m = neighboursOf<kBlind>(at, maps.stride, before, before | fresh);
        logCoded(k, m, coded, fresh, 0, 0);
      }
      if (fresh) {
        *at = before | fresh;
        addSignificance(k, fresh);
      }
    });
  }

  template <bool kBlind>
  void refineMagnitudes(bool raw) {
    forChunks([&](ptrdiff_t k, Zel64u) {
      const Zel64u* at = maps.significant() + k;
      const Zel64u coded = *at & ~maps.visited()[k];
      if (!coded) return;
      Zel64u& refined = maps.refined()[k];
      alignas(32) Zel8u bytes[64];
      if (raw) {
        spread<1>({maps.plane(plane)[k]}, 0, bytes);
      } else {
        const Zel64u near = any(neighboursOf<kBlind>(at, maps.stride, *at, *at));
        spread<3>({maps.plane(plane)[k], near & ~refined, refined}, symbolOf(kRefinementContext, 0), bytes);
      }
      log = putCoded(bytes, coded, log);
      refined |= coded;
      addRefinement(k, coded);
    });
  }

  template <bool kBlind>
  void cleanUp() {
    forChunks([&](ptrdiff_t k, Zel64u inside) {
      Zel64u* at = maps.significant() + k;
      const Zel64u before = *at, ones = maps.plane(plane)[k];
      Zel64u coded = inside & ~before & ~maps.visited()[k];
      maps.visited()[k] = 0;
      if (!coded) return;
      const Zel64u fresh = coded & ones;
      const Neighbours m = neighboursOf<kBlind>(at, maps.stride, before, before | fresh);
      // Columns of four samples of which none has a significant neighbour when the scan reaches the first.
      Zel64u busy = ~coded | m.w | m.e | m.nw | m.sw | m.ne | m.se | (m.n & kRow0) | (m.s & kRow3);
      busy |= busy >> 2;
      busy |= busy >> 1;
      const Zel64u run = ~busy & kRow0;
      Zel64u withOne = fresh | fresh >> 2;
      withOne |= withOne >> 1;
      const Zel64u quiet = run & ~withOne;
      coded &= ~(quiet * 14);
      logCoded(k, m, coded, fresh, quiet, run & withOne);
      if (fresh) {
        *at = before | fresh;
        addSignificance(k, fresh);
      }
    });
  }
};

// Reads a sample row by row; what is read outside the block is zero.
struct SampleRows {
  const Zel8u* rows[4];
  Zel32u edge[4][kChunkColumns];

  SampleRows(const Zel32s* pSrc, int srcStep, ZeliSize size, int x, int y) {
    const int columns = std::min(size.width - x, kChunkColumns), count = std::min(size.height - y, 4);
    const bool whole = columns == kChunkColumns && count == 4;
    if (!whole) std::memset(edge, 0, sizeof edge);
    for (int r = 0; r < 4; ++r) {
      rows[r] = reinterpret_cast<const Zel8u*>(edge[r]);
      if (r >= count) continue;
      const auto* row = reinterpret_cast<const Zel8u*>(pSrc) + (Zel64s{y} + r) * srcStep + Zel64s{x} * 4;
      if (whole) {
        rows[r] = row;
      } else {
        std::memcpy(edge[r], row, static_cast<size_t>(columns) * 4);
      }
    }
  }

  template <class D>
  HWY_INLINE auto load(D d, int r, int x) const {
    return hn::LoadU(d, reinterpret_cast<const Zel32u*>(rows[r]) + x);
  }
};

using WordTag = hn::CappedTag<Zel32u, 8>;

// All magnitudes of a block OR-ed together: its highest bit is that of the largest.
Zel32u unionOfMagnitudes(const Zel32s* pSrc, int srcStep, ZeliSize size) {
  constexpr WordTag d;
  auto all = hn::Zero(d);
  for (int y = 0; y < size.height; y += 4) {
    for (int x = 0; x < size.width; x += kChunkColumns) {
      const SampleRows samples(pSrc, srcStep, size, x, y);
      for (int r = 0; r < 4; ++r) {
        for (int i = 0; i < kChunkColumns; i += static_cast<int>(hn::MaxLanes(d))) {
          all = hn::Or(all, samples.load(d, r, i));
        }
      }
    }
  }
  alignas(32) Zel32u lanes[hn::MaxLanes(d)];
  hn::Store(all, d, lanes);
  Zel32u result = 0;
  for (const Zel32u lane : lanes) result |= lane;
  return result & 0x7FFFFFFF;
}

// Byte kByte of each sample of a chunk, in scan order.
template <int kByte>
HWY_INLINE void bytesInScanOrder(const SampleRows& samples, Zel8u* bytes) {
  constexpr WordTag d;
  const auto low = hn::Set(d, 0xFFu);
  for (int i = 0; i < kChunkColumns; i += static_cast<int>(hn::MaxLanes(d))) {
    const auto part = [&](int r) { return hn::And(hn::ShiftRight<8 * kByte>(samples.load(d, r, i)), low); };
    const auto v = hn::Or(hn::Or(part(0), hn::ShiftLeft<8>(part(1))),
                          hn::Or(hn::ShiftLeft<16>(part(2)), hn::ShiftLeft<24>(part(3))));
    hn::Store(v, d, reinterpret_cast<Zel32u*>(bytes) + i);
  }
}

// Makes the maps of planes lowest..highest and of the signs.
void makePlanes(const Zel32s* pSrc, int srcStep, const BlockEncoder& block, int lowest, int highest) {
  constexpr ByteTag d;
  const hn::RepartitionToWide<ByteTag> d16;
  const hn::RebindToSigned<ByteTag> dSigned;
  for (int y = 0; y < block.stripes; ++y) {
    for (int x = 0; x < block.chunks; ++x) {
      const SampleRows samples(pSrc, srcStep, block.size, x * kChunkColumns, 4 * y);
      const ptrdiff_t k = y * block.maps.stride + x;
      const auto planesOfByte = [&]<int kByte>(std::integral_constant<int, kByte>) {
        const int top = kByte == 3 ? 31 : std::min(highest, 8 * kByte + 7), bottom = std::max(lowest, 8 * kByte);
        if (top < bottom && kByte != 3) return;
        alignas(32) Zel8u bytes[64];
        bytesInScanOrder<kByte>(samples, bytes);
        const auto makePlane = [&](int plane) {
          Zel64u bits = 0;
          for (size_t at = 0; at < 64; at += hn::MaxLanes(d)) {
            const auto v = hn::BitCast(d16, hn::Load(d, bytes + at));
            const auto shifted = hn::BitCast(dSigned, hn::ShiftLeftSame(v, 7 - plane % 8));
            bits |= bitsOfMask(dSigned, hn::Lt(shifted, hn::Zero(dSigned))) << at;
          }
          block.maps.plane(plane)[k] = bits;
        };
        if (kByte == 3) makePlane(31);
        for (int plane = std::min(top, highest); plane >= bottom; --plane) makePlane(plane);
      };
      planesOfByte(std::integral_constant<int, 0>{});
      planesOfByte(std::integral_constant<int, 1>{});
      planesOfByte(std::integral_constant<int, 2>{});
      planesOfByte(std::integral_constant<int, 3>{});
    }
  }
}

template <bool kBlind>
void codePasses(BlockEncoder& block, ZeliEncodeState_JPEG2K& state, int highestPlane, int styleFlags) {
  int exponent = 2 * (highestPlane - block.lowestPlane) - 13;
  const auto pass = [&](bool raw, auto code) {
    block.distortion = 0;
    code();
    CodingPass& made = state.passes[state.passCount++];
    made = {};
    made.logEnd = static_cast<Zel32u>(block.log - state.log);
    made.distortion = block.distortion;
    made.exponent = exponent;
    made.raw = raw;
  };
  for (int plane = highestPlane; plane >= block.lowestPlane; --plane, exponent -= 2) {
    block.plane = plane;
    if (plane != highestPlane) {
      const bool raw = (styleFlags & kBypass) && plane < highestPlane - 3;
      pass(raw, [&] { block.propagateSignificance<kBlind>(raw); });
      pass(raw, [&] { block.refineMagnitudes<kBlind>(raw); });
    }
    pass(false, [&] {
      block.cleanUp<kBlind>();
      if (styleFlags & kSegmentation) {
        for (const Zel32u bit : {1u, 0u, 1u, 0u}) *block.log++ = symbolOf(kUniformContext, bit);
      }
    });
  }
}

// Marks where the coder is terminated and returns the number of codeword segments.
int markSegments(ZeliEncodeState_JPEG2K& state, bool terminateAll) {
  if (state.passCount == 0) return terminateAll ? 0 : 1;
  int segments = 0;
  for (int i = 0; i < state.passCount; ++i) {
    CodingPass& pass = state.passes[i];
    pass.endsSegment = terminateAll || i + 1 == state.passCount || state.passes[i + 1].raw != pass.raw;
    segments += pass.endsSegment;
  }
  return segments;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownEncodeLoadCodeBlock_JPEG2K_32s_C1R(const Zel32s* pSrc, int srcStep, ZeliSize codeBlockSize,
                                                ZeliEncodeState_JPEG2K* pState, int subband, int magnBits, int termMode,
                                                int, int styleFlags, int* pSfBits, int* pNOfPasses,
                                                int* pNOfTermPasses) {
  if (ZelStatus bad = checkEncoder(pState)) return bad;
  if (!present(pSfBits, pNOfPasses, pNOfTermPasses)) return zelStatusNullPointer;
  if (ZelStatus bad = checkSize(codeBlockSize)) return bad;
  if (!pSrc) return zelStatusNullPointer;
  if (srcStep < 1) return zelStatusBadStep;
  const int chunks = chunksOf(codeBlockSize.width), stripes = stripesOf(codeBlockSize.height);
  if (Zel64s{chunks} * stripes > pState->capacity) return zelStatusBadSize;

  // Planes beyond the sample's own are empty.
  const int lowestPlane = 31 - std::clamp(magnBits, 0, 31);
  *pSfBits = static_cast<int>(std::bit_width(unionOfMagnitudes(pSrc, srcStep, codeBlockSize)));
  const int highestPlane = *pSfBits - 1;
  BlockEncoder block{Maps(pState->maps, chunks, stripes),
                     chunks,
                     stripes,
                     codeBlockSize,
                     subband == 2   ? Orientation::hl
                     : subband == 3 ? Orientation::hh
                                    : Orientation::ll,
                     (styleFlags & kExactLowestPlane) != 0,
                     lowestPlane,
                     0,
                     pState->log,
                     0};
  pState->passCount = 0;
  if (highestPlane >= lowestPlane) {
    block.maps.clearStates();
    makePlanes(pSrc, srcStep, block, std::max(lowestPlane - 6, 0), highestPlane);
    if (styleFlags & kCausal) {
      codePasses<true>(block, *pState, highestPlane, styleFlags);
    } else {
      codePasses<false>(block, *pState, highestPlane, styleFlags);
    }
  }
  *pNOfPasses = pState->passCount;
  *pNOfTermPasses = pState->segmentCount = markSegments(*pState, (styleFlags & kTerminateAll) != 0);
  startStore(*pState, termMode, (styleFlags & kReset) != 0);
  return zelStatusOk;
}
