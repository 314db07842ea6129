#include "common/image.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "common/convert.h"
#include "common/orient.h"

namespace img {
namespace {

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

Image as(const Image& image, const Picture& wanted) {
  Image result;
  shape(result, wanted);
  // Rows in memory that are converted cannot fail.
  (void)converted(std::make_unique<ImageReader>(image), wanted)->read(result.rows());
  return result;
}

} // namespace

std::string describe(const Metadata& metadata) {
  std::string text;
  if (!metadata.icc.empty()) text += format("ICC profile: %zu bytes\n", metadata.icc.size());
  if (!metadata.exif.empty()) {
    text += format("EXIF: %zu bytes, orientation %d\n", metadata.exif.size(), orientationOf(metadata));
  }
  if (metadata.density.x > 0) {
    const char* const units[] = {"(ratio)", "dots per inch", "dots per centimetre"};
    text += format("density: %g x %g %s\n", metadata.density.x, metadata.density.y,
                   units[static_cast<int>(metadata.density.unit)]);
  }
  return text;
}

// A row of the widest samples and most channels still counts its bytes in an int.
constexpr int kMaxWidth = INT32_MAX / 64;

Error checkSize(int64_t width, int64_t height, int64_t maxPixels) {
  if (width < 1 || height < 1) return fail("the image is empty (%lld x %lld)", (long long)width, (long long)height);
  if (width > kMaxWidth) return fail("%lld pixels are wider than %d", (long long)width, kMaxWidth);
  if (height > INT32_MAX || width > maxPixels / height) {
    return fail("%lld x %lld pixels are more than the limit of %lld (see --max-pixels)", (long long)width,
                (long long)height, (long long)maxPixels);
  }
  return {};
}

void shape(Image& image, const Picture& picture) {
  static_cast<Picture&>(image) = picture;
  image.bytes.resize(image.rowBytes() * static_cast<size_t>(image.height));
}

void shape(Image& image, int width, int height, int channels, int bits) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  picture.colour = channels <= 2 ? Colour::grey : Colour::rgb;
  picture.alpha = channels == 2 || channels == 4;
  picture.bits = bits;
  shape(image, picture);
}

Error readAll(RowReader& reader, Image& image) {
  shape(image, reader.picture());
  if (Error error = reader.read(image.rows())) return error;
  return reader.finish();
}

Error writeAll(const Image& image, RowWriter& writer) {
  if (Error error = writer.write(image.rows())) return error;
  return writer.finish();
}

Error ImageReader::read(const Rows& rows) {
  for (int y = 0; y < rows.count; ++y) {
    std::memcpy(rows.row<uint8_t>(y), image_.row<uint8_t>(next_++), image_.rowBytes());
  }
  return {};
}

Error ImageWriter::write(const ConstRows& rows) {
  for (int y = 0; y < rows.count; ++y) {
    std::memcpy(image_.row<uint8_t>(next_++), rows.row<uint8_t>(y), image_.rowBytes());
  }
  return {};
}

Image withBits(const Image& image, int bits) {
  Picture wanted = image;
  wanted.bits = bits;
  return bits == image.bits ? image : as(image, wanted);
}

Image withChannels(const Image& image, int channels) {
  Picture wanted = image;
  wanted.colour = channels == 1 ? Colour::grey : Colour::rgb;
  wanted.alpha = false;
  return image.channels() == channels ? image : as(image, wanted);
}

double psnr(const Image& a, const Image& b) {
  const double sum = a.bits <= 8 ? squaredDifference<uint8_t>(a, b) : squaredDifference<uint16_t>(a, b);
  if (sum == 0) return 99;
  const double mean = sum / (static_cast<double>(a.rowSamples()) * a.height);
  return std::min(99.0, 10 * std::log10(double(a.maxValue()) * a.maxValue() / mean));
}

} // namespace img
