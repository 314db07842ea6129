// Items of work on several threads, and parts of the work that must go in the order of the items.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace jpeg {

// Calls work(thread, item) for each item 0..items-1. The items are handed out in ascending order; a thread that is told
// false by its work takes no more.
template <class F>
void sideBySide(int threads, int64_t items, F work) {
  std::atomic<int64_t> next{0};
  const auto takeItems = [&](int thread) {
    for (int64_t item; (item = next.fetch_add(1, std::memory_order_relaxed)) < items;) {
      if (!work(thread, item)) return;
    }
  };
  std::vector<std::jthread> others;
  for (int thread = 1; thread < std::min<int64_t>(threads, items); ++thread) others.emplace_back(takeItems, thread);
  takeItems(0);
}

// The turn goes from item to item. Every item that awaits its turn must pass it on.
class Turns {
 public:
  // The turn comes in some ten microseconds as a rule: sleeping and waking up would take longer.
  void await(int64_t item) const {
    for (int i = 0; i < 200 && turn_.load(std::memory_order_acquire) != item; ++i) std::this_thread::yield();
    for (int64_t now; (now = turn_.load(std::memory_order_acquire)) != item;) turn_.wait(now);
  }
  void pass() {
    turn_.fetch_add(1, std::memory_order_release);
    turn_.notify_all();
  }

 private:
  std::atomic<int64_t> turn_{0};
};

} // namespace jpeg
