#include "jpegxr/tile_decoder.h"

#include <cstring>

#include "jpegxr/context.h"

namespace jpegxr {
namespace {

constexpr size_t kScanTableAt = 1436, kScanTableBytes = 256; // the low-pass scan in the state record

Zel32s shifted(Zel32s value, Zel32u bits) {
  return static_cast<Zel32s>(static_cast<Zel32u>(value) << bits);
}
// What is left where not even the DCs are.
constexpr int kNothing = kDcOnly + 1;

// A macroblock takes less in all packets together, whatever the bits are.
constexpr size_t kMacroblockBytes = 1 << 15;

// What of a packet is in memory at a time.
constexpr size_t kWindowBytes = 1 << 17;

// A packet through a window, with room behind the stream's position for a macroblock: zeros, where the packet has
// ended.
class PacketReader {
 public:
  BitStream stream;

  void open(img::ByteSource& source, const Packet& packet) {
    source_ = &source;
    next_ = packet.begin;
    end_ = packet.end;
    bytes_.resize(kWindowBytes + kMacroblockBytes);
    stream.at = filled_ = bytes_.data();
  }

  Error makeRoom() {
    if (filled_ - stream.at >= static_cast<ptrdiff_t>(kMacroblockBytes) || isComplete_) return {};
    const auto kept = static_cast<size_t>(filled_ - stream.at);
    std::memmove(bytes_.data(), stream.at, kept);
    stream.at = bytes_.data();
    size_t got = 0;
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(end_ - next_, kWindowBytes - kept));
    if (Error error = source_->seek(next_)) return error;
    if (Error error = source_->read(bytes_.data() + kept, wanted, got)) return error;
    next_ += got;
    isComplete_ = next_ == end_ || got < wanted;
    filled_ = bytes_.data() + kept + got;
    std::memset(filled_, 0, kMacroblockBytes);
    return {};
  }

  // Whether bits have been taken that the packet does not have.
  bool overran() const { return stream.at - stream.count / 8 > filled_; }

 private:
  img::ByteSource* source_ = nullptr;
  uint64_t next_ = 0, end_ = 0; // of the packet's bytes that are not in memory
  Bytes bytes_;
  Zel8u* filled_ = nullptr; // the end of the packet's bytes in memory
  bool isComplete_ = false; // no more of them come
};

} // namespace

class TileDecoder::Coder {
 public:
  Coder(const Header& header, const Planes& planes) : context_(header), header_(context_.header), planes_(planes) {}

  Error open(img::ByteSource& source, const std::array<Packet, 4>& packets, bool keepGoing) {
    const auto count = static_cast<size_t>(header_.packets());
    for (size_t i = 0; i < count; ++i) {
      packets_[i].open(source, packets[i]);
      if (Error error = packets_[i].makeRoom()) return error;
      // Where a later packet is absent nothing is read from it, or its end is noticed.
      const bool isAbsent = packets[i].begin == packets[i].end;
      if (isAbsent && i < 2) note(img::format("packet %zu is missing", i));
      if (!isAbsent) readPacketHead(i);
    }
    keepsGoing_ = keepGoing;
    bands_ = header_.bands;
    const auto packetFor = [&](size_t i) { return &packets_[header_.frequencyOrder ? i : 0]; };
    for (size_t band = 0; band < 4; ++band) packetOf_[band] = packetFor(band);
    dc_ = &packetFor(0)->stream, lp_ = &packetFor(1)->stream, hp_ = &packetFor(2)->stream;
    flex_ = &packetFor(3)->stream;
    return error();
  }

  Error decodeRow(int my) {
    for (int mx = 0; mx < header_.columns(); ++mx) {
      for (size_t i = 0; i < static_cast<size_t>(header_.packets()); ++i) {
        if (Error error = packets_[i].makeRoom()) return error;
      }
      decodeMacroblock(mx, my);
    }
    return error();
  }

  const std::string& damage() const { return damage_; }

 private:
  void note(const std::string& message) {
    if (damage_.empty()) damage_ = message;
  }
  Error error() const {
    if (damage_.empty() || keepsGoing_) return {};
    return fail("%s (--keep-going makes a picture of what is left)", damage_.c_str());
  }

  void readPacketHead(size_t i) {
    BitStream& stream = packets_[i].stream;
    const Zel32u start = stream.get(16) << 8 | stream.get(8), kind = stream.get(8);
    if (start != 1 || kind != (header_.frequencyOrder ? i + 1 : 0))
      note(img::format("packet %zu does not begin as it should", i));
    if (header_.hasTrim && (!header_.frequencyOrder || i == 3)) context_.trim = stream.get(4);
  }

