// The coding styles of a block as the flags of both exports have them, and the flags that only one side has.
#pragma once

namespace zelj {

constexpr int kCausal = 1, kBypass = 2, kTerminateAll = 4, kReset = 8, kSegmentation = 16;
constexpr int kExactLowestPlane = 32; // encoder
constexpr int kRepair = 0x10000, kKeepDestination = 0x20000, kKeepMidpoints = 0x40000, kKeepFlags = 0x80000,
              kPredictable = 0x100000; // decoder

} // namespace zelj
