// Both wavelets once more, one sample at a time and straight from their definitions: what stands at a position after
// some steps follows from its neighbours after one step less. Values are doubles, which hold every integer and float
// exactly.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>

namespace zelj::test {

using Line = std::function<double(int)>; // the sample at a position; lines go on as far as a formula looks

inline int64_t integer(double v) {
  return static_cast<int64_t>(v);
}
inline int64_t wrap16(int64_t v) {
  return static_cast<int16_t>(static_cast<uint64_t>(v));
}
inline int64_t wrap32(int64_t v) {
  return static_cast<int32_t>(static_cast<uint64_t>(v));
}
inline int64_t sat16(int64_t v) {
  return std::clamp<int64_t>(v, -32768, 32767);
}

// A numeric form. step(k, x, a, b, i) is step k on x at position i between a and b; finish(v, i) ends a forward
// transform.
struct Form {
  int steps;
  double (*forward)(int k, double x, double a, double b);
  double (*finish)(double v, bool high);
  double (*inverse)(int k, double x, double a, double b);
  double (*finishInverse)(double v) = [](double v) { return v; };
};

// The sample at position i after k steps; step 0 is on odd positions forward, on even ones inverse.
inline double after(int k, const Form& form, bool forward, const Line& x, int i) {
  if (k == 0) return x(i);
  const double before = after(k - 1, form, forward, x, i);
  if (((k - 1 + forward + i) & 1) != 0) return before;
  const double a = after(k - 1, form, forward, x, i - 1), b = after(k - 1, form, forward, x, i + 1);
  return (forward ? form.forward : form.inverse)(k - 1, before, a, b);
}
inline double analysed(const Form& form, const Line& x, int i) {
  return form.finish(after(form.steps, form, true, x, i), i & 1);
}
inline double synthesised(const Form& form, const Line& x, int i) {
  return form.finishInverse(after(form.steps, form, false, x, i));
}

template <int64_t (*kWrap)(int64_t), int64_t (*kSum)(int64_t)>
constexpr Form reversible() {
  return {2,
          [](int k, double x, double a, double b) {
            const int64_t sum = integer(a) + integer(b);
            return static_cast<double>(kWrap(k ? integer(x) + (kSum(sum + 2) >> 2) : integer(x) - (kSum(sum) >> 1)));
          },
          [](double v, bool) { return v; },
          [](int k, double x, double a, double b) {
            const int64_t sum = integer(a) + integer(b);
            return static_cast<double>(kWrap(k ? integer(x) + (kSum(sum) >> 1) : integer(x) - (kSum(sum + 2) >> 2)));
          }};
}
inline const Form kForm53_16s = reversible<wrap16, wrap16>(), kForm53_32s = reversible<wrap32, wrap32>();
inline const Form kFormTile53_16s = reversible<wrap16, wrap32>();

inline constexpr float kLifting[] = {-1.5861343f, -0.052980117f, 0.8829111f, 0.44350687f};
inline constexpr float kScale = 1.2301741f, kInverseScale = 0.8128931f;

inline float single(double v) {
  return static_cast<float>(v);
}

inline const Form kForm97_32f = {
    4,
    [](int k, double x, double a, double b) -> double {
      const float sum = single(a) + single(b), product = sum * kLifting[k];
      return product + single(x);
    },
    [](double v, bool high) -> double { return single(v) * (high ? kScale : kInverseScale); },
    [](int k, double x, double a, double b) -> double {
      const float sum = single(a) + single(b);
      if (k == 0) {
        const float scaled = single(x) * kScale, product = sum * 0.36052364f;
        return scaled - product;
      }
      const float product = sum * kLifting[3 - k];
      const float scaled = k == 1 ? single(x) * kInverseScale : single(x);
      return scaled - product;
    }};

inline double toInteger(double v) {
  return v > 2147483648.0 ? 2147483647.0 : v >= -2147483648.0 && v < 2147483648.0 ? std::trunc(v) : -2147483648.0;
}

// Integers in and out, floats between.
inline const Form kFormTile97_32s = {
    4,
    [](int k, double x, double a, double b) {
      return k ? kForm97_32f.forward(k, x, a, b)
               : kForm97_32f.forward(k, x, static_cast<double>(wrap32(integer(a) + integer(b))), 0);
    },
    [](double v, bool high) { return toInteger(kForm97_32f.finish(v, high)); },
    [](int k, double x, double a, double b) -> double {
      if (k) return kForm97_32f.inverse(k, x, a, b);
      const float u = single(a) * kInverseScale, v = single(b) * kInverseScale, sum = u + v;
      const float scaled = single(x) * kScale, product = sum * kLifting[3];
      return scaled - product;
    },
    toInteger};

inline int64_t round16(int64_t v) {
  return (v + 32768) >> 16;
}
constexpr int64_t kQ16[] = {-103949, -3472, 57862, 23627};

inline const Form kForm97_32s = {
    4,
    [](int k, double x, double a, double b) {
      const int64_t sum = wrap32(integer(a) + integer(b)), at = integer(x);
      if (k == 3) return static_cast<double>(wrap32(round16(at * 53274 + sum * kQ16[3])));
      return static_cast<double>(wrap32(at + wrap32(round16(sum * kQ16[k]))));
    },
    [](double v, bool high) { return high ? static_cast<double>(wrap32(round16(integer(v) * 80621))) : v; },
    [](int k, double x, double a, double b) {
      const int64_t sum = wrap32(integer(a) + integer(b)), at = integer(x);
      const int64_t product = sum * kQ16[3 - k];
      if (k == 0) return static_cast<double>(wrap32(round16(at * 80621 - product)));
      if (k == 1) return static_cast<double>(wrap32(round16(at * 53274 - product)));
      return static_cast<double>(wrap32(at - wrap32(round16(product))));
    }};

inline int64_t mulR(int64_t a, int64_t b) {
  return (a * b + 16384) >> 15;
}

inline const Form kForm97_16s = {
    4,
    [](int k, double x, double a, double b) {
      const int64_t s = sat16(integer(a) + integer(b)), at = integer(x);
      if (k == 0) return static_cast<double>(sat16(mulR(sat16(2 * s), -25987) + at));
      if (k == 1) return static_cast<double>(sat16(mulR(s, -1736) + at));
      if (k == 2) return static_cast<double>(sat16(mulR(s, 28931) + at));
      return static_cast<double>(sat16((mulR(s, 23627) >> 1) + mulR(at, 26637)));
    },
    [](double v, bool high) { return high ? static_cast<double>(mulR(sat16(2 * integer(v)), 20155)) : v; },
    [](int k, double x, double a, double b) {
      const int64_t s = sat16(integer(a) + integer(b)), at = integer(x);
      if (k == 0) {
        return static_cast<double>(sat16(mulR(sat16(2 * at), 20155) - (mulR(s, 23627) >> 1)));
      }
      if (k == 1) return static_cast<double>(sat16(mulR(at, 26637) - mulR(s, 28931)));
      if (k == 2) return static_cast<double>(sat16(mulR(s, 1736) + at));
      return static_cast<double>(sat16(mulR(sat16(2 * s), 25987) + at));
    }};

inline const Form kFormTile97_16s = {
    4,
    [](int k, double x, double a, double b) {
      constexpr int64_t c[] = {-25987, -868, 14466, 7266};
      const int64_t sum = integer(a) + integer(b);
      return static_cast<double>(wrap16(integer(x) + ((sum * c[k] + 8192) >> 14)));
    },
    [](double v, bool high) {
      const int64_t scaled = (integer(v) * (high ? 20155 : 13318) + 8192) >> 14;
      return static_cast<double>(wrap16(scaled));
    },
    [](int k, double x, double a, double b) {
      constexpr int64_t c[] = {7266, 14466, -868, -25987};
      const auto scaled = [](double v, int64_t by) { return wrap16((integer(v) * by + 8192) >> 14); };
      const int64_t at = k > 1 ? integer(x) : scaled(x, k ? 13318 : 20155);
      const int64_t sum = k ? integer(a) + integer(b) : scaled(a, 13318) + scaled(b, 13318);
      return static_cast<double>(wrap16(at - ((sum * c[k] + 8192) >> 14)));
    }};

// Forward rows of 16-bit samples: 16 fraction bits and exact sums near the first low sample, at position `first`, and
// the last two samples of each band.
inline double row97_16s(const Line& x, int i, int first, int pairs) {
  const int last = first + 2 * (pairs - 1);
  const std::function<int64_t(int, int)> stage = [&](int k, int at) -> int64_t {
    if (k == 0) return integer(x(at));
    if ((k + at) % 2) return stage(k - 1, at);
    const int64_t v = stage(k - 1, at), a = stage(k - 1, at - 1), b = stage(k - 1, at + 1);
    if (std::abs(at - first) <= 4 - k || at == last + 4 - k) return sat16(v + round16((a + b) * kQ16[k - 1]));
    return integer(kForm97_16s.forward(k - 1, static_cast<double>(v), static_cast<double>(a), static_cast<double>(b)));
  };
  const auto c = static_cast<double>(stage(3, i));
  if (i % 2) {
    return i < 2 * pairs - 3 ? kForm97_16s.finish(c, true) : static_cast<double>(sat16(round16(integer(c) * 80621)));
  }
  const int64_t b = integer(c), left = stage(3, i - 1), right = stage(3, i + 1);
  if (i == first) return static_cast<double>(sat16(round16((left + right) * 23627 + b * 53274)));
  if (i == last) return static_cast<double>(round16(sat16(b + round16((left + right) * 29066)) * 53274));
  return kForm97_16s.forward(3, c, static_cast<double>(left), static_cast<double>(right));
}

} // namespace zelj::test
