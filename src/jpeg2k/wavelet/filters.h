// Filters of rectangles whose caller keeps the samples around the border: no extension is made, and no sample is
// touched but those that the steps of the filter reach.
#pragma once

#include <algorithm>
#include <cstring>
#include <utility>

#include "jpeg2k/wavelet/direct_taps.h"
#include "jpeg2k/wavelet/lifting.h"

namespace zelj {

// Rows are worked on in pieces, with all stages in the first-level cache, and some rows at a time: each step reads what
// the one before has just written, at other alignments, and waits less if other rows come between.
constexpr int kPiecePairs = 128, kRowGroup = 4;

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

// Samples at the ends of a row that a filter computes in another way, done again behind each step. Most filters have
// none.
struct PlainEnds {
  template <int k, class S, class T>
  static void apply(S&, T*, int, bool, bool) {}
  template <class T>
  static void applyHigh(T*, const T*, int, bool) {}
};

template <class Filter, class Ends, class T>
void forwardRowGroup(const T* src, int srcStep, T* low, int lowStep, T* high, int highStep, int pairs, int rows,
                     bool odd) {
  using List = typename Filter::Forward;
  constexpr int kLifting = liftingSteps(List()), kHalf = kLifting / 2;
  Stages<T, kLifting + 1> stages[kRowGroup]; // stage 0: the source's even samples; stage k + 1: behind step k
  for (int j0 = 0, n; j0 < pairs; j0 += n) {
    n = pieceLength(pairs - j0);
    const bool isFirst = j0 == 0, isLast = j0 + n == pairs;
    forSteps(List(), [&]<class Step, int k>() {
      for (int y = 0; y < rows; ++y) {
        auto& s = stages[y];
        T *toLow = row(low, lowStep, y) + j0, *toHigh = row(high, highStep, y) + j0;
        if constexpr (k == 0) {
          const T* from = row(src, srcStep, y) + odd + 2 * Zel64s{j0};
          splitAndLift<Step>(from - 2 * kHalf, n + 2 * kHalf - 1, s.at(0, -kHalf), s.at(1, -kHalf));
          std::memcpy(s.at(0, n + kHalf - 1), from + 2 * (n + kHalf - 1), sizeof(T));
          Ends::template apply<k>(s, from, n, isFirst, isLast);
        } else if constexpr (scalesOnly<Step>) {
          const T* from = s.at(kLifting - 1, -odd);
          lift<Step>(toHigh, from, from, from, n);
          Ends::applyHigh(toHigh, from, n, isLast);
        } else {
          constexpr int kBegin = (k + 1) / 2 - kHalf, kNeighbour = k % 2 ? kBegin - 1 : kBegin;
          T* to = k == kLifting - 1 ? toLow : s.at(k + 1, kBegin);
          lift<Step>(to, s.at(k - 1, kBegin), s.at(k, kNeighbour), s.at(k, kNeighbour + 1),
                     n + kHalf - (k % 2 ? 0 : 1) - (k + 1) / 2 - kBegin);
          Ends::template apply<k>(s, to, n, isFirst, isLast);
        }
        if constexpr (k + 1 == List::kCount && !scalesOnly<Step>) {
          std::memcpy(toHigh, s.at(k, -odd), static_cast<size_t>(n) * sizeof(T));
        }
      }
    });
  }
}

// The last step, on odd samples between n + 1 even ones, of which the first or the last is not part of the piece.
template <class Step, class T>
void joinPiece(const T* even, const T* between, int n, T* dst, bool odd) {
  if (!odd) return liftAndJoin<Step, Same<T>>(even, between, n, dst);
  lift<Step>(dst, between, even, even + 1, 1);
  liftAndJoin<Step, Same<T>>(even + 1, between + 1, n - 1, dst + 1);
  std::memcpy(dst + 2 * n - 1, even + n, sizeof(T));
}

// Index j counts from the first sample that is written, or the even one behind it: where the row begins with an odd
// sample, low sample j - 1 has even index j.
template <class Filter, class T>
void inverseRowGroup(const T* low, int lowStep, const T* high, int highStep, T* dst, int dstStep, int pairs, int rows,
                     bool odd) {
  using List = typename Filter::Inverse;
  constexpr int kLifting = liftingSteps(List()), kHalf = kLifting / 2;
  Stages<T, kLifting - 1> stages[kRowGroup]; // behind each step but the last
  for (int j0 = 0, n; j0 < pairs; j0 += n) {
    n = pieceLength(pairs - j0);
    forSteps(List(), [&]<class Step, int k>() {
      for (int y = 0; y < rows; ++y) {
        auto& s = stages[y];
        const T *fromLow = row(low, lowStep, y) + j0 - odd, *fromHigh = row(high, highStep, y) + j0;
        constexpr int kBegin = k / 2 + 1 - kHalf, kNeighbour = k % 2 ? kBegin : kBegin - 1;
        const T* x = k == 0 ? fromLow + kBegin : k == 1 ? fromHigh + kBegin : s.at(k - 2, kBegin);
        const T* neighbours = k ? s.at(k - 1, kNeighbour) : fromHigh + kNeighbour;
        if constexpr (k + 1 < kLifting) {
          lift<Step>(s.at(k, kBegin), x, neighbours, neighbours + 1, n + kHalf - (k % 2) - k / 2 - kBegin);
        } else {
          joinPiece<Step>(neighbours, x, n, row(dst, dstStep, y) + 2 * Zel64s{j0}, odd);
        }
      }
    });
  }
}

template <class Filter, class Ends = PlainEnds, class T>
void forwardRows(const T* src, int srcStep, T* low, int lowStep, T* high, int highStep, ZeliSize size, int phase) {
  for (int y = 0; y < size.height; y += kRowGroup) {
    const T* from = row(src, srcStep, y);
    T *toLow = row(low, lowStep, y), *toHigh = row(high, highStep, y);
    const int rows = std::min(kRowGroup, size.height - y);
    if (size.width == 1 && liftingSteps(typename Filter::Forward()) == 4) {
      for (int i = 0; i < rows; ++i) {
        pairByTaps([&](int x) { return samples<T>(row(from, srcStep, i) + x)->v; }, row(toLow, lowStep, i),
                   row(toHigh, highStep, i), phase != 0);
      }
    } else {
      forwardRowGroup<Filter, Ends>(from, srcStep, toLow, lowStep, toHigh, highStep, size.width, rows, phase != 0);
    }
  }
}

template <class Filter, class T>
void inverseRows(const T* low, int lowStep, const T* high, int highStep, ZeliSize size, T* dst, int dstStep,
                 int phase) {
  for (int y = 0; y < size.height; y += kRowGroup) {
    const T *fromLow = row(low, lowStep, y), *fromHigh = row(high, highStep, y);
    T* to = row(dst, dstStep, y);
    const int rows = std::min(kRowGroup, size.height - y);
    if (size.width == 1 && liftingSteps(typename Filter::Inverse()) == 4) {
      for (int i = 0; i < rows; ++i) {
        joinByTaps([&](int x) { return samples<T>(row(fromLow, lowStep, i) + x)->v; },
                   [&](int x) { return samples<T>(row(fromHigh, highStep, i) + x)->v; }, row(to, dstStep, i),
                   row(to, dstStep, i) + 1, phase != 0);
      }
    } else {
      inverseRowGroup<Filter>(fromLow, lowStep, fromHigh, highStep, to, dstStep, size.width, rows, phase != 0);
    }
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
