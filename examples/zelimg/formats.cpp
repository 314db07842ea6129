#include "zelimg/formats.h"

#include <algorithm>
#include <cctype>

#include "common/file.h"
#include "common/png_file.h"
#include "common/pnm.h"

namespace zelimg {

using img::Bytes;
using img::fail;

Format formatOf(const std::string& name) {
  std::string extension = name.substr(std::min(name.size(), name.rfind('.')));
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (extension == ".png") return Format::png;
  if (extension == ".pgm") return Format::pgm;
  if (extension == ".ppm") return Format::ppm;
  if (extension == ".jpg" || extension == ".jpeg") return Format::jpeg;
  return Format::unknown;
}

Error readImage(const std::string& name, const jpeg::DecodeOptions& options, Image& image, std::string& remark) {
  Bytes file;
  if (Error error = img::readFile(name, file)) return error;
  Error error;
  remark.clear();
  switch (formatOf(name)) {
    case Format::png: {
      bool alphaDropped = false;
      error = img::readPng(file, options.maxPixels, image, alphaDropped);
      if (!error && alphaDropped) remark = name + ": the alpha channel is dropped";
      break;
    }
    case Format::jpeg: {
      std::string damage;
      error = jpeg::decode(file, options, image, damage);
      if (!damage.empty()) remark = name + ": warning: " + damage;
      break;
    }
    default:
      error = img::readPnm(file, options.maxPixels, image);
  }
  return error ? fail("%s: %s", name.c_str(), error.message.c_str()) : error;
}

Error writeImage(const std::string& name, const jpeg::EncodeOptions& options, std::optional<int> bits,
                 const Image& image) {
  Bytes file;
  Error error;
  switch (formatOf(name)) {
    case Format::png:
      error = img::writePng(image, file);
      break;
    case Format::jpeg:
      error = jpeg::encode(img::withBits(image, bits.value_or(image.bits == 12 ? 12 : 8)), options, file);
      break;
    default:
      img::writePnm(img::withChannels(image, formatOf(name) == Format::pgm ? 1 : 3), file);
  }
  return error ? fail("%s: %s", name.c_str(), error.message.c_str()) : img::writeFile(name, file);
}

} // namespace zelimg
