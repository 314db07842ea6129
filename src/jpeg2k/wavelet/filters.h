// Filters of rectangles whose caller keeps the samples around the border: no extension is made, and no sample is
// touched but those that the steps of the filter reach.
#pragma once

#include <algorithm>
#include <cstring>
#include <utility>

#include "jpeg2k/wavelet/direct_taps.h"
#include "jpeg2k/wavelet/lifting.h"

namespace zelj {

constexpr int kPiecePairs = 256; // rows are worked on in pieces, with all stages in the first-level cache

// Every stage of a piece of a row, in arrays of its own. Index j holds the even sample 2j, or the odd one 2j + 1 behind
// it, counted from the first even sample of the piece.
template <class T, int kStages>
struct Stages {
  static constexpr int kMargin = 4;
  T* at(int stage, int j) { return values[stage] + kMargin + j; }
  T values[kStages][kPiecePairs + 2 * kMargin];
};

// A row has no last piece of one pair: the special outputs at its end lie in one piece.
inline int pieceLength(int left) {
  return left == kPiecePairs + 1 ? kPiecePairs - 1 : std::min(left, kPiecePairs);
}

// Stages behind the source: samples that the filter computes in another way at the ends of a row. Most do not.
struct PlainEnds {
  template <int k, class S>
  static void apply(S&, int, bool, bool) {}
  template <class T>
  static void applyHigh(T*, const T*, int, bool) {}
};

template <class Filter, class Ends, class T>
void forwardRow(const T* src, T* low, T* high, int pairs, bool odd) {
  using List = typename Filter::Forward;
  constexpr int kLifting = liftingSteps(List()), kHalf = kLifting / 2;
  Stages<T, kLifting + 2> s; // stages 0 and 1: the source's even and odd samples; stage k + 2: behind step k
  for (int j0 = 0, n; j0 < pairs; j0 += n) {
    n = pieceLength(pairs - j0);
    const bool isFirst = j0 == 0, isLast = j0 + n == pairs;
    deinterleave(src + odd + 2 * (Zel64s{j0} - kHalf), 2 * (n + 2 * kHalf) - 1, s.at(0, -kHalf), s.at(1, -kHalf));
    forSteps(List(), [&]<class Step, int k>() {
      if constexpr (scalesOnly<Step>) {
        const T* from = s.at(kLifting, -odd);
        lift<Step>(high + j0, from, from, from, n);
        Ends::applyHigh(high + j0, from, n, isLast);
      } else if constexpr (k % 2 == 0) {
        constexpr int kBegin = k / 2 - kHalf;
        lift<Step>(s.at(k + 2, kBegin), s.at(k ? k : 1, kBegin), s.at(k ? k + 1 : 0, kBegin),
                   s.at(k ? k + 1 : 0, kBegin + 1), n + kHalf - 1 - k / 2 - kBegin);
        Ends::template apply<k>(s, n, isFirst, isLast);
      } else {
        constexpr int kBegin = (k + 1) / 2 - kHalf;
        lift<Step>(s.at(k + 2, kBegin), s.at(k == 1 ? 0 : k, kBegin), s.at(k + 1, kBegin - 1), s.at(k + 1, kBegin),
                   n + kHalf - (k + 1) / 2 - kBegin);
        Ends::template apply<k>(s, n, isFirst, isLast);
      }
    });
    std::memcpy(low + j0, s.at(kLifting + 1, 0), static_cast<size_t>(n) * sizeof(T));
    if constexpr (List::kCount == kLifting) {
      std::memcpy(high + j0, s.at(kLifting, -odd), static_cast<size_t>(n) * sizeof(T));
    }
  }
}

// Index j counts from the first sample that is written, or the even one behind it: where the row begins with an odd
// sample, low sample j - 1 has even index j.
template <class Filter, class T>
void inverseRow(const T* low, const T* high, T* dst, int pairs, bool odd) {
  using List = typename Filter::Inverse;
  constexpr int kLifting = liftingSteps(List()), kHalf = kLifting / 2;
  Stages<T, kLifting> s; // behind each step
  low -= odd;
  for (int j0 = 0, n; j0 < pairs; j0 += n) {
    n = pieceLength(pairs - j0);
    forSteps(List(), [&]<class Step, int k>() {
      constexpr int kBegin = k / 2 + 1 - kHalf;
      const auto band = [&](int j) { return (k % 2 ? high : low) + (j0 + j); };
      const auto neighbour = [&](int j) -> const T* { return k ? s.at(k - 1, j) : high + (j0 + j); };
      const T* x = k < 2 ? band(kBegin) : s.at(k - 2, kBegin);
      if constexpr (k % 2 == 0) {
        lift<Step>(s.at(k, kBegin), x, neighbour(kBegin - 1), neighbour(kBegin), n + kHalf - k / 2 - kBegin);
      } else {
        lift<Step>(s.at(k, kBegin), x, neighbour(kBegin), neighbour(kBegin + 1), n + kHalf - 1 - k / 2 - kBegin);
      }
    });
    const T *even = s.at(kLifting - 2, odd), *between = s.at(kLifting - 1, 0);
    interleave(odd ? between : even, odd ? even : between, 2 * n, dst + 2 * Zel64s{j0});
  }
}

template <class Filter, class Ends = PlainEnds, class T>
void forwardRows(const T* src, int srcStep, T* low, int lowStep, T* high, int highStep, ZeliSize size, int phase) {
  for (int y = 0; y < size.height; ++y) {
    const T* from = row(src, srcStep, y);
    T *toLow = row(low, lowStep, y), *toHigh = row(high, highStep, y);
    if (size.width == 1 && liftingSteps(typename Filter::Forward()) == 4) {
      pairByTaps([&](int i) { return samples<T>(from + i)->v; }, toLow, toHigh, phase != 0);
      continue;
    }
    forwardRow<Filter, Ends>(from, toLow, toHigh, size.width, phase != 0);
  }
}

template <class Filter, class T>
void inverseRows(const T* low, int lowStep, const T* high, int highStep, ZeliSize size, T* dst, int dstStep,
                 int phase) {
  for (int y = 0; y < size.height; ++y) {
    const T *fromLow = row(low, lowStep, y), *fromHigh = row(high, highStep, y);
    T* to = row(dst, dstStep, y);
    if (size.width == 1 && liftingSteps(typename Filter::Inverse()) == 4) {
      joinByTaps([&](int i) { return samples<T>(fromLow + i)->v; }, [&](int i) { return samples<T>(fromHigh + i)->v; },
                 to, to + 1, phase != 0);
      continue;
    }
    inverseRow<Filter>(fromLow, fromHigh, to, size.width, phase != 0);
  }
}

constexpr int kStripBytes = 2048; // columns are worked on in strips, so that the rows in use stay in the cache

// Rows outside the destination that later steps look at.
template <class T>
struct OuterRows {
  static constexpr int kReach = 3, kColumns = kStripBytes / static_cast<int>(sizeof(T));
  T* at(int i, int end) { return rows[i < 0 ? -i - 1 : kReach + i - end]; }
  T rows[2 * kReach][kColumns];
};

template <class Filter, class T>
void forwardColumns(const T* src, int srcStep, T* low, int lowStep, T* high, int highStep, ZeliSize size, int phase) {
  const int end = 2 * size.height, odd = phase != 0;
  if (size.height == 1 && liftingSteps(typename Filter::Forward()) == 4) {
    for (int x = 0; x < size.width; ++x) {
      pairByTaps([&](int i) { return samples<T>(row(src, srcStep, i) + x)->v; }, low + x, high + x, odd);
    }
    return;
  }
  OuterRows<T> outer;
  for (int x = 0; x < size.width; x += outer.kColumns) {
    const auto in = [&](int i) { return row(src, srcStep, i) + x; };
    const auto out = [&](int i) {
      if (i < 0 || i >= end) return outer.at(i, end);
      return ((i ^ odd) & 1 ? row(high, highStep, i >> 1) : row(low, lowStep, i >> 1)) + x;
    };
    liftRows<typename Filter::Forward>(in, out, 0, end, true, 1 - odd, std::min(outer.kColumns, size.width - x));
  }
}

template <class Filter, class T>
void inverseColumns(const T* low, int lowStep, const T* high, int highStep, ZeliSize size, T* dst, int dstStep,
                    int phase) {
  const int end = 2 * size.height, odd = phase != 0;
  if (size.height == 1 && liftingSteps(typename Filter::Inverse()) == 4) {
    for (int x = 0; x < size.width; ++x) {
      joinByTaps([&](int i) { return samples<T>(row(low, lowStep, i) + x)->v; },
                 [&](int i) { return samples<T>(row(high, highStep, i) + x)->v; }, dst + x, row(dst, dstStep, 1) + x,
                 odd);
    }
    return;
  }
  OuterRows<T> outer;
  for (int x = 0; x < size.width; x += outer.kColumns) {
    const auto in = [&](int i) {
      return ((i ^ odd) & 1 ? row(high, highStep, i >> 1) : row(low, lowStep, i >> 1)) + x;
    };
    const auto out = [&](int i) { return i < 0 || i >= end ? outer.at(i, end) : row(dst, dstStep, i) + x; };
    liftRows<typename Filter::Inverse>(in, out, 0, end, true, odd, std::min(outer.kColumns, size.width - x));
  }
}

} // namespace zelj
