// Files as the sinks of writers. Under the path there is the old file or the whole new one, never a part.
#pragma once

#include <cstddef>
#include <string>

#include "common/sink.h"

namespace files {

using img::Bytes;
using img::ByteSpan;
using img::Error;
using img::fail;

// A file, or standard output where the path is "-". What is written goes to a temporary file until `commit`: in the
// same folder, which then takes the place of the old file with its mode and owner; or, where the folder cannot be
// written to or the old file has other names or another owner, elsewhere, to be copied into the old file. Links are
// followed. Devices, pipes and standard output get the bytes as they come.
class FileOutput : public img::ByteSink {
 public:
  FileOutput() = default;
  FileOutput(const FileOutput&) = delete;
  ~FileOutput() override; // without `commit` nothing is left behind

  Error open(const std::string& path);
  Error write(ByteSpan bytes) override;
  bool patches() const override { return way_ != Way::direct; }
  Error patch(uint64_t position, ByteSpan bytes) override;
  Error commit();

  // Whether this is the terminal, pipe or file that standard output goes to.
  bool isStandardOutput() const;

 private:
  enum class Way { direct, rename, copy };

  Error openTemporary();
  Error flush();
  Error copyOver();
  void discard();
  void discardTemporary();

  Way way_ = Way::direct;
  int file_ = -1;
  int target_ = -1; // of Way::copy
  std::string path_, temporary_;
  Bytes buffer_;
};

// A whole file.
Error writeFile(const std::string& path, ByteSpan content);

// From now on a signal that ends the program removes the temporary file first, and a closed pipe or a file that is too
// large is an error of writing.
void handleSignals();

} // namespace files
