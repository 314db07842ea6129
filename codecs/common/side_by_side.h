// Work on items that have nothing to do with each other.
#pragma once

#include "common/workers.h"

namespace img {

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
