// Lifting: a wavelet as a list of steps, each of which changes the samples at odd or at even positions by their two
// neighbours. One loop, lift(), carries out every step of every filter, along rows and down columns alike; the drivers
// here say which samples it gets. A formula is a Step: `apply(x, a, b)` with x the sample and a and b its neighbours.
#pragma once

#include <utility>

#include "frame/rows.h"
#include "simd/samples.h"

namespace zelj {

// Steps in order: they act on odd and even positions in turn, forward from the odd ones on, inverse from the even ones.
template <class... Step>
struct Steps {
  static constexpr int kCount = sizeof...(Step);
};

// A last forward step that only scales: it is no lifting step, and reads no neighbours.
template <class Step>
constexpr bool scalesOnly = requires {
  Step::kScalesOnly;
};
template <class... Step>
constexpr int liftingSteps(Steps<Step...>) {
  return (... + (scalesOnly<Step> ? 0 : 1));
}

// Leaves a sample as it is.
template <class T>
struct Same {
  using X = T;
  using Neighbour = T;
  static T apply(T x, T, T) { return x; }
};

// Calls f.template operator()<Step, k>() for each step.
template <class... Step, class F>
void forSteps(Steps<Step...>, F f) {
  [&]<int... k>(std::integer_sequence<int, k...>) {
    (f.template operator()<Step, k>(), ...);
  }
  (std::make_integer_sequence<int, sizeof...(Step)>());
}

// One step on `count` samples: destination and x may be one row, a and b may be one row.
template <class Step>
void lift(void* dst, const void* x, const void* a, const void* b, int count) {
  using X = typename Step::X;
  using N = typename Step::Neighbour;
  auto* to = samples<decltype(Step::apply(X{}, N{}, N{}))>(dst);
  const auto* at = samples<X>(x);
  const auto *before = samples<N>(a), *behind = samples<N>(b);
  ZELJ_INDEPENDENT
  for (int i = 0; i < count; ++i) to[i].v = Step::apply(at[i].v, before[i].v, behind[i].v);
}

// Takes `pairs` pairs apart, from an even sample on, and does the first step on the odd ones. Reads the even sample
// behind the last pair.
template <class Step, class T>
void splitAndLift(const T* src, int pairs, T* even, T* odd) {
  using X = typename Step::X;
  const auto* from = samples<X>(src);
  auto* toEven = samples<X>(even);
  auto* toOdd = samples<decltype(Step::apply(X{}, X{}, X{}))>(odd);
  ZELJ_INDEPENDENT
  for (int i = 0; i < pairs; ++i) {
    const X before = from[2 * i].v, behind = from[2 * i + 2].v;
    toEven[i].v = before;
    toOdd[i].v = Step::apply(from[2 * i + 1].v, before, behind);
  }
}

// Puts pairs together, with the last step on the odd samples, which reads the even one behind the last pair. Even
// samples take their last form by Finish.
template <class Step, class Finish, class T>
void liftAndJoin(const T* even, const T* odd, int pairs, T* dst) {
  using N = typename Step::Neighbour;
  const auto* fromEven = samples<N>(even);
  const auto* fromOdd = samples<typename Step::X>(odd);
  auto* to = samples<T>(dst);
  ZELJ_INDEPENDENT
  for (int i = 0; i < pairs; ++i) {
    const N before = fromEven[i].v;
    const T between = Step::apply(fromOdd[i].v, before, fromEven[i + 1].v);
    to[2 * i].v = Finish::apply(before, before, before);
    to[2 * i + 1].v = between;
  }
}

// The samples of one parity of a line, apart from the others.
template <class T>
struct Run {
  T* data;
  int count;
};

// One step in place on a run whose neighbours are samples j + shift and j + shift + 1 of another run, which goes on
// symmetrically at both ends: there that is the nearest sample once more.
template <class Step, class T>
void liftRun(Run<T> x, Run<T> other, int shift) {
  const auto neighbour = [&](int j) { return other.data + (j < 0 ? 0 : j < other.count ? j : other.count - 1); };
  const auto edge = [&](int j) {
    lift<Step>(x.data + j, x.data + j, neighbour(j + shift), neighbour(j + shift + 1), 1);
  };
  const int begin = -shift, wanted = other.count - shift - 1, end = wanted < x.count ? wanted : x.count;
  if (begin) edge(0);
  if (end > begin) {
    T* at = x.data + begin;
    lift<Step>(at, at, other.data + begin + shift, other.data + begin + shift + 1, end - begin);
  }
  for (int j = end > begin ? end : begin; j < x.count; ++j) edge(j);
}

// One step on the samples of one parity of a line that has been taken apart; phase is that of its first sample.
template <class Step, class T>
void liftLine(Run<T> even, Run<T> odd, int phase, int parity) {
  if (parity % 2) {
    liftRun<Step>(odd, even, -phase);
  } else {
    liftRun<Step>(even, odd, phase - 1);
  }
}

// All steps on rows, each as soon as its neighbours are ready, so that few rows are in use at a time. Rows have
// positions begin to end - 1; step k acts on positions of parity `first` + k, and on those outside too that later steps
// look at if `beyond` is set. `in(i)` is the row at position i before any step, `out(i)` the place for it behind one.
template <class StepList, class In, class Out>
void liftRows(In in, Out out, int begin, int end, bool beyond, int first, int count) {
  constexpr int kSteps = StepList::kCount, kLifting = liftingSteps(StepList());
  const int margin = beyond ? kLifting - 1 : 0;
  for (int t = begin - margin; t < end + margin + kSteps; ++t) {
    forSteps(StepList(), [&]<class Step, int k>() {
      constexpr int kReach = k < kLifting ? kLifting - 1 - k : 0;
      const int i = t - k, reach = beyond ? kReach : 0;
      if (((i ^ first ^ k) & 1) || i < begin - reach || i >= end + reach) return;
      if constexpr (k == 0) {
        lift<Step>(out(i), in(i), in(i - 1), in(i + 1), count);
      } else if constexpr (k == 1) {
        lift<Step>(out(i), in(i), out(i - 1), out(i + 1), count);
      } else {
        lift<Step>(out(i), out(i), out(i - 1), out(i + 1), count);
      }
    });
  }
}

} // namespace zelj
