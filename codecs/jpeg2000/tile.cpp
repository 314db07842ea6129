#include "jpeg2000/tile.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace j2k {
namespace {

constexpr int64_t kMaxPrecincts = 1 << 21; // of a tile; a hostile header may ask for more than memory holds

// The corner of a band's samples on level `level`, from that of the component.
int bandEdge(int edge, int level, bool high) {
  return level ? ceilShift(int64_t{edge} - (high ? int64_t{1} << (level - 1) : 0), level) : edge;
}

void makePrecinctBand(const Band& band, const Rect& region, int widthBits, int heightBits, PrecinctBand& p) {
  const Rect r = {std::max(band.rect.x0, region.x0), std::max(band.rect.y0, region.y0),
                  std::min(band.rect.x1, region.x1), std::min(band.rect.y1, region.y1)};
  if (r.empty()) return;
  const int x0 = r.x0 >> widthBits, y0 = r.y0 >> heightBits;
  p.across = ceilShift(r.x1, widthBits) - x0;
  p.down = ceilShift(r.y1, heightBits) - y0;
  p.blocks.resize(static_cast<size_t>(p.across) * static_cast<size_t>(p.down));
  for (int y = 0; y < p.down; ++y) {
    for (int x = 0; x < p.across; ++x) {
      CodeBlock& block = p.blocks[static_cast<size_t>(y) * static_cast<size_t>(p.across) + static_cast<size_t>(x)];
      block.rect = {std::max(r.x0, (x0 + x) << widthBits), std::max(r.y0, (y0 + y) << heightBits),
                    std::min(r.x1, (x0 + x + 1) << widthBits), std::min(r.y1, (y0 + y + 1) << heightBits)};
    }
  }
  p.inclusion = TagTree(p.across, p.down);
  p.zeroPlanes = TagTree(p.across, p.down);
}

Error makeResolution(const Component& component, const TileComponent& c, const Quantisation& q, const Rect& tileRect,
                     int r, int64_t& precincts, Resolution& resolution) {
  const int levels = c.coding.levels, below = levels - r;
  const int size = c.coding.precincts[static_cast<size_t>(r)], ppx = size % 16, ppy = size / 16;
  resolution.rect = reduced(c.rect, below);
  const Rect& rect = resolution.rect;
  if (!rect.empty()) {
    resolution.precinctsAcross = ceilShift(rect.x1, ppx) - (rect.x0 >> ppx);
    resolution.precinctsDown = ceilShift(rect.y1, ppy) - (rect.y0 >> ppy);
  }
  precincts += int64_t{resolution.precinctsAcross} * resolution.precinctsDown;
  if (precincts > kMaxPrecincts) return fail("too many precincts");

  const int level = r ? below + 1 : below;
  for (int orientation = r ? 1 : 0; orientation < (r ? 4 : 1); ++orientation) {
    Band band;
    band.orientation = orientation;
    band.index = r ? 3 * (r - 1) + orientation : 0;
    const bool highX = orientation & 1, highY = orientation & 2;
    band.rect = {bandEdge(c.rect.x0, level, highX), bandEdge(c.rect.y0, level, highY),
                 bandEdge(c.rect.x1, level, highX), bandEdge(c.rect.y1, level, highY)};
    const Rect lower = reduced(c.rect, level);
    band.planeX = highX ? lower.width() : 0;
    band.planeY = highY ? lower.height() : 0;
    band.bitPlanes = std::max(0, q.guardBits + q.exponent(band.index) - 1);
    const int gain = orientation == 0 ? 0 : orientation == 3 ? 2 : 1;
    band.step = c.coding.reversible
                    ? 1
                    : std::ldexp(1 + q.mantissa(band.index) / 2048.0, component.bits + gain - q.exponent(band.index));
    resolution.bands.push_back(band);
  }
  // Blocks are no larger than a precinct in the bands, which is half of one in the resolution.
  const int half = r ? 1 : 0;
  const int widthBits = std::min(c.coding.blockWidthBits, ppx - half);
  const int heightBits = std::min(c.coding.blockHeightBits, ppy - half);
  resolution.precincts.resize(static_cast<size_t>(resolution.precinctsAcross) *
                              static_cast<size_t>(resolution.precinctsDown));
  for (int y = 0; y < resolution.precinctsDown; ++y) {
    for (int x = 0; x < resolution.precinctsAcross; ++x) {
      Precinct& p = resolution.precincts[static_cast<size_t>(y) * static_cast<size_t>(resolution.precinctsAcross) +
                                         static_cast<size_t>(x)];
      const int64_t px = (rect.x0 >> ppx) + x, py = (rect.y0 >> ppy) + y;
      p.x = std::max<int64_t>(tileRect.x0, (px << (ppx + below)) * component.dx);
      p.y = std::max<int64_t>(tileRect.y0, (py << (ppy + below)) * component.dy);
      const auto edge = [&](int64_t i, int bits) {
        return static_cast<int>(std::min<int64_t>(i << (bits - half), INT32_MAX));
      };
      p.bands.resize(resolution.bands.size());
      for (size_t b = 0; b < p.bands.size(); ++b) {
        makePrecinctBand(resolution.bands[b], {edge(px, ppx), edge(py, ppy), edge(px + 1, ppx), edge(py + 1, ppy)},
                         widthBits, heightBits, p.bands[b]);
      }
    }
  }
  return {};
}

} // namespace

