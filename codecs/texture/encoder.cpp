// Codes the rows of a picture as they come, strips of them side by side, and writes the file when all levels are there.
// The picture itself is kept only where smaller levels are made of it.
#include <algorithm>
#include <utility>

#include "common/workers.h"
#include "texture/bc7_search.h"
#include "texture/mipmaps.h"
#include "texture/pixels.h"
#include "zelj.h"

namespace texture {
namespace {

// Squared differences by channel, of as many samples.
struct Differences {
  double sum[4] = {};
  double samples = 0;
};

// What a thread needs to code a strip of a picture.
struct Scratch {
  Bytes pixels, decoded;
  Differences differences;
};

class Writer : public img::RowWriter {
 public:
  Writer(img::ByteSink& sink, Container container, const img::Picture& picture, const EncodeOptions& options)
      : sink_(sink),
        container_(container),
        picture_(picture),
        options_(options),
        search_(options.effort.value_or(Effort::normal), options.modes),
        scratch_(static_cast<size_t>(std::max(options.threads, 1))) {
    if ((options.effort || options.modes) && options.target != Target::bc7)
      remarks_.push_back("effort and modes are of BC7: they change nothing here");
    texture_.format = formatOf(options.target);
    texture_.width = picture.width;
    texture_.height = picture.height;
    texture_.levels = options.mips ? fullChain(picture.width, picture.height) : 1;
    const bool isData = options.linear || options.target == Target::bc4 || options.target == Target::bc5;
    texture_.sRgb = !isData && options.target != Target::yCoCg;
    averagesLight_ = !isData;
    texture_.opaque = !picture.alpha;
    texture_.yCoCg = options.target == Target::yCoCg;
    for (int level = 0; level < texture_.levels; ++level) {
      const auto bytes = texture_.format->bytes(atLevel(picture.width, level), atLevel(picture.height, level));
      levels_.emplace_back(static_cast<size_t>(bytes));
    }
    if (options.mips) shape(whole_, picture);
  }

  int rowsAtOnce() const override { return rowsOfStrip(); }

  // Rows of blocks are whole but for the last: what does not fill one waits.
  Error write(const img::ConstRows& rows) override {
    for (int y = 0; y < rows.count;) {
      const int take = std::min(rows.count - y, rowsOfStrip() - waitingRows_);
      waiting_.resize(static_cast<size_t>(rowsOfStrip()) * picture_.rowBytes());
      for (int i = 0; i < take; ++i)
        std::memcpy(waitingRow(waitingRows_ + i), rows.row<uint8_t>(y + i), picture_.rowBytes());
      waitingRows_ += take;
      y += take;
      if (waitingRows_ == rowsOfStrip()) encodeWaiting();
    }
    return {};
  }

  // Strips are read one after the other and coded side by side.
  bool pulls() const override { return true; }
  Error pull(img::RowReader& reader, const img::Progress& progress) override {
    Error error;
    std::vector<Bytes> strips(scratch_.size() * img::Pipeline::kSlotsOfThread);
    const auto read = [&](int count, int slot) {
      Bytes& strip = strips[static_cast<size_t>(slot)];
      strip.resize(static_cast<size_t>(rowsOfStrip()) * picture_.rowBytes());
      error = reader.read({strip.data(), static_cast<ptrdiff_t>(picture_.rowBytes()), count});
      return !error;
    };
    const auto rowsOf = [&](int, int count, int slot) {
      return img::ConstRows{strips[static_cast<size_t>(slot)].data(), static_cast<ptrdiff_t>(picture_.rowBytes()),
                            count};
    };
    encodeLevel(0, picture_, progress, read, rowsOf);
    encodedRows_ = picture_.height;
    if (!error) encodeSmaller(progress);
    return error;
  }

  Error finish() override {
    encodeWaiting();
    encodeSmaller({});
    for (const Piece& piece : fileLayout(container_, texture_)) {
      if (Error error = sink_.write(piece.front)) return error;
      if (Error error = sink_.write(levels_[static_cast<size_t>(piece.level)])) return error;
    }
    if (options_.report) report();
    return {};
  }

 private:
  // The search for BC7 is long: a row of blocks is enough work at a time.
  int rowsOfStrip() const { return options_.target == Target::bc7 ? 4 : 32; }

  uint8_t* waitingRow(int y) { return waiting_.data() + static_cast<size_t>(y) * picture_.rowBytes(); }
  void encodeWaiting() {
    if (waitingRows_ == 0) return;
    encodeStrip({waiting_.data(), static_cast<ptrdiff_t>(picture_.rowBytes()), waitingRows_}, encodedRows_,
                picture_.width, 0, 0);
    encodedRows_ += waitingRows_;
    waitingRows_ = 0;
  }

