// Reading: whatever samples a file has to those of a picture.
#include <algorithm>
#include <bit>
#include <cstring>

#include "common/orient.h"
#include "tiff/directory.h"
#include "tiff/strips.h"

namespace tiff {
namespace {

// Of each plane: few calls, in the cache.
constexpr size_t kReadAtOnce = 1 << 15;
constexpr bool kBigEndianMachine = std::endian::native == std::endian::big;

class Reader : public img::RowReader {
 public:
  Reader(img::ByteSource& source, const DecodeOptions& options) : source_(source), options_(options) {}

  Error open() {
    if (Error error = directory_.read(source_, std::max(options_.page, 1))) return error;
    if (Error error = readShape()) return error;
    if (Error error = openStrips()) return error;
    return readMetadata();
  }

  Error read(const img::Rows& rows) override {
    if (isPlain() && rows.step == static_cast<ptrdiff_t>(picture_.rowBytes()))
      return planes_[0].read(rows.data, static_cast<size_t>(rows.count));
    for (int y = 0; y < rows.count; ++y) {
      if (held_ == 0) {
        if (Error error = readSome()) return error;
      }
      convert(rows.row<uint8_t>(y));
      --held_;
    }
    return {};
  }

  Error finish() override {
    for (const StripReader& plane : planes_) {
      if (damaged_ || plane.damage().empty()) continue;
      damaged_ = true;
      remarks_.push_back(plane.damage());
    }
    return {};
  }

 private:
  Error readShape() {
    uint32_t width, height, samples, planar, predictor, format, fillOrder, orientation;
    const struct {
      Tag tag;
      uint32_t otherwise;
      uint32_t* value;
    } fields[] = {{kImageWidth, 0, &width},        {kImageLength, 0, &height},   {kSamplesPerPixel, 1, &samples},
                  {kCompression, 1, &scheme_},     {kPhotometric, 1, &colours_}, {kPlanarConfiguration, 1, &planar},
                  {kPredictor, 1, &predictor},     {kSampleFormat, 1, &format},  {kFillOrder, 1, &fillOrder},
                  {kOrientation, 1, &orientation}, {kBitsPerSample, 1, &bits_},  {kExtraSamples, 0, &extra_}};
    for (const auto& field : fields) {
      if (Error error = directory_.number(source_, field.tag, field.otherwise, *field.value)) return error;
    }
    if (Error error = img::checkSize(width, height, options_.maxPixels)) return error;
    if (directory_.has(kTileWidth)) return fail("tiles: not supported");
    if (scheme_ != kNone && scheme_ != kPackBits && scheme_ != kPackBitsPlanes)
      return fail("compression %u: not supported", scheme_);
    if (format != 1) return fail("samples that are not unsigned whole numbers: not supported");
    if (planar != 1 && planar != 2) return fail("planar configuration %u: not supported", planar);
    if (predictor != 1) return fail("a predictor: not supported");
    if (fillOrder != 1) return fail("reversed bits: not supported");
    std::vector<uint32_t> bits;
    if (Error error = directory_.numbers(source_, kBitsPerSample, 64, bits)) return error;
    if (std::any_of(bits.begin(), bits.end(), [&](uint32_t b) { return b != bits_; }))
      return fail("samples of different bits: not supported");

    const bool isSmall = bits_ == 1 || bits_ == 2 || bits_ == 4;
    if (!isSmall && bits_ != 8 && bits_ != 16) return fail("%u bits: not supported", bits_);
    if (scheme_ == kPackBitsPlanes && bits_ != 16) return fail("byte planes of %u bits: not supported", bits_);
    uint32_t inks;
    switch (colours_) {
      case kWhiteIsZero:
      case kBlackIsZero:
        picture_.colour = img::Colour::grey, inks = 1;
        break;
      case kRgb:
        picture_.colour = img::Colour::rgb, inks = 3;
        break;
      case kPalette:
        picture_.colour = img::Colour::rgb, inks = 1;
        break;
      case kSeparated:
        picture_.colour = img::Colour::cmyk, inks = 4;
        break;
      default:
        return fail("photometric interpretation %u: not supported", colours_);
    }
    const bool isIndexed = colours_ == kPalette;
    if (samples < inks || samples > inks + 1 || (isIndexed && (samples != 1 || bits_ > 8)) || (isSmall && samples != 1))
      return fail("%u samples of %u bits in a pixel: not supported", samples, bits_);
    samples_ = samples;
    picture_.width = static_cast<int>(width);
    picture_.height = static_cast<int>(height);
    picture_.bits = bits_ == 16 ? 16 : 8;
    picture_.alpha = samples > inks && extra_ != kUnspecified;
    if (samples > inks && !picture_.alpha) remarks_.push_back("a channel of unknown meaning is left out");
    if (orientation > 1 && orientation <= 8)
      picture_.metadata.exif = img::exifOfOrientation(static_cast<int>(orientation));
    if (options_.page == 0 && directory_.hasNext())
      remarks_.push_back("the file holds more pages, of which this is the first (see --page)");

    samplesOfPlane_ = planar == 1 ? samples : 1;
    swaps_ = bits_ == 16 && scheme_ != kPackBitsPlanes && directory_.bigEndian() != kBigEndianMachine;
    finishes_ = isSmall || isIndexed || colours_ == kWhiteIsZero || (picture_.alpha && extra_ == kAssociatedAlpha) ||
                static_cast<uint32_t>(picture_.channels()) != samples;
    return isIndexed ? readPalette() : Error{};
  }

