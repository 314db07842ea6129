// PNG files, by libpng. It reports errors by longjmp: so each member that calls it has a `setjmp` in front of the
// calls, and holds nothing with a destructor between there and them.
#include <png.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <csetjmp>
#include <cstring>
#include <new>

#include "common/image.h"
#include "formats/format.h"

namespace formats {
namespace {

// Deflate packs 1032 to 1 at best.
constexpr uint64_t kBestCompression = 1032;

class PngReader : public RowReader {
 public:
  explicit PngReader(img::ByteSource& source) : source_(source) {}
  ~PngReader() override { png_destroy_read_struct(&png_, &info_, nullptr); }

  Error open(const Settings& settings) {
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    if (!info_) return fail("out of memory");
    if (setjmp(png_jmpbuf(png_)) != 0) return {message_};
    readHeader();
    if (Error error = check(settings)) return error;
    if (setjmp(png_jmpbuf(png_)) != 0) return {message_};
    prepareRows();
    return {};
  }

  Error read(const img::Rows& rows) override {
    if (passes_ > 1 && whole_.bytes.empty()) {
      img::shape(whole_, picture_); // an interlaced file gives no row before its last pass
      if (Error error = readWhole()) return error;
    }
    if (passes_ > 1) {
      for (int y = 0; y < rows.count; ++y) {
        std::memcpy(rows.row<uint8_t>(y), whole_.row<uint8_t>(next_++), picture_.rowBytes());
      }
      return {};
    }
    if (setjmp(png_jmpbuf(png_)) != 0) return {message_};
    for (int y = 0; y < rows.count; ++y) png_read_row(png_, rows.row<uint8_t>(y), nullptr);
    return {};
  }

  Error finish() override {
    if (setjmp(png_jmpbuf(png_)) != 0) return {message_};
    png_read_end(png_, nullptr);
    return {};
  }

  // Of a sample in the file, or of an index of its palette.
  int fileBits() const { return fileBits_; }

 private:
  static void onError(png_structp png, png_const_charp text) {
    auto* self = static_cast<PngReader*>(png_get_error_ptr(png));
    if (!*self->message_) std::snprintf(self->message_, sizeof self->message_, "%s", text);
    png_longjmp(png, 1);
  }
  static void onWarning(png_structp, png_const_charp) {}

  static void onRead(png_structp png, png_bytep bytes, size_t count) {
    static_cast<PngReader*>(png_get_io_ptr(png))->readBytes(bytes, count);
  }
  void readBytes(png_bytep bytes, size_t count) {
    size_t got = 0;
    bool failed = false;
    try {
      const Error error = source_.read(bytes, count, got);
      failed = bool(error);
      if (error) std::snprintf(message_, sizeof message_, "%s", error.message.c_str());
    } catch (const std::bad_alloc&) {
      failed = true;
      std::snprintf(message_, sizeof message_, "out of memory");
    }
    if (failed || got < count) png_error(png_, "the file ends too early");
  }

  void readHeader() {
    png_set_user_limits(png_, 0x7fffffff, 0x7fffffff);
    png_set_read_fn(png_, this, onRead);
    png_read_info(png_, info_);
  }

  Error check(const Settings& settings) {
    const int64_t width = png_get_image_width(png_, info_), height = png_get_image_height(png_, info_);
    if (Error error = img::checkSize(width, height, settings.maxPixels)) return error;
    const std::optional<uint64_t> size = source_.size();
    const uint64_t bytes = png_get_rowbytes(png_, info_) * static_cast<uint64_t>(height);
    if (size && bytes / kBestCompression > *size) return fail("the file is too small for its number of pixels");
    return {};
  }

