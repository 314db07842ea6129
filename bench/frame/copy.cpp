// The machine's copy bandwidth, for kernels that are bound by memory: in the second-level cache and beyond all caches.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/measure.h"

namespace zelj::bench {
namespace {

void registerAll() {
  struct Copy {
    const char* name;
    size_t bytes;
  };
  for (const auto& [name, bytes] : {Copy{"192 KiB", 192u << 10}, Copy{"128 MiB", 128u << 20}}) {
    // Made when first used: other runs need not wait for so much memory.
    const auto from = std::make_shared<std::vector<char>>(), to = std::make_shared<std::vector<char>>();
    measure(std::string("frame/copy of ") + name, "memcpy", "bytes", static_cast<double>(bytes), [=, size = bytes] {
      if (from->empty()) {
        from->resize(size, 1);
        to->resize(size);
      }
      std::memcpy(to->data(), from->data(), size);
    });
  }
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
