// The macroblocks of a tile from its packets.
#pragma once

#include <memory>

#include "jpegxr/planes.h"

namespace jpegxr {

class TileDecoder {
 public:
  TileDecoder(const Header& header, const Planes& planes);
  ~TileDecoder();

  // A tile that keeps going has zeros for what its packets do not hold.
  Error open(img::ByteSource& source, const std::array<Packet, 4>& packets, bool keepGoing);

  // The values of a row of macroblocks with which the transforms begin. Rows go from top to bottom.
  Error decodeRow(int my);

  // What was wrong first; empty if nothing was.
  const std::string& damage() const;

 private:
  class Coder;
  std::unique_ptr<Coder> coder_;
};

} // namespace jpegxr
