#include "jpegxr/tile_encoder.h"

#include "jpegxr/context.h"
#include "jpegxr/quantiser.h"
#include "jpegxr/vectors.h"

namespace jpegxr {
namespace {

// A macroblock takes less in all packets together.
constexpr size_t kMacroblockBytes = 1 << 15;

// Packets go on in pieces of about so many bytes.
constexpr size_t kPieceBytes = 1 << 16;

Zel32u magnitudeOf(Zel32s value) {
  return value < 0 ? 0 - static_cast<Zel32u>(value) : static_cast<Zel32u>(value);
}

} // namespace

class TileEncoder::Coder {
 public:
  Coder(const Header& header, int trim, const Planes& planes, Sink sink)
      : context_(header), header_(context_.header), planes_(planes), sink_(std::move(sink)) {
    context_.trim = static_cast<Zel32u>(trim);
    const auto streamFor = [&](size_t i) { return &streams_[header_.frequencyOrder ? i : 0]; };
    dc_ = streamFor(0), lp_ = streamFor(1), hp_ = streamFor(2), flex_ = streamFor(3);
    for (int c = 0; c < header_.components(); ++c) {
      for (const Set set : {kDcSet, kLpSet}) quantisers_[c].emplace_back(header_.step(set, c), set == kDcSet);
    }
    for (size_t i = 0; i < packets(); ++i) {
      pieces_[i].resize(kPieceBytes + kMacroblockBytes);
      streams_[i].at = pieces_[i].data();
      streams_[i].put(0, 16);
      streams_[i].put(1, 8);
      streams_[i].put(static_cast<Zel32u>(header_.frequencyOrder ? i + 1 : 0), 8);
      if (header_.hasTrim && (!header_.frequencyOrder || i == 3)) streams_[i].put(context_.trim, 4);
    }
  }

  Error encodeRow(int my) {
    for (int mx = 0; mx < header_.columns(); ++mx) {
      encodeMacroblock(mx, my);
      for (size_t i = 0; i < packets(); ++i) {
        if (streams_[i].at - pieces_[i].data() < static_cast<ptrdiff_t>(kPieceBytes)) continue;
        if (Error error = passOn(i)) return error;
      }
    }
    return {};
  }

  Error finish() {
    for (size_t i = 0; i < packets(); ++i) {
      BitStream& stream = streams_[i];
      for (; stream.count % 8;) stream.put(0, 1);
      for (; stream.count > 0; stream.count -= 8, stream.bits <<= 8)
        *stream.at++ = static_cast<Zel8u>(stream.bits >> 24);
      // A packet of a head alone is left out.
      if (i > 0 && !passedOn_[i] && stream.at - pieces_[i].data() == 4) continue;
      if (Error error = passOn(i)) return error;
    }
    return {};
  }

 private:
  size_t packets() const { return static_cast<size_t>(header_.packets()); }

  Error passOn(size_t i) {
    passedOn_[i] = true;
    const ByteSpan bytes(pieces_[i].data(), streams_[i].at);
    streams_[i].at = pieces_[i].data();
    return sink_(i, bytes);
  }

  void encodeMacroblock(int mx, int my) {
    Levels levels{};
    for (int c = 0; c < header_.components(); ++c) quantise(c, levels, mx, my);
    const HpMode mode = context_.hpMode(levels);
    Levels differences = levels;
    context_.predict<-1>(differences, context_.dcMode(mx, my), mx);
    context_.remember(levels, mx);

    writeDc(differences);
    if (context_.restarts(mx)) zeliVLCScanReset_JPEGXR(context_.vlc(), 2);
    writeLp(differences);
    if (context_.adapts(mx)) {
      zeliVLCAdapt_JPEGXR(context_.vlc(), 0);
      context_.adaptDcAlphabets();
    }
    if (context_.restarts(mx)) {
      zeliVLCScanReset_JPEGXR(context_.vlc(), 0);
      zeliVLCScanReset_JPEGXR(context_.vlc(), 1);
    }
    Zel32u patterns[3] = {};
    for (int c = 0; c < header_.components(); ++c) {
      predictBlocks(c, mode, mx, my);
      patterns[c] = patternOf(c, mx, my);
    }
    writePatterns(patterns, mx, my);
    zeliVLCScanSet_JPEGXR(context_.vlc(), mode == kHpFromAbove ? 0 : 1);
    writeBlocks(patterns, mx, my);
    if (context_.adapts(mx)) context_.adaptHpAlphabets();
  }

  Zel32s* macroblock(int c, int mx, int my) const {
    const Component& component = planes_.component[c];
    return component.plane.at(mx * component.side, my * component.side);
  }

