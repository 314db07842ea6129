// Encoding of one block in one mode of BC7: a rough fit of every partition, refinement of the best quarter of them, and
// the choice by true error. The search is fixed step by step, so that a block has one encoding.
#include "texture/bc7_encode.h"

#include <bit>
#include <cstring>
#include <limits>
#include <utility>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"

namespace zelj::bc7 {
namespace {

// The pixel whose index has its highest bit clear.
constexpr int anchorOf(int subsets, size_t partition, int subset) {
  if (subset == 0) return 0;
  if (subsets == 2) return bptc::kSecondAnchorOfTwo[partition];
  return subset == 1 ? bptc::kSecondAnchorOfThree[partition] : bptc::kThirdAnchorOfThree[partition];
}

// The pixels of a partition, subset by subset; where the subsets begin, and the places of their anchors in them.
struct Order {
  std::array<Zel8u, 16> pixel;
  std::array<Zel8u, 4> begin;
  std::array<Zel8u, 3> anchor;
};
constexpr Order orderOf(const bptc::Partition& subsetOf, int subsets, size_t partition) {
  Order order{};
  size_t n = 0;
  for (int s = 0; s < 3; ++s) {
    const auto i = static_cast<size_t>(s);
    order.begin[i] = static_cast<Zel8u>(n);
    for (size_t p = 0; p < 16; ++p) {
      if (subsetOf[p] != s) continue;
      if (s < subsets && anchorOf(subsets, partition, s) == static_cast<int>(p)) {
        order.anchor[i] = static_cast<Zel8u>(n - order.begin[i]);
      }
      order.pixel[n++] = static_cast<Zel8u>(p);
    }
  }
  order.begin[3] = static_cast<Zel8u>(n);
  return order;
}
constexpr std::array<Order, 64> ordersOf(const bptc::Partitions& partitions, int subsets) {
  std::array<Order, 64> orders{};
  for (size_t i = 0; i < 64; ++i) orders[i] = orderOf(partitions[i], subsets, i);
  return orders;
}
constexpr std::array<Order, 64> kOrders[3] = {
    {orderOf({}, 1, 0)}, ordersOf(bptc::kTwoSubsets, 2), ordersOf(bptc::kThreeSubsets, 3)};

// What a block says, end points at their precision with the p-bit.
struct Content {
  Zel32s error;
  size_t partition;
  int rotation, selector;
  EndPoints endPoints[3];
  Zel8u colours[16], alpha[16]; // indices of the pixels
};

class BlockEncoder {
 public:
  BlockEncoder(int mode, const Channels& pixels)
      : mode_(mode), info_(kModes[static_cast<size_t>(mode)]), pixels_(pixels) {}

  // The best of all rotations, selectors and partitions.
  const Content& run() {
    best_.error = std::numeric_limits<Zel32s>::max();
    for (int rotation = 0; rotation < 1 << info_.rotationBits; ++rotation) {
      if (rotation) std::swap(pixels_[static_cast<size_t>(rotation) - 1], pixels_[3]);
      encodeRotation(rotation);
      if (rotation) std::swap(pixels_[static_cast<size_t>(rotation) - 1], pixels_[3]);
      if (best_.error == 0) break;
    }
    return best_;
  }

 private:
  void encodeRotation(int rotation) {
    Estimates estimates;
    estimate(mode_, pixels_, estimates);
    const auto partitions = static_cast<size_t>(info_.partitions()), kept = partitions < 4 ? 1 : partitions / 4;
    std::array<size_t, 64> partition{};
    if (partitions > 1) keepLeast(estimates.error, partition, kept, partitions);
    for (int selector = 0; selector < 1 << info_.selectorBits; ++selector) {
      for (size_t i = 0; i < kept; ++i) {
        encodePartition(partition[i], rotation, selector, estimates.endPoints[partition[i]]);
        if (best_.error == 0) return;
      }
    }
  }

  // The partitions of the least errors in order in the first places, by exchanges that fix where equal ones come to
  // lie.
  static void keepLeast(const std::array<Zel32s, 64>& error, std::array<size_t, 64>& partition, size_t kept,
                        size_t partitions) {
    Zel32u keys[64]; // errors are below 2^22
    for (size_t i = 0; i < partitions; ++i) keys[i] = static_cast<Zel32u>(error[i]) << 6 | static_cast<Zel32u>(i);
    for (size_t i = 0; i < kept; ++i) {
      for (size_t j = i + 1; j < partitions; ++j) {
        const Zel32u a = keys[i], b = keys[j];
        const bool exchange = a >> 6 > b >> 6;
        keys[i] = exchange ? b : a;
        keys[j] = exchange ? a : b;
      }
      partition[i] = keys[i] & 63;
    }
  }

  static Zel8u quantised(Zel8u value, int bits) {
    if (bits == 0) return 255;
    if (bits == 8) return value;
    return static_cast<Zel8u>(std::min(value + (1 << (7 - bits)), 255) >> (8 - bits));
  }

