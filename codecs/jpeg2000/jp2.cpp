#include "jpeg2000/jp2.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace j2k {
namespace {

constexpr uint8_t kSignature[] = {0, 0, 0, 12, 'j', 'P', ' ', ' ', 13, 10, 0x87, 10};

uint32_t number(ByteSpan bytes, size_t at, size_t count) {
  uint32_t value = 0;
  for (size_t i = 0; i < count; ++i) value = value << 8 | (at + i < bytes.size() ? bytes[at + i] : 0u);
  return value;
}

struct Box {
  uint32_t type;
  ByteSpan body;
};

constexpr uint32_t typeOf(const char (&name)[5]) {
  return static_cast<uint32_t>(name[0]) << 24 | static_cast<uint32_t>(name[1]) << 16 |
         static_cast<uint32_t>(name[2]) << 8 | static_cast<uint32_t>(name[3]);
}

// The next box; false where there is none. A box may claim more than there is: it ends with the file.
bool nextBox(ByteSpan& bytes, Box& box) {
  if (bytes.size() < 8) return false;
  uint64_t size = number(bytes, 0, 4);
  size_t head = 8;
  if (size == 1 && bytes.size() >= 16) {
    size = uint64_t{number(bytes, 8, 4)} << 32 | number(bytes, 12, 4);
    head = 16;
  }
  if (size == 0 || size > bytes.size()) size = bytes.size();
  if (size < head) return false;
  box = {number(bytes, 4, 4), bytes.subspan(head, static_cast<size_t>(size) - head)};
  bytes = bytes.subspan(static_cast<size_t>(size));
  return true;
}

void readColour(ByteSpan body, Container& c) {
  if (c.space != Container::Space::unknown || !c.icc.empty() || body.size() < 3) return; // the first one counts
  if (body[0] == 1) {
    switch (number(body, 3, 4)) {
      case 12:
        c.space = Container::Space::cmyk;
        break;
      case 16:
        c.space = Container::Space::rgb;
        break;
      case 17:
        c.space = Container::Space::grey;
        break;
      case 18:
        c.space = Container::Space::ycc;
        break;
      default:
        break;
    }
  } else if (body[0] == 2) {
    c.icc.assign(body.begin() + 3, body.end());
  }
}

void readResolution(ByteSpan body, Container& c) {
  Box box;
  while (nextBox(body, box)) {
    if ((box.type != typeOf("resc") && box.type != typeOf("resd")) || box.body.size() < 10) continue;
    const auto value = [&](size_t at, size_t exponent) {
      const uint32_t bottom = number(box.body, at + 2, 2);
      return bottom ? number(box.body, at, 2) / static_cast<double>(bottom) *
                          std::pow(10.0, static_cast<int8_t>(box.body[exponent]))
                    : 0;
    };
    c.density = {value(4, 9) / 100, value(0, 8) / 100,
                 img::Density::Unit::centimetre}; // samples a metre, vertical first
  }
}

Error readPalette(ByteSpan body, Container& c) {
  const size_t entries = number(body, 0, 2), columns = number(body, 2, 1);
  if (entries < 1 || entries > 1024 || columns < 1) return fail("a palette without entries");
  c.palette.assign(columns, {});
  size_t at = 3 + columns;
  for (size_t i = 0; i < columns; ++i) {
    c.palette[i].bits = static_cast<int>(number(body, 3 + i, 1) & 127) + 1;
    if (c.palette[i].bits > 16) return fail("a palette of %d bits is not supported", c.palette[i].bits);
  }
  for (size_t entry = 0; entry < entries; ++entry) {
    for (PaletteColumn& column : c.palette) {
      const size_t bytes = column.bits > 8 ? 2 : 1;
      if (at + bytes > body.size()) return fail("the palette is cut off");
      const uint32_t most = (1u << column.bits) - 1;
      column.entries.push_back(static_cast<uint16_t>(std::min(number(body, at, bytes), most)));
      at += bytes;
    }
  }
  return {};
}

Error readHeader(ByteSpan body, Container& c) {
  Box box;
  while (nextBox(body, box)) {
    if (box.type == typeOf("colr")) readColour(box.body, c);
    if (box.type == typeOf("res ")) readResolution(box.body, c);
    if (box.type == typeOf("pclr")) {
      if (Error error = readPalette(box.body, c)) return error;
    }
    for (size_t at = 0; box.type == typeOf("cmap") && at + 4 <= box.body.size(); at += 4) {
      const bool direct = number(box.body, at + 2, 1) == 0;
      c.channels.push_back({number(box.body, at, 2), direct ? -1 : static_cast<int>(number(box.body, at + 3, 1))});
    }
    for (size_t at = 2; box.type == typeOf("cdef") && at + 6 <= box.body.size(); at += 6) {
      c.meanings.push_back({number(box.body, at, 2), static_cast<int>(number(box.body, at + 2, 2)),
                            static_cast<int>(number(box.body, at + 4, 2))});
    }
  }
  if (c.palette.empty()) c.channels.clear();
  if (!c.palette.empty() && c.channels.empty()) return fail("a palette that no channel uses");
  for (const ChannelSource& channel : c.channels) {
    if (channel.column >= static_cast<int>(c.palette.size())) return fail("a channel without a column in the palette");
  }
  return {};
}

void put(Bytes& bytes, uint32_t value, int count) {
  for (int i = count - 1; i >= 0; --i) bytes.push_back(static_cast<uint8_t>(value >> 8 * i));
}
void putBox(Bytes& bytes, uint32_t type, const Bytes& body) {
  put(bytes, static_cast<uint32_t>(body.size() + 8), 4);
  put(bytes, type, 4);
  bytes.insert(bytes.end(), body.begin(), body.end());
}

} // namespace

