#include "jpeg2000/codestream.h"

#include <algorithm>

namespace j2k {
namespace {

// Numbers of a marker segment, high byte first; behind its end they are 0, and `failed` is set.
class Fields {
 public:
  explicit Fields(ByteSpan bytes) : bytes_(bytes) {}

  uint32_t number(size_t count) {
    uint32_t value = 0;
    for (size_t i = 0; i < count; ++i, ++at_) {
      if (at_ >= bytes_.size()) failed_ = true;
      value = value << 8 | (at_ < bytes_.size() ? bytes_[at_] : 0u);
    }
    return value;
  }
  int u8() { return static_cast<int>(number(1)); }
  int u16() { return static_cast<int>(number(2)); }
  int64_t u32() { return number(4); }
  size_t left() const { return bytes_.size() - std::min(at_, bytes_.size()); }
  ByteSpan rest() const { return bytes_.subspan(std::min(at_, bytes_.size())); }
  bool failed() const { return failed_; }

 private:
  ByteSpan bytes_;
  size_t at_ = 0;
  bool failed_ = false;
};

constexpr size_t kMaxVolumes = 256;         // each sorts all precincts
constexpr int64_t kMaxCoordinate = 1 << 30; // so that sums of coordinates fit an int

Error readSize(Fields f, int64_t maxPixels, Codestream& c) {
  const int capabilities = f.u16();
  if (capabilities & 0x4000) return fail("codestreams of high-throughput blocks are not supported");
  const int64_t x1 = f.u32(), y1 = f.u32(), x0 = f.u32(), y0 = f.u32();
  const int64_t tileWidth = f.u32(), tileHeight = f.u32(), tileX0 = f.u32(), tileY0 = f.u32();
  const int count = f.u16();
  if (x1 > kMaxCoordinate || y1 > kMaxCoordinate) return fail("coordinates are too large");
  if (x0 >= x1 || y0 >= y1) return fail("the picture is empty");
  if (Error error = img::checkSize(x1 - x0, y1 - y0, maxPixels)) return error;
  if (tileWidth < 1 || tileHeight < 1 || tileX0 > x0 || tileY0 > y0 || tileX0 + tileWidth <= x0 ||
      tileY0 + tileHeight <= y0) {
    return fail("bad size or place of tiles");
  }
  if (count < 1 || count > 16384) return fail("bad number of components");
  c.image = {static_cast<int>(x0), static_cast<int>(y0), static_cast<int>(x1), static_cast<int>(y1)};
  c.tileWidth = static_cast<int>(std::min(tileWidth, kMaxCoordinate));
  c.tileHeight = static_cast<int>(std::min(tileHeight, kMaxCoordinate));
  c.tileX0 = static_cast<int>(tileX0);
  c.tileY0 = static_cast<int>(tileY0);
  for (int i = 0; i < count; ++i) {
    Component component;
    const int depth = f.u8();
    component.isSigned = depth & 128;
    component.bits = (depth & 127) + 1;
    component.dx = f.u8();
    component.dy = f.u8();
    if (f.failed()) return fail("SIZ is too short");
    if (component.bits > 16) return fail("samples of %d bits are not supported", component.bits);
    if (component.dx < 1 || component.dy < 1) return fail("bad subsampling of a component");
    c.components.push_back(component);
  }
  const int64_t tiles = int64_t{c.tilesAcross()} * c.tilesDown();
  if (tiles > 65535) return fail("too many tiles");
  c.tiles.resize(static_cast<size_t>(tiles));
  c.main.coding.resize(c.components.size());
  c.main.quantisation.resize(c.components.size());
  c.main.ownCoding.resize(c.components.size());
  c.main.ownQuantisation.resize(c.components.size());
  return {};
}

Error readCoding(Fields& f, bool ownPrecincts, Coding& coding) {
  coding.levels = f.u8();
  coding.blockWidthBits = f.u8() + 2;
  coding.blockHeightBits = f.u8() + 2;
  coding.style = f.u8();
  const int transform = f.u8();
  if (coding.levels > kMaxLevels) return fail("too many decomposition levels");
  if (coding.blockWidthBits > 10 || coding.blockHeightBits > 10 ||
      coding.blockWidthBits + coding.blockHeightBits > 12) {
    return fail("bad size of code-blocks");
  }
  if (coding.style & 0xC0) return fail("high-throughput code-blocks are not supported");
  if (transform > 1) return fail("unknown wavelet");
  coding.reversible = transform == 1;
  coding.precincts.fill(0xFF);
  for (int r = 0; ownPrecincts && r <= coding.levels; ++r) {
    const int size = f.u8();
    if (r > 0 && (size % 16 == 0 || size / 16 == 0)) return fail("bad size of precincts");
    coding.precincts[static_cast<size_t>(r)] = static_cast<uint8_t>(size);
  }
  return f.failed() ? fail("the coding style is too short") : Error{};
}

Error readDefaultCoding(Fields f, TileParameters& p) {
  const int style = f.u8(), order = f.u8();
  p.layers = f.u16();
  p.componentTransform = f.u8() != 0;
  if (order > 4) return fail("unknown progression order");
  if (p.layers < 1) return fail("a codestream without layers");
  p.order = static_cast<Order>(order);
  p.sop = style & 2;
  p.eph = style & 4;
  Coding coding;
  if (Error error = readCoding(f, style & 1, coding)) return error;
  for (size_t i = 0; i < p.coding.size(); ++i) {
    if (!p.ownCoding[i]) p.coding[i] = coding;
  }
  return {};
}

Error readQuantisation(Fields& f, Quantisation& q) {
  const int style = f.u8();
  q.guardBits = style >> 5;
  if ((style & 31) > 2) return fail("unknown quantisation");
  q.kind = static_cast<Quantisation::Kind>(style & 31);
  if (q.kind == Quantisation::none) {
    for (size_t i = 0; i < q.steps.size() && f.left(); ++i) q.steps[i] = static_cast<uint16_t>(f.u8() << 8);
  } else {
    const size_t count = q.kind == Quantisation::derived ? 1 : q.steps.size();
    for (size_t i = 0; i < count && f.left() > 1; ++i) q.steps[i] = static_cast<uint16_t>(f.u16());
  }
  return f.failed() ? fail("the quantisation is too short") : Error{};
}

Error readOrders(Fields f, size_t components, TileParameters& p) {
  const bool wide = components > 256;
  const auto component = [&] { return wide ? f.u16() : f.u8(); };
  while (f.left() >= (wide ? 9u : 7u)) {
    Volume v;
    v.resolutionBegin = f.u8();
    v.componentBegin = component();
    v.layerEnd = f.u16();
    v.resolutionEnd = f.u8();
    v.componentEnd = component();
    const int order = f.u8();
    if (order > 4) return fail("unknown progression order");
    if (v.componentEnd == 0) v.componentEnd = 16384;
    v.order = static_cast<Order>(order);
    p.volumes.push_back(v);
    if (p.volumes.size() > kMaxVolumes) return fail("too many changes of the progression order");
  }
  return {};
}

// A segment that may stand in a main header and in a tile's.
Error readSegment(int marker, ByteSpan body, size_t components, TileParameters& p) {
  Fields f(body);
  const auto component = [&](size_t& index) {
    index = static_cast<size_t>(components > 256 ? f.u16() : f.u8());
    return index < components ? Error{} : fail("a segment for a component that is not there");
  };
  size_t index = 0;
  switch (marker) {
    case kCOD:
      return readDefaultCoding(f, p);
    case kCOC: {
      if (Error error = component(index)) return error;
      const int style = f.u8();
      p.ownCoding[index] = true;
      return readCoding(f, style & 1, p.coding[index]);
    }
    case kQCD: {
      Quantisation q;
      if (Error error = readQuantisation(f, q)) return error;
      for (size_t i = 0; i < components; ++i) {
        if (!p.ownQuantisation[i]) p.quantisation[i] = q;
      }
      return {};
    }
    case kQCC:
      if (Error error = component(index)) return error;
      p.ownQuantisation[index] = true;
      return readQuantisation(f, p.quantisation[index]);
    case kPOC:
      return readOrders(f, components, p);
    case kRGN:
      return fail("regions of interest are not supported");
    case kPPM:
      return fail("packed packet headers of the main header in that of a tile");
    case kCAP:
      return fail("codestreams of high-throughput blocks are not supported");
    default:
      return {}; // comments, lengths, and what later parts of the standard add
  }
}

// What the main header has of the packet headers of the next tile-part; `at` moves behind it.
void takePacketHeaders(Codestream& c, size_t& at, TileData& tile) {
  Fields f(ByteSpan(c.packetHeaders).subspan(at));
  const auto wanted = static_cast<size_t>(f.u32()), length = std::min(wanted, f.left());
  c.cutOff |= f.failed() || length < wanted;
  const ByteSpan rest = f.rest();
  tile.packetHeaders.insert(tile.packetHeaders.end(), rest.begin(), rest.begin() + static_cast<ptrdiff_t>(length));
  tile.hasPacketHeaders = true;
  at = c.packetHeaders.size() - rest.size() + length;
}

// One tile-part from its SOT on; `at` moves behind it, and `packed` behind its packet headers in the main header.
Error readTilePart(ByteSpan bytes, size_t& at, size_t& packed, Codestream& c) {
  Fields f(bytes.subspan(at + 4));
  const size_t begin = at;
  const auto index = static_cast<size_t>(f.u16());
  const auto length = static_cast<size_t>(f.u32());
  f.u8();
  f.u8();
  if (f.failed()) {
    c.cutOff = true;
    at = bytes.size();
    return {};
  }
  if (index >= c.tiles.size()) return fail("a part of a tile that is not there");
  TileData& tile = c.tiles[index];
  size_t end = length ? begin + length : bytes.size();
  if (end > bytes.size()) {
    c.cutOff = true;
    end = bytes.size();
  } else if (!length && end >= 2 && bytes[end - 2] == 0xFF && bytes[end - 1] == 0xD9) {
    end -= 2;
  }
  at = begin + 12;
  for (;;) {
    if (at + 2 > end) return c.cutOff ? Error{} : fail("a tile-part ends in its header");
    const int marker = bytes[at] << 8 | bytes[at + 1];
    if (marker == kSOD) break;
    if (at + 4 > end) return c.cutOff ? Error{} : fail("a tile-part ends in its header");
    const size_t size = static_cast<size_t>(bytes[at + 2]) << 8 | bytes[at + 3];
    if (marker < 0xFF00 || size < 2 || at + 2 + size > end) {
      return c.cutOff ? Error{} : fail("a bad segment in the header of a tile-part");
    }
    const ByteSpan body = bytes.subspan(at + 4, size - 2);
    if (marker == kPPT) {
      if (!body.empty()) tile.packetHeaders.insert(tile.packetHeaders.end(), body.begin() + 1, body.end());
      tile.hasPacketHeaders = true;
    } else {
      if (!tile.own) {
        tile.own = std::make_unique<TileParameters>(c.main);
        tile.own->ownCoding.assign(c.components.size(), false);
        tile.own->ownQuantisation.assign(c.components.size(), false);
        tile.own->ownVolumes = false;
      }
      if (marker == kPOC && !tile.own->ownVolumes) {
        tile.own->ownVolumes = true;
        tile.own->volumes.clear();
      }
      if (Error error = readSegment(marker, body, c.components.size(), *tile.own)) return error;
    }
    at += 2 + size;
  }
  if (c.hasPacketHeaders) takePacketHeaders(c, packed, tile);
  tile.parts.push_back(bytes.subspan(at + 2, end - at - 2));
  at = end;
  return {};
}

} // namespace

Rect Codestream::tile(int index) const {
  const int p = index % tilesAcross(), q = index / tilesAcross();
  const auto edge = [](int origin, int i, int size, int low, int high) {
    return static_cast<int>(std::clamp<int64_t>(origin + int64_t{i} * size, low, high));
  };
  return {edge(tileX0, p, tileWidth, image.x0, image.x1), edge(tileY0, q, tileHeight, image.y0, image.y1),
          edge(tileX0, p + 1, tileWidth, image.x0, image.x1), edge(tileY0, q + 1, tileHeight, image.y0, image.y1)};
}

Error readCodestream(ByteSpan bytes, int64_t maxPixels, Codestream& c) {
  size_t at = 2;
  bool coding = false, quantisation = false;
  if (bytes.size() < 4 || bytes[0] != 0xFF || bytes[1] != 0x4F) return fail("not a JPEG 2000 codestream");
  for (;;) {
    if (at + 12 > bytes.size()) return fail("the main header is cut off");
    const int marker = bytes[at] << 8 | bytes[at + 1];
    if (marker == kSOT) break;
    if (marker >= 0xFF30 && marker <= 0xFF3F) { // a marker alone
      at += 2;
      continue;
    }
    const size_t size = static_cast<size_t>(bytes[at + 2]) << 8 | bytes[at + 3];
    if (marker < 0xFF00 || size < 2 || at + 2 + size > bytes.size()) return fail("a bad segment in the main header");
    const ByteSpan body = bytes.subspan(at + 4, size - 2);
    if (marker == kSIZ) {
      if (!c.components.empty()) return fail("a second SIZ");
      if (Error error = readSize(Fields(body), maxPixels, c)) return error;
    } else if (c.components.empty()) {
      return fail("the codestream does not begin with its size");
    } else if (marker == kPPM) {
      if (!body.empty()) c.packetHeaders.insert(c.packetHeaders.end(), body.begin() + 1, body.end());
      c.hasPacketHeaders = true;
    } else if (Error error = readSegment(marker, body, c.components.size(), c.main)) {
      return error;
    }
    coding |= marker == kCOD;
    quantisation |= marker == kQCD;
    at += 2 + size;
  }
  if (!coding || !quantisation) return fail("the main header lacks its coding style or quantisation");
  for (size_t packed = 0; at + 2 <= bytes.size();) {
    const int marker = bytes[at] << 8 | bytes[at + 1];
    if (marker == kEOC) return {};
    if (marker != kSOT || at + 12 > bytes.size()) break;
    const size_t begin = at;
    if (Error error = readTilePart(bytes, at, packed, c)) return error;
    if (at <= begin) return fail("a tile-part without a length");
  }
  c.cutOff = true;
  return {};
}

namespace {

void put(Bytes& bytes, uint32_t value, int count) {
  for (int i = count - 1; i >= 0; --i) bytes.push_back(static_cast<uint8_t>(value >> 8 * i));
}
void put(Bytes& bytes, int value, int count) {
  put(bytes, static_cast<uint32_t>(value), count);
}

} // namespace

// One coding style and quantisation for all components.
Bytes mainHeader(const Codestream& c) {
  Bytes b;
  const auto components = static_cast<int>(c.components.size());
  const TileParameters& p = c.main;
  put(b, kSOC, 2);
  put(b, kSIZ, 2);
  put(b, 38 + 3 * components, 2);
  put(b, 0, 2);
  for (const int v : {c.image.x1, c.image.y1, c.image.x0, c.image.y0, c.tileWidth, c.tileHeight, c.tileX0, c.tileY0}) {
    put(b, v, 4);
  }
  put(b, components, 2);
  for (const Component& component : c.components) {
    put(b, (component.isSigned ? 128 : 0) + component.bits - 1, 1);
    put(b, component.dx, 1);
    put(b, component.dy, 1);
  }
  const Coding& coding = p.coding[0];
  const bool precincts = std::any_of(coding.precincts.begin(), coding.precincts.begin() + coding.levels + 1,
                                     [](uint8_t size) { return size != 0xFF; });
  put(b, kCOD, 2);
  put(b, 12 + (precincts ? coding.levels + 1 : 0), 2);
  put(b, (precincts ? 1 : 0) + (p.sop ? 2 : 0) + (p.eph ? 4 : 0), 1);
  put(b, static_cast<int>(p.order), 1);
  put(b, p.layers, 2);
  put(b, p.componentTransform, 1);
  put(b, coding.levels, 1);
  put(b, coding.blockWidthBits - 2, 1);
  put(b, coding.blockHeightBits - 2, 1);
  put(b, coding.style, 1);
  put(b, coding.reversible, 1);
  for (int r = 0; precincts && r <= coding.levels; ++r) put(b, coding.precincts[static_cast<size_t>(r)], 1);
  const Quantisation& q = p.quantisation[0];
  const int bands = 3 * coding.levels + 1, width = q.kind == Quantisation::none ? 1 : 2;
  put(b, kQCD, 2);
  put(b, 3 + bands * width, 2);
  put(b, q.guardBits << 5 | q.kind, 1);
  for (int i = 0; i < bands; ++i) put(b, q.steps[static_cast<size_t>(i)] >> (width == 1 ? 8 : 0), width);
  return b;
}

} // namespace j2k
