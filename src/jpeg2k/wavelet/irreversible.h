// The arithmetic of the irreversible 9/7 filter in its numeric forms. They differ by rounding and in overflow.
#pragma once

#include "jpeg2k/wavelet/lifting.h"

namespace zelj {

template <class Of, class With = Of>
struct StepTypes {
  using X = Of;
  using Neighbour = With;
};
template <class T>
struct ScaleTypes : StepTypes<T> {
  static constexpr bool kScalesOnly = true;
};

constexpr Zel32f kAlpha = -1.5861343f, kBeta = -0.052980117f, kGamma = 0.8829111f, kDelta = 0.44350687f;
constexpr Zel32f kK = 1.2301741f, kInverseK = 0.8128931f, kDeltaByK = 0.36052364f;

// Single precision.
struct Irreversible32f {
  using Value = Zel32f;
  using Types = StepTypes<Zel32f>;
  struct A : Types {
    static Zel32f apply(Zel32f x, Zel32f a, Zel32f b) { return (a + b) * kAlpha + x; }
  };
  struct B : Types {
    static Zel32f apply(Zel32f x, Zel32f a, Zel32f b) { return (a + b) * kBeta + x; }
  };
  struct C : Types {
    static Zel32f apply(Zel32f x, Zel32f a, Zel32f b) { return (a + b) * kGamma + x; }
  };
  struct Low : Types {
    static Zel32f apply(Zel32f x, Zel32f a, Zel32f b) { return ((a + b) * kDelta + x) * kInverseK; }
  };
  struct High : ScaleTypes<Zel32f> {
    static Zel32f apply(Zel32f x, Zel32f, Zel32f) { return x * kK; }
  };
  struct InverseA : Types {
    static Zel32f apply(Zel32f x, Zel32f a, Zel32f b) { return x * kK - (a + b) * kDeltaByK; }
  };
  struct InverseB : Types {
    static Zel32f apply(Zel32f x, Zel32f a, Zel32f b) { return x * kInverseK - (a + b) * kGamma; }
  };
  struct InverseC : Types {
    static Zel32f apply(Zel32f x, Zel32f a, Zel32f b) { return x + (a + b) * -kBeta; }
  };
  struct InverseD : Types {
    static Zel32f apply(Zel32f x, Zel32f a, Zel32f b) { return x + (a + b) * -kAlpha; }
  };
  using Forward = Steps<A, B, C, Low, High>;
  using Inverse = Steps<InverseA, InverseB, InverseC, InverseD>;
};

// Towards zero; above 2^31 the largest value. What no integer holds, 2^31 itself too, becomes the smallest one, as the
// processor's own conversion has it.
inline Zel32s toInteger(Zel32f v) {
  const auto converted = static_cast<Zel32s>(v);
  return v > 2147483648.0f ? 0x7fffffff : converted;
}

// Tiles of 32-bit integers: single precision inside, kept in the tile's own samples. Sums of two samples wrap before
// they are converted.
struct IrreversibleTile32s {
  using Value = Zel32s;
  using Float = Irreversible32f;
  struct A : StepTypes<Zel32s> {
    static Zel32f apply(Zel32s x, Zel32s a, Zel32s b) {
      return static_cast<Zel32f>(add(a, b)) * kAlpha + static_cast<Zel32f>(x);
    }
  };
  struct B : StepTypes<Zel32s, Zel32f> {
    static Zel32f apply(Zel32s x, Zel32f a, Zel32f b) { return Float::B::apply(static_cast<Zel32f>(x), a, b); }
  };
  struct Low : StepTypes<Zel32f> {
    static Zel32s apply(Zel32f x, Zel32f a, Zel32f b) { return toInteger(Float::Low::apply(x, a, b)); }
  };
  struct High : ScaleTypes<Zel32f> {
    static Zel32s apply(Zel32f x, Zel32f, Zel32f) { return toInteger(x * kK); }
  };
  struct InverseA : StepTypes<Zel32s> {
    static Zel32f apply(Zel32s x, Zel32s a, Zel32s b) {
      return static_cast<Zel32f>(x) * kK -
             (static_cast<Zel32f>(a) * kInverseK + static_cast<Zel32f>(b) * kInverseK) * kDelta;
    }
  };
  struct InverseB : StepTypes<Zel32s, Zel32f> {
    static Zel32f apply(Zel32s x, Zel32f a, Zel32f b) { return Float::InverseB::apply(static_cast<Zel32f>(x), a, b); }
  };
  // Results become integers as soon as no neighbour needs them any more.
  struct EvenToInteger : ScaleTypes<Zel32f> {
    static Zel32s apply(Zel32f x, Zel32f, Zel32f) { return toInteger(x); }
  };
  struct InverseD : StepTypes<Zel32f> {
    static Zel32s apply(Zel32f x, Zel32f a, Zel32f b) { return toInteger(Float::InverseD::apply(x, a, b)); }
  };
  using Forward = Steps<A, B, Float::C, Low, High>;
  using Inverse = Steps<InverseA, InverseB, Float::InverseC, InverseD, EvenToInteger>;
  using Finish = EvenToInteger;
  using ForwardOfTwo = Forward;
  using InverseOfTwo = Inverse;
  static constexpr bool kHighRunFirst = true;
};

// Tiles of 16-bit integers: 14 fraction bits, every stage wraps.
struct IrreversibleTile16s {
  using Value = Zel16s;
  using Types = StepTypes<Zel16s>;
  static Zel32s scaled(Zel32s v, Zel32s factor) { return (v * factor + 8192) >> 14; } // |v| < 2^16, |factor| < 2^15
  static Zel16s cut(Zel32s v) { return static_cast<Zel16s>(v); }

