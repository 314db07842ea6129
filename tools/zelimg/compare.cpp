#include "zelimg/compare.h"

#include <cmath>
#include <cstdlib>

#include "common/image.h"
#include "files/image_file.h"
#include "zelimg/convert.h"

namespace zelimg {
namespace {

using img::Image;

int sampleAt(const Image& image, int y, size_t i) {
  return image.sampleBytes() == 1 ? image.row<uint8_t>(y)[i] : image.row<uint16_t>(y)[i];
}

const char* channelName(const Image& image, int channel) {
  if (image.alpha && channel == image.channels() - 1) return "alpha";
  const auto of = [=](auto... names) {
    const char* const all[] = {names...};
    return all[channel];
  };
  if (image.colour == img::Colour::grey) return "grey";
  return image.colour == img::Colour::rgb ? of("red", "green", "blue") : of("cyan", "magenta", "yellow", "black");
}

// Makes the kinds of pictures the same where that needs no judgement.
Error makeAlike(Image& a, Image& b) {
  if (a.width != b.width || a.height != b.height) {
    return fail("the pictures differ in size: %d x %d and %d x %d", a.width, a.height, b.width, b.height);
  }
  if (a.bits > 16 || b.bits > 16) return fail("pictures of floating point cannot be compared");
  if (a.bits != b.bits) {
    const int bits = std::max(a.bits, b.bits);
    a = img::withBits(a, bits);
    b = img::withBits(b, bits);
  }
  if (a.colour == b.colour && a.alpha == b.alpha) return {};
  if (a.colour == img::Colour::cmyk || b.colour == img::Colour::cmyk || a.alpha || b.alpha) {
    return fail("the pictures have different channels");
  }
  a = img::withChannels(a, 3);
  b = img::withChannels(b, 3);
  return {};
}

} // namespace

int compare(const std::string& first, const std::string& second, const Arguments& arguments) {
  warnOfUnused(arguments, {"--format", "--background", "--orient", "--strip"});
  Image a, b, difference;
  const auto read = [&](const std::string& name, Image& image) {
    return naming(name, [&] { return files::readImage(name, image, arguments.settings); });
  };
  if (Error error = read(first, a)) return report(kFileFailed, error);
  if (Error error = read(second, b)) return report(kFileFailed, error);
  const auto prepare = [&] {
    Error error = makeAlike(a, b);
    error.named = true; // it is of both
    difference = a;
    difference.metadata = {};
    return error;
  };
  if (Error error = naming(first, prepare)) return report(kFileFailed, error);

  std::string text;
  const int channels = a.channels();
  for (int c = 0; c < channels; ++c) {
    double squares = 0;
    int largest = 0, atX = 0, atY = 0;
    for (int y = 0; y < a.height; ++y) {
      for (int x = 0; x < a.width; ++x) {
        const auto i = static_cast<size_t>(x) * static_cast<size_t>(channels) + static_cast<size_t>(c);
        const int distance = std::abs(sampleAt(a, y, i) - sampleAt(b, y, i));
        squares += double(distance) * distance;
        if (distance > largest) {
          largest = distance;
          atX = x;
          atY = y;
        }
        if (a.sampleBytes() == 1)
          difference.row<uint8_t>(y)[i] = static_cast<uint8_t>(distance);
        else
          difference.row<uint16_t>(y)[i] = static_cast<uint16_t>(distance);
      }
    }
    const double mean = squares / (double(a.width) * a.height);
    text += img::format("%s: ", channelName(a, c));
    text += largest == 0 ? "equal\n"
                         : img::format("PSNR %.2f dB, largest difference %d of %d at %d, %d\n",
                                       10 * std::log10(double(a.maxValue()) * a.maxValue() / mean), largest,
                                       a.maxValue(), atX, atY);
  }
  if (Error error = print(text)) return report(kFileFailed, error);
  if (arguments.diff.empty()) return kGood;
  const Error error = naming(arguments.diff, [&] { return files::writeImage(arguments.diff, difference); });
  return error ? report(kFileFailed, error) : kGood;
}

} // namespace zelimg
