// One pair of samples of the 9/7 filter by its taps, without lifting: what the filters do where a line holds no more.
// Forward, x(i) is the sample i places behind the one that the result stands on. Inverse, l and h are the bands'
// samples around the pair; the pair begins with the even sample, or with the odd one (`Before`, `Behind`).
#pragma once

#include "simd/samples.h"

namespace zelj {

template <class T>
struct DirectTaps;

template <>
struct DirectTaps<Zel32f> {
  template <class X>
  static Zel32f low(X x) {
    return 0.026748758f * (x(-4) + x(4)) - 0.01686412f * (x(-3) + x(3)) - 0.078223266f * (x(-2) + x(2)) +
           0.26686412f * (x(-1) + x(1)) + 0.602949f * x(0);
  }
  template <class X>
  static Zel32f high(X x) {
    return 0.091271766f * (x(-3) + x(3)) - 0.057543527f * (x(-2) + x(2)) - 0.59127176f * (x(-1) + x(1)) +
           1.115087f * x(0);
  }
  template <class L, class H>
  static Zel32f even(L l, H h) {
    return (l(-1) + l(1)) * -0.057543527f + 1.115087f * l(0) + (h(-2) + h(1)) * 0.01686412f +
           (h(-1) + h(0)) * -0.26686412f;
  }
  template <class L, class H>
  static Zel32f odd(L l, H h) {
    return -0.091271766f * (l(-1) + l(2)) + 0.59127176f * (l(0) + l(1)) + 0.026748758f * (h(-2) + h(2)) +
           (h(-1) + h(1)) * -0.078223266f + 0.602949f * h(0);
  }
  template <class L, class H>
  static Zel32f oddBefore(L l, H h) {
    return (l(-2) + l(1)) * -0.091271766f + 0.59127176f * (l(-1) + l(0)) + (h(-2) + h(2)) * 0.026748758f +
           (h(-1) + h(1)) * -0.078223266f + 0.602949f * h(0);
  }
  template <class L, class H>
  static Zel32f evenBehind(L l, H h) {
    return (l(-1) + l(1)) * -0.057543527f + 1.115087f * l(0) + (h(-1) + h(2)) * 0.01686412f +
           (h(0) + h(1)) * -0.26686412f;
  }
};

// Integers by 16 fraction bits: 16-bit samples round the sum of the products and saturate, 32-bit samples round each.
template <class T>
struct DirectTaps {
  struct Product {
    Zel64s factor, sum;
  };
  template <class... Products>
  static T sumOf(Products... p) {
    if constexpr (sizeof(T) == 2) {
      return saturate16((((p.factor * p.sum) + ...) + 32768) >> 16);
    } else {
      Zel32s sum = 0;
      ((sum = add(sum, static_cast<Zel32s>((p.factor * p.sum + 32768) >> 16))), ...);
      return sum;
    }
  }
  template <class X>
  static T low(X x) {
    return sumOf(Product{1753, add(x(-4), x(4))}, Product{-1105, add(x(-3), x(3))}, Product{-5126, add(x(-2), x(2))},
                 Product{17489, add(x(-1), x(1))}, Product{39515, x(0)});
  }
  template <class X>
  static T high(X x) {
    return sumOf(Product{5982, add(x(-3), x(3))}, Product{-3771, add(x(-2), x(2))}, Product{-38749, add(x(-1), x(1))},
                 Product{73078, x(0)});
  }
  template <class L, class H>
  static T even(L l, H h) {
    return sumOf(Product{-3771, add(l(-1), l(1))}, Product{73078, l(0)}, Product{1105, add(h(-2), h(1))},
                 Product{-17489, add(h(-1), h(0))});
  }
  template <class L, class H>
  static T odd(L l, H h) {
    return sumOf(Product{-5981, add(l(-1), l(2))}, Product{38750, add(l(0), l(1))}, Product{1753, add(h(-2), h(2))},
                 Product{-5126, add(h(-1), h(1))}, Product{39515, h(0)});
  }
  template <class L, class H>
  static T oddBefore(L l, H h) {
    return odd([&](int i) { return l(i - 1); }, h);
  }
  template <class L, class H>
  static T evenBehind(L l, H h) {
    return even(l, [&](int i) { return h(i + 1); });
  }
};

// The one pair of a line: x(i), or l(i) and h(i), are the line's samples; `odd` tells that it begins with an odd
// sample.
template <class X, class T>
void pairByTaps(X x, T* low, T* high, bool odd) {
  samples<T>(low)->v = DirectTaps<T>::low([&](int i) { return x(i + odd); });
  samples<T>(high)->v = DirectTaps<T>::high([&](int i) { return x(i + !odd); });
}
template <class L, class H, class T>
void joinByTaps(L l, H h, T* first, T* second, bool odd) {
  using Taps = DirectTaps<T>;
  samples<T>(first)->v = odd ? Taps::oddBefore(l, h) : Taps::even(l, h);
  samples<T>(second)->v = odd ? Taps::evenBehind(l, h) : Taps::odd(l, h);
}

} // namespace zelj
