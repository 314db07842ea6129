// BMP files of 8 bits a pixel with a palette and of 16, 24 and 32 bits, without compression: their pixels go to codecs
// and come from them as they lie.
#include <algorithm>
#include <iterator>

#include "formats/format.h"

namespace formats {
namespace {

using img::Layout;

constexpr size_t kFileHeader = 14, kInfoHeader = 40;

uint32_t numberAt(ByteSpan bytes, size_t at, int count = 4) {
  uint32_t value = 0;
  for (int i = count; i-- > 0;) value = value << 8 | bytes[at + static_cast<size_t>(i)];
  return value;
}

// The pixels of a file with or without masks of red, green and blue.
struct Kind {
  Layout layout;
  uint32_t bits;
  bool isPlain; // as a file without masks has them
  uint32_t masks[3];
};
constexpr Kind kKinds[] = {
    {Layout::bgr, 24, true, {0xFF0000, 0xFF00, 0xFF}},   {Layout::bgrx, 32, true, {0xFF0000, 0xFF00, 0xFF}},
    {Layout::rgbx, 32, false, {0xFF, 0xFF00, 0xFF0000}}, {Layout::bgr555, 16, true, {0x7C00, 0x3E0, 0x1F}},
    {Layout::rgb555, 16, false, {0x1F, 0x3E0, 0x7C00}},  {Layout::bgr565, 16, false, {0xF800, 0x7E0, 0x1F}},
    {Layout::rgb565, 16, false, {0x1F, 0x7E0, 0xF800}}};

// Rows begin at multiples of four bytes.
size_t stepOf(size_t rowBytes) {
  return (rowBytes + 3) / 4 * 4;
}

class BmpReader : public RowReader {
 public:
  explicit BmpReader(img::ByteSource& source) : source_(source) {}

  Error open(int64_t maxPixels) {
    constexpr size_t kMostHeader = kFileHeader + 124 + 256 * 4;
    if (Error error = source_.keepForSeeking()) return error;
    if (Error error = source_.fill(kMostHeader)) return error;
    const ByteSpan head = source_.visible().first(std::min(source_.visible().size(), kMostHeader));
    const uint64_t begin = source_.position();
    if (head.size() < kFileHeader + kInfoHeader || head[0] != 'B' || head[1] != 'M') return fail("not a BMP file");
    const uint32_t header = numberAt(head, 14), bits = numberAt(head, 28, 2), compression = numberAt(head, 30);
    const auto width = static_cast<int32_t>(numberAt(head, 18)), height = static_cast<int32_t>(numberAt(head, 22));
    if (header < kInfoHeader || header > 124) return fail("a header of %u bytes: not supported", header);
    if (compression != 0 && compression != 3) return fail("compression %u: not supported", compression);
    isUpsideDown_ = height > 0;
    if (Error error = img::checkSize(width, std::abs(int64_t{height}), maxPixels)) return error;
    picture_.width = width;
    picture_.height = static_cast<int>(std::abs(int64_t{height}));
    picture_.colour = Colour::rgb;
    const double density = numberAt(head, 38);
    if (density > 0)
      picture_.metadata.density = {density / 100, numberAt(head, 42) / 100.0, img::Density::Unit::centimetre};
    if (bits == 8 && compression == 0) {
      if (Error error = readPalette(head, kFileHeader + header, numberAt(head, 46))) return error;
    } else if (Error error = findKind(head, bits, compression == 3)) {
      return error;
    }
    begin_ = begin + numberAt(head, 10);
    step_ = stepOf(isIndexed_ ? static_cast<size_t>(width) : picture_.rowBytes());
    row_.resize(step_);
    const std::optional<uint64_t> size = source_.size();
    if (size && *size < begin_ + uint64_t{step_} * static_cast<uint64_t>(picture_.height)) {
      return fail("the file ends before its last pixel");
    }
    return {};
  }

  Error read(const img::Rows& rows) override {
    const int first = isUpsideDown_ ? picture_.height - next_ - rows.count : next_;
    if (Error error = source_.seek(begin_ + uint64_t{step_} * static_cast<uint64_t>(first))) return error;
    for (int i = 0; i < rows.count; ++i) {
      size_t got = 0;
      if (Error error = source_.read(row_.data(), step_, got)) return error;
      if (got < step_) return fail("the file ends before its last pixel");
      putRow(rows.row<uint8_t>(isUpsideDown_ ? rows.count - 1 - i : i));
    }
    next_ += rows.count;
    return {};
  }

 private:
  Error findKind(ByteSpan head, uint32_t bits, bool hasMasks) {
    const size_t masks = kFileHeader + kInfoHeader; // in the longer headers, or behind the short one
    const auto same = [&](const Kind& kind) {
      if (kind.bits != bits) return false;
      for (size_t i = 0; i < 3 && hasMasks; ++i) {
        if (numberAt(head, masks + 4 * i) != kind.masks[i]) return false;
      }
      return hasMasks || kind.isPlain;
    };
    if (hasMasks && head.size() < masks + 12) return fail("the file ends before its first pixel");
    const auto kind = std::find_if(std::begin(kKinds), std::end(kKinds), same);
    if (kind == std::end(kKinds))
      return fail("%u bits a pixel%s: not supported", bits, hasMasks ? " with such masks" : "");
    picture_.layout = kind->layout;
    return {};
  }

  // A palette of shades of grey, each its own index, is no palette.
  Error readPalette(ByteSpan head, size_t at, uint32_t count) {
    count = count == 0 ? 256 : count;
    if (count > 256 || head.size() < at + 4 * size_t{count}) return fail("bad palette");
    palette_.resize(3 * 256);
    bool isGrey = true;
    for (size_t i = 0; i < count; ++i) {
      for (size_t c = 0; c < 3; ++c) {
        palette_[3 * i + c] = head[at + 4 * i + 2 - c];
        isGrey &= palette_[3 * i + c] == i;
      }
    }
    isIndexed_ = true;
    if (!isGrey) return {};
    picture_.colour = Colour::grey;
    palette_.clear();
    return {};
  }

