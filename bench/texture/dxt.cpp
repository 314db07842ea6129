// DXT1, DXT3, DXT5, BC4 and BC5, image by image, beside squish as a decoder and stb_dxt as an encoder. Pictures of 512
// x 512 pixels stay in the second-level cache or close to it. stb_dxt has no DXT3: its colours are those of DXT1.
#include <squish.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "support/measure.h"
#include "support/random.h"
#include "support/stb.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

constexpr int kWidth = 512, kHeight = 512;
constexpr double kBlocks = kWidth / 4 * (kHeight / 4);
constexpr ZeliSize kSize = {kWidth, kHeight};

// Smooth shapes with grain, interleaved in `channels` channels.
std::vector<Zel8u> picture(int channels) {
  test::Random random(1);
  std::vector<Zel8u> pixels;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      for (int c = 0; c < channels; ++c) {
        const double wave = std::sin(x * 0.031 + c) + std::cos(y * 0.023 - 2 * c) + std::sin((x + y) * 0.11);
        pixels.push_back(static_cast<Zel8u>(127 + 40 * wave + random.in(-6, 6)));
      }
    }
  }
  return pixels;
}

// stb_dxt works on a block at a time, squish on a block of RGBA at a time.
template <int kChannels, int kBlockBytes, class F>
void forEachBlock(const std::vector<Zel8u>& pixels, std::vector<Zel8u>& blocks, F compress) {
  Zel8u block[16 * kChannels];
  Zel8u* to = blocks.data();
  for (int y = 0; y < kHeight; y += 4) {
    for (int x = 0; x < kWidth; x += 4, to += kBlockBytes) {
      for (int r = 0; r < 4; ++r) {
        std::memcpy(block + r * 4 * kChannels, pixels.data() + ((y + r) * kWidth + x) * kChannels, 4 * kChannels);
      }
      compress(to, block);
    }
  }
}

void registerAll() {
  static const std::vector<Zel8u> rgba = picture(4), rg = picture(2), grey = picture(1), ycocg = picture(3);
  static std::vector<Zel8u> blocks8(kWidth * kHeight / 2), blocks16(kWidth * kHeight), blocks4(kWidth * kHeight / 2);
  static std::vector<Zel8u> pixels(4 * kWidth * kHeight), scratch(4 * kWidth * kHeight);
  const auto add = [](const char* work, const char* who, auto f) {
    measure(std::string("texture/") + work, who, "blocks", kBlocks, f);
  };
  constexpr const char* us = "zelj";

  zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(rgba.data(), 4 * kWidth, kSize, blocks8.data());
  zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(rgba.data(), 4 * kWidth, kSize, blocks16.data());
  zeliTextureEncodeBlock_BC4_8u_C1R(grey.data(), kWidth, kSize, blocks4.data());

  add("decode BC1", us,
      [] { zeliTextureDecodeBlockToRGBA_DXT1_8u_C1C4R(blocks8.data(), pixels.data(), 4 * kWidth, kSize); });
  add("decode BC2", us,
      [] { zeliTextureDecodeBlockToRGBA_DXT3_8u_C1C4R(blocks16.data(), pixels.data(), 4 * kWidth, kSize); });
  add("decode BC3", us,
      [] { zeliTextureDecodeBlockToRGBA_DXT5_8u_C1C4R(blocks16.data(), pixels.data(), 4 * kWidth, kSize); });
  add("decode BC4", us, [] { zeliTextureDecodeBlock_BC4_8u_C1R(blocks4.data(), pixels.data(), kWidth, kSize); });
  add("decode BC5", us,
      [] { zeliTextureDecodeBlockToRG_BC5_8u_C1C2R(blocks16.data(), pixels.data(), 2 * kWidth, kSize); });
  const auto squishDecoder = [](const std::vector<Zel8u>& from, size_t blockBytes, int format) {
    return [&from, blockBytes, format] {
      Zel8u block[64];
      for (size_t i = 0; i < static_cast<size_t>(kBlocks); ++i) {
        squish::Decompress(block, from.data() + i * blockBytes, format);
        std::memcpy(pixels.data() + i * 64, block, 64);
      }
    };
  };
  add("decode BC1", "squish", squishDecoder(blocks8, 8, squish::kDxt1));
  add("decode BC2", "squish", squishDecoder(blocks16, 16, squish::kDxt3));
  add("decode BC3", "squish", squishDecoder(blocks16, 16, squish::kDxt5));

  add("encode DXT1", us,
      [] { zeliTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(rgba.data(), 4 * kWidth, kSize, scratch.data()); });
  add("encode DXT3", us,
      [] { zeliTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R(rgba.data(), 4 * kWidth, kSize, scratch.data()); });
  add("encode DXT5", us,
      [] { zeliTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R(rgba.data(), 4 * kWidth, kSize, scratch.data()); });
  add("encode DXT5 YCoCg", us,
      [] { zeliTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R(ycocg.data(), 3 * kWidth, kSize, scratch.data()); });
  add("encode BC4", us, [] { zeliTextureEncodeBlock_BC4_8u_C1R(grey.data(), kWidth, kSize, scratch.data()); });
  add("encode BC5", us,
      [] { zeliTextureEncodeBlockFromRG_BC5_8u_C2C1R(rg.data(), 2 * kWidth, kSize, scratch.data()); });
  constexpr const char* stb = "stb_dxt";
  const auto stbDxt1 = [] {
    forEachBlock<4, 8>(rgba, scratch,
                       [](Zel8u* to, const Zel8u* block) { stb_compress_dxt_block(to, block, 0, STB_DXT_NORMAL); });
  };
  const auto stbDxt5 = [] {
    forEachBlock<4, 16>(rgba, scratch,
                        [](Zel8u* to, const Zel8u* block) { stb_compress_dxt_block(to, block, 1, STB_DXT_NORMAL); });
  };
  add("encode DXT1", stb, stbDxt1);
  add("encode DXT3", stb, stbDxt1);
  add("encode DXT5", stb, stbDxt5);
  add("encode DXT5 YCoCg", stb, stbDxt5);
  add("encode BC4", stb, [] { forEachBlock<1, 8>(grey, scratch, stb_compress_bc4_block); });
  add("encode BC5", stb, [] { forEachBlock<2, 16>(rg, scratch, stb_compress_bc5_block); });
  for (const char* work : {"decode BC1", "decode BC2", "decode BC3", "decode BC4", "decode BC5"}) {
    const size_t bytes = work[9] < '4' ? 64 : work[9] == '4' ? 16 : 32; // as many as the decoder writes
    add(work, "memcpy of the pixels",
        [bytes] { std::memcpy(pixels.data(), scratch.data(), bytes * static_cast<size_t>(kBlocks)); });
  }
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
