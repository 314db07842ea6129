#include "files/input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace files {
namespace {

Error failure() {
  return {std::strerror(errno)};
}

} // namespace

FileInput::~FileInput() {
  if (file_ > STDIN_FILENO) ::close(file_);
}

Error FileInput::open(const std::string& path) {
  file_ = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (file_ < 0 || ::fstat(file_, &status) != 0) return failure();
  if (S_ISDIR(status.st_mode)) return fail("this is a folder");
  if (S_ISREG(status.st_mode) && ::lseek(file_, 0, SEEK_CUR) == 0) size_ = static_cast<uint64_t>(status.st_size);
  return {};
}

Error FileInput::read(uint8_t* bytes, size_t count, size_t& got) {
  ssize_t done;
  do done = ::read(file_, bytes, count);
  while (done < 0 && errno == EINTR);
  got = done < 0 ? 0 : static_cast<size_t>(done);
  return done < 0 ? failure() : Error{};
}

Error FileInput::seek(uint64_t position) {
  return ::lseek(file_, static_cast<off_t>(position), SEEK_SET) < 0 ? failure() : Error{};
}

Error readFile(const std::string& path, Bytes& content) {
  FileInput input;
  if (Error error = input.open(path)) return fail("%s: %s", path.c_str(), error.message.c_str());
  img::ByteSource source(input);
  if (Error error = source.loadAll()) return fail("%s: %s", path.c_str(), error.message.c_str());
  content.assign(source.visible().begin(), source.visible().end());
  return {};
}

} // namespace files
