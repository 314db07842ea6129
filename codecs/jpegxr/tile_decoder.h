// The macroblocks of a tile from its packets.
#pragma once

#include "jpegxr/context.h"
#include "jpegxr/planes.h"

namespace jpegxr {

// The values that the transforms begin with. `codestream` must have kSpareBytes readable behind its end.
constexpr size_t kSpareBytes = 1 << 15;
Error decodeTile(const Header& header, ByteSpan codestream, const std::array<Packet, 4>& packets, Planes& planes);

} // namespace jpegxr
