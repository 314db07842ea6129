// Reading: the pieces of code-blocks are gathered by packets, blocks are decoded side by side straight into the planes
// of their components, wavelets join the planes, and rows of pixels are made as they are asked for. One row of tiles is
// in memory at a time.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

#include "common/side_by_side.h"
#include "jpeg2000/jp2.h"
#include "jpeg2000/levels.h"
#include "jpeg2000/packets.h"

namespace j2k {
namespace {

// Bits behind the point of irreversible samples between the wavelet's levels.
int fractionBits(int bits) {
  return std::min(12, 27 - bits);
}

struct BlockJob {
  const TileComponent* component;
  const Band* band;
  const CodeBlock* block;
  int fraction;
};

// The styles as the library has them.
int libraryStyle(int style) {
  return (style & kCausal ? 1 : 0) | (style & kBypass ? 2 : 0) | (style & kTerminateAll ? 4 : 0) |
         (style & kReset ? 8 : 0) | (style & kSegmentSymbols ? 16 : 0) | (style & kPredictable ? 0x100000 : 0);
}

// Decodes code-blocks, one at a time.
class BlockDecoder {
 public:
  BlockDecoder() = default;
  BlockDecoder(const BlockDecoder&) = delete;
  ~BlockDecoder() {
    if (state_) zeliDecodeCBProgrFree_JPEG2K(state_);
  }

  // False if the data contradict themselves.
  bool decode(const BlockJob& job) {
    const TileComponent& c = *job.component;
    const Rect& r = job.block->rect;
    const int x = job.band->planeX + r.x0 - job.band->rect.x0, y = job.band->planeY + r.y0 - job.band->rect.y0;
    Zel32s* at = c.plane.data() + static_cast<size_t>(y) * static_cast<size_t>(c.width) + x;
    const ZeliSize size = {r.width(), r.height()};
    if (job.block->pieces.empty()) {
      for (int i = 0; i < size.height; ++i)
        std::fill_n(at + static_cast<size_t>(i) * static_cast<size_t>(c.width), size.width, 0);
      return true;
    }
    if (!state_ && zeliDecodeCBProgrInitAlloc_JPEG2K(&state_, {1024, 1024}) != zelStatusOk) throw std::bad_alloc();
    const bool good = decodePasses(job, at, size);
    const int below = 31 - job.band->bitPlanes; // bits under the lowest plane
    if (c.coding.reversible) {
      toIntegers(at, size, c.width, below);
    } else {
      scale(at, size, c.width, static_cast<float>(std::ldexp(job.band->step, job.fraction - below)));
    }
    return good;
  }

 private:
  bool decodePasses(const BlockJob& job, Zel32s* at, ZeliSize size) {
    constexpr int kSubband[] = {0, 2, 1, 3};
    const TileComponent& c = *job.component;
    const CodeBlock& block = *job.block;
    const int style = c.coding.style, top = 31 - block.zeroPlanes;
    zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(at, c.step(), size, state_, kSubband[job.band->orientation], top,
                                           libraryStyle(style));
    int passes = 0;
    for (const Piece& piece : block.pieces) passes += piece.passes;
    zeliDecodeCBProgrSetPassCounter_JPEG2K(passes, state_);
    bool good = true;
    size_t i = 0;
    while (i < block.pieces.size()) {
      // A segment may come in several packets.
      const int segment = block.pieces[i].segment;
      const size_t first = i;
      size_t length = 0;
      for (; i < block.pieces.size() && block.pieces[i].segment == segment; ++i) {
        length += block.pieces[i].bytes.size();
      }
      const uint8_t* bytes = block.pieces[first].bytes.data();
      if (i > first + 1) {
        joined_.clear();
        for (size_t k = first; k < i; ++k) {
          joined_.insert(joined_.end(), block.pieces[k].bytes.begin(), block.pieces[k].bytes.end());
        }
        bytes = joined_.data();
      }
      constexpr uint8_t kNothing = 0;
      const ZelStatus status =
          zeliDecodeCBProgrStep_JPEG2K(bytes ? bytes : &kNothing, static_cast<int>(length), state_);
      // Raw segments of some encoders end in other ways than the check of them wants, and decode well.
      const bool raw =
          style & kBypass && (style & kTerminateAll ? segment >= 10 && segment % 3 != 0 : segment % 2 == 1);
      good &= status == zelStatusOk || raw;
    }
    return good;
  }

