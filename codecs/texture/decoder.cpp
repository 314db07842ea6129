// Reads one surface of a texture, a few rows of blocks at a time.
#include <algorithm>

#include "texture/pixels.h"
#include "zelj.h"

namespace texture {
namespace {

// A row of samples as the file has them, or as the library decodes them, to a row of the picture.
class Converter {
 public:
  Converter(const Format& format, bool yCoCg) : format_(format), yCoCg_(yCoCg) {}

  void describe(img::Picture& picture, bool opaque) const {
    using img::Colour;
    switch (format_.coding) {
      case Coding::plain:
        picture.colour = format_.channels == 1 ? Colour::grey : Colour::rgb;
        picture.alpha = format_.channels == 4 && !format_.lastUnused && !opaque;
        picture.bits = format_.sample == Sample::u8 ? 8 : format_.sample == Sample::u16 ? 16 : 32;
        break;
      case Coding::bc4:
        picture.colour = Colour::grey;
        break;
      case Coding::bc6Unsigned:
      case Coding::bc6Signed:
        picture.colour = Colour::rgb;
        picture.bits = 32;
        break;
      default:
        picture.colour = Colour::rgb;
        picture.alpha = format_.coding != Coding::bc1 && format_.coding != Coding::bc5 && !yCoCg_ && !opaque;
    }
  }

  void row(const uint8_t* from, const img::Picture& picture, uint8_t* to) const {
    const auto width = static_cast<size_t>(picture.width);
    const auto channels = static_cast<size_t>(picture.channels());
    switch (format_.coding) {
      case Coding::plain:
        return plainRow(from, picture, to);
      case Coding::bc4:
        std::memcpy(to, from, width);
        return;
      case Coding::bc5:
        for (size_t x = 0; x < width; ++x, from += 2, to += 3) {
          to[0] = from[0];
          to[1] = from[1];
          to[2] = 0;
        }
        return;
      case Coding::bc6Unsigned:
      case Coding::bc6Signed:
        for (size_t i = 0; i < 3 * width; ++i) {
          uint16_t half;
          std::memcpy(&half, from + 2 * i, 2);
          reinterpret_cast<float*>(to)[i] = halfToFloat(half);
        }
        return;
      default:
        for (size_t x = 0; x < width; ++x, from += 4, to += channels) {
          if (yCoCg_) {
            yCoCgToRgb(from, to);
          } else {
            std::memcpy(to, from, 3);
            // The library leaves the low half of BC2's alpha empty; opaque shall be opaque.
            if (picture.alpha)
              to[3] = format_.coding == Coding::bc2 ? static_cast<uint8_t>(from[3] | from[3] >> 4) : from[3];
          }
        }
    }
  }

 private:
  void plainRow(const uint8_t* from, const img::Picture& picture, uint8_t* to) const {
    const int kept = picture.channels();
    for (int x = 0; x < picture.width; ++x) {
      for (int c = 0; c < kept; ++c) {
        const int source = format_.blueFirst && c < 3 ? 2 - c : c;
        const bool given = source < format_.channels;
        sample(from + source * sampleBytes(), given, c + x * kept, to);
      }
      from += format_.unitBytes;
    }
  }
  int sampleBytes() const { return format_.sample == Sample::u8 ? 1 : format_.sample == Sample::f32 ? 4 : 2; }

  void sample(const uint8_t* from, bool given, int at, uint8_t* to) const {
    uint16_t two = 0;
    if (given && sampleBytes() == 2) std::memcpy(&two, from, 2);
    switch (format_.sample) {
      case Sample::u8:
        to[at] = given ? *from : 0;
        return;
      case Sample::u16:
        reinterpret_cast<uint16_t*>(to)[at] = two;
        return;
      case Sample::f16:
        reinterpret_cast<float*>(to)[at] = halfToFloat(two);
        return;
      case Sample::f32:
        if (given)
          std::memcpy(to + 4 * at, from, 4);
        else
          reinterpret_cast<float*>(to)[at] = 0;
        return;
    }
  }

  const Format& format_;
  bool yCoCg_;
};

class Reader : public img::RowReader {
 public:
  explicit Reader(img::ByteSource& source) : source_(source) {}

  Error open(Container container, const DecodeOptions& options) {
    if (Error error = source_.keepForSeeking()) return error;
    if (Error error = readHeader(source_, container, texture_)) return error;
    if (options.level >= texture_.levels)
      return fail("there is no level %d: the texture has %d", options.level, texture_.levels);
    if (options.face >= texture_.faces)
      return fail("there is no face %d: the texture has %d", options.face, texture_.faces);
    if (options.layer >= texture_.layers)
      return fail("there is no layer %d: the texture has %d", options.layer, texture_.layers);
    const Surface surface = texture_.surface(options.level, options.layer, options.face);
    if (Error error = img::checkSize(surface.width, surface.height, options.maxPixels)) return error;
    keepGoing_ = options.keepGoing;
    const std::optional<uint64_t> size = source_.size();
    if (!keepGoing_ && size && (surface.position > *size || *size - surface.position < surface.bytes)) {
      return fail("the file ends before level %d does: %llu bytes are missing%s", options.level,
                  static_cast<unsigned long long>(surface.position - *size + surface.bytes),
                  surface.position < *size ? kHint : "");
    }
    if (Error error = source_.seek(surface.position)) return error;
    picture_.width = surface.width;
    picture_.height = surface.height;
    const bool yCoCg = (texture_.yCoCg || options.yCoCg) && texture_.format->coding == Coding::bc3;
    converter_.emplace(*texture_.format, yCoCg);
    converter_->describe(picture_, texture_.opaque);
    return {};
  }