  void quantise(int c, Levels& levels, int mx, int my) const {
    const Plane& dc = planes_.component[c].dc;
    const bool halved = context_.isHalved(c);
    const int side = halved ? 2 : 4;
    const Zel32s* const values = dc.at(mx * side, my * side);
    for (int k = 0; k < side * side; ++k) {
      const Place place = halved ? Place{static_cast<Zel8u>(k % 2), static_cast<Zel8u>(k / 2)} : kPlaceOf[k];
      levels.q[c][k] = quantisers_[c][k ? kLpSet : kDcSet](values[place.y * dc.below() + place.x]);
    }
  }

  // Takes away what the blocks above or to the left predict, from the last ones to the first.
  void predictBlocks(int c, HpMode mode, int mx, int my) {
    const int side = planes_.component[c].side;
    const ptrdiff_t below = planes_.component[c].plane.below();
    Zel32s* const base = macroblock(c, mx, my);
    const auto subtract = [&](ptrdiff_t from, int firstX, int firstY, std::initializer_list<int> ks) {
      for (int y = side - 4; y >= firstY; y -= 4) {
        for (int x = side - 4; x >= firstX; x -= 4) {
          for (const int k : ks) {
            Zel32s* value = base + (y + kPlaceOf[k].y) * below + x + kPlaceOf[k].x;
            *value -= value[-from];
          }
        }
      }
    };
    if (mode == kHpFromAbove) subtract(4 * below, 0, 4, {4, 8, 12});
    if (mode == kHpFromLeft) subtract(4, 4, 0, {1, 2, 3});
  }

  void writeMagnitude(Alphabet<7>& alphabet, Zel32u value) {
    constexpr Zel8u kBits[6] = {0, 0, 1, 2, 2, 2};
    if (value < 16) {
      const int symbol = static_cast<int>(std::bit_width(value)) + (value >= 12);
      alphabet.put(*dc_, symbol);
      dc_->put(value, kBits[symbol]);
      return;
    }
    alphabet.put(*dc_, 6);
    const auto length = static_cast<Zel32u>(std::bit_width(value >> 5));
    dc_->put(std::min(length, 15u), 4);
    if (length >= 15) dc_->put(std::min(length - 15, 3u), 2);
    if (length >= 18) dc_->put(length - 18, 3);
    Zel32u bits = length + 4;
    if (bits > 16) {
      bits -= 16;
      dc_->put(value >> bits, 16);
    }
    dc_->put(value, bits);
  }

  void writeDc(const Levels& levels) {
    int present = 0, counts[2] = {0, 0};
    for (int c = 0; c < header_.components(); ++c)
      present |= (magnitudeOf(levels.q[c][0]) >> context_.dcBits.bits[c > 0] != 0) << (2 - c);
    if (context_.isGrey()) {
      dc_->put(present != 0, 1);
    } else {
      kCodes8.put(*dc_, present);
    }
    for (int c = 0; c < header_.components(); ++c) {
      const bool chroma = c > 0;
      const Zel32u magnitude = magnitudeOf(levels.q[c][0]), low = context_.dcBits.bits[chroma];
      if (magnitude >> low) {
        writeMagnitude(context_.dcLevel[chroma], (magnitude >> low) - 1);
        ++counts[chroma];
      }
      dc_->put(magnitude, low);
      if (magnitude) dc_->put(levels.q[c][0] < 0, 1);
    }
    context_.updateDc(counts[0], counts[1]);
  }

  void writePresence(Zel32u pattern, Zel32u groups) {
    if (groups == 1) return lp_->put(pattern, 1);
    PresenceModel& model = context_.presence;
    const Zel32u full = (1u << groups) - 1;
    if (model.usesPrefix()) {
      const Zel32u x = model.inverts() ? full - pattern : pattern;
      lp_->put(x != 0, 1);
      if (x == 1) lp_->put(0, groups - 1);
      if (x > 1) lp_->put(x, groups); // x >> 1, then its last bit
    } else {
      lp_->put(pattern, groups);
    }
    model.update(pattern, full);
  }

  // The levels of a group as pairs, and of each value what the pairs do not tell, as the library's scan gives it.
  struct Group {
    Zel32s pairs[32];
    Zel32u residual[16], count = 0;
  };

