// Level shift beside the machine's copy bandwidth in the same cache: both are bound by memory.
#include <cstring>
#include <vector>

#include "support/measure.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

void registerAll() {
  constexpr int kWidth = 512, kHeight = 128;
  constexpr double kPixels = kWidth * kHeight;
  static std::vector<Zel8u> samples(kWidth * kHeight, 100);
  static std::vector<Zel16s> shifted(kWidth * kHeight, 100);
  measure("level_shift/sub128", "zelj", "pixels", kPixels, [] {
    zeliSub128_JPEG_8u16s_C1R(samples.data(), kWidth, shifted.data(), 2 * kWidth, {kWidth, kHeight});
  });
  measure("level_shift/add128", "zelj", "pixels", kPixels, [] {
    zeliAdd128_JPEG_16s8u_C1R(shifted.data(), 2 * kWidth, samples.data(), kWidth, {kWidth, kHeight});
  });
  static std::vector<Zel8u> from(3 * kWidth * kHeight / 2), to(from.size());
  for (const char* work : {"level_shift/sub128", "level_shift/add128"}) {
    measure(work, "memcpy of as many bytes", "pixels", kPixels,
            [] { std::memcpy(to.data(), from.data(), from.size()); });
  }
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
