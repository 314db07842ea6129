// The boxes of a JP2 file: where the codestream lies, and what its components mean.
#pragma once

#include "jpeg2000/jpeg2000.h"

namespace j2k {

// A column of the palette: what the samples of a component stand for.
struct PaletteColumn {
  int bits = 0;
  std::vector<uint16_t> entries;
};

// Where a channel comes from: a component, by a column of the palette or (-1) as it is.
struct ChannelSource {
  size_t component = 0;
  int column = -1;
};

// What a channel means: type 0 is colour number `association`, from 1 on; types 1 and 2 are opacity.
struct ChannelMeaning {
  size_t channel = 0;
  int type = 0, association = 0;
};

struct Container {
  ByteSpan codestream;
  bool boxed = false;
  enum class Space { unknown, grey, rgb, ycc, cmyk } space = Space::unknown;
  Bytes icc;
  std::vector<PaletteColumn> palette;
  std::vector<ChannelSource> channels; // empty: the components
  std::vector<ChannelMeaning> meanings;
  img::Density density;
};

bool isContainer(ByteSpan head);
bool isCodestream(ByteSpan head);

// Also of a bare codestream.
Error readContainer(ByteSpan file, Container& container);

// What stands in front of the codestream, up to the header of its box. The box runs to the end of the file.
Bytes containerHead(const img::Picture& picture);

} // namespace j2k
