// Runs the benchmarks that the other files register when the program starts.
#include <benchmark/benchmark.h>

#include <fstream>
#include <string>

#include "support/level.h"

namespace {

std::string processorName() {
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);) {
    if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
  }
  return "unknown processor";
}

} // namespace

int main(int argc, char** argv) {
  using namespace zelj::bench;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::AddCustomContext("zelj_level", loadedLevel());
  benchmark::AddCustomContext("processor", processorName());
#ifdef __clang__
  benchmark::AddCustomContext("compiler", __VERSION__);
#else
  benchmark::AddCustomContext("compiler", "GCC " __VERSION__);
#endif
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