  struct A : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return cut(x + scaled(a + b, -25987)); }
  };
  struct B : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return cut(x + scaled(a + b, -868)); }
  };
  struct C : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return cut(x + scaled(a + b, 14466)); }
  };
  struct Low : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return cut(scaled(cut(x + scaled(a + b, 7266)), 13318)); }
  };
  struct High : ScaleTypes<Zel16s> {
    static Zel16s apply(Zel16s x, Zel16s, Zel16s) { return cut(scaled(x, 20155)); }
  };
  struct InverseA : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) {
      return cut(scaled(x, 20155) - scaled(cut(scaled(a, 13318)) + cut(scaled(b, 13318)), 7266));
    }
  };
  struct InverseB : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return cut(scaled(x, 13318) - scaled(a + b, 14466)); }
  };
  struct InverseC : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return cut(x - scaled(a + b, -868)); }
  };
  struct InverseD : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return cut(x - scaled(a + b, -25987)); }
  };
  using Forward = Steps<A, B, C, Low, High>;
  using Inverse = Steps<InverseA, InverseB, InverseC, InverseD>;
  using Finish = Same<Zel16s>;
  using ForwardOfTwo = Forward;
  using InverseOfTwo = Inverse;
  static constexpr bool kHighRunFirst = true;
};

// Rows and lifts of 32-bit integers: 16 fraction bits, products in 64 bits, sums wrap.
struct Irreversible32s {
  using Value = Zel32s;
  using Types = StepTypes<Zel32s>;
  static Zel32s rounded(Zel64s v) { return static_cast<Zel32s>((v + 32768) >> 16); }
  static Zel32s scaled(Zel32s v, Zel64s factor) { return rounded(v * factor); }

