#include "jpegxr/header.h"

#include <algorithm>
#include <bit>

namespace jpegxr {
namespace {

constexpr uint8_t kGuid[15] = {0x24, 0xC3, 0xDD, 0x6F, 0x03, 0x4E, 0xFE, 0x4B,
                               0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9};
constexpr char kSignature[8] = "WMPHOTO";
enum ContainerTag { kPixelFormat = 0xBC01, kWidth = 0xBC80, kHeight, kOffset = 0xBCC0, kByteCount, kAlphaOffset };

uint32_t littleEndian(const uint8_t* p, int bytes) {
  uint32_t value = 0;
  for (int i = bytes - 1; i >= 0; --i) value = value << 8 | p[i];
  return value;
}

// Fields from the top of a byte; behind the end of the data there are zeros, and `ended` tells.
class Fields {
 public:
  explicit Fields(ByteSpan data) : data_(data) {}

  uint32_t get(int bits) {
    uint32_t value = 0;
    for (; bits > 0; --bits, ++at_)
      value = value << 1 | (at_ / 8 < data_.size() ? data_[at_ / 8] >> (7 - at_ % 8) & 1 : 0);
    return value;
  }
  void align() { at_ = (at_ + 7) / 8 * 8; }
  size_t position() const { return at_ / 8; }
  void skip(size_t bytes) { at_ += 8 * bytes; }
  bool ended() const { return at_ > 8 * data_.size(); }

  // A number of two bytes or more; escapes are 0.
  uint64_t getLong() {
    const uint32_t first = get(8);
    if (first < 0xFB) return first << 8 | get(8);
    uint64_t value = 0;
    for (int i = first == 0xFB ? 4 : first == 0xFC ? 8 : 0; i > 0; --i) value = value << 8 | get(8);
    return value;
  }

 private:
  ByteSpan data_;
  size_t at_ = 0;
};

Error readQuantisers(Fields& fields, const Header& header, std::array<int, 3>& index) {
  if (header.inner == Inner::yOnly) {
    index[0] = static_cast<int>(fields.get(8));
    return {};
  }
  const uint32_t mode = fields.get(2);
  if (mode > 2) return fail("a bad mode of quantisers");
  index.fill(static_cast<int>(fields.get(8)));
  if (mode >= 1) index[1] = index[2] = static_cast<int>(fields.get(8));
  if (mode == 2) index[2] = static_cast<int>(fields.get(8));
  return {};
}

Error readPlaneHeader(Fields& fields, Header& header) {
  const uint32_t inner = fields.get(3);
  if (inner != 0 && inner != 1 && inner != 3)
    return inner == 2 ? fail("4:2:2 chroma: not supported") : fail("internal colour format %u: not supported", inner);
  header.inner = static_cast<Inner>(inner);
  if (!header.isRgb && header.inner != Inner::yOnly) return fail("a grey picture with chroma: not supported");
  header.scaled = fields.get(1);
  header.bands = static_cast<int>(fields.get(4));
  if (header.bands > kDcOnly) return fail("bands %d: not supported", header.bands);
  if (header.inner != Inner::yOnly && fields.get(8) != 0) return fail("sited chroma: not supported");
  if (header.bits == 16) header.shift = static_cast<int>(fields.get(8));
  if (header.shift > 15) return fail("a shift of %d bits: not supported", header.shift);

  for (const Set set : {kDcSet, kLpSet, kHpSet}) {
    if ((set == kLpSet && header.bands == kDcOnly) || (set == kHpSet && header.bands >= kNoHighPass)) continue;
    auto& index = header.index[set];
    if (set != kDcSet && fields.get(1)) {
      index = header.index[set - 1];
      continue;
    }
    if (!fields.get(1)) return fail("quantisers that differ within the picture: not supported");
    if (Error error = readQuantisers(fields, header, index)) return error;
  }
  fields.align();
  return {};
}

// Bytes of a head, from the top bit.
class FieldWriter {
 public:
  void put(uint32_t value, int bits) {
    for (int i = bits - 1; i >= 0; --i, ++count_) {
      if (count_ % 8 == 0) bytes.push_back(0);
      bytes.back() |= static_cast<uint8_t>((value >> i & 1) << (7 - count_ % 8));
    }
  }
  void align() { count_ = bytes.size() * 8; }
  void putLong(uint64_t value) {
    if (value < 0xFB00) return put(static_cast<uint32_t>(value), 16);
    put(0xFB, 8);
    put(static_cast<uint32_t>(value), 32);
  }
  Bytes bytes;

