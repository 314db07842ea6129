// Reproducible random numbers for tests.
#pragma once

#include <cstdint>
#include <initializer_list>

namespace zelj::test {

// SplitMix64: small, seedable by any number, the same on every machine.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}

  uint64_t bits() {
    uint64_t z = state_ += 0x9e3779b97f4a7c15u;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
  }
  // Evenly in low..high, both included.
  int in(int low, int high) {
    return low + static_cast<int>(bits() % (static_cast<uint64_t>(static_cast<int64_t>(high) - low) + 1));
  }
  // One of the values.
  int oneOf(std::initializer_list<int> values) { return values.begin()[bits() % values.size()]; }

 private:
  uint64_t state_;
};

} // namespace zelj::test
