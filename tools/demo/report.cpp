#include "demo/report.h"

#include <algorithm>
#include <cstdio>

#include "demo/sheet.h"

namespace demo {

using img::format;
using img::Image;

Image cutOut(const Image& image, int x, int y, int width, int height) {
  Image part;
  img::shape(part, width, height, 3, 8);
  for (int line = 0; line < height; ++line) {
    std::copy_n(image.row<uint8_t>(y + line) + 3 * x, 3 * width, part.row<uint8_t>(line));
  }
  return part;
}

Image amplifiedDifference(const Image& a, const Image& b) {
  Image difference = a;
  for (size_t i = 0; i < a.bytes.size(); ++i) {
    difference.bytes[i] = static_cast<uint8_t>(std::clamp(128 + kAmplification * (b.bytes[i] - a.bytes[i]), 0, 255));
  }
  return difference;
}

Image makeSheet(const Image& image, const std::vector<Shown>& shown, bool isScene) {
  constexpr int kGap = 12, kTop = 40, kCaption = 28;
  const int width = std::min(image.width, 640), height = std::min(image.height, 360);
  // Of the scene, the part with a ball, hills, grass and the board.
  const int x = isScene ? 345 : (image.width - width) / 2, y = isScene ? 610 : (image.height - height) / 2;
  const int rows = static_cast<int>(shown.size());
  Sheet sheet(3 * width + 4 * kGap, kTop + rows * (height + kCaption + kGap));
  const Image original = cutOut(image, x, y, width, height);
  const std::string titles[] = {"original", "decoded", format("difference, %d times", kAmplification)};
  for (int i = 0; i < 3; ++i) sheet.write(kGap + i * (width + kGap), kGap, titles[i]);
  int top = kTop;
  for (const Shown& s : shown) {
    sheet.write(kGap, top, s.caption, true);
    const Image decoded = cutOut(*s.decoded, x, y, width, height);
    sheet.place(kGap, top + kCaption - 8, original);
    sheet.place(2 * kGap + width, top + kCaption - 8, decoded);
    sheet.place(3 * kGap + 2 * width, top + kCaption - 8, amplifiedDifference(original, decoded));
    top += height + kCaption + kGap;
  }
  return sheet.image();
}

void print(const Table& table) {
  std::vector<size_t> widths;
  for (size_t c = 0; c < table.header.size(); ++c) {
    widths.push_back(table.header[c].size());
    for (const auto& row : table.rows) widths[c] = std::max(widths[c], row[c].size());
  }
  const auto printRow = [&](const std::vector<std::string>& row) {
    for (size_t c = 0; c < row.size(); ++c) {
      // Words to the left, numbers to the right.
      const int width = static_cast<int>(widths[c]);
      std::printf("%*s%s", c == 0 && widths[0] > 12 ? -width : width, row[c].c_str(), c + 1 < row.size() ? "  " : "\n");
    }
  };
  printRow(table.header);
  for (const auto& row : table.rows) printRow(row);
  std::printf("\n");
}

std::string html(const Table& table) {
  std::string text = "<table>\n<tr>";
  for (const auto& cell : table.header) text.append("<th>").append(cell).append("</th>");
  text += "</tr>\n";
  for (const auto& row : table.rows) {
    text += "<tr>";
    for (const auto& cell : row) text.append("<td>").append(cell).append("</td>");
    text += "</tr>\n";
  }
  return text + "</table>\n";
}

std::string pageHead(const std::string& title) {
  return "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>" + title + R"(</title>
<style>
body { background: #181a1f; color: #e3e5e8; font: 16px/1.5 system-ui, sans-serif; margin: 2rem auto; max-width: 1968px; padding: 0 1rem; }
h1 { font-size: 1.5rem; } h2 { font-size: 1.15rem; margin-top: 2rem; } p { color: #a9aeb6; }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; }
th, td { padding: .25rem .9rem; text-align: right; border-bottom: 1px solid #33373f; } th { color: #a9aeb6; font-weight: 600; }
td:first-child, th:first-child { text-align: left; } img { max-width: 100%; } a { color: #8ab4f8; }
</style></head><body>
<h1>)" + title +
         "</h1>\n";
}

} // namespace demo
