// How a benchmark is named and counted. The report pairs the names: <work>/zelj is set beside <work>/<peer>.
#pragma once

#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include <string>

namespace zelj::bench {

// Registers the benchmark `<work>/<who>`: f() does `items` pixels, blocks or bytes of work, named by `unit`. State that
// must live as long as the benchmark is captured by f (by shared pointer or from static storage). Rates are by
// processor time of the calling thread, unless the result is told otherwise. Under callgrind each benchmark leaves a
// profile of one f(), named by itself and the number of items.
template <class F>
auto* measure(const std::string& work, const std::string& who, const char* unit, double items, F f) {
  const std::string name = work + "/" + who, profile = name + " | " + std::to_string(items);
  return benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    f(); // warms the caches, and touches memory for the first time
    if (RUNNING_ON_VALGRIND) {
      CALLGRIND_START_INSTRUMENTATION;
      f();
      CALLGRIND_STOP_INSTRUMENTATION;
      CALLGRIND_DUMP_STATS_AT(profile.c_str());
    }
    for (auto _ : state) {
      f();
      benchmark::ClobberMemory();
    }
    state.counters[unit] = benchmark::Counter(items, benchmark::Counter::kIsIterationInvariantRate);
  });
}

} // namespace zelj::bench
