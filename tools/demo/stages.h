// How long each stage of a baseline JPEG encode and decode takes, called one by one on a whole image.
#pragma once

#include <string>
#include <vector>

#include "common/image.h"

namespace demo {

struct Stage {
  std::string name;
  double seconds;
};

// At 4:2:0, with the tables of a quality, on one thread.
std::vector<Stage> timeStages(const img::Image& image, int quality);

// The least processor time of a few runs of f, in seconds: what other programs do at the same time matters little.
double leastTime(void (*f)(void*), void* argument);
template <class F>
double leastTime(F f) {
  return leastTime([](void* argument) { (*static_cast<F*>(argument))(); }, &f);
}

} // namespace demo
