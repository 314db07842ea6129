// BC6 images of 512 x 512 pixels, beside the machine's copy bandwidth. Blocks are random in all their fields but for
// the mode, of which each in turn, or the whole order at random, is measured.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/measure.h"
#include "support/random.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

constexpr int kWidth = 512, kHeight = 512;
constexpr size_t kBlocks = kWidth / 4 * (kHeight / 4);

void registerAll() {
  static std::vector<Zel16u> pixels(3 * kWidth * kHeight), copy(pixels.size());
  constexpr Zel8u kModeBits[14] = {0, 1, 2, 6, 10, 14, 18, 22, 26, 30, 3, 7, 11, 15};
  // Runs of one mode as pictures have them, and modes at random, which no processor predicts.
  for (const int run : {16, 1}) {
    auto blocks = std::make_shared<std::vector<Zel8u>>(16 * kBlocks);
    test::Random random(1);
    int mode = 0;
    for (size_t i = 0; i < kBlocks; ++i) {
      if (i % static_cast<size_t>(run) == 0) mode = random.in(0, 13);
      for (size_t k = 0; k < 16; ++k) (*blocks)[16 * i + k] = static_cast<Zel8u>(random.bits());
      Zel8u& first = (*blocks)[16 * i];
      first = static_cast<Zel8u>((first & ~31) | kModeBits[mode]);
    }
    for (const bool isSigned : {false, true}) {
      const std::string work = std::string("texture/decode BC6 ") + (isSigned ? "signed" : "unsigned") +
                               (run > 1 ? ", modes in runs" : ", modes at random");
      measure(work, "zelj", "blocks", kBlocks, [blocks, isSigned] {
        if (isSigned) {
          zeliTextureDecodeBlockToRGB_BC6_16s_C1C3R(blocks->data(), reinterpret_cast<Zel16s*>(pixels.data()),
                                                    6 * kWidth, {kWidth, kHeight});
        } else {
          zeliTextureDecodeBlockToRGB_BC6_16u_C1C3R(blocks->data(), pixels.data(), 6 * kWidth, {kWidth, kHeight});
        }
      });
      measure(work, "memcpy of the pixels", "blocks", kBlocks,
              [] { std::memcpy(copy.data(), pixels.data(), 2 * pixels.size()); });
    }
  }
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
