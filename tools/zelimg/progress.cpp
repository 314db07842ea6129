#include "zelimg/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace zelimg {

Progress::Progress(const std::string& name, int64_t whole)
    : name_(name),
      whole_(whole),
      onTerminal_(::isatty(STDERR_FILENO) != 0),
      next_(Clock::now() + std::chrono::seconds(1)) {}

Progress::~Progress() {
  if (shown_) std::fprintf(stderr, "\r\033[K");
}

void Progress::at(int64_t part) {
  if (!onTerminal_ || Clock::now() < next_) return;
  constexpr int kWidth = 30;
  const auto share = [&](int of) {
    return static_cast<int>(std::min(part, whole_) * of / std::max<int64_t>(whole_, 1));
  };
  const int done = share(kWidth);
  const std::string bar =
      std::string(static_cast<size_t>(done), '#') + std::string(static_cast<size_t>(kWidth - done), '.');
  std::fprintf(stderr, "\r\033[K%s [%s] %d %%", name_.c_str(), bar.c_str(), share(100));
  std::fflush(stderr);
  shown_ = true;
  next_ = Clock::now() + std::chrono::milliseconds(100);
}

} // namespace zelimg