  void encodePartition(size_t partition, int rotation, int selector, const std::array<EndPoints, 3>& estimated) {
    const Order& order = kOrders[info_.subsets - 1][partition];
    for (size_t c = 0; c < 4; ++c) {
      for (size_t i = 0; i < 16; ++i) sorted_[c][i] = pixels_[c][order.pixel[i]];
    }
    IndexBits bits{info_.indexBits, info_.index2Bits};
    if (selector) std::swap(bits.colours, bits.alpha);

    Content plain{0, partition, rotation, selector, {}, {}, {}}, refined = plain;
    for (size_t s = 0; s < static_cast<size_t>(info_.subsets); ++s) {
      EndPoints ends;
      for (size_t e = 0; e < 2; ++e) {
        for (size_t c = 0; c < 4; ++c) ends[e][c] = quantised(estimated[s][e][c], info_.endPointBits[c]);
      }
      Subset subset{order.begin[s + 1] - order.begin[s], {}};
      for (size_t c = 0; c < 4; ++c) subset.channel[c] = sorted_[c] + order.begin[s];
      SubsetFit fit(info_, subset, bits, ends);
      const auto take = [&](Content& content) {
        Zel8u colours[16], alpha[16];
        const Zel32s error = fit.assign(order.anchor[s], colours, alpha);
        const Zel8u* const pixel = order.pixel.data() + order.begin[s];
        for (int i = 0; i < subset.count; ++i) {
          content.colours[pixel[i]] = colours[i];
          if (bits.alpha) content.alpha[pixel[i]] = alpha[i];
        }
        content.endPoints[s] = fit.endPoints();
        content.error += error;
        return error;
      };
      fit.refine(take(plain));
      take(refined);
    }
    const Content& better = plain.error <= refined.error ? plain : refined;
    if (better.error < best_.error) best_ = better;
  }

  const int mode_;
  const Mode& info_;
  Channels pixels_;
  Zel16u sorted_[4][32] = {}; // subset by subset, and lanes to be read behind them
  Content best_{};
};

// Bits of a block, from the lowest of its first byte up.
class BitWriter {
 public:
  void put(unsigned value, int bits) {
    bits_ |= static_cast<unsigned __int128>(value) << at_;
    at_ += bits;
  }
  void store(Zel8u* block) const { std::memcpy(block, &bits_, 16); }

 private:
  unsigned __int128 bits_ = 0;
  int at_ = 0;
};

// The p-bits, by vote of the lowest bits of all that share one: a tie is 0.
unsigned votedPBits(const Mode& mode, const Content& content) {
  int ones[6] = {}, votes[6] = {};
  for (int i = 0; i < mode.endPoints(); ++i) {
    for (size_t c = 0; c < 4; ++c) {
      if (mode.colourBits[c] == mode.endPointBits[c]) continue;
      ones[mode.pBitOf(i)] += content.endPoints[i / 2][static_cast<size_t>(i % 2)][c] & 1;
      ++votes[mode.pBitOf(i)];
    }
  }
  unsigned bits = 0;
  for (int i = 0; i < mode.pBits; ++i) bits |= static_cast<unsigned>(ones[i] > votes[i] / 2) << i;
  return bits;
}

void writeBlock(int modeNumber, const Content& content, Zel8u* block) {
  const Mode& mode = kModes[static_cast<size_t>(modeNumber)];
  BitWriter writer;
  writer.put(1u << modeNumber, modeNumber + 1);
  writer.put(static_cast<unsigned>(content.partition), mode.partitionBits);
  writer.put(static_cast<unsigned>(content.rotation), mode.rotationBits);
  writer.put(static_cast<unsigned>(content.selector), mode.selectorBits);
  for (size_t c = 0; c < 4; ++c) {
    if (mode.colourBits[c] == 0) continue;
    for (int i = 0; i < mode.endPoints(); ++i) {
      const Zel8u value = content.endPoints[i / 2][static_cast<size_t>(i % 2)][c];
      writer.put(value >> (mode.endPointBits[c] - mode.colourBits[c]), mode.colourBits[c]);
    }
  }
  writer.put(votedPBits(mode, content), mode.pBits);
  const auto putIndices = [&](const Zel8u(&indices)[16], int bits, int subsets) {
    for (int p = 0; p < 16; ++p) {
      bool anchor = false;
      for (int s = 0; s < subsets; ++s) anchor |= p == anchorOf(subsets, content.partition, s);
      writer.put(indices[p], bits - anchor);
    }
  };
  putIndices(content.selector ? content.alpha : content.colours, mode.indexBits, mode.subsets);
  if (mode.index2Bits) putIndices(content.selector ? content.colours : content.alpha, mode.index2Bits, 1);
  writer.store(block);
}

} // namespace
} // namespace zelj::bc7

using namespace zelj;

ZelStatus ownTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(const Zel8u* pSrc, int srcStep, Zel8u* pDst, Zel32u* pError,
                                                        Zel32u mode) {
  if (!present(pSrc, pDst, pError)) return zelStatusNullPointer;
  if (srcStep == 0) return zelStatusBadStep;
  if (mode > 7) return zelStatusBadMode;
  bc7::Channels pixels;
  for (int p = 0; p < 16; ++p) {
    const Zel8u* const pixel = row(pSrc, srcStep, p / 4) + p % 4 * 4;
    for (size_t c = 0; c < 4; ++c) pixels[c][static_cast<size_t>(p)] = pixel[c];
  }
  bc7::BlockEncoder encoder(static_cast<int>(mode), pixels);
  const bc7::Content& best = encoder.run();
  bc7::writeBlock(static_cast<int>(mode), best, pDst);
  *pError = static_cast<Zel32u>(best.error);
  return zelStatusOk;
}
