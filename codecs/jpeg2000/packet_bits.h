// The bits of packet headers: behind a byte 0xFF the next one holds seven.
#pragma once

#include "common/bytes.h"

namespace j2k {

class PacketBits {
 public:
  explicit PacketBits(img::ByteSpan bytes) : bytes_(bytes) {}

  bool get() {
    if (!left_) {
      const uint8_t last = byte_;
      if (at_ >= bytes_.size()) {
        ended_ = true;
        return false;
      }
      byte_ = bytes_[at_++];
      left_ = last == 0xFF ? 7 : 8;
    }
    return byte_ >> --left_ & 1;
  }
  int get(int count) {
    int value = 0;
    while (count-- > 0) value = value << 1 | static_cast<int>(get());
    return value;
  }
  // Behind the last byte of the header, a stuffed one too.
  size_t end() const { return at_ + (byte_ == 0xFF && at_ < bytes_.size() ? 1 : 0); }
  bool ended() const { return ended_; }

 private:
  img::ByteSpan bytes_;
  size_t at_ = 0;
  int left_ = 0;
  uint8_t byte_ = 0;
  bool ended_ = false;
};

class PacketBitWriter {
 public:
  explicit PacketBitWriter(img::Bytes& bytes) : bytes_(bytes) {}

  void put(bool bit) {
    byte_ = byte_ << 1 | static_cast<int>(bit);
    if (--room_ == 0) flush();
  }
  void put(int value, int count) {
    while (count-- > 0) put(value >> count & 1);
  }
  void finish() {
    if (room_ < (last_ == 0xFF ? 7 : 8)) {
      byte_ <<= room_;
      flush();
    }
    if (last_ == 0xFF) bytes_.push_back(0);
  }

 private:
  void flush() {
    last_ = static_cast<uint8_t>(byte_);
    bytes_.push_back(last_);
    byte_ = 0;
    room_ = last_ == 0xFF ? 7 : 8;
  }

  img::Bytes& bytes_;
  int byte_ = 0, room_ = 8;
  uint8_t last_ = 0;
};

} // namespace j2k
