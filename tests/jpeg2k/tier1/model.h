// A plain model of tier-1 coding for the tests: sample by sample, contexts by counting, the MQ coder as the flow charts
// of ISO/IEC 15444-1 Annex C draw it.
#pragma once

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>
#include <vector>

#include "support/random.h"
#include "zelj.h"

namespace zelj::test {

enum Style { causal = 1, bypass = 2, terminateAll = 4, resetContexts = 8, segmentation = 16, exactLowest = 32 };

struct Decision {
  int context; // -1: raw
  int bit;
};

struct ModelPass {
  std::vector<Decision> decisions;
  double distortion = 0; // in squares of the lowest plane's step
  bool raw = false;
};

// Coefficients of a block in sign-magnitude form.
struct Block {
  int width, height;
  std::vector<Zel32u> samples;

  Zel32u at(int x, int y) const { return samples[static_cast<size_t>(y * width + x)]; }
};

// Magnitudes that fall off as those of a sub-band do: most are small, some stand together and are large.
inline Block makeBlock(Random& random, int width, int height, int topPlane, int lowestPlane) {
  Block block{width, height, {}};
  int spread = topPlane - lowestPlane;
  for (int i = 0; i < width * height; ++i) {
    if (random.in(0, 15) == 0) spread = random.in(-4, topPlane - lowestPlane);
    const int plane = std::max(0, lowestPlane + spread - random.in(0, 5));
    const auto magnitude = static_cast<Zel32u>(random.bits() % (Zel64u{2} << plane)) & 0x7FFFFFFF;
    block.samples.push_back(magnitude | static_cast<Zel32u>(random.in(0, 1)) << 31);
  }
  return block;
}

class ModelEncoder {
 public:
  ModelEncoder(const Block& block, int subband, int magnBits, int style)
      : block_(block), subband_(subband), style_(style), lowest_(31 - magnBits) {
    Zel32u largest = 0;
    for (const Zel32u sample : block.samples) largest = std::max(largest, sample & 0x7FFFFFFF);
    for (; largest >> planes_; ++planes_) continue;
    cells_.resize(block.samples.size());
    for (plane_ = planes_ - 1; plane_ >= lowest_; --plane_) {
      const bool top = plane_ == planes_ - 1, raw = (style & bypass) && plane_ < planes_ - 4;
      if (!top) {
        begin(raw);
        forSamples([this](int x, int y) { propagate(x, y); });
        begin(raw);
        forSamples([this](int x, int y) { refine(x, y); });
      }
      begin(false);
      forColumns([this](int x, int y, int rows) { cleanUp(x, y, rows); });
      for (Cell& cell : cells_) cell.visited = false;
      if (style & segmentation) {
        for (const int bit : {1, 0, 1, 0}) put(0, bit);
      }
    }
  }

  int planes() const { return planes_; }
  const std::vector<ModelPass>& passes() const { return passes_; }
  bool endsSegment(size_t pass) const {
    return (style_ & terminateAll) || pass + 1 == passes_.size() || passes_[pass + 1].raw != passes_[pass].raw;
  }

 private:
  struct Cell {
    bool significant = false, visited = false, refined = false;
  };

  template <class F>
  void forColumns(F f) {
    for (int y = 0; y < block_.height; y += 4) {
      for (int x = 0; x < block_.width; ++x) f(x, y, std::min(4, block_.height - y));
    }
  }
  template <class F>
  void forSamples(F f) {
    forColumns([&](int x, int y, int rows) {
      for (int r = 0; r < rows; ++r) f(x, y + r);
    });
  }

  void begin(bool raw) {
    passes_.emplace_back();
    passes_.back().raw = raw;
  }
  void put(int context, int bit) { passes_.back().decisions.push_back({passes_.back().raw ? -1 : context, bit}); }

  Cell& cell(int x, int y) { return cells_[static_cast<size_t>(y * block_.width + x)]; }
  int bit(int x, int y) const { return static_cast<int>(block_.at(x, y) >> plane_ & 1); }