Error makeTile(const Codestream& codestream, int index, Tile& tile) {
  const TileParameters& parameters = codestream.parameters(index);
  tile.rect = codestream.tile(index);
  tile.components.resize(codestream.components.size());
  int64_t precincts = 0;
  for (size_t i = 0; i < tile.components.size(); ++i) {
    const Component& component = codestream.components[i];
    TileComponent& c = tile.components[i];
    c.rect = {ceilDiv(tile.rect.x0, component.dx), ceilDiv(tile.rect.y0, component.dy),
              ceilDiv(tile.rect.x1, component.dx), ceilDiv(tile.rect.y1, component.dy)};
    c.coding = parameters.coding[i];
    c.resolutions.resize(static_cast<size_t>(c.coding.levels) + 1);
    for (int r = 0; r <= c.coding.levels; ++r) {
      if (Error error = makeResolution(component, c, parameters.quantisation[i], tile.rect, r, precincts,
                                       c.resolutions[static_cast<size_t>(r)])) {
        return error;
      }
    }
  }
  return {};
}

std::vector<PacketPlace> precinctsOf(const Tile& tile, const Volume& volume) {
  struct Entry {
    PacketPlace place;
    int64_t x, y;
  };
  std::vector<Entry> all;
  const int components = std::min(volume.componentEnd, static_cast<int>(tile.components.size()));
  for (int c = volume.componentBegin; c < components; ++c) {
    const auto& resolutions = tile.components[static_cast<size_t>(c)].resolutions;
    for (int r = volume.resolutionBegin; r < std::min(volume.resolutionEnd, static_cast<int>(resolutions.size()));
         ++r) {
      const auto& precincts = resolutions[static_cast<size_t>(r)].precincts;
      for (int k = 0; k < static_cast<int>(precincts.size()); ++k) {
        const Precinct& p = precincts[static_cast<size_t>(k)];
        all.push_back({{c, r, k}, p.x, p.y});
      }
    }
  }
  const auto sortBy = [&](auto key) {
    std::stable_sort(all.begin(), all.end(), [&](const Entry& a, const Entry& b) { return key(a) < key(b); });
  };
  switch (volume.order) {
    case Order::lrcp:
    case Order::rlcp:
      sortBy([](const Entry& e) { return e.place.resolution; });
      break;
    case Order::rpcl:
      sortBy([](const Entry& e) { return std::tuple(e.place.resolution, e.y, e.x, e.place.component); });
      break;
    case Order::pcrl:
      sortBy([](const Entry& e) { return std::tuple(e.y, e.x, e.place.component, e.place.resolution); });
      break;
    case Order::cprl:
      sortBy([](const Entry& e) { return std::tuple(e.place.component, e.y, e.x, e.place.resolution); });
      break;
  }
  std::vector<PacketPlace> places;
  for (const Entry& e : all) places.push_back(e.place);
  return places;
}

} // namespace j2k
