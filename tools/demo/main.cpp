// zelimg_demo FOLDER [IMAGE]: encodes an image, or a rendered scene, to baseline JPEG at several qualities and to block
// textures, decodes it again, prints tables, and writes the files, pictures to compare by and pages to FOLDER.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "demo/report.h"
#include "demo/stages.h"
#include "demo/textures.h"
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

double bitsPerPixel(const Image& image, const Result& r) {
  return 8.0 * static_cast<double>(r.file.size()) / (static_cast<double>(image.width) * image.height);
}

// The qualities to look at.
std::vector<Shown> shownOf(const Image& image, const std::vector<Result>& results) {
  std::vector<Shown> shown;
  for (const Result& r : results) {
    if (std::find(std::begin(kShown), std::end(kShown), r.quality) == std::end(kShown)) continue;
    shown.push_back(
        {format("quality %d: %.2f bits/pixel, %.1f dB", r.quality, bitsPerPixel(image, r), r.psnr), &r.decoded});
  }
  return shown;
}

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

std::string page(const Image& image, const std::string& name, const Table& results, const Table& stages) {
  std::string text = pageHead("zelj: baseline JPEG, 4:2:0");
  text += format("<p>%s, %d x %d pixels, one thread, processor time, version %s of the library.</p>\n", name.c_str(),
                 image.width, image.height, zeljGetLibVersion()->versionText);
  text += html(results) + "<h2>Stages</h2>\n" + html(stages);
  text += "<h2>Original, decoded, difference</h2>\n<p>A part of the image, pixel by pixel.</p>\n";
  text +=
      "<img src=\"comparison.png\" alt=\"original, decoded and amplified difference at several qualities\">\n<p>Files:";
  for (const int quality : kQualities) text += format(" <a href=\"quality-%d.jpg\">%d</a>", quality, quality);
  return text + "</p>\n<p><a href=\"textures.html\">Block textures</a></p>\n</body></html>\n";
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

  if (Error error =
          files::writeImage(folder + "/comparison.png", makeSheet(image, shownOf(image, results), name.empty())))
    return error;
  const std::string text = page(image, title, codec, stages);
  if (Error error = files::writeFile(folder + "/index.html", Bytes(text.begin(), text.end()))) return error;
  if (Error error = makeTexturePage(folder, image, title, name.empty())) return error;
  std::printf("To look at: %s/index.html, %s/textures.html\n", folder.c_str(), folder.c_str());
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
