// The packets of a tile from its macroblocks.
#pragma once

#include <functional>
#include <memory>

#include "jpegxr/jpegxr.h"
#include "jpegxr/planes.h"

namespace jpegxr {

class TileEncoder {
 public:
  // Takes the next bytes of a packet.
  using Sink = std::function<Error(size_t packet, ByteSpan bytes)>;

  TileEncoder(const Header& header, int trim, const Planes& planes, Sink sink);
  ~TileEncoder();

  // Codes a row of macroblocks from what the transforms left in the planes, which is spent then. Rows go from top to
  // bottom.
  Error encodeRow(int my);
  Error finish();

 private:
  class Coder;
  std::unique_ptr<Coder> coder_;
};

} // namespace jpegxr
