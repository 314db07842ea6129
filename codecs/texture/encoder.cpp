// Codes the rows of a picture as they come, a few rows of blocks at a time on all threads, and writes the file when all
// levels are there. The picture itself is kept only where smaller levels are made of it.
#include <algorithm>
#include <atomic>

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

class Writer : public img::RowWriter {
 public:
  Writer(img::ByteSink& sink, Container container, const img::Picture& picture, const EncodeOptions& options)
      : sink_(sink),
        container_(container),
        picture_(picture),
        options_(options),
        workers_(options.threads),
        search_(options.effort, options.modes) {
    texture_.format = formatOf(options.target);
    texture_.width = picture.width;
    texture_.height = picture.height;
    texture_.levels = options.mips ? fullChain(picture.width, picture.height) : 1;
    const bool colours =
        options.target != Target::bc4 && options.target != Target::bc5 && options.target != Target::yCoCg;
    texture_.sRgb = colours && !options.linear;
    texture_.opaque = !picture.alpha;
    texture_.yCoCg = options.target == Target::yCoCg;
    levels_.resize(static_cast<size_t>(texture_.levels));
    if (options.mips) shape(whole_, picture);
  }

  int rowsAtOnce() const override { return 4; }

  Error write(const img::ConstRows& rows) override {
    for (int y = 0; y < rows.count; ++y) {
      if (options_.mips) std::memcpy(whole_.row<uint8_t>(taken_), rows.row<uint8_t>(y), picture_.rowBytes());
      take(rows.row<uint8_t>(y), picture_.width);
      ++taken_;
    }
    encodePending(picture_.width, pendingRows_ / 4 * 4, 0);
    return {};
  }

  Error finish() override {
    encodePending(picture_.width, pendingRows_, 0);
    for (int level = 1; level < texture_.levels; ++level) {
      whole_ = halved(whole_);
      for (int y = 0; y < whole_.height; ++y) take(whole_.row<uint8_t>(y), whole_.width);
      encodePending(whole_.width, pendingRows_, level);
    }
    for (const Piece& piece : fileLayout(container_, texture_)) {
      if (Error error = sink_.write(piece.front)) return error;
      if (Error error = sink_.write(levels_[static_cast<size_t>(piece.level)])) return error;
    }
    if (options_.report) report();
    return {};
  }

 private:
  size_t pixelRowBytes(int width) const {
    return static_cast<size_t>(width) * static_cast<size_t>(channelsOf(options_.target));
  }

  // Adds a row to those that wait to be coded.
  void take(const uint8_t* row, int width) {
    const size_t bytes = pixelRowBytes(width), at = bytes * static_cast<size_t>(pendingRows_);
    if (pending_.size() < at + bytes) pending_.resize(at + bytes);
    toEncoder(row, picture_.channels(), options_.target, width, pending_.data() + at);
    ++pendingRows_;
  }

  // Codes the first of the rows that wait.
  void encodePending(int width, int rows, int level) {
    if (rows == 0) return;
    const Format& format = *texture_.format;
    Bytes& units = levels_[static_cast<size_t>(level)];
    const size_t begin = units.size(), unitRowBytes = static_cast<size_t>(format.rowBytes(width));
    units.resize(begin + unitRowBytes * static_cast<size_t>(format.unitRows(rows)));
    if (options_.target == Target::rgba8) {
      std::copy_n(pending_.data(), units.size() - begin, units.data() + begin);
    } else {
      encodeBlocks(width, rows, units.data() + begin, unitRowBytes);
      if (options_.report && level == 0) measure(width, rows, units.data() + begin, unitRowBytes);
    }
    const size_t done = pixelRowBytes(width) * static_cast<size_t>(rows);
    pendingRows_ -= rows;
    std::copy_n(pending_.data() + done, pixelRowBytes(width) * static_cast<size_t>(pendingRows_), pending_.data());
  }

