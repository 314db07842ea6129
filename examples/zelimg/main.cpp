// zelimg: converts images by the extensions of their names, and tells what a file holds.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "common/file.h"
#include "common/image.h"
#include "common/png_file.h"
#include "common/pnm.h"
#include "jpeg/jpeg.h"
#include "zelimg/formats.h"

namespace {

using img::Bytes;
using img::Error;
using img::fail;
using img::Image;
using zelimg::Format;
using zelimg::formatOf;

const char kHelp[] =
    R"(zelimg IN OUT [options]   converts by file extension: .png .pgm .ppm .jpg .jpeg
zelimg info FILE          tells what a file holds
zelimg --help             this text

Writing JPEG (baseline; samples of 12 bits give an extended sequential file):
  --quality Q             1 to 100; 75
  --sampling S            444, 422 or 420; 420
  --restart N             a restart marker every N MCUs; none
  --bits N                8 or 12 bits a sample; 12 for a PGM or PPM file with a
                          maximum of 256 to 4095, else 8
Reading JPEG (baseline and extended sequential Huffman, grey and colour):
  --scale 1/N             1/1, 1/2, 1/4 or 1/8 of the width and height
  --upsample U            triangle or plain (replicated) chroma; triangle
  --keep-going            makes an image of damaged data, as far as they go
Both:
  --threads N             restart intervals or block rows side by side; 1
  --max-pixels N          refuses larger images; 268435456

A .pgm file gets luminance, a .ppm file three equal channels of a grey image. An
alpha channel is dropped. Exit code: 0, 1 for files, 2 for the command line.
)";

struct Options {
  jpeg::EncodeOptions encode;
  jpeg::DecodeOptions decode;
  std::optional<int> bits;
  std::vector<std::string> names;
};

template <class T>
bool parseNumber(const std::string& text, int64_t low, int64_t high, T& number) {
  int64_t value = 0;
  const auto [end, bad] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (bad != std::errc{} || end != text.data() + text.size() || value < low || value > high) return false;
  number = static_cast<T>(value);
  return true;
}

// The position of `text` in the list, or nothing.
std::optional<int> choice(const std::string& text, std::initializer_list<const char*> list) {
  int i = 0;
  for (const char* item : list) {
    if (text == item) return i;
    ++i;
  }
  return {};
}

bool takeOption(const std::string& name, const std::string& value, Options& options) {
  if (name == "--quality") return parseNumber(value, 1, 100, options.encode.quality);
  if (name == "--restart") return parseNumber(value, 1, 65535, options.encode.restartInterval);
  if (name == "--threads") {
    return parseNumber(value, 1, 64, options.encode.threads) && parseNumber(value, 1, 64, options.decode.threads);
  }
  if (name == "--max-pixels") return parseNumber(value, 1, INT64_MAX, options.decode.maxPixels);
  if (name == "--bits") {
    options.bits = 0;
    return choice(value, {"8", "12"}) && parseNumber(value, 8, 12, *options.bits);
  }
  std::optional<int> found;
  if (name == "--sampling" && (found = choice(value, {"444", "422", "420"}))) {
    options.encode.sampling = static_cast<jpeg::Sampling>(*found);
  } else if (name == "--upsample" && (found = choice(value, {"triangle", "plain"}))) {
    options.decode.upsampling = static_cast<jpeg::Upsampling>(*found);
  } else if (name == "--scale" && (found = choice(value, {"1/1", "1/2", "1/4", "1/8"}))) {
    options.decode.scale = 1 << *found;
  }
  return found.has_value();
}

Error parseArguments(const std::vector<std::string>& arguments, Options& options) {
  const auto known = {"--quality", "--sampling", "--restart", "--bits",
                      "--scale",   "--upsample", "--threads", "--max-pixels"};
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--keep-going") {
      options.decode.keepGoing = true;
    } else if (std::find(known.begin(), known.end(), argument) != known.end()) {
      const std::string value = i + 1 < arguments.size() ? arguments[++i] : "";
      if (!takeOption(argument, value, options)) return fail("%s cannot be '%s'", argument.c_str(), value.c_str());
    } else if (argument.size() > 1 && argument[0] == '-') {
      return fail("there is no option %s", argument.c_str());
    } else {
      options.names.push_back(argument);
    }
  }
  if (options.names.size() != 2) return fail("two file names are needed");
  for (const std::string& name : options.names) {
    if (formatOf(name) == Format::unknown)
      return fail("%s: the extension must be png, pgm, ppm, jpg or jpeg", name.c_str());
  }
  return {};
}

Error info(const std::string& name) {
  Bytes file;
  if (Error error = img::readFile(name, file)) return error;
  std::string text;
  Error error;
  if (formatOf(name) == Format::jpeg) {
    error = jpeg::describe(file, text);
  } else {
    Image image;
    bool alphaDropped = false;
    const bool png = formatOf(name) == Format::png;
    error = png ? img::readPng(file, img::kDefaultMaxPixels, image, alphaDropped)
                : img::readPnm(file, img::kDefaultMaxPixels, image);
    text = std::string(png                   ? "PNG"
                       : image.channels == 1 ? "PGM"
                                             : "PPM") +
           ", " + std::to_string(image.width) + " x " + std::to_string(image.height) + ", " +
           std::to_string(image.bits) + " bits\n" + (image.channels == 1 ? "grey" : "R, G, B") +
           (alphaDropped ? " and alpha\n" : "\n");
  }
  if (error) return fail("%s: %s", name.c_str(), error.message.c_str());
  std::fputs(text.c_str(), stdout);
  return {};
}

int run(const std::vector<std::string>& arguments) {
  if (arguments.size() == 1 && (arguments[0] == "--help" || arguments[0] == "-h")) {
    std::fputs(kHelp, stdout);
    return 0;
  }
  Error error;
  if (arguments.size() == 2 && arguments[0] == "info") {
    error = info(arguments[1]);
  } else {
    Options options;
    error = parseArguments(arguments, options);
    if (error) {
      std::fprintf(stderr, "zelimg: %s (see zelimg --help)\n", error.message.c_str());
      return 2;
    }
    Image image;
    std::string remark;
    error = zelimg::readImage(options.names[0], options.decode, image, remark);
    if (!remark.empty()) std::fprintf(stderr, "zelimg: %s\n", remark.c_str());
    if (!error) error = zelimg::writeImage(options.names[1], options.encode, options.bits, image);
  }
  if (error) std::fprintf(stderr, "zelimg: %s\n", error.message.c_str());
  return error ? 1 : 0;
}

} // namespace

int main(int argc, char** argv) {
  try {
    return run({argv + 1, argv + argc});
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "zelimg: %s\n", exception.what());
    return 1;
  }
}