  // Called behind what a band has of a macroblock. Where its packet has ended before, the band is taken for absent from
  // now on, and so are those that need it.
  bool isLost(int bandsLeft, int my) {
    if (!packetOf_[4 - bandsLeft]->overran()) return false;
    note(img::format("damaged or missing data from row %d on", 16 * my));
    bands_ = std::max(bands_, header_.frequencyOrder ? bandsLeft : int{kNothing});
    return true;
  }

  void decodeMacroblock(int mx, int my) {
    Levels levels{};
    if (bands_ != kNothing) {
      readDc(levels);
      if (isLost(kNothing, my)) levels = {};
    }
    if (bands_ < kDcOnly) {
      if (context_.restarts(mx)) zeliVLCScanReset_JPEGXR(context_.vlc(), 2);
      readLp(levels);
      if (isLost(kDcOnly, my)) levels = dcsOf(levels);
      if (context_.adapts(mx)) zeliVLCAdapt_JPEGXR(context_.vlc(), 0);
    }
    if (context_.adapts(mx)) context_.adaptDcAlphabets();
    if (bands_ != kNothing) context_.predict<1>(levels, context_.dcMode(mx, my), mx);
    const HpMode mode = context_.hpMode(levels);
    context_.remember(levels, mx);
    placeLevels(levels, mx, my);
    if (bands_ >= kNoHighPass) return clearBlocks(mx, my);

    if (context_.restarts(mx)) {
      zeliVLCScanReset_JPEGXR(context_.vlc(), 0);
      zeliVLCScanReset_JPEGXR(context_.vlc(), 1);
    }
    Zel32u patterns[3] = {};
    readPatterns(patterns, mx, my);
    zeliVLCScanSet_JPEGXR(context_.vlc(), mode == kHpFromAbove ? 0 : 1);
    readBlocks(patterns, mx, my);
    if (isLost(kNoHighPass, my)) return clearBlocks(mx, my);
    isLost(kNoFlexbits, my);
    if (context_.adapts(mx)) context_.adaptHpAlphabets();
    for (int c = 0; c < header_.components(); ++c) predictBlocks(c, mode, mx, my);
  }

  static Levels dcsOf(const Levels& levels) {
    Levels dcs{};
    for (int c = 0; c < 3; ++c) dcs.q[c][0] = levels.q[c][0];
    return dcs;
  }

  Zel32s* macroblock(int c, int mx, int my) const {
    const Component& component = planes_.component[c];
    return component.plane.at(mx * component.side, my * component.side);
  }
  void clearBlocks(int mx, int my) const {
    for (int c = 0; c < header_.components(); ++c) {
      const Component& component = planes_.component[c];
      Zel32s* const base = macroblock(c, mx, my);
      for (int y = 0; y < component.side; ++y) std::fill_n(base + y * component.plane.below(), component.side, 0);
    }
  }

  // A magnitude of an alphabet of seven symbols.
  Zel32u readMagnitude(Alphabet<7>& alphabet) {
    constexpr Zel8u kBase[6] = {0, 1, 2, 4, 8, 12}, kBits[6] = {0, 0, 1, 2, 2, 2};
    const int symbol = alphabet.get(*dc_);
    if (symbol < 6) return kBase[symbol] + dc_->get(kBits[symbol]);
    Zel32u length = dc_->get(4);
    if (length == 15) length += dc_->get(2);
    if (length == 18) length += dc_->get(3);
    Zel32u bits = length + 4, value = 1;
    for (; bits > 16; bits -= 16) value = value << 16 | dc_->get(16);
    return value << bits | dc_->get(bits);
  }

  void readDc(Levels& levels) {
    const bool grey = context_.isGrey();
    const int present = grey ? static_cast<int>(dc_->get(1)) << 2 : kCodes8.get(*dc_);
    int counts[2] = {0, 0};
    for (int c = 0; c < header_.components(); ++c) {
      const bool chroma = c > 0;
      const Zel32u low = context_.dcBits.bits[chroma];
      Zel32u magnitude = 0;
      if (present >> (2 - c) & 1) {
        magnitude = readMagnitude(context_.dcLevel[chroma]) + 1;
        ++counts[chroma];
      }
      magnitude = magnitude << low | dc_->get(low);
      const bool negative = magnitude != 0 && dc_->get(1);
      levels.q[c][0] = static_cast<Zel32s>(negative ? 0 - magnitude : magnitude);
    }
    context_.updateDc(counts[0], counts[1]);
  }