  // Sign and magnitude to integers, with what lies under the lowest plane cut off.
  static void toIntegers(Zel32s* at, ZeliSize size, int step, int below) {
    for (int y = 0; y < size.height; ++y, at += step) {
      for (int x = 0; x < size.width; ++x) {
        const int magnitude = (at[x] & 0x7fffffff) >> below, sign = at[x] >> 31;
        at[x] = (magnitude ^ sign) - sign;
      }
    }
  }
  static void scale(Zel32s* at, ZeliSize size, int step, float factor) {
    for (int y = 0; y < size.height; ++y, at += step) {
      for (int x = 0; x < size.width; ++x) {
        const float magnitude = std::min(static_cast<float>(at[x] & 0x7fffffff) * factor, 1073741824.0f);
        const int sign = at[x] >> 31;
        at[x] = (static_cast<int>(magnitude + 0.5f) ^ sign) - sign;
      }
    }
  }

  ZeliDecodeCBProgrState_JPEG2K* state_ = nullptr;
  Bytes joined_;
};

// To the nearest integer, ties to even, by what the sum cannot hold any more.
int rounded(float v) {
  constexpr float kShift = 3 << 22;
  return static_cast<int>((std::clamp(v, -1e6f, 1e6f) + kShift) - kShift);
}

// A sample of `bits` bits on the scale of `wanted` bits.
int rescaled(int v, int bits, int wanted) {
  return bits == wanted ? v : static_cast<int>((int64_t{v} * ((1 << wanted) - 1) * 2 / ((1 << bits) - 1) + 1) / 2);
}

class Reader : public img::RowReader {
 public:
  explicit Reader(const DecodeOptions& options) : options_(options) {}

  Error open(img::ByteSource& source) {
    if (Error error = source.loadAll()) return error;
    file_.assign(source.visible().begin(), source.visible().end());
    source.skip(source.visible().size());
    if (Error error = readContainer(file_, container_)) return error;
    if (Error error = readCodestream(container_.codestream, options_.maxPixels, codestream_)) return error;
    if (container_.palette) return fail("palettes are not supported");
    if (Error error = shape()) return error;
    if (codestream_.cutOff) return damage("the codestream is cut off");
    return {};
  }

  Error read(const img::Rows& rows) override {
    for (int y = 0; y < rows.count; ++y, ++row_) {
      while (tiles_.empty() || row_ >= tileRowEnd_) {
        if (Error error = readTileRow()) return error;
      }
      if (picture_.sampleBytes() == 1) {
        makeRow(rows.row<uint8_t>(y));
      } else {
        makeRow(rows.row<uint16_t>(y));
      }
    }
    return {};
  }

 private:
  Error damage(const std::string& what) {
    if (!options_.keepGoing) return {what};
    if (remarks_.empty()) remarks_.push_back(what);
    damaged_ = true;
    return {};
  }

  // Pixels lie on the finest grid of a component, where the others' grids are multiples of it.
  void findGrid() {
    int x = 255, y = 255;
    for (const Component& c : codestream_.components) {
      x = std::min(x, c.dx);
      y = std::min(y, c.dy);
    }
    for (const Component& c : codestream_.components) {
      if (c.dx % x) x = 1;
      if (c.dy % y) y = 1;
    }
    gridX_ = x;
    gridY_ = y;
  }
  // Pixels in front of a place on the reference grid.
  int pixelX(int x) const { return ceilShift(ceilDiv(x, gridX_), options_.reduce); }
  int pixelY(int y) const { return ceilShift(ceilDiv(y, gridY_), options_.reduce); }

