// How far two pictures are from each other.
#pragma once

#include "zelimg/arguments.h"

namespace zelimg {

// Tells on standard output what each channel's PSNR is, and the largest difference and where; arguments.diff names a
// file for the picture of the differences. Returns the exit code.
int compare(const std::string& first, const std::string& second, const Arguments& arguments);

} // namespace zelimg
