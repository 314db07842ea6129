// Writing: a row of tiles is gathered, transformed component by component, its code-blocks are coded side by side, and
// what the layers take of them goes out in packets.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

#include "common/workers.h"
#include "jpeg2000/jp2.h"
#include "jpeg2000/levels.h"
#include "jpeg2000/rate.h"
#include "jpeg2000/samples.h"

namespace j2k {
namespace {

int log2Of(int v) {
  int bits = 0;
  while (v > 1 << bits) ++bits;
  return 1 << bits == v ? bits : -1;
}

// How much an error of 1 in a sample of a band becomes in the picture: the norms of the 9/7 filter's synthesis,
// measured on the filter itself.
class Norms {
 public:
  explicit Norms(int levels) {
    for (int level = 1; level <= levels; ++level) {
      low_.push_back(norm(level, false));
      high_.push_back(norm(level, true));
    }
  }
  double of(const Band& band, int levels, int resolution) const {
    const int level = resolution ? levels - resolution + 1 : levels;
    if (level == 0) return 1;
    const auto i = static_cast<size_t>(level - 1);
    return (band.orientation & 1 ? high_ : low_)[i] * (band.orientation & 2 ? high_ : low_)[i];
  }

 private:
  static double norm(int level, bool high) {
    constexpr Zel32s kUnit = 1 << 24;
    const int length = 16 << level;
    std::vector<Zel32s> line(static_cast<size_t>(length));
    Bytes scratch(4 * static_cast<size_t>(length) + 64);
    line[static_cast<size_t>(high ? 24 : 8)] = kUnit; // the middle of a run of 16
    for (int n = 32; n <= length; n *= 2) {
      const ZeliRect rect = {0, 0, n, 1};
      zeliWTInv_D97_JPEG2K_32s_C1IR(line.data(), 4 * length, &rect, scratch.data());
    }
    double sum = 0;
    for (const Zel32s v : line) sum += std::pow(v / static_cast<double>(kUnit), 2);
    return std::sqrt(sum);
  }

  std::vector<double> low_, high_;
};

struct BlockJob {
  const TileComponent* component;
  const Band* band;
  CodeBlock* block;
  double scale; // from samples of the plane to steps of the quantiser
};

class BlockEncoder {
 public:
  BlockEncoder() = default;
  BlockEncoder(const BlockEncoder&) = delete;
  ~BlockEncoder() {
    if (state_) zeliEncodeFree_JPEG2K(state_);
  }

  void encode(const BlockJob& job, bool wantsDistortions) {
    const Coding& coding = job.component->coding;
    const ZeliSize size = {job.block->rect.width(), job.block->rect.height()};
    if (!state_) {
      const ZeliSize most = {1 << coding.blockWidthBits, 1 << coding.blockHeightBits};
      if (zeliEncodeInitAlloc_JPEG2K(&state_, most) != zelStatusOk) throw std::bad_alloc();
    }
    load(job, size);
    int top = 0, passes = 0, segments = 0;
    zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(
        samples_, 4 * size.width, size, state_, librarySubband(job.band->orientation), job.band->bitPlanes,
        coding.style & kPredictable ? 2 : 1, 0, libraryStyle(coding.style), &top, &passes, &segments);
    CodeBlock& block = *job.block;
    block.zeroPlanes = passes ? 31 - top : 0;
    stream_.clear();
    for (int more = 1; more;) {
      int room = static_cast<int>(sizeof bytes_);
      zeliEncodeStoreBits_JPEG2K_1u(bytes_, &room, state_, &more);
      stream_.insert(stream_.end(), bytes_, bytes_ + room);
    }
    block.rates.resize(static_cast<size_t>(passes));
    block.distortions.resize(wantsDistortions ? static_cast<size_t>(passes) : 0);
    for (int i = 0; i < passes; ++i) {
      zeliEncodeGetRate_JPEG2K(state_, i, &block.rates[static_cast<size_t>(i)]);
      if (wantsDistortions) zeliEncodeGetDist_JPEG2K(state_, i, &block.distortions[static_cast<size_t>(i)]);
    }
    if (passes) takeSegments(coding.style, segments, block);
  }

