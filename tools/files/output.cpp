#include "files/output.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>

namespace files {
namespace {

constexpr size_t kBufferSize = size_t{1} << 16;

// The temporary file that a signal must remove: a program writes one file at a time.
std::atomic<const char*> temporaryFile{nullptr};

// Whether signals have to wait, and which one does.
std::atomic<bool> signalsWait{false};
std::atomic<int> waiting{0};

extern "C" void removeTemporaryFile(int signal) {
  if (signalsWait) {
    waiting = signal;
    return;
  }
  if (const char* path = temporaryFile.load()) ::unlink(path);
  ::signal(signal, SIG_DFL);
  ::raise(signal);
}

struct SignalsWait {
  SignalsWait() { signalsWait = true; }
  ~SignalsWait() {
    signalsWait = false;
    if (waiting) removeTemporaryFile(waiting);
  }
};

Error failure() {
  return {std::strerror(errno)};
}

Error writeAll(int file, ByteSpan content) {
  while (!content.empty()) {
    const ssize_t written = ::write(file, content.data(), content.size());
    if (written < 0 && errno != EINTR) return failure();
    if (written > 0) content = content.subspan(static_cast<size_t>(written));
  }
  return {};
}

mode_t usualMode() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

// Where a path leads by its links, also to a file that is not there yet.
std::string followed(const std::string& path) {
  std::filesystem::path at = path;
  std::error_code bad;
  for (int i = 0; i < 40 && std::filesystem::is_symlink(at, bad); ++i) {
    const std::filesystem::path to = std::filesystem::read_symlink(at, bad);
    at = to.is_absolute() ? to : at.parent_path() / to;
  }
  return at.string();
}

} // namespace

FileOutput::~FileOutput() {
  discard();
}

void FileOutput::discard() {
  if (target_ >= 0) ::close(target_);
  target_ = -1;
  discardTemporary();
}

void FileOutput::discardTemporary() {
  if (file_ > STDERR_FILENO) ::close(file_);
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
  temporaryFile.store(nullptr);
  temporary_.clear();
  file_ = -1;
}

bool FileOutput::isStandardOutput() const {
  return file_ == STDOUT_FILENO;
}

Error FileOutput::open(const std::string& path) {
  buffer_.reserve(kBufferSize);
  if (path == "-" || path == "/dev/stdout") {
    file_ = STDOUT_FILENO;
    return {};
  }
  struct stat old {};
  const bool exists = ::stat(path.c_str(), &old) == 0;
  if (!exists && errno == ELOOP) return failure();
  if (exists && S_ISDIR(old.st_mode)) return fail("this is a folder");
  if (exists && !S_ISREG(old.st_mode)) { // the name of a pipe of the shell leads to nothing that has a name
    file_ = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    return file_ < 0 ? failure() : Error{};
  }
  path_ = followed(path);
  if (exists) {
    target_ = ::open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    if (target_ < 0) return failure();
  }
  // A new file takes the place of the old one unless something of the old one would be lost by that.
  const bool foreign = exists && old.st_uid != ::geteuid() && ::geteuid() != 0;
  if (!exists || (old.st_nlink == 1 && !foreign)) {
    const Error error = openTemporary();
    if (!error && exists) {
      if (::fchown(file_, old.st_uid, old.st_gid) == 0 && ::fchmod(file_, old.st_mode & 07777) == 0) {
        way_ = Way::rename;
        return {};
      }
      discardTemporary();
    } else if (!error) {
      way_ = Way::rename;
      return ::fchmod(file_, usualMode()) == 0 ? Error{} : failure();
    } else if (!exists) {
      return error;
    }
  }
  way_ = Way::copy;
  std::error_code bad;
  std::string name = (std::filesystem::temp_directory_path(bad) / "zelimg-XXXXXX").string();
  file_ = ::mkstemp(name.data());
  if (file_ < 0) return failure();
  ::unlink(name.c_str());
  return {};
}

Error FileOutput::openTemporary() {
  const size_t slash = path_.rfind('/');
  temporary_ = (slash == std::string::npos ? "" : path_.substr(0, slash + 1)) + ".zelimg-XXXXXX";
  file_ = ::mkstemp(temporary_.data());
  if (file_ < 0) {
    const Error error = failure();
    temporary_.clear();
    return error;
  }
  temporaryFile.store(temporary_.c_str());
  return {};
}

Error FileOutput::flush() {
  const Error error = writeAll(file_, buffer_);
  buffer_.clear();
  return error;
}

Error FileOutput::write(ByteSpan bytes) {
  if (buffer_.size() + bytes.size() > kBufferSize) {
    if (Error error = flush()) return error;
  }
  if (bytes.size() >= kBufferSize) return writeAll(file_, bytes);
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
  return {};
}

Error FileOutput::patch(uint64_t position, ByteSpan bytes) {
  if (!patches()) return fail("what has gone to a pipe or device cannot be changed");
  if (Error error = flush()) return error;
  while (!bytes.empty()) {
    const ssize_t written = ::pwrite(file_, bytes.data(), bytes.size(), static_cast<off_t>(position));
    if (written < 0 && errno != EINTR) return failure();
    if (written <= 0) continue;
    position += static_cast<uint64_t>(written);
    bytes = bytes.subspan(static_cast<size_t>(written));
  }
  return {};
}

// The old file stays as it is until there is room for the new one. From there on signals wait.
Error FileOutput::copyOver() {
  struct stat fresh {
  }, old{};
  if (::fstat(file_, &fresh) != 0 || ::fstat(target_, &old) != 0) return failure();
  if (::lseek(file_, 0, SEEK_SET) < 0) return failure();
  Bytes part(kBufferSize);
  if (const int bad = ::posix_fallocate(target_, 0, fresh.st_size); bad == ENOSPC || bad == EFBIG) {
    if (::ftruncate(target_, old.st_size) != 0) return failure();
    return {std::strerror(bad)};
  }
  const SignalsWait wait;
  for (ssize_t got; (got = ::read(file_, part.data(), part.size())) != 0;) {
    if (got < 0 && errno != EINTR) return failure();
    if (got < 0) continue;
    if (Error error = writeAll(target_, ByteSpan(part).first(static_cast<size_t>(got)))) return error;
  }
  if (::ftruncate(target_, fresh.st_size) != 0) return failure();
  const int target = target_;
  target_ = -1;
  return ::close(target) == 0 ? Error{} : failure();
}

Error FileOutput::commit() {
  if (Error error = flush()) return error;
  if (way_ == Way::copy) {
    if (Error error = copyOver()) return error;
  }
  const int file = file_;
  file_ = -1;
  if (::close(file) != 0) return failure();
  if (way_ != Way::rename) return {};
  if (::rename(temporary_.c_str(), path_.c_str()) != 0) return failure();
  temporaryFile.store(nullptr);
  temporary_.clear();
  return {};
}

Error writeFile(const std::string& path, ByteSpan content) {
  FileOutput output;
  Error error = output.open(path);
  if (!error) error = output.write(content);
  if (!error) error = output.commit();
  return error ? fail("%s: %s", path.c_str(), error.message.c_str()) : error;
}

void handleSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    struct sigaction now {};
    if (::sigaction(signal, nullptr, &now) == 0 && now.sa_handler != SIG_IGN) ::signal(signal, removeTemporaryFile);
  }
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
}

} // namespace files