  // Whether the neighbour of (x, y) is significant, as far as (x, y) may know.
  int seen(int x, int y, int dx, int dy) {
    const int nx = x + dx, ny = y + dy;
    if (nx < 0 || ny < 0 || nx >= block_.width || ny >= block_.height) return 0;
    if ((style_ & causal) && dy == 1 && y % 4 == 3) return 0;
    return cell(nx, ny).significant;
  }
  int signSeen(int x, int y, int dx, int dy) {
    return seen(x, y, dx, dy) ? (block_.at(x + dx, y + dy) >> 31 ? -1 : 1) : 0;
  }
  int sum(int x, int y, std::initializer_list<std::pair<int, int>> offsets) {
    int n = 0;
    for (const auto& [dx, dy] : offsets) n += seen(x, y, dx, dy);
    return n;
  }
  int horizontal(int x, int y) { return sum(x, y, {{-1, 0}, {1, 0}}); }
  int vertical(int x, int y) { return sum(x, y, {{0, -1}, {0, 1}}); }
  int diagonal(int x, int y) { return sum(x, y, {{-1, -1}, {1, -1}, {-1, 1}, {1, 1}}); }
  int neighbours(int x, int y) { return horizontal(x, y) + vertical(x, y) + diagonal(x, y); }

  // Context 0 is uniform, 1 runs; then come zero coding, sign coding and refinement.
  int zeroContext(int x, int y) {
    int h = horizontal(x, y), v = vertical(x, y);
    const int d = diagonal(x, y);
    if (subband_ == 3) {
      const int hv = h + v;
      if (d >= 3) return 2 + 8;
      if (d == 2) return 2 + (hv >= 1 ? 7 : 6);
      if (d == 1) return 2 + (hv >= 2 ? 5 : hv == 1 ? 4 : 3);
      return 2 + (hv >= 2 ? 2 : hv);
    }
    if (subband_ == 2) std::swap(h, v);
    if (h == 2) return 2 + 8;
    if (h == 1) return 2 + (v >= 1 ? 7 : d >= 1 ? 6 : 5);
    if (v >= 1) return 2 + 2 + v;
    return 2 + (d >= 2 ? 2 : d);
  }

  void putSign(int x, int y) {
    const int negative = static_cast<int>(block_.at(x, y) >> 31);
    const int h = std::clamp(signSeen(x, y, -1, 0) + signSeen(x, y, 1, 0), -1, 1);
    const int v = std::clamp(signSeen(x, y, 0, -1) + signSeen(x, y, 0, 1), -1, 1);
    static constexpr int kContexts[3][3] = {{13, 12, 11}, {10, 9, 10}, {11, 12, 13}}; // by h + 1, v + 1
    static constexpr int kFlips[3][3] = {{1, 1, 1}, {1, 0, 0}, {0, 0, 0}};
    put(2 + kContexts[h + 1][v + 1], passes_.back().raw ? negative : negative ^ kFlips[h + 1][v + 1]);
    cell(x, y).significant = true;

    // From no knowledge to the middle of the interval, or in the exact plane to the sample itself.
    const double m = magnitude(x, y);
    const double left = exact() ? 0 : (m - 1.5) * (m - 1.5);
    addDistortion(m * m - left);
  }
  // In steps of the plane, to six bits behind the point.
  double magnitude(int x, int y) const {
    const Zel64u shifted = Zel64u{block_.at(x, y) & 0x7FFFFFFF} << 6 >> plane_;
    return static_cast<double>(shifted & 127) / 64;
  }
  bool exact() const { return (style_ & exactLowest) && plane_ == lowest_; }
  void addDistortion(double inSquaresOfPlane) {
    const double step = static_cast<double>(Zel64u{1} << (plane_ - lowest_));
    passes_.back().distortion += inSquaresOfPlane * step * step;
  }

