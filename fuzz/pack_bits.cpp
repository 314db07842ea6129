// PackBits streams from anywhere, unpacked and packed again: nothing outside is touched, and the row comes back.
#include <cstdlib>
#include <vector>

#include "zelj.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  // Memory of its own, so that the sanitizer sees every byte outside; a run may begin with the last of them.
  const std::vector<Zel8u> source(data + 1, data + size);
  std::vector<Zel8u> row(size_t{data[0]} * 8 + 1, 0);
  const auto length = static_cast<Zel32s>(row.size());
  Zel32s position = 0;
  zeliUnpackBitsRow_TIFF_8u_C1(source.data(), &position, static_cast<Zel32s>(source.size()) - 1, row.data(), length);

  // What was unpacked, and the bytes themselves, into no more memory than they can take, and into more.
  for (const std::vector<Zel8u>& from : {row, source}) {
    const auto bytes = static_cast<Zel32s>(from.size());
    for (const size_t room : {size_t{0}, size_t{1024}}) {
      std::vector<Zel8u> packed(from.size() + (from.size() + 127) / 128 + room), back(from.size());
      Zel32s end = 0, at = 0;
      if (zeliPackBitsRow_TIFF_8u_C1(from.data(), bytes, packed.data(), &end, static_cast<Zel32s>(packed.size())) ||
          zeliUnpackBitsRow_TIFF_8u_C1(packed.data(), &at, end, back.data(), bytes) || at != end || back != from)
        std::abort();
    }
  }
  return 0;
}
