// The code for counted symbols (ITU T.81 Annex K.2), limited to 16 bits.
#include "frame/checks.h"
#include "frame/implementations.h"

namespace zelj {
namespace {

constexpr int kSymbols = 257;         // the last is reserved, so that no symbol gets the code of all ones
constexpr int kMaxCodeSize = 32;      // before it is limited
constexpr Zel32s kNever = 1000000000; // counts above are not merged

// The symbols that occur, in ascending order, as the trees of Figure K.1: of each tree the first symbol holds the sum
// of the counts, the others 0.
struct Trees {
  int count = 0;
  Zel32s frequency[kSymbols];
  int symbol[kSymbols], codeSize[kSymbols], next[kSymbols];

  explicit Trees(const Zel32s* statistics) {
    for (int s = 0; s < kSymbols; ++s) {
      const Zel32s occurrences = s < 256 ? statistics[s] : 1;
      if (occurrences == 0) continue;
      frequency[count] = occurrences;
      symbol[count] = s;
      codeSize[count] = 0;
      next[count++] = -1;
    }
  }

  // The rarest tree but one, of several the last; -1: there is none.
  int rarest(int butNot) const {
    int found = -1;
    Zel32s least = kNever;
    for (int i = 0; i < count; ++i) {
      if (frequency[i] != 0 && frequency[i] <= least && i != butNot) {
        least = frequency[i];
        found = i;
      }
    }
    return found;
  }

  void merge(int a, int b) {
    frequency[a] = static_cast<Zel32s>(static_cast<Zel32u>(frequency[a]) + static_cast<Zel32u>(frequency[b]));
    frequency[b] = 0;
    for (++codeSize[a]; next[a] >= 0; ++codeSize[a]) a = next[a];
    next[a] = b;
    for (++codeSize[b]; next[b] >= 0; ++codeSize[b]) b = next[b];
  }
};

// Moves codes of more than 16 bits up by pairs, and takes the reserved code away (Figure K.3).
void limit(int* bits) {
  for (int i = kMaxCodeSize; i > 16; --i) {
    while (bits[i] > 0) {
      int j = i - 2;
      while (bits[j] == 0) --j;
      bits[i] -= 2;
      bits[i - 1] += 1;
      bits[j + 1] += 2;
      bits[j] -= 1;
    }
  }
  int longest = 16;
  while (longest > 0 && bits[longest] == 0) --longest;
  if (longest > 0) --bits[longest];
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownEncodeHuffmanRawTableInit_JPEG_8u(const Zel32s* pStatistics, Zel8u* pListBits, Zel8u* pListVals) {
  if (!present(pStatistics, pListBits, pListVals)) return zelStatusNullPointer;
  Trees trees(pStatistics);
  for (;;) {
    const int a = trees.rarest(-1), b = trees.rarest(a);
    if (b < 0) break;
    trees.merge(a, b);
  }
  int bits[kMaxCodeSize + 1]{};
  for (int i = 0; i < trees.count; ++i) {
    if (trees.codeSize[i] > kMaxCodeSize) return zelStatusJpegHuffmanTable;
    if (trees.codeSize[i] > 0) ++bits[trees.codeSize[i]];
  }
  limit(bits);
  for (int length = 1; length <= 16; ++length) pListBits[length - 1] = static_cast<Zel8u>(bits[length]);
  // In the order of the lengths before they were limited.
  for (int length = 1; length <= kMaxCodeSize; ++length) {
    for (int i = 0; i < trees.count; ++i) {
      if (trees.codeSize[i] == length && trees.symbol[i] < 256) *pListVals++ = static_cast<Zel8u>(trees.symbol[i]);
    }
  }
  return zelStatusOk;
}
