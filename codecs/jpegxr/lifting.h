// The steps of the overlap filters (ITU-T T.832 9.9.6 and 9.9.7) on numbers, or on vectors of them. Each has a forward
// and an inverse form.
#pragma once

#include "zelj.h"

namespace jpegxr {

template <class V>
inline V threeEighths(V x) {
  return (3 * x) >> 3;
}
template <class V>
inline V roundedThreeEighths(V x) {
  return (3 * x + 4) >> 3;
}

template <bool kForward, class V>
inline void rotate(V& a, V& b) {
  if constexpr (kForward) {
    b -= (a + 1) >> 1;
    a += (b + 1) >> 1;
  } else {
    a -= (b + 1) >> 1;
    b += (a + 1) >> 1;
  }
}

template <bool kForward, class V>
inline void scale(V& a, V& d) {
  if constexpr (kForward) {
    d -= a >> 7;
    d += a >> 10;
    d -= (3 * a) >> 4;
    a -= threeEighths(d);
    d = (a >> 1) - d;
    a -= d;
  } else {
    a += d;
    d = (a >> 1) - d;
    a += threeEighths(d);
    d += (3 * a) >> 4;
    d += a >> 7;
    d -= a >> 10;
  }
}

template <bool kForward, class V>
inline void edge(V& a, V& d) {
  if constexpr (kForward) {
    d = -d;
    a -= d;
    d += a >> 1;
    a -= roundedThreeEighths(d);
    scale<true>(a, d);
  } else {
    scale<false>(a, d);
    a += roundedThreeEighths(d);
    d -= a >> 1;
    a += d;
    d = -d;
  }
}

// Four values along an edge of the picture.
template <bool kForward, class V>
inline void four(V& a, V& b, V& c, V& d) {
  a += d;
  b += c;
  d -= (a + 1) >> 1;
  c -= (b + 1) >> 1;
  if constexpr (kForward) {
    rotate<true>(c, d);
    edge<true>(a, d);
    edge<true>(b, c);
  } else {
    edge<false>(a, d);
    edge<false>(b, c);
    rotate<false>(c, d);
  }
  d += (a + 1) >> 1;
  c += (b + 1) >> 1;
  a -= d;
  b -= c;
}

// Its own inverse.
template <class V>
inline void twoByTwo(V& a, V& b, V& c, V& d) {
  a += d;
  b -= c;
  const V t = (a - b) >> 1, e = c;
  c = t - d;
  d = t - e;
  a -= d;
  b += c;
}

// Two and four values of the halved chroma's DCs.
template <bool kForward, class V>
inline void two(V& a, V& b) {
  const auto sign = kForward ? -1 : 1;
  b += sign * ((a + 2) >> 2);
  a += sign * ((b + 1) >> 1);
  a += sign * (b >> 5);
  a += sign * (b >> 9);
  a += sign * (b >> 13);
  b += sign * ((a + 2) >> 2);
}
template <bool kForward, class V>
inline void twoTimesTwo(V& a, V& b, V& c, V& d) {
  a += d;
  b += c;
  d -= (a + 1) >> 1;
  c -= (b + 1) >> 1;
  two<kForward>(a, b);
  d += (a + 1) >> 1;
  c += (b + 1) >> 1;
  a -= d;
  b -= c;
}

// The quads of an area of 4x4 values that lies across the corners of four blocks.
template <class V, class F>
inline void forQuads(V (&x)[4][4], F f) {
  f(x[1][1], x[1][2], x[2][1], x[2][2]);
  f(x[1][0], x[1][3], x[2][0], x[2][3]);
  f(x[0][1], x[0][2], x[3][1], x[3][2]);
  f(x[0][0], x[0][3], x[3][0], x[3][3]);
}

template <bool kForward, class V>
inline void areaCorner(V (&x)[4][4]) {
  V a = x[2][2], b = x[2][3], c = x[3][2], d = x[3][3];
  d += a;
  c -= b;
  const V t = d >> 1, u = c >> 1;
  a -= t;
  b += u;
  if constexpr (kForward) {
    a += roundedThreeEighths(b);
    b -= (3 * a + 2) >> 2;
    a += (3 * b + 6) >> 3;
  } else {
    a -= (3 * b + 6) >> 3;
    b += (3 * a + 2) >> 2;
    a -= roundedThreeEighths(b);
  }
  b -= u;
  a += t;
  c += b;
  d -= a;
  x[2][2] = a, x[2][3] = b, x[3][2] = c, x[3][3] = d;
}

template <bool kForward, class V>
inline void areaRotations(V (&x)[4][4]) {
  rotate<kForward>(x[3][1], x[3][0]);
  rotate<kForward>(x[2][1], x[2][0]);
  rotate<kForward>(x[1][3], x[0][3]);
  rotate<kForward>(x[1][2], x[0][2]);
}

template <bool kForward, class V>
inline void area(V (&x)[4][4]) {
  if constexpr (kForward) {
    forQuads(x, [](V& p, V& q, V& r, V& s) {
      V a = p, b = q, c = s, d = r;
      a += c;
      b -= d;
      c = ((a - b) >> 1) - c;
      d += b >> 1;
      b += c;
      a -= roundedThreeEighths(d);
      p = a, q = b, r = c, s = d;
    });
    forQuads(x, [](V& p, V&, V&, V& s) { scale<true>(p, s); });
    areaRotations<true>(x);
    areaCorner<true>(x);
    forQuads(x, [](V& p, V& q, V& r, V& s) { twoByTwo(p, q, r, s); });
  } else {
    forQuads(x, [](V& p, V& q, V& r, V& s) { twoByTwo(p, q, r, s); });
    areaCorner<false>(x);
    areaRotations<false>(x);
    forQuads(x, [](V& p, V&, V&, V& s) { scale<false>(p, s); });
    forQuads(x, [](V& p, V& q, V& r, V& s) {
      V a = p, b = q, c = r, d = s;
      b -= c;
      a += roundedThreeEighths(d);
      d -= b >> 1;
      c = ((a - b) >> 1) - c;
      r = d, s = c, p = a - c, q = b + d;
    });
  }
}

} // namespace jpegxr
