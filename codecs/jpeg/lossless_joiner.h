// What files of the lossless process hold, and rows of pixels from rows of their samples.
#pragma once

#include <vector>

#include "common/layout.h"
#include "jpeg/markers.h"
#include "jpeg/samples.h"

namespace jpeg {

class LosslessJoiner {
 public:
  explicit LosslessJoiner(const Header& header) {
    const size_t planes = header.frame.components.size();
    flips_ = planes == 4 && header.adobeTransform.has_value();
    converts_ = planes == 3 && (header.jfif || header.adobeTransform.value_or(0) != 0);
    picture_.width = header.frame.width;
    picture_.height = header.frame.height;
    picture_.bits = header.frame.bits;
    picture_.metadata = metadataOf(header);
    picture_.colour = planes == 1 ? img::Colour::grey : planes == 3 ? img::Colour::rgb : img::Colour::cmyk;
    converted_.resize(3 * static_cast<size_t>(picture_.width));
  }

  const img::Picture& picture() const { return picture_; }
  bool converts() const { return converts_; }

  // `shifts`: the point transform of each component.
  void join(const Zel16s* const* rows, const int* shifts, const img::Rows& to, int y) {
    if (picture_.sampleBytes() == 1)
      joinRow(rows, shifts, to.row<Zel8u>(y));
    else
      joinRow(rows, shifts, to.row<Zel16u>(y));
  }

 private:
  template <class Sample>
  void joinRow(const Zel16s* const* rows, const int* shifts, Sample* to) {
    const int most = picture_.maxValue(), flip = flips_ ? most : 0;
    const auto width = static_cast<size_t>(picture_.width), planes = static_cast<size_t>(picture_.channels());
    for (size_t c = 0; c < planes; ++c) {
      for (size_t x = 0; x < width; ++x) {
        const int value = std::min(static_cast<Zel16u>(rows[c][x]) << shifts[c], most);
        to[x * planes + c] = static_cast<Sample>(value ^ flip);
      }
    }
    if (!converts_) return;
    auto* samples = reinterpret_cast<Sample*>(converted_.data());
    Sample* const all[3] = {samples, samples + width, samples + 2 * width};
    img::splitChannels(to, 3, picture_.width, all);
    convertInverse(all, to, picture_.width);
  }

  img::Picture picture_;
  bool flips_, converts_; // inks are inverted; Y, Cb, Cr
  std::vector<Zel16u> converted_;
};

} // namespace jpeg
