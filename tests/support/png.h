// PNG files made by hand, whatever they say.
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include "common/bytes.h"

namespace zelj::test {

struct PngHeader {
  uint32_t width, height;
  uint8_t bits, colourType, compression, filter, interlace;
};

// `rows` are those of the file, each behind the byte of its filter.
inline img::Bytes pngFile(const PngHeader& h, const img::Bytes& rows) {
  img::Bytes file{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  const auto number = [](img::Bytes& bytes, size_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<uint8_t>(v >> shift));
  };
  const auto chunk = [&](const char* name, const img::Bytes& content) {
    img::Bytes tagged(name, name + 4);
    tagged.insert(tagged.end(), content.begin(), content.end());
    number(file, content.size());
    file.insert(file.end(), tagged.begin(), tagged.end());
    number(file, crc32(0, tagged.data(), static_cast<uInt>(tagged.size())));
  };
  img::Bytes header;
  number(header, h.width);
  number(header, h.height);
  for (const uint8_t v : {h.bits, h.colourType, h.compression, h.filter, h.interlace}) header.push_back(v);
  uLongf packed = compressBound(static_cast<uLong>(rows.size()));
  img::Bytes data(packed);
  EXPECT_EQ(compress(data.data(), &packed, rows.data(), static_cast<uLong>(rows.size())), Z_OK);
  data.resize(packed);
  chunk("IHDR", header);
  chunk("IDAT", data);
  chunk("IEND", {});
  return file;
}

} // namespace zelj::test
