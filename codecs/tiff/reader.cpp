// Reading: strips to rows, and whatever samples a file has to those of a picture.
#include <algorithm>
#include <bit>
#include <cstring>

#include "tiff/directory.h"
#include "zelj.h"

namespace tiff {
namespace {

constexpr bool kBigEndianMachine = std::endian::native == std::endian::big;

class Reader : public img::RowReader {
 public:
  explicit Reader(img::ByteSource& source) : source_(source) {}

  Error open(int64_t maxPixels) {
    if (Error error = directory_.read(source_)) return error;
    if (Error error = readShape(maxPixels)) return error;
    if (Error error = readStrips()) return error;
    return readMetadata();
  }

  Error read(const img::Rows& rows) override {
    for (int y = 0; y < rows.count;) {
      const uint64_t row = next_ % rowsPerStrip_;
      if (row == 0) {
        if (Error error = beginStrip(next_ / rowsPerStrip_)) return error;
      }
      // As many rows as can be read in one piece.
      int count = 1;
      if (isPlain_ && scheme_ == kNone && rows.step == static_cast<ptrdiff_t>(fileRowBytes_)) {
        count = static_cast<int>(std::min<uint64_t>(rowsPerStrip_ - row, static_cast<uint64_t>(rows.count - y)));
      }
      uint8_t* const to = rows.row<uint8_t>(y);
      uint8_t* const raw = isPlain_ ? to : raw_.data();
      if (Error error = readRaw(raw, static_cast<size_t>(count) * fileRowBytes_)) return error;
      if (!isPlain_) convert(to);
      y += count;
      next_ += static_cast<uint64_t>(count);
    }
    return {};
  }

