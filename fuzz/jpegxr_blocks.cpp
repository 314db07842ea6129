// Streams of JPEG XR symbols and fixed-length codes from anywhere: nothing outside of the blocks is written, and no
// more bytes are fetched than a block can take.
#include <cstring>
#include <vector>

#include "zelj.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2 || size > 4096) return 0;
  alignas(8) static Zel8u memory[2208];
  auto* state = reinterpret_cast<ZeliVLCState_JPEGXR*>(memory);
  zeliVLCInit_JPEGXR(state);
  for (const Zel32s which : {0, 1, 2}) zeliVLCScanReset_JPEGXR(state, which);
  // No pair takes more than 8 bytes, no block has more than 16, and a reader has up to 4 in hand.
  std::vector<Zel8u> source(data + 1, data + size);
  const size_t end = source.size();
  source.resize(end + 16 * 8 + 4);
  std::vector<Zel16s> narrow(16);
  std::vector<Zel32s> wide(16), values(16);
  Zel8u* at = source.data();
  Zel32u bits = 0, left = 0, count = 0;
  for (unsigned kind = data[0]; at < source.data() + end; kind = kind * 5 + 1) {
    const auto chroma = kind >> 3 & 1, low = kind >> 2 & 7;
    switch (kind % 8) {
      case 0:
        zeliVLCDecode4x4_JPEGXR_1u16s_C1R(&at, &bits, &left, 1, narrow.data(), 8, 1, &count, state);
        break;
      case 1:
        zeliVLCDecodeDC444_JPEGXR_1u32s(&at, &bits, &left, values.data(), chroma, &count, state);
        break;
      case 2:
        zeliVLCDecodeDC422_JPEGXR_1u32s(&at, &bits, &left, values.data(), &count, state);
        break;
      case 3:
        zeliVLCDecodeDC420_JPEGXR_1u32s(&at, &bits, &left, values.data(), &count, state);
        break;
      case 4:
        zeliFLCDecode4x4_JPEGXR_1u16s_C1IR(&at, &bits, &left, narrow.data(), 8, 1 + low, 3, chroma != 0);
        break;
      case 5:
        zeliFLCDecode4x4_JPEGXR_1u32s_C1IR(&at, &bits, &left, wide.data(), 16, 15, 1, chroma != 0);
        break;
      case 6:
        zeliVLCScanSet_JPEGXR(state, static_cast<Zel32s>(low % 3));
        [[fallthrough]];
      default:
        zeliVLCDecode4x4_JPEGXR_1u32s_C1R(&at, &bits, &left, 4, wide.data(), 16, 0, &count, state);
        break;
    }
    zeliVLCAdapt_JPEGXR(state, static_cast<Zel32s>(chroma));
  }
  return 0;
}