  // Codes a level in strips: read(rows, slot) in their order, then those that rowsOf(y, rows, slot) tells of.
  template <class Read, class RowsOf>
  void encodeLevel(int level, const img::Picture& picture, const img::Progress& progress, Read read, RowsOf rowsOf) {
    const auto count = [&](int64_t item) {
      return std::min(rowsOfStrip(), picture.height - static_cast<int>(item) * rowsOfStrip());
    };
    img::Pipeline pipeline;
    pipeline.items = (picture.height - 1) / rowsOfStrip() + 1;
    pipeline.begin = [&](int64_t item, int slot) { return read(count(item), slot); };
    pipeline.work = [&](int64_t item, int slot) {
      const int y = static_cast<int>(item) * rowsOfStrip();
      encodeStrip(rowsOf(y, count(item), slot), y, picture.width, level, slot / img::Pipeline::kSlotsOfThread);
      return true;
    };
    pipeline.end = [&](int64_t item, int) {
      encodedPixels_ += int64_t{picture.width} * count(item);
      if (progress) progress(static_cast<int>(picture_.height * encodedPixels_ / pixels()));
      return true;
    };
    run(pipeline, std::max(options_.threads, 1));
  }

  // Of all levels.
  int64_t pixels() const {
    int64_t sum = 0;
    for (int level = 0; level < texture_.levels; ++level)
      sum += int64_t{atLevel(picture_.width, level)} * atLevel(picture_.height, level);
    return sum;
  }

  // The levels that are made of others.
  void encodeSmaller(const img::Progress& progress) {
    if (encodedLevels_ == texture_.levels) return;
    const Light light(averagesLight_);
    for (; encodedLevels_ < texture_.levels; ++encodedLevels_) {
      img::Image half;
      shape(half, halfOf(whole_));
      const auto rowsOf = [&](int y, int count, int) {
        const img::Rows rows = half.rows().part(y, count);
        halve(whole_, light, y, rows);
        return asConst(rows);
      };
      encodeLevel(
          encodedLevels_, half, progress, [](int, int) { return true; }, rowsOf);
      whole_ = std::move(half);
    }
  }

  // Codes rows of a level from its row `y` on, a multiple of 4. Only the last strip may end within a row of blocks.
  void encodeStrip(const img::ConstRows& rows, int y, int width, int level, int thread) {
    const Format& format = *texture_.format;
    Scratch& scratch = scratch_[static_cast<size_t>(thread)];
    const size_t rowBytes = static_cast<size_t>(width) * static_cast<size_t>(channelsOf(options_.target));
    scratch.pixels.resize(rowBytes * static_cast<size_t>(rows.count));
    for (int i = 0; i < rows.count; ++i) {
      const uint8_t* row = rows.row<uint8_t>(i);
      if (options_.mips && level == 0) std::memcpy(whole_.row<uint8_t>(y + i), row, picture_.rowBytes());
      toEncoder(row, picture_.channels(), options_.target, width,
                scratch.pixels.data() + rowBytes * static_cast<size_t>(i));
    }
    const auto unitRow = static_cast<size_t>(format.inBlocks() ? y / 4 : y);
    uint8_t* units = levels_[static_cast<size_t>(level)].data() + unitRow * static_cast<size_t>(format.rowBytes(width));
    const ZeliSize size = {width, rows.count};
    encodePixels(scratch.pixels.data(), static_cast<int>(rowBytes), size, units);
    if (options_.report && level == 0 && format.inBlocks()) measure(units, size, scratch);
  }

  void encodePixels(const uint8_t* pixels, int step, ZeliSize size, uint8_t* units) const {
    switch (options_.target) {
      case Target::bc1:
        zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(pixels, step, size, units);
        break;
      case Target::bc2:
        zeliTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R(pixels, step, size, units);
        break;
      case Target::bc3:
        zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(pixels, step, size, units);
        break;
      case Target::yCoCg:
        zeliTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(pixels, step, size, units);
        break;
      case Target::bc4:
        zeliTextureEncodeBlock_BC4_8u_C1R(pixels, step, size, units);
        break;
      case Target::bc5:
        zeliTextureEncodeBlockFromRG_BC5_8u_C2C1R(pixels, step, size, units);
        break;
      case Target::bc7:
        for (int x = 0; x < size.width; x += 4, units += 16) searchBlock(pixels, step, size, x, units);
        break;
      case Target::rgba8:
        std::memcpy(units, pixels, static_cast<size_t>(step) * static_cast<size_t>(size.height));
        break;
    }
  }

  // A block of BC7, completed at the edges with copies of the last column and row.
  void searchBlock(const uint8_t* pixels, int step, ZeliSize size, int x, uint8_t* block) const {
    if (x + 4 <= size.width && size.height == 4) return search_.encode(pixels + 4 * x, step, block);
    uint8_t whole[64];
    for (int i = 0; i < 16; ++i) {
      const int row = std::min(i / 4, size.height - 1), column = std::min(x + i % 4, size.width - 1);
      std::memcpy(whole + 4 * i, pixels + row * step + 4 * column, 4);
    }
    search_.encode(whole, 16, block);
  }

