#include "support/picture.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "files/image_file.h"
#include "scene/scene.h"

namespace zelj::bench {
namespace {

// Photographs in rows of three, as they come by name, lying ones only, repeated until the square is full.
img::Image mosaic(const char* folder) {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  std::vector<img::Image> photographs;
  for (const auto& path : paths) {
    img::Image image;
    if (files::readImage(path, image)) continue;
    if (image.channels() == 3 && image.bits == 8 && image.width == 768 && image.height == 512)
      photographs.push_back(image);
  }
  img::Image result;
  if (photographs.empty()) return result;
  img::shape(result, kPictureSize, kPictureSize, 3, 8);
  for (int y = 0; y < kPictureSize; ++y) {
    for (int x = 0; x < kPictureSize; x += 768) {
      const size_t tile = static_cast<size_t>(y / 512 * 3 + x / 768);
      const uint8_t* from = photographs[tile % photographs.size()].row<uint8_t>(y % 512);
      std::copy_n(from, 3 * std::min(768, kPictureSize - x), result.row<uint8_t>(y) + 3 * x);
    }
  }
  return result;
}

} // namespace

const img::Image& picture() {
  static const img::Image image = [] {
    const char* folder = std::getenv("ZELJ_BENCH_IMAGES");
    img::Image photographs = folder ? mosaic(folder) : img::Image{};
    return photographs.bytes.empty() ? img::renderScene(kPictureSize, kPictureSize) : photographs;
  }();
  return image;
}

} // namespace zelj::bench
