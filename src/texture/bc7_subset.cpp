// End points and indices of one subset, and the search for better ones. While the ends of one channel are tried, the
// distances in all other channels stand still. Candidates for the two ends pass a sieve first, a candidate to a lane of
// a vector: a lower bound of their errors. Few are left whose errors must be known.
#include <algorithm>
#include <bit>
#include <limits>
#include <utility>

#include "simd/byte_masks.h"
#include "texture/bc7_encode.h"
#include "texture/bc7_ramp.h"

namespace zelj::bc7 {
namespace {

using Squares = SubsetFit::Squares;
constexpr Squares kNoSquares{};

// Values at a precision widened to 8 bits.
template <class V>
HWY_INLINE V widened(V value, int precision) {
  const V top = hn::ShiftLeftSame(value, 8 - precision);
  return hn::Or(top, hn::ShiftRightSame(top, precision));
}

// Of the ramp between two ends of a channel; 255 throughout where there are none.
void setSquares(Squares& squares, const Zel16u* pixels, int precision, int e0, int e1, int indexBits) {
  constexpr hn::CappedTag<Zel16u, 16> d;
  constexpr size_t lanes = hn::MaxLanes(d), vectors = 16 / lanes;
  const auto end = [=](int value) {
    return precision ? widened(hn::Set(d, static_cast<Zel16u>(value)), precision) : hn::Set(d, 255);
  };
  const auto u0 = end(e0), u1 = end(e1);
  hn::VFromD<decltype(d)> pixel[vectors];
  for (size_t i = 0; i < vectors; ++i) pixel[i] = hn::LoadU(d, pixels + i * lanes);
  for (int j = 0; j < 1 << indexBits; ++j) {
    const auto entry = interpolated(u0, u1, weightsOfBits(indexBits)[j]);
    for (size_t i = 0; i < vectors; ++i) {
      const auto difference = hn::Sub(pixel[i], entry);
      hn::Store(hn::Mul(difference, difference), d, squares.of[j] + i * lanes);
    }
  }
}

// For each pixel, the distance that the scan of a ramp of some channels finds, and the first entry that has it.
struct Scan {
  alignas(64) Zel32s distance[16];
  alignas(64) Zel32s index[16];

  Scan(const Squares* const (&channels)[4], int indexBits) {
    alignas(64) Zel32s next[16];
    for (int j = (1 << indexBits) - 1; j >= 0; --j) {
      const bool last = j == (1 << indexBits) - 1;
      for (int p = 0; p < 16; ++p) {
        const Zel32s here =
            channels[0]->of[j][p] + channels[1]->of[j][p] + channels[2]->of[j][p] + channels[3]->of[j][p];
        const Zel32s found = last || next[p] > here ? here : distance[p];
        index[p] = found == here ? j : index[p];
        distance[p] = found;
        next[p] = here;
      }
    }
  }

  Zel32s error(int count) const {
    Zel32s sum = 0;
    for (int p = 0; p < 16; ++p) sum += p < count ? distance[p] : 0;
    return sum;
  }
};

// A search along the ends of one channel: what is the same for all candidates.
class Channel {
 public:
  Channel(const Subset& subset, int channel, const Squares* const (&rest)[3], int precision, int indexBits)
      : count_(subset.count), precision_(precision), entries_(1 << indexBits), pixels_(subset.channel[channel]) {
    std::fill_n(least_, 16, std::numeric_limits<Zel32u>::max());
    for (int j = 0; j < entries_; ++j) {
      for (int p = 0; p < 16; ++p) {
        others_[j][p] = Zel32u{rest[0]->of[j][p]} + rest[1]->of[j][p] + rest[2]->of[j][p];
        least_[p] = std::min(least_[p], others_[j][p]);
      }
    }
    for (int p = 0; p < 16; ++p) paid_ += p < count_ ? static_cast<Zel32s>(least_[p]) : 0;
  }

  int count() const { return count_; }
  int precision() const { return precision_; }
  int top() const { return (1 << precision_) - 1; }
  int entries() const { return entries_; }
  Zel32u pixel(int p) const { return pixels_[p]; }
  // Distance of an entry from a pixel in the other channels, beyond that of the nearest entry.
  Zel32u beyondLeast(int j, int p) const { return others_[j][p] - least_[p]; }
  // What the nearest entries cost in the other channels: every candidate pays it.
  Zel32s paid() const { return paid_; }