  Error readPalette() {
    std::vector<uint32_t> map;
    if (Error error = directory_.numbers(source_, kColorMap, 3 << 8, map)) return error;
    const size_t entries = size_t{1} << bits_;
    if (map.size() != 3 * entries) return fail("the palette has %zu values instead of %zu", map.size(), 3 * entries);
    palette_.resize(3 * entries);
    for (size_t i = 0; i < entries; ++i) {
      for (size_t c = 0; c < 3; ++c)
        palette_[3 * i + c] = static_cast<uint8_t>((map[c * entries + i] * 255 + 32767) / 65535);
    }
    return {};
  }

  Error openStrips() {
    const auto height = static_cast<uint64_t>(picture_.height), planes = uint64_t{samples_ / samplesOfPlane_};
    Strips strips{scheme_, (static_cast<size_t>(picture_.width) * samplesOfPlane_ * bits_ + 7) / 8, height, {}, {}};
    if (scheme_ != kNone && strips.rowBytes > 0x7FFFFFFF / 4)
      return fail("rows of %zu bytes: not supported", strips.rowBytes);
    uint32_t rows;
    if (Error error = directory_.number(source_, kRowsPerStrip, 0xFFFFFFFF, rows)) return error;
    strips.rowsOfStrip = std::min<uint64_t>(std::max(rows, 1u), height);
    const uint64_t count = (height + strips.rowsOfStrip - 1) / strips.rowsOfStrip, all = count * planes;
    // Files with a few too many are around.
    std::vector<uint32_t> offsets, counts;
    if (Error error = directory_.numbers(source_, kStripOffsets, height * planes + 64, offsets)) return error;
    if (Error error = directory_.numbers(source_, kStripByteCounts, height * planes + 64, counts)) return error;
    if (offsets.size() < all) return fail("%zu strips instead of %zu", offsets.size(), static_cast<size_t>(all));
    if (scheme_ != kNone && counts.size() < all) return fail("strips without a length");
    counts.resize(static_cast<size_t>(all));
    // A byte of PackBits stands for 64 at best. Damaged files may be much shorter.
    const std::optional<uint64_t> size = source_.size();
    const uint64_t least = planes * strips.rowBytes * height / (scheme_ == kNone ? 1 : 64);
    if (size && least > *size) {
      const Error tooSmall = fail("the file is too small for its number of pixels");
      if (least / 64 > *size) return tooSmall;
      if (!options_.keepGoing) return lossy(tooSmall);
    }
    for (uint64_t plane = 0; plane < planes; ++plane) {
      const auto part = [&](const std::vector<uint32_t>& of) {
        const auto first = of.begin() + static_cast<ptrdiff_t>(plane * count);
        return std::vector<uint32_t>(first, first + static_cast<ptrdiff_t>(count));
      };
      strips.offsets = part(offsets);
      strips.counts = part(counts);
      planes_.emplace_back(source_, strips, options_.keepGoing);
    }
    if (isPlain()) return {};
    rowBytes_ = strips.rowBytes;
    rowsAtOnce_ = std::clamp(kReadAtOnce / rowBytes_, size_t{1}, static_cast<size_t>(height));
    raw_.resize(planes_.size() * rowsAtOnce_ * rowBytes_);
    joined_.resize(finishes_ ? planes_.size() * rowBytes_ : 0);
    return {};
  }

  Error readMetadata() {
    img::Metadata& metadata = picture_.metadata;
    uint32_t unit = 2;
    if (Error error = directory_.number(source_, kResolutionUnit, 2, unit)) return error;
    if (Error error = directory_.rational(source_, kXResolution, metadata.density.x)) return error;
    if (Error error = directory_.rational(source_, kYResolution, metadata.density.y)) return error;
    metadata.density.unit = unit == 2   ? img::Density::Unit::inch
                            : unit == 3 ? img::Density::Unit::centimetre
                                        : img::Density::Unit::none;
    return directory_.bytes(source_, kIccProfile, uint64_t{1} << 28, metadata.icc);
  }

  // The next rows of each plane.
  Error readSome() {
    held_ = got_ = std::min(rowsAtOnce_, static_cast<size_t>(picture_.height) - next_);
    next_ += got_;
    for (size_t plane = 0; plane < planes_.size(); ++plane) {
      if (Error error = planes_[plane].read(raw_.data() + plane * rowsAtOnce_ * rowBytes_, got_)) return error;
    }
    return {};
  }