  static void scanInterleaved(const Levels& levels, Zel32u low, Group& group) {
    Zel32s run = 0;
    for (int k = 1; k <= 6; ++k) {
      const Zel32s value = levels.q[2 - k % 2][(k + 1) / 2];
      const Zel32u magnitude = magnitudeOf(value), high = magnitude >> low;
      if (high) {
        group.pairs[2 * group.count] = run;
        group.pairs[2 * group.count + 1] = value < 0 ? -static_cast<Zel32s>(high) : static_cast<Zel32s>(high);
        group.residual[k] = (magnitude & ((1u << low) - 1)) * 2;
        ++group.count;
        run = 0;
      } else {
        group.residual[k] = magnitude * 4 + (magnitude ? 1 : 0) + (value < 0 ? 2 : 0);
        ++run;
      }
    }
  }

  void writeLp(const Levels& levels) {
    const bool halved = header_.inner == Inner::yuv420;
    const int groups = context_.isGrey() ? 1 : halved ? 2 : 3;
    Group group[3];
    Zel32u present = 0;
    int counts[2] = {0, 0};
    for (int g = 0; g < groups; ++g) {
      const Zel32u low = context_.lpBits.bits[g > 0];
      if (g > 0 && halved) {
        scanInterleaved(levels, low, group[g]);
      } else {
        zeliVLCScan4x4DC_JPEGXR_32s(levels.q[g], low, group[g].residual, group[g].pairs, &group[g].count,
                                    context_.vlc());
      }
      present |= Zel32u{group[g].count > 0} << g;
      counts[g > 0] += static_cast<int>(group[g].count);
    }
    writePresence(present, static_cast<Zel32u>(groups));
    for (int g = 0; g < groups; ++g) {
      const bool chroma = g > 0, together = chroma && halved;
      const Group& own = group[g];
      if (own.count > 0 && together) {
        zeliVLCEncodeDC420_JPEGXR_32s1u(own.pairs, own.count, &lp_->at, &lp_->bits, &lp_->count, context_.vlc());
      } else if (own.count > 0) {
        zeliVLCEncodeDC444_JPEGXR_32s1u(own.pairs, static_cast<Zel32s>(own.count), chroma, &lp_->at, &lp_->bits,
                                        &lp_->count, context_.vlc());
      }
      const Zel32u low = context_.lpBits.bits[chroma];
      const int last = low == 0 ? 0 : together ? 6 : 15;
      for (int k = 1; k <= last; ++k) lp_->put(own.residual[k] >> 1, low + (own.residual[k] & 1));
    }
    context_.updateLp(counts[0], counts[1]);
  }

  // A bit for each block with a level that the symbols code.
  Zel32u patternOf(int c, int mx, int my) const {
    const ptrdiff_t below = planes_.component[c].plane.below();
    const Zel32s* const base = macroblock(c, mx, my);
    const Zel32u low = context_.hpBits.bits[c > 0];
    Zel32u pattern = 0;
    for (int b = 0; b < context_.blocksOf(c); ++b) {
      const Zel32s* p = base + 4 * kBlock[b].y * below + 4 * kBlock[b].x;
      const Four isAc = {0, -1, -1, -1};
      Four any = magnitudes(load<Four>(p)) & isAc;
      for (int y = 1; y < 4; ++y) any |= magnitudes(load<Four>(p + y * below));
      pattern |= Zel32u{static_cast<Zel32u>(any[0] | any[1] | any[2] | any[3]) >> low != 0} << b;
    }
    return pattern;
  }

  void writePlaces(Zel32u pattern) {
    const int ones = std::popcount(pattern);
    if (ones == 1) hp_->put(static_cast<Zel32u>(std::countr_zero(pattern)), 2);
    if (ones == 3) hp_->put(static_cast<Zel32u>(std::countr_zero(~pattern)), 2);
    if (ones != 2) return;
    const auto i = std::find(kPairs, kPairs + 6, pattern) - kPairs;
    hp_->put(kPairCodes[i].code, kPairCodes[i].length);
  }

