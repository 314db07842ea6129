// The container of a JPEG XR file and the headers of its codestream.
#pragma once

#include <array>

#include "jpegxr/jpegxr.h"

namespace jpegxr {

enum class Inner { yOnly = 0, yuv420 = 1, yuv444 = 3 };
enum Bands { kAllBands = 0, kNoFlexbits = 1, kNoHighPass = 2, kDcOnly = 3 };
enum Set { kDcSet, kLpSet, kHpSet };

struct Header {
  int width = 0, height = 0;
  bool isRgb = false;
  int bits = 8; // 8 or 16
  bool frequencyOrder = false, hasTrim = false, scaled = false;
  int overlap = 0, bands = kAllBands, shift = 0;
  Inner inner = Inner::yOnly;
  std::array<std::array<int, 3>, 3> index{}; // of the quantisers, by set and component

  int components() const { return inner == Inner::yOnly ? 1 : 3; }
  int columns() const { return (width + 15) / 16; } // of macroblocks
  int rows() const { return (height + 15) / 16; }
  int packets() const { return frequencyOrder ? 4 - bands : 1; }
  // What coefficients of a component were divided by.
  int32_t step(Set set, int component) const;
};

// Where a packet of the tile begins and ends in the file; absent ones are empty.
struct Packet {
  uint64_t begin = 0, end = 0;
};

// Finds the headers and packets of a file, which must be one that can be read from any place.
Error readHeader(img::ByteSource& source, int64_t maxPixels, Header& header, std::array<Packet, 4>& packets);

// The whole file in front of the packets. Its own length depends on that of the packets in frequency order alone.
Bytes makeFileHead(const Header& header, const std::array<uint64_t, 4>& packetBytes);

} // namespace jpegxr
