// stb_dxt, whose code is in its header.
#pragma once

#include <cstring>

#define STB_DXT_IMPLEMENTATION
#define STB_DXT_STATIC
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#pragma GCC diagnostic ignored "-Wunused-function"
#include <stb/stb_dxt.h>
#pragma GCC diagnostic pop
