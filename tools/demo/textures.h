// The demo's page of block textures.
#pragma once

#include <string>

#include "common/image.h"

namespace demo {

// One picture through all formats: prints a table, and writes the files, a picture to compare by and textures.html.
img::Error makeTexturePage(const std::string& folder, const img::Image& image, const std::string& title, bool isScene);

} // namespace demo
