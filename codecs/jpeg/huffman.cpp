#include "jpeg/huffman.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <vector>

namespace jpeg {
namespace {

int category(int value) {
  return static_cast<int>(std::bit_width(static_cast<unsigned>(std::abs(value))));
}

// Lengths of the codes of 257 symbols (figures K.1 and K.2): the two rarest groups of symbols are joined, which makes
// all their codes one bit longer, until one group is left. The last symbol stands for the code of ones only, which must
// not be used.
void findCodeLengths(const SymbolCounts& counts, int lengths[257]) {
  struct Group {
    uint64_t count;
    std::vector<int> symbols;
  };
  std::vector<Group> groups = {{1, {256}}};
  for (int symbol = 255; symbol >= 0; --symbol) {
    if (counts.count[symbol]) groups.push_back({counts.count[symbol], {symbol}});
  }
  // A least count in front of its equals: of two equally rare groups the one with the reserved symbol gets the long
  // code.
  const auto rarer = [](const Group& a, const Group& b) { return a.count < b.count; };
  while (groups.size() > 1) {
    std::stable_sort(groups.begin(), groups.end(), rarer);
    Group joined = std::move(groups[0]);
    joined.count += groups[1].count;
    joined.symbols.insert(joined.symbols.end(), groups[1].symbols.begin(), groups[1].symbols.end());
    for (const int symbol : joined.symbols) ++lengths[symbol];
    groups.erase(groups.begin());
    groups[0] = std::move(joined);
  }
}

// Codes longer than 16 bits are taken in pairs (figure K.3): one of the pair goes to the place of their common prefix,
// and the other becomes the sibling of a shorter code. Then the reserved code, one of the longest, is taken out.
void limitTo16Bits(int codesOfLength[258]) {
  for (int length = 257; length > 16; --length) {
    while (codesOfLength[length] > 0) {
      int shorter = length - 2;
      while (codesOfLength[shorter] == 0) --shorter;
      codesOfLength[length] -= 2;
      codesOfLength[length - 1] += 1;
      codesOfLength[shorter + 1] += 2;
      codesOfLength[shorter] -= 1;
    }
  }
  int longest = 16;
  while (longest > 0 && codesOfLength[longest] == 0) --longest;
  if (longest > 0) --codesOfLength[longest];
}

} // namespace

Zel16s countSymbols(const Zel16s* block, Zel16s lastDc, SymbolCounts& dc, SymbolCounts& ac) {
  ++dc.count[category(block[0] - lastDc)];
  int run = 0;
  for (int k = 1; k < 64; ++k) {
    const int value = block[kNaturalOrder[k]];
    if (value == 0) {
      ++run;
      continue;
    }
    for (; run > 15; run -= 16) ++ac.count[0xF0];
    ++ac.count[run * 16 + category(value)];
    run = 0;
  }
  if (run > 0) ++ac.count[0x00];
  return block[0];
}

HuffmanList optimalList(const SymbolCounts& counts) {
  int lengths[257] = {}, codesOfLength[258] = {};
  findCodeLengths(counts, lengths);
  for (const int length : lengths) ++codesOfLength[length];
  codesOfLength[0] = 0;
  limitTo16Bits(codesOfLength);

  HuffmanList list{};
  for (int length = 1; length <= 16; ++length) list.bits[length - 1] = static_cast<uint8_t>(codesOfLength[length]);
  uint8_t* value = list.values;
  for (int length = 1; length <= 257; ++length) { // the frequent symbols first (figure K.4)
    for (int symbol = 0; symbol < 256; ++symbol) {
      if (lengths[symbol] == length) *value++ = static_cast<uint8_t>(symbol);
    }
  }
  return list;
}

} // namespace jpeg
