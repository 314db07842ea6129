#include "jpegxr/samples.h"
#include "jpegxr/tile_decoder.h"
#include "jpegxr/transform.h"

namespace jpegxr {
namespace {

class Reader : public img::RowReader {
 public:
  Error open(img::ByteSource& source, int64_t maxPixels) {
    if (Error error = source.loadAll()) return error;
    const ByteSpan file = source.visible();
    ByteSpan codestream;
    if (Error error = readContainer(file, codestream)) return error;
    if (Error error = readHeader(codestream, maxPixels, header_, packets_)) return error;
    // A macroblock takes some bits at least, whatever it holds.
    const auto macroblocks = static_cast<uint64_t>(header_.columns()) * static_cast<uint64_t>(header_.rows());
    if (macroblocks / 8 > codestream.size()) return fail("the file is too small for its number of pixels");
    codestream_.assign(codestream.begin(), codestream.end());
    picture_.width = header_.width;
    picture_.height = header_.height;
    picture_.colour = header_.isRgb ? img::Colour::rgb : img::Colour::grey;
    picture_.bits = header_.bits;
    return {};
  }

  Error read(const img::Rows& rows) override {
    if (!planes_) {
      if (Error error = decode()) return error;
    }
    for (int y = 0; y < rows.count; ++y) getRow(header_, *planes_, next_++, line_.data(), rows.row<uint8_t>(y));
    return {};
  }

 private:
  Error decode() {
    const size_t bytes = codestream_.size();
    codestream_.resize(bytes + kSpareBytes);
    planes_ = std::make_unique<Planes>(header_);
    line_.resize(2 * static_cast<size_t>(planes_->component[0].plane.width));
    if (Error error = decodeTile(header_, ByteSpan(codestream_).first(bytes), packets_, *planes_)) return error;
    transformInverse(header_, *planes_);
    codestream_ = Bytes();
    return {};
  }

  Header header_;
  std::array<Packet, 4> packets_{};
  Bytes codestream_;
  std::unique_ptr<Planes> planes_;
  std::vector<Zel32s> line_;
  int next_ = 0;
};

} // namespace

Error openReader(img::ByteSource& source, int64_t maxPixels, std::unique_ptr<img::RowReader>& reader) {
  auto own = std::make_unique<Reader>();
  if (Error error = own->open(source, maxPixels)) return error;
  reader = std::move(own);
  return {};
}

} // namespace jpegxr
