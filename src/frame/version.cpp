// The version record, the one data structure that the library hands out.
#include "zelj.h"

namespace {
constexpr ZelLibVersion kVersion = {7, 0, 205, 1032, "e9", "zelje9-7.0.dll", "7.0 build 205.58", "Apr 18 2011"};
} // namespace

const ZelLibVersion* zeljGetLibVersion() {
  return &kVersion;
}
