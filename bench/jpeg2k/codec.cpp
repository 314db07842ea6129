// The JPEG 2000 codec, whole pictures in memory, beside OpenJPEG's own by its public interface: lossless (5/3), and
// 10:1 (9/7), its standard structure, one thread. Each reads the file that the peer has written.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "jpeg2000/jpeg2000.h"
#include "support/measure.h"
#include "support/openjpeg_codec.h"
#include "support/picture.h"

namespace zelj::bench {
namespace {

[[noreturn]] void give(const char* up) {
  std::fprintf(stderr, "jpeg2000: %s failed\n", up);
  std::exit(1);
}

void peerEncode(const img::Image& picture, bool lossy, PeerFile& file) {
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  parameters.tcp_numlayers = 1;
  parameters.cp_disto_alloc = 1;
  parameters.tcp_rates[0] = lossy ? 10 : 0;
  parameters.irreversible = lossy;
  parameters.tcp_mct = 1;
  const PeerImage image = peerImage(3, picture.width, picture.height, 8, false);
  const uint8_t* from = picture.row<uint8_t>(0);
  for (size_t i = 0; i < size_t{image->x1} * image->y1; ++i) {
    for (size_t c = 0; c < 3; ++c) image->comps[c].data[i] = from[3 * i + c];
  }
  peerEncode(*image, parameters, file);
}

void peerDecode(PeerFile& file, img::Image& picture) {
  const PeerImage image = peerDecode(file);
  uint8_t* to = picture.row<uint8_t>(0);
  for (size_t i = 0; i < size_t{image->x1} * image->y1; ++i) {
    for (size_t c = 0; c < 3; ++c) to[3 * i + c] = static_cast<uint8_t>(image->comps[c].data[i]);
  }
}

void ourEncode(const img::Image& picture, bool lossy, img::Bytes& file) {
  file.clear();
  j2k::EncodeOptions options;
  if (lossy) options.rates = {2.4};
  img::MemorySink sink(file);
  std::unique_ptr<img::RowWriter> writer;
  if (j2k::openWriter(sink, picture, options, writer) || img::writeAll(picture, *writer)) give("our encoder");
}

void ourDecode(const img::Bytes& file, img::Image& picture) {
  img::ByteSource source(file);
  std::unique_ptr<img::RowReader> reader;
  if (j2k::openReader(source, {}, reader) || img::readAll(*reader, picture)) give("our decoder");
}

struct Buffers {
  PeerFile file;
  img::Bytes bytes;
  img::Image picture;
};

[[maybe_unused]] const bool registered = [] {
  for (const bool lossy : {false, true}) {
    const std::string kind = lossy ? ", 10:1" : ", lossless";
    const auto buffers = std::make_shared<Buffers>();
    const auto add = [&](const char* work, const char* who, auto f) {
      measure("jpeg2000/" + (work + kind), who, "pixels", 2048.0 * 2048, f)->Unit(benchmark::kMillisecond);
    };
    const auto ready = [=] {
      if (!buffers->file.bytes.empty()) return;
      peerEncode(picture(), lossy, buffers->file);
      buffers->picture = picture();
    };
    add("encode", "zelj", [=] { ourEncode(picture(), lossy, buffers->bytes); });
    add("encode", "openjpeg", [=] { peerEncode(picture(), lossy, buffers->file); });
    add("decode", "zelj", [=] {
      ready();
      ourDecode(buffers->file.bytes, buffers->picture);
    });
    add("decode", "openjpeg", [=] {
      ready();
      peerDecode(buffers->file, buffers->picture);
    });
  }
  return true;
}();

} // namespace
} // namespace zelj::bench
