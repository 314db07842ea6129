// How a frame is divided: components, MCUs, blocks, and the runs of MCUs that encoder and decoder work on.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "zelj.h"

namespace jpeg {

struct Component {
  int id = 0;
  int h = 1, v = 1; // sampling factors
  int quantTable = 0;
  bool isChroma = false;              // coded with the Huffman tables of chrominance
  int width = 0, height = 0;          // in samples
  int blocksWide = 0, blocksHigh = 0; // that hold samples; an interleaved scan codes more, to fill its MCUs
};

struct Frame {
  int bits = 8, width = 0, height = 0;
  int hMax = 1, vMax = 1;
  int mcusWide = 0, mcusHigh = 0; // of interleaved scans
  std::vector<Component> components;
};

inline int divideUp(int64_t a, int64_t b) {
  return static_cast<int>((a + b - 1) / b);
}

// Fills in what follows from size and sampling factors (T.81 A.1.1, A.2).
inline void layOut(Frame& frame) {
  frame.hMax = frame.vMax = 1;
  for (const Component& c : frame.components) {
    frame.hMax = std::max(frame.hMax, c.h);
    frame.vMax = std::max(frame.vMax, c.v);
  }
  frame.mcusWide = divideUp(frame.width, 8 * frame.hMax);
  frame.mcusHigh = divideUp(frame.height, 8 * frame.vMax);
  for (Component& c : frame.components) {
    c.width = divideUp(int64_t{frame.width} * c.h, frame.hMax);
    c.height = divideUp(int64_t{frame.height} * c.v, frame.vMax);
    c.blocksWide = divideUp(c.width, 8);
    c.blocksHigh = divideUp(c.height, 8);
  }
}

// One block of an MCU: it lies at column `mcu column * across + x` and row `mcu row * down + y` of its component.
struct ScanBlock {
  int component; // in the frame
  int across, down;
  int x, y;
};

struct Scan {
  std::vector<ScanBlock> mcu; // the blocks of an MCU in coding order
  int mcusWide = 0, mcusHigh = 0;

  int64_t mcuCount() const { return int64_t{mcusWide} * mcusHigh; }
};

inline std::vector<int> allComponents(const Frame& frame) {
  std::vector<int> all(frame.components.size());
  for (size_t c = 0; c < all.size(); ++c) all[c] = static_cast<int>(c);
  return all;
}

// A scan of several components goes by MCUs, a scan of one block by block (T.81 A.2.2, A.2.3).
inline Scan layOutScan(const Frame& frame, const std::vector<int>& components) {
  Scan scan;
  if (components.size() == 1) {
    const Component& only = frame.components[static_cast<size_t>(components[0])];
    scan.mcu = {{components[0], 1, 1, 0, 0}};
    scan.mcusWide = only.blocksWide;
    scan.mcusHigh = only.blocksHigh;
    return scan;
  }
  for (const int c : components) {
    const Component& component = frame.components[static_cast<size_t>(c)];
    for (int y = 0; y < component.v; ++y) {
      for (int x = 0; x < component.h; ++x) scan.mcu.push_back({c, component.h, component.v, x, y});
    }
  }
  scan.mcusWide = frame.mcusWide;
  scan.mcusHigh = frame.mcusHigh;
  return scan;
}

// 64 coefficients in natural order, on lines of the cache of their own.
struct alignas(64) Block {
  Zel16s coefficients[64];
};

// Neighbouring MCUs of one MCU row that are transformed and coded in one go.
struct Run {
  int x, y, count; // in MCUs
};

// The coefficients of a run, 12 KB, stay in the cache between transform and entropy coder.
constexpr int kBlocksOfRun = 96;

inline int mcusOfRun(const Scan& scan) {
  return kBlocksOfRun / static_cast<int>(scan.mcu.size());
}

// The longest run that begins at MCU `first` and ends in front of MCU `end`.
inline Run runAt(const Scan& scan, int64_t first, int64_t end) {
  const int x = static_cast<int>(first % scan.mcusWide);
  const int left = static_cast<int>(std::min<int64_t>(scan.mcusWide - x, end - first));
  return {x, static_cast<int>(first / scan.mcusWide), std::min(left, mcusOfRun(scan))};
}

} // namespace jpeg
