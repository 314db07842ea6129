// The BC7 encoder beside a plain model of its search. The model takes the end points of the rough fit from the library,
// since their last bits are not fixed by the contract; the fit is compared with one in double precision.
#include "texture/bc7_encode.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "support/random.h"

namespace zelj::test {
namespace {

using bc7::kModes;
using bc7::Mode;
using Ends = std::array<int, 8>; // R, G, B, A of E0, then of E1
using Pixel = std::array<int, 4>;
using Pixels = std::array<Pixel, 16>;
constexpr double kLargest = 1e300;

int subsetOf(const Mode& mode, int partition, int p) {
  const auto i = static_cast<size_t>(partition), k = static_cast<size_t>(p);
  return mode.subsets == 1 ? 0 : mode.subsets == 2 ? bptc::kTwoSubsets[i][k] : bptc::kThreeSubsets[i][k];
}
int anchorOf(const Mode& mode, int partition, int subset) {
  const auto i = static_cast<size_t>(partition);
  if (subset == 0) return 0;
  if (mode.subsets == 2) return bptc::kSecondAnchorOfTwo[i];
  return subset == 1 ? bptc::kSecondAnchorOfThree[i] : bptc::kThirdAnchorOfThree[i];
}

// The search in one mode, with one selector.
struct Model {
  const Mode& mode;
  int colourBits, alphaBits; // of indices

  Model(const Mode& m, int selector)
      : mode(m), colourBits(selector ? m.index2Bits : m.indexBits), alphaBits(selector ? m.indexBits : m.index2Bits) {}

  int precision(int c) const { return mode.endPointBits[static_cast<size_t>(c)]; }
  int entry(const Ends& ends, int c, int j, bool quantised) const {
    const auto k = static_cast<size_t>(c);
    const int bits = c == 3 && alphaBits ? alphaBits : colourBits, b = quantised ? precision(c) : 8;
    const int w = bits == 2   ? bptc::kWeights2[static_cast<size_t>(j)]
                  : bits == 3 ? bptc::kWeights3[static_cast<size_t>(j)]
                              : bptc::kWeights4[static_cast<size_t>(j)];
    const auto widened = [&](int q) {
      if (precision(c) == 0) return 255;
      const int u = (q << (8 - b)) & 255;
      return u | u >> b;
    };
    return ((64 - w) * widened(ends[k]) + w * widened(ends[k + 4]) + 32) >> 6;
  }
  // Scans the channels from..to - 1 for one pixel.
  double scan(const Ends& ends, const Pixel& pixel, int from, int to, int bits, bool quantised, int* index) const {
    double best = kLargest;
    for (int j = 0; j < 1 << bits; ++j) {
      if (best <= 0) break;
      double d = 0;
      for (int c = from; c < to; ++c) {
        const int difference = pixel[static_cast<size_t>(c)] - entry(ends, c, j, quantised);
        d += difference * difference;
      }
      if (d > best) break;
      if (d < best) {
        best = d;
        *index = j;
      }
    }
    return best;
  }
  double distance(const Ends& ends, const Pixel& pixel, bool quantised, int* colour, int* alpha) const {
    if (!alphaBits) return scan(ends, pixel, 0, 4, colourBits, quantised, colour);
    return scan(ends, pixel, 0, 3, colourBits, quantised, colour) +
           scan(ends, pixel, 3, 4, alphaBits, quantised, alpha);
  }
  double error(const Ends& ends, const std::vector<Pixel>& pixels, double bound) const {
    double sum = 0;
    int ignored;
    for (const Pixel& pixel : pixels) {
      sum += distance(ends, pixel, true, &ignored, &ignored);
      if (sum > bound) return kLargest;
    }
    return sum;
  }

  double stepSearch(Ends& x, size_t k, int bits, const std::vector<Pixel>& pixels, double bound) const {
    for (int step = 1 << (bits - 1); step > 0; step /= 2) {
      int noted = 0;
      for (const int delta : {-step, step}) {
        Ends moved = x;
        moved[k] += delta;
        if (moved[k] < 0 || moved[k] >= 1 << bits) continue;
        const double e = error(moved, pixels, bound);
        if (e < bound) {
          bound = e;
          noted = delta;
        }
      }
      x[k] += noted;
    }
    return bound;
  }

