// For loops in which the order of operations decides how many instructions there are.
#pragma once

namespace zelj {

// The same value, of which the compiler no longer knows how it came about.
template <class T>
[[gnu::always_inline]] inline T opaque(T x) {
  asm("" : "+r"(x));
  return x;
}

} // namespace zelj
