// Rows of TIFF beside libtiff, which packs and unpacks strips of as many rows in memory, and beside memcpy.
#include <tiffio.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/measure.h"
#include "support/random.h"
#include "zelj.h"

namespace zelj::bench {
namespace {

constexpr int kWidth = 3072, kHeight = 256;
constexpr double kBytes = double{kWidth} * kHeight;

// A file in memory, as libtiff wants it.
struct MemoryFile {
  std::vector<uint8_t> bytes;
  size_t at = 0;

  static MemoryFile& of(thandle_t file) { return *static_cast<MemoryFile*>(file); }
  static tmsize_t read(thandle_t file, void* to, tmsize_t count) {
    MemoryFile& f = of(file);
    const size_t n = std::min(static_cast<size_t>(count), f.bytes.size() - std::min(f.at, f.bytes.size()));
    std::memcpy(to, f.bytes.data() + f.at, n);
    f.at += n;
    return static_cast<tmsize_t>(n);
  }
  static tmsize_t write(thandle_t file, void* from, tmsize_t count) {
    MemoryFile& f = of(file);
    const auto n = static_cast<size_t>(count);
    if (f.bytes.size() < f.at + n) f.bytes.resize(f.at + n);
    std::memcpy(f.bytes.data() + f.at, from, n);
    f.at += n;
    return count;
  }
  static toff_t seek(thandle_t file, toff_t to, int whence) {
    MemoryFile& f = of(file);
    f.at = static_cast<size_t>(to) + (whence == SEEK_CUR ? f.at : whence == SEEK_END ? f.bytes.size() : 0);
    return f.at;
  }
  static toff_t size(thandle_t file) { return of(file).bytes.size(); }
  static int close(thandle_t) { return 0; }

  TIFF* open(const char* mode) {
    at = 0;
    return TIFFClientOpen("memory", mode, this, read, write, seek, close, size, nullptr, nullptr);
  }
};

void packByPeer(MemoryFile& file, std::vector<uint8_t>& rows) {
  TIFF* tiff = file.open("w");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kHeight);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_PACKBITS);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFWriteEncodedStrip(tiff, 0, rows.data(), static_cast<tmsize_t>(rows.size()));
  TIFFClose(tiff);
}

void unpackByPeer(MemoryFile& file, std::vector<uint8_t>& rows) {
  TIFF* tiff = file.open("r");
  TIFFReadEncodedStrip(tiff, 0, rows.data(), static_cast<tmsize_t>(rows.size()));
  TIFFClose(tiff);
}

Zel32s pack(const std::vector<uint8_t>& rows, std::vector<uint8_t>& packed) {
  Zel32s position = 0;
  for (int y = 0; y < kHeight; ++y) {
    zeliPackBitsRow_TIFF_8u_C1(&rows[static_cast<size_t>(y) * kWidth], kWidth, packed.data(), &position,
                               static_cast<Zel32s>(packed.size()));
  }
  return position;
}

void unpack(const std::vector<uint8_t>& packed, Zel32s length, std::vector<uint8_t>& rows) {
  Zel32s position = 0;
  for (int y = 0; y < kHeight; ++y) {
    zeliUnpackBitsRow_TIFF_8u_C1(packed.data(), &position, length, &rows[static_cast<size_t>(y) * kWidth], kWidth);
  }
}

// Runs of 1 to longest bytes, each of another value than the one before.
std::vector<uint8_t> makeRows(int longest) {
  test::Random random(7);
  std::vector<uint8_t> rows;
  while (rows.size() < size_t{kWidth} * kHeight) {
    const auto value = static_cast<uint8_t>((rows.empty() ? 0 : rows.back()) + random.in(1, 255));
    rows.insert(rows.end(), static_cast<size_t>(random.in(1, longest)), value);
  }
  rows.resize(size_t{kWidth} * kHeight);
  return rows;
}

void registerPackBits(const std::string& what, int longest) {
  const auto rows = std::make_shared<std::vector<uint8_t>>(makeRows(longest));
  const auto packed = std::make_shared<std::vector<uint8_t>>(rows->size() * 2);
  const Zel32s length = pack(*rows, *packed);
  const auto file = std::make_shared<MemoryFile>();
  packByPeer(*file, *rows);
  const auto unpacked = std::make_shared<std::vector<uint8_t>>(rows->size());
  unpackByPeer(*file, *unpacked);
  if (*unpacked != *rows) std::abort();
  unpack(*packed, length, *unpacked);
  if (*unpacked != *rows) std::abort();

  measure("tiff/pack " + what, "zelj", "bytes", kBytes, [=] { pack(*rows, *packed); });
  measure("tiff/pack " + what, "libtiff", "bytes", kBytes, [=] { packByPeer(*file, *rows); });
  measure("tiff/unpack " + what, "zelj", "bytes", kBytes, [=] { unpack(*packed, length, *unpacked); });
  measure("tiff/unpack " + what, "libtiff", "bytes", kBytes, [=] { unpackByPeer(*file, *unpacked); });
}

void registerAll() {
  registerPackBits("literals", 1);
  registerPackBits("runs of 1 to 8", 8);
  registerPackBits("runs of 1 to 200", 200);

  constexpr int kSamples = 32 << 10; // planes and samples fit the second-level cache together
  static std::vector<Zel16u> samples(kSamples, 0x1234);
  static std::vector<Zel8u> planes(2 * kSamples), copy(2 * kSamples);
  static Zel8u* pair[2] = {planes.data(), planes.data() + kSamples};
  measure("tiff/byte planes split", "zelj", "samples", kSamples,
          [] { zeliSplitRow_TIFF_16u8u_C1(samples.data(), pair, kSamples); });
  measure("tiff/byte planes join", "zelj", "samples", kSamples,
          [] { zeliJoinRow_TIFF_8u16u_C1(pair, samples.data(), kSamples); });
  for (const char* work : {"tiff/byte planes split", "tiff/byte planes join"}) {
    measure(work, "memcpy of as many bytes", "samples", kSamples,
            [] { std::memcpy(copy.data(), samples.data(), copy.size()); });
  }
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
