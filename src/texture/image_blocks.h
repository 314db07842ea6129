// How whole images are walked in 4x4 blocks. Kernels take a group of neighbouring blocks at a time, as many as fill
// their vectors; what a row of blocks has beyond whole groups, and blocks that reach over the image's edge, go through
// memory of one group.
#pragma once

#include <algorithm>
#include <cstring>

#include "frame/rows.h"

namespace zelj {

// Blocks that begin in a row of `width` pixels.
constexpr Zel64s blocksAcross(int width) {
  return (Zel64s{width} + 3) / 4;
}

// Calls group(block) for the whole groups of a row of blocks that lie inside the image, the last one moved back to end
// with them, and then rest(block, count) for what is left.
template <int kGroup, class Group, class Rest>
HWY_INLINE void forGroups(ZeliSize size, int rows, Group group, Rest rest) {
  const Zel64s blocks = blocksAcross(size.width), inside = rows == 4 ? size.width / 4 : 0;
  Zel64s b = 0;
  for (; b + kGroup <= inside; b += kGroup) group(b);
  if (b > 0 && b < inside) group(inside - kGroup), b = inside;
  for (; b < blocks; b += kGroup) rest(b, std::min<Zel64s>(kGroup, blocks - b));
}

// Calls decode(blocks, pixels, step) for groups of kGroup blocks, each of which becomes four rows of pixels.
template <int kGroup, int kBlockBytes, int kPixelBytes, class Decode>
HWY_INLINE void decodeImage(const Zel8u* src, Zel8u* dst, int step, ZeliSize size, Decode decode) {
  constexpr int kRowBytes = 4 * kGroup * kPixelBytes;
  for (Zel64s y = 0; y < size.height; y += 4) {
    const int rows = static_cast<int>(std::min<Zel64s>(4, size.height - y));
    Zel8u* const pixels = dst + y * step;
    const auto group = [=](Zel64s b) { decode(src + b * kBlockBytes, pixels + b * 4 * kPixelBytes, Zel64s{step}); };
    const auto rest = [=](Zel64s b, Zel64s count) {
      Zel8u in[kGroup * kBlockBytes] = {}, out[4 * kRowBytes];
      std::memcpy(in, src + b * kBlockBytes, static_cast<size_t>(count * kBlockBytes));
      decode(in, out, Zel64s{kRowBytes});
      const Zel64s columns = std::min<Zel64s>(4 * kGroup, size.width - 4 * b);
      for (int r = 0; r < rows; ++r) {
        std::memcpy(row(pixels + b * 4 * kPixelBytes, step, r), out + r * kRowBytes,
                    static_cast<size_t>(columns * kPixelBytes));
      }
    };
    forGroups<kGroup>(size, rows, group, rest);
    src += blocksAcross(size.width) * kBlockBytes;
  }
}

// Calls encode(pixels, step, blocks) for groups of kGroup blocks. Beyond the edges the image's last column and row are
// repeated.
template <int kGroup, int kBlockBytes, int kPixelBytes, class Encode>
HWY_INLINE void encodeImage(const Zel8u* src, int step, ZeliSize size, Zel8u* dst, Encode encode) {
  constexpr int kRowBytes = 4 * kGroup * kPixelBytes;
  for (Zel64s y = 0; y < size.height; y += 4) {
    const int rows = static_cast<int>(std::min<Zel64s>(4, size.height - y));
    const Zel8u* const pixels = src + y * step;
    const auto group = [=](Zel64s b) { encode(pixels + b * 4 * kPixelBytes, Zel64s{step}, dst + b * kBlockBytes); };
    const auto rest = [=](Zel64s b, Zel64s count) {
      Zel8u in[4 * kRowBytes], out[kGroup * kBlockBytes];
      const auto inside = static_cast<size_t>(std::min<Zel64s>(4 * kGroup, size.width - 4 * b)) * kPixelBytes;
      for (int r = 0; r < 4; ++r) {
        Zel8u* const to = in + r * kRowBytes;
        std::memcpy(to, row(pixels + b * 4 * kPixelBytes, step, std::min(r, rows - 1)), inside);
        for (size_t i = inside; i < kRowBytes; ++i) to[i] = to[i - kPixelBytes];
      }
      encode(in, Zel64s{kRowBytes}, out);
      std::memcpy(dst + b * kBlockBytes, out, static_cast<size_t>(count * kBlockBytes));
    };
    forGroups<kGroup>(size, rows, group, rest);
    dst += blocksAcross(size.width) * kBlockBytes;
  }
}

} // namespace zelj
