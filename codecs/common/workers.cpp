#include "common/workers.h"

#include <system_error>

namespace img {
namespace {

// Waits until the value is another one. It comes in some ten microseconds as a rule: sleeping and waking up would take
// longer.
template <class T>
void waitWhile(const std::atomic<T>& value, T old) {
  for (int i = 0; i < 200 && value.load(std::memory_order_acquire) == old; ++i) std::this_thread::yield();
  while (value.load(std::memory_order_acquire) == old) value.wait(old);
}

} // namespace

bool Turns::await(int64_t item) const {
  for (;;) {
    const int64_t now = turn_.load(std::memory_order_acquire);
    if (now == item) return true;
    if (now == kGivenUp) return false;
    waitWhile(turn_, now);
  }
}

void Turns::pass() {
  // Work that was given up meanwhile stays given up.
  int64_t now = turn_.load(std::memory_order_relaxed);
  while (now != kGivenUp && !turn_.compare_exchange_weak(now, now + 1, std::memory_order_acq_rel)) {
  }
  turn_.notify_all();
}

void Turns::giveUp() {
  turn_.store(kGivenUp, std::memory_order_release);
  turn_.notify_all();
}

struct Workers::Job {
  Job(int64_t count, Call function, void* argument) : items(count), call(function), context(argument) {}

  int64_t items;
  Call call;
  void* context;
  std::atomic<int64_t> next{0};
  std::atomic<bool> givenUp{false};
  Turns turns;
  std::mutex mutex;
  std::exception_ptr thrown;

  void giveUp(std::exception_ptr exception) {
    {
      const std::lock_guard lock(mutex);
      if (!thrown) thrown = exception;
    }
    givenUp.store(true, std::memory_order_relaxed);
    turns.giveUp();
  }

  void takeItems(int thread) {
    try {
      for (int64_t item;
           !givenUp.load(std::memory_order_relaxed) && (item = next.fetch_add(1, std::memory_order_relaxed)) < items;) {
        if (!call(context, thread, item, turns)) giveUp(nullptr);
      }
    } catch (...) {
      giveUp(std::current_exception());
    }
  }
};

Workers::Workers(int threads) {
  try {
    others_.reserve(static_cast<size_t>(threads));
    for (int thread = 1; thread < threads; ++thread) others_.emplace_back([this, thread] { serve(thread); });
  } catch (const std::system_error&) {
  }
}

Workers::~Workers() {
  leaving_.store(true);
  generation_.fetch_add(1);
  generation_.notify_all();
  for (std::thread& other : others_) other.join();
}

void Workers::serve(int thread) {
  for (uint32_t seen = 0;;) {
    waitWhile(generation_, seen);
    ++seen; // the next job comes when all have finished this one
    if (leaving_.load()) return;
    job_->takeItems(thread);
    if (unfinished_.fetch_sub(1, std::memory_order_acq_rel) == 1) unfinished_.notify_all();
  }
}

void Workers::runItems(int64_t items, Call call, void* context) {
  Job job(items, call, context);
  if (others_.empty() || items < 2) {
    job.takeItems(0);
  } else {
    job_ = &job;
    unfinished_.store(static_cast<uint32_t>(others_.size()), std::memory_order_relaxed);
    generation_.fetch_add(1, std::memory_order_release);
    generation_.notify_all();
    job.takeItems(0);
    for (uint32_t left; (left = unfinished_.load(std::memory_order_acquire)) != 0;) waitWhile(unfinished_, left);
  }
  if (job.thrown) std::rethrow_exception(job.thrown);
}

} // namespace img