 private:
  size_t count_ = 0;
};

Bytes makeCodestreamHead(const Header& header, const std::array<uint64_t, 4>& packetBytes) {
  FieldWriter fields;
  for (const char c : kSignature) fields.put(static_cast<uint8_t>(c), 8);
  const bool isShort = header.columns() <= 255 && header.rows() <= 255;
  fields.put(1 << 4 | 1, 8);
  fields.put(header.frequencyOrder, 2);
  fields.put(0, 3);
  fields.put(header.frequencyOrder, 1);
  fields.put(static_cast<uint32_t>(header.overlap), 2);
  fields.put(isShort, 1);
  fields.put(1, 1);
  fields.put(0, 1);
  fields.put(header.hasTrim, 1);
  fields.put(0, 4);
  fields.put(header.isRgb ? 7 : 0, 4);
  fields.put(header.bits == 16 ? 2 : 1, 4);
  fields.put(static_cast<uint32_t>(header.width - 1), isShort ? 16 : 32);
  fields.put(static_cast<uint32_t>(header.height - 1), isShort ? 16 : 32);

  fields.put(static_cast<uint32_t>(header.inner), 3);
  fields.put(header.scaled, 1);
  fields.put(static_cast<uint32_t>(header.bands), 4);
  if (header.inner != Inner::yOnly) fields.put(0, 8);
  if (header.bits == 16) fields.put(static_cast<uint32_t>(header.shift), 8);
  for (const Set set : {kDcSet, kLpSet, kHpSet}) {
    if (set != kDcSet) fields.put(0, 1);
    fields.put(1, 1);
    if (header.inner != Inner::yOnly) fields.put(0, 2);
    fields.put(static_cast<uint32_t>(header.index[set][0]), 8);
  }
  fields.align();

  if (header.frequencyOrder) {
    fields.put(1, 16);
    uint64_t offset = 0;
    for (const uint64_t bytes : packetBytes) {
      if (bytes == 0) {
        fields.put(0xFF, 8); // absent
      } else {
        fields.putLong(offset);
      }
      offset += bytes;
    }
  }
  fields.put(4, 16);
  fields.put(0x6FFF0001, 32);
  return fields.bytes;
}

} // namespace

int32_t Header::step(Set set, int component) const {
  const int i = index[set][static_cast<size_t>(component)], low = i & 15, high = i >> 4;
  if (i == 0) return 1;
  if (scaled) {
    const int extra = component > 0 && set != kHpSet ? 0 : 1;
    return i < 16 ? i << extra : (16 + low) << (high - 1 + extra);
  }
  return i < 32 ? (i + 3) >> 2 : i < 48 ? (17 + low) >> 1 : (16 + low) << (high - 3);
}

namespace {

// Up to so many bytes of the file from a place on.
Error bytesAt(img::ByteSource& source, uint64_t position, size_t count, ByteSpan& bytes) {
  if (Error error = source.seek(position)) return error;
  if (Error error = source.fill(count)) return error;
  bytes = source.visible().first(std::min(count, source.visible().size()));
  return {};
}

// Where the codestream begins and ends.
Error readContainer(img::ByteSource& source, uint64_t fileBytes, Packet& codestream) {
  ByteSpan bytes;
  if (Error error = bytesAt(source, 0, 8, bytes)) return error;
  if (bytes.size() < 8 || bytes[0] != 'I' || bytes[1] != 'I' || bytes[2] != 0xBC || bytes[3] > 1)
    return fail("not a JPEG XR file");
  const uint64_t directory = littleEndian(&bytes[4], 4);
  if (directory + 2 > fileBytes) return fail("the directory lies outside the file");
  if (Error error = bytesAt(source, directory, 2, bytes)) return error;
  if (bytes.size() < 2) return fail("the directory lies outside the file");
  const size_t entries = littleEndian(bytes.data(), 2);
  if (Error error = bytesAt(source, directory + 2, 12 * entries, bytes)) return error;
  if (bytes.size() < 12 * entries) return fail("the directory is cut off");
  uint64_t offset = 0, count = 0;
  bool hasCodestream = false;
  for (size_t i = 0; i < entries; ++i) {
    const uint8_t* entry = &bytes[12 * i];
    const uint32_t tag = littleEndian(entry, 2), value = littleEndian(entry + 8, 4);
    if (tag == kOffset) offset = value, hasCodestream = true;
    if (tag == kByteCount) count = value;
    if (tag == kAlphaOffset) return fail("a separate alpha plane: not supported");
  }
  if (!hasCodestream) return fail("no codestream");
  if (offset > fileBytes) return fail("the codestream lies outside the file");
  codestream = {offset, count > 0 ? std::min(offset + count, fileBytes) : fileBytes};
  return {};
}

Error readCodestreamHeader(Fields& fields, int64_t maxPixels, Header& header, bool& hasIndex) {
  for (const char c : kSignature) {
    if (fields.get(8) != static_cast<uint8_t>(c)) return fail("no JPEG XR codestream");
  }
  if (fields.get(4) != 1) return fail("an unknown version of the codestream");
  fields.get(1);
  if (fields.get(3) != 1) return fail("an old kind of overlap filters: not supported");
  if (fields.get(1)) return fail("several tiles: not supported");
  header.frequencyOrder = fields.get(1);
  fields.get(3); // orientation: the container tells it
  hasIndex = fields.get(1);
  header.overlap = static_cast<int>(fields.get(2));
  const bool isShort = fields.get(1);
  fields.get(1);
  if (fields.get(1)) return fail("windowing margins: not supported");
  header.hasTrim = fields.get(1);
  if (fields.get(1)) return fail("several tiles: not supported");
  fields.get(2);
  if (fields.get(1)) return fail("an alpha plane: not supported");
  const uint32_t colour = fields.get(4), depth = fields.get(4);
  if ((colour != 0 && colour != 7) || (depth != 1 && depth != 2))
    return fail("pixels of colour format %u and bit depth %u: not supported", colour, depth);
  if (header.overlap > 2) return fail("a bad overlap");
  if (header.frequencyOrder && !hasIndex) return fail("frequency order without an index");
  header.isRgb = colour == 7;
  header.bits = depth == 2 ? 16 : 8;
  const int64_t width = int64_t{fields.get(isShort ? 16 : 32)} + 1, height = int64_t{fields.get(isShort ? 16 : 32)} + 1;
  if (Error error = img::checkSize(width, height, maxPixels)) return error;
  header.width = static_cast<int>(width);
  header.height = static_cast<int>(height);
  if (Error error = readPlaneHeader(fields, header)) return error;
  if (header.inner == Inner::yuv420 && header.overlap == 2 && header.columns() < 2)
    return fail("4:2:0 chroma with two levels of overlap in so narrow a picture: not supported");
  return {};
}

} // namespace

Error readHeader(img::ByteSource& source, int64_t maxPixels, Header& header, std::array<Packet, 4>& packets) {
  if (Error error = source.keepForSeeking()) return error;
  const uint64_t fileBytes = source.size() ? *source.size() : source.position() + source.visible().size();
  Packet codestream;
  if (Error error = readContainer(source, fileBytes, codestream)) return error;
  // All headers but the bytes that are passed over take less.
  constexpr size_t kHeaderBytes = 256;
  ByteSpan bytes;
  const auto room = static_cast<size_t>(std::min<uint64_t>(codestream.end - codestream.begin, kHeaderBytes));
  if (Error error = bytesAt(source, codestream.begin, room, bytes)) return error;
  Fields fields(bytes);
  bool hasIndex = false;
  if (Error error = readCodestreamHeader(fields, maxPixels, header, hasIndex)) return error;

  uint64_t offsets[4] = {};
  const auto count = static_cast<size_t>(header.packets());
  if (hasIndex) {
    if (fields.get(16) != 1) return fail("a bad index of packets");
    for (size_t i = 0; i < count; ++i) offsets[i] = fields.getLong();
  }
  const uint64_t passedOver = fields.getLong() & 0xFFFFFFFF, begin = codestream.begin + fields.position() + passedOver;
  if (fields.ended() || begin > codestream.end) return fail("the header is cut off");
  for (size_t i = 0; i < count; ++i) {
    const uint64_t from = offsets[i];
    uint64_t to = codestream.end - begin;
    if (from > to || (i > 0 && from == 0)) continue; // absent
    for (const uint64_t other : offsets) {
      if (other > from) to = std::min(to, other);
    }
    packets[i] = {begin + from, begin + to};
  }
  // A macroblock takes some bits at least, whatever it holds.
  const auto macroblocks = static_cast<uint64_t>(header.columns()) * static_cast<uint64_t>(header.rows());
  if (macroblocks / 8 > codestream.end - codestream.begin)
    return fail("the file is too small for its number of pixels");
  return {};
}

Bytes makeFileHead(const Header& header, const std::array<uint64_t, 4>& packetBytes) {
  const Bytes codestream = makeCodestreamHead(header, packetBytes);
  uint64_t size = codestream.size();
  for (const uint64_t bytes : packetBytes) size += bytes;
  constexpr uint32_t kEntries = 5, kDirectory = 8, kGuidAt = kDirectory + 2 + 12 * kEntries + 4,
                     kCodestreamAt = kGuidAt + 16;
  Bytes head;
  const auto put = [&](uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) head.push_back(static_cast<uint8_t>(value >> 8 * i));
  };
  const auto entry = [&](uint32_t tag, uint32_t type, uint32_t count, uint32_t value) {
    put(tag, 2), put(type, 2), put(count, 4), put(value, 4);
  };
  put(0x01BC4949, 4);
  put(kDirectory, 4);
  put(kEntries, 2);
  entry(kPixelFormat, 1, 16, kGuidAt);
  entry(kWidth, 4, 1, static_cast<uint32_t>(header.width));
  entry(kHeight, 4, 1, static_cast<uint32_t>(header.height));
  entry(kOffset, 4, 1, kCodestreamAt);
  entry(kByteCount, 4, 1, static_cast<uint32_t>(size));
  put(0, 4);
  head.insert(head.end(), kGuid, kGuid + 15);
  put(header.isRgb ? (header.bits == 16 ? 0x15 : 0x0D) : (header.bits == 16 ? 0x0B : 0x08), 1);
  head.insert(head.end(), codestream.begin(), codestream.end());
  return head;
}

} // namespace jpegxr
