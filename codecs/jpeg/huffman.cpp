#include "jpeg/huffman.h"

#include <algorithm>
#include <numeric>

namespace jpeg {

HuffmanList optimalList(const SymbolCounts& counts) {
  // The library's limits for sums of counts and for the lengths of codes are far off, but a picture can be made that
  // reaches them: then smaller counts in the same proportion do.
  constexpr uint64_t kLargestSum = 900000000;
  SymbolCounts used = counts;
  HuffmanList list{};
  for (;;) {
    const uint64_t sum = std::accumulate(std::begin(used.count), std::end(used.count), uint64_t{0});
    if (sum <= kLargestSum && zeliEncodeHuffmanRawTableInit_JPEG_8u(reinterpret_cast<const Zel32s*>(used.count),
                                                                    list.bits, list.values) == zelStatusOk) {
      return list;
    }
    for (uint32_t& count : used.count) count = (count + 1) / 2;
  }
}

} // namespace jpeg
