// The codec, whole images in memory, beside libjpeg-turbo's own codec: accurate integer transform, smooth chroma, the
// same quality, sampling, tables and scans, one thread. The image is a rendered scene, or a mosaic of the PNG
// photographs in the folder that the environment variable ZELJ_BENCH_IMAGES names.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "jpeg/jpeg.h"
#include "support/measure.h"
#include "support/picture.h"

// clang-format off
#include <jpeglib.h> // needs what <cstdio> declares
// clang-format on

namespace zelj::bench {
namespace {

enum class Kind { sequential, optimised, progressive };

// The peer's encoder and decoder. Memory is given, as to the library's codec.
void peerEncode(const img::Image& image, int quality, bool halve, Kind kind, std::vector<uint8_t>& file, size_t& size) {
  jpeg_compress_struct codec;
  jpeg_error_mgr errors;
  codec.err = jpeg_std_error(&errors);
  jpeg_create_compress(&codec);
  unsigned char* memory = file.data();
  unsigned long length = file.size();
  jpeg_mem_dest(&codec, &memory, &length);
  codec.image_width = static_cast<JDIMENSION>(image.width);
  codec.image_height = static_cast<JDIMENSION>(image.height);
  codec.input_components = 3;
  codec.in_color_space = JCS_RGB;
  jpeg_set_defaults(&codec);
  jpeg_set_quality(&codec, quality, TRUE);
  codec.comp_info[0].h_samp_factor = codec.comp_info[0].v_samp_factor = halve ? 2 : 1;
  codec.dct_method = JDCT_ISLOW;
  codec.optimize_coding = kind != Kind::sequential;
  if (kind == Kind::progressive) jpeg_simple_progression(&codec);
  jpeg_start_compress(&codec, TRUE);
  while (codec.next_scanline < codec.image_height) {
    auto* row = const_cast<JSAMPLE*>(image.row<uint8_t>(static_cast<int>(codec.next_scanline)));
    jpeg_write_scanlines(&codec, &row, 1);
  }
  jpeg_finish_compress(&codec);
  jpeg_destroy_compress(&codec);
  size = length;
}

void peerDecode(const std::vector<uint8_t>& file, img::Image& image) {
  jpeg_decompress_struct codec;
  jpeg_error_mgr errors;
  codec.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&codec);
  jpeg_mem_src(&codec, file.data(), file.size());
  jpeg_read_header(&codec, TRUE);
  codec.dct_method = JDCT_ISLOW;
  jpeg_start_decompress(&codec);
  while (codec.output_scanline < codec.output_height) {
    auto* row = image.row<uint8_t>(static_cast<int>(codec.output_scanline));
    jpeg_read_scanlines(&codec, &row, 1);
  }
  jpeg_finish_decompress(&codec);
  jpeg_destroy_decompress(&codec);
}

// What the benchmarks of one quality and sampling work on, made when the first of them runs.
struct Work {
  int quality;
  bool halve;
  Kind kind;
  std::vector<uint8_t> file, peerFile;
  img::Image decoded;

  jpeg::EncodeOptions options() const {
    jpeg::EncodeOptions options;
    options.quality = quality;
    options.sampling = halve ? jpeg::Sampling::s420 : jpeg::Sampling::s444;
    options.optimize = kind == Kind::optimised;
    options.progressive = kind == Kind::progressive;
    return options;
  }
  void prepare() {
    if (!peerFile.empty()) return;
    peerFile.resize(size_t{4} * kPictureSize * kPictureSize);
    size_t size = 0;
    peerEncode(picture(), quality, halve, kind, peerFile, size);
    peerFile.resize(size);
    img::shape(decoded, kPictureSize, kPictureSize, 3, 8);
    file.resize(size_t{4} * kPictureSize * kPictureSize);
  }
};

void check(const img::Error& error) {
  if (!error) return;
  std::fprintf(stderr, "codec: %s\n", error.message.c_str());
  std::exit(1);
}

void registerWork(int quality, bool halve, Kind kind) {
  const auto work = std::make_shared<Work>(Work{quality, halve, kind, {}, {}, {}});
  const char* const kinds[] = {"", ", optimised", ", progressive"};
  const std::string name =
      std::string(halve ? " 4:2:0" : " 4:4:4") + " q" + std::to_string(quality) + kinds[static_cast<int>(kind)];
  constexpr double kPixels = double{kPictureSize} * kPictureSize;
  measure("codec/encode" + name, "zelj", "pixels", kPixels, [work] {
    work->prepare();
    check(jpeg::encode(picture(), work->options(), work->file));
  });
  measure("codec/encode" + name, "libjpeg-turbo", "pixels", kPixels, [work] {
    work->prepare();
    size_t size = 0;
    work->file.resize(size_t{4} * kPictureSize * kPictureSize);
    peerEncode(picture(), work->quality, work->halve, work->kind, work->file, size);
  });
  if (kind == Kind::optimised) return; // as any sequential file
  measure("codec/decode" + name, "zelj", "pixels", kPixels, [work] {
    work->prepare();
    std::string damage;
    check(jpeg::decode(work->peerFile, {}, work->decoded, damage));
  });
  measure("codec/decode" + name, "libjpeg-turbo", "pixels", kPixels, [work] {
    work->prepare();
    peerDecode(work->peerFile, work->decoded);
  });
}

void registerAll() {
  for (const bool halve : {false, true}) {
    for (const int quality : {75, 90}) registerWork(quality, halve, Kind::sequential);
  }
  for (const Kind kind : {Kind::optimised, Kind::progressive}) {
    for (const int quality : {75, 90}) registerWork(quality, true, kind);
  }
}

[[maybe_unused]] const bool registered = (registerAll(), true);

} // namespace
} // namespace zelj::bench
