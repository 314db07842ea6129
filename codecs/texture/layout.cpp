#include "texture/layout.h"

#include <algorithm>
#include <bit>

namespace texture {
namespace {

constexpr Format plain(const char* name, int channels, Sample sample, int unitBytes, uint32_t dxgi, uint32_t dxgiSrgb,
                       uint32_t vulkan, uint32_t vulkanSrgb, bool blueFirst = false, bool lastUnused = false) {
  return {
      name, Coding::plain, unitBytes, channels, sample, blueFirst, lastUnused, {dxgi, dxgiSrgb}, {vulkan, vulkanSrgb},
      {}};
}

constexpr Format block(const char* name, Coding coding, int unitBytes, uint32_t dxgi, uint32_t dxgiSrgb,
                       uint32_t typeless, uint32_t vulkan, uint32_t vulkanSrgb, const char* code = nullptr,
                       const char* code2 = nullptr, const char* code3 = nullptr) {
  return {name,
          coding,
          unitBytes,
          0,
          Sample::u8,
          false,
          false,
          {dxgi, dxgiSrgb, typeless},
          {vulkan, vulkanSrgb},
          {code, code2, code3}};
}

constexpr Format kFormats[] = {
    block("BC1", Coding::bc1, 8, 71, 72, 70, 131, 132, "DXT1"),
    block("BC1", Coding::bc1, 8, 0, 0, 0, 133, 134),
    block("BC2", Coding::bc2, 16, 74, 75, 73, 135, 136, "DXT3", "DXT2"),
    block("BC3", Coding::bc3, 16, 77, 78, 76, 137, 138, "DXT5", "DXT4"),
    block("BC4", Coding::bc4, 8, 80, 0, 79, 139, 0, "ATI1", "BC4U"),
    block("BC5", Coding::bc5, 16, 83, 0, 82, 141, 0, "ATI2", "BC5U"),
    block("BC6, unsigned", Coding::bc6Unsigned, 16, 95, 0, 94, 143, 0),
    block("BC6, signed", Coding::bc6Signed, 16, 96, 0, 0, 144, 0),
    block("BC7", Coding::bc7, 16, 98, 99, 97, 145, 146),
    plain("R8", 1, Sample::u8, 1, 61, 0, 9, 15),
    plain("RG8", 2, Sample::u8, 2, 49, 0, 16, 22),
    plain("RGB8", 3, Sample::u8, 3, 0, 0, 23, 29),
    plain("BGR8", 3, Sample::u8, 3, 0, 0, 30, 36, true),
    plain("RGBA8", 4, Sample::u8, 4, 28, 29, 37, 43),
    plain("BGRA8", 4, Sample::u8, 4, 87, 91, 44, 50, true),
    plain("BGRX8", 4, Sample::u8, 4, 88, 93, 0, 0, true, true),
    plain("RGBX8", 4, Sample::u8, 4, 0, 0, 0, 0, false, true),
    plain("R16", 1, Sample::u16, 2, 56, 0, 70, 0),
    plain("RGBA16", 4, Sample::u16, 8, 11, 0, 91, 0),
    plain("R16F", 1, Sample::f16, 2, 54, 0, 76, 0),
    plain("RGBA16F", 4, Sample::f16, 8, 10, 0, 97, 0),
    plain("R32F", 1, Sample::f32, 4, 41, 0, 100, 0),
    plain("RGB32F", 3, Sample::f32, 12, 6, 0, 106, 0),
    plain("RGBA32F", 4, Sample::f32, 16, 2, 0, 109, 0),
};

template <class F>
const Format* find(F isIt) {
  const auto* found = std::find_if(std::begin(kFormats), std::end(kFormats), isIt);
  return found == std::end(kFormats) ? nullptr : found;
}

constexpr uint32_t kDdsMagic = fourCC("DDS "), kYCoCgMark = fourCC("YCG2");
constexpr size_t kDdsHeader = 128, kDx10Header = 20, kKtxHeader = 80, kMaxLevels = 31;
constexpr uint8_t kKtxMagic[12] = {0xAB, 'K', 'T', 'X', ' ', '2', '0', 0xBB, '\r', '\n', 0x1A, '\n'};
constexpr int kMaxLayers = 1 << 16;

Error fillHeader(img::ByteSource& source, size_t bytes) {
  if (Error error = source.fill(bytes)) return error;
  return source.visible().size() < bytes ? fail("the file ends within its header") : Error{};
}

// Pixels without a name, by the masks of their channels.
const Format* formatOfMasks(uint32_t flags, uint32_t bits, const uint32_t (&masks)[4]) {
  constexpr uint32_t kRgb = 0x40, kLuminance = 0x20000, kAlpha = 0x1;
  const bool redFirst = masks[0] == 0xFF && masks[1] == 0xFF00, blueFirst = masks[2] == 0xFF && masks[1] == 0xFF00;
  if (flags & kLuminance) return bits == 8 && masks[0] == 0xFF ? formatOf(Coding::plain, 1) : nullptr;
  if (!(flags & kRgb) || (!redFirst && !blueFirst) || (bits != 24 && bits != 32)) return nullptr;
  const bool unused = bits == 32 && !((flags & kAlpha) && masks[3] == 0xFF000000);
  return find([=](const Format& f) {
    return f.coding == Coding::plain && f.sample == Sample::u8 && f.channels == static_cast<int>(bits / 8) &&
           f.blueFirst == blueFirst && f.lastUnused == unused;
  });
}

Error readDds(img::ByteSource& source, Texture& texture) {
  if (Error error = fillHeader(source, kDdsHeader)) return error;
  ByteSpan head = source.visible();
  if (get32(head, 0) != kDdsMagic || get32(head, 4) != 124 || get32(head, 76) != 32) return fail("not a DDS file");
  constexpr uint32_t kHasFourCC = 4, kCube = 0x200, kVolume = 0x200000;
  const uint32_t height = get32(head, 12), width = get32(head, 16), flags = get32(head, 80), code = get32(head, 84);
  const uint32_t levels = get32(head, 28), caps2 = get32(head, 112);
  if (Error error = img::checkSize(width, height, INT64_MAX)) return error;
  texture.width = static_cast<int>(width);
  texture.height = static_cast<int>(height);
  texture.yCoCg = get32(head, 32) == kYCoCgMark;
  texture.dataPosition = kDdsHeader;
  if (caps2 & kVolume) return fail("volume textures are not read");
  if (caps2 & kCube) texture.faces = std::popcount(caps2 & 0xFC00);
  uint32_t layers = 1;
  if ((flags & kHasFourCC) && code == fourCC("DX10")) {
    if (Error error = fillHeader(source, kDdsHeader + kDx10Header)) return error;
    head = source.visible();
    const uint32_t number = get32(head, 128);
    texture.format = formatOfDxgi(number);
    if (!texture.format) return fail("pixel format %u is not one that this reader knows", number);
    if (get32(head, 132) != 3) return fail("textures of %u dimensions are not read", get32(head, 132) - 1);
    texture.faces = get32(head, 136) & 4 ? 6 : 1;
    layers = get32(head, 140);
    texture.opaque = (get32(head, 144) & 7) == 3;
    texture.sRgb = number == texture.format->dxgi[1];
    texture.dataPosition += kDx10Header;
  } else if (flags & kHasFourCC) {
    texture.format = formatOfFourCC(code);
    if (!texture.format) return fail("pixel format 0x%08x is not one that this reader knows", code);
  } else {
    texture.format =
        formatOfMasks(flags, get32(head, 88), {get32(head, 92), get32(head, 96), get32(head, 100), get32(head, 104)});
    if (!texture.format) return fail("pixels of %u bits with these masks are not read", get32(head, 88));
  }
  if (texture.faces < 1) return fail("a cube map without faces");
  if (layers < 1 || layers > kMaxLayers) return fail("%u layers are not read", layers);
  if (levels > kMaxLevels) return fail("%u levels are more than a texture can have", levels);
  texture.layers = static_cast<int>(layers);
  texture.levels = std::max(1, static_cast<int>(levels));
  return {};
}

constexpr char kColoursKey[] = "zeljColours\0YCoCg scaled"; // and its value, in the key and value data of KTX2

Error findColours(img::ByteSource& source, size_t at, size_t bytes, Texture& texture) {
  constexpr size_t kFarthest = 1 << 16;
  if (bytes == 0 || at > kFarthest || bytes > kFarthest) return {};
  if (Error error = fillHeader(source, at + bytes)) return error;
  const ByteSpan keys = source.visible().subspan(at, bytes);
  texture.yCoCg = std::search(keys.begin(), keys.end(), std::begin(kColoursKey), std::end(kColoursKey)) != keys.end();
  return {};
}

Error readKtx2(img::ByteSource& source, Texture& texture) {
  if (Error error = fillHeader(source, kKtxHeader)) return error;
  ByteSpan head = source.visible();
  if (!std::equal(std::begin(kKtxMagic), std::end(kKtxMagic), head.begin())) return fail("not a KTX2 file");
  const uint32_t number = get32(head, 12), width = get32(head, 20), height = get32(head, 24), depth = get32(head, 28);
  const uint32_t layers = get32(head, 32), faces = get32(head, 36), levels = get32(head, 40), scheme = get32(head, 44);
  if (scheme != 0) return fail("supercompression (scheme %u) is not read", scheme);
  if (depth > 0) return fail("volume textures are not read");
  if (Error error = img::checkSize(width, height, INT64_MAX)) return error;
  texture.format = formatOfVulkan(number);
  if (!texture.format) return fail("pixel format %u is not one that this reader knows", number);
  if (faces != 1 && faces != 6) return fail("%u faces: a texture has one, a cube map six", faces);
  if (layers > kMaxLayers) return fail("%u layers are not read", layers);
  if (levels > kMaxLevels) return fail("%u levels are more than a texture can have", levels);
  texture.width = static_cast<int>(width);
  texture.height = static_cast<int>(height);
  texture.faces = static_cast<int>(faces);
  texture.layers = std::max(1, static_cast<int>(layers));
  texture.levels = std::max(1, static_cast<int>(levels));
  texture.sRgb = texture.format->vulkan[1] == number;
  if (Error error = findColours(source, get32(head, 56), get32(head, 60), texture)) return error;
  const size_t index = kKtxHeader + 24 * static_cast<size_t>(texture.levels);
  if (Error error = fillHeader(source, index)) return error;
  head = source.visible();
  for (int level = 0; level < texture.levels; ++level) {
    const size_t at = kKtxHeader + 24 * static_cast<size_t>(level);
    const uint64_t needed = texture.format->bytes(atLevel(texture.width, level), atLevel(texture.height, level)) *
                            static_cast<uint64_t>(texture.faces * texture.layers);
    if (get64(head, at + 8) < needed) return fail("level %d is shorter than its texels are", level);
    texture.levelPositions.push_back(get64(head, at));
  }
  return {};
}

std::vector<Piece> ddsLayout(const Texture& texture) {
  const Format& format = *texture.format;
  const bool named = format.fourCC[0], dx10 = format.coding == Coding::bc7;
  Bytes head;
  put32(head, kDdsMagic);
  put32(head, 124);
  constexpr uint32_t kCapsHeightWidthFormat = 0x1007, kPitch = 0x8, kMipCount = 0x20000, kLinearSize = 0x80000;
  put32(head,
        kCapsHeightWidthFormat | (texture.levels > 1 ? kMipCount : 0) | (format.inBlocks() ? kLinearSize : kPitch));
  put32(head, static_cast<uint32_t>(texture.height));
  put32(head, static_cast<uint32_t>(texture.width));
  put32(head, static_cast<uint32_t>(format.inBlocks() ? format.bytes(texture.width, texture.height)
                                                      : format.rowBytes(texture.width)));
  put32(head, 0);
  put32(head, static_cast<uint32_t>(texture.levels));
  put32(head, texture.yCoCg ? kYCoCgMark : 0);
  for (int i = 0; i < 10; ++i) put32(head, 0);
  put32(head, 32);
  if (dx10 || named) {
    put32(head, 4);
    put32(head, dx10 ? fourCC("DX10") : fourCC(format.fourCC[0]));
    for (int i = 0; i < 5; ++i) put32(head, 0);
  } else { // R, G, B, A
    for (const uint32_t v : {0x41u, 0u, 32u, 0xFFu, 0xFF00u, 0xFF0000u, 0xFF000000u}) put32(head, v);
  }
  put32(head, 0x1000 | (texture.levels > 1 ? 0x400008 : 0));
  for (int i = 0; i < 4; ++i) put32(head, 0);
  if (dx10) {
    for (const uint32_t v : {format.dxgi[texture.sRgb], 3u, 0u, 1u, texture.opaque ? 3u : 0u}) put32(head, v);
  }
  std::vector<Piece> pieces{{head, 0}};
  for (int level = 1; level < texture.levels; ++level) pieces.push_back({{}, level});
  return pieces;
}

// The description of the samples that KTX2 wants besides the number of the format.
Bytes dataFormat(const Texture& texture) {
  struct Part {
    int bit, bits, channel;
  };
  constexpr int kAlpha = 15;
  std::vector<Part> parts;
  int model = 1;
  switch (texture.format->coding) {
    case Coding::bc1:
      model = 128;
      parts = {{0, 64, 0}};
      break;
    case Coding::bc2:
      model = 129;
      parts = {{0, 64, kAlpha}, {64, 64, 0}};
      break;
    case Coding::bc3:
      model = 130;
      parts = {{0, 64, kAlpha}, {64, 64, 0}};
      break;
    case Coding::bc4:
      model = 131;
      parts = {{0, 64, 0}};
      break;
    case Coding::bc5:
      model = 132;
      parts = {{0, 64, 0}, {64, 64, 1}};
      break;
    case Coding::bc7:
      model = 134;
      parts = {{0, 128, 0}};
      break;
    default:
      for (int c = 0; c < 4; ++c) parts.push_back({8 * c, 8, c < 3 ? c : kAlpha});
  }
  const bool inBlocks = texture.format->inBlocks();
  const auto blockBytes = static_cast<uint32_t>(24 + 16 * parts.size());
  Bytes bytes;
  put32(bytes, blockBytes + 4);
  put32(bytes, 0);
  put32(bytes, 2 | blockBytes << 16);
  put32(bytes, static_cast<uint32_t>(model) | 1 << 8 | (texture.sRgb ? 2u : 1u) << 16); // primaries of BT.709
  put32(bytes, inBlocks ? 0x0303 : 0);
  put32(bytes, static_cast<uint32_t>(texture.format->unitBytes));
  put32(bytes, 0);
  for (const Part& part : parts) {
    const int linear = part.channel == kAlpha && texture.sRgb ? 0x10 : 0;
    put32(bytes, static_cast<uint32_t>(part.bit | (part.bits - 1) << 16 | (part.channel | linear) << 24));
    put32(bytes, 0);
    put32(bytes, 0);
    put32(bytes, inBlocks ? 0xFFFFFFFF : 255);
  }
  return bytes;
}

// Levels follow from the smallest to the largest, each at a multiple of its unit and of 4.
std::vector<Piece> ktx2Layout(const Texture& texture) {
  const Bytes samples = dataFormat(texture);
  const auto unit = static_cast<uint64_t>(std::max(texture.format->unitBytes, 4));
  const auto aligned = [=](uint64_t at) { return (at + unit - 1) / unit * unit; };
  Bytes keys;
  if (texture.yCoCg) {
    put32(keys, sizeof kColoursKey);
    for (const char c : kColoursKey) keys.push_back(static_cast<uint8_t>(c));
    while (keys.size() % 4) keys.push_back(0);
  }
  const auto samplesAt = static_cast<uint32_t>(kKtxHeader + 24 * static_cast<size_t>(texture.levels));
  const auto keysAt = samplesAt + static_cast<uint32_t>(samples.size());
  std::vector<uint64_t> positions(static_cast<size_t>(texture.levels));
  uint64_t at = keysAt + keys.size();
  for (int level = texture.levels - 1; level >= 0; --level) {
    positions[static_cast<size_t>(level)] = at = aligned(at);
    at += texture.format->bytes(atLevel(texture.width, level), atLevel(texture.height, level));
  }
  Bytes head(std::begin(kKtxMagic), std::end(kKtxMagic));
  for (const uint32_t v : {texture.format->vulkan[texture.sRgb], 1u, static_cast<uint32_t>(texture.width),
                           static_cast<uint32_t>(texture.height), 0u, 0u, 1u, static_cast<uint32_t>(texture.levels), 0u,
                           samplesAt, static_cast<uint32_t>(samples.size()), keys.empty() ? 0 : keysAt,
                           static_cast<uint32_t>(keys.size()), 0u, 0u, 0u, 0u}) {
    put32(head, v);
  }
  for (int level = 0; level < texture.levels; ++level) {
    const uint64_t bytes = texture.format->bytes(atLevel(texture.width, level), atLevel(texture.height, level));
    put64(head, positions[static_cast<size_t>(level)]);
    put64(head, bytes);
    put64(head, bytes);
  }
  head.insert(head.end(), samples.begin(), samples.end());
  head.insert(head.end(), keys.begin(), keys.end());
  std::vector<Piece> pieces;
  uint64_t written = 0;
  for (int level = texture.levels - 1; level >= 0; --level) {
    const uint64_t position = positions[static_cast<size_t>(level)];
    head.resize(static_cast<size_t>(position - written));
    pieces.push_back({head, level});
    written = position + texture.format->bytes(atLevel(texture.width, level), atLevel(texture.height, level));
    head.clear();
  }
  return pieces;
}

} // namespace

const Format* formatOf(Coding coding, int channels) {
  return find([=](const Format& f) { return f.coding == coding && f.channels == channels; });
}
const Format* formatOfDxgi(uint32_t number) {
  return number == 0 ? nullptr : find([=](const Format& f) {
    return std::find(std::begin(f.dxgi), std::end(f.dxgi), number) != std::end(f.dxgi);
  });
}
const Format* formatOfVulkan(uint32_t number) {
  return number == 0 ? nullptr : find([=](const Format& f) { return f.vulkan[0] == number || f.vulkan[1] == number; });
}
const Format* formatOfFourCC(uint32_t code) {
  switch (code) { // numbers of an older list
    case 36:
      return formatOfDxgi(11);
    case 111:
      return formatOfDxgi(54);
    case 113:
      return formatOfDxgi(10);
    case 114:
      return formatOfDxgi(41);
    case 116:
      return formatOfDxgi(2);
  }
  return find([=](const Format& f) {
    return std::any_of(std::begin(f.fourCC), std::end(f.fourCC), [=](const char* c) { return c && fourCC(c) == code; });
  });
}

Surface Texture::surface(int level, int layer, int face) const {
  Surface surface{atLevel(width, level), atLevel(height, level), 0, 0};
  surface.bytes = format->bytes(surface.width, surface.height);
  const auto image = static_cast<uint64_t>(layer) * static_cast<uint64_t>(faces) + static_cast<uint64_t>(face);
  if (!levelPositions.empty()) {
    surface.position = levelPositions[static_cast<size_t>(level)] + image * surface.bytes;
  } else {
    uint64_t before = 0, chain = 0;
    for (int l = 0; l < levels; ++l) {
      const uint64_t bytes = format->bytes(atLevel(width, l), atLevel(height, l));
      chain += bytes;
      if (l < level) before += bytes;
    }
    surface.position = dataPosition + image * chain + before;
  }
  return surface;
}

int fullChain(int width, int height) {
  return static_cast<int>(std::bit_width(static_cast<unsigned>(std::max(width, height))));
}

Error readHeader(img::ByteSource& source, Container container, Texture& texture) {
  return container == Container::dds ? readDds(source, texture) : readKtx2(source, texture);
}

std::vector<Piece> fileLayout(Container container, const Texture& texture) {
  return container == Container::dds ? ddsLayout(texture) : ktx2Layout(texture);
}

} // namespace texture
