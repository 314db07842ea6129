// What the pages of the demo are made of: tables, parts of pictures side by side, and HTML.
#pragma once

#include <string>
#include <vector>

#include "common/image.h"

namespace demo {

struct Table {
  std::vector<std::string> header;
  std::vector<std::vector<std::string>> rows;
};

void print(const Table& table); // to standard output
std::string html(const Table& table);

// The beginning of a page, up to its title.
std::string pageHead(const std::string& title);

// A part of a picture of R, G, B and 8 bits, and the difference of two, amplified around grey.
img::Image cutOut(const img::Image& image, int x, int y, int width, int height);
constexpr int kAmplification = 6;
img::Image amplifiedDifference(const img::Image& a, const img::Image& b);

// Original, decoded and difference side by side, a row for each picture: a part of the image, pixel by pixel.
struct Shown {
  std::string caption;
  const img::Image* decoded;
};
img::Image makeSheet(const img::Image& image, const std::vector<Shown>& shown, bool isScene);

} // namespace demo
