// PGM and PPM files, binary (P5 and P6) and, for reading, as text (P2 and P3); for reading also PBM files (P4 and P1).
// A maximum of 2^n - 1 is that of n bits; with another one, up to 255 the samples become 8 bits, up to 4095 12 bits,
// above that 16 bits. Black and white become 8 bits.
#include <algorithm>
#include <bit>
#include <cctype>

#include "common/aligned.h"
#include "formats/format.h"

namespace formats {
namespace {

// The longest header that is read: comments may be long, but not endless.
constexpr size_t kMaxHeader = 65536;

// The next number of the header, -1 if there is none. White space and comments in front of it are skipped.
int64_t nextNumber(ByteSpan file, size_t& position) {
  while (position < file.size() && (std::isspace(file[position]) || file[position] == '#')) {
    if (file[position] == '#') {
      while (position < file.size() && file[position] != '\n') ++position;
    } else {
      ++position;
    }
  }
  int64_t value = -1;
  while (position < file.size() && std::isdigit(file[position]) && value < 1000000000) {
    value = std::max<int64_t>(value, 0) * 10 + (file[position++] - '0');
  }
  return value;
}

constexpr uint16_t bigEndian(uint16_t v) {
  return std::endian::native == std::endian::little ? static_cast<uint16_t>(v << 8 | v >> 8) : v;
}

class PnmReader : public RowReader {
 public:
  explicit PnmReader(img::ByteSource& source) : source_(source) {}

  Error open(int64_t maxPixels) {
    ByteSpan head;
    size_t position = 0;
    int64_t width = -1, height = -1, maximum = -1;
    // A pipe may have no more bytes than the header to give for now.
    for (size_t length = formats::kHeadBytes; length <= kMaxHeader; length *= 2) {
      if (Error error = source_.fill(length)) return error;
      head = source_.visible().first(std::min(source_.visible().size(), length));
      if (head.size() < 2 || head[0] != 'P' || head[1] < '1' || head[1] > '6') return fail("not a PNM file");
      kind_ = head[1] - '0';
      position = 2;
      width = nextNumber(head, position);
      height = nextNumber(head, position);
      maximum = isBilevel() ? 1 : nextNumber(head, position);
      if (position < head.size() || head.size() < length) break;
    }
    if (width < 0 || height < 0 || maximum < 1 || maximum > 65535) return fail("bad header of a PNM file");
    if (Error error = img::checkSize(width, height, maxPixels)) return error;
    source_.skip(std::min(position + (isText() ? 0 : 1), head.size())); // one white space ends a binary header
    maximum_ = static_cast<unsigned>(maximum);
    picture_.width = static_cast<int>(width);
    picture_.height = static_cast<int>(height);
    picture_.colour = kind_ % 3 == 0 ? Colour::rgb : Colour::grey;
    picture_.bits = isBilevel()                         ? 8
                    : std::has_single_bit(maximum_ + 1) ? std::countr_one(maximum_)
                    : maximum > 4095                    ? 16
                    : maximum > 255                     ? 12
                                                        : 8;
    const std::optional<uint64_t> size = source_.size();
    const size_t rowBytes = isText() ? picture_.rowSamples() * (isBilevel() ? 1 : 2) - 1 : fileRowBytes();
    const uint64_t needed = rowBytes * static_cast<uint64_t>(height);
    if (size && *size - source_.position() < needed) return fail("the file ends before its last sample");
    return {};
  }

  Error read(const img::Rows& rows) override {
    if (isText() || isBilevel()) {
      for (int y = 0; y < rows.count; ++y) {
        if (Error error = isText() ? readText(rows.row<uint8_t>(y)) : readBits(rows.row<uint8_t>(y))) return error;
      }
      return {};
    }
    const size_t rowBytes = picture_.rowBytes();
    const bool inOnePiece = rows.step == static_cast<ptrdiff_t>(rowBytes);
    const int runs = inOnePiece ? 1 : rows.count;
    const size_t bytes = inOnePiece ? rowBytes * static_cast<size_t>(rows.count) : rowBytes;
    for (int i = 0; i < runs; ++i) {
      uint8_t* run = rows.row<uint8_t>(i);
      size_t got = 0;
      if (Error error = source_.read(run, bytes, got)) return error;
      if (got < bytes) return fail("the file ends before its last sample");
      const size_t samples = bytes / static_cast<size_t>(picture_.sampleBytes());
      if (picture_.bits > 8)
        rescale(reinterpret_cast<uint16_t*>(run), samples, bigEndian);
      else if (picture_.bits < 8 || maximum_ != 255)
        rescale(run, samples, [](uint8_t v) { return v; });
    }
    return {};
  }

 private:
  bool isText() const { return kind_ <= 3; }
  bool isBilevel() const { return kind_ == 1 || kind_ == 4; }
  size_t fileRowBytes() const { return isBilevel() ? (picture_.rowSamples() + 7) / 8 : picture_.rowBytes(); }

  // Bits from the top of each byte; 1 is black.
  Error readBits(uint8_t* row) {
    bits_.resize(fileRowBytes());
    size_t got = 0;
    if (Error error = source_.read(bits_.data(), bits_.size(), got)) return error;
    if (got < bits_.size()) return fail("the file ends before its last sample");
    for (size_t x = 0; x < picture_.rowSamples(); ++x) row[x] = bits_[x / 8] << x % 8 & 0x80 ? 0 : 255;
    return {};
  }