  Error shape() {
    findGrid();
    const Rect& grid = codestream_.image;
    const Rect image = {pixelX(grid.x0), pixelY(grid.y0), pixelX(grid.x1), pixelY(grid.y1)};
    if (image.empty()) return fail("nothing is left of the picture at this resolution");
    const auto count = static_cast<int>(codestream_.components.size());
    picture_.width = image.width();
    picture_.height = image.height();
    const bool cmyk = container_.space == Container::Space::cmyk && count >= 4;
    const int colours = cmyk ? 4 : count >= 3 ? 3 : 1;
    if (count > colours + 1) return fail("pictures of %d components are not supported", count);
    picture_.colour = cmyk ? img::Colour::cmyk : colours == 3 ? img::Colour::rgb : img::Colour::grey;
    picture_.alpha = count > colours;
    picture_.bits = 1;
    for (const Component& c : codestream_.components) picture_.bits = std::max(picture_.bits, c.bits);
    picture_.metadata.icc = container_.icc;
    picture_.metadata.density = container_.density;
    for (size_t tile = 0; tile < codestream_.tiles.size(); ++tile) {
      const TileParameters& p = codestream_.parameters(static_cast<int>(tile));
      for (const Coding& coding : p.coding) {
        if (coding.levels < options_.reduce) {
          return fail("there are %d levels only, %d cannot be left out", coding.levels, options_.reduce);
        }
      }
      if (!p.componentTransform) continue;
      if (count < 3) return fail("a component transform of fewer than three components");
      for (size_t i = 1; i < 3; ++i) {
        if (p.coding[i].reversible != p.coding[0].reversible ||
            codestream_.components[i].dx != codestream_.components[0].dx ||
            codestream_.components[i].dy != codestream_.components[0].dy) {
          return fail("a component transform of unlike components");
        }
      }
    }
    scratch_.resize(static_cast<size_t>(count));
    for (auto& line : scratch_) line.resize(static_cast<size_t>(picture_.width) + 1);
    return {};
  }

  Error readTileRow() {
    const int across = codestream_.tilesAcross();
    tiles_.clear();
    for (int i = 0; i < across; ++i) {
      Tile tile;
      if (Error error = readTile(nextTile_++, tile)) return error;
      tiles_.push_back(std::move(tile));
    }
    tileRowEnd_ = pixelY(tiles_[0].rect.y1) - pixelY(codestream_.image.y0);
    return {};
  }

  Error readTile(int index, Tile& tile) {
    TileData& data = codestream_.tiles[static_cast<size_t>(index)];
    const TileParameters& parameters = codestream_.parameters(index);
    if (Error error = makeTile(codestream_, index, tile)) return error;
    Bytes joined;
    ByteSpan bytes = data.parts.empty() ? ByteSpan{} : data.parts[0];
    if (data.parts.size() > 1) {
      for (const ByteSpan part : data.parts) joined.insert(joined.end(), part.begin(), part.end());
      bytes = joined;
    }
    std::string what;
    readPackets(bytes, data.packetHeaders, data.hasPacketHeaders, parameters,
                options_.layers ? options_.layers : parameters.layers, tile, what);
    if (!what.empty()) {
      if (Error error = damage(what)) return error;
    }
    std::vector<BlockJob> jobs;
    for (size_t i = 0; i < tile.components.size(); ++i) {
      TileComponent& c = tile.components[i];
      const int wanted = c.coding.levels - options_.reduce;
      const Rect& rect = c.resolutions[static_cast<size_t>(wanted)].rect;
      c.width = rect.width();
      c.height = rect.height();
      c.plane = img::AlignedArray<Zel32s>(static_cast<size_t>(c.width) * static_cast<size_t>(c.height));
      for (int r = 0; r <= wanted; ++r) {
        const Resolution& resolution = c.resolutions[static_cast<size_t>(r)];
        for (const Precinct& precinct : resolution.precincts) {
          for (size_t b = 0; b < precinct.bands.size(); ++b) {
            const Band& band = resolution.bands[b];
            if (band.bitPlanes > 31) return fail("more bit planes than are supported");
            for (const CodeBlock& block : precinct.bands[b].blocks) {
              jobs.push_back({&c, &band, &block, fractionBits(codestream_.components[i].bits)});
            }
          }
        }
      }
    }
    std::atomic<bool> good{true};
    std::vector<BlockDecoder> decoders(static_cast<size_t>(options_.threads));
    img::sideBySide(jobs.size(), options_.threads, [&](size_t thread, size_t item) {
      if (!decoders[thread].decode(jobs[item])) good = false;
    });
    if (!good) {
      if (Error error = damage("a code-block contradicts itself")) return error;
    }
    img::sideBySide(tile.components.size(), options_.threads,
                    [&](size_t, size_t item) { joinLevels(tile.components[item], options_.reduce); });
    for (TileComponent& c : tile.components) c.resolutions.clear();
    return {};
  }