  void propagate(int x, int y) {
    Cell& c = cell(x, y);
    if (c.significant || neighbours(x, y) == 0) return;
    put(zeroContext(x, y), bit(x, y));
    if (bit(x, y)) putSign(x, y);
    c.visited = true;
  }
  void refine(int x, int y) {
    Cell& c = cell(x, y);
    if (!c.significant || c.visited) return;
    put(c.refined ? 18 : neighbours(x, y) ? 17 : 16, bit(x, y));
    c.refined = true;
    const double m = magnitude(x, y), was = (m - 1) * (m - 1), middle = m < 1 ? 0.5 : 1.5;
    addDistortion(was - (exact() ? 0 : (m - middle) * (m - middle)));
  }
  void cleanUp(int x, int y, int rows) {
    int r = 0;
    bool run = rows == 4;
    for (int i = 0; i < rows; ++i) {
      const Cell& c = cell(x, y + i);
      run = run && !c.significant && !c.visited && neighbours(x, y + i) == 0;
    }
    if (run) {
      while (r < 4 && !bit(x, y + r)) ++r;
      put(1, r < 4);
      if (r == 4) return;
      put(0, r >> 1);
      put(0, r & 1);
      putSign(x, y + r++);
    }
    for (; r < rows; ++r) {
      const Cell& c = cell(x, y + r);
      if (c.significant || c.visited) continue;
      put(zeroContext(x, y + r), bit(x, y + r));
      if (bit(x, y + r)) putSign(x, y + r);
    }
  }

  const Block& block_;
  int subband_, style_, lowest_, planes_ = 0, plane_ = 0;
  std::vector<Cell> cells_;
  std::vector<ModelPass> passes_;
};

struct ProbabilityRow {
  int qe, onMps, onLps, flip;
};
inline constexpr ProbabilityRow kProbabilities[47] = {
    {0x5601, 1, 1, 1},   {0x3401, 2, 6, 0},   {0x1801, 3, 9, 0},   {0x0AC1, 4, 12, 0},  {0x0521, 5, 29, 0},
    {0x0221, 38, 33, 0}, {0x5601, 7, 6, 1},   {0x5401, 8, 14, 0},  {0x4801, 9, 14, 0},  {0x3801, 10, 14, 0},
    {0x3001, 11, 17, 0}, {0x2401, 12, 18, 0}, {0x1C01, 13, 20, 0}, {0x1601, 29, 21, 0}, {0x5601, 15, 14, 1},
    {0x5401, 16, 14, 0}, {0x5101, 17, 15, 0}, {0x4801, 18, 16, 0}, {0x3801, 19, 17, 0}, {0x3401, 20, 18, 0},
    {0x3001, 21, 19, 0}, {0x2801, 22, 19, 0}, {0x2401, 23, 20, 0}, {0x2201, 24, 21, 0}, {0x1C01, 25, 22, 0},
    {0x1801, 26, 23, 0}, {0x1601, 27, 24, 0}, {0x1401, 28, 25, 0}, {0x1201, 29, 26, 0}, {0x1101, 30, 27, 0},
    {0x0AC1, 31, 28, 0}, {0x09C1, 32, 29, 0}, {0x08A1, 33, 30, 0}, {0x0521, 34, 31, 0}, {0x0441, 35, 32, 0},
    {0x02A1, 36, 33, 0}, {0x0221, 37, 34, 0}, {0x0141, 38, 35, 0}, {0x0111, 39, 36, 0}, {0x0085, 40, 37, 0},
    {0x0049, 41, 38, 0}, {0x0025, 42, 39, 0}, {0x0015, 43, 40, 0}, {0x0009, 44, 41, 0}, {0x0005, 45, 42, 0},
    {0x0001, 45, 43, 0}, {0x5601, 46, 46, 0},
};

// The bytes of all segments, terminated by FLUSH, their lengths, and the rates of the passes.
struct ModelBytes {
  std::vector<Zel8u> bytes;
  std::vector<int> lengths, rates;
  bool rawEndsInFF = false; // a raw segment does: decoders refuse it

