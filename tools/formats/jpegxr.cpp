// JPEG XR files by codecs/jpegxr, and their options.
#include "jpegxr/jpegxr.h"

#include "formats/format.h"

namespace formats {
namespace {

class JpegXr : public Format {
 public:
  const char* name() const override { return "jpegxr"; }
  const char* title() const override { return "JPEG XR"; }
  std::vector<const char*> extensions() const override { return {".jxr", ".wdp", ".hdp"}; }

  std::vector<Option> options() override { return {}; }

  bool matches(ByteSpan head) const override {
    return head.size() >= 4 && head[0] == 'I' && head[1] == 'I' && head[2] == 0xBC && head[3] <= 1;
  }

  Error open(img::ByteSource& source, const Settings& settings, std::unique_ptr<RowReader>& reader) override {
    return jpegxr::openReader(source, settings.maxPixels, reader);
  }

  Picture nearest(const Picture& picture, const std::string&) const override {
    Picture nearest = picture;
    if (nearest.colour == Colour::cmyk) nearest.colour = Colour::rgb;
    nearest.alpha = false;
    nearest.bits = picture.bits <= 8 ? 8 : 16;
    return nearest;
  }

  Error create(img::ByteSink&, const Picture&, const Settings&, std::unique_ptr<RowWriter>&) override {
    return fail("writing JPEG XR: not supported yet");
  }
};

} // namespace

std::unique_ptr<Format> jpegXrFormat() {
  return std::make_unique<JpegXr>();
}

} // namespace formats
