// A row of 8-bit pixels from one layout to another, for what takes the usual one alone.
#pragma once

#include <algorithm>

#include "common/picture.h"

namespace img {

// A row of planes to pixels of `channels` channels, 1 to 5, and back.
template <class Sample>
void joinChannels(const Sample* const* planes, int channels, int width, Sample* pixels);
template <class Sample>
void splitChannels(const Sample* pixels, int channels, int width, Sample* const* planes);

// Any layout of `channels` channels to the usual one. Pixels in pairs have Y, Cb, Cr in both of them.
void toUsual(Layout layout, const uint8_t* row, int width, uint8_t* usual, int channels = 3);

// The usual layout to another one of R, G, B, or to planes. Pairs are not made.
void fromUsual(Layout layout, const uint8_t* usual, int width, uint8_t* row, int channels = 3);

template <int kChannels, class Plane, class Sample>
void joinChannels(const Plane& planes, int width, Sample* __restrict pixels) {
  const Sample* own[kChannels];
  std::copy_n(planes, kChannels, own);
  for (int x = 0; x < width; ++x) {
    for (int c = 0; c < kChannels; ++c) pixels[kChannels * x + c] = own[c][x];
  }
}

template <class Sample>
void joinChannels(const Sample* const* planes, int channels, int width, Sample* pixels) {
  if (channels == 3) return joinChannels<3>(planes, width, pixels);
  if (channels == 4) return joinChannels<4>(planes, width, pixels);
  for (int c = 0; c < channels; ++c) {
    for (int x = 0; x < width; ++x) pixels[channels * x + c] = planes[c][x];
  }
}

template <class Sample>
void splitChannels(const Sample* pixels, int channels, int width, Sample* const* planes) {
  for (int c = 0; c < channels; ++c) {
    Sample* const plane = planes[c];
    for (int x = 0; x < width; ++x) plane[x] = pixels[channels * x + c];
  }
}

} // namespace img