  void refineEnds(Ends& r, size_t c, int bits, const std::vector<Pixel>& pixels, double& current) const {
    Ends t0 = r, t1 = r;
    const double a = stepSearch(t0, c, bits, pixels, current), b = stepSearch(t1, c + 4, bits, pixels, current);
    int end;
    if (b > a) {
      if (a >= current) return;
      r[c] = t0[c];
      current = a;
      end = 1;
    } else {
      if (b >= current) return;
      r[c + 4] = t0[c + 4]; // not of t1
      current = b;
      end = 0;
    }
    for (;; end = 1 - end) {
      Ends s = r;
      const size_t k = end ? c + 4 : c;
      const double e = stepSearch(s, k, bits, pixels, current);
      if (e >= current) return;
      r[k] = t0[k];
      current = e;
    }
  }

  void refineNeighbours(Ends& r, size_t c, int bits, const std::vector<Pixel>& pixels, double& current) const {
    if (current == 0) return;
    const int a0 = r[c], b0 = r[c + 4], top = (1 << bits) - 1;
    const int aLow = std::max(a0 - 5, 0), aHigh = std::min(a0 + 5, top);
    const int bLow = std::max(b0 - 5, 0), bHigh = std::min(b0 + 5, top);
    Ends best = r;
    const auto consider = [&](int a, int b) {
      Ends x = r;
      x[c] = a;
      x[c + 4] = b;
      const double e = error(x, pixels, current);
      if (e >= current) return;
      current = e;
      best = x;
    };
    if (a0 > b0) {
      for (int b = bLow; b < bHigh; ++b) {
        for (int a = std::max(aLow, b); a <= aHigh; ++a) consider(a, b);
      }
    } else {
      for (int a = aLow; a <= aHigh; ++a) {
        for (int b = std::max(bLow, a); b < bHigh; ++b) consider(a, b);
      }
    }
    r = best;
  }
};

struct Content {
  double error = kLargest;
  int partition = 0, rotation = 0, selector = 0;
  Ends ends[3]{};
  int colours[16]{}, alpha[16]{};
};

// Indices and error of the subset; the end points are exchanged where the anchor asks for it.
double assign(const Model& model, const Pixels& pixels, Content& content, int s) {
  double error = 0;
  for (int p = 0; p < 16; ++p) {
    if (subsetOf(model.mode, content.partition, p) != s) continue;
    error +=
        model.distance(content.ends[s], pixels[static_cast<size_t>(p)], true, &content.colours[p], &content.alpha[p]);
  }
  const auto fix = [&](int(&indices)[16], int bits, size_t from, size_t to) {
    if (!(indices[anchorOf(model.mode, content.partition, s)] & 1 << (bits - 1))) return;
    for (size_t c = from; c < to; ++c) std::swap(content.ends[s][c], content.ends[s][c + 4]);
    for (int p = 0; p < 16; ++p) {
      if (subsetOf(model.mode, content.partition, p) == s) indices[p] = (1 << bits) - 1 - indices[p];
    }
  };
  fix(content.colours, model.colourBits, 0, model.alphaBits ? 3 : 4);
  if (model.alphaBits) fix(content.alpha, model.alphaBits, 3, 4);
  return error;
}

Content encodePartition(const Model& model, const Pixels& pixels, Content content, const Ends (&estimated)[3]) {
  const Mode& mode = model.mode;
  double plainError = 0, refinedError = 0;
  Content plain = content, refined = content;
  for (int s = 0; s < mode.subsets; ++s) {
    for (size_t i = 0; i < 8; ++i) {
      const int bits = mode.endPointBits[i % 4], value = estimated[s][i];
      plain.ends[s][i] = bits == 0 ? 255 : bits == 8 ? value : std::min(value + (1 << (7 - bits)), 255) >> (8 - bits);
    }
    double current = assign(model, pixels, plain, s);
    plainError += current;
    refined.ends[s] = plain.ends[s];
    std::vector<Pixel> mine;
    for (int p = 0; p < 16; ++p) {
      if (subsetOf(mode, content.partition, p) == s) mine.push_back(pixels[static_cast<size_t>(p)]);
    }
    for (size_t c = 0; c < 4; ++c) {
      if (mode.endPointBits[c]) model.refineEnds(refined.ends[s], c, mode.endPointBits[c], mine, current);
    }
    for (size_t c = 0; c < 4; ++c) {
      if (mode.endPointBits[c]) model.refineNeighbours(refined.ends[s], c, mode.endPointBits[c], mine, current);
    }
    refinedError += assign(model, pixels, refined, s);
  }
  Content& better = plainError <= refinedError ? plain : refined;
  better.error = std::min(plainError, refinedError);
  return better;
}

std::array<Zel8u, 16> blockOf(int number, Content content) {
  const Mode& mode = kModes[static_cast<size_t>(number)];
  unsigned __int128 bits = 0;
  int at = 0;
  const auto put = [&](int value, int width) {
    bits |= static_cast<unsigned __int128>(value) << at;
    at += width;
  };
  put(1 << number, number + 1);
  put(content.partition, mode.partitionBits);
  put(content.rotation, mode.rotationBits);
  put(content.selector, mode.selectorBits);
  int ones[6]{}, uses[6]{};
  for (size_t c = 0; c < 4; ++c) {
    for (int s = 0; s < mode.subsets; ++s) {
      for (int e = 0; e < 2; ++e) {
        int value = content.ends[s][c + 4 * static_cast<size_t>(e)];
        if (mode.colourBits[c] != mode.endPointBits[c]) {
          const int i = (e * mode.pBits + 2 * mode.pBits * s) / (2 * mode.subsets);
          ones[i] += value & 1;
          ++uses[i];
          value >>= 1;
        }
        if (mode.colourBits[c]) put(value, mode.colourBits[c]);
      }
    }
  }
  for (int i = 0; i < mode.pBits; ++i) put(ones[i] > uses[i] >> 1, 1);
  const auto putIndices = [&](const int(&indices)[16], int width, bool first) {
    for (int p = 0; p < 16; ++p) {
      bool anchor = p == 0;
      for (int s = 1; s < mode.subsets && first; ++s) anchor |= p == anchorOf(mode, content.partition, s);
      put(indices[p], width - anchor);
    }
  };
  putIndices(content.selector ? content.alpha : content.colours, mode.indexBits, true);
  if (mode.index2Bits) putIndices(content.selector ? content.colours : content.alpha, mode.index2Bits, false);
  std::array<Zel8u, 16> block;
  std::memcpy(block.data(), &bits, 16);
  return block;
}

// The library's rough fit, of all partitions, and the model's error of it.
struct Fit {
  Ends ends[64][3];
  double error[64];
};
Fit fitted(int number, const Pixels& pixels) {
  const Mode& mode = kModes[static_cast<size_t>(number)];
  bc7::Channels channels;
  for (size_t p = 0; p < 16; ++p) {
    for (size_t c = 0; c < 4; ++c) channels[c][p] = static_cast<Zel8u>(pixels[p][c]);
  }
  static bc7::Estimates estimates;
  bc7::estimate(number, channels, estimates);
  Fit fit{};
  const Model model(mode, 0);
  for (size_t i = 0; i < static_cast<size_t>(mode.partitions()); ++i) {
    for (size_t s = 0; s < static_cast<size_t>(mode.subsets); ++s) {
      for (size_t k = 0; k < 8; ++k) fit.ends[i][s][k] = estimates.endPoints[i][s][k / 4][k % 4];
    }
    int ignored;
    for (int p = 0; p < 16; ++p) {
      const int s = subsetOf(mode, static_cast<int>(i), p);
      fit.error[i] += model.distance(fit.ends[i][s], pixels[static_cast<size_t>(p)], false, &ignored, &ignored);
    }
  }
  return fit;
}

Content encoded(int number, Pixels pixels) {
  const Mode& mode = kModes[static_cast<size_t>(number)];
  Content best;
  for (int rotation = 0; rotation < 1 << mode.rotationBits; ++rotation) {
    const auto rotate = [&] {
      for (Pixel& pixel : pixels) {
        if (rotation) std::swap(pixel[static_cast<size_t>(rotation) - 1], pixel[3]);
      }
    };
    rotate();
    for (int selector = 0; selector < 1 << mode.selectorBits; ++selector) {
      Fit fit = fitted(number, pixels);
      const int partitions = mode.partitions(), kept = partitions < 4 ? 1 : partitions / 4;
      int order[64];
      for (int i = 0; i < 64; ++i) order[i] = i;
      for (int i = 0; i < kept; ++i) {
        for (int j = i + 1; j < partitions; ++j) {
          if (fit.error[i] <= fit.error[j]) continue;
          std::swap(fit.error[i], fit.error[j]);
          std::swap(order[i], order[j]);
        }
      }
      for (int i = 0; i < kept; ++i) {
        Content start;
        start.partition = order[i];
        start.rotation = rotation;
        start.selector = selector;
        const Content content = encodePartition(Model(mode, selector), pixels, start, fit.ends[order[i]]);
        if (content.error < best.error) best = content;
        if (best.error <= 0) return best;
      }
    }
    rotate();
  }
  return best;
}

// Slopes and edges with grain, two colours, few levels, columns or noise.
Pixels randomPixels(Random& random) {
  Pixels pixels;
  const int kind = random.in(0, 5), grain = random.oneOf({0, 1, 4, 30}), opaque = random.in(0, 1);
  int base[2][4], slope[2][4];
  for (int c = 0; c < 4; ++c) {
    for (int i = 0; i < 2; ++i) {
      base[i][c] = random.in(0, 255);
      slope[i][c] = random.in(-25, 25);
    }
  }
  for (int p = 0; p < 16; ++p) {
    const bool other = random.in(0, 2) == 0;
    for (int c = 0; c < 4; ++c) {
      const auto& b = base[kind == 2 ? p % 4 + p / 4 > 3 : kind == 3 && other];
      int value = b[c] + random.in(-grain, grain);
      if (kind == 1 || kind == 2) value += slope[0][c] * (p % 4) + slope[1][c] * (p / 4);
      if (kind == 0) value = random.in(0, 255);
      if (kind == 4) value = random.oneOf({0, 1, 254, 255});
      if (kind == 5) value = base[p % 4 % 2][c] + slope[0][c] * (p % 4); // partitions that fit equally well
      pixels[static_cast<size_t>(p)][static_cast<size_t>(c)] = c == 3 && opaque ? 255 : std::clamp(value, 0, 255);
    }
  }
  return pixels;
}

TEST(Bc7Encoder, SearchesAsTheModelDoes) {
  constexpr int kTrials[8] = {30, 12, 20, 20, 40, 60, 60, 20}; // the model takes about a second in all
  for (int mode = 0; mode < 8; ++mode) {
    Random random(static_cast<uint64_t>(mode) + 1);
    for (int trial = 0; trial < kTrials[mode]; ++trial) {
      const Pixels pixels = randomPixels(random);
      Zel8u bytes[64];
      for (size_t i = 0; i < 64; ++i) bytes[i] = static_cast<Zel8u>(pixels[i / 4][i % 4]);
      std::array<Zel8u, 16> block;
      Zel32u error;
      ASSERT_EQ(
          zeliTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(bytes, 16, block.data(), &error, static_cast<Zel32u>(mode)),
          zelStatusOk);
      const Content expected = encoded(mode, pixels);
      ASSERT_EQ(error, static_cast<Zel32u>(expected.error)) << "mode " << mode << ", trial " << trial;
      ASSERT_EQ(block, blockOf(mode, expected)) << "mode " << mode << ", trial " << trial;
    }
  }
}

// Against the axis by iteration in double precision, either way round, and within one of the truncated values.
TEST(Bc7Encoder, FitsTheAxisOfMostVariance) {
  Random random(9);
  for (const int number : {0, 1, 2, 6}) {
    const Mode& mode = kModes[static_cast<size_t>(number)];
    for (int trial = 0; trial < 15; ++trial) {
      const Pixels pixels = randomPixels(random);
      const Fit fit = fitted(number, pixels);
      for (int i = 0; i < mode.partitions(); ++i) {
        for (int s = 0; s < mode.subsets; ++s) {
          std::vector<Pixel> mine;
          for (int p = 0; p < 16; ++p) {
            if (subsetOf(mode, i, p) == s) mine.push_back(pixels[static_cast<size_t>(p)]);
          }
          double mean[3]{}, m[3][3]{};
          for (size_t c = 0; c < 3; ++c) {
            for (const Pixel& pixel : mine) mean[c] += pixel[c] / static_cast<double>(mine.size());
          }
          for (const Pixel& pixel : mine) {
            for (size_t a = 0; a < 3; ++a) {
              for (size_t b = 0; b < 3; ++b) m[a][b] += (pixel[a] - mean[a]) * (pixel[b] - mean[b]);
            }
          }
          const auto axisFrom = [&](std::array<double, 3> v) {
            for (int k = 0; k < 400; ++k) {
              std::array<double, 3> next;
              for (size_t a = 0; a < 3; ++a) next[a] = m[a][0] * v[0] + m[a][1] * v[1] + m[a][2] * v[2];
              const double length = std::hypot(next[0], next[1], next[2]);
              for (size_t a = 0; a < 3; ++a) v[a] = length > 0 ? next[a] / length : 0;
            }
            return v;
          };
          const auto v = axisFrom({0.6, 0.5, 0.4}), other = axisFrom({-0.3, 0.2, 0.7});
          const double alike = v[0] * other[0] + v[1] * other[1] + v[2] * other[2];
          if (std::abs(alike) < 1 - 1e-9) continue; // no axis, or none that stands out
          double low = 0, high = 0;
          for (const Pixel& pixel : mine) {
            const double t = (pixel[0] - mean[0]) * v[0] + (pixel[1] - mean[1]) * v[1] + (pixel[2] - mean[2]) * v[2];
            low = std::min(low, t);
            high = std::max(high, t);
          }
          double worst[2] = {0, 0};
          for (size_t c = 0; c < 3; ++c) {
            const double e[2] = {std::clamp(mean[c] + low * v[c], 0.0, 255.0),
                                 std::clamp(mean[c] + high * v[c], 0.0, 255.0)};
            for (size_t k = 0; k < 8; k += 4) {
              for (size_t way = 0; way < 2; ++way) {
                worst[way] = std::max(worst[way], std::abs(fit.ends[i][s][k + c] + 0.5 - e[(k / 4 + way) % 2]));
              }
            }
          }
          ASSERT_LE(std::min(worst[0], worst[1]), 0.51)
              << "mode " << number << ", trial " << trial << ", partition " << i;
        }
      }
    }
  }
}

// Subsets of two pixels are their own end points, in their order.
TEST(Bc7Encoder, FitsTwoPixelsExactly) {
  Random random(10);
  const Pixels pixels = randomPixels(random);
  const Fit fit = fitted(2, pixels);
  for (int i = 59; i <= 62; ++i) {
    for (int s = 0; s < 3; ++s) {
      std::vector<Pixel> mine;
      for (int p = 0; p < 16; ++p) {
        if (subsetOf(kModes[2], i, p) == s) mine.push_back(pixels[static_cast<size_t>(p)]);
      }
      for (size_t k = 0; mine.size() == 2 && k < 8; ++k) {
        if (k % 4 < 3) {
          EXPECT_EQ(fit.ends[i][s][k], mine[k / 4][k % 4]);
        }
      }
    }
  }
}

} // namespace
} // namespace zelj::test
