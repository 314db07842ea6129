#include "common/layout.h"

#include <algorithm>

#include "zelj.h"

namespace img {
namespace {

// Pixels of 16 bits: where the colours lie in them.
struct Packing {
  int shift[3], bits[3];
};

Packing packingOf(Layout layout) {
  const bool six = layout == Layout::rgb565 || layout == Layout::bgr565;
  const bool redIsLow = layout == Layout::rgb555 || layout == Layout::rgb565;
  const int top = six ? 11 : 10;
  return {{redIsLow ? 0 : top, 5, redIsLow ? top : 0}, {5, six ? 6 : 5, 5}};
}

// Calls f(pixel, channel, byte of a pixel of several bytes).
template <class F>
void forBytes(Layout layout, int width, F f) {
  const int step = layout == Layout::bgr || layout == Layout::ycc ? 3 : 4;
  const bool reversed = layout == Layout::bgr || layout == Layout::bgrx;
  for (int x = 0; x < width; ++x) {
    for (int c = 0; c < 3; ++c) f(x, c, step * x + (reversed ? 2 - c : c));
  }
}

constexpr int kMostChannels = 5;

// Y, Cb, Cr of a few pixels at a time, so that the library starts no threads for them.
constexpr int kPart = 4096;

} // namespace

void toUsual(Layout layout, const uint8_t* row, int width, uint8_t* usual, int channels) {
  switch (layout) {
    case Layout::usual:
      std::copy_n(row, width * channels, usual);
      break;
    case Layout::planes: {
      const uint8_t* planes[kMostChannels];
      for (int c = 0; c < channels; ++c) planes[c] = row + c * width;
      joinChannels(planes, channels, width, usual);
      break;
    }
    case Layout::rgb555:
    case Layout::rgb565:
    case Layout::bgr555:
    case Layout::bgr565: {
      const Packing packing = packingOf(layout);
      for (int x = 0; x < width; ++x) {
        const int pixel = row[2 * x] | row[2 * x + 1] << 8;
        for (int c = 0; c < 3; ++c) {
          const int most = (1 << packing.bits[c]) - 1;
          usual[3 * x + c] = static_cast<uint8_t>(((pixel >> packing.shift[c] & most) * 255 + most / 2) / most);
        }
      }
      break;
    }
    case Layout::ycc: {
      uint8_t part[3][kPart];
      uint8_t* const planes[3] = {part[0], part[1], part[2]};
      for (int x = 0; x < width; x += kPart) {
        const int count = std::min(width - x, kPart);
        splitChannels(row + 3 * x, 3, count, planes);
        zeliYCbCrToRGB_JPEG_8u_P3C3R(planes, kPart, usual + 3 * x, 3 * count, {count, 1});
      }
      break;
    }
    case Layout::yuyv: {
      // The member works on whole pairs.
      for (int x = 0; x < width; x += kPart) {
        const int count = std::min((width - x) / 2 * 2, kPart);
        if (count > 0) zeliYCbCr422ToRGB_JPEG_8u_C2C3R(row + 2 * x, 2 * count, usual + 3 * x, 3 * count, {count, 1});
      }
      if (width % 2) {
        uint8_t pair[6];
        zeliYCbCr422ToRGB_JPEG_8u_C2C3R(row + 2 * (width - 1), 4, pair, 6, {2, 1});
        std::copy_n(pair, 3, usual + 3 * (width - 1));
      }
      break;
    }
    default:
      forBytes(layout, width, [=](int x, int c, int at) { usual[3 * x + c] = row[at]; });
  }
}

void fromUsual(Layout layout, const uint8_t* usual, int width, uint8_t* row, int channels) {
  switch (layout) {
    case Layout::usual:
      std::copy_n(usual, width * channels, row);
      break;
    case Layout::planes: {
      uint8_t* planes[kMostChannels];
      for (int c = 0; c < channels; ++c) planes[c] = row + c * width;
      splitChannels(usual, channels, width, planes);
      break;
    }
    case Layout::rgb555:
    case Layout::rgb565:
    case Layout::bgr555:
    case Layout::bgr565: {
      const Packing packing = packingOf(layout);
      for (int x = 0; x < width; ++x) {
        int pixel = 0;
        for (int c = 0; c < 3; ++c) pixel |= usual[3 * x + c] >> (8 - packing.bits[c]) << packing.shift[c];
        row[2 * x] = static_cast<uint8_t>(pixel);
        row[2 * x + 1] = static_cast<uint8_t>(pixel >> 8);
      }
      break;
    }
    case Layout::ycc: {
      uint8_t part[3][kPart];
      uint8_t* const planes[3] = {part[0], part[1], part[2]};
      for (int x = 0; x < width; x += kPart) {
        const int count = std::min(width - x, kPart);
        zeliRGBToYCbCr_JPEG_8u_C3P3R(usual + 3 * x, 3 * count, planes, kPart, {count, 1});
        joinChannels<3>(planes, count, row + 3 * x);
      }
      break;
    }
    default:
      if (layout == Layout::rgbx || layout == Layout::bgrx) {
        for (int x = 0; x < width; ++x) row[4 * x + 3] = 255;
      }
      forBytes(layout, width, [=](int x, int c, int at) { row[at] = usual[3 * x + c]; });
  }
}

} // namespace img
