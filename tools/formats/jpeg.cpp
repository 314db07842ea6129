// JPEG files by codecs/jpeg, and their options.
#include "jpeg/jpeg.h"

#include "formats/format.h"

namespace formats {
namespace {

class Jpeg : public Format {
 public:
  const char* name() const override { return "jpeg"; }
  const char* title() const override { return "JPEG"; }
  std::vector<const char*> extensions() const override { return {".jpg", ".jpeg", ".jfif", ".jpe", ".mpo"}; }

  std::vector<Option> options() override {
    return {
        {Use::writing, "--quality", "Q", "1 to 100", "of the picture, 1 to 100; 75",
         [this](const std::string& v) { return takeNumber(v, 1, 100, encode_.quality); }},
        {Use::writing, "--sampling", "S", "444, 422 or 420", "of chroma, 444, 422 or 420; 420",
         [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"444", "422", "420"});
           if (found) encode_.sampling = static_cast<jpeg::Sampling>(*found);
           return found.has_value();
         }},
        {Use::writing, "--restart", "N", "1 to 65535, or 1r and more for rows of MCUs",
         "a restart marker every N MCUs, or rows of MCUs (2r)",
         [this](const std::string& v) {
           encode_.restartInRows = v.ends_with('r');
           return takeNumber(v.substr(0, v.size() - encode_.restartInRows), 1, 65535, encode_.restartInterval);
         }},
        {Use::writing, "--bits", "N", "8 or 12", "of a sample; 12 for pictures of 12 bits, else 8",
         [this](const std::string& v) {
           return choice(v, {"8", "12"}) && takeNumber(v, 8, 12, bits_);
         }},
        {Use::reading, "--scale", "1/N", "1/1, 1/2, 1/4 or 1/8", "the picture at 1/2, 1/4 or 1/8 of its size",
         [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"1/1", "1/2", "1/4", "1/8"});
           if (found) decode_.scale = 1 << *found;
           return found.has_value();
         }},
        {Use::reading, "--upsample", "U", "triangle or plain", "triangle (smooth) or plain chroma; triangle",
         [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"triangle", "plain"});
           if (found) decode_.upsampling = static_cast<jpeg::Upsampling>(*found);
           return found.has_value();
         }},
    };
  }

  bool matches(ByteSpan head) const override {
    return head.size() >= 3 && head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF;
  }

  Error open(img::ByteSource& source, const Settings& settings, std::unique_ptr<RowReader>& reader) override {
    decode_.threads = settings.threads;
    decode_.maxPixels = settings.maxPixels;
    decode_.keepGoing = settings.keepGoing;
    return jpeg::openReader(source, decode_, reader);
  }

  Error describe(img::ByteSource& source, const Settings&, std::string& text) override {
    return jpeg::describe(source, text);
  }

  Picture nearest(const Picture& picture, const std::string&) const override {
    Picture nearest = picture;
    if (nearest.colour == Colour::cmyk) nearest.colour = Colour::rgb;
    nearest.alpha = false;
    nearest.bits = bits_ ? bits_ : picture.bits == 12 ? 12 : 8;
    return nearest;
  }

  Error create(img::ByteSink& sink, const Picture& picture, const Settings& settings,
               std::unique_ptr<RowWriter>& writer) override {
    encode_.threads = settings.threads;
    return jpeg::openWriter(sink, picture, encode_, writer);
  }

 private:
  jpeg::EncodeOptions encode_;
  jpeg::DecodeOptions decode_;
  int bits_ = 0; // 0: as the picture's
};

} // namespace

std::unique_ptr<Format> jpegFormat() {
  return std::make_unique<Jpeg>();
}

} // namespace formats