  // One row of all components of a tile, as the component transform leaves it, into the scratch rows from x on.
  void makeTileRow(const Tile& tile, const TileParameters& parameters, int x, int width) {
    const int y = row_ + pixelY(codestream_.image.y0);
    const int x0 = x + pixelX(codestream_.image.x0);
    for (size_t i = 0; i < tile.components.size(); ++i) {
      const TileComponent& c = tile.components[i];
      const Component& component = codestream_.components[i];
      const int dx = component.dx / gridX_, dy = component.dy / gridY_;
      const Rect rect = reduced(c.rect, options_.reduce);
      Zel32s* to = scratch_[i].data() + x;
      if (rect.empty()) {
        std::fill_n(to, width, 0);
        continue;
      }
      const int cy = std::clamp(y / dy, rect.y0, rect.y1 - 1) - rect.y0;
      const Zel32s* from = c.plane.data() + static_cast<size_t>(cy) * static_cast<size_t>(c.width);
      if (dx == 1) {
        std::copy_n(from, width, to);
      } else {
        for (int k = 0; k < width; ++k) to[k] = from[std::clamp((x0 + k) / dx, rect.x0, rect.x1 - 1) - rect.x0];
      }
    }
    if (parameters.componentTransform && parameters.coding[0].reversible) {
      Zel32s* const planes[] = {scratch_[0].data() + x, scratch_[1].data() + x, scratch_[2].data() + x};
      zeliRCTInv_JPEG2K_32s_P3IR(planes, 4 * width, {width, 1});
    }
    // Irreversible samples become integers behind their component transform.
    floats_.resize(3 * static_cast<size_t>(width));
    for (size_t i = 0; i < tile.components.size(); i += i == 0 && parameters.componentTransform ? 3 : 1) {
      if (parameters.coding[i].reversible) continue;
      const size_t group = i == 0 && parameters.componentTransform ? 3 : 1;
      Zel32f* const planes[] = {floats_.data(), floats_.data() + width, floats_.data() + 2 * width};
      for (size_t k = 0; k < group; ++k) {
        const auto unit = static_cast<float>(std::ldexp(1.0, -fractionBits(codestream_.components[i + k].bits)));
        const Zel32s* from = scratch_[i + k].data() + x;
        for (int n = 0; n < width; ++n) planes[k][n] = static_cast<float>(from[n]) * unit;
      }
      if (group == 3) zeliICTInv_JPEG2K_32f_P3IR(planes, 4 * width, {width, 1});
      for (size_t k = 0; k < group; ++k) {
        Zel32s* to = scratch_[i + k].data() + x;
        for (int n = 0; n < width; ++n) to[n] = rounded(planes[k][n]);
      }
    }
  }