  void encodeBlocks(int width, int rows, uint8_t* blocks, size_t rowBytes) {
    // Items large enough to be worth a thread: a few blocks where modes are searched, some rows of blocks otherwise.
    const int blockRows = (rows + 3) / 4, across = (width + 3) / 4;
    if (options_.target == Target::bc7) {
      constexpr int kBlocks = 8;
      const int items = (across + kBlocks - 1) / kBlocks;
      workers_.run(int64_t{blockRows} * items, [&](int, int64_t item, img::Turns&) {
        const int y = static_cast<int>(item / items), first = static_cast<int>(item % items) * kBlocks;
        for (int b = first; b < std::min(first + kBlocks, across); ++b) {
          searchBlock(width, rows, b, y, blocks + static_cast<size_t>(y) * rowBytes + 16 * static_cast<size_t>(b));
        }
        return true;
      });
      return;
    }
    constexpr int kRows = 8;
    workers_.run((blockRows + kRows - 1) / kRows, [&](int, int64_t item, img::Turns&) {
      const int first = static_cast<int>(item) * kRows;
      const int step = static_cast<int>(pixelRowBytes(width));
      encodeRows(pending_.data() + pixelRowBytes(width) * 4 * static_cast<size_t>(first), step,
                 {width, std::min(rows - 4 * first, 4 * kRows)}, blocks + rowBytes * static_cast<size_t>(first));
      return true;
    });
  }

  void encodeRows(const uint8_t* pixels, int step, ZeliSize size, uint8_t* blocks) const {
    switch (options_.target) {
      case Target::bc1:
        zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(pixels, step, size, blocks);
        break;
      case Target::bc2:
        zeliTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R(pixels, step, size, blocks);
        break;
      case Target::bc3:
        zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(pixels, step, size, blocks);
        break;
      case Target::yCoCg:
        zeliTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(pixels, step, size, blocks);
        break;
      case Target::bc4:
        zeliTextureEncodeBlock_BC4_8u_C1R(pixels, step, size, blocks);
        break;
      case Target::bc5:
        zeliTextureEncodeBlockFromRG_BC5_8u_C2C1R(pixels, step, size, blocks);
        break;
      case Target::bc7:
      case Target::rgba8:
        break;
    }
  }

  // A block of BC7, completed at the edges with copies of the last column and row.
  void searchBlock(int width, int rows, int column, int row, uint8_t* block) const {
    const size_t step = pixelRowBytes(width);
    const uint8_t* pixels = pending_.data() + step * 4 * static_cast<size_t>(row) + 16 * static_cast<size_t>(column);
    const int columnsInside = std::min(4, width - 4 * column), rowsInside = std::min(4, rows - 4 * row);
    if (columnsInside == 4 && rowsInside == 4) return search_.encode(pixels, static_cast<int>(step), block);
    uint8_t whole[64];
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 4; ++x) {
        const uint8_t* from = pixels + step * static_cast<size_t>(std::min(y, rowsInside - 1));
        std::memcpy(whole + 16 * y + 4 * x, from + 4 * std::min(x, columnsInside - 1), 4);
      }
    }
    search_.encode(whole, 16, block);
  }

  // Decodes what has been coded, and compares it with what it was made of.
  void measure(int width, int rows, const uint8_t* blocks, size_t) {
    const Format& format = *texture_.format;
    const size_t step = static_cast<size_t>(width) * decodedPixelBytes(format);
    decoded_.resize(step * static_cast<size_t>(rows));
    decodeBlocks(format, blocks, width, rows, decoded_.data(), step);
    const auto channels = static_cast<size_t>(channelsOf(options_.target)), decodedChannels = decodedPixelBytes(format);
    for (size_t p = 0; p < static_cast<size_t>(width) * static_cast<size_t>(rows); ++p) {
      const uint8_t *was = pending_.data() + p * channels, *is = decoded_.data() + p * decodedChannels;
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
        differences_.sum[c] += difference * difference;
      }
    }
    differences_.samples += static_cast<double>(width) * rows;
  }

  void report() {
    const size_t names = options_.target == Target::bc4   ? 1
                         : options_.target == Target::bc5 ? 2
                         : picture_.alpha                 ? 4
                                                          : 3;
    std::string text = "PSNR";
    for (size_t c = 0; c < names; ++c) {
      const double mean = differences_.samples > 0 ? differences_.sum[c] / differences_.samples : 0;
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
  img::Workers workers_;
  const Bc7Search search_;
  Texture texture_;
  std::vector<Bytes> levels_;
  img::Image whole_;
  Bytes pending_, decoded_;
  int taken_ = 0, pendingRows_ = 0;
  Differences differences_;
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
