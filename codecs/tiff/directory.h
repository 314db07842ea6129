// The directory of a TIFF file: tags with their values.
#pragma once

#include <map>
#include <vector>

#include "tiff/tags.h"
#include "tiff/tiff.h"

namespace tiff {

class Directory {
 public:
  // The first directory of a file.
  Error read(img::ByteSource& source);

  bool bigEndian() const { return bigEndian_; }
  bool hasNext() const { return hasNext_; } // another picture follows

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
  Error values(img::ByteSource& source, const Entry& entry, uint64_t limit, Bytes& raw) const;

  bool bigEndian_ = false, hasNext_ = false;
  std::map<uint16_t, Entry> entries_;
};

} // namespace tiff
