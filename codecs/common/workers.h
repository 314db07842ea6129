// Items of work on several threads, and parts of the work that must go in the order of the items.
#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace img {

// The turn goes from item to item.
class Turns {
 public:
  // Waits until the items before this one have passed their turn. False if the work has been given up: then there is
  // nothing more to do, and no turn to pass.
  bool await(int64_t item) const;
  void pass();

 private:
  friend class Workers;
  static constexpr int64_t kGivenUp = -1;
  void giveUp();

  std::atomic<int64_t> turn_{0};
};

// Threads that sleep until there is work, and stay for the next.
class Workers {
 public:
  // The calling thread is one of them. Where the system gives fewer, there are fewer.
  explicit Workers(int threads);
  Workers(const Workers&) = delete;
  ~Workers();

  int count() const { return 1 + static_cast<int>(others_.size()); }

  // Calls work(thread, item, turns) for each item 0..items-1 and returns when all is done. The items are handed out in
  // ascending order. Where a call returns false or throws, the work is given up: no item is begun any more, and a call
  // that awaits its turn is told so. What was thrown first is thrown here.
  template <class F>
  void run(int64_t items, F&& work) {
    runItems(
        items,
        [](void* context, int thread, int64_t item, Turns& turns) {
          return (*static_cast<std::remove_reference_t<F>*>(context))(thread, item, turns);
        },
        &work);
  }

 private:
  using Call = bool (*)(void* context, int thread, int64_t item, Turns& turns);
  struct Job;

  void runItems(int64_t items, Call call, void* context);
  void serve(int thread);

  std::vector<std::thread> others_;
  Job* job_ = nullptr;
  std::atomic<uint32_t> generation_{0}, unfinished_{0};
  std::atomic<bool> leaving_{false};
};

} // namespace img
