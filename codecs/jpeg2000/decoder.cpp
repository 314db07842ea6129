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

struct BlockJob {
  const TileComponent* component;
  const Band* band;
  const CodeBlock* block;
  int fraction;
};

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
    makeState({1 << c.coding.blockWidthBits, 1 << c.coding.blockHeightBits});
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
  // A state that is large enough.
  void makeState(ZeliSize blocks) {
    if (state_ && blocks.width <= most_.width && blocks.height <= most_.height) return;
    most_ = {std::max(most_.width, blocks.width), std::max(most_.height, blocks.height)};
    if (state_) zeliDecodeCBProgrFree_JPEG2K(state_);
    if (zeliDecodeCBProgrInitAlloc_JPEG2K(&state_, most_) != zelStatusOk) throw std::bad_alloc();
  }

  bool decodePasses(const BlockJob& job, Zel32s* at, ZeliSize size) {
    const TileComponent& c = *job.component;
    const CodeBlock& block = *job.block;
    const int style = c.coding.style, top = 31 - block.zeroPlanes;
    zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(at, c.step(), size, state_, librarySubband(job.band->orientation), top,
                                           libraryStyle(style) | (style & kPredictable ? 0x100000 : 0));
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
  ZeliSize most_ = {0, 0}; // of a block
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

  // The source must outlive the reader.
  Error open(img::ByteSource& source) {
    if (Error error = source.loadAll()) return error;
    if (Error error = readContainer(source.visible(), container_)) return error;
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
        const Component &a = codestream_.components[0], &b = codestream_.components[i];
        if (p.coding[i].reversible != p.coding[0].reversible || a.dx != b.dx || a.dy != b.dy || a.bits != b.bits) {
          return fail("a component transform of unlike components");
        }
      }
    }
    scratch_.resize(static_cast<size_t>(picture_.width));
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
    sideBySide(jobs.size(), [&](size_t thread, size_t item) {
      if (!decoders[thread].decode(jobs[item])) good = false;
    });
    if (!good) {
      if (Error error = damage("a code-block contradicts itself")) return error;
    }
    sideBySide(tile.components.size(),
               [&](size_t, size_t item) { joinLevels(tile.components[item], options_.reduce); });
    for (TileComponent& c : tile.components) c.resolutions.clear();
    joinComponents(tile, parameters);
    return {};
  }

  // The component transform in the planes of a tile, and irreversible samples to integers behind it.
  void joinComponents(Tile& tile, const TileParameters& parameters) {
    for (size_t i = 0, group; i < tile.components.size(); i += group) {
      group = i == 0 && parameters.componentTransform ? 3 : 1;
      if (parameters.coding[i].reversible && group == 1) continue;
      TileComponent* const c = &tile.components[i];
      constexpr int kRows = 32; // enough for a thread
      const int rows = (c->height + kRows - 1) / kRows;
      sideBySide(static_cast<size_t>(rows), [&](size_t, size_t item) {
        const int y = kRows * static_cast<int>(item);
        const ZeliSize size = {c->width, std::min(kRows, c->height - y)};
        Zel32s* planes[3];
        for (size_t k = 0; k < group; ++k)
          planes[k] = c[k].plane.data() + static_cast<size_t>(y) * static_cast<size_t>(c->width);
        if (parameters.coding[i].reversible) {
          zeliRCTInv_JPEG2K_32s_P3IR(planes, c->step(), size);
        } else {
          roundPlanes(planes, group, size, codestream_.components[i].bits);
        }
      });
    }
  }
  template <class F>
  void sideBySide(size_t items, F work) {
    img::sideBySide(items, options_.threads, work);
  }

  // One plane, or three behind their component transform.
  static void roundPlanes(Zel32s* const planes[3], size_t count, ZeliSize size, int bits) {
    const auto width = static_cast<size_t>(size.width);
    const auto unit = static_cast<float>(std::ldexp(1.0, -fractionBits(bits)));
    std::vector<Zel32f> floats(count * width);
    Zel32f* const lines[] = {floats.data(), floats.data() + (count > 1 ? width : 0),
                             floats.data() + (count - 1) * width};
    for (size_t y = 0; y < static_cast<size_t>(size.height); ++y) {
      for (size_t k = 0; k < count; ++k) {
        const Zel32s* from = planes[k] + y * width;
        for (size_t x = 0; x < width; ++x) lines[k][x] = static_cast<float>(from[x]) * unit;
      }
      if (count == 3) zeliICTInv_JPEG2K_32f_P3IR(lines, 4 * size.width, {size.width, 1});
      for (size_t k = 0; k < count; ++k) {
        Zel32s* to = planes[k] + y * width;
        for (size_t x = 0; x < width; ++x) to[x] = rounded(lines[k][x]);
      }
    }
  }

  // The samples of a component of a tile in the current row; those of a coarser grid are repeated in `scratch`.
  const Zel32s* lineOf(const Tile& tile, size_t i, int x, int width, Zel32s* scratch) const {
    const TileComponent& c = tile.components[i];
    const int dx = codestream_.components[i].dx / gridX_, dy = codestream_.components[i].dy / gridY_;
    const Rect rect = reduced(c.rect, options_.reduce);
    if (rect.empty()) {
      std::fill_n(scratch, width, 0);
      return scratch;
    }
    const int y = row_ + pixelY(codestream_.image.y0), x0 = x + pixelX(codestream_.image.x0);
    const int cy = std::clamp(y / dy, rect.y0, rect.y1 - 1) - rect.y0;
    const Zel32s* from = c.plane.data() + static_cast<size_t>(cy) * static_cast<size_t>(c.width);
    if (dx == 1) return from;
    for (int k = 0; k < width; ++k) scratch[k] = from[std::clamp((x0 + k) / dx, rect.x0, rect.x1 - 1) - rect.x0];
    return scratch;
  }

  template <class Sample>
  void makeRow(Sample* row) {
    const int origin = pixelX(codestream_.image.x0);
    const size_t channels = codestream_.components.size();
    const bool fromYcc = container_.space == Container::Space::ycc && channels >= 3;
    for (const Tile& tile : tiles_) {
      const int begin = pixelX(tile.rect.x0) - origin, width = pixelX(tile.rect.x1) - origin - begin;
      if (width < 1) continue;
      Sample* to = row + static_cast<size_t>(begin) * channels;
      for (size_t i = 0; i < channels; ++i) {
        const int bits = codestream_.components[i].bits;
        const int offset = 1 << (bits - 1), most = (1 << bits) - 1; // signed samples are moved to begin at 0, too
        const Zel32s* line = lineOf(tile, i, begin, width, scratch_.data());
        for (size_t x = 0; x < static_cast<size_t>(width); ++x) {
          to[x * channels + i] = static_cast<Sample>(std::clamp(line[x] + offset, 0, most));
        }
        for (size_t x = 0; bits != picture_.bits && x < static_cast<size_t>(width); ++x) {
          to[x * channels + i] = static_cast<Sample>(rescaled(to[x * channels + i], bits, picture_.bits));
        }
      }
      for (int x = 0; fromYcc && x < width; ++x) toRgb(to + static_cast<size_t>(x) * channels);
    }
  }

  template <class Sample>
  void toRgb(Sample* pixel) const {
    const int most = picture_.maxValue(), half = 1 << (picture_.bits - 1);
    const double y = pixel[0], cb = pixel[1] - half, cr = pixel[2] - half;
    const double colours[] = {y + 1.402 * cr, y - 0.344 * cb - 0.714 * cr, y + 1.772 * cb};
    for (size_t i = 0; i < 3; ++i) {
      pixel[i] = static_cast<Sample>(std::clamp(static_cast<int>(std::lround(colours[i])), 0, most));
    }
  }

  const DecodeOptions options_;
  Container container_;
  Codestream codestream_;
  std::vector<Tile> tiles_; // of the row of tiles that rows are made of
  int gridX_ = 1, gridY_ = 1;
  int nextTile_ = 0, tileRowEnd_ = 0, row_ = 0;
  std::vector<Zel32s> scratch_; // a row of a component
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
  text += img::describe(img::Metadata{std::move(container.icc), {}, {}});
  if (c.cutOff) text += "cut off\n";
  return {};
}

} // namespace j2k
