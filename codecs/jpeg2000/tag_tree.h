// Tag trees: numbers of a grid, told by minima of 2x2 neighbours so far as anybody wants to know.
#pragma once

#include <algorithm>
#include <vector>

namespace j2k {

class TagTree {
 public:
  TagTree() = default;
  TagTree(int width, int height) {
    for (;;) {
      levels_.push_back({width, nodes_.size()});
      nodes_.resize(nodes_.size() + static_cast<size_t>(width) * static_cast<size_t>(height));
      if (width <= 1 && height <= 1) break;
      width = (width + 1) / 2;
      height = (height + 1) / 2;
    }
  }

  // For an encoder: the numbers, before anything is told.
  void set(int x, int y, int value) { node(0, x, y).value = value; }
  void build() {
    for (size_t level = 1; level < levels_.size(); ++level) {
      const size_t end = level + 1 < levels_.size() ? levels_[level + 1].begin : nodes_.size();
      for (size_t i = levels_[level].begin; i < end; ++i) nodes_[i].value = kUnknown;
    }
    for (size_t level = 0; level + 1 < levels_.size(); ++level) {
      const auto width = static_cast<size_t>(levels_[level].width);
      for (size_t i = levels_[level].begin; i < levels_[level + 1].begin; ++i) {
        const size_t at = i - levels_[level].begin;
        Node& parent = node(level + 1, static_cast<int>(at % width) / 2, static_cast<int>(at / width) / 2);
        parent.value = std::min(parent.value, nodes_[i].value);
      }
    }
  }

  // Tells whether the number is below the threshold, as far as that is not known yet.
  template <class Bits>
  void encode(Bits& bits, int x, int y, int threshold) {
    int low = 0;
    for (size_t level = levels_.size(); level-- > 0;) {
      Node& n = node(level, x >> level, y >> level);
      n.low = std::max(n.low, low);
      while (n.low < threshold && !n.known) {
        n.known = n.low >= n.value;
        bits.put(n.known);
        if (!n.known) ++n.low;
      }
      low = n.low;
    }
  }

  // The number, if it is below the threshold; the threshold otherwise.
  template <class Bits>
  int decode(Bits& bits, int x, int y, int threshold) {
    int low = 0;
    for (size_t level = levels_.size(); level-- > 0;) {
      Node& n = node(level, x >> level, y >> level);
      n.low = std::max(n.low, low);
      while (n.low < threshold && !n.known) {
        n.known = bits.get();
        if (!n.known) ++n.low;
      }
      low = n.low;
    }
    return low;
  }

 private:
  static constexpr int kUnknown = 1 << 30;
  struct Node {
    int value = 0, low = 0; // `low` is told: the number is not below it
    bool known = false;     // ... and it is that number
  };
  struct Level {
    int width;
    size_t begin;
  };
  Node& node(size_t level, int x, int y) {
    return nodes_[levels_[level].begin + static_cast<size_t>(y) * static_cast<size_t>(levels_[level].width) +
                  static_cast<size_t>(x)];
  }

  std::vector<Level> levels_;
  std::vector<Node> nodes_;
};

} // namespace j2k
