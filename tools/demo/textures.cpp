#include "demo/textures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "demo/report.h"
#include "demo/stages.h"
#include "files/image_file.h"
#include "files/output.h"
#include "texture/texture.h"
#include "zelj.h"

namespace demo {
namespace {

using img::Bytes;
using img::Error;
using img::format;
using img::Image;
using texture::Effort;
using texture::Target;

// The search for BC7 takes its time: a part of the picture is enough.
constexpr int kSide = 512;

const struct Kind {
  const char *name, *file;
  Target target;
  Effort effort;
  bool shown; // in the picture
} kKinds[] = {
    {"BC1, DXT1", "bc1", Target::bc1, Effort::normal, true},
    {"BC2, DXT3", "bc2", Target::bc2, Effort::normal, false},
    {"BC3, DXT5", "bc3", Target::bc3, Effort::normal, false},
    {"BC3, YCoCg", "ycocg", Target::yCoCg, Effort::normal, true},
    {"BC4, luminance", "bc4", Target::bc4, Effort::normal, false},
    {"BC5, red and green", "bc5", Target::bc5, Effort::normal, false},
    {"BC7, fast", "bc7-fast", Target::bc7, Effort::fast, true},
    {"BC7, normal", "bc7-normal", Target::bc7, Effort::normal, true},
    {"BC7, best", "bc7-best", Target::bc7, Effort::best, false},
};

struct Result {
  Bytes file;
  Image decoded; // R, G, B
  double psnr = 0, bitsPerPixel = 0, encodeSeconds = 0, decodeSeconds = 0;
};

// Of the channels that the format keeps.
double psnrOf(Target target, const Image& image, const Image& decoded) {
  if (target == Target::bc4) return img::psnr(img::withChannels(image, 1), decoded);
  Image kept = image;
  if (target == Target::bc5) {
    for (size_t i = 2; i < kept.bytes.size(); i += 3) kept.bytes[i] = 0;
    return img::psnr(kept, decoded) - 10 * std::log10(1.5); // two channels of three
  }
  return img::psnr(image, decoded);
}

Error run(const Image& image, const Kind& kind, Result& result) {
  texture::EncodeOptions options;
  options.target = kind.target;
  options.effort = kind.effort;
  const Image source = kind.target == Target::bc4 ? img::withChannels(image, 1) : image;
  Error error;
  const auto encode = [&] {
    result.file.clear();
    img::MemorySink sink(result.file);
    std::unique_ptr<img::RowWriter> writer;
    error = texture::openWriter(sink, texture::Container::dds, source, options, writer);
    if (!error) error = img::writeAll(source, *writer);
  };
  Image decoded;
  const auto decode = [&] {
    img::ByteSource bytes{img::ByteSpan(result.file)};
    std::unique_ptr<img::RowReader> reader;
    error = texture::openReader(bytes, texture::Container::dds, {}, reader);
    if (!error) error = img::readAll(*reader, decoded);
  };
  result.encodeSeconds = leastTime(encode);
  if (!error) result.decodeSeconds = leastTime(decode);
  if (error) return error;
  const double pixels = static_cast<double>(image.width) * image.height;
  result.bitsPerPixel = 8 * static_cast<double>(result.file.size()) / pixels;
  const Image plain = kind.target == Target::bc4 || decoded.channels() == 3 ? decoded : img::withChannels(decoded, 3);
  result.psnr = psnrOf(kind.target, image, plain);
  result.decoded = img::withChannels(plain, 3);
  return {};
}

} // namespace

Error makeTexturePage(const std::string& folder, const Image& image, const std::string& title, bool isScene) {
  const int width = std::min(kSide, image.width), height = std::min(kSide, image.height);
  const Image part = cutOut(image, isScene ? 345 : (image.width - width) / 2,
                            isScene ? image.height - height : (image.height - height) / 2, width, height);
  Table table{{"format", "bits/pixel", "PSNR dB", "encode ms", "Mpx/s", "decode ms", "Mpx/s"}, {}};
  std::vector<Result> results(std::size(kKinds));
  std::vector<Shown> shown;
  const double megapixels = static_cast<double>(part.width) * part.height / 1e6;
  for (size_t i = 0; i < results.size(); ++i) {
    const Kind& kind = kKinds[i];
    Result& r = results[i];
    if (Error error = run(part, kind, r)) return error;
    if (Error error = files::writeFile(folder + format("/%s.dds", kind.file), r.file)) return error;
    table.rows.push_back({kind.name, format("%.2f", r.bitsPerPixel), format("%.2f", r.psnr),
                          format("%.2f", r.encodeSeconds * 1e3), format("%.1f", megapixels / r.encodeSeconds),
                          format("%.2f", r.decodeSeconds * 1e3), format("%.0f", megapixels / r.decodeSeconds)});
    if (kind.shown) {
      shown.push_back({format("%s: %.0f bits/pixel, %.1f dB", kind.name, r.bitsPerPixel, r.psnr), &r.decoded});
    }
  }
  std::printf("Block textures, %d x %d of it\n\n", part.width, part.height);
  print(table);
  if (Error error = files::writeImage(folder + "/textures.png", makeSheet(part, shown, false))) return error;
  std::string text = pageHead("zelj: block textures");
  text += format(
      "<p>%s, %d x %d pixels of it, one thread, processor time, files in memory, version %s of the library.</p>\n",
      title.c_str(), part.width, part.height, zeljGetLibVersion()->versionText);
  text += html(table) + "<h2>Original, decoded, difference</h2>\n<p>A part of the image, pixel by pixel.</p>\n";
  text += "<img src=\"textures.png\" alt=\"original, decoded and amplified difference in several formats\">\n<p>Files:";
  for (const Kind& kind : kKinds) text += format(" <a href=\"%s.dds\">%s</a>", kind.file, kind.name);
  text += "</p>\n<p><a href=\"index.html\">Baseline JPEG</a></p>\n</body></html>\n";
  return files::writeFile(folder + "/textures.html", Bytes(text.begin(), text.end()));
}

} // namespace demo
