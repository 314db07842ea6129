#include "jpegxr/samples.h"
#include "jpegxr/tile_encoder.h"
#include "jpegxr/transform.h"

namespace jpegxr {
namespace {

Header headerFor(const img::Picture& picture, const EncodeOptions& options) {
  Header header;
  header.width = picture.width;
  header.height = picture.height;
  header.isRgb = picture.colour == img::Colour::rgb;
  header.bits = picture.bits;
  header.frequencyOrder = options.frequencyOrder;
  header.hasTrim = options.trim > 0;
  header.inner = !header.isRgb ? Inner::yOnly : options.halvesChroma ? Inner::yuv420 : Inner::yuv444;
  header.scaled = options.quantizer > 0 || header.inner == Inner::yuv420;
  header.overlap = options.overlap;
  // The second level is not defined for halved chroma of a single macroblock.
  if (header.inner == Inner::yuv420 && header.columns() < 2 && header.overlap == 2) header.overlap = 1;
  for (auto& set : header.index) set.fill(options.quantizer);
  return header;
}

class Writer : public img::RowWriter {
 public:
  Writer(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options)
      : sink_(sink), header_(headerFor(picture, options)), trim_(options.trim), planes_(header_) {
    const Plane& luma = planes_.component[0].plane;
    if (header_.inner == Inner::yuv420) chroma_ = {Plane(luma.width, luma.height), Plane(luma.width, luma.height)};
  }

  Error write(const img::ConstRows& rows) override {
    for (int y = 0; y < rows.count; ++y) putRow(header_, rows.row<uint8_t>(y), next_++, planes_, chroma_);
    return {};
  }

  Error finish() override {
    finishPlanes(header_, planes_, chroma_);
    chroma_ = {};
    transformForward(header_, planes_);
    const std::array<Bytes, 4> packets = encodeTile(header_, trim_, planes_);
    std::array<size_t, 4> sizes;
    for (size_t i = 0; i < 4; ++i) sizes[i] = packets[i].size();
    if (Error error = sink_.write(makeFileHead(header_, sizes))) return error;
    for (const Bytes& packet : packets) {
      if (packet.empty()) continue;
      if (Error error = sink_.write(packet)) return error;
    }
    return {};
  }

 private:
  img::ByteSink& sink_;
  const Header header_;
  const int trim_;
  Planes planes_;
  FullChroma chroma_;
  int next_ = 0;
};

} // namespace

Error openWriter(img::ByteSink& sink, const img::Picture& picture, const EncodeOptions& options,
                 std::unique_ptr<img::RowWriter>& writer) {
  if (picture.bits != 8 && picture.bits != 16) return fail("%d bits: not supported", picture.bits);
  if (picture.colour == img::Colour::cmyk || picture.alpha) return fail("C, M, Y, K or alpha: not supported");
  writer = std::make_unique<Writer>(sink, picture, options);
  return {};
}

} // namespace jpegxr