 private:
  Error readShape(int64_t maxPixels) {
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
    if (Error error = img::checkSize(width, height, maxPixels)) return error;
    if (directory_.has(kTileWidth)) return fail("tiles: not supported");
    if (scheme_ != kNone && scheme_ != kPackBits && scheme_ != kPackBitsPlanes)
      return fail("compression %u: not supported", scheme_);
    if (format != 1) return fail("samples that are not unsigned whole numbers: not supported");
    if (planar != 1 && samples > 1) return fail("separate planes: not supported");
    if (predictor != 1) return fail("a predictor: not supported");
    if (fillOrder != 1 && bits_ < 8) return fail("reversed bits: not supported");
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
      remarks_.push_back("the picture is stored turned or mirrored, and stays so");
    if (directory_.hasNext()) remarks_.push_back("the file holds more pictures: this is the first");

    fileRowBytes_ = (size_t{width} * samples * bits_ + 7) / 8;
    const bool swaps = bits_ == 16 && scheme_ != kPackBitsPlanes && directory_.bigEndian() != kBigEndianMachine;
    const bool divides = picture_.alpha && extra_ == kAssociatedAlpha;
    isPlain_ = bits_ >= 8 && !isIndexed && !swaps && !divides && colours_ != kWhiteIsZero &&
               static_cast<uint32_t>(picture_.channels()) == samples;
    if (!isPlain_) raw_.resize(fileRowBytes_ + (scheme_ == kPackBitsPlanes ? fileRowBytes_ : 0));
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

  Error readStrips() {
    const auto height = static_cast<uint64_t>(picture_.height);
    uint32_t rows;
    if (Error error = directory_.number(source_, kRowsPerStrip, 0xFFFFFFFF, rows)) return error;
    rowsPerStrip_ = std::min<uint64_t>(std::max(rows, 1u), height);
    const uint64_t strips = (height + rowsPerStrip_ - 1) / rowsPerStrip_;
    // Files with a few too many are around.
    if (Error error = directory_.numbers(source_, kStripOffsets, height + 64, offsets_)) return error;
    if (Error error = directory_.numbers(source_, kStripByteCounts, height + 64, counts_)) return error;
    if (offsets_.size() < strips)
      return fail("%zu strips instead of %zu", offsets_.size(), static_cast<size_t>(strips));
    const std::optional<uint64_t> size = source_.size();
    // A byte of PackBits stands for 64 at best.
    const uint64_t best = scheme_ == kNone ? 1 : 64;
    if (size && fileRowBytes_ * height / best > *size) return fail("the file is too small for its number of pixels");
    if (scheme_ != kNone && counts_.size() < strips) return fail("strips without a length");
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

  Error beginStrip(uint64_t strip) {
    packedBegin_ = packedEnd_ = 0;
    packedLeft_ = strip < counts_.size() ? counts_[strip] : 0;
    if (source_.seek(offsets_[strip]))
      return fail("strip %llu lies outside the file", static_cast<unsigned long long>(strip));
    return {};
  }

  // The next bytes of the strip, as they are in memory where nothing was packed.
  Error readRaw(uint8_t* to, size_t count) {
    if (scheme_ == kNone) {
      size_t got = 0;
      if (Error error = source_.read(to, count, got)) return error;
      return got < count ? fail("the file ends before its last sample") : Error{};
    }
    if (scheme_ == kPackBits) return unpack(to, count);
    planes_.resize(count);
    Zel8u* planes[2] = {planes_.data(), planes_.data() + count / 2};
    for (Zel8u* plane : planes) {
      if (Error error = unpack(plane, count / 2)) return error;
    }
    zeliJoinRow_TIFF_8u16u_C1(planes, reinterpret_cast<Zel16u*>(to), static_cast<Zel32s>(count / 2));
    return {};
  }

  // Unpacks a row from a window of the strip. At worst a row takes two bytes for one; a row with operations that do
  // nothing may take more, and gets a second try with all of the strip.
  Error unpack(uint8_t* to, size_t count) {
    if (count > 0x7FFFFFFF / 4) return fail("rows of %zu bytes: not supported", count);
    for (const size_t wanted : {2 * count + 2, size_t{0x7FFFFFFE}}) {
      if (Error error = fillPacked(wanted)) return error;
      auto position = static_cast<Zel32s>(packedBegin_);
      const ZelStatus status = zeliUnpackBitsRow_TIFF_8u_C1(packed_.data(), &position, static_cast<Zel32s>(packedEnd_),
                                                            to, static_cast<Zel32s>(count));
      // A last run that lacks its byte.
      if (status == zelStatusOk && static_cast<size_t>(position) <= packedEnd_) {
        packedBegin_ = static_cast<size_t>(position);
        return {};
      }
      if (packedLeft_ == 0) break;
    }
    return fail("bad PackBits data in row %llu", static_cast<unsigned long long>(next_));
  }

  Error fillPacked(size_t wanted) {
    if (packedEnd_ - packedBegin_ >= wanted || packedLeft_ == 0) return {};
    constexpr size_t kPiece = 1 << 16;
    std::copy(packed_.begin() + static_cast<ptrdiff_t>(packedBegin_),
              packed_.begin() + static_cast<ptrdiff_t>(packedEnd_), packed_.begin());
    packedEnd_ -= packedBegin_;
    packedBegin_ = 0;
    wanted = std::max(wanted, std::min(packed_.size(), size_t{0x7FFFFFFE}));
    while (packedEnd_ < wanted && packedLeft_ > 0) {
      const size_t more = std::min({wanted - packedEnd_, size_t{packedLeft_}, std::max(kPiece, packedEnd_)});
      if (packed_.size() < packedEnd_ + more + 1) packed_.resize(packedEnd_ + more + 1); // a run may look a byte ahead
      size_t got = 0;
      if (Error error = source_.read(&packed_[packedEnd_], more, got)) return error;
      packedEnd_ += got;
      packedLeft_ -= static_cast<uint32_t>(got);
      if (got < more) packedLeft_ = 0;
    }
    return {};
  }

  void convert(uint8_t* to) {
    if (bits_ < 16) {
      convertBytes(to);
    } else {
      auto* samples = reinterpret_cast<uint16_t*>(raw_.data());
      const size_t count = fileRowBytes_ / 2;
      if (scheme_ != kPackBitsPlanes && directory_.bigEndian() != kBigEndianMachine) {
        for (size_t i = 0; i < count; ++i) samples[i] = static_cast<uint16_t>(samples[i] << 8 | samples[i] >> 8);
      }
      finish<uint16_t>(samples, reinterpret_cast<uint16_t*>(to));
    }
  }

  void convertBytes(uint8_t* to) {
    const auto width = static_cast<size_t>(picture_.width);
    const auto valueAt = [&](size_t x) {
      const size_t perByte = 8 / bits_;
      return static_cast<uint8_t>(raw_[x / perByte] >> (8 - bits_ * (x % perByte + 1)) & ((1u << bits_) - 1));
    };
    if (colours_ == kPalette) {
      for (size_t x = 0; x < width; ++x) std::memcpy(to + 3 * x, &palette_[3 * size_t{valueAt(x)}], 3);
    } else if (bits_ < 8) {
      const uint8_t full = static_cast<uint8_t>(255 / ((1 << bits_) - 1)), flip = colours_ == kWhiteIsZero ? 255 : 0;
      for (size_t x = 0; x < width; ++x) to[x] = static_cast<uint8_t>(valueAt(x) * full ^ flip);
    } else {
      finish<uint8_t>(raw_.data(), to);
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

  img::ByteSource& source_;
  Directory directory_;
  uint32_t scheme_ = 0, colours_ = 0, bits_ = 0, extra_ = 0, samples_ = 0;
  size_t fileRowBytes_ = 0;
  uint64_t rowsPerStrip_ = 1, next_ = 0;
  bool isPlain_ = false; // rows of the file are rows of the picture
  std::vector<uint32_t> offsets_, counts_;
  Bytes raw_, planes_, palette_;
  Bytes packed_; // the window of a strip: what is left of it, and what is unread
  size_t packedBegin_ = 0, packedEnd_ = 0;
  uint32_t packedLeft_ = 0;
};

} // namespace

Error openReader(img::ByteSource& source, int64_t maxPixels, std::unique_ptr<img::RowReader>& reader) {
  auto own = std::make_unique<Reader>(source);
  if (Error error = own->open(maxPixels)) return error;
  reader = std::move(own);
  return {};
}

} // namespace tiff
