// Rows of pixels to rows of components, with the component transforms, and back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zelj.h"

namespace j2k {

// Bits behind the point of irreversible samples in planes, so that no level rounds what can be seen.
constexpr int fractionBits(int bits) {
  return bits < 15 ? 12 : 27 - bits;
}

// Samples of a component in a row.
struct ComponentRow {
  const Zel32s* samples;
  int bits;
  bool reversible;
};

// What a thread needs to work on a row.
struct RowScratch {
  std::vector<Zel32s> integers;
  std::vector<Zel32f> floats;
  std::vector<uint16_t> samples;
  std::vector<ComponentRow> components;
  std::vector<std::vector<Zel32s>> repeated; // samples of components of a coarser grid
};

// To the planes of all components, which are coded alike.
template <class Sample>
void toComponents(const Sample* pixels, int width, size_t channels, int bits, bool reversible, bool transformed,
                  Zel32s* const* planes, RowScratch& scratch);

// Samples are as large as their component's bits allow.
template <class Sample>
void toPixels(const std::vector<ComponentRow>& components, int width, bool transformed, Sample* pixels,
              RowScratch& scratch);

} // namespace j2k
