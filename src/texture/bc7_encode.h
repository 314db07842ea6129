// What the parts of the BC7 encoder have in common: pixels, end points and ramps of one block.
#pragma once

#include "texture/bc7_format.h"

namespace zelj::bc7 {

// E0 and E1 of a subset, each R, G, B, A.
using EndPoints = std::array<std::array<Zel8u, 4>, 2>;

// The 16 pixels of a block, channel by channel.
using Channels = std::array<std::array<Zel8u, 16>, 4>;

// A first guess at the end points of every partition, and its squared error but for what is the same for all of them.
// Where there is one partition, there is no error.
struct Estimates {
  std::array<std::array<EndPoints, 3>, 64> endPoints;
  std::array<Zel32s, 64> error;
};
void estimate(int mode, const Channels& pixels, Estimates& estimates);

// The pixels of a subset, side by side, with 16 lanes to be read.
struct Subset {
  int count;
  const Zel16u* channel[4];
};

// The bits of the indices of colours and of alpha; alpha that shares the index of the colours has 0.
struct IndexBits {
  int colours, alpha;
};

// The end points of a subset, held at the precision of the mode, and the search for better ones.
class SubsetFit {
 public:
  // Squared distances of the pixels from the entries of a channel's ramp.
  struct Squares {
    alignas(64) Zel16u of[16][16]; // entry, pixel
  };

  SubsetFit(const Mode& mode, const Subset& subset, IndexBits bits, const EndPoints& endPoints);

  // The error, and the indices that give it; those of alpha where they are apart. Where the index of the anchor has its
  // highest bit set, the end points are exchanged and the indices count from the other end.
  Zel32s assign(int anchor, Zel8u (&colours)[16], Zel8u (&alpha)[16]);
  // Changes the end points where that brings the error below what was found for them.
  void refine(Zel32s error);
  const EndPoints& endPoints() const { return endPoints_; }

 private:
  int precision(int c) const { return mode_.endPointBits[static_cast<size_t>(c)]; }
  int indexBits(int c) const { return c == 3 && bits_.alpha ? bits_.alpha : bits_.colours; }
  bool shareIndex(int a, int b) const { return precision(a) && precision(b) && (!bits_.alpha || (a == 3) == (b == 3)); }
  void update(int c);

  const Mode& mode_;
  const Subset& subset_;
  const IndexBits bits_;
  EndPoints endPoints_;
  Squares squares_[4];
};

} // namespace zelj::bc7
