#include "jpeg2000/packets.h"

#include <algorithm>
#include <bit>

#include "jpeg2000/packet_bits.h"

namespace j2k {
namespace {

constexpr int kMaxPasses = 3 * 38; // of a block: more make no sense

int log2Floor(int v) {
  return static_cast<int>(std::bit_width(static_cast<unsigned>(v))) - 1;
}

// 1: 0; 2: 10; 3 to 5: 11xx; 6 to 36: 1111xxxxx; 37 to 164: 111111111xxxxxxx.
int readPasses(PacketBits& bits) {
  if (!bits.get()) return 1;
  if (!bits.get()) return 2;
  if (const int v = bits.get(2); v < 3) return 3 + v;
  if (const int v = bits.get(5); v < 31) return 6 + v;
  return 37 + bits.get(7);
}
void writePasses(PacketBitWriter& bits, int passes) {
  if (passes == 1) return bits.put(0, 1);
  if (passes == 2) return bits.put(2, 2);
  if (passes <= 5) return bits.put(0xC | (passes - 3), 4);
  if (passes <= 36) return bits.put(0x1E0 | (passes - 6), 9);
  bits.put(0xFF80 | (passes - 37), 16);
}

// The passes of one packet, cut at the ends of codeword segments: calls piece(segment, passes).
template <class F>
bool forPieces(CodeBlock& block, int style, int passes, F piece) {
  while (passes > 0) {
    const int room = passesOfSegment(style, block.segment) - block.segmentPasses, count = std::min(room, passes);
    if (!piece(block.segment, count)) return false;
    passes -= count;
    block.segmentPasses += count;
    if (count == room) {
      ++block.segment;
      block.segmentPasses = 0;
    }
  }
  return true;
}

struct Pending {
  CodeBlock* block;
  int segment, passes;
  size_t length;
};

class Reader {
 public:
  Reader(ByteSpan data, ByteSpan headers, bool hasHeaders, const TileParameters& parameters, int layers)
      : data_(data), headers_(headers), hasHeaders_(hasHeaders), parameters_(parameters), layers_(layers) {}

  // False where the data are over.
  bool packet(const Coding& coding, Precinct& precinct, int layer) {
    if (data_.size() >= 6 && data_[0] == 0xFF && data_[1] == 0x91 && parameters_.sop) data_ = data_.subspan(6);
    ByteSpan& source = hasHeaders_ ? headers_ : data_;
    if (source.empty()) return stop("the packets end too early");
    PacketBits bits(source);
    pending_.clear();
    if (bits.get()) {
      for (PrecinctBand& band : precinct.bands) {
        if (!header(bits, coding, band, layer)) return stop("a packet header makes no sense");
      }
    }
    if (bits.ended()) return stop("a packet header is cut off");
    source = source.subspan(bits.end());
    if (source.size() >= 2 && source[0] == 0xFF && source[1] == 0x92) source = source.subspan(2);
    for (const Pending& p : pending_) {
      const size_t length = std::min(p.length, data_.size());
      if (layer < layers_) p.block->pieces.push_back({p.segment, p.passes, data_.subspan(0, length)});
      if (length < p.length) return stop("the packets are cut off");
      data_ = data_.subspan(length);
    }
    return true;
  }
  const char* damage() const { return damage_; }

 private:
  bool stop(const char* why) {
    damage_ = why;
    return false;
  }
  bool header(PacketBits& bits, const Coding& coding, PrecinctBand& band, int layer) {
    for (int y = 0; y < band.down; ++y) {
      for (int x = 0; x < band.across; ++x) {
        CodeBlock& block =
            band.blocks[static_cast<size_t>(y) * static_cast<size_t>(band.across) + static_cast<size_t>(x)];
        if (block.included) {
          if (!bits.get()) continue;
        } else {
          if (band.inclusion.decode(bits, x, y, layer + 1) > layer) continue;
          block.included = true;
          int planes = 0;
          while (band.zeroPlanes.decode(bits, x, y, planes + 1) > planes && planes < 80 && !bits.ended()) ++planes;
          block.zeroPlanes = planes;
        }
        const int passes = readPasses(bits);
        while (bits.get() && block.lengthBits < 32) ++block.lengthBits;
        block.passes += passes;
        if (block.passes > kMaxPasses || block.lengthBits > 30) return false;
        const bool good = forPieces(block, coding.style, passes, [&](int segment, int count) {
          const int width = block.lengthBits + log2Floor(count);
          if (width > 31) return false;
          pending_.push_back({&block, segment, count, static_cast<size_t>(bits.get(width))});
          return true;
        });
        if (!good) return false;
        if (bits.ended()) return true;
      }
    }
    return true;
  }

