// The search for better end points of one subset. While the ends of one channel are tried, the distances in all other
// channels stand still: they are summed once for each pixel and entry of the ramp. Then a vector holds one candidate
// for the two ends in each lane, and the errors of all lanes come from one pass over the pixels.
#include <algorithm>
#include <limits>

#include "texture/bc7_encode.h"

namespace zelj::bc7 {

const Squares kNoSquares{};

void setSquares(Squares& squares, const Zel16u* pixels, int precision, int e0, int e1, int indexBits) {
  const auto widened = [precision](int value) {
    const int top = value << (8 - precision);
    return precision ? top | top >> precision : 255;
  };
  const int u0 = widened(e0), u1 = widened(e1);
  for (int j = 0; j < 1 << indexBits; ++j) {
    const int weight = weightsOfBits(indexBits)[j], entry = ((64 - weight) * u0 + weight * u1 + 32) >> 6;
    for (int p = 0; p < 16; ++p) {
      const int difference = pixels[p] - entry;
      squares.of[j][p] = static_cast<Zel16u>(difference * difference);
    }
  }
}

void scanRamp(Scan& scan, const Squares* const (&channels)[4], int indexBits) {
  alignas(64) Zel32s next[16];
  for (int j = (1 << indexBits) - 1; j >= 0; --j) {
    const bool last = j == (1 << indexBits) - 1;
    for (int p = 0; p < 16; ++p) {
      const Zel32s distance =
          channels[0]->of[j][p] + channels[1]->of[j][p] + channels[2]->of[j][p] + channels[3]->of[j][p];
      const Zel32s found = last || next[p] > distance ? distance : scan.distance[p];
      scan.index[p] = found == distance ? j : scan.index[p]; // the first of equals
      scan.distance[p] = found;
      next[p] = distance;
    }
  }
}

namespace {

// A search along the ends of one channel. Lanes of T hold errors and distances, which stop at the largest T.
//
// 16-bit lanes serve where the error to be undercut is at most kShortErrors. That distances stop at 65535 then changes
// nothing: a scan that met a rise from d >= 65535 on its way to one of d' <= kShortErrors would differ. But distances
// along a ramp are a parabola but for the rounding of its entries to whole numbers, which moves a distance around 256
// by at most 2 * 256 * sqrt(4) / 2 + 1 = 513. Convex, and falling from 65535 - 513 to 32767 + 513 within the ramp, the
// parabola falls by 4 / 64 of 31742 or more from that entry to the next, which no rounding turns into a rise.
constexpr Zel32s kShortErrors = 32767;

template <class T>
struct Line {
  int count;
  // What the other channels add for an entry and a pixel, and the pixel's own value, as they fill 32 bits of lanes.
  alignas(64) Zel32u others[16][16];
  alignas(64) Zel32u pixels[16];

  static constexpr Zel32u kLimit = std::numeric_limits<T>::max();
  static constexpr Zel32u filling(Zel32u value) { return sizeof(T) == 2 ? value * 0x10001 : value; }

