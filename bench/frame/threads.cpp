// What a second thread brings to the exports that share their rows out over threads, on 8 megapixels.
#include <omp.h>

#include <memory>
#include <string>
#include <vector>

#include "support/measure.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

constexpr int kWidth = 3456, kHeight = 2432;
constexpr ZeliSize kSize = {kWidth, kHeight}, kHalf = {kWidth / 2, kHeight / 2};

// f(source, destination) on one thread and on two, by the clock on the wall.
template <class Destination, class F>
void add(const char* name, F f) {
  const auto source = std::make_shared<std::vector<Zel8u>>(), destination = std::make_shared<std::vector<Zel8u>>();
  for (const int threads : {1, 2}) {
    measure(std::string("threads/") + name + ", 2 threads", threads == 2 ? "zelj" : "zelj, 1 thread", "pixels",
            double{kWidth} * kHeight,
            [=] {
              if (source->empty()) {
                source->resize(kWidth * kHeight, 100);
                destination->resize(kWidth * kHeight * sizeof(Destination));
              }
              const int before = omp_get_max_threads();
              omp_set_num_threads(threads);
              f(source->data(), reinterpret_cast<Destination*>(destination->data()));
              omp_set_num_threads(before);
            })
        ->UseRealTime();
  }
}

void registerAll() {
  add<Zel16s>("level shift of 8 Mpx", [](const Zel8u* source, Zel16s* destination) {
    zeliSub128_JPEG_8u16s_C1R(source, kWidth, destination, 2 * kWidth, kSize);
  });
  add<Zel8u>("plane up h2v2 to 8 Mpx", [](const Zel8u* source, Zel8u* destination) {
    constexpr int kStep = kWidth / 2 + 2;
    zeliSampleUpH2V2_JPEG_8u_C1R(source + kStep + 1, kStep, kHalf, destination, kWidth, kSize);
  });
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
