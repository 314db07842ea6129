// What a second thread brings to the exports that share their rows out over threads, on 8 megapixels.
#include <omp.h>

#include <memory>
#include <string>
#include <vector>

#include "support/measure.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

constexpr int kWidth = 3456, kHeight = 2432, kPixels = kWidth * kHeight;
constexpr ZeliSize kSize = {kWidth, kHeight}, kHalf = {kWidth / 2, kHeight / 2};

// f(source, destination) on one thread and on two, by the clock on the wall.
template <class F>
void add(const std::string& work, size_t sourceBytes, size_t destinationBytes, F f) {
  const auto source = std::make_shared<std::vector<Zel8u>>(), destination = std::make_shared<std::vector<Zel8u>>();
  for (const int threads : {1, 2}) {
    measure("threads/" + work + ", 2 threads", threads == 2 ? "zelj" : "zelj, 1 thread", "pixels", kPixels, [=] {
      source->resize(sourceBytes, 100);
      destination->resize(destinationBytes);
      const int before = omp_get_max_threads();
      omp_set_num_threads(threads);
      f(source->data(), destination->data());
      omp_set_num_threads(before);
    })->UseRealTime();
  }
}

void registerAll() {
  add("level shift of 8 Mpx", kPixels, 2 * kPixels, [](const Zel8u* source, Zel8u* destination) {
    zeliSub128_JPEG_8u16s_C1R(source, kWidth, reinterpret_cast<Zel16s*>(destination), 2 * kWidth, kSize);
  });
  add("RGB to YCbCr of 8 Mpx", 3 * kPixels, 3 * kPixels, [](const Zel8u* source, Zel8u* destination) {
    Zel8u* planes[] = {destination, destination + kPixels, destination + 2 * kPixels};
    zeliRGBToYCbCr_JPEG_8u_C3P3R(source, 3 * kWidth, planes, kWidth, kSize);
  });
  add("plane up h2v2 to 8 Mpx", kPixels / 2, kPixels, [](const Zel8u* source, Zel8u* destination) {
    constexpr int kStep = kWidth / 2 + 2;
    zeliSampleUpH2V2_JPEG_8u_C1R(source + kStep + 1, kStep, kHalf, destination, kWidth, kSize);
  });
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
