// Runs the tests after making sure that the loader took the level that they are meant for: a level that the processor
// lacks is skipped (exit code 77), a wrong one is a failure.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "zelj.h"

namespace {

bool processorHas(const std::string& level) {
  if (level == "x86-64-v4") return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
  if (level == "x86-64-v3") return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
  return true;
}

std::string loadedLevel() {
  Dl_info info{};
  dladdr(reinterpret_cast<void*>(&zeljGetLibVersion), &info);
  const std::string path = info.dli_fname ? info.dli_fname : "";
  for (const char* level : {"x86-64-v3", "x86-64-v4"}) {
    if (path.find(level) != std::string::npos) return level;
  }
  return "avx";
}

} // namespace

int main(int argc, char** argv) {
  const char* wanted = std::getenv("ZELJ_TEST_LEVEL");
  std::printf("zelj level: %s\n", loadedLevel().c_str());
  if (wanted && !processorHas(wanted)) {
    std::printf("skipped: this processor has no %s\n", wanted);
    return 77;
  }
  if (wanted && loadedLevel() != wanted) {
    std::fprintf(stderr, "the loader took %s, not %s\n", loadedLevel().c_str(), wanted);
    return 1;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
