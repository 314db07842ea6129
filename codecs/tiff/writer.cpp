// Writing, in the machine's byte order. Where the lengths of strips are known the directory stands in front of them;
// packed strips come first and the directory behind, and the header is told of it at the end: where a sink has no way
// back the file is in memory until then.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "common/orient.h"
#include "tiff/tags.h"
#include "tiff/tiff.h"
#include "zelj.h"

namespace tiff {
namespace {

constexpr size_t kStripBytes = 1 << 16, kHeaderBytes = 8;

template <class T>
void append(Bytes& bytes, T value) {
  bytes.resize(bytes.size() + sizeof value);
  std::memcpy(&bytes[bytes.size() - sizeof value], &value, sizeof value);
}

// Entries in ascending order of their tags, and the values that do not fit into them.
class DirectoryMaker {
 public:
  template <class T>
  void add(Tag tag, Type type, const std::vector<T>& values) {
    Bytes raw;
    for (const T value : values) append(raw, value);
    fields_.push_back({tag, type, static_cast<uint32_t>(values.size() / (type == kRational ? 2 : 1)), std::move(raw)});
  }
  void addShort(Tag tag, uint16_t value) { add(tag, kShort, std::vector<uint16_t>{value}); }
  void addLong(Tag tag, uint32_t value) { add(tag, kLong, std::vector<uint32_t>{value}); }

  size_t size() const {
    size_t size = 2 + 12 * fields_.size() + 4;
    for (const Field& field : fields_) size += beyond(field);
    return size;
  }

  Bytes make(uint32_t position) const {
    Bytes entries, values;
    append(entries, static_cast<uint16_t>(fields_.size()));
    uint32_t at = position + 2 + 12 * static_cast<uint32_t>(fields_.size()) + 4;
    for (const Field& field : fields_) {
      append(entries, static_cast<uint16_t>(field.tag));
      append(entries, static_cast<uint16_t>(field.type));
      append(entries, field.count);
      Bytes raw = field.raw;
      raw.resize(std::max(raw.size() + raw.size() % 2, size_t{4}));
      if (raw.size() > 4) {
        append(entries, at);
        at += static_cast<uint32_t>(raw.size());
        values.insert(values.end(), raw.begin(), raw.end());
      } else {
        entries.insert(entries.end(), raw.begin(), raw.end());
      }
    }
    append(entries, uint32_t{0});
    entries.insert(entries.end(), values.begin(), values.end());
    return entries;
  }

 private:
  struct Field {
    Tag tag;
    Type type;
    uint32_t count;
    Bytes raw;
  };
  static size_t beyond(const Field& field) {
    return field.raw.size() > 4 ? field.raw.size() + field.raw.size() % 2 : 0;
  }

  std::vector<Field> fields_;
};

class Writer : public img::RowWriter {
 public:
  Writer(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options)
      : sink_(sink), picture_(picture), options_(options) {
    if (packs() && !sink.patches()) to_ = &held_;
    if (options.bytePlanes && !inPlanes())
      remarks_.push_back("byte planes are for 16 bits in PackBits: the file has none");
  }

  Error begin() {
    const size_t rowBytes = picture_.rowBytes(), height = static_cast<size_t>(picture_.height);
    rowsPerStrip_ = static_cast<int>(std::clamp(kStripBytes / rowBytes, size_t{1}, height));
    const size_t strips = (height + static_cast<size_t>(rowsPerStrip_) - 1) / static_cast<size_t>(rowsPerStrip_);
    if (rowBytes > 0x3FFFFFFF ||
        (rowBytes + rowBytes / 128 + 17) * height + 1024 + picture_.metadata.icc.size() > 0xFFFFFFFF)
      return fail("a TIFF file holds 4 GiB at most");
    if (packs()) {
      packed_.resize(rowBytes + (rowBytes + 127) / 128 + 2);
      return writeHeader(0);
    }
    // The places of all strips are known.
    counts_.assign(strips, static_cast<uint32_t>(rowBytes) * static_cast<uint32_t>(rowsPerStrip_));
    counts_.back() = static_cast<uint32_t>(rowBytes * (height - (strips - 1) * static_cast<size_t>(rowsPerStrip_)));
    offsets_.assign(strips, 0);
    offsets_[0] = static_cast<uint32_t>(kHeaderBytes + makeDirectory().size());
    for (size_t i = 1; i < strips; ++i) offsets_[i] = offsets_[i - 1] + counts_[i - 1];
    if (Error error = writeHeader(kHeaderBytes)) return error;
    return put(makeDirectory().make(kHeaderBytes));
  }

  Error write(const img::ConstRows& rows) override {
    const size_t rowBytes = picture_.rowBytes();
    if (!packs() && rows.step == static_cast<ptrdiff_t>(rowBytes))
      return put({rows.data, rowBytes * static_cast<size_t>(rows.count)});
    for (int y = 0; y < rows.count; ++y) {
      const uint8_t* row = rows.row<uint8_t>(y);
      if (Error error = packs() ? pack(row) : put({row, rowBytes})) return error;
    }
    return {};
  }

