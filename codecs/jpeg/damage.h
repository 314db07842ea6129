// What is wrong with a file. Threads report here.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "common/rows.h"
#include "jpeg/jpeg.h"

namespace jpeg {

class Damage {
 public:
  explicit Damage(bool keepGoing) : keepGoing_(keepGoing) {}

  // Samples are lost. What is told first counts; all else follows from it as a rule.
  void note(const std::string& message) {
    const std::lock_guard lock(mutex_);
    if (first_.empty()) first_ = message;
    found_.store(true, std::memory_order_relaxed);
  }
  // Something is odd, but no sample is lost by it.
  void remark(const std::string& message) {
    const std::lock_guard lock(mutex_);
    for (const std::string& other : remarks_) {
      if (other == message) return;
    }
    remarks_.push_back(message);
  }

  bool found() const { return found_.load(std::memory_order_relaxed); }
  bool stops() const { return !keepGoing_ && found(); }
  Error error() const {
    const std::lock_guard lock(mutex_);
    return fail("%s (--keep-going makes a picture of what is left)", first_.c_str());
  }
  const std::string& first() const { return first_; }
  const std::vector<std::string>& remarks() const { return remarks_; }

 private:
  const bool keepGoing_;
  std::atomic<bool> found_{false};
  mutable std::mutex mutex_;
  std::string first_;
  std::vector<std::string> remarks_;
};

// A reader that tells at its end what was wrong.
class DamageReader : public img::RowReader {
 public:
  explicit DamageReader(bool keepGoing) : damage_(keepGoing) {}

  Error finish() override {
    damaged_ = damage_.found();
    if (damaged_) remarks_.push_back(damage_.first());
    remarks_.insert(remarks_.end(), damage_.remarks().begin(), damage_.remarks().end());
    return {};
  }

 protected:
  Damage damage_;
};

inline const char* const kStrayBytes = "bytes that belong to no segment or block are passed over";

} // namespace jpeg