  Error readText(uint8_t* row) {
    const auto same = [](auto v) { return v; };
    for (size_t i = 0; i < picture_.rowSamples(); ++i) {
      constexpr size_t kLongest = 32; // of a number with the space in front of it
      if (Error error = skipSpace()) return error;
      if (Error error = source_.fill(kLongest)) return error;
      // Bits need no space between them.
      const size_t visible = source_.visible().size();
      const ByteSpan text = source_.visible().first(std::min(visible, isBilevel() ? size_t{1} : kLongest));
      size_t length = 0;
      const int64_t value = nextNumber(text, length);
      if (value < 0) return fail(text.empty() ? "the file ends before its last sample" : "a sample is not a number");
      source_.skip(length);
      const auto sample = static_cast<uint16_t>(std::min<int64_t>(value, 65535));
      if (isBilevel()) {
        row[i] = sample ? 0 : 255;
      } else if (picture_.bits <= 8) {
        row[i] = static_cast<uint8_t>(std::min<int64_t>(sample, 255));
        rescale(row + i, 1, same);
      } else {
        auto* samples = reinterpret_cast<uint16_t*>(row);
        samples[i] = sample;
        rescale(samples + i, 1, same);
      }
    }
    return {};
  }

  Error skipSpace() {
    for (bool comment = false;;) {
      if (Error error = source_.fill(1)) return error;
      const ByteSpan visible = source_.visible();
      if (visible.empty()) return {};
      comment = visible[0] == '#' || (comment && visible[0] != '\n');
      if (!comment && !std::isspace(visible[0])) return {};
      source_.skip(1);
    }
  }

  template <class Sample, class F>
  void rescale(Sample* samples, size_t count, F fromFile) const {
    const unsigned full = static_cast<unsigned>(picture_.maxValue()), maximum = maximum_;
    const auto limited = [=](Sample v) { return std::min(fromFile(v), static_cast<Sample>(maximum)); };
    if (maximum == full) {
      std::transform(samples, samples + count, samples, limited);
      return;
    }
    for (size_t i = 0; i < count; ++i) {
      samples[i] = static_cast<Sample>((limited(samples[i]) * full + maximum / 2) / maximum);
    }
  }

  img::ByteSource& source_;
  int kind_ = 6; // the digit that a file begins with
  unsigned maximum_ = 255;
  Bytes bits_;
};

class PnmWriter : public RowWriter {
 public:
  PnmWriter(img::ByteSink& sink, const Picture& picture) : sink_(sink), picture_(picture) {}

  Error begin() {
    const std::string header = img::format("P%c\n%d %d\n%d\n", picture_.colour == Colour::grey ? '5' : '6',
                                           picture_.width, picture_.height, picture_.maxValue());
    return sink_.write({reinterpret_cast<const uint8_t*>(header.data()), header.size()});
  }

  Error write(const img::ConstRows& rows) override {
    const size_t rowBytes = picture_.rowBytes();
    if (picture_.bits <= 8 && rows.step == static_cast<ptrdiff_t>(rowBytes)) {
      return sink_.write({rows.data, rowBytes * static_cast<size_t>(rows.count)});
    }
    row_.resize(picture_.bits <= 8 ? 0 : picture_.rowSamples());
    for (int y = 0; y < rows.count; ++y) {
      ByteSpan row(rows.row<uint8_t>(y), rowBytes);
      if (picture_.bits > 8) {
        const uint16_t* samples = rows.row<uint16_t>(y);
        std::transform(samples, samples + row_.size(), row_.begin(), bigEndian);
        row = {reinterpret_cast<const uint8_t*>(row_.data()), rowBytes};
      }
      if (Error error = sink_.write(row)) return error;
    }
    return {};
  }

  Error finish() override { return {}; }

 private:
  img::ByteSink& sink_;
  const Picture picture_;
  std::vector<uint16_t> row_;
};

class Pnm : public Format {
 public:
  const char* name() const override { return "pnm"; }
  const char* title() const override { return "PNM"; }
  std::vector<const char*> extensions() const override { return {".ppm", ".pgm", ".pnm"}; }

  bool matches(ByteSpan head) const override {
    return head.size() > 2 && head[0] == 'P' && head[1] >= '1' && head[1] <= '6' &&
           (std::isspace(head[2]) || head[2] == '#');
  }

  Error open(img::ByteSource& source, const Settings& settings, std::unique_ptr<RowReader>& reader) override {
    auto own = std::make_unique<PnmReader>(source);
    if (Error error = own->open(settings.maxPixels)) return error;
    reader = std::move(own);
    return {};
  }

  // .pgm files are grey, .ppm files colour, .pnm files what the picture is.
  Picture nearest(const Picture& picture, const std::string& extension) const override {
    Picture nearest = picture;
    const bool grey = extension == ".pgm" || (extension != ".ppm" && picture.colour == Colour::grey);
    nearest.colour = grey ? Colour::grey : Colour::rgb;
    nearest.alpha = false;
    nearest.bits = std::min(picture.bits, 16);
    return nearest;
  }

  Error create(img::ByteSink& sink, const Picture& picture, const Settings&,
               std::unique_ptr<RowWriter>& writer) override {
    auto own = std::make_unique<PnmWriter>(sink, picture);
    if (Error error = own->begin()) return error;
    writer = std::move(own);
    return {};
  }
};

} // namespace

std::unique_ptr<Format> pnmFormat() {
  return std::make_unique<Pnm>();
}

} // namespace formats
