// Which instruction-set level of the library the loader took for this process.
#pragma once

#include <dlfcn.h>

#include <cstring>

#include "zelj.h"

namespace zelj::bench {

inline const char* loadedLevel() {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<void*>(&zeljGetLibVersion), &info) || !info.dli_fname) return "avx";
  if (std::strstr(info.dli_fname, "x86-64-v4")) return "x86-64-v4";
  return std::strstr(info.dli_fname, "x86-64-v3") ? "x86-64-v3" : "avx";
}

} // namespace zelj::bench