  void writePatterns(const Zel32u (&patterns)[3], int mx, int my) {
    Zel32u differences[3] = {};
    for (int c = 0; c < header_.components(); ++c) {
      const int blocks = context_.blocksOf(c);
      const Zel32u pattern = patterns[c];
      PatternModel& model = context_.patterns[c > 0];
      differences[c] = pattern;
      if (model.state == 2) {
        differences[c] ^= (1u << blocks) - 1;
      } else if (model.state == 0) {
        differences[c] ^= context_.patternFromNeighbours(c, mx, my);
        const PatternStep* steps = blocks == 4 ? kHalvedPatternSteps : kPatternSteps;
        for (int i = 0; i < blocks - 1; ++i) differences[c] ^= (pattern >> steps[i].from & 1) << steps[i].bit;
      }
      model.update(std::popcount(pattern) * (blocks == 4 ? 4 : 1));
      context_.patternsAbove[static_cast<size_t>(mx)][static_cast<size_t>(c)] = pattern;
    }

    const bool halved = header_.inner == Inner::yuv420;
    const auto chromaOf = [&](int c, int b) { return differences[c] >> (halved ? b : 4 * b) & (halved ? 1 : 15); };
    Zel32u quadrants = 0;
    for (int b = 0; b < 4; ++b)
      quadrants |= Zel32u{(differences[0] >> 4 * b & 15) != 0 || chromaOf(1, b) || chromaOf(2, b)} << b;
    context_.patternCount.put(*hp_, std::popcount(quadrants));
    writePlaces(quadrants);
    for (int b = 0; b < 4; ++b) {
      if (quadrants >> b & 1) writeQuadrant(differences[0] >> 4 * b & 15, chromaOf(1, b), chromaOf(2, b));
    }
  }

  void writeQuadrant(Zel32u luma, Zel32u u, Zel32u v) {
    constexpr Zel8u kKindOf[16] = {0, 1, 1, 2, 1, 3, 3, 4, 1, 3, 3, 4, 2, 4, 4, 5};
    const int kind = kKindOf[luma], chroma = (u != 0) + 2 * (v != 0);
    const int symbol = chroma == 0 ? kind - 1 : kind <= 2 ? kind + 5 : 8;
    if (context_.isGrey()) {
      context_.blocksGrey.put(*hp_, symbol);
    } else {
      context_.blocksColour.put(*hp_, symbol);
    }
    if (chroma) kCodes3.put(*hp_, chroma - 1);
    if (symbol == 8) kCodes3.put(*hp_, kind - 3);
    const Zel8u* members = kClassMembers[kind];
    hp_->put(static_cast<Zel32u>(std::find(members, members + 3, luma) - members), kClassBits[kind]);
    if (header_.inner == Inner::yuv420) return;
    for (const Zel32u pattern : {u, v}) {
      if (!pattern) continue;
      kCodes4.put(*hp_, std::popcount(pattern) - 1);
      writePlaces(pattern);
    }
  }

  void writeBlocks(const Zel32u (&patterns)[3], int mx, int my) {
    int counts[2] = {0, 0};
    for (int c = 0; c < header_.components(); ++c) {
      const Plane& plane = planes_.component[c].plane;
      const Zel32s* const base = macroblock(c, mx, my);
      const Zel32u step = plane.step(), chroma = c > 0;
      const Zel32u low = context_.hpBits.bits[chroma], trim = context_.trim, fixed = low > trim ? low - trim : 0;
      for (int b = 0; b < context_.blocksOf(c); ++b) {
        const Zel32s* p = base + 4 * kBlock[b].y * plane.below() + 4 * kBlock[b].x;
        Zel32u residual[16], count = 0;
        const bool isCoded = patterns[c] >> b & 1;
        if (isCoded && fixed > 0) {
          zeliVLCEncode4x4Flex_JPEGXR_32s1u_C1R(p, step, chroma, low, trim, residual, &hp_->at, &hp_->bits, &hp_->count,
                                                &count, context_.vlc());
        } else if (isCoded) {
          zeliVLCEncode4x4_JPEGXR_32s1u_C1R(p, step, chroma, low, &hp_->at, &hp_->bits, &hp_->count, &count,
                                            context_.vlc());
        }
        if (fixed > 0) {
          zeliFLCEncode4x4_JPEGXR_32s1u_C1R(p, step, residual, &flex_->at, &flex_->bits, &flex_->count, fixed, trim,
                                            isCoded);
        }
        counts[chroma] += static_cast<int>(count);
      }
    }
    context_.updateHp(counts[0], counts[1]);
  }

  Context context_;
  const Header& header_;
  const Planes& planes_;
  const Sink sink_;
  std::vector<Quantiser> quantisers_[3]; // by set, but for the high-pass
  Bytes pieces_[4];
  bool passedOn_[4] = {};
  BitStream streams_[4];
  BitStream *dc_ = nullptr, *lp_ = nullptr, *hp_ = nullptr, *flex_ = nullptr;
};

TileEncoder::TileEncoder(const Header& header, int trim, const Planes& planes, Sink sink)
    : coder_(std::make_unique<Coder>(header, trim, planes, std::move(sink))) {}
TileEncoder::~TileEncoder() = default;

Error TileEncoder::encodeRow(int my) {
  return coder_->encodeRow(my);
}
Error TileEncoder::finish() {
  return coder_->finish();
}

} // namespace jpegxr
