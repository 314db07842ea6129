// The lifting steps of the photo core transform of a 4x4 block (ITU-T T.832 9.9), for whole numbers that wrap in the
// width of the sample and for floats. A vector holds the same place of several blocks.
#pragma once

#include "simd/simd.h"

namespace zelj {

// x / 2, 3x / 8 and 3x / 4: shifts with a rounding term for whole numbers, products for floats.
template <int kRounding, class V>
HWY_INLINE V half(V x) {
  const hn::DFromV<V> d;
  if constexpr (hwy::IsFloat<hn::TFromD<decltype(d)>>()) {
    return hn::Mul(x, hn::Set(d, 0.5f));
  } else if constexpr (kRounding == 0) {
    return hn::ShiftRight<1>(x);
  } else {
    return hn::ShiftRight<1>(hn::Add(x, hn::Set(d, kRounding)));
  }
}
template <int kShift, int kRounding, class V>
HWY_INLINE V threeTimes(V x) {
  const hn::DFromV<V> d;
  if constexpr (hwy::IsFloat<hn::TFromD<decltype(d)>>()) {
    return hn::Mul(x, hn::Set(d, 3.0f / (1 << kShift)));
  } else {
    return hn::ShiftRight<kShift>(hn::Add(hn::Add(x, hn::Add(x, x)), hn::Set(d, kRounding)));
  }
}

// Its own inverse.
template <int kRounding, class V>
HWY_INLINE void t2x2(V& a, V& b, V& c, V& d) {
  a = hn::Add(a, d);
  b = hn::Sub(b, c);
  const V t = half<kRounding>(hn::Sub(a, b)), e = c;
  c = hn::Sub(t, d);
  d = hn::Sub(t, e);
  a = hn::Sub(a, d);
  b = hn::Add(b, c);
}

template <class V>
HWY_INLINE void tOdd(V& a, V& b, V& c, V& d) {
  b = hn::Sub(b, c);
  a = hn::Add(a, d);
  c = hn::Add(c, half<1>(b));
  d = hn::Sub(half<1>(a), d);
  b = hn::Sub(b, threeTimes<3, 4>(a));
  a = hn::Add(a, threeTimes<3, 4>(b));
  d = hn::Sub(d, threeTimes<3, 4>(c));
  c = hn::Add(c, threeTimes<3, 4>(d));
  d = hn::Add(d, half<0>(b));
  c = hn::Sub(c, half<1>(a));
  b = hn::Sub(b, d);
  a = hn::Add(a, c);
}

template <class V>
HWY_INLINE void tOddInverse(V& a, V& b, V& c, V& d) {
  a = hn::Sub(a, c);
  b = hn::Add(b, d);
  c = hn::Add(c, half<1>(a));
  d = hn::Sub(d, half<0>(b));
  c = hn::Sub(c, threeTimes<3, 4>(d));
  d = hn::Add(d, threeTimes<3, 4>(c));
  a = hn::Sub(a, threeTimes<3, 4>(b));
  b = hn::Add(b, threeTimes<3, 4>(a));
  d = hn::Sub(half<1>(a), d);
  c = hn::Sub(c, half<1>(b));
  a = hn::Sub(a, d);
  b = hn::Add(b, c);
}

template <class V>
HWY_INLINE void tOddOdd(V (&x)[4][4]) {
  const V q = x[2][2], s = x[2][3], u = hn::Add(x[3][3], q), v = hn::Sub(s, x[3][2]);
  const V h = half<0>(u), g = half<0>(v);
  V e = hn::Sub(g, s);
  V f = hn::Add(hn::Sub(q, h), threeTimes<3, 4>(e));
  e = hn::Sub(e, threeTimes<2, 3>(f));
  f = hn::Add(hn::Add(f, threeTimes<3, 3>(e)), h);
  e = hn::Sub(e, g);
  x[2][2] = f;
  x[2][3] = e;
  x[3][2] = hn::Add(v, e);
  x[3][3] = hn::Sub(u, f);
}

template <class V>
HWY_INLINE void tOddOddInverse(V (&x)[4][4]) {
  const hn::DFromV<V> d;
  const V u = hn::Add(x[3][3], x[2][2]), h = half<0>(u), v = hn::Sub(x[3][2], x[2][3]), g = half<0>(v);
  V e = hn::Add(x[2][3], g);
  V f = hn::Sub(hn::Sub(x[2][2], h), threeTimes<3, 3>(e));
  e = hn::Add(e, threeTimes<2, 3>(f));
  f = hn::Add(hn::Sub(f, threeTimes<3, 4>(e)), h);
  e = hn::Sub(e, g);
  x[2][2] = f;
  x[3][3] = hn::Sub(u, f);
  x[2][3] = hn::Sub(hn::Zero(d), e);
  x[3][2] = hn::Sub(hn::Zero(d), hn::Add(v, e));
}

template <class V>
HWY_INLINE void butterflies(V (&x)[4][4]) {
  t2x2<0>(x[0][0], x[0][3], x[3][0], x[3][3]);
  t2x2<0>(x[1][1], x[1][2], x[2][1], x[2][2]);
  t2x2<0>(x[0][1], x[0][2], x[3][1], x[3][2]);
  t2x2<0>(x[1][0], x[1][3], x[2][0], x[2][3]);
}

struct ForwardTransform {
  template <class V>
  HWY_INLINE void operator()(V (&x)[4][4]) const {
    butterflies(x);
    t2x2<1>(x[0][0], x[0][1], x[1][0], x[1][1]);
    tOdd(x[0][2], x[0][3], x[1][2], x[1][3]);
    tOdd(x[2][0], x[3][0], x[2][1], x[3][1]);
    tOddOdd(x);
  }
};

struct InverseTransform {
  template <class V>
  HWY_INLINE void operator()(V (&x)[4][4]) const {
    t2x2<1>(x[0][0], x[0][1], x[1][0], x[1][1]);
    tOddInverse(x[0][2], x[0][3], x[1][2], x[1][3]);
    tOddInverse(x[2][0], x[3][0], x[2][1], x[3][1]);
    tOddOddInverse(x);
    butterflies(x);
  }
};

} // namespace zelj
