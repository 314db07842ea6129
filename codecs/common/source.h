// Where a reader takes encoded bytes from: memory, or a file, a pipe or a camera through a window that moves along. The
// window holds no more than a reader asks for, so that the size of a file does not matter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "common/aligned.h"
#include "common/bytes.h"
#include "common/error.h"

namespace img {

// What a window is filled from. A program makes its own for what it has: a socket, say.
class Input {
 public:
  virtual ~Input() = default;

  // The next bytes, `count` at most: `got` of them, 0 at the end only.
  virtual Error read(uint8_t* bytes, size_t count, size_t& got) = 0;

  // How many bytes there are in all, if that is known. Such an input can be read from any place.
  virtual std::optional<uint64_t> size() const { return {}; }

  // The next read begins here. Called where the size is known.
  virtual Error seek(uint64_t) { return fail("this input cannot be read from any place"); }
};

class ByteSource {
 public:
  explicit ByteSource(ByteSpan memory) : visible_(memory), ended_(true), memory_(memory) {}
  explicit ByteSource(Input& input) : input_(&input) {}
  ByteSource(const ByteSource&) = delete;

  // The bytes from the position on that are in memory. They stay where they are until the next call that is not const.
  ByteSpan visible() const { return visible_; }

  // Makes `count` bytes visible at least; fewer only where the bytes end.
  Error fill(size_t count) { return visible_.size() >= count || ended_ ? Error{} : fillFromInput(count); }

  // Makes room for this many bytes from the position on: filled up to them, the window stays where it is.
  void reserve(size_t count);

  // Whether no byte follows the visible ones.
  bool ended() const { return ended_; }

  // Steps over visible bytes.
  void skip(size_t count) {
    visible_ = visible_.subspan(count);
    position_ += count;
  }

  // Takes the next `count` bytes, past the window where it can; `got` is smaller only where the bytes end.
  Error read(uint8_t* bytes, size_t count, size_t& got);

  // Makes all bytes from the position on visible.
  Error loadAll();

  // Of the first visible byte, from the beginning of the data.
  uint64_t position() const { return position_; }

  // How many bytes there are from the beginning, if that is known without reading them.
  std::optional<uint64_t> size() const { return input_ ? input_->size() : memory_.size(); }

  // Moves to any place. Bytes of an input without a size are kept from the position on at which `keepForSeeking` was
  // called: all of them are read into memory then.
  Error keepForSeeking();
  Error seek(uint64_t position);

 private:
  void moveToFront(size_t size);
  Error fillFromInput(size_t count);

  Input* input_ = nullptr;
  ByteSpan visible_;
  uint64_t position_ = 0;
  bool ended_ = false;
  ByteSpan memory_; // all bytes from memoryBegin_ on, where these are in memory
  uint64_t memoryBegin_ = 0;
  AlignedArray<uint8_t> buffer_;
};

} // namespace img
