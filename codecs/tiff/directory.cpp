#include "tiff/directory.h"

#include <algorithm>

namespace tiff {
namespace {

int sizeOf(uint16_t type) {
  constexpr uint8_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
  return type < sizeof kSizes ? kSizes[type] : 0;
}

// What a file claims is not believed before it has been read: memory grows with what is there.
Error readAt(img::ByteSource& source, uint64_t position, uint64_t count, Bytes& bytes) {
  constexpr uint64_t kPiece = 1 << 20;
  const std::optional<uint64_t> size = source.size();
  if (size && (position > *size || count > *size - position)) return fail("a place outside the file");
  if (Error error = source.seek(position)) return error;
  bytes.clear();
  while (bytes.size() < count) {
    const size_t have = bytes.size(), wanted = static_cast<size_t>(std::min(count - have, kPiece));
    bytes.resize(have + wanted);
    size_t got = 0;
    if (Error error = source.read(bytes.data() + have, wanted, got)) return error;
    if (got < wanted) return fail("a place outside the file");
  }
  return {};
}

} // namespace

uint32_t Directory::get(const uint8_t* p, int size) const {
  uint32_t value = 0;
  for (int i = 0; i < size; ++i) value = value << 8 | p[bigEndian_ ? i : size - 1 - i];
  return value;
}

Error Directory::measure(img::ByteSource& source, uint32_t position, uint32_t& entries, uint32_t& next) const {
  Bytes bytes;
  if (Error error = readAt(source, position, 2, bytes)) return fail("the directory lies outside the file");
  entries = get(bytes.data(), 2);
  if (Error error = readAt(source, uint64_t{position} + 2 + 12 * entries, 4, bytes))
    return fail("the directory is cut off");
  next = get(bytes.data(), 4);
  return {};
}

Error Directory::read(img::ByteSource& source, int page) {
  if (Error error = source.keepForSeeking()) return error;
  Bytes bytes;
  if (Error error = readAt(source, 0, 8, bytes)) return fail("not a TIFF file");
  bigEndian_ = bytes[0] == 'M';
  if (bytes[0] != bytes[1] || (bytes[0] != 'M' && bytes[0] != 'I')) return fail("not a TIFF file");
  if (get(&bytes[2], 2) == 43) return fail("a BigTIFF file: not supported");
  if (get(&bytes[2], 2) != 42) return fail("not a TIFF file");
  next_ = get(&bytes[4], 4);
  uint32_t position = 0, count = 0;
  for (int i = 1; i <= page; ++i) {
    if (i > 1 && !hasNext()) return fail("there is no page %d: the file has %d", page, i - 1);
    position = next_;
    if (Error error = measure(source, position, count, next_)) return error;
  }
  if (Error error = readAt(source, uint64_t{position} + 2, 12 * count, bytes)) return error;
  for (uint32_t i = 0; i < count; ++i) {
    const uint8_t* p = &bytes[12 * i];
    Entry entry{static_cast<uint16_t>(get(p + 2, 2)), get(p + 4, 4), {p[8], p[9], p[10], p[11]}};
    entries_.emplace(static_cast<uint16_t>(get(p, 2)), entry);
  }
  return {};
}

int Directory::countFollowing(img::ByteSource& source) const {
  int count = 0;
  uint32_t entries = 0;
  // Pages may follow each other in a circle.
  for (uint32_t next = next_; next != 0 && count < kMaxPages && !measure(source, next, entries, next);) ++count;
  return count;
}

Error Directory::values(img::ByteSource& source, const Entry& entry, uint64_t limit, Bytes& raw) const {
  const auto size = static_cast<uint64_t>(sizeOf(entry.type));
  if (size == 0 || entry.count == 0) return fail("a tag of an unknown type or without a value");
  if (entry.count > limit) return fail("a tag has too many values");
  const uint64_t bytes = size * entry.count;
  if (bytes <= 4) {
    raw.assign(entry.value, entry.value + bytes);
    return {};
  }
  return readAt(source, get(entry.value, 4), bytes, raw);
}

Error Directory::numbers(img::ByteSource& source, Tag tag, uint64_t limit, std::vector<uint32_t>& numbers) const {
  numbers.clear();
  const auto found = entries_.find(tag);
  if (found == entries_.end()) return {};
  const Entry& entry = found->second;
  if (entry.type != kByte && entry.type != kShort && entry.type != kLong)
    return fail("tag %d has no whole number", tag);
  Bytes raw;
  if (Error error = values(source, entry, limit, raw)) return error;
  const int size = sizeOf(entry.type);
  numbers.reserve(entry.count);
  for (size_t i = 0; i < entry.count; ++i) numbers.push_back(get(&raw[i * static_cast<size_t>(size)], size));
  return {};
}

Error Directory::number(img::ByteSource& source, Tag tag, uint32_t otherwise, uint32_t& value) const {
  std::vector<uint32_t> all;
  if (Error error = numbers(source, tag, 64, all)) return error;
  value = all.empty() ? otherwise : all[0];
  return {};
}

Error Directory::bytes(img::ByteSource& source, Tag tag, uint64_t limit, Bytes& bytes) const {
  bytes.clear();
  const auto found = entries_.find(tag);
  if (found == entries_.end() || sizeOf(found->second.type) != 1) return {};
  return values(source, found->second, limit, bytes);
}

Error Directory::rational(img::ByteSource& source, Tag tag, double& value) const {
  value = 0;
  const auto found = entries_.find(tag);
  if (found == entries_.end() || found->second.type != kRational) return {};
  Bytes raw;
  if (Error error = values(source, found->second, 1, raw)) return error;
  const uint32_t denominator = get(&raw[4], 4);
  value = denominator ? static_cast<double>(get(raw.data(), 4)) / denominator : 0;
  return {};
}

} // namespace tiff