  explicit ModelBytes(const ModelEncoder& encoder, int style) {
    resetTable();
    start();
    const auto& passes = encoder.passes();
    for (size_t i = 0; i < passes.size(); ++i) {
      for (const Decision& d : passes[i].decisions) {
        if (passes[i].raw) {
          putRaw(d.bit);
        } else {
          encode(d);
        }
      }
      if (encoder.endsSegment(i)) {
        const size_t before = bytes.size();
        if (passes[i].raw) {
          for (int bit = 0; rawBits > 0; bit ^= 1) putRaw(bit);
          if (rawSegment) bytes.insert(bytes.end(), segment.begin(), segment.end());
        } else {
          flush();
          if (segment.size() > 1) bytes.insert(bytes.end(), segment.begin() + 1, segment.end());
        }
        lengths.push_back(static_cast<int>(bytes.size() - before));
        rawEndsInFF |= passes[i].raw && lengths.back() && bytes.back() == 0xFF;
        rates.push_back(static_cast<int>(bytes.size()));
        for (size_t p = i; p > 0; --p) rates[p - 1] = std::min(rates[p - 1], rates[p]);
        start();
      } else {
        rates.push_back(static_cast<int>(bytes.size()) + heldBytes(passes[i].raw));
      }
      if (style & resetContexts) resetTable();
    }
    for (int& rate : rates) rate -= rate > 0 && bytes[static_cast<size_t>(rate - 1)] == 0xFF;
  }

 private:
  // Bytes of the open segment, with those that a decoder may need beyond.
  int heldBytes(bool raw) const {
    if (raw) return rawSegment ? static_cast<int>(segment.size()) + (rawBits > 0) : 0;
    if (!pending) return 0;
    const int out = std::max(static_cast<int>(segment.size()) - 2, 0), least = segment.size() > 1 ? 4 : 3;
    return out + least + (27 - ct > (segment.back() < 254 ? 23 : 22));
  }
  void resetTable() {
    states.fill({0, 0});
    states[0] = {46, 0};
    states[1] = {3, 0};
    states[2] = {4, 0};
  }
  void start() {
    a = 0x8000;
    c = 0;
    ct = 12;
    segment.assign(1, 0); // BP begins in front of the stream
    rawBits = 0;
    rawByte = 0;
    rawSegment = pending = false;
  }
  void putRaw(int bit) {
    if (!rawSegment) segment.clear();
    rawSegment = true;
    const int full = !segment.empty() && segment.back() == 0xFF ? 7 : 8;
    rawByte = rawByte * 2 + bit;
    if (++rawBits == full) {
      segment.push_back(static_cast<Zel8u>(rawByte));
      rawBits = rawByte = 0;
    }
  }
  void byteOut() {
    if (segment.back() != 0xFF && c >= 0x8000000) {
      ++segment.back();
      if (segment.back() == 0xFF) c &= 0x7FFFFFF;
    }
    const bool stuffed = segment.back() == 0xFF;
    segment.push_back(static_cast<Zel8u>(c >> (stuffed ? 20 : 19)));
    c &= stuffed ? 0xFFFFF : 0x7FFFF;
    ct = stuffed ? 7 : 8;
  }
  void encode(const Decision& d) {
    pending = true;
    auto& [index, mps] = states[static_cast<size_t>(d.context)];
    const ProbabilityRow& row = kProbabilities[index];
    const auto qe = static_cast<Zel32u>(row.qe);
    a -= qe;
    if (d.bit == mps) {
      if (a & 0x8000) {
        c += qe;
        return;
      }
      if (a < qe) {
        a = qe;
      } else {
        c += qe;
      }
      index = row.onMps;
    } else {
      if (a < qe) {
        c += qe;
      } else {
        a = qe;
      }
      mps ^= row.flip;
      index = row.onLps;
    }
    do {
      a <<= 1;
      c <<= 1;
      if (--ct == 0) byteOut();
    } while (!(a & 0x8000));
  }
  void flush() {
    const Zel32u end = c + a;
    c |= 0xFFFF;
    if (c >= end) c -= 0x8000;
    c <<= ct;
    byteOut();
    c = (c | 0x7FFF) << ct;
    byteOut();
    if (segment.back() != 0xFF) return; // the last byte stays
    segment.pop_back();
  }

  std::array<std::pair<int, int>, 19> states;
  Zel32u a = 0, c = 0;
  int ct = 0, rawBits = 0, rawByte = 0;
  bool rawSegment = false, pending = false;
  std::vector<Zel8u> segment;
};

} // namespace zelj::test