  // Palettes and depths below 8 become 8 bits, transparent colours become alpha.
  void prepareRows() {
    takeMetadata();
    png_set_expand(png_);
    if (std::endian::native == std::endian::little) png_set_swap(png_);
    passes_ = png_set_interlace_handling(png_);
    const int colour = png_get_color_type(png_, info_);
    fileBits_ = png_get_bit_depth(png_, info_);
    png_read_update_info(png_, info_);
    picture_.width = static_cast<int>(png_get_image_width(png_, info_));
    picture_.height = static_cast<int>(png_get_image_height(png_, info_));
    picture_.colour = (colour & PNG_COLOR_MASK_COLOR) ? Colour::rgb : Colour::grey;
    picture_.alpha = (colour & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(png_, info_, PNG_INFO_tRNS) != 0;
    picture_.bits = png_get_bit_depth(png_, info_) == 16 ? 16 : 8;
  }

  void takeMetadata() {
    png_charp name = nullptr;
    png_bytep bytes = nullptr;
    png_uint_32 count = 0;
    int method = 0;
    if (png_get_iCCP(png_, info_, &name, &method, &bytes, &count)) picture_.metadata.icc.assign(bytes, bytes + count);
    if (png_get_eXIf_1(png_, info_, &count, &bytes)) picture_.metadata.exif.assign(bytes, bytes + count);
    png_uint_32 x = 0, y = 0;
    int unit = 0;
    if (png_get_pHYs(png_, info_, &x, &y, &unit)) {
      picture_.metadata.density = densityOf(x, y, unit == PNG_RESOLUTION_METER);
    }
  }

  // Whole dots on an inch are what was meant where they are as near as whole dots on a metre come.
  static img::Density densityOf(double x, double y, bool metres) {
    using Unit = img::Density::Unit;
    if (!metres) return {x, y, Unit::none};
    const auto isWhole = [](double inches) { return std::abs(inches - std::round(inches)) <= 0.0127; };
    const double xInches = x * 0.0254, yInches = y * 0.0254;
    if (isWhole(xInches) && isWhole(yInches)) return {std::round(xInches), std::round(yInches), Unit::inch};
    return {x / 100, y / 100, Unit::centimetre};
  }

  Error readWhole() {
    if (setjmp(png_jmpbuf(png_)) != 0) return {message_};
    for (int pass = 0; pass < passes_; ++pass) {
      for (int y = 0; y < picture_.height; ++y) png_read_row(png_, whole_.row<uint8_t>(y), nullptr);
    }
    return {};
  }

  img::ByteSource& source_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  int passes_ = 1, next_ = 0, fileBits_ = 0;
  img::Image whole_;
  char message_[256] = "";
};

class PngWriter : public RowWriter {
 public:
  PngWriter(img::ByteSink& sink, const Picture& picture) : sink_(sink), picture_(picture) {}
  ~PngWriter() override { png_destroy_write_struct(&png_, &info_); }

  Error begin() {
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, onError, onWarning);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    if (!info_) return fail("out of memory");
    if (setjmp(png_jmpbuf(png_)) != 0) return {message_};
    writeHeader();
    return {};
  }

  Error write(const img::ConstRows& rows) override {
    if (setjmp(png_jmpbuf(png_)) != 0) return {message_};
    for (int y = 0; y < rows.count; ++y) png_write_row(png_, rows.row<uint8_t>(y));
    return {};
  }

  Error finish() override {
    if (setjmp(png_jmpbuf(png_)) != 0) return {message_};
    png_write_end(png_, info_);
    return {};
  }

 private:
  static void onError(png_structp png, png_const_charp text) {
    auto* self = static_cast<PngWriter*>(png_get_error_ptr(png));
    if (!*self->message_) std::snprintf(self->message_, sizeof self->message_, "%s", text);
    png_longjmp(png, 1);
  }
  static void onWarning(png_structp, png_const_charp) {}

