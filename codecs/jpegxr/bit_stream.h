// The caller's cells of the library's coders, and the codec's own bits among theirs: fields, and symbols of its own
// adaptive alphabets.
#pragma once

#include <array>

#include "zelj.h"

namespace jpegxr {

struct BitStream {
  Zel8u* at = nullptr;
  Zel32u bits = 0, count = 0;

  // Up to 16 bits. Reading needs bytes behind the end of the data.
  Zel32u get(Zel32u n) {
    fetch();
    if (n == 0) return 0;
    const Zel32u value = bits >> (32 - n);
    skip(n);
    return value;
  }
  Zel32u peek(Zel32u n) {
    fetch();
    return bits >> (32 - n);
  }
  void skip(Zel32u n) {
    bits <<= n;
    count -= n;
  }

  void put(Zel32u value, Zel32u n) {
    store();
    if (n > 0) bits |= (value & ((1u << n) - 1)) << (32 - count - n);
    count += n;
    store();
  }

 private:
  void fetch() {
    if (count >= 16) return;
    bits |= (Zel32u{at[0]} << 8 | at[1]) << (16 - count);
    at += 2;
    count += 16;
  }
  void store() {
    if (count <= 16) return;
    at[0] = static_cast<Zel8u>(bits >> 24);
    at[1] = static_cast<Zel8u>(bits >> 16);
    at += 2;
    bits <<= 16;
    count -= 16;
  }
};

struct Code {
  Zel8u code, length;
};

// A prefix code with its look-up table by the next seven bits.
template <int kSymbols>
struct Codes {
  Code code[kSymbols];
  Zel8u symbolOf[128]{};

  constexpr explicit Codes(const std::array<Code, kSymbols>& list) : code{} {
    for (int s = 0; s < kSymbols; ++s) {
      code[s] = list[static_cast<size_t>(s)];
      const int spare = 7 - code[s].length;
      for (int i = 0; i < 1 << spare; ++i) symbolOf[(code[s].code << spare) + i] = static_cast<Zel8u>(s);
    }
  }

  int get(BitStream& stream) const {
    const int symbol = symbolOf[stream.peek(7)];
    stream.skip(code[symbol].length);
    return symbol;
  }
  void put(BitStream& stream, int symbol) const { stream.put(code[symbol].code, code[symbol].length); }
};

// Two codes of which the statistics choose one.
template <int kSymbols>
struct AlphabetTables {
  Codes<kSymbols> codes[2];
  Zel8s delta[kSymbols];
};

template <int kSymbols>
class Alphabet {
 public:
  explicit Alphabet(const AlphabetTables<kSymbols>& tables) : tables_(&tables) {}

  int get(BitStream& stream) {
    const int symbol = tables_->codes[table_].get(stream);
    score_ += tables_->delta[symbol];
    return symbol;
  }
  void put(BitStream& stream, int symbol) {
    tables_->codes[table_].put(stream, symbol);
    score_ += tables_->delta[symbol];
  }
  void adapt() {
    if (table_ == 0 ? score_ > 8 : score_ < -8) {
      table_ = 1 - table_;
      score_ = 0;
    }
    score_ = score_ < -64 ? -64 : score_ > 64 ? 64 : score_;
  }

 private:
  const AlphabetTables<kSymbols>* tables_;
  int table_ = 0, score_ = 0;
};

} // namespace jpegxr