  // The error of two ends, without what every candidate pays.
  template <int kIndexBits>
  Zel32s error(int e0, int e1) const {
    Squares own;
    setSquares(own, pixels_, precision_, e0, e1, kIndexBits);
    constexpr hn::CappedTag<Zel32s, 16> d;
    constexpr int last = (1 << kIndexBits) - 1;
    auto sum = hn::Zero(d);
    for (size_t p = 0; p < 16; p += hn::MaxLanes(d)) {
      const auto distance = [&](int j) {
        const auto square = hn::PromoteTo(d, hn::LoadU(hn::Rebind<Zel16u, decltype(d)>(), own.of[j] + p));
        return hn::Add(square, hn::Load(d, reinterpret_cast<const Zel32s*>(others_[j]) + p));
      };
      auto next = distance(last), found = next;
      HWY_UNROLL(16)
      for (int j = last - 1; j >= 0; --j) {
        const auto here = distance(j);
        found = scanFromEarlier(here, next, found);
        next = here;
      }
      sum = hn::Add(sum, hn::IfThenElseZero(hn::Lt(hn::Iota(d, static_cast<Zel32s>(p)), hn::Set(d, count_)), found));
    }
    return hn::GetLane(hn::SumOfLanes(d, sum)) - paid_;
  }

 private:
  alignas(64) Zel32u others_[16][16]; // entry, pixel
  alignas(64) Zel32u least_[16];
  int count_, precision_, entries_;
  const Zel16u* pixels_;
  Zel32s paid_ = 0;
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

// A sieve for candidates, each in a lane of T: it tells for each a number not above its error, and lets those through
// that are below a bound. Of the distances from a ramp it takes the least, whatever the scan would find, and it looks
// at those entries alone that cost less than the bound in the other channels: their nearest neighbourhood. Lanes stop
// at the largest T.
template <int kIndexBits, class T>
class Sieve {
 public:
  static constexpr Zel32u kLimit = std::numeric_limits<T>::max();

  Sieve(const Channel& channel, Zel32s bound) : count_(channel.count()) {
    constexpr int entries = 1 << kIndexBits;
    alignas(64) Zel32s last[16];
    for (int p = 0; p < 16; ++p) {
      pixels_[p] = filling(channel.pixel(p));
      first_[p] = 16;
      last[p] = 0;
    }
    for (int j = 0; j < entries; ++j) {
      for (int p = 0; p < 16; ++p) {
        const Zel32u other = channel.beyondLeast(j, p);
        others_[j][p] = filling(std::min(other, kLimit));
        first_[p] = std::min(first_[p], other < static_cast<Zel32u>(bound) ? j : 16);
        last[p] = std::max(last[p], other < static_cast<Zel32u>(bound) ? j : 0);
      }
    }
    for (int p = 0; p < 16; ++p) width_ = std::max(width_, last[p] - first_[p] + 1);
    for (int p = 0; p < 16; ++p) first_[p] = std::min(first_[p], entries - width_);
  }

  template <size_t kVectors, class V>
  HWY_INLINE void errors(const V (&e0)[kVectors], const V (&e1)[kVectors], V (&sums)[kVectors]) const {
    constexpr int entries = 1 << kIndexBits;
    const hn::DFromV<V> d;
    V ramp[entries][kVectors];
    for (size_t v = 0; v < kVectors; ++v) {
      for (int j = 0; j < entries; ++j) ramp[j][v] = interpolated(e0[v], e1[v], weightsOfBits(kIndexBits)[j]);
      sums[v] = hn::Zero(d);
    }
    for (int p = 0; p < count_; ++p) {
      const V pixel = fill(d, pixels_[p]);
      const auto distance = [&](int j, size_t v) {
        const V difference = hn::Sub(pixel, ramp[j][v]);
        return addLimited(fill(d, others_[j][p]), hn::Mul(difference, difference));
      };
      const int first = first_[p];
      V least[kVectors];
      for (size_t v = 0; v < kVectors; ++v) least[v] = distance(first, v);
      for (int j = first + 1; j < first + width_; ++j) {
        for (size_t v = 0; v < kVectors; ++v) least[v] = hn::Min(least[v], distance(j, v));
      }
      for (size_t v = 0; v < kVectors; ++v) sums[v] = addLimited(sums[v], least[v]);
    }
  }