  Error finish() override {
    if (!packs()) return {};
    if (position_ % 2) {
      const uint8_t padding = 0;
      if (Error error = put({&padding, 1})) return error;
    }
    const auto position = static_cast<uint32_t>(position_);
    if (Error error = put(makeDirectory().make(position))) return error;
    if (Error error = to_->patch(4, {reinterpret_cast<const uint8_t*>(&position), 4})) return error;
    return to_ == &held_ ? sink_.write(file_) : Error{};
  }

  int rowsAtOnce() const override { return rowsPerStrip_; }

 private:
  bool packs() const { return options_.compression == Compression::packBits; }
  bool inPlanes() const { return options_.bytePlanes && packs() && picture_.bits == 16; }

  Error put(ByteSpan bytes) {
    position_ += bytes.size();
    return to_->write(bytes);
  }

  Error writeHeader(uint32_t directory) {
    constexpr bool kBigEndian = std::endian::native == std::endian::big;
    Bytes header(2, kBigEndian ? 'M' : 'I');
    append(header, uint16_t{42});
    append(header, directory);
    return put(header);
  }

  Error pack(const uint8_t* row) {
    if (row_ % rowsPerStrip_ == 0) {
      offsets_.push_back(static_cast<uint32_t>(position_));
      counts_.push_back(0);
    }
    ++row_;
    const size_t rowBytes = picture_.rowBytes();
    Zel32s length = 0;
    const auto room = static_cast<Zel32s>(packed_.size());
    if (inPlanes()) {
      const size_t samples = rowBytes / 2;
      planes_.resize(rowBytes);
      Zel8u* planes[2] = {planes_.data(), planes_.data() + samples};
      zeliSplitRow_TIFF_16u8u_C1(reinterpret_cast<const Zel16u*>(row), planes, static_cast<Zel32s>(samples));
      for (const Zel8u* plane : planes)
        zeliPackBitsRow_TIFF_8u_C1(plane, static_cast<Zel32s>(samples), packed_.data(), &length, room);
    } else {
      zeliPackBitsRow_TIFF_8u_C1(row, static_cast<Zel32s>(rowBytes), packed_.data(), &length, room);
    }
    counts_.back() += static_cast<uint32_t>(length);
    return put({packed_.data(), static_cast<size_t>(length)});
  }

  DirectoryMaker makeDirectory() const {
    const auto channels = static_cast<uint16_t>(picture_.channels());
    DirectoryMaker d;
    d.addLong(kImageWidth, static_cast<uint32_t>(picture_.width));
    d.addLong(kImageLength, static_cast<uint32_t>(picture_.height));
    d.add(kBitsPerSample, kShort, std::vector<uint16_t>(channels, static_cast<uint16_t>(picture_.bits)));
    d.addShort(kCompression, static_cast<uint16_t>(!packs() ? kNone : inPlanes() ? kPackBitsPlanes : kPackBits));
    d.addShort(kPhotometric, picture_.colour == img::Colour::grey ? kBlackIsZero : kRgb);
    d.add(kStripOffsets, kLong, offsets_);
    if (const int orientation = img::orientationOf(picture_.metadata); orientation != 1)
      d.addShort(kOrientation, static_cast<uint16_t>(orientation));
    d.addShort(kSamplesPerPixel, channels);
    d.addLong(kRowsPerStrip, static_cast<uint32_t>(rowsPerStrip_));
    d.add(kStripByteCounts, kLong, counts_);
    const img::Density& density = picture_.metadata.density;
    const bool known = density.x > 0 && density.y > 0 && density.x < 1e6 && density.y < 1e6;
    const auto thousandths = [&](double v) { return static_cast<uint32_t>(std::lround(known ? v * 1000 : 1000)); };
    d.add(kXResolution, kRational, std::vector<uint32_t>{thousandths(density.x), 1000});
    d.add(kYResolution, kRational, std::vector<uint32_t>{thousandths(density.y), 1000});
    d.addShort(kResolutionUnit, !known                                           ? 1
                                : density.unit == img::Density::Unit::inch       ? 2
                                : density.unit == img::Density::Unit::centimetre ? 3
                                                                                 : 1);
    if (picture_.alpha) d.addShort(kExtraSamples, kUnassociatedAlpha);
    if (!picture_.metadata.icc.empty()) d.add(kIccProfile, kUndefined, picture_.metadata.icc);
    return d;
  }

  img::ByteSink& sink_;
  Bytes file_;
  img::MemorySink held_{file_};
  img::ByteSink* to_ = &sink_;
  const img::Picture picture_;
  const EncodeOptions options_;
  int rowsPerStrip_ = 1, row_ = 0;
  uint64_t position_ = 0;
  std::vector<uint32_t> offsets_, counts_;
  Bytes packed_, planes_;
};

} // namespace

Error openWriter(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
                 std::unique_ptr<img::RowWriter>& writer) {
  if (picture.bits != 8 && picture.bits != 16) return fail("%d bits: not supported", picture.bits);
  if (picture.colour == img::Colour::cmyk) return fail("C, M, Y, K: not supported");
  auto own = std::make_unique<Writer>(sink, picture, options);
  if (Error error = own->begin()) return error;
  writer = std::move(own);
  return {};
}

} // namespace tiff
