#include "common/image.h"

#include <algorithm>
#include <cmath>

#include "zelj.h"

namespace img {
namespace {

template <class From, class To>
void rescale(const Image& from, Image& to) {
  const unsigned fromMax = static_cast<unsigned>(from.maxValue()), toMax = static_cast<unsigned>(to.maxValue());
  for (int y = 0; y < from.height; ++y) {
    std::transform(from.row<From>(y), from.row<From>(y) + from.rowSamples(), to.row<To>(y),
                   [=](From v) { return static_cast<To>((v * toMax + fromMax / 2) / fromMax); });
  }
}

template <class Sample>
void spreadGrey(const Image& from, Image& to) {
  for (int y = 0; y < from.height; ++y) {
    Sample* pixel = to.row<Sample>(y);
    for (int x = 0; x < from.width; ++x, pixel += 3) pixel[0] = pixel[1] = pixel[2] = from.row<Sample>(y)[x];
  }
}

void luminance16(const Image& from, Image& to) {
  for (int y = 0; y < from.height; ++y) {
    const uint16_t* pixel = from.row<uint16_t>(y);
    for (int x = 0; x < from.width; ++x, pixel += 3) {
      to.row<uint16_t>(y)[x] =
          static_cast<uint16_t>((19595u * pixel[0] + 38470u * pixel[1] + 7471u * pixel[2] + 32768u) >> 16);
    }
  }
}

template <class Sample>
double squaredDifference(const Image& a, const Image& b) {
  double sum = 0;
  for (int y = 0; y < a.height; ++y) {
    for (size_t i = 0; i < a.rowSamples(); ++i) {
      const double difference = double{a.row<Sample>(y)[i] * 1.0} - b.row<Sample>(y)[i];
      sum += difference * difference;
    }
  }
  return sum;
}

} // namespace

Error checkSize(int64_t width, int64_t height, int64_t maxPixels) {
  if (width < 1 || height < 1) return fail("the image is empty (%lld x %lld)", (long long)width, (long long)height);
  if (width > INT32_MAX || height > INT32_MAX || width > maxPixels / height) {
    return fail("%lld x %lld pixels are more than the limit of %lld (see --max-pixels)", (long long)width,
                (long long)height, (long long)maxPixels);
  }
  return {};
}

void shape(Image& image, int width, int height, int channels, int bits) {
  image.width = width;
  image.height = height;
  image.channels = channels;
  image.bits = bits;
  image.bytes.resize(image.rowBytes() * static_cast<size_t>(height));
}

Image withBits(const Image& image, int bits) {
  if (image.bits == bits) return image;
  Image result;
  shape(result, image.width, image.height, image.channels, bits);
  if (image.bits == 8)
    rescale<uint8_t, uint16_t>(image, result);
  else if (bits == 8)
    rescale<uint16_t, uint8_t>(image, result);
  else
    rescale<uint16_t, uint16_t>(image, result);
  return result;
}

Image withChannels(const Image& image, int channels) {
  if (image.channels == channels) return image;
  Image result;
  shape(result, image.width, image.height, channels, image.bits);
  if (channels == 3) {
    image.bits == 8 ? spreadGrey<uint8_t>(image, result) : spreadGrey<uint16_t>(image, result);
  } else if (image.bits == 8) {
    for (int y = 0; y < image.height; ++y) {
      zeliRGBToY_JPEG_8u_C3C1R(image.row<uint8_t>(y), static_cast<int>(image.rowBytes()), result.row<uint8_t>(y),
                               image.width, {image.width, 1});
    }
  } else {
    luminance16(image, result);
  }
  return result;
}

double psnr(const Image& a, const Image& b) {
  const double sum = a.bits == 8 ? squaredDifference<uint8_t>(a, b) : squaredDifference<uint16_t>(a, b);
  if (sum == 0) return 99;
  const double mean = sum / (static_cast<double>(a.rowSamples()) * a.height);
  return std::min(99.0, 10 * std::log10(double(a.maxValue()) * a.maxValue() / mean));
}

} // namespace img