 private:
  // The codeword segments one after the other. One that ends in 0xFF goes without that byte, as its rate has it:
  // decoders read 0xFF behind the end.
  void takeSegments(int style, int segments, CodeBlock& block) {
    size_t pass = 0;
    int begin = 0;
    for (int i = 0; i < segments && pass < block.rates.size(); ++i) {
      int length = 0;
      zeliEncodeGetTermPassLen_JPEG2K(state_, i, &length);
      const size_t end = std::min(block.rates.size(), pass + static_cast<size_t>(passesOfSegment(style, i)));
      const auto moved = static_cast<int>(block.data.size()) - begin; // by the bytes that were left out so far
      int taken = std::clamp(block.rates[end - 1] - begin, 0, length);
      if (taken < length && stream_[static_cast<size_t>(begin + length - 1)] != 0xFF) taken = length;
      block.data.insert(block.data.end(), stream_.begin() + begin, stream_.begin() + begin + taken);
      for (; pass < end; ++pass) block.rates[pass] = std::clamp(block.rates[pass], begin, begin + taken) + moved;
      block.rates[end - 1] = begin + taken + moved;
      begin += length;
    }
  }

  // Samples to sign and magnitude, the lowest plane of the band at its place; below it what the quantiser cuts off.
  void load(const BlockJob& job, ZeliSize size) {
    const TileComponent& c = *job.component;
    const Rect& r = job.block->rect;
    const int below = 31 - job.band->bitPlanes;
    const int x0 = job.band->planeX + r.x0 - job.band->rect.x0, y0 = job.band->planeY + r.y0 - job.band->rect.y0;
    const auto factor = static_cast<float>(std::ldexp(job.scale, below));
    for (int y = 0; y < size.height; ++y) {
      const Zel32s* from = c.plane.data() + static_cast<size_t>(y0 + y) * static_cast<size_t>(c.width) + x0;
      Zel32s* to = samples_ + y * size.width;
      if (c.coding.reversible) {
        for (int x = 0; x < size.width; ++x) to[x] = std::abs(from[x]) << below | (from[x] & INT32_MIN);
      } else {
        constexpr float kMost = 2147483520.0f; // the largest float below 2^31
        for (int x = 0; x < size.width; ++x) {
          const float magnitude = std::min(static_cast<float>(std::abs(from[x])) * factor, kMost);
          to[x] = static_cast<Zel32s>(magnitude) | (from[x] & INT32_MIN);
        }
      }
    }
  }

  ZeliEncodeState_JPEG2K* state_ = nullptr;
  alignas(64) Zel32s samples_[kMaxBlockSamples];
  Zel8u bytes_[1 << 14];
  Bytes stream_;
};

class Writer : public img::RowWriter {
 public:
  Writer(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options)
      : sink_(sink), picture_(picture), options_(options) {}

  Error open() {
    if (picture_.colour == img::Colour::cmyk || picture_.bits > 16) return fail("such pictures cannot be written");
    if (Error error = prepare()) return error;
    Bytes head;
    if (options_.container) head = containerHead(picture_);
    const Bytes main = mainHeader(codestream_);
    head.insert(head.end(), main.begin(), main.end());
    headBytes_ = main.size();
    return sink_.write(head);
  }

  Error write(const img::ConstRows& rows) override {
    for (int y = 0; y < rows.count; ++y) {
      if (tiles_.empty()) {
        if (Error error = beginTileRow()) return error;
      }
      takeRow(row_, rows.part(y, 1), scratches_[0]);
      if (++row_ == tiles_[0].rect.y1) {
        if (Error error = endTileRow()) return error;
      }
    }
    return {};
  }

  // By itself the writer tells how far it has come with the code-blocks, which take most of its time.
  bool pulls() const override { return true; }
  Error pull(img::RowReader& reader, const img::Progress& progress) override {
    progress_ = progress;
    while (row_ < picture_.height) {
      if (Error error = beginTileRow()) return error;
      if (Error error = pullTileRow(reader)) return error;
      if (Error error = endTileRow()) return error;
      tell(row_);
    }
    return {};
  }

  Error finish() override {
    const uint8_t end[] = {0xFF, 0xD9};
    return sink_.write(end);
  }

