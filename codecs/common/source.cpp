#include "common/source.h"

#include <algorithm>
#include <cstring>

namespace img {
namespace {

// What one call of an input is asked for at least: large enough that calls cost little, small enough for the cache.
constexpr size_t kChunk = size_t{1} << 17;

} // namespace

// The bytes that are still to be read go to the front of a buffer of this size at least.
void ByteSource::moveToFront(size_t size) {
  const size_t kept = visible_.size();
  if (buffer_.size() < size) {
    AlignedArray<uint8_t> larger(size);
    if (kept > 0) std::memcpy(larger.data(), visible_.data(), kept);
    buffer_ = std::move(larger);
  } else if (kept > 0) {
    std::memmove(buffer_.data(), visible_.data(), kept);
  }
  visible_ = {buffer_.data(), kept};
}

Error ByteSource::fillFromInput(size_t count) {
  const auto room = [&] { return static_cast<size_t>(buffer_.data() + buffer_.size() - visible_.data()); };
  if (!visible_.data() || room() < std::max(count, visible_.size() + kChunk)) {
    moveToFront(buffer_.size() < count ? std::max(count + (size_t{1} << 14), kChunk) : 0);
  }
  size_t size = visible_.size();
  uint8_t* const bytes = buffer_.data() + (visible_.data() - buffer_.data());
  Error error;
  while (size < count && !ended_ && !error) {
    size_t got = 0;
    error = input_->read(bytes + size, std::min(std::max(count - size, kChunk), room() - size), got);
    size += got;
    ended_ = !error && got == 0;
  }
  visible_ = {bytes, size};
  return error;
}

void ByteSource::reserve(size_t count) {
  if (ended_) return;
  if (const std::optional<uint64_t> all = size()) {
    count = static_cast<size_t>(std::min<uint64_t>(count, *all > position_ ? *all - position_ : 0));
  }
  moveToFront(std::max(count, visible_.size()) + kChunk);
}

Error ByteSource::read(uint8_t* bytes, size_t count, size_t& got) {
  got = std::min(count, visible_.size());
  if (got > 0) std::memcpy(bytes, visible_.data(), got);
  skip(got);
  while (got < count && !ended_) {
    size_t more = 0;
    if (Error error = input_->read(bytes + got, count - got, more)) return error;
    got += more;
    position_ += more;
    ended_ = more == 0;
  }
  return {};
}

Error ByteSource::loadAll() {
  while (!ended_) {
    const std::optional<uint64_t> whole = size();
    const uint64_t left = whole && *whole > position_ ? *whole - position_ : 0;
    const size_t more = left > 0 ? static_cast<size_t>(left) + 1 : std::max(2 * visible_.size(), kChunk);
    if (Error error = fill(std::max(visible_.size() + 1, more))) return error;
  }
  return {};
}

Error ByteSource::keepForSeeking() {
  if (!input_ || input_->size()) return {};
  if (Error error = loadAll()) return error;
  memory_ = visible_;
  memoryBegin_ = position_;
  return {};
}

Error ByteSource::seek(uint64_t position) {
  if (memory_.data()) {
    if (position < memoryBegin_ || position - memoryBegin_ > memory_.size()) return fail("a place outside the data");
    visible_ = memory_.subspan(static_cast<size_t>(position - memoryBegin_));
  } else if (position >= position_ && position - position_ <= visible_.size()) {
    visible_ = visible_.subspan(static_cast<size_t>(position - position_));
  } else {
    if (Error error = input_->seek(position)) return error;
    visible_ = {};
    ended_ = false;
  }
  position_ = position;
  return {};
}

} // namespace img
