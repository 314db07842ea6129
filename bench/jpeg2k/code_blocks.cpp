// Tier-1 coding of 64x64 blocks beside OpenJPEG's whole codec, which is given the same coefficients as the image of one
// resolution: without a transform it does little but tier-1. The coefficients are those of the highest horizontal
// sub-band of a picture under the 5/3 wavelet; both code them with the contexts of the lowest, as the peer must.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "support/measure.h"
#include "support/openjpeg_codec.h"
#include "support/picture.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

constexpr int kBand = kPictureSize / 2, kBlock = 64, kBlocks = (kBand / kBlock) * (kBand / kBlock);
constexpr int kBits = 12, kShift = 31 - kBits;

struct Block {
  std::vector<Zel8u> bytes;
  int planes, passes, segments, length;
};

struct Work {
  std::vector<Zel32s> band, samples, decoded; // two's complement; sign and magnitude; what comes back
  std::vector<Block> blocks;
  ZeliEncodeState_JPEG2K* encoder = nullptr;
  ZeliDecodeCBProgrState_JPEG2K* decoder = nullptr;
  opj_cparameters_t parameters;
  PeerFile file;

  Work() : blocks(kBlocks, Block{std::vector<Zel8u>(4 * kBlock * kBlock), 0, 0, 0, 0}) {
    std::vector<Zel32s> plane(static_cast<size_t>(kPictureSize) * kPictureSize);
    for (int y = 0; y < kPictureSize; ++y) {
      for (int x = 0; x < kPictureSize; ++x) {
        plane[static_cast<size_t>(y * kPictureSize + x)] = picture().row<uint8_t>(y)[3 * x + 1] - 128;
      }
    }
    std::array<std::vector<Zel32s>, 4> bands;
    Zel32s* pointers[4];
    int steps[4];
    for (size_t i = 0; i < 4; ++i) {
      bands[i].resize(static_cast<size_t>(kBand) * kBand);
      pointers[i] = bands[i].data();
      steps[i] = kBand * 4;
    }
    const ZeliRect whole = {0, 0, kPictureSize, kPictureSize};
    int bufferBytes = 0;
    zeliWTGetBufSize_B53_JPEG2K_32s_C1R(&whole, &bufferBytes);
    std::vector<Zel8u> buffer(static_cast<size_t>(bufferBytes));
    zeliWTFwd_B53_JPEG2K_32s_C1R(plane.data(), kPictureSize * 4, &whole, pointers, steps, buffer.data());
    band = bands[2];
    for (const Zel32s value : band) {
      samples.push_back(
          static_cast<Zel32s>(static_cast<Zel32u>(std::abs(value)) << kShift | (value < 0 ? 1u << 31 : 0)));
    }
    decoded.resize(samples.size());
    zeliEncodeInitAlloc_JPEG2K(&encoder, {kBlock, kBlock});
    zeliDecodeCBProgrInitAlloc_JPEG2K(&decoder, {kBlock, kBlock});

    opj_set_default_encoder_parameters(&parameters);
    parameters.numresolution = 1;
    parameters.tcp_numlayers = 1;
    parameters.cp_disto_alloc = 1;
  }

  static size_t at(int block) {
    constexpr int kAcross = kBand / kBlock;
    return static_cast<size_t>(block / kAcross * kBlock * kBand + block % kAcross * kBlock);
  }
  void encode() {
    for (int i = 0; i < kBlocks; ++i) {
      Block& block = blocks[static_cast<size_t>(i)];
      int more = 0;
      block.length = static_cast<int>(block.bytes.size());
      zeliEncodeLoadCodeBlock_JPEG2K_32s_C1R(&samples[at(i)], kBand * 4, {kBlock, kBlock}, encoder, 0, kBits, 0, 0, 0,
                                             &block.planes, &block.passes, &block.segments);
      zeliEncodeStoreBits_JPEG2K_1u(block.bytes.data(), &block.length, encoder, &more);
    }
  }
  void encodeByPeer() {
    const PeerImage image = peerImage(1, kBand, kBand, kBits, true);
    std::copy(band.begin(), band.end(), image->comps[0].data);
    peerEncode(*image, parameters, file);
  }
  void decode() {
    for (int i = 0; i < kBlocks; ++i) {
      const Block& block = blocks[static_cast<size_t>(i)];
      zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(block.bytes.data(), &decoded[at(i)], kBand * 4, {kBlock, kBlock}, 0,
                                           block.planes, block.passes, &block.length, 1, 0, nullptr, decoder);
    }
  }
};

void require(bool equal) {
  if (equal) return;
  std::fprintf(stderr, "code-blocks: what was coded does not come back\n");
  std::exit(1);
}

// Made by the first benchmark that runs, which also sees that both code the same.
Work& work() {
  static Work* const made = [] {
    auto* w = new Work;
    w->encode();
    w->decode();
    require(w->decoded == w->samples);
    w->encodeByPeer();
    require(std::equal(w->band.begin(), w->band.end(), peerDecode(w->file)->comps[0].data));
    return w;
  }();
  return *made;
}

[[maybe_unused]] const bool registered = [] {
  measure("jpeg2k/code-blocks encode", "zelj", "blocks", kBlocks, [] { work().encode(); });
  measure("jpeg2k/code-blocks encode", "openjpeg", "blocks", kBlocks, [] { work().encodeByPeer(); });
  measure("jpeg2k/code-blocks decode", "zelj", "blocks", kBlocks, [] { work().decode(); });
  measure("jpeg2k/code-blocks decode", "openjpeg", "blocks", kBlocks, [] { peerDecode(work().file); });
  return true;
}();

} // namespace
} // namespace zelj::bench
