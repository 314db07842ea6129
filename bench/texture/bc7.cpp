// BC7: the decoder beside the machine's copy bandwidth; the encoder, a block in each mode, by itself.
#include <algorithm>
#include <cmath>
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

// Blocks of slopes, edges and grain, side by side.
std::vector<Zel8u> photographLikePixels(int blocks) {
  std::mt19937 random(2);
  std::normal_distribution<float> grain(0, 4);
  std::uniform_real_distribution<float> any(0, 1);
  std::vector<Zel8u> pixels(static_cast<size_t>(blocks) * 64);
  for (int i = 0; i < blocks; ++i) {
    const float angle = 6.2831853f * any(random), edge = 4 * any(random) - 2, sharpness = i % 3 ? 0.2f : 2.0f;
    float colours[2][3];
    for (auto& colour : colours) {
      const float level = 220 * any(random);
      for (float& value : colour) value = level + 60 * any(random) - 15;
    }
    for (int p = 0; p < 16; ++p) {
      const float place =
          std::cos(angle) * static_cast<float>(p % 4 - 1.5) + std::sin(angle) * static_cast<float>(p / 4 - 1.5) - edge;
      const float mix = std::clamp(0.5f + sharpness * place, 0.0f, 1.0f), light = grain(random);
      for (int c = 0; c < 4; ++c) {
        const float value =
            c == 3 ? 255 : colours[0][c] + mix * (colours[1][c] - colours[0][c]) + light + grain(random) / 3;
        pixels[static_cast<size_t>(64 * i + 4 * p + c)] = static_cast<Zel8u>(std::clamp(value, 0.0f, 255.0f));
      }
    }
  }
  return pixels;
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

  constexpr int kEncoded = 64;
  static const std::vector<Zel8u> pixels = photographLikePixels(kEncoded);
  for (Zel32u mode = 0; mode < 8; ++mode) {
    measure("texture/encode BC7 mode " + std::to_string(mode), "zelj", "blocks", kEncoded, [mode] {
      Zel8u block[16];
      Zel32u error;
      for (size_t i = 0; i < kEncoded; ++i) {
        zeliTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(pixels.data() + 64 * i, 16, block, &error, mode);
        benchmark::DoNotOptimize(block);
      }
    });
  }
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