  struct A : Types {
    static Zel32s apply(Zel32s x, Zel32s a, Zel32s b) { return add(x, scaled(add(a, b), -103949)); }
  };
  struct B : Types {
    static Zel32s apply(Zel32s x, Zel32s a, Zel32s b) { return add(x, scaled(add(a, b), -3472)); }
  };
  struct C : Types {
    static Zel32s apply(Zel32s x, Zel32s a, Zel32s b) { return add(x, scaled(add(a, b), 57862)); }
  };
  struct Low : Types {
    static Zel32s apply(Zel32s x, Zel32s a, Zel32s b) { return rounded(x * Zel64s{53274} + add(a, b) * Zel64s{23627}); }
  };
  struct High : ScaleTypes<Zel32s> {
    static Zel32s apply(Zel32s x, Zel32s, Zel32s) { return scaled(x, 80621); }
  };
  struct InverseA : Types {
    static Zel32s apply(Zel32s x, Zel32s a, Zel32s b) { return rounded(x * Zel64s{80621} - add(a, b) * Zel64s{23627}); }
  };
  struct InverseB : Types {
    static Zel32s apply(Zel32s x, Zel32s a, Zel32s b) { return rounded(x * Zel64s{53274} - add(a, b) * Zel64s{57862}); }
  };
  struct InverseC : Types {
    static Zel32s apply(Zel32s x, Zel32s a, Zel32s b) { return subtract(x, scaled(add(a, b), -3472)); }
  };
  struct InverseD : Types {
    static Zel32s apply(Zel32s x, Zel32s a, Zel32s b) { return subtract(x, scaled(add(a, b), -103949)); }
  };
  using Forward = Steps<A, B, C, Low, High>;
  using Inverse = Steps<InverseA, InverseB, InverseC, InverseD>;
};

// Rows and lifts of 16-bit integers: 15 fraction bits, every sum saturates.
struct Irreversible16s {
  using Value = Zel16s;
  using Types = StepTypes<Zel16s>;
  static Zel16s sum(Zel16s a, Zel16s b) { return saturate16(Zel32s{a} + b); }
  static Zel16s difference(Zel16s a, Zel16s b) { return saturate16(Zel32s{a} - b); }
  static Zel16s doubled(Zel16s v) { return sum(v, v); }
  static Zel16s scaled(Zel16s v, Zel32s factor) { return static_cast<Zel16s>((v * factor + 16384) >> 15); }

  struct A : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return sum(scaled(doubled(sum(a, b)), -25987), x); }
  };
  struct B : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return sum(scaled(sum(a, b), -1736), x); }
  };
  struct C : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return sum(scaled(sum(a, b), 28931), x); }
  };
  struct Low : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) {
      return sum(static_cast<Zel16s>(scaled(sum(a, b), 23627) >> 1), scaled(x, 26637));
    }
  };
  struct High : ScaleTypes<Zel16s> {
    static Zel16s apply(Zel16s x, Zel16s, Zel16s) { return scaled(doubled(x), 20155); }
  };
  struct InverseA : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) {
      return difference(scaled(doubled(x), 20155), static_cast<Zel16s>(scaled(sum(a, b), 23627) >> 1));
    }
  };
  struct InverseB : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return difference(scaled(x, 26637), scaled(sum(a, b), 28931)); }
  };
  struct InverseC : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return sum(scaled(sum(a, b), 1736), x); }
  };
  struct InverseD : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return sum(scaled(doubled(sum(a, b)), 25987), x); }
  };
  using Forward = Steps<A, B, C, Low, High>;
  using Inverse = Steps<InverseA, InverseB, InverseC, InverseD>;
};

// The first and last outputs of a 16-bit forward row: exact sums, 16 fraction bits, cut to 16 bits behind each stage.
struct Irreversible16sEdges {
  using Types = StepTypes<Zel16s>;
  static Zel64s rounded(Zel64s v) { return (v + 32768) >> 16; }

  struct A : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return saturate16(x + rounded((a + b) * Zel64s{-103949})); }
  };
  struct B : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return saturate16(x + rounded((a + b) * Zel64s{-3472})); }
  };
  struct C : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) { return saturate16(x + rounded((a + b) * Zel64s{57862})); }
  };
  struct FirstLow : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) {
      return saturate16(rounded((a + b) * Zel64s{23627} + x * Zel64s{53274}));
    }
  };
  struct LastLow : Types {
    static Zel16s apply(Zel16s x, Zel16s a, Zel16s b) {
      return static_cast<Zel16s>(rounded(saturate16(x + rounded((a + b) * Zel64s{29066})) * Zel64s{53274}));
    }
  };
  struct High : ScaleTypes<Zel16s> {
    static Zel16s apply(Zel16s x, Zel16s, Zel16s) { return saturate16(rounded(x * Zel64s{80621})); }
  };
};

} // namespace zelj
