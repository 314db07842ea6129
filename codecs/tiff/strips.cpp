#include "tiff/strips.h"

#include <algorithm>
#include <cstring>

#include "zelj.h"

namespace tiff {

Error StripReader::read(uint8_t* to, size_t rows) {
  if (strips_.scheme == kNone) return readPlain(to, rows);
  for (const uint8_t* end = to + rows * strips_.rowBytes; to < end; to += strips_.rowBytes, ++next_) {
    if (next_ % strips_.rowsOfStrip == 0) {
      const auto strip = static_cast<size_t>(next_ / strips_.rowsOfStrip);
      begin_ = end_ = 0;
      position_ = strips_.offsets[strip];
      left_ = strips_.counts[strip];
      lost_ = false;
    }
    if (!lost_) {
      const Error error = readPacked(to);
      if (error) {
        if (Error stop = note(error)) return stop;
        lost_ = true; // nothing tells where the next row begins
      }
    }
    if (lost_) std::memset(to, 0, strips_.rowBytes);
  }
  return {};
}

// Strips without a gap between them are read as one.
Error StripReader::readPlain(uint8_t* to, size_t rows) {
  while (rows > 0) {
    const uint64_t stripBytes = strips_.rowsOfStrip * strips_.rowBytes, row = next_ % strips_.rowsOfStrip;
    auto strip = static_cast<size_t>(next_ / strips_.rowsOfStrip);
    const uint64_t position = strips_.offsets[strip] + row * strips_.rowBytes;
    uint64_t count = strips_.rowsOfStrip - row;
    for (; count < rows && strips_.offsets[strip] + stripBytes == strips_.offsets[strip + 1]; ++strip)
      count += strips_.rowsOfStrip;
    const auto taken = static_cast<size_t>(std::min<uint64_t>(count, rows)), bytes = taken * strips_.rowBytes;
    size_t got = 0;
    Error error = seek(position);
    if (!error) error = source_.read(to, bytes, got);
    if (!error && got < bytes) error = fail("the file ends before its last sample");
    if (error) {
      if (Error stop = note(error)) return stop;
      std::memset(to + got, 0, bytes - got);
    }
    to += bytes;
    rows -= taken;
    next_ += taken;
  }
  return {};
}

Error StripReader::readPacked(uint8_t* to) {
  const size_t bytes = strips_.rowBytes, samples = bytes / 2;
  if (strips_.scheme == kPackBits) return unpack(to, bytes);
  planes_.resize(bytes);
  Zel8u* planes[2] = {planes_.data(), planes_.data() + samples};
  for (Zel8u* plane : planes) {
    if (Error error = unpack(plane, samples)) return error;
  }
  zeliJoinRow_TIFF_8u16u_C1(planes, reinterpret_cast<Zel16u*>(to), static_cast<Zel32s>(samples));
  return {};
}

// At worst a row takes two bytes for one; a row with operations that do nothing may take more, and gets a second try
// with all of the strip.
Error StripReader::unpack(uint8_t* to, size_t count) {
  for (const size_t wanted : {2 * count + 2, size_t{0x7FFFFFFE}}) {
    if (Error error = fill(wanted)) return error;
    auto position = static_cast<Zel32s>(begin_);
    const ZelStatus status = zeliUnpackBitsRow_TIFF_8u_C1(window_.data(), &position, static_cast<Zel32s>(end_), to,
                                                          static_cast<Zel32s>(count));
    // A last run may lack its byte.
    if (status == zelStatusOk && static_cast<size_t>(position) <= end_) {
      begin_ = static_cast<size_t>(position);
      return {};
    }
    if (left_ == 0) break;
  }
  return fail("bad PackBits data in row %llu", static_cast<unsigned long long>(next_));
}

Error StripReader::fill(size_t wanted) {
  if (end_ - begin_ >= wanted || left_ == 0) return {};
  constexpr size_t kPiece = 1 << 16;
  std::copy(window_.begin() + static_cast<ptrdiff_t>(begin_), window_.begin() + static_cast<ptrdiff_t>(end_),
            window_.begin());
  end_ -= begin_;
  begin_ = 0;
  wanted = std::max(wanted, std::min(window_.size(), size_t{0x7FFFFFFE}));
  if (Error error = seek(position_)) return error;
  while (end_ < wanted && left_ > 0) {
    const size_t more = std::min({wanted - end_, size_t{left_}, std::max(kPiece, end_)});
    if (window_.size() < end_ + more + 1) window_.resize(end_ + more + 1); // a run may look a byte ahead
    size_t got = 0;
    if (Error error = source_.read(&window_[end_], more, got)) return error;
    end_ += got;
    left_ = got < more ? 0 : left_ - static_cast<uint32_t>(got);
  }
  position_ = source_.position();
  return {};
}

Error StripReader::seek(uint64_t position) {
  if (!source_.seek(position)) return {};
  return fail("row %llu lies outside the file", static_cast<unsigned long long>(next_));
}

Error StripReader::note(const Error& damage) {
  if (!keepGoing_) return lossy(damage);
  if (damage_.empty()) damage_ = damage.message;
  return {};
}

} // namespace tiff
