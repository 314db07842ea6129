// Image files of all formats, by the extensions of their names.
#pragma once

#include <optional>
#include <string>

#include "common/image.h"
#include "jpeg/jpeg.h"

namespace zelimg {

using img::Error;
using img::Image;

enum class Format { png, pgm, ppm, jpeg, unknown };

Format formatOf(const std::string& name);

// `remark` gets what the user should know of a file that was read nevertheless.
Error readImage(const std::string& name, const jpeg::DecodeOptions& options, Image& image, std::string& remark);

// `bits` of a sample are for JPEG files; without them, the image decides.
Error writeImage(const std::string& name, const jpeg::EncodeOptions& options, std::optional<int> bits,
                 const Image& image);

} // namespace zelimg
