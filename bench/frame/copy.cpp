// The machine's copy bandwidth, for kernels that are bound by memory: in the second-level cache and beyond all caches.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/measure.h"

namespace zelj::bench {
namespace {

void add(const std::string& work, size_t bytes) {
  // Filled by the first call, which is not measured: runs of other benchmarks need not wait for so much memory.
  const auto from = std::make_shared<std::vector<char>>(), to = std::make_shared<std::vector<char>>();
  measure("frame/" + work, "memcpy", "bytes", static_cast<double>(bytes), [=] {
    from->resize(bytes, 1);
    to->resize(bytes);
    std::memcpy(to->data(), from->data(), bytes);
  });
}

[[maybe_unused]] const bool registered = (add("copy of 192 KiB", 192 << 10), add("copy of 128 MiB", 128 << 20), true);

} // namespace
} // namespace zelj::bench
