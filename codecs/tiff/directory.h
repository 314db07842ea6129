// The directory of a TIFF file: tags with their values.
#pragma once

#include <map>
#include <vector>

#include "tiff/tags.h"
#include "tiff/tiff.h"

namespace tiff {

class Directory {
 public:
  // The directory of a page, from 1 on.
  Error read(img::ByteSource& source, int page);

  bool bigEndian() const { return bigEndian_; }
  bool hasNext() const { return next_ != 0; } // another page follows
  // How many pages follow, as far as their directories lie in the file.
  int countFollowing(img::ByteSource& source) const;

  bool has(Tag tag) const { return entries_.count(tag) != 0; }

  // The numbers of a tag of bytes, shorts, longs or rationals, none if the tag is not there. More than `limit` are an
  // error.
  Error numbers(img::ByteSource& source, Tag tag, uint64_t limit, std::vector<uint32_t>& values) const;
  // One number, or `otherwise` if the tag is not there.
  Error number(img::ByteSource& source, Tag tag, uint32_t otherwise, uint32_t& value) const;
  Error bytes(img::ByteSource& source, Tag tag, uint64_t limit, Bytes& bytes) const;
  Error rational(img::ByteSource& source, Tag tag, double& value) const;

 private:
  struct Entry {
    uint16_t type;
    uint32_t count;
    uint8_t value[4]; // or the offset of the values
  };

  uint32_t get(const uint8_t* p, int size) const;
  // How many entries the directory at a place has, and where the next one is.
  Error measure(img::ByteSource& source, uint32_t position, uint32_t& entries, uint32_t& next) const;
  Error values(img::ByteSource& source, const Entry& entry, uint64_t limit, Bytes& raw) const;

  bool bigEndian_ = false;
  uint32_t next_ = 0;
  std::map<uint16_t, Entry> entries_;
};

} // namespace tiff
