// zelimg_demo FOLDER [IMAGE]: encodes an image, or a rendered scene, to baseline JPEG at several qualities, decodes it
// again, prints a table, and writes the JPEG files, a picture to compare by and an index.html to FOLDER.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "demo/sheet.h"
#include "demo/stages.h"
#include "files/image_file.h"
#include "files/output.h"
#include "jpeg/jpeg.h"
#include "scene/scene.h"
#include "zelj.h"

namespace demo {
namespace {

using img::Bytes;
using img::Error;
using img::format;
using img::Image;

constexpr int kQualities[] = {10, 25, 50, 75, 90, 95};
constexpr int kShown[] = {10, 50, 90}; // in the picture
constexpr int kAmplification = 6;

struct Result {
  int quality;
  Bytes file;
  Image decoded;
  double psnr, encodeSeconds, decodeSeconds;
};

Error runCodec(const Image& image, int quality, Result& result) {
  jpeg::EncodeOptions options;
  options.quality = quality;
  Error error;
  std::string damage;
  result.quality = quality;
  result.encodeSeconds = leastTime([&] { error = jpeg::encode(image, options, result.file); });
  if (error) return error;
  result.decodeSeconds = leastTime([&] { error = jpeg::decode(result.file, {}, result.decoded, damage); });
  if (!error) result.psnr = img::psnr(image, result.decoded);
  return error;
}

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

double bitsPerPixel(const Image& image, const Result& r) {
  return 8.0 * static_cast<double>(r.file.size()) / (static_cast<double>(image.width) * image.height);
}

// Original, decoded and difference side by side, a row for each shown quality: a part of the image, pixel by pixel.
Image makeSheet(const Image& image, const std::vector<Result>& results, bool isScene) {
  constexpr int kGap = 12, kTop = 40, kCaption = 28;
  const int width = std::min(image.width, 640), height = std::min(image.height, 360);
  // Of the scene, the part with a ball, hills, grass and the board.
  const int x = isScene ? 345 : (image.width - width) / 2, y = isScene ? 610 : (image.height - height) / 2;
  const int rows = static_cast<int>(std::size(kShown));
  Sheet sheet(3 * width + 4 * kGap, kTop + rows * (height + kCaption + kGap));
  const Image original = cutOut(image, x, y, width, height);
  const std::string titles[] = {"original", "decoded", format("difference, %d times", kAmplification)};
  for (int i = 0; i < 3; ++i) sheet.write(kGap + i * (width + kGap), kGap, titles[i]);
  int top = kTop;
  for (const Result& r : results) {
    if (std::find(std::begin(kShown), std::end(kShown), r.quality) == std::end(kShown)) continue;
    sheet.write(kGap, top, format("quality %d: %.2f bits/pixel, %.1f dB", r.quality, bitsPerPixel(image, r), r.psnr),
                true);
    const Image decoded = cutOut(r.decoded, x, y, width, height);
    sheet.place(kGap, top + kCaption - 8, original);
    sheet.place(2 * kGap + width, top + kCaption - 8, decoded);
    sheet.place(3 * kGap + 2 * width, top + kCaption - 8, amplifiedDifference(original, decoded));
    top += height + kCaption + kGap;
  }
  return sheet.image();
}

struct Table {
  std::vector<std::string> header;
  std::vector<std::vector<std::string>> rows;
};

Table resultTable(const Image& image, const std::vector<Result>& results) {
  const double megapixels = static_cast<double>(image.width) * image.height / 1e6;
  Table table{{"quality", "bytes", "bits/pixel", "PSNR dB", "encode ms", "Mpx/s", "decode ms", "Mpx/s"}, {}};
  for (const Result& r : results) {
    table.rows.push_back({format("%d", r.quality), format("%zu", r.file.size()), format("%.2f", bitsPerPixel(image, r)),
                          format("%.2f", r.psnr), format("%.2f", r.encodeSeconds * 1e3),
                          format("%.0f", megapixels / r.encodeSeconds), format("%.2f", r.decodeSeconds * 1e3),
                          format("%.0f", megapixels / r.decodeSeconds)});
  }
  return table;
}

Table stageTable(const Image& image) {
  const double megapixels = static_cast<double>(image.width) * image.height / 1e6;
  Table table{{"stage, quality 75", "ms", "Mpx/s"}, {}};
  for (const Stage& stage : timeStages(image, 75)) {
    table.rows.push_back({stage.name, format("%.2f", stage.seconds * 1e3), format("%.0f", megapixels / stage.seconds)});
  }
  return table;
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

std::string page(const Image& image, const std::string& name, const Table& results, const Table& stages) {
  std::string text = R"(<!doctype html>
<html lang="en"><head><meta charset="utf-8"><title>zelj: baseline JPEG</title>
<style>
body { background: #181a1f; color: #e3e5e8; font: 16px/1.5 system-ui, sans-serif; margin: 2rem auto; max-width: 1968px; padding: 0 1rem; }
h1 { font-size: 1.5rem; } h2 { font-size: 1.15rem; margin-top: 2rem; } p { color: #a9aeb6; }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; }
th, td { padding: .25rem .9rem; text-align: right; border-bottom: 1px solid #33373f; } th { color: #a9aeb6; font-weight: 600; }
td:first-child, th:first-child { text-align: left; } img { max-width: 100%; } a { color: #8ab4f8; }
</style></head><body>
<h1>zelj: baseline JPEG, 4:2:0</h1>
)";
  text += format("<p>%s, %d x %d pixels, one thread, processor time, version %s of the library.</p>\n", name.c_str(),
                 image.width, image.height, zeljGetLibVersion()->versionText);
  text += html(results) + "<h2>Stages</h2>\n" + html(stages);
  text += "<h2>Original, decoded, difference</h2>\n<p>A part of the image, pixel by pixel.</p>\n";
  text +=
      "<img src=\"comparison.png\" alt=\"original, decoded and amplified difference at several qualities\">\n<p>Files:";
  for (const int quality : kQualities) text += format(" <a href=\"quality-%d.jpg\">%d</a>", quality, quality);
  return text + "</p>\n</body></html>\n";
}

Error run(const std::string& folder, const std::string& name) {
  Image image;
  if (name.empty())
    image = img::renderScene(1536, 1024);
  else if (Error error = files::readImage(name, image))
    return error;
  image = img::withChannels(img::withBits(image, 8), 3);

  std::vector<Result> results(std::size(kQualities));
  for (size_t i = 0; i < results.size(); ++i) {
    if (Error error = runCodec(image, kQualities[i], results[i])) return error;
    const std::string file = folder + format("/quality-%d.jpg", kQualities[i]);
    if (Error error = files::writeFile(file, results[i].file)) return error;
  }
  const Table codec = resultTable(image, results), stages = stageTable(image);
  const std::string title = name.empty() ? "A rendered scene" : name.substr(name.rfind('/') + 1);
  std::printf("%s, %d x %d, 4:2:0, one thread, processor time\n\n", title.c_str(), image.width, image.height);
  print(codec);
  print(stages);

  if (Error error = files::writeImage(folder + "/comparison.png", makeSheet(image, results, name.empty())))
    return error;
  const std::string text = page(image, title, codec, stages);
  if (Error error = files::writeFile(folder + "/index.html", Bytes(text.begin(), text.end()))) return error;
  std::printf("To look at: %s/comparison.png, %s/index.html\n", folder.c_str(), folder.c_str());
  return {};
}

} // namespace
} // namespace demo

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr, "zelimg_demo FOLDER [IMAGE]\n");
    return 2;
  }
  try {
    const img::Error error = demo::run(argv[1], argc > 2 ? argv[2] : "");
    if (error) std::fprintf(stderr, "zelimg_demo: %s\n", error.message.c_str());
    return error ? 1 : 0;
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "zelimg_demo: %s\n", exception.what());
    return 1;
  }
}
