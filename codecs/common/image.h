// A picture with all its samples in memory, for what cannot be done row by row.
#pragma once

#include <vector>

#include "common/rows.h"

namespace img {

struct Image : Picture {
  std::vector<uint8_t> bytes; // rows without gaps

  template <class Sample>
  Sample* row(int y) {
    return reinterpret_cast<Sample*>(bytes.data() + static_cast<size_t>(y) * rowBytes());
  }
  template <class Sample>
  const Sample* row(int y) const {
    return reinterpret_cast<const Sample*>(bytes.data() + static_cast<size_t>(y) * rowBytes());
  }
  Rows rows() { return {bytes.data(), static_cast<ptrdiff_t>(rowBytes()), height}; }
  ConstRows rows() const { return {bytes.data(), static_cast<ptrdiff_t>(rowBytes()), height}; }
};

// Sets what the picture is and makes room for its samples, which keep what was in memory.
void shape(Image& image, const Picture& picture);

// Grey (1 channel), grey and alpha (2), R, G, B (3) or R, G, B and alpha (4).
void shape(Image& image, int width, int height, int channels, int bits);

// All rows of a reader, and all rows to a writer, to the end of the file.
Error readAll(RowReader& reader, Image& image);
Error writeAll(const Image& image, RowWriter& writer);

// Gives the rows of an image.
class ImageReader : public RowReader {
 public:
  explicit ImageReader(const Image& image) : image_(image) { picture_ = image; }
  Error read(const Rows& rows) override;

 private:
  const Image& image_;
  int next_ = 0;
};

// Takes the rows of an image.
class ImageWriter : public RowWriter {
 public:
  explicit ImageWriter(Image& image) : image_(image) {}
  Error write(const ConstRows& rows) override;
  Error finish() override { return {}; }

 private:
  Image& image_;
  int next_ = 0;
};

// The image with samples of other bits, full scale to full scale.
Image withBits(const Image& image, int bits);

// The image in grey (luminance, 1 channel) or in R, G, B (3 channels), without alpha.
Image withChannels(const Image& image, int channels);

// Peak signal-to-noise ratio in dB of two images of one shape; 99 for equal ones.
double psnr(const Image& a, const Image& b);

} // namespace img