bool isContainer(ByteSpan head) {
  return head.size() >= sizeof kSignature && std::memcmp(head.data(), kSignature, sizeof kSignature) == 0;
}
bool isCodestream(ByteSpan head) {
  return head.size() >= 4 && head[0] == 0xFF && head[1] == 0x4F && head[2] == 0xFF && head[3] == 0x51;
}

Error readContainer(ByteSpan file, Container& c) {
  if (!isContainer(file)) {
    c.codestream = file;
    return {};
  }
  c.boxed = true;
  Box box;
  while (nextBox(file, box)) {
    if (box.type == typeOf("jp2h")) {
      if (Error error = readHeader(box.body, c)) return error;
    }
    if (box.type == typeOf("jp2c")) {
      c.codestream = box.body;
      return {};
    }
  }
  return fail("the file has no codestream");
}

Bytes containerHead(const img::Picture& picture) {
  Bytes head(std::begin(kSignature), std::end(kSignature));
  Bytes type;
  put(type, typeOf("jp2 "), 4);
  put(type, 0, 4);
  put(type, typeOf("jp2 "), 4);
  putBox(head, typeOf("ftyp"), type);

  Bytes size, colour, channels, header;
  const int count = picture.channels();
  put(size, static_cast<uint32_t>(picture.height), 4);
  put(size, static_cast<uint32_t>(picture.width), 4);
  put(size, static_cast<uint32_t>(count), 2);
  put(size, static_cast<uint32_t>(picture.bits - 1), 1);
  put(size, 7, 1);
  put(size, 0, 2); // the colour space is known; no intellectual property
  putBox(header, typeOf("ihdr"), size);
  const Bytes& icc = picture.metadata.icc;
  put(colour, icc.empty() ? 1 : 2, 1);
  put(colour, 0, 2);
  if (icc.empty()) {
    put(colour, picture.colour == img::Colour::grey ? 17 : 16, 4);
  } else {
    colour.insert(colour.end(), icc.begin(), icc.end());
  }
  putBox(header, typeOf("colr"), colour);
  if (picture.alpha) {
    put(channels, static_cast<uint32_t>(count), 2);
    for (int i = 0; i < count; ++i) {
      const bool alpha = i == count - 1;
      put(channels, static_cast<uint32_t>(i), 2);
      put(channels, alpha, 2);
      put(channels, alpha ? 0 : static_cast<uint32_t>(i + 1), 2); // opacity of the whole picture
    }
    putBox(header, typeOf("cdef"), channels);
  }
  if (picture.metadata.density.x > 0 && picture.metadata.density.unit != img::Density::Unit::none) {
    const double metre = picture.metadata.density.unit == img::Density::Unit::inch ? 100 / 2.54 : 100;
    Bytes values, inner;
    for (const double d : {picture.metadata.density.y, picture.metadata.density.x}) {
      put(values, static_cast<uint32_t>(std::clamp(d * metre, 1.0, 65535.0) + 0.5), 2);
      put(values, 1, 2);
    }
    put(values, 0, 2); // exponents
    putBox(inner, typeOf("resc"), values);
    putBox(header, typeOf("res "), inner);
  }
  putBox(head, typeOf("jp2h"), header);
  put(head, 0, 4);
  put(head, typeOf("jp2c"), 4);
  return head;
}

} // namespace j2k
