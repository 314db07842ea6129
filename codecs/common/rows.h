// The one interface of all codecs and file formats: a reader tells what the picture is and gives its rows from top to
// bottom, a writer takes them. Neither needs the whole picture in memory unless its format demands it.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/picture.h"

namespace img {

// Neighbouring rows in memory; `step` bytes lie between the beginnings of two.
template <class Byte>
struct BasicRows {
  Byte* data = nullptr;
  ptrdiff_t step = 0;
  int count = 0;

  template <class Sample>
  auto row(int y) const {
    using Pointer = std::conditional_t<std::is_const_v<Byte>, const Sample*, Sample*>;
    return reinterpret_cast<Pointer>(data + y * step);
  }
  BasicRows part(int first, int rows) const { return {data + first * step, step, rows}; }
};
using Rows = BasicRows<uint8_t>;
using ConstRows = BasicRows<const uint8_t>;

inline ConstRows asConst(const Rows& rows) {
  return {rows.data, rows.step, rows.count};
}

// Hears how many rows have been put through; may be empty.
using Progress = std::function<void(int)>;

class RowWriter;

class RowReader {
 public:
  virtual ~RowReader() = default;

  const Picture& picture() const { return picture_; }

  // Puts the next rows.count rows there, which must not be more than are left.
  virtual Error read(const Rows& rows) = 0;

  // A reader that works with several threads puts all rows through to the writer by itself.
  virtual bool pushes() const { return false; }
  virtual Error push(RowWriter&, const Progress&) { return fail("this reader does not push"); }

  // Called behind the last row: looks at what follows it in the file.
  virtual Error finish() { return {}; }

  // Reading goes best in multiples of this.
  virtual int rowsAtOnce() const { return 1; }

  // What the user should know of a file that was read nevertheless, and whether samples of it were lost.
  const std::vector<std::string>& remarks() const { return remarks_; }
  bool damaged() const { return damaged_; }

 protected:
  Picture picture_;
  std::vector<std::string> remarks_;
  bool damaged_ = false;
};

class RowWriter {
 public:
  virtual ~RowWriter() = default;

  // The next rows of the picture. They are no longer needed when the call returns.
  virtual Error write(const ConstRows& rows) = 0;

  // A writer that works with several threads takes all rows from the reader by itself.
  virtual bool pulls() const { return false; }
  virtual Error pull(RowReader&, const Progress&) { return fail("this writer does not pull"); }

  // Called behind the last row: completes the file.
  virtual Error finish() = 0;

  // Writing goes best in multiples of this.
  virtual int rowsAtOnce() const { return 1; }

  // What the user asked to hear, or should know, of the file that was written.
  const std::vector<std::string>& remarks() const { return remarks_; }

 protected:
  std::vector<std::string> remarks_;
};

} // namespace img
