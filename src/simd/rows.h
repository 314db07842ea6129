// Two or four rows of an 8x8 block of 16-bit values, one in each 128-bit lane, two to a register where it holds 256
// bits. What stays within rows is done on all registers by each(); what moves rows between lanes is one shuffle where
// they share a register, and only a renaming where they don't. (Four rows in 512 bits gain nothing: the transform of a
// block is one long chain, and crossing to the upper half costs more than the instructions saved.)
#pragma once

#include <utility>

#include "simd/blocks.h"
#include "simd/simd.h"

namespace zelj {

template <class T, int kRowCount>
struct Rows {
  using Tag = hn::CappedTag<T, 32 / sizeof(T)>;
  static constexpr int kRows = kRowCount;
  static constexpr int kLanes = static_cast<int>(hn::MaxLanes(Tag()));
  static constexpr int kVectors = kRowCount * 16 / static_cast<int>(sizeof(T)) / kLanes;
  hn::Vec<Tag> v[kVectors];
};
using Rows2 = Rows<Zel16s, 2>;
using Rows4 = Rows<Zel16s, 4>;

// {make(0), make(1), ...}, i a compile-time constant.
template <class R, class F>
HWY_INLINE R makeRows(F make) {
  return [&]<int... i>(std::integer_sequence<int, i...>) {
    return R{{make(std::integral_constant<int, i>())...}};
  }
  (std::make_integer_sequence<int, R::kVectors>());
}

// f of all vectors of the operands.
template <class F, class First, class... R>
HWY_INLINE auto each(F f, First first, R... r) {
  using Result = Rows<hn::TFromV<decltype(f(first.v[0], r.v[0]...))>, First::kRows>;
  return makeRows<Result>([&](auto i) { return f(first.v[i], r.v[i]...); });
}

// R::kRows blocks of 16 bytes.
template <class R, class T>
HWY_INLINE R loadRows(const T* p) {
  return makeRows<R>([=](auto i) { return hn::LoadU(typename R::Tag(), p + i * R::kLanes); });
}
template <class T, int kRows>
HWY_INLINE void storeRows(Rows<T, kRows> x, T* p) {
  for (int i = 0; i < x.kVectors; ++i) hn::StoreU(x.v[i], typename Rows<T, kRows>::Tag(), p + i * x.kLanes);
}

template <class R, class T>
HWY_INLINE R filledRows(T value) {
  return makeRows<R>([=](auto) { return hn::Set(typename R::Tag(), value); });
}

template <class R>
HWY_INLINE R plus(R a, R b) {
  return each([](auto x, auto y) { return hn::Add(x, y); }, a, b);
}
template <class R>
HWY_INLINE R minus(R a, R b) {
  return each([](auto x, auto y) { return hn::Sub(x, y); }, a, b);
}
template <class R>
HWY_INLINE R plusSaturated(R a, R b) {
  return each([](auto x, auto y) { return hn::SaturatedAdd(x, y); }, a, b);
}
template <class R>
HWY_INLINE R minusSaturated(R a, R b) {
  return each([](auto x, auto y) { return hn::SaturatedSub(x, y); }, a, b);
}
template <class R>
HWY_INLINE R bitwiseAnd(R a, R b) {
  return each([](auto x, auto y) { return hn::And(x, y); }, a, b);
}
template <class R>
HWY_INLINE R bitwiseOr(R a, R b) {
  return each([](auto x, auto y) { return hn::Or(x, y); }, a, b);
}
template <class R>
HWY_INLINE R timesHigh(R a, R b) {
  return each([](auto x, auto y) { return hn::MulHigh(x, y); }, a, b);
}
template <int kBits, class R>
HWY_INLINE R shiftedRight(R x) {
  return each([](auto v) { return hn::ShiftRight<kBits>(v); }, x);
}
template <int kBits, class R>
HWY_INLINE R shiftedLeft(R x) {
  return each([](auto v) { return hn::ShiftLeft<kBits>(v); }, x);
}

// Bytes of each row by index, the same for all rows; 128 and more give 0.
template <class T, int kRows>
HWY_INLINE Rows<T, kRows> bytesByIndex(Rows<T, kRows> x, const Zel8u (&index)[64]) {
  return each(
      [](auto v, auto i) {
        const hn::DFromV<decltype(v)> d;
        return hn::BitCast(d, hn::TableLookupBytes(hn::BitCast(hn::DFromV<decltype(i)>(), v), i));
      },
      x, loadRows<Rows<Zel8u, kRows>>(index));
}

// The 32-bit halves of each half row exchanged, and the half rows.
inline constexpr auto neighbourDwords = [](auto v) {
  const hn::DFromV<decltype(v)> d;
  const hn::Repartition<Zel32s, decltype(d)> d32;
  return hn::BitCast(d, hn::Shuffle2301(hn::BitCast(d32, v)));
};
inline constexpr auto halvesSwapped = [](auto v) {
  const hn::DFromV<decltype(v)> d;
  const hn::Repartition<Zel32s, decltype(d)> d32;
  return hn::BitCast(d, hn::Shuffle1032(hn::BitCast(d32, v)));
};
// The first and the second halves of two rows.
inline constexpr auto firstHalves = [](auto a, auto b) {
  const hn::DFromV<decltype(a)> d;
  const hn::Repartition<Zel64s, decltype(d)> d64;
  return hn::BitCast(d, hn::InterleaveLower(d64, hn::BitCast(d64, a), hn::BitCast(d64, b)));
};
inline constexpr auto secondHalves = [](auto a, auto b) {
  const hn::DFromV<decltype(a)> d;
  const hn::Repartition<Zel64s, decltype(d)> d64;
  return hn::BitCast(d, hn::InterleaveUpper(d64, hn::BitCast(d64, a), hn::BitCast(d64, b)));
};

// Two rows, a first and a second.

// From 16 bytes in each of two places.
template <class T>
HWY_INLINE Rows<T, 2> loadTwoRows(const T* p0, const T* p1) {
  const hn::FixedTag<T, 16 / sizeof(T)> lane;
  using R = Rows<T, 2>;
  if constexpr (R::kVectors == 1) {
    return {{hn::Combine(typename R::Tag(), hn::LoadU(lane, p1), hn::LoadU(lane, p0))}};
  } else {
    return {{hn::LoadU(lane, p0), hn::LoadU(lane, p1)}};
  }
}

template <class T>
HWY_INLINE Rows<T, 2> exchanged(Rows<T, 2> x) {
  if constexpr (x.kVectors == 1) {
    return {{hn::SwapAdjacentBlocks(x.v[0])}};
  } else {
    return {{x.v[1], x.v[0]}};
  }
}

// The first row of one with the second of another.
template <class T>
HWY_INLINE Rows<T, 2> joined(Rows<T, 2> a, Rows<T, 2> b) {
  if constexpr (a.kVectors == 1) {
    return {{hn::ConcatUpperLower(typename Rows<T, 2>::Tag(), b.v[0], a.v[0])}};
  } else {
    return {{a.v[0], b.v[1]}};
  }
}

// The first rows, and the second rows, of both.
template <class T>
HWY_INLINE Rows<T, 2> firstRows(Rows<T, 2> a, Rows<T, 2> b) {
  if constexpr (a.kVectors == 1) {
    return {{hn::ConcatLowerLower(typename Rows<T, 2>::Tag(), b.v[0], a.v[0])}};
  } else {
    return {{a.v[0], b.v[0]}};
  }
}
template <class T>
HWY_INLINE Rows<T, 2> secondRows(Rows<T, 2> a, Rows<T, 2> b) {
  if constexpr (a.kVectors == 1) {
    return {{hn::ConcatUpperUpper(typename Rows<T, 2>::Tag(), b.v[0], a.v[0])}};
  } else {
    return {{a.v[1], b.v[1]}};
  }
}

// The second row of one and the first of the other.
template <class T>
HWY_INLINE Rows<T, 2> innerRows(Rows<T, 2> a, Rows<T, 2> b) {
  if constexpr (a.kVectors == 1) {
    return {{hn::ConcatLowerUpper(typename Rows<T, 2>::Tag(), b.v[0], a.v[0])}};
  } else {
    return {{a.v[1], b.v[0]}};
  }
}

// Four rows.

template <class T>
HWY_INLINE Rows<T, 4> combined(Rows<T, 2> a, Rows<T, 2> b) {
  using R = Rows<T, 4>;
  if constexpr (R::kVectors == 2) {
    return {{a.v[0], b.v[0]}};
  } else {
    return {{a.v[0], a.v[1], b.v[0], b.v[1]}};
  }
}

template <class T>
HWY_INLINE Rows<T, 2> lowerRows(Rows<T, 4> x) {
  if constexpr (x.kVectors == 2) {
    return {{x.v[0]}};
  } else {
    return {{x.v[0], x.v[1]}};
  }
}
template <class T>
HWY_INLINE Rows<T, 2> upperRows(Rows<T, 4> x) {
  if constexpr (x.kVectors == 2) {
    return {{x.v[1]}};
  } else {
    return {{x.v[2], x.v[3]}};
  }
}

// Odd lanes of one with even lanes of another. (hn::OddEven needs a mask register from AVX-512 up.)
template <class V>
HWY_INLINE V oddEven16(V odd, V even) {
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX2
  if constexpr (sizeof(odd.raw) == 32) return V{_mm256_blend_epi16(even.raw, odd.raw, 0xAA)};
#endif
  return hn::OddEven(odd, even);
}

// v times a sign, 1 or -1, in lanes of 16 bits.
template <class V>
HWY_INLINE V timesSign16(V v, V sign) {
#if HWY_ARCH_X86
  if constexpr (sizeof(v.raw) == 16) return V{_mm_sign_epi16(v.raw, sign.raw)};
#endif
  return hn::Mul(v, sign);
}

} // namespace zelj
