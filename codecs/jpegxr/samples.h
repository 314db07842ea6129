// Rows of pixels to and from the planes: the colour transform, its bias, the edges, and the halving of chroma.
#pragma once

#include <vector>

#include "jpegxr/planes.h"

namespace jpegxr {

// Rows of 8 or 16-bit samples into the planes, from the first to the last.
class SamplesIn {
 public:
  SamplesIn(const Header& header, const Planes& planes);

  // Takes the next row; the last one of the picture is repeated down to whole macroblocks.
  void put(const uint8_t* row);

  // The end of the rows of a component's plane that are filled.
  int end(int component) const;

 private:
  void halve();

  const Header& header_;
  const Planes& planes_;
  int next_ = 0;
  // Halved chroma, as long as it has all its rows.
  Plane tall_[2];
  std::vector<Zel32s> wide_; // two rows of full size
  int halved_ = 0;           // rows
};

// Rows of the picture from the planes.
class SamplesOut {
 public:
  SamplesOut(const Header& header, const Planes& planes);

  // The end of the rows of the picture that the planes' rows up to these ends give.
  int end(const int (&planes)[3]) const;
  void get(int y, uint8_t* row);

 private:
  const Header& header_;
  const Planes& planes_;
  std::vector<Zel32s> wide_; // two rows of doubled chroma, and room for one that becomes it
};

} // namespace jpegxr