  ByteSpan data_, headers_;
  bool hasHeaders_;
  const TileParameters& parameters_;
  int layers_;
  std::vector<Pending> pending_;
  const char* damage_ = nullptr;
};

// Passes of a block in front of a layer, and up to its end.
int passesBefore(const CodeBlock& block, int layer) {
  return layer ? block.layerPasses[static_cast<size_t>(layer - 1)] : 0;
}

// Bytes of a block up to the end of a number of passes.
int bytesUpTo(const CodeBlock& block, int passes) {
  return passes ? block.rates[static_cast<size_t>(passes - 1)] : 0;
}

struct Written {
  int count, bytes;
};

// As if nothing had been told.
void begin(PrecinctBand& band) {
  band.inclusion = TagTree(band.across, band.down);
  band.zeroPlanes = TagTree(band.across, band.down);
  for (int y = 0; y < band.down; ++y) {
    for (int x = 0; x < band.across; ++x) {
      CodeBlock& block =
          band.blocks[static_cast<size_t>(y) * static_cast<size_t>(band.across) + static_cast<size_t>(x)];
      block.lengthBits = 3;
      block.segment = block.segmentPasses = 0;
      band.inclusion.set(x, y, block.firstLayer);
      band.zeroPlanes.set(x, y, block.zeroPlanes);
    }
  }
  band.inclusion.build();
  band.zeroPlanes.build();
}

void writeHeader(PacketBitWriter& bits, const Coding& coding, PrecinctBand& band, int layer,
                 std::vector<Written>& pieces) {
  for (int y = 0; y < band.down; ++y) {
    for (int x = 0; x < band.across; ++x) {
      CodeBlock& block =
          band.blocks[static_cast<size_t>(y) * static_cast<size_t>(band.across) + static_cast<size_t>(x)];
      const int first = passesBefore(block, layer), passes = passesBefore(block, layer + 1) - first;
      if (first) {
        bits.put(passes > 0);
      } else {
        band.inclusion.encode(bits, x, y, layer + 1);
      }
      if (!passes) continue;
      if (!first) {
        for (int plane = 0; plane <= block.zeroPlanes; ++plane) band.zeroPlanes.encode(bits, x, y, plane + 1);
      }
      writePasses(bits, passes);
      // The lengths of the pieces, all in as many bits as the longest wants.
      pieces.clear();
      int wanted = block.lengthBits, at = first;
      forPieces(block, coding.style, passes, [&](int, int count) {
        const int bytes = bytesUpTo(block, at + count) - bytesUpTo(block, at);
        wanted = std::max(wanted, static_cast<int>(std::bit_width(static_cast<unsigned>(bytes))) - log2Floor(count));
        pieces.push_back({count, bytes});
        at += count;
        return true;
      });
      for (; block.lengthBits < wanted; ++block.lengthBits) bits.put(true);
      bits.put(false);
      for (const Written& piece : pieces) bits.put(piece.bytes, block.lengthBits + log2Floor(piece.count));
    }
  }
}

// Headers go to `bytes`; body(block, begin, end) hears of what follows them.
template <class F>
void forAllPackets(const TileParameters& parameters, Tile& tile, Bytes& bytes, F body) {
  for (TileComponent& c : tile.components) {
    for (Resolution& resolution : c.resolutions) {
      for (Precinct& precinct : resolution.precincts) {
        precinct.layers = 0;
        for (PrecinctBand& band : precinct.bands) begin(band);
      }
    }
  }
  std::vector<Written> pieces;
  int number = 0;
  forPackets(tile, parameters, [&](const PacketPlace& place, Precinct& precinct, int layer) {
    if (parameters.sop) {
      const auto low = static_cast<uint8_t>(number), high = static_cast<uint8_t>(number >> 8);
      bytes.insert(bytes.end(), {0xFF, 0x91, 0, 4, high, low});
    }
    ++number;
    PacketBitWriter bits(bytes);
    bits.put(true);
    for (PrecinctBand& band : precinct.bands) {
      writeHeader(bits, tile.components[static_cast<size_t>(place.component)].coding, band, layer, pieces);
    }
    bits.finish();
    if (parameters.eph) bytes.insert(bytes.end(), {0xFF, 0x92});
    for (const PrecinctBand& band : precinct.bands) {
      for (const CodeBlock& block : band.blocks) {
        body(block, bytesUpTo(block, passesBefore(block, layer)), bytesUpTo(block, passesBefore(block, layer + 1)));
      }
    }
    return true;
  });
}

} // namespace

void readPackets(ByteSpan data, ByteSpan headers, bool hasHeaders, const TileParameters& parameters, int layers,
                 Tile& tile, std::string& damage) {
  Reader reader(data, headers, hasHeaders, parameters, layers);
  forPackets(tile, parameters, [&](const PacketPlace& place, Precinct& precinct, int layer) {
    return reader.packet(tile.components[static_cast<size_t>(place.component)].coding, precinct, layer);
  });
  if (reader.damage()) damage = reader.damage();
}

void writePackets(const TileParameters& parameters, Tile& tile, Bytes& bytes) {
  bytes.reserve(bytes.size() + sizeOfPackets(parameters, tile));
  forAllPackets(parameters, tile, bytes, [&](const CodeBlock& block, int begin, int end) {
    bytes.insert(bytes.end(), block.data.begin() + begin, block.data.begin() + end);
  });
}

size_t sizeOfPackets(const TileParameters& parameters, Tile& tile) {
  Bytes headers;
  size_t bodies = 0;
  forAllPackets(parameters, tile, headers,
                [&](const CodeBlock&, int begin, int end) { bodies += static_cast<size_t>(end - begin); });
  return headers.size() + bodies;
}

} // namespace j2k
