#include "common/pnm.h"

#include <algorithm>
#include <cctype>

namespace img {
namespace {

// The next number of the header, -1 if there is none. White space and comments in front of it are skipped.
int64_t nextNumber(ByteSpan file, size_t& position) {
  while (position < file.size() && (std::isspace(file[position]) || file[position] == '#')) {
    if (file[position] == '#') {
      while (position < file.size() && file[position] != '\n') ++position;
    } else {
      ++position;
    }
  }
  int64_t value = -1;
  while (position < file.size() && std::isdigit(file[position]) && value < 1000000000) {
    value = std::max<int64_t>(value, 0) * 10 + (file[position++] - '0');
  }
  return value;
}

template <class Sample>
void readSamples(const uint8_t* source, unsigned maximum, Image& image) {
  const unsigned full = static_cast<unsigned>(image.maxValue());
  for (int y = 0; y < image.height; ++y) {
    Sample* samples = image.row<Sample>(y);
    for (size_t i = 0; i < image.rowSamples(); ++i) {
      unsigned value = *source++;
      if constexpr (sizeof(Sample) == 2) value = value << 8 | *source++;
      value = std::min(value, maximum);
      samples[i] = static_cast<Sample>(maximum == full ? value : (value * full + maximum / 2) / maximum);
    }
  }
}

} // namespace

Error readPnm(ByteSpan file, int64_t maxPixels, Image& image) {
  if (file.size() < 2 || file[0] != 'P' || (file[1] != '5' && file[1] != '6')) {
    return fail("not a binary PGM or PPM file");
  }
  const int channels = file[1] == '5' ? 1 : 3;
  size_t position = 2;
  const int64_t width = nextNumber(file, position), height = nextNumber(file, position);
  const int64_t maximum = nextNumber(file, position);
  if (width < 0 || height < 0 || maximum < 1 || maximum > 65535) return fail("bad header of a PGM or PPM file");
  if (Error error = checkSize(width, height, maxPixels)) return error;
  position = std::min(position + 1, file.size()); // one white space ends the header
  const int64_t sampleBytes = maximum > 255 ? 2 : 1;
  if (static_cast<int64_t>(file.size() - position) < width * height * channels * sampleBytes) {
    return fail("the file ends before its last sample");
  }
  shape(image, static_cast<int>(width), static_cast<int>(height), channels,
        maximum > 4095  ? 16
        : maximum > 255 ? 12
                        : 8);
  const uint8_t* samples = file.data() + position;
  if (sampleBytes == 1)
    readSamples<uint8_t>(samples, static_cast<unsigned>(maximum), image);
  else
    readSamples<uint16_t>(samples, static_cast<unsigned>(maximum), image);
  return {};
}

void writePnm(const Image& image, Bytes& file) {
  char header[64];
  const int length = std::snprintf(header, sizeof header, "P%c\n%d %d\n%d\n", image.channels == 1 ? '5' : '6',
                                   image.width, image.height, image.maxValue());
  file.assign(header, header + length);
  if (image.bits == 8) {
    file.insert(file.end(), image.bytes.begin(), image.bytes.end());
    return;
  }
  file.reserve(file.size() + image.bytes.size());
  for (int y = 0; y < image.height; ++y) {
    for (size_t i = 0; i < image.rowSamples(); ++i) {
      const uint16_t sample = image.row<uint16_t>(y)[i];
      file.push_back(static_cast<uint8_t>(sample >> 8));
      file.push_back(static_cast<uint8_t>(sample));
    }
  }
}

} // namespace img
