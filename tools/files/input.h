// Files as the inputs of readers.
#pragma once

#include <string>

#include "common/source.h"

namespace files {

using img::Bytes;
using img::ByteSpan;
using img::Error;
using img::fail;

// A file, or standard input where the path is "-".
class FileInput : public img::Input {
 public:
  FileInput() = default;
  ~FileInput() override;

  Error open(const std::string& path);

  Error read(uint8_t* bytes, size_t count, size_t& got) override;
  std::optional<uint64_t> size() const override { return size_; }
  Error seek(uint64_t position) override;

 private:
  int file_ = -1;
  std::optional<uint64_t> size_;
};

// A whole file.
Error readFile(const std::string& path, Bytes& content);

} // namespace files
