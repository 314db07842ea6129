// Whole files in and out.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "common/error.h"

namespace img {

using Bytes = std::vector<uint8_t>;
using ByteSpan = std::span<const uint8_t>;

Error readFile(const std::string& path, Bytes& content);

// Writes under a temporary name in the same folder and renames: under `path` there is the old file or the whole new
// one, never a part.
Error writeFile(const std::string& path, ByteSpan content);

} // namespace img
