// Whole images from and to files, for programs that look at all of them at once.
#pragma once

#include "common/image.h"
#include "formats/format.h"

namespace files {

// A file of any format, known by its content.
img::Error readImage(const std::string& path, img::Image& image, const formats::Settings& settings = {});

// A file of the format that the extension names, as near to the image as that can hold.
img::Error writeImage(const std::string& path, const img::Image& image);

} // namespace files
