// Encoded data in memory.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace img {

using Bytes = std::vector<uint8_t>;
using ByteSpan = std::span<const uint8_t>;

} // namespace img
