// The JPEG 2000 codec, whole pictures in memory, beside OpenJPEG's own by its public interface: lossless (5/3), and
// 10:1 (9/7), its standard structure, one thread. Each reads the file that the peer has written.
#include <openjpeg.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "jpeg2000/jpeg2000.h"
#include "support/measure.h"
#include "support/picture.h"

namespace zelj::bench {
namespace {

// A file in memory, as the peer's streams want it.
struct Memory {
  img::Bytes bytes;
  size_t at = 0;
};

opj_stream_t* streamOf(Memory& memory, bool input) {
  opj_stream_t* stream = opj_stream_create(1 << 20, input);
  opj_stream_set_user_data(stream, &memory, nullptr);
  opj_stream_set_user_data_length(stream, memory.bytes.size());
  opj_stream_set_read_function(stream, [](void* to, OPJ_SIZE_T count, void* user) -> OPJ_SIZE_T {
    auto& m = *static_cast<Memory*>(user);
    count = std::min(count, m.bytes.size() - m.at);
    if (!count) return static_cast<OPJ_SIZE_T>(-1);
    std::memcpy(to, m.bytes.data() + m.at, count);
    m.at += count;
    return count;
  });
  opj_stream_set_write_function(stream, [](void* from, OPJ_SIZE_T count, void* user) -> OPJ_SIZE_T {
    auto& m = *static_cast<Memory*>(user);
    if (m.bytes.size() < m.at + count) m.bytes.resize(m.at + count);
    std::memcpy(m.bytes.data() + m.at, from, count);
    m.at += count;
    return count;
  });
  opj_stream_set_skip_function(stream, [](OPJ_OFF_T count, void* user) -> OPJ_OFF_T {
    static_cast<Memory*>(user)->at += static_cast<size_t>(count);
    return count;
  });
  opj_stream_set_seek_function(stream, [](OPJ_OFF_T to, void* user) -> OPJ_BOOL {
    static_cast<Memory*>(user)->at = static_cast<size_t>(to);
    return OPJ_TRUE;
  });
  return stream;
}

[[noreturn]] void give(const char* up) {
  std::fprintf(stderr, "jpeg2000: %s failed\n", up);
  std::exit(1);
}

void peerEncode(const img::Image& picture, bool lossy, Memory& file) {
  file.at = 0;
  file.bytes.clear();
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  parameters.tcp_numlayers = 1;
  parameters.cp_disto_alloc = 1;
  parameters.tcp_rates[0] = lossy ? 10 : 0;
  parameters.irreversible = lossy;
  parameters.tcp_mct = 1;
  opj_image_cmptparm_t components[3] = {};
  for (auto& c : components) {
    c.dx = c.dy = 1;
    c.w = static_cast<OPJ_UINT32>(picture.width);
    c.h = static_cast<OPJ_UINT32>(picture.height);
    c.prec = 8;
  }
  opj_image_t* image = opj_image_create(3, components, OPJ_CLRSPC_SRGB);
  image->x1 = components[0].w;
  image->y1 = components[0].h;
  const uint8_t* from = picture.row<uint8_t>(0);
  for (size_t i = 0; i < size_t{image->x1} * image->y1; ++i) {
    for (size_t c = 0; c < 3; ++c) image->comps[c].data[i] = from[3 * i + c];
  }
  opj_codec_t* codec = opj_create_compress(OPJ_CODEC_J2K);
  opj_stream_t* stream = streamOf(file, false);
  if (!opj_setup_encoder(codec, &parameters, image) || !opj_start_compress(codec, image, stream) ||
      !opj_encode(codec, stream) || !opj_end_compress(codec, stream)) {
    give("the peer's encoder");
  }
  opj_stream_destroy(stream);
  opj_destroy_codec(codec);
  opj_image_destroy(image);
}

void peerDecode(Memory& file, img::Image& picture) {
  file.at = 0;
  opj_dparameters_t parameters;
  opj_set_default_decoder_parameters(&parameters);
  opj_codec_t* codec = opj_create_decompress(OPJ_CODEC_J2K);
  opj_stream_t* stream = streamOf(file, true);
  opj_image_t* image = nullptr;
  if (!opj_setup_decoder(codec, &parameters) || !opj_read_header(stream, codec, &image) ||
      !opj_decode(codec, stream, image) || !opj_end_decompress(codec, stream)) {
    give("the peer's decoder");
  }
  uint8_t* to = picture.row<uint8_t>(0);
  for (size_t i = 0; i < size_t{image->x1} * image->y1; ++i) {
    for (size_t c = 0; c < 3; ++c) to[3 * i + c] = static_cast<uint8_t>(image->comps[c].data[i]);
  }
  opj_stream_destroy(stream);
  opj_destroy_codec(codec);
  opj_image_destroy(image);
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
  Memory file;
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