 private:
  bool lossy() const { return !options_.rates.empty() || options_.psnr > 0; }

  Error prepare() {
    Codestream& c = codestream_;
    c.image = {0, 0, picture_.width, picture_.height};
    c.tileWidth = options_.tileWidth ? options_.tileWidth : picture_.width;
    c.tileHeight = options_.tileHeight ? options_.tileHeight : picture_.height;
    if (int64_t{c.tilesAcross()} * c.tilesDown() > 65535) return fail("more than 65535 tiles");
    c.tiles.resize(static_cast<size_t>(c.tilesAcross()) * static_cast<size_t>(c.tilesDown()));
    c.components.assign(static_cast<size_t>(picture_.channels()), Component{.bits = picture_.bits});

    Coding coding;
    const int smallest = std::min({c.tileWidth, c.tileHeight, picture_.width, picture_.height});
    while (coding.levels < options_.levels && smallest >> (coding.levels + 1)) ++coding.levels;
    coding.blockWidthBits = log2Of(options_.blockWidth);
    coding.blockHeightBits = log2Of(options_.blockHeight);
    if (coding.blockWidthBits < 2 || coding.blockHeightBits < 2 ||
        coding.blockWidthBits + coding.blockHeightBits > 12) {
      return fail("sides of code-blocks are powers of 2 from 4 up, with 4096 samples at most");
    }
    coding.style = options_.style;
    coding.reversible = !lossy();
    coding.precincts.fill(0xFF);
    for (int r = 0; r <= coding.levels && !options_.precincts.empty(); ++r) {
      const auto [width, height] =
          options_.precincts[std::min(static_cast<size_t>(coding.levels - r), options_.precincts.size() - 1)];
      const int x = log2Of(width), y = log2Of(height);
      if (x < 1 || y < 1 || x > 15 || y > 15) return fail("sides of precincts are powers of 2 from 2 to 32768");
      coding.precincts[static_cast<size_t>(r)] = static_cast<uint8_t>(y << 4 | x);
    }
    TileParameters& p = c.main;
    p.order = options_.order;
    p.layers = std::max(1, static_cast<int>(options_.rates.size()));
    p.componentTransform = picture_.colour == img::Colour::rgb;
    p.sop = p.eph = options_.packetMarkers;
    p.coding.assign(c.components.size(), coding);
    p.quantisation.assign(c.components.size(), quantisation(coding));
    return {};
  }

  // What the quantiser may cost the picture: so little that layers decide, and no more, since each half of it is a bit
  // plane to code.
  double stepInPicture() const {
    if (options_.psnr > 0) {
      const double error = std::pow(picture_.maxValue(), 2) / std::pow(10, options_.psnr / 10);
      return std::min(std::ldexp(1.0, picture_.bits - 8), std::sqrt(error) / 2);
    }
    const double bits = options_.rates.empty() ? 0 : options_.rates.back() / picture_.channels(); // of a sample
    return std::ldexp(bits <= 2 ? 1 : bits <= 4 ? 0.5 : 0.25, picture_.bits - 8);
  }

  // Steps that all cost the picture the same.
  Quantisation quantisation(const Coding& coding) {
    step_ = stepInPicture();
    Quantisation q;
    q.guardBits = coding.reversible ? 3 : 2;
    q.kind = coding.reversible ? Quantisation::none : Quantisation::expounded;
    norms_ = Norms(coding.reversible ? 0 : coding.levels);
    for (int r = 0; r <= coding.levels; ++r) {
      for (int orientation = r ? 1 : 0; orientation < (r ? 4 : 1); ++orientation) {
        const int gain = orientation == 0 ? 0 : orientation == 3 ? 2 : 1, range = picture_.bits + gain;
        uint16_t& step = q.steps[static_cast<size_t>(r ? 3 * (r - 1) + orientation : 0)];
        if (coding.reversible) {
          step = static_cast<uint16_t>(range << 11);
          continue;
        }
        Band band;
        band.orientation = orientation;
        int exponent = 0;
        const double wanted = step_ / norms_.of(band, coding.levels, r);
        const double mantissa = 2 * std::frexp(wanted, &exponent); // 1 to 2
        step = static_cast<uint16_t>((range - (exponent - 1)) << 11 | static_cast<int>((mantissa - 1) * 2048));
      }
    }
    return q;
  }
  Error beginTileRow() {
    for (int i = 0; i < codestream_.tilesAcross(); ++i) {
      Tile tile;
      if (Error error = makeTile(codestream_, nextTile_ + i, tile)) return error;
      for (TileComponent& c : tile.components) {
        c.width = c.rect.width();
        c.height = c.rect.height();
        c.plane = img::AlignedArray<Zel32s>(static_cast<size_t>(c.width) * static_cast<size_t>(c.height));
      }
      tiles_.push_back(std::move(tile));
    }
    return {};
  }

