// Runs the benchmarks that the other files register when the program starts.
#include <benchmark/benchmark.h>

#include "support/level.h"

int main(int argc, char** argv) {
  using namespace zelj::bench;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::AddCustomContext("zelj_level", loadedLevel());
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
