// The decoded components, and how rows of pixels are made of them.
#pragma once

#include <cstdlib>

#include "common/aligned.h"
#include "jpeg/frame.h"
#include "jpeg/samples.h"

namespace jpeg {

// The samples of a component. Only the last `rowsKept` rows are in memory: row y lies at y modulo rowsKept.
template <class Sample>
struct Plane {
  int width = 0, height = 0; // samples that count
  int blockSize = 8;         // samples on a side that a block gives: 8, or fewer in a reduced image
  int step = 0, rowsKept = 0;
  img::AlignedArray<Sample> samples;

  Sample* row(int y) const { return samples.data() + static_cast<ptrdiff_t>(y % rowsKept) * step; }
  const Sample* rowInside(int y) const { return row(std::clamp(y, 0, height - 1)); }
};

// Rows of a component at the width of the image.
template <class Sample>
class Upsampler {
 public:
  // The image has `across` and `down` times as many samples as the plane, as fractions.
  Upsampler(const Plane<Sample>& plane, int acrossN, int acrossD, int downN, int downD, Upsampling method,
            int imageWidth)
      : plane_(plane), acrossN_(acrossN), acrossD_(acrossD), downN_(downN), downD_(downD), width_(imageWidth) {
    const bool twiceAcross = acrossN == 2 * acrossD, twiceDown = downN == 2 * downD;
    const bool sameAcross = acrossN == acrossD, sameDown = downN == downD;
    // A triangle needs neighbours.
    const bool smooth = method == Upsampling::triangle && plane.width > 2;
    if (sameAcross && sameDown)
      kind_ = Kind::same;
    else if (smooth && twiceAcross && sameDown)
      kind_ = Kind::double2x1;
    else if (smooth && twiceAcross && twiceDown)
      kind_ = Kind::double2x2;
    else if (method == Upsampling::triangle && sameAcross && twiceDown)
      kind_ = Kind::double1x2;
    else
      kind_ = Kind::nearest;
  }

  enum class Kind { same, double2x1, double2x2, double1x2, nearest };
  Kind kind() const { return kind_; }

  // Whether rows of the plane beyond those that a row lies in are looked at.
  bool looksAround() const { return kind_ == Kind::double2x2 || kind_ == Kind::double1x2; }

  // Row y of the image: `scratch`, with room for three samples more than the width, or memory of the plane.
  const Sample* row(int y, Sample* scratch) const {
    const int near = static_cast<int>(int64_t{y} * downD_ / downN_);
    const int far = y % 2 ? near + 1 : near - 1;
    const Sample* source = plane_.rowInside(near);
    switch (kind_) {
      case Kind::same:
        return source;
      case Kind::double2x1:
        double2x1(source, plane_.width, scratch);
        break;
      case Kind::double2x2:
        double2x2(source, plane_.rowInside(far), plane_.width, scratch);
        break;
      case Kind::double1x2:
        double1x2(source, plane_.rowInside(far), plane_.width, far < near, scratch);
        break;
      case Kind::nearest:
        replicate(source, scratch);
        break;
    }
    return scratch;
  }

 private:
  template <int kTimes>
  void replicate(const Sample* source, Sample* wide) const {
    for (int x = 0; x < plane_.width; ++x) std::fill_n(wide + kTimes * x, kTimes, source[x]);
  }
  void replicate(const Sample* source, Sample* wide) const {
    if (acrossN_ == 2 * acrossD_) {
      replicate<2>(source, wide);
    } else if (acrossN_ == 4 * acrossD_) {
      replicate<4>(source, wide);
    } else {
      for (int x = 0; x < width_; ++x) wide[x] = source[static_cast<int64_t>(x) * acrossD_ / acrossN_];
    }
  }

  const Plane<Sample>& plane_;
  int acrossN_, acrossD_, downN_, downD_, width_;
  Kind kind_;
};

} // namespace jpeg