  // Rows are read in their order and taken side by side.
  Error pullTileRow(img::RowReader& reader) {
    constexpr int kRows = 16;
    const int begin = row_, end = tiles_[0].rect.y1;
    const size_t rowBytes = picture_.rowBytes();
    std::vector<Bytes> strips(scratches_.size() * img::Pipeline::kSlotsOfThread);
    Error error;
    const auto rowsOf = [&](int64_t item, int slot) {
      const int y = begin + kRows * static_cast<int>(item);
      return img::Rows{strips[static_cast<size_t>(slot)].data(), static_cast<ptrdiff_t>(rowBytes),
                       std::min(kRows, end - y)};
    };
    img::Pipeline pipeline;
    pipeline.items = (end - begin + kRows - 1) / kRows;
    pipeline.begin = [&](int64_t item, int slot) {
      strips[static_cast<size_t>(slot)].resize(kRows * rowBytes);
      error = reader.read(rowsOf(item, slot));
      return !error;
    };
    pipeline.work = [&](int64_t item, int slot) {
      const img::ConstRows rows = img::asConst(rowsOf(item, slot));
      RowScratch& scratch = scratches_[static_cast<size_t>(slot / img::Pipeline::kSlotsOfThread)];
      for (int y = 0; y < rows.count; ++y) {
        takeRow(begin + kRows * static_cast<int>(item) + y, rows.part(y, 1), scratch);
      }
      return true;
    };
    pipeline.end = [](int64_t, int) { return true; };
    img::run(pipeline, options_.threads);
    row_ = end;
    return error;
  }
  void tell(int rows) const {
    if (progress_) progress_(rows);
  }

  void takeRow(int y, const img::ConstRows& from, RowScratch& scratch) {
    if (picture_.sampleBytes() == 1) {
      takeRow(y, from.row<uint8_t>(0), scratch);
    } else {
      takeRow(y, from.row<uint16_t>(0), scratch);
    }
  }
  template <class Sample>
  void takeRow(int y, const Sample* row, RowScratch& scratch) {
    const auto channels = static_cast<size_t>(picture_.channels());
    for (Tile& tile : tiles_) {
      const int width = tile.rect.width();
      Zel32s* planes[4];
      for (size_t i = 0; i < channels; ++i) {
        planes[i] =
            tile.components[i].plane.data() + static_cast<size_t>(y - tile.rect.y0) * static_cast<size_t>(width);
      }
      toComponents(row + static_cast<size_t>(tile.rect.x0) * channels, width, channels, picture_.bits, !lossy(),
                   codestream_.main.componentTransform, planes, scratch);
    }
  }

  Error endTileRow() {
    for (size_t i = 0; i < tiles_.size(); ++i) {
      Tile& tile = tiles_[i];
      encodeTile(tile, i);
      Bytes bytes(14);
      writePackets(codestream_.main, tile, bytes);
      if (bytes.size() > UINT32_MAX) return fail("a tile of more than 4 GB");
      const auto index = static_cast<uint32_t>(nextTile_++), length = static_cast<uint32_t>(bytes.size());
      const uint32_t head[] = {0xFF90, 10, index, length >> 16, length & 0xFFFF, 0x0001, 0xFF93};
      for (size_t k = 0; k < 7; ++k) {
        bytes[2 * k] = static_cast<uint8_t>(head[k] >> 8);
        bytes[2 * k + 1] = static_cast<uint8_t>(head[k]);
      }
      if (Error error = sink_.write(bytes)) return error;
      tile.components.clear();
    }
    tiles_.clear();
    return {};
  }