 private:
  static constexpr Zel32u filling(Zel32u value) { return sizeof(T) == 2 ? value * 0x10001 : value; }

  int count_;
  // The entries to look at, from a first one on. They are as many for every pixel, so that the processor foresees where
  // the loops end.
  int width_ = 1;
  alignas(64) Zel32s first_[16];
  // Distances in the other channels, and the pixel's own value, as they fill 32 bits of lanes.
  alignas(64) Zel32u others_[16][16];
  alignas(64) Zel32u pixels_[16];
};

// Highway compares unsigned lanes for equality alone in one operation.
template <class V>
HWY_INLINE auto atOrAbove(V a, V b) {
  return hn::Eq(hn::Max(a, b), a);
}

// The ends of a channel, and an error to be undercut.
struct Ends {
  int e0, e1;
  Zel32s error;
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

// Steps of half the range and less of one end, each taken down or up if that lowers the error. All steps from one place
// are sieved at once, which is right up to the first that is taken.
template <int kIndexBits, class T>
Ends searchSteps(const Channel& channel, const Sieve<kIndexBits, T>& sieve, Ends ends, bool second) {
  constexpr hn::CappedTag<T, 16> d;
  constexpr hn::RebindToSigned<decltype(d)> di;
  constexpr int lanes = static_cast<int>(hn::MaxLanes(d));
  using V = hn::VFromD<decltype(d)>;
  const int count = 2 * channel.precision();
  const Zel16s* const steps = kSteps + 16 - count;
  int& place = second ? ends.e1 : ends.e0;
  for (int i = 0; i < count;) {
    Zel32u below = 0; // the steps that the sieve lets through
    for (int k = i / lanes * lanes; k < count; k += lanes) {
      const auto moved = hn::Add(set(di, place), load16s(di, steps + k));
      const auto outside = hn::Or(hn::Gt(hn::Zero(di), moved), hn::Gt(moved, set(di, channel.top())));
      const V end = widened(hn::BitCast(d, moved), channel.precision());
      const V other = widened(set(d, second ? ends.e0 : ends.e1), channel.precision());
      V sums[1];
      sieve.errors({second ? other : end}, {second ? end : other}, sums);
      const auto rejected = hn::Or(outside, hn::RebindMask(di, atOrAbove(sums[0], set(d, ends.error))));
      below |= static_cast<Zel32u>(bitsOfMask(di, hn::Not(rejected))) << k;
    }
    below &= (1u << count) - (1u << i);
    const int from = place;
    for (i = count; below && std::countr_zero(below) < i; below &= below - 1) {
      const int k = std::countr_zero(below), there = from + steps[k];
      const Zel32s error =
          second ? channel.error<kIndexBits>(ends.e0, there) : channel.error<kIndexBits>(there, ends.e1);
      if (error >= ends.error) continue;
      ends.error = error;
      place = there;
      i = (k | 1) + 1; // both directions of a step are tried
    }
  }
  return ends;
}

// The ends of a channel in turn. What a search finds for E1 counts as error, but E1 stays as it is, and E0 is only ever
// what was found for it first.
template <int kIndexBits, class T>
Ends searchEnds(const Channel& channel, Ends ends) {
  const Sieve<kIndexBits, T> sieve(channel, ends.error);
  const Ends first = searchSteps(channel, sieve, ends, false), second = searchSteps(channel, sieve, ends, true);
  bool next = second.error > first.error;
  const Ends& better = next ? first : second;
  if (better.error >= ends.error) return ends;
  ends.error = better.error;
  if (next) ends.e0 = first.e0;
  for (;; next = !next) {
    const Zel32s error = searchSteps(channel, sieve, ends, next).error;
    if (error >= ends.error) return ends;
    if (!next) ends.e0 = first.e0;
    ends.error = error;
  }
}

// Offsets of both ends around where they are, in the order in which they are tried: E0 by 5 down to 5 up, E1 by 5 down
// to 4 up. Where E0 is the larger, E1 is in the outer loop.
constexpr size_t kNeighbours = 110;
struct Neighbours {
  Zel16s offset[2][128]; // of E0, E1; out of every range where there are no more
};
constexpr Neighbours neighbours(bool secondOuter) {
  Neighbours n{};
  size_t i = 0;
  for (int outer = 0; outer < (secondOuter ? 10 : 11); ++outer) {
    for (int inner = 0; inner < (secondOuter ? 11 : 10); ++inner, ++i) {
      n.offset[0][i] = static_cast<Zel16s>((secondOuter ? inner : outer) - 5);
      n.offset[1][i] = static_cast<Zel16s>((secondOuter ? outer : inner) - 5);
    }
  }
  for (; i < 128; ++i) n.offset[0][i] = n.offset[1][i] = 256;
  return n;
}
constexpr Neighbours kNeighbourOffsets[2] = {neighbours(false), neighbours(true)};

// The neighbour with the least error, the first of equals, if that is lower.
template <int kIndexBits, class T>
Ends searchNeighbours(const Channel& channel, Ends ends) {
  constexpr hn::ScalableTag<T> d;
  constexpr hn::RebindToSigned<decltype(d)> di;
  using V = hn::VFromD<decltype(d)>;
  using VI = hn::VFromD<decltype(di)>;
  const Sieve<kIndexBits, T> sieve(channel, ends.error);
  const bool falling = ends.e0 > ends.e1;
  const Zel16s(&offsets)[2][128] = kNeighbourOffsets[falling].offset;
  constexpr size_t lanes = hn::MaxLanes(d), vectors = std::min<size_t>((kNeighbours + lanes - 1) / lanes, 7);
  alignas(64) T atLeast[128];
  V lowest = hn::Set(d, std::numeric_limits<T>::max());
  for (size_t i = 0; i < kNeighbours; i += vectors * lanes) {
    V e0[vectors], e1[vectors], impossible[vectors], sums[vectors];
    for (size_t v = 0; v < vectors; ++v) {
      const VI a = hn::Add(set(di, ends.e0), load16s(di, offsets[0] + i + v * lanes));
      const VI b = hn::Add(set(di, ends.e1), load16s(di, offsets[1] + i + v * lanes));
      const VI larger = falling ? a : b, smaller = falling ? b : a;
      const auto outside = hn::Or(hn::Or(hn::Gt(hn::Zero(di), smaller), hn::Gt(smaller, larger)),
                                  hn::Or(hn::Gt(a, set(di, channel.top())), hn::Gt(b, set(di, channel.top() - 1))));
      impossible[v] = hn::BitCast(d, hn::VecFromMask(di, outside));
      e0[v] = widened(hn::BitCast(d, a), channel.precision());
      e1[v] = widened(hn::BitCast(d, b), channel.precision());
    }
    sieve.errors(e0, e1, sums);
    for (size_t v = 0; v < vectors; ++v) {
      const V sum = hn::Or(sums[v], impossible[v]);
      hn::Store(sum, d, atLeast + i + v * lanes);
      lowest = hn::Min(lowest, sum);
    }
  }
  for (;;) {
    const T least = hn::GetLane(hn::MinOfLanes(d, lowest));
    if (static_cast<Zel32u>(least) >= static_cast<Zel32u>(ends.error)) return ends;
    size_t i = 0; // of the first that has it
    while (hn::AllFalse(d, hn::Eq(hn::Load(d, atLeast + i), hn::Set(d, least)))) i += lanes;
    i += static_cast<size_t>(hn::FindFirstTrue(d, hn::Eq(hn::Load(d, atLeast + i), hn::Set(d, least))));
    const int e0 = ends.e0 + offsets[0][i], e1 = ends.e1 + offsets[1][i];
    const Zel32s error = channel.error<kIndexBits>(e0, e1);
    if (static_cast<Zel32u>(error) == static_cast<Zel32u>(least)) return {e0, e1, error};
    // More than the sieve told: it takes its place among the others.
    atLeast[i] = static_cast<T>(std::min(static_cast<Zel32u>(error), Sieve<kIndexBits, T>::kLimit));
    lowest = hn::Load(d, atLeast);
    for (size_t k = lanes; k < kNeighbours; k += lanes) lowest = hn::Min(lowest, hn::Load(d, atLeast + k));
  }
}

using Search = Ends(const Channel&, Ends);
// By width of lanes, then by bits of an index.
constexpr Search* kSearchEnds[2][3] = {{searchEnds<2, Zel16u>, searchEnds<3, Zel16u>, searchEnds<4, Zel16u>},
                                       {searchEnds<2, Zel32u>, searchEnds<3, Zel32u>, searchEnds<4, Zel32u>}};
constexpr Search* kSearchNeighbours[2][3] = {
    {searchNeighbours<2, Zel16u>, searchNeighbours<3, Zel16u>, searchNeighbours<4, Zel16u>},
    {searchNeighbours<2, Zel32u>, searchNeighbours<3, Zel32u>, searchNeighbours<4, Zel32u>}};

} // namespace

SubsetFit::SubsetFit(const Mode& mode, const Subset& subset, IndexBits bits, const EndPoints& endPoints)
    : mode_(mode), subset_(subset), bits_(bits), endPoints_(endPoints) {
  for (int c = 0; c < 4; ++c) update(c);
}

void SubsetFit::update(int c) {
  const auto i = static_cast<size_t>(c);
  setSquares(squares_[c], subset_.channel[c], precision(c), endPoints_[0][i], endPoints_[1][i], indexBits(c));
}

Zel32s SubsetFit::assign(int anchor, Zel8u (&colours)[16], Zel8u (&alpha)[16]) {
  const Squares* const none = &kNoSquares;
  const Squares* const s = squares_;
  const auto take = [&](const Scan& scan, int bits, Zel8u(&indices)[16], int firstChannel, int lastChannel) {
    const bool exchange = scan.index[anchor] >> (bits - 1);
    const int flipped = exchange ? (1 << bits) - 1 : 0;
    for (int p = 0; p < 16; ++p) indices[p] = static_cast<Zel8u>(scan.index[p] ^ flipped);
    for (int c = firstChannel; exchange && c <= lastChannel; ++c) {
      std::swap(endPoints_[0][static_cast<size_t>(c)], endPoints_[1][static_cast<size_t>(c)]);
      if (precision(c)) update(c);
    }
    return scan.error(subset_.count);
  };
  if (!bits_.alpha) return take(Scan({s, s + 1, s + 2, s + 3}, bits_.colours), bits_.colours, colours, 0, 3);
  return take(Scan({s, s + 1, s + 2, none}, bits_.colours), bits_.colours, colours, 0, 2) +
         take(Scan({none, none, none, s + 3}, bits_.alpha), bits_.alpha, alpha, 3, 3);
}

void SubsetFit::refine(Zel32s error) {
  const Squares* const none = &kNoSquares;
  const Squares* const s = squares_;
  const bool alphaApart = !shareIndex(0, 3); // with an index of its own, or none
  const auto alphaError = [&] {
    return alphaApart ? Scan({none, none, none, s + 3}, bits_.alpha).error(subset_.count) : 0;
  };
  Zel32s elsewhere = alphaError();
  for (Search* const(*searches)[3] : {kSearchEnds, kSearchNeighbours}) {
    for (int c = 0; c < 4 && error > 0; ++c) {
      if (precision(c) == 0) continue;
      if (c == 3 && alphaApart) elsewhere = Scan({s, s + 1, s + 2, none}, bits_.colours).error(subset_.count);
      const Squares* rest[3];
      for (int i = 0, k = 0; i < 4; ++i) {
        if (i != c) rest[k++] = shareIndex(c, i) ? s + i : none;
      }
      const Channel channel(subset_, c, rest, precision(c), indexBits(c));
      const Zel32s paid = channel.paid() + elsewhere, bound = error - paid;
      if (bound > 0) { // else nothing is lower
        Zel8u &e0 = endPoints_[0][static_cast<size_t>(c)], &e1 = endPoints_[1][static_cast<size_t>(c)];
        const bool wide = bound > std::numeric_limits<Zel16u>::max();
        const Ends found = searches[wide][indexBits(c) - 2](channel, {e0, e1, bound});
        error = paid + found.error;
        if (found.e0 != e0 || found.e1 != e1) {
          e0 = static_cast<Zel8u>(found.e0);
          e1 = static_cast<Zel8u>(found.e1);
          update(c);
        }
      }
      if (c == 3 && alphaApart) elsewhere = alphaError();
    }
  }
}

} // namespace zelj::bc7