  int rowsAtOnce() const override { return texture_.format->inBlocks() ? 4 : 1; }

  Error read(const img::Rows& rows) override {
    for (int y = 0; y < rows.count; ++y) {
      if (ready_ == 0) {
        if (Error error = readSome()) return error;
      }
      converter_->row(decoded_.data() + decodedStep_ * static_cast<size_t>(held_ - ready_), picture_,
                      rows.row<uint8_t>(y));
      --ready_;
    }
    return {};
  }

 private:
  // The next rows of the surface: one of texels, or four of a row of blocks.
  Error readSome() {
    const Format& format = *texture_.format;
    held_ = ready_ = std::min(format.inBlocks() ? 4 : 1, picture_.height - next_);
    next_ += held_;
    units_.resize(static_cast<size_t>(format.rowBytes(picture_.width)));
    size_t got = 0;
    if (Error error = source_.read(units_.data(), units_.size(), got)) return error;
    if (got < units_.size()) {
      constexpr const char* kWhat = "the file ends before its last texel";
      if (!keepGoing_) return fail("%s%s", kWhat, kHint);
      if (!damaged_) remarks_.push_back(kWhat);
      damaged_ = true;
      std::fill(units_.begin() + static_cast<ptrdiff_t>(got), units_.end(), uint8_t{0});
    }
    if (format.inBlocks()) {
      decodedStep_ = (static_cast<size_t>(picture_.width) + 3) / 4 * 4 * decodedPixelBytes(format);
      decoded_.resize(4 * decodedStep_);
      decodeBlocks(format, units_.data(), picture_.width, held_, decoded_.data(), decodedStep_);
    } else {
      decoded_.swap(units_);
    }
    return {};
  }

  static constexpr const char* kHint = " (--keep-going makes a picture of what is left)";

  img::ByteSource& source_;
  bool keepGoing_ = false;
  Texture texture_;
  std::optional<Converter> converter_;
  Bytes units_, decoded_;
  size_t decodedStep_ = 0;
  int held_ = 0, ready_ = 0, next_ = 0;
};

} // namespace

size_t decodedPixelBytes(const Format& format) {
  switch (format.coding) {
    case Coding::bc4:
      return 1;
    case Coding::bc5:
      return 2;
    case Coding::bc6Unsigned:
    case Coding::bc6Signed:
      return 6;
    default:
      return 4;
  }
}

void decodeBlocks(const Format& format, const uint8_t* blocks, int width, int height, uint8_t* pixels,
                  size_t rowBytes) {
  const int step = static_cast<int>(rowBytes);
  const ZeliSize size = {width, height};
  // The library gives the pixels of cut BC6 blocks another meaning: whole ones do not have it.
  const ZeliSize whole = {(width + 3) / 4 * 4, (height + 3) / 4 * 4};
  switch (format.coding) {
    case Coding::bc1:
      zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R(blocks, pixels, step, size);
      break;
    case Coding::bc2:
      zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R(blocks, pixels, step, size);
      break;
    case Coding::bc3:
      zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(blocks, pixels, step, size);
      break;
    case Coding::bc4:
      zeliTextureDecodeBlock_BC4_8u_C1R(blocks, pixels, step, size);
      break;
    case Coding::bc5:
      zeliTextureDecodeBlockToRG_BC5_8u_C1C2R(blocks, pixels, step, size);
      break;
    case Coding::bc6Unsigned:
      zeliTextureDecodeBlockToRGB_BC6_16u_C1C3R(blocks, reinterpret_cast<Zel16u*>(pixels), step, whole);
      break;
    case Coding::bc6Signed:
      zeliTextureDecodeBlockToRGB_BC6_16s_C1C3R(blocks, reinterpret_cast<Zel16s*>(pixels), step, whole);
      break;
    case Coding::bc7:
      zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R(blocks, pixels, step, size);
      break;
    case Coding::plain:
      break;
  }
}

Error openReader(img::ByteSource& source, Container container, const DecodeOptions& options,
                 std::unique_ptr<img::RowReader>& reader) {
  auto own = std::make_unique<Reader>(source);
  if (Error error = own->open(container, options)) return error;
  reader = std::move(own);
  return {};
}

Error describe(img::ByteSource& source, Container container, std::string& text) {
  Texture texture;
  if (Error error = readHeader(source, container, texture)) return error;
  const bool more = texture.faces > 1 || texture.layers > 1;
  text = img::format("%s, %s, %d x %d\n", container == Container::dds ? "DDS" : "KTX2", texture.format->name,
                     texture.width, texture.height);
  text += img::format("levels: %d%s\n", texture.levels,
                      texture.levels == fullChain(texture.width, texture.height) ? " (all)" : "");
  if (more) text += img::format("layers: %d, faces: %d\n", texture.layers, texture.faces);
  if (texture.yCoCg || texture.sRgb) text += texture.yCoCg ? "colours: YCoCg, scaled\n" : "colours: sRGB\n";
  return {};
}

} // namespace texture
