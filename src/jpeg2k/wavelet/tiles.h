// One decomposition level of a tile in place: columns by lifting rows where they lie, rows by taking each apart (or
// together) on its way to the place of the row that it becomes. So every row is read and written twice in all, and the
// only scratch is one row.
#pragma once

#include <cstring>

#include "jpeg2k/wavelet/lifting.h"

namespace zelj {

constexpr int kPanelBytes = 2048; // columns are worked on in panels, so that the rows in use stay in the cache

// Where the samples of a line of n go: those of even position into the low run, the others into the high run. `phase`
// is the parity of the line's first position.
struct Split {
  int n, phase;
  bool highFirst; // the high run stands in front of the low one
  int lows() const { return (n + 1 - phase) / 2; }
  int highs() const { return (n + phase) / 2; }
  // With the high run in front of an odd number of samples the last high sample falls on the first low one, which is
  // lost, and the last slot keeps what it had before the transform.
  bool collides() const { return highFirst && n % 2; }
  // The sample that slot q comes from; behind a collision, sample 1 stands for the last slot.
  int sampleOf(int q) const {
    if (!highFirst) return q < lows() ? 2 * q + phase : 2 * (q - lows()) + 1 - phase;
    if (q < highs()) return 2 * q;
    const int i = 2 * (q - n / 2) + 1;
    return i == n ? 1 : i;
  }
  int slotOf(int i) const { return (i ^ phase) & 1 ? lows() + i / 2 : i / 2; } // of 5/3's order, low run first
};

// A single sample is doubled at an odd position.
template <class T>
void doubleRow(const T* src, T* dst, int count) {
  ZELJ_INDEPENDENT
  for (int i = 0; i < count; ++i)
    samples<T>(dst)[i].v = static_cast<T>(add(samples<T>(src)[i].v, samples<T>(src)[i].v));
}
template <class T>
void halveRow(const T* src, T* dst, int count) {
  ZELJ_INDEPENDENT
  for (int i = 0; i < count; ++i) samples<T>(dst)[i].v = static_cast<T>(samples<T>(src)[i].v / 2);
}

// All steps on the rows of a tile, which go on symmetrically above and below.
template <class StepList, class T>
void liftColumns(T* tile, int step, ZeliSize size, int first) {
  constexpr int kColumns = kPanelBytes / static_cast<int>(sizeof(T));
  const int n = size.height;
  for (int x = 0; x < size.width; x += kColumns) {
    const auto at = [&](int i) { return row(tile, step, i < 0 ? -i : i < n ? i : 2 * (n - 1) - i) + x; };
    liftRows<StepList>(at, at, 0, n, false, first, size.width - x < kColumns ? size.width - x : kColumns);
  }
}

// Puts move(source row, destination row) at every row q of a tile, the source being row sourceOf(q): cycle by cycle of
// that permutation, each begun at its lowest row, which waits in `spare` until the cycle ends. `move` may spoil its
// source.
template <class T, class SourceOf, class Move, class End>
void permuteRows(T* tile, int step, ZeliSize size, T* spare, SourceOf sourceOf, Move move, End endOfCycle) {
  for (int start = 0; start < size.height; ++start) {
    int r = sourceOf(start);
    while (r > start) r = sourceOf(r);
    if (r < start) continue;
    std::memcpy(spare, row(tile, step, start), static_cast<size_t>(size.width) * sizeof(T));
    int q = start;
    for (r = sourceOf(q); r != start; q = r, r = sourceOf(r)) move(row(tile, step, r), row(tile, step, q));
    move(spare, row(tile, step, q));
    endOfCycle();
  }
}

// Takes rows apart, with the steps on them. Each row is a step behind the next one: a step reads what the one before
// has written, at other alignments, and does not wait for it so.
template <class Filter, class List, class T>
class Splitter {
 public:
  explicit Splitter(Split split) : split_(split) {}

  void move(const T* src, T* dst) {
    const int n = split_.n;
    if (n == 1) {
      if (split_.phase) {
        doubleRow(src, dst, 1);
      } else {
        std::memcpy(dst, src, sizeof(T));
      }
      return;
    }
    forSteps(List(), [&]<class Step, int k>() {
      if constexpr (k == 0) takeApart<Step>(src, dst);
    });
    enter(dst);
    if (!split_.collides()) return;
    // The low run lies one place behind its own until it is done.
    const int lows = split_.lows();
    for (int k = 1; k < kSteps; ++k) enter(nullptr);
    std::memmove(dst + split_.highs(), dst + split_.highs() + 1, static_cast<size_t>(lows - 1) * sizeof(T));
    std::memcpy(dst + (n - 1), src + (n - 1), sizeof(T));
  }
  void finish() {
    for (int k = 1; k < kSteps; ++k) enter(nullptr);
  }