  Line(const Subset& subset, int channel, const Squares* const (&rest)[3], int indexBits) : count(subset.count) {
    for (int j = 0; j < 1 << indexBits; ++j) {
      for (int p = 0; p < 16; ++p) {
        const Zel32u sum = Zel32u{rest[0]->of[j][p]} + rest[1]->of[j][p] + rest[2]->of[j][p];
        others[j][p] = filling(std::min(sum, kLimit));
      }
    }
    for (int p = 0; p < 16; ++p) pixels[p] = filling(subset.channel[channel][p]);
  }
};

template <class D>
HWY_INLINE hn::VFromD<D> fill(D d, Zel32u value) {
  return hn::BitCast(d, hn::Set(hn::Repartition<Zel32u, D>(), value));
}

template <class V>
HWY_INLINE V addLimited(V a, V b) {
  if constexpr (sizeof(hn::TFromD<hn::DFromV<V>>) == 2) {
    return hn::SaturatedAdd(a, b);
  } else {
    return hn::Add(a, b);
  }
}

// Values at a precision widened to 8 bits.
template <class V>
HWY_INLINE V widened(V value, int precision) {
  const V top = hn::ShiftLeftSame(value, 8 - precision);
  return hn::Or(top, hn::ShiftRightSame(top, precision));
}

// The errors of candidate ends, a candidate to a lane; of candidates at or above the bound some number not below it.
template <int kIndexBits, class T, class V>
HWY_INLINE V errorsOf(const Line<T>& line, V e0, V e1, T bound) {
  constexpr int entries = 1 << kIndexBits;
  const hn::DFromV<V> d;
  V ramp[entries];
  for (int j = 0; j < entries; ++j) ramp[j] = interpolated(e0, e1, weightsOfBits(kIndexBits)[j]);
  V sum = hn::Zero(d);
  for (int p = 0; p < line.count; ++p) {
    if (p % 4 == 0 && p > 0 && hn::AllTrue(d, hn::Eq(hn::Max(sum, hn::Set(d, bound)), sum))) break;
    const V pixel = fill(d, line.pixels[p]);
    V found = hn::Zero(d), next = hn::Zero(d);
    HWY_UNROLL(16)
    for (int j = entries - 1; j >= 0; --j) {
      const V difference = hn::Sub(pixel, ramp[j]);
      const V distance = addLimited(fill(d, line.others[j][p]), hn::Mul(difference, difference));
      found = j == entries - 1 ? distance : scanFromEarlier(distance, next, found);
      next = distance;
    }
    sum = addLimited(sum, found);
  }
  return sum;
}

// The first lane with the least error below the bound takes its place; -1 if there is none.
template <class T, class D, class V = hn::VFromD<D>>
HWY_INLINE int firstLeast(D d, V errors, T& bound) {
  if (hn::AllTrue(d, hn::Eq(hn::Min(errors, hn::Set(d, bound)), hn::Set(d, bound)))) return -1;
  bound = hn::GetLane(hn::MinOfLanes(d, errors));
  return static_cast<int>(hn::FindFirstTrue(d, hn::Eq(errors, hn::Set(d, bound))));
}

// The end of a channel that a step search found.
template <class T>
struct Stepped {
  T error;
  Zel8u end;
};

// Half the range of 8 bits, down and up, then half of that, and so on.
constexpr Zel16s kSteps[32] = {-128, 128, -64, 64, -32, 32, -16, 16, -8, 8, -4, 4, -2, 2, -1, 1};

template <class D>
HWY_INLINE hn::VFromD<D> load16s(D d, const Zel16s* p) {
  if constexpr (sizeof(hn::TFromD<D>) == 2) {
    return hn::LoadU(d, p);
  } else {
    return hn::PromoteTo(d, hn::LoadU(hn::Rebind<Zel16s, D>(), p));
  }
}

template <class D>
HWY_INLINE hn::VFromD<D> set(D d, int value) {
  return hn::Set(d, static_cast<hn::TFromD<D>>(value));
}

// Steps of half the range and less, each taken down or up if that lowers the error. All steps from one place are tried
// at once: what they find is right up to the first that is taken.
template <int kIndexBits, class T>
Stepped<T> stepSearch(const Line<T>& line, int precision, const Zel8u (&ends)[2], int moving, T bound) {
  constexpr hn::CappedTag<T, 16> d;
  constexpr hn::RebindToSigned<decltype(d)> di;
  constexpr int lanes = static_cast<int>(hn::MaxLanes(d));
  const Zel16s* const steps = kSteps + 2 * (8 - precision);
  const auto fixed = widened(set(d, ends[1 - moving]), precision);
  int place = ends[moving];
  for (int i = 0; i < 2 * precision;) {
    alignas(64) T errors[16];
    for (int k = i / lanes * lanes; k < 2 * precision; k += lanes) {
      const auto moved = hn::Add(set(di, place), load16s(di, steps + k));
      const auto outside = hn::Or(hn::Gt(hn::Zero(di), moved), hn::Gt(moved, set(di, (1 << precision) - 1)));
      const auto end = widened(hn::BitCast(d, moved), precision);
      const auto sums =
          moving ? errorsOf<kIndexBits>(line, fixed, end, bound) : errorsOf<kIndexBits>(line, end, fixed, bound);
      hn::Store(hn::Or(sums, hn::BitCast(d, hn::VecFromMask(di, outside))), d, errors + k);
    }
    int taken = 0;
    for (; i < 2 * precision && taken == 0; i += 2) {
      for (int k = i; k < i + 2; ++k) {
        if (errors[k] >= bound) continue;
        bound = errors[k];
        taken = steps[k];
      }
    }
    place += taken;
  }
  return {bound, static_cast<Zel8u>(place)};
}

// The ends of a channel in turn. What a search finds for E1 counts as error, but E1 stays as it is, and E0 is only ever
// what was found for it first.
template <int kIndexBits, class T>
T searchEnds(const Line<T>& line, int precision, Zel8u (&ends)[2], T error) {
  const Stepped<T> first = stepSearch<kIndexBits>(line, precision, ends, 0, error),
                   second = stepSearch<kIndexBits>(line, precision, ends, 1, error);
  int next;
  if (second.error > first.error) {
    if (first.error >= error) return error;
    ends[0] = first.end;
    error = first.error;
    next = 1;
  } else {
    if (second.error >= error) return error;
    error = second.error;
    next = 0;
  }
  for (;; next = 1 - next) {
    const T found = stepSearch<kIndexBits>(line, precision, ends, next, error).error;
    if (found >= error) return error;
    if (next == 0) ends[0] = first.end;
    error = found;
  }
}

// Offsets of both ends around where they are, in the order in which they are tried: E0 by 5 down to 5 up, E1 by 5 down
// to 4 up. Where E0 is the larger, E1 is in the outer loop.
struct Neighbours {
  Zel16s offset[2][128]; // of E0, E1; 100 where there are no more
};
constexpr Neighbours neighbours(bool secondOuter) {
  Neighbours n{};
  int i = 0;
  for (int outer = 0; outer < (secondOuter ? 10 : 11); ++outer) {
    for (int inner = 0; inner < (secondOuter ? 11 : 10); ++inner, ++i) {
      n.offset[0][i] = static_cast<Zel16s>((secondOuter ? inner : outer) - 5);
      n.offset[1][i] = static_cast<Zel16s>((secondOuter ? outer : inner) - 5);
    }
  }
  for (; i < 128; ++i) n.offset[0][i] = n.offset[1][i] = 100;
  return n;
}
constexpr Neighbours kNeighbours[2] = {neighbours(false), neighbours(true)};

template <int kIndexBits, class T>
T searchNeighbours(const Line<T>& line, int precision, Zel8u (&ends)[2], T error) {
  constexpr hn::ScalableTag<T> d;
  constexpr hn::RebindToSigned<decltype(d)> di;
  using V = hn::VFromD<decltype(di)>;
  const int top = (1 << precision) - 1;
  const bool falling = ends[0] > ends[1];
  const Zel16s(&offsets)[2][128] = kNeighbours[falling].offset;
  const Zel8u from[2] = {ends[0], ends[1]};
  const V highest[2] = {set(di, std::min(from[0] + 5, top)), set(di, std::min(from[1] + 4, top - 1))};
  for (int i = 0; i < 110; i += static_cast<int>(hn::MaxLanes(d))) {
    const V a = hn::Add(set(di, from[0]), load16s(di, offsets[0] + i));
    const V b = hn::Add(set(di, from[1]), load16s(di, offsets[1] + i));
    const V larger = falling ? a : b, smaller = falling ? b : a;
    const auto outside = hn::Or(hn::Or(hn::Gt(hn::Zero(di), smaller), hn::Gt(smaller, larger)),
                                hn::Or(hn::Gt(a, highest[0]), hn::Gt(b, highest[1])));
    if (hn::AllTrue(di, outside)) continue;
    const auto sums =
        errorsOf<kIndexBits>(line, widened(hn::BitCast(d, a), precision), widened(hn::BitCast(d, b), precision), error);
    const auto errors = hn::Or(sums, hn::BitCast(d, hn::VecFromMask(di, outside)));
    const int lane = firstLeast(d, errors, error);
    if (lane >= 0) {
      ends[0] = static_cast<Zel8u>(from[0] + offsets[0][i + lane]);
      ends[1] = static_cast<Zel8u>(from[1] + offsets[1][i + lane]);
    }
  }
  return error;
}

template <bool kNeighbourhood, class T, int kIndexBits>
Zel32s search(const Subset& subset, int channel, const Squares* const (&rest)[3], int precision, Zel8u (&ends)[2],
              Zel32s error) {
  const Line<T> line(subset, channel, rest, kIndexBits);
  const auto bound = static_cast<T>(error);
  return static_cast<Zel32s>(kNeighbourhood ? searchNeighbours<kIndexBits>(line, precision, ends, bound)
                                            : searchEnds<kIndexBits>(line, precision, ends, bound));
}

using Search = Zel32s(const Subset&, int, const Squares* const (&)[3], int, Zel8u (&)[2], Zel32s);
template <bool kNeighbourhood>
constexpr Search* kSearch[2][3] = {
    {search<kNeighbourhood, Zel16u, 2>, search<kNeighbourhood, Zel16u, 3>, search<kNeighbourhood, Zel16u, 4>},
    {search<kNeighbourhood, Zel32u, 2>, search<kNeighbourhood, Zel32u, 3>, search<kNeighbourhood, Zel32u, 4>}};

class Refinement {
 public:
  Refinement(const Mode& mode, const Subset& subset, IndexBits bits, EndPoints endPoints, Zel32s error)
      : mode_(mode), subset_(subset), bits_(bits), endPoints_(endPoints), error_(error) {
    for (int c = 0; c < 4; ++c) update(c);
  }

