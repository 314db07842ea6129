// Division of coefficients by the steps of the quantisers.
#pragma once

#include <bit>

#include "zelj.h"

namespace jpegxr {

// Rounds towards zero, from `offset` on. The quotient comes by way of a product: with a factor of 2^shift / step,
// rounded up, in which shift has 31 bits more than the step, it is exact for magnitudes below 2^31.
class Quantiser {
 public:
  Quantiser(Zel32s step, bool isDc)
      : step_(step),
        offset_(static_cast<Zel32u>(isDc ? step >> 1 : (3 * step + 1) >> 3)),
        shift_(31 + static_cast<int>(std::bit_width(static_cast<Zel32u>(step) - 1))),
        factor_(((Zel64u{1} << shift_) - 1) / static_cast<Zel64u>(step) + 1) {}

  bool isOne() const { return step_ == 1; }
  Zel32s operator()(Zel32s value) const {
    const Zel32s sign = value >> 31;
    const auto magnitude = static_cast<Zel32u>((value ^ sign) - sign) + offset_;
    return (static_cast<Zel32s>(magnitude * factor_ >> shift_) ^ sign) - sign;
  }
  void quantise(Zel32s* values, int count) const {
    const Quantiser own = *this; // which the values are not
    for (int i = 0; i < count; ++i) values[i] = own(values[i]);
  }

 private:
  Zel32s step_;
  Zel32u offset_;
  int shift_;
  Zel64u factor_; // of 32 bits
};

} // namespace jpegxr