  // The first row that is held.
  void convert(uint8_t* to) {
    const uint8_t* from = raw_.data() + (got_ - held_) * rowBytes_;
    uint8_t* const joined = finishes_ ? joined_.data() : to;
    if (planes_.size() > 1) {
      bits_ == 16 ? join<uint16_t>(from, joined) : join<uint8_t>(from, joined);
      from = joined;
    }
    if (swaps_) {
      swapBytes(from, joined, planes_.size() * rowBytes_ / 2);
      from = joined;
    }
    if (!finishes_) {
      if (from != to) std::memcpy(to, from, picture_.rowBytes());
    } else if (bits_ == 16) {
      finish(reinterpret_cast<const uint16_t*>(from), reinterpret_cast<uint16_t*>(to));
    } else {
      finishBytes(from, to);
    }
  }

  template <class Sample>
  void join(const uint8_t* from, uint8_t* to) const {
    const size_t width = rowBytes_ / sizeof(Sample), channels = planes_.size();
    for (size_t c = 0; c < channels; ++c) {
      const auto* plane = reinterpret_cast<const Sample*>(from + c * rowsAtOnce_ * rowBytes_);
      auto* sample = reinterpret_cast<Sample*>(to) + c;
      for (size_t x = 0; x < width; ++x) sample[x * channels] = plane[x];
    }
  }

  static void swapBytes(const uint8_t* from, uint8_t* to, size_t samples) {
    for (size_t i = 0; i < samples; ++i) {
      const uint8_t first = from[2 * i];
      to[2 * i] = from[2 * i + 1];
      to[2 * i + 1] = first;
    }
  }

  void finishBytes(const uint8_t* from, uint8_t* to) const {
    const auto width = static_cast<size_t>(picture_.width);
    const auto valueAt = [&](size_t x) {
      const size_t perByte = 8 / bits_;
      return static_cast<uint8_t>(from[x / perByte] >> (8 - bits_ * (x % perByte + 1)) & ((1u << bits_) - 1));
    };
    if (colours_ == kPalette) {
      for (size_t x = 0; x < width; ++x) std::memcpy(to + 3 * x, &palette_[3 * size_t{valueAt(x)}], 3);
    } else if (bits_ < 8) {
      const uint8_t full = static_cast<uint8_t>(255 / ((1 << bits_) - 1)), flip = colours_ == kWhiteIsZero ? 255 : 0;
      for (size_t x = 0; x < width; ++x) to[x] = static_cast<uint8_t>(valueAt(x) * full ^ flip);
    } else {
      finish(from, to);
    }
  }

  // Whole samples: white as zero, a channel too many, colours that alpha was multiplied into.
  template <class Sample>
  void finish(const Sample* from, Sample* to) const {
    constexpr uint32_t kFull = static_cast<Sample>(-1);
    const auto width = static_cast<size_t>(picture_.width), channels = static_cast<size_t>(picture_.channels());
    const size_t inks = channels - picture_.alpha;
    const uint32_t flip = colours_ == kWhiteIsZero ? kFull : 0;
    const bool divides = picture_.alpha && extra_ == kAssociatedAlpha;
    for (size_t x = 0; x < width; ++x, from += samples_, to += channels) {
      const uint32_t alpha = from[channels - 1];
      for (size_t c = 0; c < channels; ++c) {
        uint32_t value = from[c];
        if (divides && c < inks) value = alpha ? std::min((value * kFull + alpha / 2) / alpha, kFull) : 0;
        to[c] = static_cast<Sample>(c < inks ? value ^ flip : value);
      }
    }
  }

  // Rows of the file are rows of the picture.
  bool isPlain() const { return samplesOfPlane_ == samples_ && !swaps_ && !finishes_; }

  img::ByteSource& source_;
  const DecodeOptions options_;
  Directory directory_;
  uint32_t scheme_ = 0, colours_ = 0, bits_ = 0, extra_ = 0, samples_ = 0, samplesOfPlane_ = 0;
  bool swaps_ = false, finishes_ = false;
  std::vector<StripReader> planes_;
  Bytes palette_;
  // Of a file that is not plain: a few rows of each plane, and one of the pixels before they are finished.
  Bytes raw_, joined_;
  size_t rowBytes_ = 0, rowsAtOnce_ = 0, got_ = 0, held_ = 0, next_ = 0;
};

} // namespace

Error openReader(img::ByteSource& source, const DecodeOptions& options, std::unique_ptr<img::RowReader>& reader) {
  auto own = std::make_unique<Reader>(source, options);
  if (Error error = own->open()) return error;
  reader = std::move(own);
  return {};
}

Error countPages(img::ByteSource& source, int& pages) {
  Directory first;
  if (Error error = first.read(source, 1)) return error;
  pages = 1 + first.countFollowing(source);
  return {};
}

} // namespace tiff