  void encodeTile(Tile& tile, size_t index) {
    std::vector<BlockJob> jobs;
    for (TileComponent& c : tile.components) {
      for (Resolution& resolution : c.resolutions) {
        for (Precinct& precinct : resolution.precincts) {
          for (size_t b = 0; b < precinct.bands.size(); ++b) {
            const double scale = std::ldexp(1 / resolution.bands[b].step, -fractionBits(picture_.bits));
            for (CodeBlock& block : precinct.bands[b].blocks) jobs.push_back({&c, &resolution.bands[b], &block, scale});
          }
        }
      }
    }
    // The wavelets of all components come first; a block waits for that of its own.
    const size_t components = tile.components.size();
    std::vector<std::atomic<bool>> isSplit(components);
    const size_t items = components + jobs.size();
    const auto rows = static_cast<size_t>(tile.rect.height()), across = static_cast<size_t>(codestream_.tilesAcross());
    img::sideBySide(items, options_.threads, [&](size_t thread, size_t item) {
      if (item < components) {
        const struct Done {
          std::atomic<bool>& flag;
          ~Done() {
            flag = true;
            flag.notify_all();
          }
        } done{isSplit[item]}; // also where memory runs out: somebody may wait
        return splitLevels(tile.components[item]);
      }
      const BlockJob& job = jobs[item - components];
      isSplit[static_cast<size_t>(job.component - tile.components.data())].wait(false);
      encoders_[thread].encode(job, lossy());
      if (thread == 0) tell(tile.rect.y0 + static_cast<int>(rows * (index * items + item) / (across * items)));
    });
    allocate(tile);
  }

  void allocate(Tile& tile) {
    if (!lossy()) return takeAllPasses(tile);
    // What the inverse component transform makes of an error of 1.
    constexpr double kTransform[] = {3, 3.2584, 2.4756, 1};
    const Weight weight = [&](size_t component, const Band& band) {
      const int levels = tile.components[component].coding.levels;
      const int resolution = band.index ? (band.index - 1) / 3 + 1 : 0;
      return std::pow(band.step * norms_.of(band, levels, resolution), 2) *
             (codestream_.main.componentTransform ? kTransform[component] : 1);
    };
    const double pixels = static_cast<double>(tile.rect.width()) * tile.rect.height();
    if (options_.rates.empty()) {
      const double peak = picture_.maxValue();
      // The quantiser has its share, and so has the rounding of samples.
      // What the coder tells of its passes is a little less than they do.
      const double wanted = 0.93 * peak * peak / std::pow(10, options_.psnr / 10) - (step_ * step_ + 1) / 12;
      allocateError(weight, std::max(0.0, wanted) * pixels * picture_.channels(), tile);
      return;
    }
    // The headers come out of the same purse.
    const double head = 14 + (static_cast<double>(headBytes_) + 2) / static_cast<double>(codestream_.tiles.size());
    std::vector<size_t> bytes;
    for (const double rate : options_.rates)
      bytes.push_back(static_cast<size_t>(std::max(0.0, rate * pixels / 8 - head)));
    allocateBytes(codestream_.main, weight, bytes, tile);
  }

  img::ByteSink& sink_;
  const img::Picture picture_;
  const EncodeOptions options_;
  std::vector<BlockEncoder> encoders_{static_cast<size_t>(options_.threads)};
  Codestream codestream_;
  Norms norms_{0};
  double step_ = 1; // of the quantiser, in the picture
  size_t headBytes_ = 0;
  std::vector<Tile> tiles_; // of the row of tiles that is being gathered
  int nextTile_ = 0, row_ = 0;
  std::vector<RowScratch> scratches_{static_cast<size_t>(options_.threads)};
  img::Progress progress_;
};

} // namespace

Error openWriter(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
                 std::unique_ptr<img::RowWriter>& writer) {
  auto opened = std::make_unique<Writer>(sink, picture, options);
  if (Error error = opened->open()) return error;
  writer = std::move(opened);
  return {};
}

} // namespace j2k
