// The rows of a file, strip by strip: of whole pixels, or of one channel where channels lie in planes of their own.
#pragma once

#include <vector>

#include "tiff/tags.h"
#include "tiff/tiff.h"

namespace tiff {

// What is said of damage that --keep-going goes on behind.
inline Error lossy(const Error& damage) {
  return fail("%s (--keep-going makes a picture of what is left)", damage.message.c_str());
}

struct Strips {
  uint32_t scheme = kNone;
  size_t rowBytes = 0;
  uint64_t rowsOfStrip = 1;
  std::vector<uint32_t> offsets, counts; // there may be no counts where nothing is packed
};

class StripReader {
 public:
  StripReader(img::ByteSource& source, Strips strips, bool keepGoing)
      : source_(source), strips_(std::move(strips)), keepGoing_(keepGoing) {}

  // The next rows, one behind the other and in the machine's byte order where the scheme settles that.
  Error read(uint8_t* to, size_t rows);

  // What was wrong first with a file that was read nevertheless. What could not be read is zero.
  const std::string& damage() const { return damage_; }

 private:
  Error readPlain(uint8_t* to, size_t rows);
  Error readPacked(uint8_t* to);
  Error unpack(uint8_t* to, size_t count);
  Error fill(size_t wanted);
  Error seek(uint64_t position);
  Error note(const Error& damage);

  img::ByteSource& source_;
  const Strips strips_;
  const bool keepGoing_;
  std::string damage_;
  uint64_t next_ = 0;

  // The window of a packed strip: what is unread, and where the rest of it is.
  Bytes window_, planes_;
  size_t begin_ = 0, end_ = 0;
  uint64_t position_ = 0;
  uint32_t left_ = 0;
  bool lost_ = false;
};

} // namespace tiff