  Zel32u readPresence(Zel32u groups) {
    if (groups == 1) return lp_->get(1);
    PresenceModel& model = context_.presence;
    const Zel32u full = (1u << groups) - 1;
    Zel32u pattern;
    if (model.usesPrefix()) {
      Zel32u x = lp_->get(1);
      if (x) {
        const Zel32u j = lp_->get(groups - 1);
        x = j == 0 ? 1 : 2 * j + lp_->get(1);
      }
      pattern = model.inverts() ? full - x : x;
    } else {
      pattern = lp_->get(groups);
    }
    model.update(pattern, full);
    return pattern;
  }

  void refine(Zel32s& value, Zel32u low) {
    const auto field = static_cast<Zel32s>(lp_->get(low));
    if (value > 0) {
      value = shifted(value, low) + field;
    } else if (value < 0) {
      value = shifted(value, low) - field;
    } else if (field != 0) {
      value = lp_->get(1) ? -field : field;
    }
  }

  void readLp(Levels& levels) {
    const bool halved = header_.inner == Inner::yuv420;
    const int groups = context_.isGrey() ? 1 : halved ? 2 : 3;
    const Zel32u present = readPresence(static_cast<Zel32u>(groups));
    int counts[2] = {0, 0};
    for (int g = 0; g < groups; ++g) {
      const bool chroma = g > 0, together = chroma && halved;
      Zel32s values[16] = {};
      if (present >> g & 1) {
        Zel32u count = 0;
        zeliVLCScanSet_JPEGXR(context_.vlc(), 2);
        if (together) {
          readInterleaved(values, count);
        } else {
          zeliVLCDecodeDC444_JPEGXR_1u32s(&lp_->at, &lp_->bits, &lp_->count, values, chroma, &count, context_.vlc());
        }
        counts[chroma] += static_cast<int>(count);
      }
      const Zel32u low = context_.lpBits.bits[chroma];
      const int last = together ? 6 : 15;
      if (low > 0) {
        for (int k = 1; k <= last; ++k) refine(values[k], low);
      }
      if (together) {
        for (int k = 1; k <= 6; ++k) levels.q[2 - k % 2][(k + 1) / 2] = values[k];
      } else {
        std::copy(values + 1, values + 16, levels.q[g] + 1);
      }
    }
    context_.updateLp(counts[0], counts[1]);
  }

  // The chroma of 4:2:0 has a fixed order, and the low-pass scan of luma must not notice.
  void readInterleaved(Zel32s* values, Zel32u& count) {
    Zel8u saved[kScanTableBytes];
    Zel8u* const table = context_.vlcMemory + kScanTableAt;
    std::memcpy(saved, table, kScanTableBytes);
    for (Zel32u i = 0; i < 16; ++i) {
      const Zel32u entry[4] = {32767 - 64 * i, i, 0, 0};
      std::memcpy(table + 16 * i, entry, sizeof entry);
    }
    zeliVLCDecodeDC420_JPEGXR_1u32s(&lp_->at, &lp_->bits, &lp_->count, values, &count, context_.vlc());
    std::memcpy(table, saved, kScanTableBytes);
  }

  void placeLevels(const Levels& levels, int mx, int my) {
    for (int c = 0; c < header_.components(); ++c) {
      const Plane& dc = planes_.component[c].dc;
      const bool halved = context_.isHalved(c);
      const int side = halved ? 2 : 4;
      const Zel32s steps[2] = {header_.step(kDcSet, c), header_.step(kLpSet, c)};
      Zel32s* const values = dc.at(mx * side, my * side);
      for (int k = 0; k < side * side; ++k) {
        const Place place = halved ? Place{static_cast<Zel8u>(k % 2), static_cast<Zel8u>(k / 2)} : kPlaceOf[k];
        values[place.y * dc.below() + place.x] = levels.q[c][k] * steps[k > 0];
      }
    }
  }

  Zel32u readPlaces(int ones) {
    if (ones == 1) return 1u << hp_->get(2);
    if (ones == 3) return 15u ^ 1u << hp_->get(2);
    if (ones != 2) return ones ? 15 : 0;
    const Zel32u next = hp_->peek(3);
    const bool isShort = next < 4;
    hp_->skip(isShort ? 2 : 3);
    return kPairs[isShort ? next >> 1 : next - 2];
  }

