#include "texture/bc7_search.h"

#include <cstring>

#include "zelj.h"

namespace texture {
namespace {

constexpr unsigned bits(std::initializer_list<int> modes) {
  unsigned set = 0;
  for (const int mode : modes) set |= 1u << mode;
  return set;
}

// From the quickest to the slowest, and among equals the one that serves most blocks first.
constexpr int kOrder[] = {6, 5, 4, 1, 3, 7, 0, 2};

bool isOpaque(const uint8_t* pixels, int step) {
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) {
      if (pixels[y * step + 4 * x + 3] != 255) return false;
    }
  }
  return true;
}

// The error that a decoder will see: the encoder's own is that before lowest bits are shared.
uint32_t errorOf(const uint8_t* block, const uint8_t* pixels, int step) {
  uint8_t decoded[64];
  zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R(block, decoded, 16, {4, 4});
  uint32_t sum = 0;
  for (int y = 0; y < 4; ++y) {
    for (int i = 0; i < 16; ++i) {
      const int difference = decoded[16 * y + i] - pixels[y * step + i];
      sum += static_cast<uint32_t>(difference * difference);
    }
  }
  return sum;
}

} // namespace

Bc7Search::Bc7Search(Effort effort, unsigned modes) {
  switch (effort) {
    case Effort::fast:
      opaqueModes_ = bits({4, 6});
      alphaModes_ = bits({4, 5, 6});
      goodEnough_ = 128; // 2 to each of 64 samples
      break;
    case Effort::normal:
      opaqueModes_ = bits({1, 3, 4, 6});
      alphaModes_ = bits({4, 5, 6, 7});
      goodEnough_ = 64;
      break;
    case Effort::best:
      opaqueModes_ = bits({0, 1, 2, 3, 4, 5, 6});
      alphaModes_ = bits({0, 1, 2, 3, 4, 5, 6, 7});
      goodEnough_ = 0;
      break;
  }
  if (modes) {
    opaqueModes_ = alphaModes_ = modes;
    goodEnough_ = 0;
  }
}

void Bc7Search::encode(const uint8_t* pixels, int step, uint8_t* block) const {
  const unsigned modes = isOpaque(pixels, step) ? opaqueModes_ : alphaModes_;
  uint32_t least = UINT32_MAX;
  for (const int mode : kOrder) {
    if (!(modes >> mode & 1)) continue;
    uint8_t candidate[16];
    uint32_t error = 0;
    zeliTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(pixels, step, candidate, &error, static_cast<Zel32u>(mode));
    error = errorOf(candidate, pixels, step);
    if (error < least) {
      least = error;
      std::memcpy(block, candidate, 16);
    }
    if (least <= goodEnough_) return;
  }
}

} // namespace texture