  void putRow(uint8_t* to) const {
    if (palette_.empty()) {
      std::copy_n(row_.begin(), picture_.rowBytes(), to);
      return;
    }
    for (int x = 0; x < picture_.width; ++x, to += 3)
      std::copy_n(&palette_[3 * size_t{row_[static_cast<size_t>(x)]}], 3, to);
  }

  img::ByteSource& source_;
  uint64_t begin_ = 0; // of the pixels
  size_t step_ = 0;
  bool isUpsideDown_ = true, isIndexed_ = false;
  int next_ = 0;
  Bytes palette_, row_;
};

// Rows go from top to bottom, which a negative height tells.
class BmpWriter : public RowWriter {
 public:
  BmpWriter(img::ByteSink& sink, const Picture& picture) : sink_(sink), picture_(picture) {}

  Error begin() {
    const bool isGrey = picture_.colour == Colour::grey;
    const auto isOwn = [&](const Kind& k) { return k.layout == picture_.layout; };
    const Kind* kind = isGrey ? nullptr : std::find_if(std::begin(kKinds), std::end(kKinds), isOwn);
    const bool hasMasks = kind && !kind->isPlain;
    const size_t header = kFileHeader + kInfoHeader + (isGrey ? 256 * 4 : hasMasks ? 12 : 0);
    const uint64_t size = header + uint64_t{stepOf(picture_.rowBytes())} * static_cast<uint64_t>(picture_.height);
    if (size > UINT32_MAX) return fail("a BMP file holds 4 GB at most");
    const img::Density& density = picture_.metadata.density;
    const double metre = density.unit == img::Density::Unit::none   ? 0
                         : density.unit == img::Density::Unit::inch ? 100 / 2.54
                                                                    : 100;
    Bytes bytes = {'B', 'M'};
    const auto put = [&](uint64_t value, int count) {
      for (int i = 0; i < count; ++i) bytes.push_back(static_cast<uint8_t>(value >> 8 * i));
    };
    put(size, 4);
    put(0, 4);
    put(header, 4);
    put(kInfoHeader, 4);
    put(static_cast<uint64_t>(picture_.width), 4);
    put(static_cast<uint64_t>(-int64_t{picture_.height}), 4);
    put(1, 2); // planes
    put(isGrey ? 8 : kind->bits, 2);
    put(hasMasks ? 3 : 0, 4);
    put(size - header, 4);
    put(static_cast<uint64_t>(density.x * metre + 0.5), 4);
    put(static_cast<uint64_t>(density.y * metre + 0.5), 4);
    put(0, 8); // colours of the palette: all
    for (unsigned i = 0; i < 256 && isGrey; ++i) put(i * 0x10101, 4);
    for (size_t i = 0; i < 3 && hasMasks; ++i) put(kind->masks[i], 4);
    return sink_.write(bytes);
  }

  Error write(const img::ConstRows& rows) override {
    const size_t rowBytes = picture_.rowBytes();
    Bytes row(stepOf(rowBytes), 0);
    for (int y = 0; y < rows.count; ++y) {
      std::copy_n(rows.row<uint8_t>(y), rowBytes, row.begin());
      if (Error error = sink_.write(row)) return error;
    }
    return {};
  }

  Error finish() override { return {}; }

 private:
  img::ByteSink& sink_;
  const Picture picture_;
};

class Bmp : public Format {
 public:
  const char* name() const override { return "bmp"; }
  const char* title() const override { return "BMP"; }
  std::vector<const char*> extensions() const override { return {".bmp", ".dib"}; }

  std::vector<Option> options() override {
    return {
        {Use::writing, "--pixel", "P", "bgr, bgrx, rgbx, bgr555, bgr565, rgb555 or rgb565",
         "bgr, bgrx, rgbx, bgr555, bgr565, rgb555 or rgb565; bgr", [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"bgr", "bgrx", "rgbx", "bgr555", "rgb555", "bgr565", "rgb565"});
           if (found) layout_ = kKinds[*found].layout;
           return found.has_value();
         }}};
  }

  bool matches(ByteSpan head) const override {
    return head.size() >= 18 && head[0] == 'B' && head[1] == 'M' && numberAt(head, 14) <= 124;
  }

  Error open(img::ByteSource& source, const Settings& settings, std::unique_ptr<RowReader>& reader) override {
    auto own = std::make_unique<BmpReader>(source);
    if (Error error = own->open(settings.maxPixels)) return error;
    reader = std::move(own);
    return {};
  }

  bool takesLayouts() const override { return true; }

  Picture nearest(const Picture& picture, const std::string&) const override {
    Picture nearest = picture;
    if (nearest.colour == Colour::cmyk) nearest.colour = Colour::rgb;
    nearest.alpha = false;
    nearest.bits = 8;
    nearest.layout = nearest.colour == Colour::grey ? Layout::usual : layout_;
    return nearest;
  }

  Error create(img::ByteSink& sink, const Picture& picture, const Settings&,
               std::unique_ptr<RowWriter>& writer) override {
    auto own = std::make_unique<BmpWriter>(sink, picture);
    if (Error error = own->begin()) return error;
    writer = std::move(own);
    return {};
  }

 private:
  Layout layout_ = Layout::bgr;
};

} // namespace

std::unique_ptr<Format> bmpFormat() {
  return std::make_unique<Bmp>();
}

} // namespace formats
