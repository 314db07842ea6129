// OpenJPEG's whole codec in memory, by its public interface: one thread, no files.
#pragma once

#include <openjpeg.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace zelj::bench {

// A file in memory that the codec reads or writes.
struct PeerFile {
  std::vector<uint8_t> bytes;
  size_t position = 0;

  auto open(bool forReading) {
    position = 0;
    if (!forReading) bytes.clear();
    opj_stream_t* stream = opj_stream_default_create(forReading);
    opj_stream_set_user_data(stream, this, nullptr);
    opj_stream_set_user_data_length(stream, bytes.size());
    opj_stream_set_read_function(stream, [](void* to, OPJ_SIZE_T n, void* user) {
      auto& file = *static_cast<PeerFile*>(user);
      n = std::min<OPJ_SIZE_T>(n, file.bytes.size() - file.position);
      if (n == 0) return static_cast<OPJ_SIZE_T>(-1);
      std::memcpy(to, file.bytes.data() + file.position, n);
      file.position += n;
      return n;
    });
    opj_stream_set_write_function(stream, [](void* from, OPJ_SIZE_T n, void* user) {
      auto& file = *static_cast<PeerFile*>(user);
      file.bytes.resize(std::max(file.bytes.size(), file.position + n));
      std::memcpy(file.bytes.data() + file.position, from, n);
      file.position += n;
      return n;
    });
    opj_stream_set_skip_function(stream, [](OPJ_OFF_T n, void* user) {
      static_cast<PeerFile*>(user)->position += static_cast<size_t>(n);
      return n;
    });
    opj_stream_set_seek_function(stream, [](OPJ_OFF_T to, void* user) {
      static_cast<PeerFile*>(user)->position = static_cast<size_t>(to);
      return OPJ_BOOL{1};
    });
    return std::unique_ptr<opj_stream_t, void (*)(opj_stream_t*)>(
        stream, [](opj_stream_t* s) { opj_stream_destroy(static_cast<opj_stream_t*>(s)); });
  }
};

using PeerCodec = std::unique_ptr<opj_codec_t, void (*)(opj_codec_t*)>;
using PeerImage = std::unique_ptr<opj_image_t, void (*)(opj_image_t*)>;

inline void requirePeer(bool succeeded) {
  if (succeeded) return;
  std::fprintf(stderr, "the peer failed\n");
  std::exit(1);
}

// An image whose samples are to be filled in.
inline PeerImage peerImage(size_t planes, int width, int height, int bits, bool isSigned) {
  std::vector<opj_image_cmptparm_t> components(planes);
  for (auto& c : components) {
    c = {};
    c.dx = c.dy = 1;
    c.w = static_cast<OPJ_UINT32>(width);
    c.h = static_cast<OPJ_UINT32>(height);
    c.prec = static_cast<OPJ_UINT32>(bits);
    c.sgnd = isSigned;
  }
  PeerImage image(opj_image_create(static_cast<OPJ_UINT32>(planes), components.data(),
                                   planes == 3 ? OPJ_CLRSPC_SRGB : OPJ_CLRSPC_GRAY),
                  opj_image_destroy);
  requirePeer(image != nullptr);
  image->x1 = static_cast<OPJ_UINT32>(width);
  image->y1 = static_cast<OPJ_UINT32>(height);
  return image;
}

// Takes the samples out of the image.
inline void peerEncode(opj_image_t& image, opj_cparameters_t& parameters, PeerFile& file) {
  const PeerCodec codec(opj_create_compress(OPJ_CODEC_J2K), opj_destroy_codec);
  const auto stream = file.open(false);
  requirePeer(opj_setup_encoder(codec.get(), &parameters, &image) &&
              opj_start_compress(codec.get(), &image, stream.get()) && opj_encode(codec.get(), stream.get()) &&
              opj_end_compress(codec.get(), stream.get()));
}

inline PeerImage peerDecode(PeerFile& file) {
  const PeerCodec codec(opj_create_decompress(OPJ_CODEC_J2K), opj_destroy_codec);
  opj_dparameters_t parameters;
  opj_set_default_decoder_parameters(&parameters);
  const auto stream = file.open(true);
  opj_image_t* image = nullptr;
  requirePeer(opj_setup_decoder(codec.get(), &parameters) && opj_read_header(stream.get(), codec.get(), &image) &&
              opj_decode(codec.get(), stream.get(), image));
  return PeerImage(image, opj_image_destroy);
}

} // namespace zelj::bench
