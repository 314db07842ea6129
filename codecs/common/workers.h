// Work on several threads whose first and last steps must go in order.
#pragma once

#include <cstdint>
#include <functional>

namespace img {

// What is to be done with each item of a pipeline: `begin` in the order of the items and one at a time, then `work`
// side by side, then `end` in their order again. The thread that begins an item works on it, so that what is in its
// cache stays there; each thread has a few slots of its own, and an item has one of them from `begin` to `end`. A step
// that is false gives the work up.
struct Pipeline {
  static constexpr int kSlotsOfThread = 2;

  int64_t items = 0;
  bool beginsEarly = false; // `begin` is the longest step: a thread that can take it does nothing else before
  std::function<bool(int64_t item, int slot)> begin;
  std::function<bool(int64_t item, int slot)> work; // the thread is slot / kSlotsOfThread
  std::function<bool(int64_t item, int slot)> end;  // none: items need no order behind their work
};

// Does it on at most so many threads, fewer where the system gives fewer. Returns when no step is going on any more.
// What a step throws first is thrown here.
void run(const Pipeline& pipeline, int threads);

// Calls work(thread, item) for all items, on at most so many threads.
template <class F>
void sideBySide(size_t items, int threads, F work) {
  Pipeline pipeline;
  pipeline.items = static_cast<int64_t>(items);
  pipeline.begin = [](int64_t, int) { return true; };
  pipeline.work = [&](int64_t item, int slot) {
    work(static_cast<size_t>(slot / Pipeline::kSlotsOfThread), static_cast<size_t>(item));
    return true;
  };
  run(pipeline, threads);
}

} // namespace img
