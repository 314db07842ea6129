// Blocks of JPEG XR: the photo core transform beside libjpegxr's kernels for one block, and the coders by themselves.
// libjpegxr codes coefficients within its loop over macroblocks, so that whole codecs are what can be compared there.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "support/measure.h"
#include "support/random.h"
#include "zelj.h"

// The peer transforms a block of 16 neighbouring values.
extern "C" {
void strDCT4x4Stage1(int* block);
void strIDCT4x4Stage1(int* block);
}

namespace zelj::bench {
namespace {

constexpr int kSide = 256, kBlocks = kSide * kSide / 16; // fits the second-level cache

template <class T>
std::shared_ptr<std::vector<T>> plane() {
  const auto samples = std::make_shared<std::vector<T>>(kSide * kSide);
  test::Random random(1);
  for (T& sample : *samples) sample = static_cast<T>(random.in(-128, 127));
  return samples;
}

void registerTransforms() {
  const auto wide = plane<Zel32s>();
  const auto narrow = plane<Zel16s>();
  const auto real = plane<Zel32f>();
  constexpr Zel32u kWide = 4 * kSide, kNarrow = 2 * kSide;
  // Zero stays zero, and there is no overflow over many runs.
  const auto clear = [](auto& samples) { std::fill(samples.begin(), samples.end(), decltype(samples[0] + 0)(0)); };
  clear(*wide), clear(*narrow), clear(*real);
  for (const bool forward : {true, false}) {
    const std::string name = forward ? "jpegxr/forward transform" : "jpegxr/inverse transform";
    const auto whole = forward ? zeliPCTFwd_JPEGXR_32s_C1IR : zeliPCTInv_JPEGXR_32s_C1IR;
    const auto macroblock = forward ? zeliPCTFwd16x16_JPEGXR_32s_C1IR : zeliPCTInv16x16_JPEGXR_32s_C1IR;
    const auto shorts = forward ? zeliPCTFwd_JPEGXR_16s_C1IR : zeliPCTInv_JPEGXR_16s_C1IR;
    const auto floats = forward ? zeliPCTFwd_JPEGXR_32f_C1IR : zeliPCTInv_JPEGXR_32f_C1IR;
    const auto peer = forward ? strDCT4x4Stage1 : strIDCT4x4Stage1;
    const auto byPeer = [=] {
      for (int b = 0; b < kBlocks; ++b) peer(wide->data() + 16 * b);
    };
    measure(name + ", plane", "zelj", "blocks", kBlocks, [=] { whole(wide->data(), kWide, {kSide, kSide}); });
    measure(name + ", plane", "libjpegxr", "blocks", kBlocks, byPeer);
    measure(name + ", 16x16", "zelj", "blocks", kBlocks, [=] {
      for (int y = 0; y < kSide; y += 16) {
        for (int x = 0; x < kSide; x += 16) macroblock(wide->data() + y * kSide + x, kWide);
      }
    });
    measure(name + ", 16x16", "libjpegxr", "blocks", kBlocks, byPeer);
    measure(name + ", plane, 16 bits", "zelj", "blocks", kBlocks, [=] {
      shorts(narrow->data(), kNarrow, {kSide, kSide});
    });
    measure(name + ", plane, floats", "zelj", "blocks", kBlocks, [=] { floats(real->data(), kWide, {kSide, kSide}); });
  }
}

// A stream of blocks whose coefficients fall off with their frequency, as those of photographs do.
class Coder {
 public:
  explicit Coder(double energy, Zel32u modelBits) : modelBits_(modelBits) {
    test::Random random(3);
    for (int b = 0; b < kCoded; ++b) {
      Zel32s block[16] = {};
      for (int i = 1; i < 16; ++i) {
        const double scale = energy / (1 + i % 4 + i / 4), u = random.in(1, 9999) / 10000.0;
        block[i] = static_cast<Zel32s>(std::copysign(-scale * std::log(u), random.in(0, 1) ? 1.0 : -1.0));
      }
      // A codec tells of blocks without pairs elsewhere.
      if (std::none_of(block, block + 16, [&](Zel32s v) { return std::abs(v) >> modelBits != 0; }))
        block[1] = 1 << modelBits;
      blocks_.insert(blocks_.end(), block, block + 16);
    }
    decoded_ = blocks_;
    stream_.resize(size_t{kCoded} * 64);
    encode();
    decode();
    if (decoded_ != blocks_) std::abort();
  }

