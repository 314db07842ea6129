#include "common/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace img {
namespace {

Error failure(const std::string& path) {
  return fail("%s: %s", path.c_str(), std::strerror(errno));
}

bool writeAll(int file, ByteSpan content) {
  while (!content.empty()) {
    const ssize_t written = ::write(file, content.data(), content.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) content = content.subspan(static_cast<size_t>(written));
  }
  return true;
}

// Devices and pipes cannot be replaced by renaming.
bool isSpecial(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

Error writeInPlace(const std::string& path, ByteSpan content) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (file < 0) return failure(path);
  const bool done = writeAll(file, content);
  const Error error = done ? Error{} : failure(path);
  ::close(file);
  return error;
}

// mkstemp makes files that only their owner may read; a new file should have the rights of any other.
void giveUsualRights(int file) {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  (void)::fchmod(file, 0666 & ~mask);
}

} // namespace

Error readFile(const std::string& path, Bytes& content) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return failure(path);
  content.clear();
  size_t size = 0;
  ssize_t got = 1;
  while (got > 0) {
    if (content.size() - size < 65536) content.resize(2 * content.size() + (1u << 20));
    got = ::read(file, content.data() + size, content.size() - size);
    if (got < 0 && errno == EINTR)
      got = 1;
    else if (got > 0)
      size += static_cast<size_t>(got);
  }
  const Error error = got < 0 ? failure(path) : Error{};
  ::close(file);
  content.resize(size);
  return error;
}

Error writeFile(const std::string& path, ByteSpan content) {
  if (isSpecial(path)) return writeInPlace(path, content);
  std::string temporary = path + ".XXXXXX";
  const int file = ::mkstemp(temporary.data());
  if (file < 0) return failure(path);
  giveUsualRights(file);
  bool done = writeAll(file, content);
  done = ::close(file) == 0 && done;
  done = done && ::rename(temporary.c_str(), path.c_str()) == 0;
  if (done) return {};
  const Error error = failure(path);
  ::unlink(temporary.c_str());
  return error;
}

} // namespace img
