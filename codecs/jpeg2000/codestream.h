// The marker segments of a codestream: what they say, how they are read and written.
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "jpeg2000/jpeg2000.h"

namespace j2k {

enum Marker : uint16_t {
  kSOC = 0xFF4F,
  kCAP = 0xFF50,
  kSIZ = 0xFF51,
  kCOD = 0xFF52,
  kCOC = 0xFF53,
  kQCD = 0xFF5C,
  kQCC = 0xFF5D,
  kRGN = 0xFF5E,
  kPOC = 0xFF5F,
  kPPM = 0xFF60,
  kPPT = 0xFF61,
  kCOM = 0xFF64,
  kSOT = 0xFF90,
  kSOP = 0xFF91,
  kEPH = 0xFF92,
  kSOD = 0xFF93,
  kEOC = 0xFFD9
};

struct Rect {
  int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
  int width() const { return x1 - x0; }
  int height() const { return y1 - y0; }
  bool empty() const { return x1 <= x0 || y1 <= y0; }
};

inline int ceilDiv(int64_t a, int64_t b) {
  return static_cast<int>((a + b - 1) / b);
}
inline int ceilShift(int64_t a, int bits) {
  return static_cast<int>((a + (int64_t{1} << bits) - 1) >> bits);
}
inline Rect reduced(const Rect& r, int bits) {
  return {ceilShift(r.x0, bits), ceilShift(r.y0, bits), ceilShift(r.x1, bits), ceilShift(r.y1, bits)};
}

constexpr int kMaxLevels = 32;

// How a component is coded: COD, COC.
struct Coding {
  int levels = 0;
  int blockWidthBits = 6, blockHeightBits = 6;
  int style = 0;
  bool reversible = true;
  std::array<uint8_t, kMaxLevels + 1>
      precincts; // of each resolution: log2 of the width, and 16 times log2 of the height
};

// Steps of the quantiser: QCD, QCC. Bands in the order of the codestream: LL, then HL, LH, HH of each level.
struct Quantisation {
  enum Kind { none, derived, expounded } kind = none;
  int guardBits = 2;
  std::array<uint16_t, 3 * kMaxLevels + 1> steps{}; // exponent (5 bits) and mantissa (11 bits)
  int exponent(int band) const {
    if (kind != derived || band == 0) return steps[static_cast<size_t>(band)] >> 11;
    return std::max(0, (steps[0] >> 11) - (band - 1) / 3);
  }
  int mantissa(int band) const {
    return kind == none ? 0 : steps[static_cast<size_t>(kind == derived ? 0 : band)] & 2047;
  }
};

// A part of the packets, in an order: POC.
struct Volume {
  Order order = Order::lrcp;
  int resolutionBegin = 0, resolutionEnd = 33, componentBegin = 0, componentEnd = 16384, layerEnd = 65535;
};

// What holds for a tile, or for all that do not say otherwise.
struct TileParameters {
  Order order = Order::lrcp;
  int layers = 1;
  bool componentTransform = false, sop = false, eph = false;
  std::vector<Coding> coding; // of each component
  std::vector<Quantisation> quantisation;
  std::vector<bool> ownCoding, ownQuantisation; // set by COC and QCC of the same header
  bool ownVolumes = false;                      // set by POC of the tile's header
  std::vector<Volume> volumes;                  // empty: all packets in `order`
};

struct Component {
  int bits = 8;
  bool isSigned = false;
  int dx = 1, dy = 1;
};

struct TileData {
  std::unique_ptr<TileParameters> own; // null: as in the main header
  std::vector<ByteSpan> parts;
  Bytes packetHeaders; // PPT, PPM
  bool hasPacketHeaders = false;
};

struct Codestream {
  Rect image;
  int tileWidth = 0, tileHeight = 0, tileX0 = 0, tileY0 = 0;
  std::vector<Component> components;
  TileParameters main;
  std::vector<TileData> tiles;
  Bytes packetHeaders; // PPM: of all tile-parts, in their order, each behind its length
  bool hasPacketHeaders = false;
  bool cutOff = false; // bytes are missing at the end

  int tilesAcross() const { return ceilDiv(image.x1 - tileX0, tileWidth); }
  int tilesDown() const { return ceilDiv(image.y1 - tileY0, tileHeight); }
  Rect tile(int index) const;
  const TileParameters& parameters(int index) const {
    const auto& own = tiles[static_cast<size_t>(index)].own;
    return own ? *own : main;
  }
};

// Reads the main header and the headers of all tile-parts; the data stay where they are.
Error readCodestream(ByteSpan bytes, int64_t maxPixels, Codestream& codestream);

// The main header, from SOC on.
Bytes mainHeader(const Codestream& codestream);

} // namespace j2k