  void readPatterns(Zel32u (&patterns)[3], int mx, int my) {
    const bool halved = header_.inner == Inner::yuv420;
    const Zel32u quadrants = readPlaces(context_.patternCount.get(*hp_));
    for (int b = 0; b < 4; ++b) {
      if (!(quadrants >> b & 1)) continue;
      int symbol = context_.isGrey() ? context_.blocksGrey.get(*hp_) : context_.blocksColour.get(*hp_);
      int kind = symbol < 5 ? symbol + 1 : symbol - 5;
      Zel32u chroma = 0;
      if (symbol >= 5) {
        chroma = static_cast<Zel32u>(kCodes3.get(*hp_)) + 1;
        if (symbol == 8) kind = 3 + kCodes3.get(*hp_);
      }
      patterns[0] |= Zel32u{kClassMembers[kind][hp_->get(kClassBits[kind])]} << 4 * b;
      for (int c = 1; c <= 2; ++c) {
        if (!(chroma >> (c - 1) & 1)) continue;
        patterns[c] |= halved ? 1u << b : readPlaces(kCodes4.get(*hp_) + 1) << 4 * b;
      }
    }
    for (int c = 0; c < header_.components(); ++c) {
      const int blocks = context_.blocksOf(c);
      PatternModel& model = context_.patterns[c > 0];
      Zel32u& pattern = patterns[c];
      if (model.state == 2) {
        pattern ^= (1u << blocks) - 1;
      } else if (model.state == 0) {
        pattern ^= context_.patternFromNeighbours(c, mx, my);
        const PatternStep* steps = blocks == 4 ? kHalvedPatternSteps : kPatternSteps;
        for (int i = 0; i < blocks - 1; ++i) pattern ^= (pattern >> steps[i].from & 1) << steps[i].bit;
      }
      model.update(std::popcount(pattern) * (blocks == 4 ? 4 : 1));
      context_.patternsAbove[static_cast<size_t>(mx)][static_cast<size_t>(c)] = pattern;
    }
  }

  void readBlocks(const Zel32u (&patterns)[3], int mx, int my) {
    int counts[2] = {0, 0};
    for (int c = 0; c < header_.components(); ++c) {
      const Plane& plane = planes_.component[c].plane;
      Zel32s* const base = macroblock(c, mx, my);
      const bool chroma = c > 0;
      const Zel32u low = context_.hpBits.bits[chroma];
      const Zel32u fixed = bands_ == kNoFlexbits || low <= context_.trim ? 0 : low - context_.trim;
      for (int b = 0; b < context_.blocksOf(c); ++b) {
        Zel32s* const block = base + 4 * kBlock[b].y * plane.below() + 4 * kBlock[b].x;
        const bool isCoded = patterns[c] >> b & 1;
        if (isCoded) {
          Zel32u count = 0;
          zeliVLCDecode4x4_JPEGXR_1u32s_C1R(&hp_->at, &hp_->bits, &hp_->count, 1u << low, block, plane.step(), chroma,
                                            &count, context_.vlc());
          counts[chroma] += static_cast<int>(count);
        } else {
          for (int y = 0; y < 4; ++y) std::memset(block + y * plane.below(), 0, 16);
        }
        if (fixed > 0) {
          zeliFLCDecode4x4_JPEGXR_1u32s_C1IR(&flex_->at, &flex_->bits, &flex_->count, block, plane.step(), fixed,
                                             static_cast<Zel16s>(1 << context_.trim), isCoded);
        }
      }
    }
    context_.updateHp(counts[0], counts[1]);
  }

  // Undoes the prediction among a component's blocks.
  void predictBlocks(int c, HpMode mode, int mx, int my) const {
    const int side = planes_.component[c].side;
    const ptrdiff_t below = planes_.component[c].plane.below();
    Zel32s* const base = macroblock(c, mx, my);
    const auto add = [&](ptrdiff_t from, int firstX, int firstY, std::initializer_list<int> ks) {
      for (int y = firstY; y < side; y += 4) {
        for (int x = firstX; x < side; x += 4) {
          for (const int k : ks) {
            Zel32s* value = base + (y + kPlaceOf[k].y) * below + x + kPlaceOf[k].x;
            *value += value[-from];
          }
        }
      }
    };
    if (mode == kHpFromAbove) add(4 * below, 0, 4, {4, 8, 12});
    if (mode == kHpFromLeft) add(4, 4, 0, {1, 2, 3});
  }

  Context context_;
  const Header& header_;
  const Planes& planes_;
  PacketReader packets_[4];
  const PacketReader* packetOf_[4] = {}; // by band
  BitStream *dc_ = nullptr, *lp_ = nullptr, *hp_ = nullptr, *flex_ = nullptr;
  bool keepsGoing_ = false;
  int bands_ = kAllBands; // that are there still
  std::string damage_;
};

TileDecoder::TileDecoder(const Header& header, const Planes& planes)
    : coder_(std::make_unique<Coder>(header, planes)) {}
TileDecoder::~TileDecoder() = default;

Error TileDecoder::open(img::ByteSource& source, const std::array<Packet, 4>& packets, bool keepGoing) {
  return coder_->open(source, packets, keepGoing);
}
Error TileDecoder::decodeRow(int my) {
  return coder_->decodeRow(my);
}
const std::string& TileDecoder::damage() const {
  return coder_->damage();
}

} // namespace jpegxr
