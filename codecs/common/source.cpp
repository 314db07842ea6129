#include "common/source.h"

#include <algorithm>
#include <cstring>

namespace img {
namespace {

// What one call of an input is asked for at least: large enough that calls cost little, small enough for the cache.
constexpr size_t kChunk = size_t{1} << 17;

} // namespace

Error ByteSource::fillFromInput(size_t count) {
  // The bytes that are still to be read go to the front, and the rest of the buffer is filled.
  const size_t kept = visible_.size();
  size_t size = kept;
  if (buffer_.size() < count) {
    AlignedArray<uint8_t> larger(std::max(count + (size_t{1} << 14), kChunk));
    if (kept > 0) std::memcpy(larger.data(), visible_.data(), kept);
    buffer_ = std::move(larger);
  } else if (kept > 0) {
    std::memmove(buffer_.data(), visible_.data(), kept);
  }
  Error error;
  while (size < count && !ended_ && !error) {
    size_t got = 0;
    error = input_->read(buffer_.data() + size, buffer_.size() - size, got);
    size += got;
    ended_ = !error && got == 0;
  }
  visible_ = {buffer_.data(), size};
  return error;
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