  template <class Sample>
  void makeRow(Sample* row) {
    const int origin = pixelX(codestream_.image.x0);
    const auto first = static_cast<int>(nextTile_) - static_cast<int>(tiles_.size());
    for (size_t t = 0; t < tiles_.size(); ++t) {
      const int begin = pixelX(tiles_[t].rect.x0) - origin;
      const int end = pixelX(tiles_[t].rect.x1) - origin;
      if (end > begin) makeTileRow(tiles_[t], codestream_.parameters(first + static_cast<int>(t)), begin, end - begin);
    }
    const size_t channels = scratch_.size();
    for (size_t i = 0; i < channels; ++i) {
      const Component& component = codestream_.components[i];
      // Signed samples are moved to begin at 0, too.
      const int offset = 1 << (component.bits - 1), most = (1 << component.bits) - 1;
      Zel32s* line = scratch_[i].data();
      for (int x = 0; x < picture_.width; ++x) line[x] = std::clamp(line[x] + offset, 0, most);
      if (component.bits != picture_.bits) {
        for (int x = 0; x < picture_.width; ++x) line[x] = rescaled(line[x], component.bits, picture_.bits);
      }
    }
    if (container_.space == Container::Space::ycc && channels >= 3) fromYcc();
    for (size_t i = 0; i < channels; ++i) {
      const Zel32s* line = scratch_[i].data();
      for (size_t x = 0; x < static_cast<size_t>(picture_.width); ++x)
        row[x * channels + i] = static_cast<Sample>(line[x]);
    }
  }

  void fromYcc() {
    const int most = picture_.maxValue(), half = 1 << (picture_.bits - 1);
    for (size_t x = 0; x < static_cast<size_t>(picture_.width); ++x) {
      const double y = scratch_[0][x], cb = scratch_[1][x] - half, cr = scratch_[2][x] - half;
      const double colours[] = {y + 1.402 * cr, y - 0.344 * cb - 0.714 * cr, y + 1.772 * cb};
      for (size_t i = 0; i < 3; ++i) scratch_[i][x] = std::clamp(static_cast<int>(std::lround(colours[i])), 0, most);
    }
  }

  const DecodeOptions options_;
  Bytes file_;
  Container container_;
  Codestream codestream_;
  std::vector<Tile> tiles_; // of the row of tiles that rows are made of
  int gridX_ = 1, gridY_ = 1;
  int nextTile_ = 0, tileRowEnd_ = 0, row_ = 0;
  std::vector<std::vector<Zel32s>> scratch_; // a row of each component
  std::vector<Zel32f> floats_;
};

} // namespace

Error openReader(img::ByteSource& source, const DecodeOptions& options, std::unique_ptr<img::RowReader>& reader) {
  auto opened = std::make_unique<Reader>(options);
  if (Error error = opened->open(source)) return error;
  reader = std::move(opened);
  return {};
}

Error describe(img::ByteSource& source, std::string& text) {
  if (Error error = source.loadAll()) return error;
  Container container;
  Codestream c;
  if (Error error = readContainer(source.visible(), container)) return error;
  if (Error error = readCodestream(container.codestream, INT64_MAX, c)) return error;
  const TileParameters& p = c.main;
  const Coding& coding = p.coding[0];
  constexpr const char* kOrders[] = {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
  text = img::format("JPEG 2000%s, %d x %d, %zu components of %d bits%s\n", container.boxed ? " (JP2)" : " codestream",
                     c.image.width(), c.image.height(), c.components.size(), c.components[0].bits,
                     c.components[0].isSigned ? ", signed" : "");
  text += img::format("%s wavelet, %d levels, code-blocks of %d x %d, style %d\n", coding.reversible ? "5/3" : "9/7",
                      coding.levels, 1 << coding.blockWidthBits, 1 << coding.blockHeightBits, coding.style);
  text += img::format("%d layer%s, %s, %zu tile%s of %d x %d\n", p.layers, p.layers == 1 ? "" : "s",
                      kOrders[static_cast<int>(p.order)], c.tiles.size(), c.tiles.size() == 1 ? "" : "s", c.tileWidth,
                      c.tileHeight);
  if (!container.icc.empty()) text += img::format("ICC profile: %zu bytes\n", container.icc.size());
  if (c.cutOff) text += "cut off\n";
  return {};
}

} // namespace j2k
