#include "common/workers.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace img {
namespace {

// Waits until the value is another one. It comes in some ten microseconds as a rule: sleeping and waking up would take
// longer, and giving the processor away helps only where there are fewer of them than threads.
void waitWhile(const std::atomic<uint32_t>& value, uint32_t old) {
  const auto same = [&] { return value.load(std::memory_order_acquire) == old; };
  for (int i = 0; i < 2000 && same(); ++i) {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#endif
  }
  for (int i = 0; i < 50 && same(); ++i) std::this_thread::yield();
  while (same()) value.wait(old);
}

// A thread looks for the step that is most urgent: what ends items, since slots become free by it; what begins one,
// since only one thread can do that at a time; then what it has begun itself.
class Runner {
 public:
  Runner(const Pipeline& pipeline, int threads)
      : p_(pipeline), inFlight_(static_cast<size_t>(threads * kSlots)), slots_(inFlight_.size(), kFree) {}

  void takeSteps(int thread) {
    const int firstSlot = thread * kSlots;
    std::unique_lock lock(mutex_);
    while (!givenUp_ && ended_ < p_.items) {
      const int begun = oldest(firstSlot), free = find(firstSlot, kFree);
      InFlight& first = at(ended_);
      const bool canBegin = !beginning_ && begun_ < p_.items && free >= 0;
      if (p_.end && !ending_ && ended_ < begun_ && first.worked && first.slot / kSlots == thread) {
        ending_ = true;
        step(lock, [&] { return p_.end(ended_, first.slot); });
        slots_[static_cast<size_t>(first.slot)] = kFree;
        ending_ = false;
        ++ended_;
      } else if (canBegin && (begun < 0 || p_.beginsEarly)) {
        beginning_ = true;
        at(begun_) = {free, false};
        step(lock, [&] { return p_.begin(begun_, free); });
        slots_[static_cast<size_t>(free)] = begun_;
        beginning_ = false;
        ++begun_;
      } else if (begun >= 0) {
        const int64_t item = slots_[static_cast<size_t>(begun)];
        slots_[static_cast<size_t>(begun)] = kBusy;
        step(lock, [&] { return p_.work(item, begun); });
        if (p_.end) {
          at(item).worked = true;
        } else {
          slots_[static_cast<size_t>(begun)] = kFree;
          ++ended_;
        }
      } else {
        const uint32_t seen = changes_.load(std::memory_order_relaxed);
        lock.unlock();
        waitWhile(changes_, seen);
        lock.lock();
        continue;
      }
      changes_.fetch_add(1, std::memory_order_release);
      changes_.notify_all();
    }
  }

  void rethrow() const {
    if (thrown_) std::rethrow_exception(thrown_);
  }

 private:
  static constexpr int kSlots = Pipeline::kSlotsOfThread;
  static constexpr int64_t kFree = -1, kBusy = -2;

  struct InFlight {
    int slot = 0;
    bool worked = false;
  };

  InFlight& at(int64_t item) { return inFlight_[static_cast<size_t>(item) % inFlight_.size()]; }

  // Among the slots of a thread: one that holds this, and the one whose item was begun first; -1 if there is none.
  int find(int firstSlot, int64_t what) const {
    for (int slot = firstSlot; slot < firstSlot + kSlots; ++slot) {
      if (slots_[static_cast<size_t>(slot)] == what) return slot;
    }
    return -1;
  }
  int oldest(int firstSlot) const {
    int found = -1;
    for (int slot = firstSlot; slot < firstSlot + kSlots; ++slot) {
      const int64_t item = slots_[static_cast<size_t>(slot)];
      if (item >= 0 && (found < 0 || item < slots_[static_cast<size_t>(found)])) found = slot;
    }
    return found;
  }

  template <class F>
  void step(std::unique_lock<std::mutex>& lock, F f) {
    bool good = false;
    std::exception_ptr thrown;
    lock.unlock();
    try {
      good = f();
    } catch (...) {
      thrown = std::current_exception();
    }
    lock.lock();
    givenUp_ |= !good;
    if (!thrown_) thrown_ = thrown;
  }

  const Pipeline& p_;
  std::mutex mutex_;
  std::atomic<uint32_t> changes_{0}; // of what follows
  int64_t begun_ = 0, ended_ = 0;
  std::vector<InFlight> inFlight_; // a ring of the items from `ended_` to `begun_`
  std::vector<int64_t> slots_;     // the items that have been begun and not been worked on
  bool beginning_ = false, ending_ = false, givenUp_ = false;
  std::exception_ptr thrown_;
};

} // namespace

void run(const Pipeline& pipeline, int threads) {
  threads = static_cast<int>(std::min<int64_t>(threads, pipeline.items));
  Runner runner(pipeline, threads);
  std::vector<std::thread> others;
  try {
    others.reserve(static_cast<size_t>(threads));
    for (int thread = 1; thread < threads; ++thread) {
      others.emplace_back([&runner, thread] { runner.takeSteps(thread); });
    }
  } catch (const std::system_error&) {
  } catch (const std::bad_alloc&) {
  }
  runner.takeSteps(0);
  for (std::thread& other : others) other.join();
  runner.rethrow();
}

} // namespace img
