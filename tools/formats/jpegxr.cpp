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

  std::vector<Option> options() override {
    return {
        {Use::writing, "--lossless", nullptr, "", "keeps every sample (unless told otherwise)",
         [this](const std::string&) {
           encode_.quantizer = 0;
           return true;
         }},
        {Use::writing, "--quantizer", "Q", "1 to 255", "1 (finest) to 255",
         [this](const std::string& v) { return takeNumber(v, 1, 255, encode_.quantizer); }},
        {Use::writing, "--sampling", "S", "444 or 420", "of chroma, 444 or 420; 444",
         [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"444", "420"});
           if (found) encode_.halvesChroma = *found == 1;
           return found.has_value();
         }},
        {Use::writing, "--overlap", "N", "0, 1 or 2", "levels of the filter across blocks, 0 to 2; 1",
         [this](const std::string& v) { return takeNumber(v, 0, 2, encode_.overlap); }},
        {Use::writing, "--order", "O", "spatial or frequency", "spatial or frequency; spatial",
         [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"spatial", "frequency"});
           if (found) encode_.frequencyOrder = *found == 1;
           return found.has_value();
         }},
        {Use::writing, "--trim", "N", "0 to 15", "lowest bits of coefficients to leave out; 0",
         [this](const std::string& v) { return takeNumber(v, 0, 15, encode_.trim); }},
    };
  }

  bool matches(ByteSpan head) const override {
    return head.size() >= 4 && head[0] == 'I' && head[1] == 'I' && head[2] == 0xBC && head[3] <= 1;
  }

  Error open(img::ByteSource& source, const Settings& settings, std::unique_ptr<RowReader>& reader) override {
    return jpegxr::openReader(source, {settings.maxPixels, settings.keepGoing, settings.threads}, reader);
  }

  Picture nearest(const Picture& picture, const std::string&) const override {
    Picture nearest = picture;
    if (nearest.colour == Colour::cmyk) nearest.colour = Colour::rgb;
    nearest.alpha = false;
    nearest.bits = picture.bits <= 8 ? 8 : 16;
    return nearest;
  }

  Error create(img::ByteSink& sink, const Picture& picture, const Settings& settings,
               std::unique_ptr<RowWriter>& writer) override {
    encode_.threads = settings.threads;
    return jpegxr::openWriter(sink, picture, encode_, writer);
  }

 private:
  jpegxr::EncodeOptions encode_;
};

} // namespace

std::unique_ptr<Format> jpegXrFormat() {
  return std::make_unique<JpegXr>();
}

} // namespace formats