 private:
  static constexpr int kSteps = List::kCount;

  Run<T> low(T* dst) const { return {dst + (split_.highFirst ? split_.highs() : 0), split_.lows()}; }
  Run<T> high(T* dst) const { return {dst + (split_.highFirst ? 0 : split_.lows()), split_.highs()}; }

  template <class Step>
  void takeApart(const T* src, T* dst) const {
    T *even = low(dst).data, *odd = high(dst).data;
    int n = split_.n;
    if (split_.phase) {
      lift<Step>(odd++, src, src + 1, src + 1, 1);
      ++src;
      --n;
    }
    const int pairs = (n - 1) / 2;
    splitAndLift<Step>(src, pairs, even, odd);
    std::memcpy(even + pairs, src + 2 * pairs, sizeof(T));
    if (n % 2 == 0) lift<Step>(odd + pairs, src + 2 * pairs + 1, src + 2 * pairs, src + 2 * pairs, 1);
  }
  void enter(T* dst) {
    for (int k = kSteps - 1; k > 0; --k) rows_[k] = rows_[k - 1];
    rows_[0] = dst;
    forSteps(List(), [&]<class Step, int k>() {
      if (k > 0 && rows_[k]) liftLine<Step>(low(rows_[k]), high(rows_[k]), split_.phase, k + 1);
    });
  }

  Split split_;
  T* rows_[kSteps] = {};
};

// Puts rows together, low run first, behind the steps on them; spoils the sources. Rows go through the steps one behind
// the other here, too.
template <class Filter, class List, class T>
class Joiner {
 public:
  explicit Joiner(Split split) : split_(split) {}

  void move(T* src, T* dst) {
    if (split_.n > 1) {
      enter({src, dst});
    } else if (split_.phase) {
      halveRow(src, dst, 1);
    } else {
      std::memcpy(dst, src, sizeof(T));
    }
  }
  void finish() {
    for (int k = 1; k < kLifting; ++k) enter({});
  }

 private:
  static constexpr int kLifting = liftingSteps(List());
  struct Row {
    T *from, *to;
  };

  void enter(Row row) {
    for (int k = kLifting - 1; k > 0; --k) rows_[k] = rows_[k - 1];
    rows_[0] = row;
    forSteps(List(), [&]<class Step, int k>() {
      if constexpr (k + 1 < kLifting) {
        if (T* at = rows_[k].from) {
          liftLine<Step>(Run<T>{at, split_.lows()}, Run<T>{at + split_.lows(), split_.highs()}, split_.phase, k);
        }
      } else if constexpr (k + 1 == kLifting) {
        if (rows_[k].from) join<Step, typename Filter::Finish>(rows_[k].from, rows_[k].to);
      }
    });
  }
  template <class Step, class Finish>
  void join(const T* even, T* dst) const {
    const T* odd = even + split_.lows();
    int n = split_.n;
    if (split_.phase) {
      lift<Step>(dst++, odd++, even, even, 1);
      --n;
    }
    const int pairs = (n - 1) / 2;
    liftAndJoin<Step, Finish>(even, odd, pairs, dst);
    even += pairs;
    dst += 2 * pairs;
    if (n % 2 == 0) lift<Step>(dst + 1, odd + pairs, even, even, 1);
    lift<Finish>(dst, even, even, even, 1);
  }

