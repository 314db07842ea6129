// A plane of bytes for kernels of the library and of its peer.
#pragma once

#include <cstdlib>
#include <memory>
#include <vector>

#include "zelj.h"

namespace zelj::bench {

// One plane, 64-byte aligned and padded, with rows as the peer wants them.
struct Plane {
  Plane(int bytes, int height) : step(bytes + 64) {
    const size_t size = static_cast<size_t>(step) * static_cast<size_t>(height) + 64;
    data.reset(static_cast<Zel8u*>(std::aligned_alloc(64, (size + 63) / 64 * 64)));
    for (size_t i = 0; i < size; ++i) data.get()[i] = static_cast<Zel8u>(i * 2654435761u >> 13);
    for (int y = 0; y < height; ++y) rows.push_back(data.get() + y * step);
  }

  struct Free {
    void operator()(Zel8u* p) const { std::free(p); }
  };
  int step;
  std::unique_ptr<Zel8u, Free> data;
  std::vector<Zel8u*> rows;
};

} // namespace zelj::bench