  // Decodes what has been coded, and compares it with what it was made of.
  void measure(const uint8_t* blocks, ZeliSize size, Scratch& scratch) const {
    const Format& format = *texture_.format;
    const size_t step = static_cast<size_t>(size.width) * decodedPixelBytes(format);
    scratch.decoded.resize(step * static_cast<size_t>(size.height));
    decodeBlocks(format, blocks, size.width, size.height, scratch.decoded.data(), step);
    const auto channels = static_cast<size_t>(channelsOf(options_.target)), decodedChannels = decodedPixelBytes(format);
    const size_t count = static_cast<size_t>(size.width) * static_cast<size_t>(size.height);
    for (size_t p = 0; p < count; ++p) {
      const uint8_t *was = scratch.pixels.data() + p * channels, *is = scratch.decoded.data() + p * decodedChannels;
      uint8_t wasRgb[4], isRgb[4];
      if (options_.target == Target::yCoCg) { // in R, G, B, by what the chroma held before it was coded
        const uint8_t unscaled[4] = {was[1], was[2], 0, was[0]};
        yCoCgToRgb(unscaled, wasRgb);
        yCoCgToRgb(is, isRgb);
        was = wasRgb;
        is = isRgb;
      }
      for (size_t c = 0; c < channels; ++c) {
        const double difference = was[c] - is[c];
        scratch.differences.sum[c] += difference * difference;
      }
    }
    scratch.differences.samples += static_cast<double>(count);
  }

  void report() {
    Differences all;
    for (const Scratch& scratch : scratch_) {
      for (size_t c = 0; c < 4; ++c) all.sum[c] += scratch.differences.sum[c];
      all.samples += scratch.differences.samples;
    }
    const size_t names = options_.target == Target::bc4   ? 1
                         : options_.target == Target::bc5 ? 2
                         : picture_.alpha                 ? 4
                                                          : 3;
    std::string text = "PSNR";
    for (size_t c = 0; c < names; ++c) {
      const double mean = all.samples > 0 ? all.sum[c] / all.samples : 0;
      text +=
          img::format(" %c %.2f", names == 1 ? 'Y' : "RGBA"[c], mean > 0 ? 10 * std::log10(255 * 255 / mean) : 99.0);
    }
    uint64_t bytes = 0;
    for (const Bytes& level : levels_) bytes += level.size();
    text += img::format(" dB, %.2f bits a pixel", 8.0 * static_cast<double>(bytes) / picture_.width / picture_.height);
    remarks_.push_back(text);
  }

  img::ByteSink& sink_;
  const Container container_;
  const img::Picture picture_;
  const EncodeOptions options_;
  const Bc7Search search_;
  Texture texture_;
  bool averagesLight_; // of which sRGB samples tell; other samples are averaged as they are
  std::vector<Bytes> levels_;
  img::Image whole_; // the level that the next one is made of
  std::vector<Scratch> scratch_;
  Bytes waiting_;
  int waitingRows_ = 0, encodedRows_ = 0, encodedLevels_ = 1;
  int64_t encodedPixels_ = 0;
};

} // namespace

const Format* formatOf(Target target) {
  switch (target) {
    case Target::bc1:
      return formatOf(Coding::bc1);
    case Target::bc2:
      return formatOf(Coding::bc2);
    case Target::bc3:
    case Target::yCoCg:
      return formatOf(Coding::bc3);
    case Target::bc4:
      return formatOf(Coding::bc4);
    case Target::bc5:
      return formatOf(Coding::bc5);
    case Target::bc7:
      return formatOf(Coding::bc7);
    case Target::rgba8:
      break;
  }
  return formatOf(Coding::plain, 4);
}

void toEncoder(const uint8_t* from, int channels, Target target, int width, uint8_t* to) {
  for (int x = 0; x < width; ++x, from += channels) {
    switch (target) {
      case Target::bc4:
        *to++ = from[0];
        break;
      case Target::bc5:
        *to++ = from[0];
        *to++ = from[1];
        break;
      case Target::yCoCg:
        rgbToYCoCg(from, to);
        to += 3;
        break;
      default:
        std::memcpy(to, from, 3);
        to[3] = channels == 4 ? from[3] : 255;
        to += 4;
    }
  }
}

img::Picture nearest(const img::Picture& picture, Target target) {
  img::Picture nearest = picture;
  const bool keepsAlpha =
      target == Target::bc2 || target == Target::bc3 || target == Target::bc7 || target == Target::rgba8;
  nearest.colour = target == Target::bc4 ? img::Colour::grey : img::Colour::rgb;
  nearest.alpha = picture.alpha && keepsAlpha;
  nearest.bits = 8;
  return nearest;
}

Error openWriter(img::ByteSink& sink, Container container, const img::Picture& picture, const EncodeOptions& options,
                 std::unique_ptr<img::RowWriter>& writer) {
  writer = std::make_unique<Writer>(sink, container, picture, options);
  return {};
}

} // namespace texture
