// The parts of a tile: components, resolutions, sub-bands, precincts, code-blocks, and the order of packets.
#pragma once

#include "common/aligned.h"
#include "jpeg2000/codestream.h"
#include "jpeg2000/tag_tree.h"
#include "zelj.h"

namespace j2k {

// Bytes of a code-block that belong to one codeword segment.
struct Piece {
  int segment, passes;
  ByteSpan bytes;
};

constexpr int kMaxBlockSamples = 4096;

struct CodeBlock {
  Rect rect; // in its band
  // What the packets have told, or shall tell.
  int zeroPlanes = 0, passes = 0, lengthBits = 3;
  bool included = false;
  int segment = 0, segmentPasses = 0; // where the next passes go on
  std::vector<Piece> pieces;
  // For an encoder.
  Bytes data;
  std::vector<int> rates;          // bytes up to each pass
  std::vector<double> distortions; // what each pass takes away, up to it
  std::vector<int> layerPasses;    // passes up to the end of each layer
  int firstLayer = 0;              // that takes a pass
};

// The blocks of a precinct in one band.
struct PrecinctBand {
  int across = 0, down = 0;
  std::vector<CodeBlock> blocks;
  TagTree inclusion, zeroPlanes;
};

struct Precinct {
  std::vector<PrecinctBand> bands;
  int layers = 0;       // told so far
  int64_t x = 0, y = 0; // of its corner, on the reference grid
};

struct Band {
  int orientation = 0; // bit 0: high horizontally, bit 1: high vertically
  int index = 0;       // in the order of the codestream
  Rect rect;
  int planeX = 0, planeY = 0; // where it lies in the component's plane
  int bitPlanes = 0;          // of its magnitudes at most
  double step = 1;            // of the quantiser
};

struct Resolution {
  Rect rect;
  int precinctsAcross = 0, precinctsDown = 0;
  std::vector<Band> bands;
  std::vector<Precinct> precincts;
};

struct TileComponent {
  Rect rect;
  Coding coding;
  std::vector<Resolution> resolutions;
  img::AlignedArray<Zel32s> plane; // of the resolution that is wanted
  int width = 0, height = 0;       // of the plane
  int step() const { return width * 4; }
};

struct Tile {
  Rect rect;
  std::vector<TileComponent> components;
};

// Builds the parts of a tile, without planes.
Error makeTile(const Codestream& codestream, int index, Tile& tile);

struct PacketPlace {
  int component, resolution, precinct;
};

// The precincts of a volume, as its order has them; by resolution or component first, but not by layer.
std::vector<PacketPlace> precinctsOf(const Tile& tile, const Volume& volume);

// All packets of a tile in their order: calls packet(place, precinct, layer) until it is false.
template <class F>
void forPackets(Tile& tile, const TileParameters& parameters, F packet) {
  std::vector<Volume> volumes = parameters.volumes;
  if (volumes.empty()) volumes.push_back({.order = parameters.order});
  for (const Volume& volume : volumes) {
    const int layers = std::min(volume.layerEnd, parameters.layers);
    const std::vector<PacketPlace> places = precinctsOf(tile, volume);
    const auto precinct = [&](const PacketPlace& p) -> Precinct& {
      return tile.components[static_cast<size_t>(p.component)]
          .resolutions[static_cast<size_t>(p.resolution)]
          .precincts[static_cast<size_t>(p.precinct)];
    };
    // The places between `begin` and `end`, each with all its layers or layer by layer.
    const auto layerByLayer = [&](size_t begin, size_t end) {
      for (int layer = 0; layer < layers; ++layer) {
        for (size_t i = begin; i < end; ++i) {
          Precinct& p = precinct(places[i]);
          if (p.layers != layer) continue;
          if (!packet(places[i], p, layer)) return false;
          p.layers = layer + 1;
        }
      }
      return true;
    };
    if (volume.order == Order::lrcp) {
      if (!layerByLayer(0, places.size())) return;
    } else if (volume.order == Order::rlcp) {
      for (size_t begin = 0, end; begin < places.size(); begin = end) {
        for (end = begin; end < places.size() && places[end].resolution == places[begin].resolution;) ++end;
        if (!layerByLayer(begin, end)) return;
      }
    } else {
      for (size_t i = 0; i < places.size(); ++i) {
        Precinct& p = precinct(places[i]);
        for (; p.layers < layers; ++p.layers) {
          if (!packet(places[i], p, p.layers)) return;
        }
      }
    }
  }
}

// How many passes a segment holds at most.
inline int passesOfSegment(int style, int segment) {
  if (style & kTerminateAll) return 1;
  if (!(style & kBypass)) return 1 << 20;
  return segment == 0 ? 10 : segment % 2 ? 2 : 1;
}

// Styles and orientations as the library has them.
inline int libraryStyle(int style) {
  return (style & kCausal ? 1 : 0) | (style & kBypass ? 2 : 0) | (style & kTerminateAll ? 4 : 0) |
         (style & kReset ? 8 : 0) | (style & kSegmentSymbols ? 16 : 0);
}
inline int librarySubband(int orientation) {
  return orientation == 1 ? 2 : orientation == 2 ? 1 : orientation;
}

} // namespace j2k
