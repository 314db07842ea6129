// The choice among the modes of BC7 for a block.
#pragma once

#include "texture/texture.h"

namespace texture {

// Modes of an effort, for opaque pictures and for those with alpha.
class Bc7Search {
 public:
  Bc7Search(Effort effort, unsigned modes);

  // The block of 16 bytes that is nearest to 16 pixels of R, G, B, A, `step` bytes apart from row to row.
  void encode(const uint8_t* pixels, int step, uint8_t* block) const;

 private:
  unsigned opaqueModes_, alphaModes_;
  uint32_t goodEnough_; // squared error of a block that no further mode is tried for
};

} // namespace texture
