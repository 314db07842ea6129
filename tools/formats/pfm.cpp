// PFM files: grey or R, G, B in floating point, the lowest row first.
#include <bit>
#include <cstring>

#include "common/image.h"
#include "formats/format.h"

namespace formats {
namespace {

class PfmWriter : public RowWriter {
 public:
  PfmWriter(img::ByteSink& sink, const Picture& picture) : sink_(sink) { shape(image_, picture); }

  Error write(const img::ConstRows& rows) override {
    for (int y = 0; y < rows.count; ++y) {
      std::memcpy(image_.row<uint8_t>(next_++), rows.row<uint8_t>(y), image_.rowBytes());
    }
    return {};
  }

  Error finish() override {
    const std::string header = img::format("P%c\n%d %d\n%s\n", image_.colour == Colour::grey ? 'f' : 'F', image_.width,
                                           image_.height, std::endian::native == std::endian::little ? "-1.0" : "1.0");
    if (Error error = sink_.write({reinterpret_cast<const uint8_t*>(header.data()), header.size()})) return error;
    for (int y = image_.height - 1; y >= 0; --y) {
      if (Error error = sink_.write({image_.row<uint8_t>(y), image_.rowBytes()})) return error;
    }
    return {};
  }

 private:
  img::ByteSink& sink_;
  img::Image image_;
  int next_ = 0;
};

class Pfm : public Format {
 public:
  const char* name() const override { return "pfm"; }
  const char* title() const override { return "PFM"; }
  std::vector<const char*> extensions() const override { return {".pfm"}; }

  bool matches(ByteSpan head) const override {
    return head.size() > 2 && head[0] == 'P' && (head[1] == 'f' || head[1] == 'F') && head[2] == '\n';
  }

  Error open(img::ByteSource&, const Settings&, std::unique_ptr<RowReader>&) override {
    return fail("PFM files are written only");
  }

  Picture nearest(const Picture& picture, const std::string&) const override {
    Picture nearest = picture;
    if (nearest.colour == Colour::cmyk) nearest.colour = Colour::rgb;
    nearest.alpha = false;
    nearest.bits = 32;
    return nearest;
  }

  Error create(img::ByteSink& sink, const Picture& picture, const Settings&,
               std::unique_ptr<RowWriter>& writer) override {
    writer = std::make_unique<PfmWriter>(sink, picture);
    return {};
  }
};

} // namespace

std::unique_ptr<Format> pfmFormat() {
  return std::make_unique<Pfm>();
}

} // namespace formats