  EndPoints run() {
    for (int c = 0; c < 4; ++c) searchChannel(c, kSearch<false>);
    for (int c = 0; c < 4; ++c) searchChannel(c, kSearch<true>);
    return endPoints_;
  }

 private:
  int precision(int c) const { return mode_.endPointBits[static_cast<size_t>(c)]; }
  // Whether a channel shares the index of another.
  bool together(int a, int b) const { return precision(a) && precision(b) && (!bits_.alpha || (a == 3) == (b == 3)); }
  int indexBits(int c) const { return c == 3 && bits_.alpha ? bits_.alpha : bits_.colours; }

  void update(int c) {
    const auto i = static_cast<size_t>(c);
    setSquares(squares_[c], subset_.channel[c], precision(c), endPoints_[0][i], endPoints_[1][i], indexBits(c));
  }

  // The error in the channels that do not share the index of this one.
  Zel32s errorElsewhere(int c) const {
    const Squares* others[4] = {&kNoSquares, &kNoSquares, &kNoSquares, &kNoSquares};
    int another = -1;
    for (int i = 0; i < 4; ++i) {
      if (i != c && !together(c, i)) others[i] = &squares_[another = i];
    }
    if (another < 0) return 0;
    Scan scan;
    scanRamp(scan, others, indexBits(another));
    Zel32s sum = 0;
    for (int p = 0; p < subset_.count; ++p) sum += scan.distance[p];
    return sum;
  }

