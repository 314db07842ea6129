// The library's members between pixels of each layout and what a JPEG file codes: planes, planes of halved chroma, and
// the blocks of an MCU. All fail by wrong arguments only.
#pragma once

#include "common/picture.h"
#include "jpeg/frame.h"
#include "zelj.h"

namespace jpeg {

// Where pixels lie. In rows of planes `channelStep` bytes lie between the beginnings of two channels.
template <class Byte>
struct Pixels {
  Byte* data;
  int step;
  int channelStep;
};
using SourcePixels = Pixels<const Zel8u>;
using TargetPixels = Pixels<Zel8u>;

// Of an MCU: luminance, and black, in full, chroma halved.
enum Shape { k444, k422, k420, kNoShape };
Shape shapeOf(const Frame& frame);

// Null where the library has no member.
struct Members {
  using ToPlanes = void (*)(const SourcePixels& pixels, Zel8u* const* planes, int step, ZeliSize size);
  using FromPlanes = void (*)(const Zel8u* const* planes, int step, const TargetPixels& pixels, ZeliSize size);
  // Chroma halved as the shape says. Width, and height for 4:2:0, are even.
  using ToHalved = void (*)(const SourcePixels& pixels, Zel8u* const* planes, const int* steps, ZeliSize size);
  using FromHalved = void (*)(const Zel8u* const* planes, const int* steps, const TargetPixels& pixels, ZeliSize size);
  // Planes of blocks on multiples of 16 bytes.
  using ToBlocks = void (*)(const SourcePixels& pixels, Zel16s* const* blocks);
  using FromBlocks = void (*)(const Zel16s* const* blocks, const TargetPixels& pixels);

  ToPlanes toPlanes;
  ToHalved toHalved[3]; // by Shape
  ToBlocks toBlocks[3];
  FromPlanes fromPlanes;
  FromHalved fromHalved[3];
  FromBlocks fromBlocks[3];
};

// Members to and from Y, Cb, Cr, or Y, Cb, Cr, K for C, M, Y, K.
const Members& convertingMembers(img::Colour colour, img::Layout layout);

// Channels as they are, whichever they are: pixel by pixel, or in planes.
void splitChannels(const SourcePixels& pixels, int channels, Zel8u* const* planes, int step, ZeliSize size);
void joinChannels(const Zel8u* const* planes, int channels, int step, const TargetPixels& pixels, ZeliSize size);

// Bytes from one pixel to the next.
int pixelBytes(const img::Picture& picture);

} // namespace jpeg
