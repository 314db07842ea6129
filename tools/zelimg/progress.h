// A bar on a terminal for work that takes longer than a second.
#pragma once

#include <chrono>
#include <string>

namespace zelimg {

class Progress {
 public:
  Progress(const std::string& name, int64_t whole);
  ~Progress(); // wipes the bar away
  void at(int64_t part);

 private:
  using Clock = std::chrono::steady_clock;
  const std::string name_;
  const int64_t whole_;
  const bool onTerminal_;
  Clock::time_point next_;
  bool shown_ = false;
};

} // namespace zelimg