  Split split_;
  Row rows_[kLifting] = {};
};

// The line buffer is wanted for lines of three samples up only: rows of two wait on the stack.
template <class T>
struct SpareRow {
  SpareRow(Zel8u* pBuffer, int width) : data(width < 3 ? narrow : reinterpret_cast<T*>(pBuffer)) {}
  T narrow[2];
  T* data;
};

template <class Filter, class List, class T>
void splitRows(T* tile, int step, ZeliSize size, T* spare, Split columns, Split rows) {
  Splitter<Filter, List, T> splitter(rows);
  permuteRows(
      tile, step, size, spare, [&](int q) { return columns.sampleOf(q); },
      [&](const T* from, T* to) { splitter.move(from, to); }, [] {});
  splitter.finish();
}

template <class Filter, class List, class T>
void joinRows(T* tile, int step, ZeliSize size, T* spare, Split columns, Split rows) {
  Joiner<Filter, List, T> joiner(rows);
  permuteRows(
      tile, step, size, spare, [&](int i) { return columns.slotOf(i); }, [&](T* from, T* to) { joiner.move(from, to); },
      [&] { joiner.finish(); });
}

template <class Filter, class T = typename Filter::Value>
void forwardTile(T* tile, int step, const ZeliRect& rect, Zel8u* pBuffer) {
  const ZeliSize size = {rect.width, rect.height};
  if (size.width < 1) return;
  const Split columns = {size.height, rect.y & 1, Filter::kHighRunFirst && rect.y & 1};
  const Split rows = {size.width, rect.x & 1, Filter::kHighRunFirst && rect.x & 1};
  SpareRow<T> spare(pBuffer, size.width);
  const size_t rowBytes = static_cast<size_t>(size.width) * sizeof(T);
  if (size.height < 2) { // row 0 is a column's only sample, also where there is no row
    if (columns.phase) doubleRow(tile, tile, size.width);
  } else if (size.height == 2) {
    liftColumns<typename Filter::ForwardOfTwo>(tile, step, size, 1 - columns.phase);
  } else {
    if (columns.collides()) std::memcpy(spare.data, row(tile, step, size.height - 1), rowBytes);
    liftColumns<typename Filter::Forward>(tile, step, size, 1 - columns.phase);
    if (columns.collides()) std::memcpy(row(tile, step, 1), spare.data, rowBytes);
  }
  if (size.width == 2) {
    splitRows<Filter, typename Filter::ForwardOfTwo>(tile, step, size, spare.data, columns, rows);
  } else {
    splitRows<Filter, typename Filter::Forward>(tile, step, size, spare.data, columns, rows);
  }
}

template <class Filter, class T = typename Filter::Value>
void inverseTile(T* tile, int step, const ZeliRect& rect, Zel8u* pBuffer) {
  const ZeliSize size = {rect.width, rect.height};
  if (size.width < 1) return;
  const Split columns = {size.height, rect.y & 1, false}, rows = {size.width, rect.x & 1, false};
  SpareRow<T> spare(pBuffer, size.width);
  if (size.width == 2) {
    joinRows<Filter, typename Filter::InverseOfTwo>(tile, step, size, spare.data, columns, rows);
  } else {
    joinRows<Filter, typename Filter::Inverse>(tile, step, size, spare.data, columns, rows);
  }
  if (size.height < 2) {
    if (columns.phase) halveRow(tile, tile, size.width);
  } else if (size.height == 2) {
    liftColumns<typename Filter::InverseOfTwo>(tile, step, size, columns.phase);
  } else {
    liftColumns<typename Filter::Inverse>(tile, step, size, columns.phase);
  }
}

// A copy of a tile at the start of a buffer, with rows that begin at multiples of 32 bytes, and what lies behind it.
// Its four bands are cut at fixed places, whatever the phases: a run that is a sample longer than its band ends in the
// next one.
template <class T>
int copyStep(int width) {
  return static_cast<int>((static_cast<Zel32u>(width) * sizeof(T) + 31) & ~31u);
}

template <class T>
struct TileCopy {
  struct Part {
    T* data;
    int rowBytes, height;
  };

  TileCopy(const ZeliRect& rect, Zel8u* pBuffer)
      : data(reinterpret_cast<T*>(pBuffer)),
        step(copyStep<T>(rect.width)),
        rowBytes(rect.width * static_cast<int>(sizeof(T))),
        width(rect.width),
        height(rect.height),
        behind(pBuffer + Zel64s{step} * height) {}

  // LL, LH (low horizontally), HL, HH.
  Part band(int i) const {
    const int left = width - width / 2, top = height - height / 2;
    const int x = i / 2 ? left : 0, y = i % 2 ? top : 0;
    return {row(data, step, y) + x, (i / 2 ? width - left : left) * static_cast<int>(sizeof(T)),
            i % 2 ? height - top : top};
  }

  T* data;
  int step, rowBytes, width, height;
  Zel8u* behind;
};

} // namespace zelj
