// The boxes of a JP2 file: where the codestream lies, and what its components mean.
#pragma once

#include "jpeg2000/jpeg2000.h"

namespace j2k {

struct Container {
  ByteSpan codestream;
  bool boxed = false;
  enum class Space { unknown, grey, rgb, ycc, cmyk } space = Space::unknown;
  Bytes icc;
  std::vector<int> opacity; // components that are opacity
  bool palette = false;
  img::Density density;
};

bool isContainer(ByteSpan head);
bool isCodestream(ByteSpan head);

// Also of a bare codestream.
Error readContainer(ByteSpan file, Container& container);

// What stands in front of the codestream, up to the header of its box. The box runs to the end of the file.
Bytes containerHead(const img::Picture& picture);

} // namespace j2k