  static constexpr int kCoded = 4096;
  double bytesPerBlock() const { return static_cast<double>(length_) / kCoded; }

  void encode() {
    begin();
    Zel32u residual[16], count;
    for (int b = 0; b < kCoded; ++b) {
      const Zel32s* block = &blocks_[static_cast<size_t>(16 * b)];
      if (modelBits_ == 0) {
        zeliVLCEncode4x4_JPEGXR_32s1u_C1R(block, 16, 0, 0, &at_, &bits_, &pending_, &count, state());
      } else {
        zeliVLCEncode4x4Flex_JPEGXR_32s1u_C1R(block, 16, 0, modelBits_, 0, residual, &at_, &bits_, &pending_, &count,
                                              state());
        zeliFLCEncode4x4_JPEGXR_32s1u_C1R(block, 16, residual, &at_, &bits_, &pending_, modelBits_, 0, 1);
      }
      adaptAfter(b);
    }
    length_ = static_cast<size_t>(at_ - stream_.data());
    for (int i = 0; i < 4; ++i) at_[i] = static_cast<Zel8u>(bits_ >> (24 - 8 * i));
  }

  void decode() {
    begin();
    Zel32u count;
    for (int b = 0; b < kCoded; ++b) {
      Zel32s* block = &decoded_[static_cast<size_t>(16 * b)];
      zeliVLCDecode4x4_JPEGXR_1u32s_C1R(&at_, &bits_, &pending_, 1u << modelBits_, block, 16, 0, &count, state());
      if (modelBits_ > 0) zeliFLCDecode4x4_JPEGXR_1u32s_C1IR(&at_, &bits_, &pending_, block, 16, modelBits_, 1, 1);
      adaptAfter(b);
    }
  }

 private:
  ZeliVLCState_JPEGXR* state() { return reinterpret_cast<ZeliVLCState_JPEGXR*>(memory_); }
  void begin() {
    zeliVLCInit_JPEGXR(state());
    for (const Zel32s which : {0, 1, 2}) zeliVLCScanReset_JPEGXR(state(), which);
    zeliVLCScanSet_JPEGXR(state(), 1);
    at_ = stream_.data();
    bits_ = pending_ = 0;
  }
  void adaptAfter(int b) {
    if (b % 256 == 255) zeliVLCAdapt_JPEGXR(state(), 1);
  }

  const Zel32u modelBits_;
  std::vector<Zel32s> blocks_, decoded_;
  std::vector<Zel8u> stream_;
  alignas(8) Zel8u memory_[2208];
  Zel8u* at_ = nullptr;
  Zel32u bits_ = 0, pending_ = 0;
  size_t length_ = 0;
};

void registerAll() {
  registerTransforms();
  for (const auto& [what, energy, modelBits] :
       {std::tuple{"fine", 6.0, 2u}, {"medium", 2.5, 1u}, {"coarse", 1.2, 0u}}) {
    const auto coder = std::make_shared<Coder>(energy, modelBits);
    char name[64];
    std::snprintf(name, sizeof name, " %s blocks, %.1f bytes each", what, coder->bytesPerBlock());
    measure(std::string("jpegxr/encode") + name, "zelj", "blocks", Coder::kCoded, [=] { coder->encode(); });
    measure(std::string("jpegxr/decode") + name, "zelj", "blocks", Coder::kCoded, [=] { coder->decode(); });
  }
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
