// Reading: the pieces of code-blocks are gathered by packets, blocks are decoded side by side straight into the planes
// of their components, wavelets join the planes, and rows of pixels are made as they are asked for. One row of tiles is
// in memory at a time.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

#include "common/workers.h"
#include "jpeg2000/jp2.h"
#include "jpeg2000/levels.h"
#include "jpeg2000/packets.h"
#include "jpeg2000/samples.h"

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
    const bool good = decodePasses(job, size);
    const int below = 31 - job.band->bitPlanes; // bits under the lowest plane
    if (c.coding.reversible) {
      toIntegers(size, at, c.width, below);
    } else {
      scale(size, at, c.width, static_cast<float>(std::ldexp(job.band->step, job.fraction - below)));
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

  bool decodePasses(const BlockJob& job, ZeliSize size) {
    const TileComponent& c = *job.component;
    const CodeBlock& block = *job.block;
    const int style = c.coding.style, top = 31 - block.zeroPlanes;
    zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(samples_, 4 * size.width, size, state_,
                                           librarySubband(job.band->orientation), top,
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
  void toIntegers(ZeliSize size, Zel32s* at, int step, int below) const {
    toPlane(size, at, step, [=](Zel32s v) { return (v & 0x7fffffff) >> below; });
  }
  void scale(ZeliSize size, Zel32s* at, int step, float factor) const {
    toPlane(size, at, step, [=](Zel32s v) {
      const float magnitude = static_cast<float>(v & 0x7fffffff) * factor + 0.5f;
      return static_cast<Zel32s>(magnitude > 1073741824.0f ? 1073741824.0f : magnitude);
    });
  }
  template <class F>
  void toPlane(ZeliSize size, Zel32s* at, int step, F magnitudeOf) const {
    const Zel32s* from = samples_;
    for (int y = 0; y < size.height; ++y, from += size.width, at += step) {
      for (int x = 0; x < size.width; ++x) {
        const Zel32s magnitude = magnitudeOf(from[x]), sign = from[x] >> 31;
        at[x] = (magnitude ^ sign) - sign;
      }
    }
  }

  ZeliDecodeCBProgrState_JPEG2K* state_ = nullptr;
  ZeliSize most_ = {0, 0}; // of a block
  // The block is decoded here: the rows of a plane that lie below each other would share few lines of the cache.
  alignas(64) Zel32s samples_[kMaxBlockSamples];
  Bytes joined_;
};

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
    if (Error error = shape()) return error;
    if (codestream_.cutOff) return damage("the codestream is cut off");
    return {};
  }

  Error read(const img::Rows& rows) override {
    for (int y = 0; y < rows.count; ++y, ++row_) {
      while (tiles_.empty() || row_ >= tileRowEnd_) {
        if (Error error = readTileRow()) return error;
      }
      makeRow(row_, rows.part(y, 1), scratches_[0]);
    }
    return {};
  }

  // By itself the reader tells how far it has come with the code-blocks, which take most of its time.
  bool pushes() const override { return true; }
  Error push(img::RowWriter& writer, const img::Progress& progress) override {
    progress_ = progress;
    while (row_ < picture_.height) {
      if (Error error = readTileRow()) return error;
      if (Error error = pushTileRow(writer)) return error;
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
    picture_.width = image.width();
    picture_.height = image.height();
    if (Error error = findChannels()) return error;
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
      if (codestream_.components.size() < 3) return fail("a component transform of fewer than three components");
      for (size_t i = 1; i < 3; ++i) {
        const Component &a = codestream_.components[0], &b = codestream_.components[i];
        if (p.coding[i].reversible != p.coding[0].reversible || a.dx != b.dx || a.dy != b.dy || a.bits != b.bits) {
          return fail("a component transform of unlike components");
        }
      }
    }
    return {};
  }

  // A channel of the picture.
  struct Channel {
    size_t component;
    int bits;
    const uint16_t* palette; // or null
    size_t entries;
  };

  Error findChannels() {
    for (size_t i = 0; container_.channels.empty() && i < codestream_.components.size(); ++i) {
      channels_.push_back({i, codestream_.components[i].bits, nullptr, 0});
    }
    for (const ChannelSource& source : container_.channels) {
      if (source.component >= codestream_.components.size()) return fail("a channel of a component that is not there");
      if (source.column < 0) {
        channels_.push_back({source.component, codestream_.components[source.component].bits, nullptr, 0});
      } else {
        const PaletteColumn& column = container_.palette[static_cast<size_t>(source.column)];
        channels_.push_back({source.component, column.bits, column.entries.data(), column.entries.size()});
      }
    }
    const size_t count = channels_.size();
    const bool cmyk = container_.space == Container::Space::cmyk && count >= 4;
    const size_t colours = cmyk ? 4 : count >= 3 ? 3 : 1;
    if (count > colours + 1) return fail("pictures of %zu channels are not supported", count);
    picture_.colour = cmyk ? img::Colour::cmyk : colours == 3 ? img::Colour::rgb : img::Colour::grey;
    picture_.alpha = count > colours;
    picture_.bits = 1;
    for (const Channel& channel : channels_) picture_.bits = std::max(picture_.bits, channel.bits);
    putInOrder(colours);
    mapped_ = channels_.size() != codestream_.components.size();
    for (size_t i = 0; i < count; ++i) mapped_ |= channels_[i].component != i || channels_[i].palette;
    return {};
  }
  // Colours by their numbers and opacity behind them, where the file tells that of all channels.
  void putInOrder(size_t colours) {
    std::vector<Channel> ordered;
    const auto take = [&](auto wanted) {
      const auto& all = container_.meanings;
      const auto found = std::find_if(all.begin(), all.end(), wanted);
      if (found != all.end() && found->channel < channels_.size()) ordered.push_back(channels_[found->channel]);
    };
    for (size_t i = 1; i <= colours; ++i) {
      take([&](const ChannelMeaning& m) { return m.type == 0 && m.association == static_cast<int>(i); });
    }
    if (channels_.size() > colours) take([](const ChannelMeaning& m) { return m.type == 1 || m.type == 2; });
    if (ordered.size() == channels_.size()) channels_ = ordered;
  }

  Error readTileRow() {
    const int across = codestream_.tilesAcross();
    tiles_.clear();
    firstTile_ = nextTile_;
    for (int i = 0; i < across; ++i) {
      Tile tile;
      if (Error error = readTile(nextTile_++, tile)) return error;
      tiles_.push_back(std::move(tile));
    }
    tileRowEnd_ = pixelY(tiles_[0].rect.y1) - pixelY(codestream_.image.y0);
    return {};
  }

  // Rows are made side by side and written in their order.
  Error pushTileRow(img::RowWriter& writer) {
    constexpr int kRows = 16;
    const size_t rowBytes = picture_.rowBytes();
    std::vector<Bytes> strips(scratches_.size() * img::Pipeline::kSlotsOfThread);
    Error error;
    const auto rowsOf = [&](int64_t item, int slot) {
      const int y = kRows * static_cast<int>(item);
      return img::Rows{strips[static_cast<size_t>(slot)].data(), static_cast<ptrdiff_t>(rowBytes),
                       std::min(kRows, tileRowEnd_ - row_ - y)};
    };
    img::Pipeline pipeline;
    pipeline.items = (tileRowEnd_ - row_ + kRows - 1) / kRows;
    pipeline.begin = [&](int64_t, int slot) {
      strips[static_cast<size_t>(slot)].resize(kRows * rowBytes);
      return true;
    };
    pipeline.work = [&](int64_t item, int slot) {
      const img::Rows rows = rowsOf(item, slot);
      RowScratch& scratch = scratches_[static_cast<size_t>(slot / img::Pipeline::kSlotsOfThread)];
      for (int y = 0; y < rows.count; ++y) {
        makeRow(row_ + kRows * static_cast<int>(item) + y, rows.part(y, 1), scratch);
      }
      return true;
    };
    pipeline.end = [&](int64_t item, int slot) {
      error = writer.write(img::asConst(rowsOf(item, slot)));
      return !error;
    };
    img::run(pipeline, options_.threads);
    row_ = tileRowEnd_;
    tell(row_);
    return error;
  }
  void tell(int rows) const {
    if (progress_) progress_(rows);
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
    std::vector<Job> jobs;
    if (Error error = makeJobs(tile, jobs)) return error;
    if (!decodeBlocks(tile, jobs)) {
      if (Error error = damage("a code-block contradicts itself")) return error;
    }
    for (TileComponent& c : tile.components) c.resolutions.clear();
    return {};
  }

  // A code-block, or the wavelet of a component when all of its blocks are there.
  struct Job {
    BlockJob block;
    size_t component;
    bool isBlock;
  };

  Error makeJobs(Tile& tile, std::vector<Job>& jobs) const {
    // A component's wavelet comes when blocks of a later one are well under way, so that nobody waits for it; those of
    // the last components come at the end, one for each thread.
    size_t due = 0, joined = 0;
    const auto join = [&] { jobs.push_back({{}, joined++, false}); };
    const size_t count = tile.components.size(), atEnd = std::min(static_cast<size_t>(options_.threads), count);
    for (size_t i = 0; i < count; ++i) {
      TileComponent& c = tile.components[i];
      const int wanted = c.coding.levels - options_.reduce;
      const Rect& rect = c.resolutions[static_cast<size_t>(wanted)].rect;
      c.width = rect.width();
      c.height = rect.height();
      c.plane = img::AlignedArray<Zel32s>(static_cast<size_t>(c.width) * static_cast<size_t>(c.height));
      due = jobs.size() + 2 * static_cast<size_t>(options_.threads);
      for (int r = 0; r <= wanted; ++r) {
        const Resolution& resolution = c.resolutions[static_cast<size_t>(r)];
        for (const Precinct& precinct : resolution.precincts) {
          for (size_t b = 0; b < precinct.bands.size(); ++b) {
            const Band& band = resolution.bands[b];
            if (band.bitPlanes > 31) return fail("more bit planes than are supported");
            for (const CodeBlock& block : precinct.bands[b].blocks) {
              if (joined < i && joined + atEnd < count && jobs.size() == due) join();
              jobs.push_back({{&c, &band, &block, fractionBits(codestream_.components[i].bits)}, i, true});
            }
          }
        }
      }
      if (joined < i && joined + atEnd < count && jobs.size() <= due) join();
    }
    while (joined < count) join();
    return {};
  }

  // False if a block contradicts itself.
  bool decodeBlocks(Tile& tile, const std::vector<Job>& jobs) {
    std::atomic<bool> good{true};
    std::vector<std::atomic<size_t>> left(tile.components.size());
    for (const Job& job : jobs) left[job.component] += job.isBlock;
    std::vector<BlockDecoder> decoders(static_cast<size_t>(options_.threads));
    const size_t rows = static_cast<size_t>(pixelY(tile.rect.y1) - pixelY(codestream_.image.y0) - row_);
    const auto across = static_cast<size_t>(codestream_.tilesAcross());
    img::sideBySide(jobs.size(), options_.threads, [&](size_t thread, size_t item) {
      const Job& job = jobs[item];
      std::atomic<size_t>& blocks = left[job.component];
      if (!job.isBlock) {
        for (size_t n; (n = blocks) > 0;) blocks.wait(n);
        return joinLevels(tile.components[job.component], options_.reduce);
      }
      const struct Done {
        std::atomic<size_t>& blocks;
        ~Done() {
          if (--blocks == 0) blocks.notify_all();
        }
      } done{blocks}; // also where memory runs out: somebody may wait
      if (!decoders[thread].decode(job.block)) good = false;
      if (thread == 0)
        tell(row_ + static_cast<int>(rows * (tiles_.size() * jobs.size() + item) / (across * jobs.size())));
    });
    return good;
  }

  // The samples of a component of a tile in a row of pixels; those of a coarser grid are repeated.
  const Zel32s* lineOf(const Tile& tile, size_t i, int row, int x, int width, std::vector<Zel32s>& repeated) const {
    const TileComponent& c = tile.components[i];
    const int dx = codestream_.components[i].dx / gridX_, dy = codestream_.components[i].dy / gridY_;
    const Rect rect = reduced(c.rect, options_.reduce);
    if (rect.empty()) {
      repeated.assign(static_cast<size_t>(width), 0);
      return repeated.data();
    }
    const int y = row + pixelY(codestream_.image.y0), x0 = x + pixelX(codestream_.image.x0);
    const int cy = std::clamp(y / dy, rect.y0, rect.y1 - 1) - rect.y0;
    const Zel32s* from = c.plane.data() + static_cast<size_t>(cy) * static_cast<size_t>(c.width);
    if (dx == 1) return from;
    repeated.clear();
    for (int k = 0; k < width; ++k) repeated.push_back(from[std::clamp((x0 + k) / dx, rect.x0, rect.x1 - 1) - rect.x0]);
    return repeated.data();
  }

  void makeRow(int row, const img::Rows& to, RowScratch& scratch) const {
    if (picture_.sampleBytes() == 1) {
      makeRow(row, to.row<uint8_t>(0), scratch);
    } else {
      makeRow(row, to.row<uint16_t>(0), scratch);
    }
  }
  template <class Sample>
  void makeRow(int row, Sample* to, RowScratch& scratch) const {
    const int origin = pixelX(codestream_.image.x0);
    const size_t channels = channels_.size();
    const bool fromYcc = container_.space == Container::Space::ycc && channels >= 3;
    for (size_t i = 0; i < tiles_.size(); ++i) {
      const int begin = pixelX(tiles_[i].rect.x0) - origin, width = pixelX(tiles_[i].rect.x1) - origin - begin;
      if (width < 1) continue;
      Sample* pixels = to + static_cast<size_t>(begin) * channels;
      if (mapped_) {
        scratch.samples.resize(static_cast<size_t>(width) * codestream_.components.size());
        makeTileRow(i, row, begin, width, scratch.samples.data(), scratch);
        mapChannels(scratch.samples.data(), width, pixels);
      } else {
        makeTileRow(i, row, begin, width, pixels, scratch);
      }
      for (size_t k = 0; k < channels; ++k) {
        const int bits = channels_[k].bits;
        for (size_t x = k; bits != picture_.bits && x < static_cast<size_t>(width) * channels; x += channels) {
          pixels[x] = static_cast<Sample>(rescaled(pixels[x], bits, picture_.bits));
        }
      }
      for (int x = 0; fromYcc && x < width; ++x) toRgb(pixels + static_cast<size_t>(x) * channels);
    }
  }
  // All components of a tile in a row; signed samples are moved to begin at 0, too.
  template <class Sample>
  void makeTileRow(size_t index, int row, int begin, int width, Sample* to, RowScratch& scratch) const {
    const TileParameters& parameters = codestream_.parameters(firstTile_ + static_cast<int>(index));
    const size_t count = codestream_.components.size();
    scratch.components.clear();
    scratch.repeated.resize(count);
    for (size_t k = 0; k < count; ++k) {
      const Zel32s* line = lineOf(tiles_[index], k, row, begin, width, scratch.repeated[k]);
      scratch.components.push_back({line, codestream_.components[k].bits, parameters.coding[k].reversible});
    }
    toPixels(scratch.components, width, parameters.componentTransform, to, scratch);
  }
  template <class Sample>
  void mapChannels(const uint16_t* from, int width, Sample* to) const {
    const size_t count = codestream_.components.size();
    for (int x = 0; x < width; ++x, from += count) {
      for (const Channel& channel : channels_) {
        const size_t v = from[channel.component];
        *to++ = static_cast<Sample>(channel.palette ? channel.palette[std::min(v, channel.entries - 1)] : v);
      }
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
  std::vector<Channel> channels_;
  bool mapped_ = false;     // channels are not the components
  std::vector<Tile> tiles_; // of the row of tiles that rows are made of
  int gridX_ = 1, gridY_ = 1;
  int firstTile_ = 0, nextTile_ = 0, tileRowEnd_ = 0, row_ = 0;
  std::vector<RowScratch> scratches_{static_cast<size_t>(options_.threads)};
  img::Progress progress_;
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
