// The arithmetic of the reversible 5/3 filter.
#pragma once

#include "jpeg2k/wavelet/lifting.h"

namespace zelj {

// Sums in the width of the samples: they wrap.
template <class T>
struct NarrowSums {
  static T mean2(T a, T b) { return static_cast<T>(static_cast<T>(add(a, b)) >> 1); }
  static T mean4(T a, T b) { return static_cast<T>(static_cast<T>(add(add(a, b), 2)) >> 2); }
};

// Exact sums of 16-bit samples, in 16 bits.
struct ExactSums {
  static Zel16s mean2(Zel16s a, Zel16s b) { return static_cast<Zel16s>((a & b) + ((a ^ b) >> 1)); }
  // (a + b + 2) >> 2 is (m + 1) >> 1 with m = (a + b) >> 1.
  static Zel16s mean4(Zel16s a, Zel16s b) {
    const Zel16s m = mean2(a, b);
    return static_cast<Zel16s>(m - (m >> 1));
  }
};

template <class T, class Sums = NarrowSums<T>>
struct Reversible {
  using Value = T;
  struct Step {
    using X = T;
    using Neighbour = T;
  };
  struct Predict : Step {
    static T apply(T x, T a, T b) { return static_cast<T>(subtract(x, Sums::mean2(a, b))); }
  };
  struct Update : Step {
    static T apply(T x, T a, T b) { return static_cast<T>(add(x, Sums::mean4(a, b))); }
  };
  struct Unupdate : Step {
    static T apply(T x, T a, T b) { return static_cast<T>(subtract(x, Sums::mean4(a, b))); }
  };
  struct Unpredict : Step {
    static T apply(T x, T a, T b) { return static_cast<T>(add(x, Sums::mean2(a, b))); }
  };
  using Forward = Steps<Predict, Update>;
  using Inverse = Steps<Unupdate, Unpredict>;
  using Finish = Same<T>;

  // A line of two samples: both neighbours are the other one, and it is not added to itself.
  struct PredictOfTwo : Step {
    static T apply(T x, T a, T) { return static_cast<T>(subtract(x, a)); }
  };
  struct UpdateOfTwo : Step {
    static T apply(T x, T a, T) { return static_cast<T>(add(x, add(a, 1) >> 1)); }
  };
  struct UnupdateOfTwo : Step {
    static T apply(T x, T a, T) { return static_cast<T>(subtract(x, add(a, 1) >> 1)); }
  };
  struct UnpredictOfTwo : Step {
    static T apply(T x, T a, T) { return static_cast<T>(add(x, a)); }
  };
  using ForwardOfTwo = Steps<PredictOfTwo, UpdateOfTwo>;
  using InverseOfTwo = Steps<UnupdateOfTwo, UnpredictOfTwo>;
  static constexpr bool kHighRunFirst = false;
};

} // namespace zelj
