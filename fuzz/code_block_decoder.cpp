// Code-blocks from anywhere: whatever segments, counts and flags say, nothing may be read or written outside, and what
// is decoded in one call must be what is decoded step by step.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "zelj.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kHeader = 8;
  if (size < kHeader) return 0;
  const ZeliSize block = {data[0] % 70 + 1, data[1] % 70 + 1};
  const int subband = data[2] % 5 - 1, planes = data[3] % 34 - 1, passes = data[4];
  // The decoder's flags but those that keep what an earlier block left.
  const int flags = (data[5] & 31) | (data[6] & 1) << 16 | (data[6] & 2) << 17 | (data[6] & 4) << 18;
  const int segments = data[7] % 40;
  std::vector<Zel8u> bytes(data + kHeader, data + size); // memory of its own, so that the sanitizer sees its ends
  std::vector<int> lengths(1);
  size_t left = bytes.size();
  for (int i = 0; i < segments; ++i) {
    const size_t share = i + 1 == segments ? left : left / static_cast<size_t>(segments - i);
    lengths.push_back(static_cast<int>(share));
    left -= share;
  }
  bytes.push_back(0); // an empty vector has no address

  int stateBytes = 0;
  zeliDecodeGetBufSize_JPEG2K(block, &stateBytes);
  std::vector<Zel64u> memory((static_cast<size_t>(stateBytes) + 7) / 8);
  auto* state = reinterpret_cast<ZeliDecodeCBProgrState_JPEG2K*>(memory.data());
  const auto samples = static_cast<size_t>(block.width) * static_cast<size_t>(block.height);
  std::vector<Zel32s> whole(samples), stepped(samples);
  int errorPlane = 0;
  const ZelStatus status =
      zeliDecodeCodeBlock_JPEG2K_1u32s_C1R(bytes.data(), whole.data(), block.width * 4, block, subband, planes, passes,
                                           lengths.data() + 1, segments, flags, &errorPlane, state);
  if (segments == 0) return 0;

  zeliDecodeCBProgrInit_JPEG2K(state);
  zeliDecodeCBProgrAttach_JPEG2K_32s_C1R(stepped.data(), block.width * 4, block, state, subband, planes, flags);
  zeliDecodeCBProgrSetPassCounter_JPEG2K(passes, state);
  const Zel8u* at = bytes.data();
  ZelStatus last = zelStatusOk;
  for (size_t i = 1; i < lengths.size() && last == zelStatusOk; at += lengths[i++]) {
    last = zeliDecodeCBProgrStep_JPEG2K(at, lengths[i], state);
  }
  constexpr int kRepair = 1 << 16, kKeepMidpoints = 1 << 18;
  if (last != status) std::abort();
  if ((flags & kKeepMidpoints) && !((flags & kRepair) && status) && whole != stepped) std::abort();
  return 0;
}
