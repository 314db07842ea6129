// BC7 beside the machine's copy bandwidth: no other decoder is at hand.
#include <cstring>
#include <random>
#include <vector>

#include "support/measure.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

// Blocks of the modes that encoders choose for opaque photographs, in no order.
std::vector<Zel8u> photographLikeBlocks(size_t count) {
  std::mt19937 random(1);
  std::discrete_distribution<int> mode{15, 30, 5, 15, 3, 7, 25, 0};
  std::vector<Zel8u> blocks(16 * count);
  for (size_t i = 0; i < blocks.size(); ++i) {
    blocks[i] = static_cast<Zel8u>(random());
    if (i % 16 == 0) blocks[i] = static_cast<Zel8u>((blocks[i] | 1) << mode(random));
  }
  return blocks;
}

void registerAll() {
  constexpr int kWidth = 512, kHeight = 512;
  constexpr int kBlocks = kWidth * kHeight / 16;
  static const std::vector<Zel8u> blocks = photographLikeBlocks(kBlocks);
  static std::vector<Zel8u> image(4 * kWidth * kHeight), copy(image.size());
  measure("texture/decode BC7", "zelj", "blocks", kBlocks, [] {
    zeliTextureDecodeBlockToRGBA_BC7_8u_C1C4R(blocks.data(), image.data(), 4 * kWidth, {kWidth, kHeight});
  });
  measure("texture/decode BC7", "memcpy of as many pixels", "blocks", kBlocks,
          [] { std::memcpy(copy.data(), image.data(), image.size()); });
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