  static void onWrite(png_structp png, png_bytep bytes, size_t count) {
    static_cast<PngWriter*>(png_get_io_ptr(png))->writeBytes(bytes, count);
  }
  void writeBytes(png_bytep bytes, size_t count) {
    bool failed = false;
    {
      const Error error = sink_.write({bytes, count});
      failed = bool(error);
      if (error) std::snprintf(message_, sizeof message_, "%s", error.message.c_str());
    }
    if (failed) png_error(png_, "write error");
  }
  static void onFlush(png_structp) {}

  void writeHeader() {
    constexpr int kColourTypes[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                                    PNG_COLOR_TYPE_RGB_ALPHA};
    png_set_write_fn(png_, this, onWrite, onFlush);
    png_set_user_limits(png_, 0x7fffffff, 0x7fffffff);
    png_set_IHDR(png_, info_, static_cast<png_uint_32>(picture_.width), static_cast<png_uint_32>(picture_.height),
                 picture_.bits, kColourTypes[picture_.channels() - 1], PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    giveMetadata();
    png_write_info(png_, info_);
    if (std::endian::native == std::endian::little) png_set_swap(png_);
  }

  void giveMetadata() {
    const img::Metadata& metadata = picture_.metadata;
    png_set_benign_errors(png_, 1); // a profile that libpng does not like is left out
    if (!metadata.icc.empty()) {
      png_set_iCCP(png_, info_, "icc", PNG_COMPRESSION_TYPE_BASE, metadata.icc.data(),
                   static_cast<png_uint_32>(metadata.icc.size()));
    }
    if (!metadata.exif.empty()) {
      png_set_eXIf_1(png_, info_, static_cast<png_uint_32>(metadata.exif.size()),
                     const_cast<png_bytep>(metadata.exif.data()));
    }
    const img::Density& density = metadata.density;
    if (density.x > 0 && density.y > 0) {
      const double scale = density.unit == img::Density::Unit::inch         ? 100 / 2.54
                           : density.unit == img::Density::Unit::centimetre ? 100
                                                                            : 1;
      png_set_pHYs(png_, info_, static_cast<png_uint_32>(density.x * scale + 0.5),
                   static_cast<png_uint_32>(density.y * scale + 0.5),
                   density.unit == img::Density::Unit::none ? PNG_RESOLUTION_UNKNOWN : PNG_RESOLUTION_METER);
    }
  }

  img::ByteSink& sink_;
  const Picture picture_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  char message_[256] = "";
};

class Png : public Format {
 public:
  const char* name() const override { return "png"; }
  const char* title() const override { return "PNG"; }
  std::vector<const char*> extensions() const override { return {".png"}; }

  bool matches(ByteSpan head) const override { return head.size() >= 8 && png_sig_cmp(head.data(), 0, 8) == 0; }

  Error open(img::ByteSource& source, const Settings& settings, std::unique_ptr<RowReader>& reader) override {
    auto own = std::make_unique<PngReader>(source);
    if (Error error = own->open(settings)) return error;
    reader = std::move(own);
    return {};
  }

  Error describe(img::ByteSource& source, const Settings& settings, std::string& text) override {
    auto own = std::make_unique<PngReader>(source);
    if (Error error = own->open(settings)) return error;
    Picture picture = own->picture();
    picture.bits = own->fileBits();
    text = describePicture("PNG", picture);
    return {};
  }

  Picture nearest(const Picture& picture, const std::string&) const override {
    Picture nearest = picture;
    if (nearest.colour == Colour::cmyk) nearest.colour = Colour::rgb;
    nearest.bits = picture.bits <= 8 ? 8 : 16;
    return nearest;
  }

  Error create(img::ByteSink& sink, const Picture& picture, const Settings&,
               std::unique_ptr<RowWriter>& writer) override {
    auto own = std::make_unique<PngWriter>(sink, picture);
    if (Error error = own->begin()) return error;
    writer = std::move(own);
    return {};
  }
};

} // namespace

std::unique_ptr<Format> pngFormat() {
  return std::make_unique<Png>();
}

} // namespace formats
