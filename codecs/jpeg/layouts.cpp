#include "jpeg/layouts.h"

#include <cstring>
#include <type_traits>

#include "common/layout.h"

namespace jpeg {
namespace {

template <class First, class... Rest>
First firstOf(ZelStatus (*)(First, Rest...));
template <class First, class Second, class... Rest>
Second secondOf(ZelStatus (*)(First, Second, Rest...));

constexpr Zel8u kOpaque = 255; // what the fourth byte of a pixel is set to

template <auto member>
void toPlanes(const SourcePixels& p, Zel8u* const* planes, int step, ZeliSize size) {
  member(reinterpret_cast<decltype(firstOf(member))>(p.data), p.step, planes, step, size);
}
template <auto member>
void toHalved(const SourcePixels& p, Zel8u* const* planes, const int* steps, ZeliSize size) {
  member(p.data, p.step, planes, steps, size);
}
template <auto member>
void toBlocks(const SourcePixels& p, Zel16s* const* blocks) {
  member(reinterpret_cast<decltype(firstOf(member))>(p.data), p.step, blocks);
}
template <auto member, class Pixel = Zel8u*>
void fromPlanes(const Zel8u* const* planes, int step, const TargetPixels& p, ZeliSize size) {
  const auto pixels = reinterpret_cast<Pixel>(p.data);
  if constexpr (std::is_invocable_v<decltype(member), const Zel8u* const*, int, Pixel, int, ZeliSize, Zel8u>)
    member(planes, step, pixels, p.step, size, kOpaque);
  else
    member(planes, step, pixels, p.step, size);
}
template <auto member>
void fromHalved(const Zel8u* const* planes, const int* steps, const TargetPixels& p, ZeliSize size) {
  if constexpr (std::is_invocable_v<decltype(member), const Zel8u* const*, const int*, Zel8u*, int, ZeliSize, Zel8u>)
    member(planes, steps, p.data, p.step, size, kOpaque);
  else
    member(planes, steps, p.data, p.step, size);
}
template <auto member>
void fromBlocks(const Zel16s* const* blocks, const TargetPixels& p) {
  member(blocks, reinterpret_cast<decltype(secondOf(member))>(p.data), p.step);
}

// Rows that hold the planes one behind the other.
template <int channels, auto member>
void planesToPlanes(const SourcePixels& p, Zel8u* const* planes, int step, ZeliSize size) {
  const Zel8u* from[channels];
  for (int c = 0; c < channels; ++c) from[c] = p.data + c * p.channelStep;
  member(from, p.step, planes, step, size);
}
template <int channels, auto member>
void planesFromPlanes(const Zel8u* const* planes, int step, const TargetPixels& p, ZeliSize size) {
  Zel8u* to[channels];
  for (int c = 0; c < channels; ++c) to[c] = p.data + c * p.channelStep;
  member(planes, step, to, p.step, size);
}

void splitYcc(const SourcePixels& p, Zel8u* const* planes, int step, ZeliSize size) {
  splitChannels(p, 3, planes, step, size);
}
void joinYcc(const Zel8u* const* planes, int step, const TargetPixels& p, ZeliSize size) {
  joinChannels(planes, 3, step, p, size);
}

// Pairs of pixels.
void splitPairs(const SourcePixels& p, Zel8u* const* planes, const int* steps, ZeliSize size) {
  for (int y = 0; y < size.height; ++y) {
    const Zel8u* pair = p.data + static_cast<ptrdiff_t>(y) * p.step;
    Zel8u* rows[3];
    for (int c = 0; c < 3; ++c) rows[c] = planes[c] + static_cast<ptrdiff_t>(y) * steps[c];
    for (int x = 0; x < size.width / 2; ++x, pair += 4) {
      rows[0][2 * x] = pair[0];
      rows[0][2 * x + 1] = pair[2];
      rows[1][x] = pair[1];
      rows[2][x] = pair[3];
    }
  }
}
void joinPairs(const Zel8u* const* planes, const int* steps, const TargetPixels& p, ZeliSize size) {
  for (int y = 0; y < size.height; ++y) {
    Zel8u* pair = p.data + static_cast<ptrdiff_t>(y) * p.step;
    const Zel8u* rows[3];
    for (int c = 0; c < 3; ++c) rows[c] = planes[c] + static_cast<ptrdiff_t>(y) * steps[c];
    for (int x = 0; x < size.width / 2; ++x, pair += 4) {
      pair[0] = rows[0][2 * x];
      pair[1] = rows[1][x];
      pair[2] = rows[0][2 * x + 1];
      pair[3] = rows[2][x];
    }
  }
}

constexpr Members kRgb[] = {
    // usual
    {toPlanes<zeliRGBToYCbCr_JPEG_8u_C3P3R>,
     {nullptr, toHalved<zeliRGBToYCbCr422_JPEG_8u_C3P3R>, toHalved<zeliRGBToYCbCr411_JPEG_8u_C3P3R>},
     {toBlocks<zeliRGBToYCbCr444LS_MCU_8u16s_C3P3R>, toBlocks<zeliRGBToYCbCr422LS_MCU_8u16s_C3P3R>,
      toBlocks<zeliRGBToYCbCr411LS_MCU_8u16s_C3P3R>},
     fromPlanes<zeliYCbCrToRGB_JPEG_8u_P3C3R>,
     {nullptr, fromHalved<zeliYCbCr422ToRGB_JPEG_8u_P3C3R>, fromHalved<zeliYCbCr411ToRGB_JPEG_8u_P3C3R>},
     {fromBlocks<zeliYCbCr444ToRGBLS_MCU_16s8u_P3C3R>, fromBlocks<zeliYCbCr422ToRGBLS_MCU_16s8u_P3C3R>,
      fromBlocks<zeliYCbCr411ToRGBLS_MCU_16s8u_P3C3R>}},
    // bgr
    {toPlanes<zeliBGRToYCbCr_JPEG_8u_C3P3R>,
     {nullptr, toHalved<zeliBGRToYCbCr422_JPEG_8u_C3P3R>, toHalved<zeliBGRToYCbCr411_JPEG_8u_C3P3R>},
     {toBlocks<zeliBGRToYCbCr444LS_MCU_8u16s_C3P3R>, toBlocks<zeliBGRToYCbCr422LS_MCU_8u16s_C3P3R>,
      toBlocks<zeliBGRToYCbCr411LS_MCU_8u16s_C3P3R>},
     fromPlanes<zeliYCbCrToBGR_JPEG_8u_P3C3R>,
     {nullptr, fromHalved<zeliYCbCr422ToBGR_JPEG_8u_P3C3R>, fromHalved<zeliYCbCr411ToBGR_JPEG_8u_P3C3R>},
     {fromBlocks<zeliYCbCr444ToBGRLS_MCU_16s8u_P3C3R>, fromBlocks<zeliYCbCr422ToBGRLS_MCU_16s8u_P3C3R>,
      fromBlocks<zeliYCbCr411ToBGRLS_MCU_16s8u_P3C3R>}},
    // rgbx
    {toPlanes<zeliRGBToYCbCr_JPEG_8u_C4P3R>,
     {nullptr, toHalved<zeliRGBToYCbCr422_JPEG_8u_C4P3R>, toHalved<zeliRGBToYCbCr411_JPEG_8u_C4P3R>},
     {},
     fromPlanes<zeliYCbCrToRGB_JPEG_8u_P3C4R>,
     {nullptr, fromHalved<zeliYCbCr422ToRGB_JPEG_8u_P3C4R>, fromHalved<zeliYCbCr411ToRGB_JPEG_8u_P3C4R>},
     {}},
    // bgrx
    {toPlanes<zeliBGRToYCbCr_JPEG_8u_C4P3R>,
     {nullptr, toHalved<zeliBGRToYCbCr422_JPEG_8u_C4P3R>, toHalved<zeliBGRToYCbCr411_JPEG_8u_C4P3R>},
     {},
     fromPlanes<zeliYCbCrToBGR_JPEG_8u_P3C4R>,
     {nullptr, fromHalved<zeliYCbCr422ToBGR_JPEG_8u_P3C4R>, fromHalved<zeliYCbCr411ToBGR_JPEG_8u_P3C4R>},
     {}},
    // rgb555
    {toPlanes<zeliRGB555ToYCbCr_JPEG_16u8u_C3P3R>,
     {},
     {},
     fromPlanes<zeliYCbCrToRGB555_JPEG_8u16u_P3C3R, Zel16u*>,
     {},
     {}},
    // rgb565
    {toPlanes<zeliRGB565ToYCbCr_JPEG_16u8u_C3P3R>,
     {},
     {},
     fromPlanes<zeliYCbCrToRGB565_JPEG_8u16u_P3C3R, Zel16u*>,
     {},
     {}},
    // bgr555
    {toPlanes<zeliBGR555ToYCbCr_JPEG_16u8u_C3P3R>,
     {},
     {toBlocks<zeliBGR555ToYCbCr444LS_MCU_16u16s_C3P3R>, toBlocks<zeliBGR555ToYCbCr422LS_MCU_16u16s_C3P3R>,
      toBlocks<zeliBGR555ToYCbCr411LS_MCU_16u16s_C3P3R>},
     fromPlanes<zeliYCbCrToBGR555_JPEG_8u16u_P3C3R, Zel16u*>,
     {},
     {fromBlocks<zeliYCbCr444ToBGR555LS_MCU_16s16u_P3C3R>, fromBlocks<zeliYCbCr422ToBGR555LS_MCU_16s16u_P3C3R>,
      fromBlocks<zeliYCbCr411ToBGR555LS_MCU_16s16u_P3C3R>}},
    // bgr565
    {toPlanes<zeliBGR565ToYCbCr_JPEG_16u8u_C3P3R>,
     {},
     {toBlocks<zeliBGR565ToYCbCr444LS_MCU_16u16s_C3P3R>, toBlocks<zeliBGR565ToYCbCr422LS_MCU_16u16s_C3P3R>,
      toBlocks<zeliBGR565ToYCbCr411LS_MCU_16u16s_C3P3R>},
     fromPlanes<zeliYCbCrToBGR565_JPEG_8u16u_P3C3R, Zel16u*>,
     {},
     {fromBlocks<zeliYCbCr444ToBGR565LS_MCU_16s16u_P3C3R>, fromBlocks<zeliYCbCr422ToBGR565LS_MCU_16s16u_P3C3R>,
      fromBlocks<zeliYCbCr411ToBGR565LS_MCU_16s16u_P3C3R>}},
    // planes
    {planesToPlanes<3, zeliRGBToYCbCr_JPEG_8u_P3R>, {}, {}, planesFromPlanes<3, zeliYCbCrToRGB_JPEG_8u_P3R>, {}, {}},
    // ycc
    {splitYcc,
     {},
     {toBlocks<zeliSampleDown444LS_MCU_8u16s_C3P3R>, toBlocks<zeliSampleDown422LS_MCU_8u16s_C3P3R>,
      toBlocks<zeliSampleDown411LS_MCU_8u16s_C3P3R>},
     joinYcc,
     {},
     {fromBlocks<zeliSampleUp444LS_MCU_16s8u_P3C3R>, fromBlocks<zeliSampleUp422LS_MCU_16s8u_P3C3R>,
      fromBlocks<zeliSampleUp411LS_MCU_16s8u_P3C3R>}},
    // yuyv
    {nullptr,
     {nullptr, splitPairs, nullptr},
     {nullptr, toBlocks<zeliSplit422LS_MCU_8u16s_C2P3R>, nullptr},
     nullptr,
     {nullptr, joinPairs, nullptr},
     {nullptr, fromBlocks<zeliJoin422LS_MCU_16s8u_P3C2R>, nullptr}},
};

constexpr Members kCmyk = {
    toPlanes<zeliCMYKToYCCK_JPEG_8u_C4P4R>,
    {},
    {toBlocks<zeliCMYKToYCCK444LS_MCU_8u16s_C4P4R>, toBlocks<zeliCMYKToYCCK422LS_MCU_8u16s_C4P4R>,
     toBlocks<zeliCMYKToYCCK411LS_MCU_8u16s_C4P4R>},
    fromPlanes<zeliYCCKToCMYK_JPEG_8u_P4C4R>,
    {},
    {fromBlocks<zeliYCCK444ToCMYKLS_MCU_16s8u_P4C4R>, fromBlocks<zeliYCCK422ToCMYKLS_MCU_16s8u_P4C4R>,
     fromBlocks<zeliYCCK411ToCMYKLS_MCU_16s8u_P4C4R>}};
constexpr Members kCmykPlanes = {planesToPlanes<4, zeliCMYKToYCCK_JPEG_8u_P4R>,   {}, {},
                                 planesFromPlanes<4, zeliYCCKToCMYK_JPEG_8u_P4R>, {}, {}};

} // namespace

Shape shapeOf(const Frame& frame) {
  const auto& c = frame.components;
  if (c.size() < 3 || c[1].h != 1 || c[1].v != 1 || c[2].h != 1 || c[2].v != 1) return kNoShape;
  if (c.size() == 4 && (c[3].h != c[0].h || c[3].v != c[0].v)) return kNoShape;
  if (c[0].v == 1) return c[0].h == 1 ? k444 : c[0].h == 2 ? k422 : kNoShape;
  return c[0].h == 2 && c[0].v == 2 ? k420 : kNoShape;
}

const Members& convertingMembers(img::Colour colour, img::Layout layout) {
  if (colour == img::Colour::cmyk) return layout == img::Layout::planes ? kCmykPlanes : kCmyk;
  return kRgb[static_cast<int>(layout)];
}

void splitChannels(const SourcePixels& p, int channels, Zel8u* const* planes, int step, ZeliSize size) {
  for (int y = 0; y < size.height; ++y) {
    const Zel8u* row = p.data + static_cast<ptrdiff_t>(y) * p.step;
    Zel8u* rows[4];
    for (int c = 0; c < channels; ++c) {
      rows[c] = planes[c] + static_cast<ptrdiff_t>(y) * step;
      if (p.channelStep) std::memcpy(rows[c], row + c * p.channelStep, static_cast<size_t>(size.width));
    }
    if (!p.channelStep) img::splitChannels(row, channels, size.width, rows);
  }
}

void joinChannels(const Zel8u* const* planes, int channels, int step, const TargetPixels& p, ZeliSize size) {
  for (int y = 0; y < size.height; ++y) {
    Zel8u* row = p.data + static_cast<ptrdiff_t>(y) * p.step;
    const Zel8u* rows[4];
    for (int c = 0; c < channels; ++c) {
      rows[c] = planes[c] + static_cast<ptrdiff_t>(y) * step;
      if (p.channelStep) std::memcpy(row + c * p.channelStep, rows[c], static_cast<size_t>(size.width));
    }
    if (!p.channelStep) img::joinChannels(rows, channels, size.width, row);
  }
}

int pixelBytes(const img::Picture& picture) {
  using img::Layout;
  switch (picture.layout) {
    case Layout::rgbx:
    case Layout::bgrx:
      return 4;
    case Layout::rgb555:
    case Layout::rgb565:
    case Layout::bgr555:
    case Layout::bgr565:
    case Layout::yuyv:
      return 2;
    case Layout::planes:
      return 1;
    default:
      return picture.channels();
  }
}

} // namespace jpeg