  void searchChannel(int c, Search* const (&searches)[2][3]) {
    if (precision(c) == 0) return;
    const Zel32s elsewhere = errorElsewhere(c), here = error_ - elsewhere;
    if (here <= 0) return; // nothing is lower
    const Squares* rest[3];
    for (int i = 0, k = 0; i < 4; ++i) {
      if (i != c) rest[k++] = together(c, i) ? &squares_[i] : &kNoSquares;
    }
    const auto i = static_cast<size_t>(c);
    Zel8u ends[2] = {endPoints_[0][i], endPoints_[1][i]};
    error_ = elsewhere + searches[here > kShortErrors][indexBits(c) - 2](subset_, c, rest, precision(c), ends, here);
    endPoints_[0][i] = ends[0];
    endPoints_[1][i] = ends[1];
    update(c);
  }

  const Mode& mode_;
  const Subset& subset_;
  const IndexBits bits_;
  EndPoints endPoints_;
  Zel32s error_; // that a candidate must undercut: it may be less than that of the end points
  Squares squares_[4];
};

} // namespace

EndPoints refine(const Mode& mode, const Subset& subset, IndexBits bits, EndPoints endPoints, Zel32s error) {
  return error > 0 ? Refinement(mode, subset, bits, endPoints, error).run() : endPoints;
}

} // namespace zelj::bc7
