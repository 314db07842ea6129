#include "jpeg2000/rate.h"

#include <algorithm>
#include <cmath>

namespace j2k {
namespace {

// Calls f(component, band, block) for all blocks.
template <class F>
void forBlocks(Tile& tile, F f) {
  for (size_t c = 0; c < tile.components.size(); ++c) {
    for (Resolution& resolution : tile.components[c].resolutions) {
      for (Precinct& precinct : resolution.precincts) {
        for (size_t b = 0; b < precinct.bands.size(); ++b) {
          for (CodeBlock& block : precinct.bands[b].blocks) f(c, resolution.bands[b], block);
        }
      }
    }
  }
}

// A place to cut a block: what a byte more has brought there.
struct Cut {
  int passes;
  double slope, distortion;
};

// The corners of the convex hull over rates and distortions, with falling slopes.
std::vector<Cut> hull(const CodeBlock& block, double weight) {
  std::vector<Cut> cuts;
  const auto rate = [&](int passes) { return passes ? block.rates[static_cast<size_t>(passes - 1)] : 0; };
  const auto gain = [&](int passes) {
    return passes ? block.distortions[static_cast<size_t>(passes - 1)] * weight : 0;
  };
  for (int passes = 1; passes <= static_cast<int>(block.rates.size()); ++passes) {
    for (;;) {
      const int last = cuts.empty() ? 0 : cuts.back().passes;
      const double more = gain(passes) - gain(last);
      const int bytes = rate(passes) - rate(last);
      if (more <= 0) break; // not worth a byte
      const double slope = bytes > 0 ? more / bytes : 1e300;
      if (!cuts.empty() && slope >= cuts.back().slope) {
        cuts.pop_back();
        continue;
      }
      cuts.push_back({passes, slope, gain(passes)});
      break;
    }
  }
  return cuts;
}

struct Candidate {
  CodeBlock* block;
  std::vector<Cut> cuts;
  double all; // what all passes together take away
  // Passes at a slope, at least.
  const Cut* at(double slope) const {
    const Cut* found = nullptr;
    for (const Cut& cut : cuts) {
      if (cut.slope < slope) break;
      found = &cut;
    }
    return found;
  }
};

std::vector<Candidate> candidates(Tile& tile, const Weight& weight) {
  std::vector<Candidate> all;
  forBlocks(tile, [&](size_t component, const Band& band, CodeBlock& block) {
    const double w = weight(component, band);
    all.push_back({&block, hull(block, w), block.distortions.empty() ? 0 : block.distortions.back() * w});
  });
  return all;
}

// Passes of a layer at a slope; no fewer than the layer before has.
void setLayer(std::vector<Candidate>& all, size_t layer, double slope) {
  for (Candidate& c : all) {
    auto& passes = c.block->layerPasses;
    passes.resize(layer + 1);
    const Cut* cut = c.at(slope);
    passes[layer] = std::max(layer ? passes[layer - 1] : 0, cut ? cut->passes : 0);
  }
}

void setFirstLayers(std::vector<Candidate>& all) {
  for (Candidate& c : all) {
    const auto& passes = c.block->layerPasses;
    const auto first = std::find_if(passes.begin(), passes.end(), [](int n) { return n > 0; });
    c.block->firstLayer = static_cast<int>(first - passes.begin());
  }
}

constexpr double kLeast = -40, kMost = 60; // exponents of slopes

// The lowest power of 2 in a range at which `holds` does, as it does from there on, to a 4096th of its exponent.
template <class F>
double lowestSlope(double low, double high, F holds) {
  while (high - low > 1.0 / 4096) {
    const double middle = (low + high) / 2;
    (holds(std::exp2(middle)) ? high : low) = middle;
  }
  return high;
}

// Bytes of all blocks up to the end of a layer.
size_t bytesOf(const std::vector<Candidate>& all, size_t layer) {
  size_t bytes = 0;
  for (const Candidate& c : all) {
    if (const int passes = c.block->layerPasses[layer]) {
      bytes += static_cast<size_t>(c.block->rates[static_cast<size_t>(passes - 1)]);
    }
  }
  return bytes;
}

} // namespace

void takeAllPasses(Tile& tile) {
  forBlocks(tile, [](size_t, const Band&, CodeBlock& block) {
    const auto passes = static_cast<int>(block.rates.size());
    block.layerPasses = {passes};
    block.firstLayer = passes ? 0 : 1;
  });
}

void allocateBytes(const TileParameters& parameters, const Weight& weight, const std::vector<size_t>& bytes,
                   Tile& tile) {
  std::vector<Candidate> all = candidates(tile, weight);
  TileParameters counted = parameters;
  for (size_t layer = 0; layer < bytes.size(); ++layer) {
    counted.layers = static_cast<int>(layer) + 1;
    const auto bodiesFit = [&](double slope) {
      setLayer(all, layer, slope);
      return bytesOf(all, layer) <= bytes[layer];
    };
    const auto fits = [&](double slope) {
      setLayer(all, layer, slope);
      setFirstLayers(all);
      return sizeOfPackets(counted, tile) <= bytes[layer];
    };
    if (bodiesFit(0) && fits(0)) continue;
    // Headers take long to make and are small: the slope lies a little above that at which the bodies alone fit.
    double low = lowestSlope(kLeast, kMost, bodiesFit), step = 1.0 / 32;
    while (low + step < kMost && !fits(std::exp2(low + step))) {
      low += step;
      step *= 2;
    }
    setLayer(all, layer, std::exp2(lowestSlope(low, low + step, fits)));
  }
  setFirstLayers(all);
}

void allocateError(const Weight& weight, double error, Tile& tile) {
  std::vector<Candidate> all = candidates(tile, weight);
  const auto left = [&](double slope) {
    double sum = 0;
    for (const Candidate& c : all) {
      const Cut* cut = c.at(slope);
      sum += c.all - (cut ? cut->distortion : 0);
    }
    return sum;
  };
  // The highest slope that is good enough is just under the lowest that is not.
  const double tooHigh = lowestSlope(kLeast, kMost, [&](double slope) { return left(slope) > error; });
  setLayer(all, 0, std::exp2(tooHigh - 1.0 / 4096));
  setFirstLayers(all);
}

} // namespace j2k
