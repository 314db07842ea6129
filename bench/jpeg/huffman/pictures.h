// What the entropy coders are measured on: photographs, as files of libjpeg-turbo's. ZELJ_BENCH_IMAGES names a folder
// of PNG files to take instead of made-up pictures.
#pragma once

// clang-format off
#include <cstdio> // jpeglib.h needs it in front
#include <jpeglib.h>
// clang-format on
#include <png.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "support/random.h"

namespace zelj::bench {

constexpr int kWidth = 512, kHeight = 384;

using Picture = std::vector<uint8_t>; // RGB, kWidth x kHeight

// Noise with the spectrum of a photograph: octaves of smoothed random grids, each half as strong, and a few hard edges.
inline Picture madeUpPicture(uint64_t seed) {
  test::Random random(seed);
  std::vector<float> plane(kWidth * kHeight * 3);
  for (int cell = 128, strength = 100; cell >= 1; cell /= 2, strength = strength * 16 / 25) {
    const int columns = kWidth / cell + 2, rows = kHeight / cell + 2;
    std::vector<float> grid(static_cast<size_t>(columns * rows * 3));
    for (float& g : grid) g = static_cast<float>(random.in(-strength, strength));
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const float fx = static_cast<float>(x % cell) / static_cast<float>(cell);
        const float fy = static_cast<float>(y % cell) / static_cast<float>(cell);
        for (int c = 0; c < 3; ++c) {
          const float* g = &grid[static_cast<size_t>(((y / cell) * columns + x / cell) * 3)];
          // Half of a channel's noise is common to all three.
          const auto at = [&](int dx, int dy) {
            const float* p = g + (dy * columns + dx) * 3;
            return 0.3f * p[c] + 0.7f * p[1];
          };
          plane[static_cast<size_t>((y * kWidth + x) * 3 + c)] +=
              (at(0, 0) * (1 - fx) + at(1, 0) * fx) * (1 - fy) + (at(0, 1) * (1 - fx) + at(1, 1) * fx) * fy;
        }
      }
    }
  }
  Picture picture(plane.size());
  for (size_t i = 0; i < plane.size(); ++i) {
    const float edge = plane[i / 3 * 3 + 1] > 40 ? 50.0f : 0.0f;
    picture[i] = static_cast<uint8_t>(std::clamp(plane[i] + edge + 110.0f, 0.0f, 255.0f));
  }
  return picture;
}

// The middle of every PNG file of the folder that is large enough.
inline std::vector<Picture> readPictures(const char* folder) {
  std::vector<Picture> pictures;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, entry.path().c_str())) continue;
    image.format = PNG_FORMAT_RGB;
    const int width = static_cast<int>(image.width), height = static_cast<int>(image.height);
    Picture all(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, all.data(), 0, nullptr) || width < kWidth || height < kHeight) continue;
    Picture middle;
    for (int y = (height - kHeight) / 2, end = y + kHeight; y < end; ++y) {
      const uint8_t* row = &all[static_cast<size_t>((y * width + (width - kWidth) / 2) * 3)];
      middle.insert(middle.end(), row, row + kWidth * 3);
    }
    pictures.push_back(std::move(middle));
  }
  return pictures;
}

inline std::vector<Picture> benchPictures() {
  const char* folder = std::getenv("ZELJ_BENCH_IMAGES");
  if (folder && *folder) return readPictures(folder);
  std::vector<Picture> pictures; // several, or the processor learns the branches by heart
  for (uint64_t seed = 1; seed <= 4; ++seed) pictures.push_back(madeUpPicture(seed));
  return pictures;
}

inline std::vector<uint8_t> compress(const Picture& picture, int quality, bool progressive = false) {
  jpeg_compress_struct jpeg;
  jpeg_error_mgr errors;
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_compress(&jpeg);
  unsigned char* bytes = nullptr;
  unsigned long length = 0;
  jpeg_mem_dest(&jpeg, &bytes, &length);
  jpeg.image_width = kWidth;
  jpeg.image_height = kHeight;
  jpeg.input_components = 3;
  jpeg.in_color_space = JCS_RGB;
  jpeg_set_defaults(&jpeg);
  jpeg_set_quality(&jpeg, quality, TRUE);
  if (progressive) jpeg_simple_progression(&jpeg);
  jpeg_start_compress(&jpeg, TRUE);
  while (jpeg.next_scanline < jpeg.image_height) {
    auto* row = const_cast<uint8_t*>(&picture[jpeg.next_scanline * kWidth * 3]);
    jpeg_write_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_compress(&jpeg);
  jpeg_destroy_compress(&jpeg);
  std::vector<uint8_t> file(bytes, bytes + length);
  free(bytes);
  return file;
}

// The peer's work up to the coefficients; use(jpeg, arrays) sees them.
template <class Use>
void readCoefficients(const std::vector<uint8_t>& file, Use use) {
  jpeg_decompress_struct jpeg;
  jpeg_error_mgr errors;
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&jpeg);
  jpeg_mem_src(&jpeg, file.data(), file.size());
  jpeg_read_header(&jpeg, TRUE);
  use(jpeg, jpeg_read_coefficients(&jpeg));
  jpeg_finish_decompress(&jpeg);
  jpeg_destroy_decompress(&jpeg);
}

} // namespace zelj::bench
