// How texels lie in a file: in blocks of 4x4 or one by one, and in which order the levels, faces and layers of a
// texture follow each other.
#pragma once

#include <vector>

#include "texture/texture.h"

namespace texture {

enum class Coding { plain, bc1, bc2, bc3, bc4, bc5, bc6Unsigned, bc6Signed, bc7 };
enum class Sample { u8, u16, f16, f32 };

struct Format {
  const char* name;
  Coding coding;
  int unitBytes; // of a block or a texel

  // Plain texels.
  int channels = 0;
  Sample sample = Sample::u8;
  bool blueFirst = false;
  bool lastUnused = false; // a fourth channel that means nothing

  // What files call it; 0 where they have no name for it.
  uint32_t dxgi[3] = {}; // the first one is what writers take, the second its sRGB twin
  uint32_t vulkan[2] = {};
  const char* fourCC[3] = {};

  bool inBlocks() const { return coding != Coding::plain; }
  uint64_t rowUnits(int width) const { return inBlocks() ? (uint64_t(width) + 3) / 4 : uint64_t(width); }
  uint64_t unitRows(int height) const { return rowUnits(height); }
  uint64_t rowBytes(int width) const { return rowUnits(width) * static_cast<uint64_t>(unitBytes); }
  uint64_t bytes(int width, int height) const { return rowBytes(width) * unitRows(height); }
};

const Format* formatOf(Coding coding, int channels = 0);
const Format* formatOfDxgi(uint32_t number);
const Format* formatOfVulkan(uint32_t number);
const Format* formatOfFourCC(uint32_t code);

constexpr uint32_t fourCC(const char* text) {
  return static_cast<uint8_t>(text[0]) | static_cast<uint32_t>(static_cast<uint8_t>(text[1])) << 8 |
         static_cast<uint32_t>(static_cast<uint8_t>(text[2])) << 16 |
         static_cast<uint32_t>(static_cast<uint8_t>(text[3])) << 24;
}

// One level of one face of one layer.
struct Surface {
  int width = 0, height = 0;
  uint64_t position = 0, bytes = 0;
};

struct Texture {
  const Format* format = nullptr;
  int width = 0, height = 0;
  int levels = 1, faces = 1, layers = 1;
  bool sRgb = false, opaque = false, yCoCg = false;
  uint64_t dataPosition = 0;            // DDS: layers of faces of levels from here on
  std::vector<uint64_t> levelPositions; // KTX2: levels of layers of faces

  Surface surface(int level, int layer, int face) const;
};

constexpr int atLevel(int side, int level) {
  return level < 31 && side >> level > 0 ? side >> level : 1;
}
// Levels down to one texel.
int fullChain(int width, int height);

// The header of a file; `size` is that of the file where it is known.
Error readHeader(img::ByteSource& source, Container container, Texture& texture);

// Everything but the levels' bytes: what stands in front of each level, in the order of the file.
struct Piece {
  Bytes front;
  int level;
};
std::vector<Piece> fileLayout(Container container, const Texture& texture);

// Numbers of files are little-endian.
inline uint32_t get32(ByteSpan bytes, size_t at) {
  return bytes[at] | static_cast<uint32_t>(bytes[at + 1]) << 8 | static_cast<uint32_t>(bytes[at + 2]) << 16 |
         static_cast<uint32_t>(bytes[at + 3]) << 24;
}
inline uint64_t get64(ByteSpan bytes, size_t at) {
  return get32(bytes, at) | uint64_t{get32(bytes, at + 4)} << 32;
}
inline void put32(Bytes& bytes, uint32_t v) {
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<uint8_t>(v >> 8 * i));
}
inline void put64(Bytes& bytes, uint64_t v) {
  put32(bytes, static_cast<uint32_t>(v));
  put32(bytes, static_cast<uint32_t>(v >> 32));
}

} // namespace texture
