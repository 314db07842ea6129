// Where a writer puts encoded bytes.
#pragma once

#include <cstring>

#include "common/bytes.h"
#include "common/error.h"

namespace img {

// A program makes its own for what it has: a socket, say.
class ByteSink {
 public:
  virtual ~ByteSink() = default;

  virtual Error write(ByteSpan bytes) = 0;

  // Replaces bytes that have been written: formats need it whose headers tell what only the end of the work shows.
  // Pipes cannot do that, and a writer keeps what it has written to itself until the end.
  virtual bool patches() const { return true; }
  virtual Error patch(uint64_t position, ByteSpan bytes) = 0;
};

// Appends to memory.
class MemorySink : public ByteSink {
 public:
  explicit MemorySink(Bytes& bytes) : bytes_(bytes) {}

  Error write(ByteSpan bytes) override {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return {};
  }
  Error patch(uint64_t position, ByteSpan bytes) override {
    std::memcpy(bytes_.data() + position, bytes.data(), bytes.size());
    return {};
  }

 private:
  Bytes& bytes_;
};

} // namespace img
