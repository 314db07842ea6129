// TIFF files by codecs/tiff, and their options.
#include "tiff/tiff.h"

#include "formats/format.h"

namespace formats {
namespace {

class Tiff : public Format {
 public:
  const char* name() const override { return "tiff"; }
  const char* title() const override { return "TIFF"; }
  std::vector<const char*> extensions() const override { return {".tif", ".tiff"}; }

  std::vector<Option> options() override {
    return {
        {Use::reading, "--page", "N", "1 to 65535", "the picture of page N, if there are several; 1",
         [this](const std::string& v) { return takeNumber(v, 1, tiff::kMaxPages, page_); }},
        {Use::writing, "--compression", "C", "none or packbits", "none or packbits; packbits",
         [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"none", "packbits"});
           if (found) encode_.compression = static_cast<tiff::Compression>(*found);
           return found.has_value();
         }},
        {Use::writing, "--byte-planes", nullptr, "", "16 bits as two planes of bytes; no other program reads it",
         [this](const std::string&) { return encode_.bytePlanes = true; }},
    };
  }

  bool matches(ByteSpan head) const override {
    return head.size() >= 4 && head[0] == head[1] &&
           ((head[0] == 'I' && (head[2] == 42 || head[2] == 43) && head[3] == 0) ||
            (head[0] == 'M' && head[2] == 0 && (head[3] == 42 || head[3] == 43)));
  }

  Error open(img::ByteSource& source, const Settings& settings, std::unique_ptr<RowReader>& reader) override {
    return tiff::openReader(source, {settings.maxPixels, settings.keepGoing, page_}, reader);
  }

  Error describe(img::ByteSource& source, const Settings& settings, std::string& text) override {
    int pages = 0;
    if (Error error = tiff::countPages(source, pages)) return error;
    if (Error error = source.seek(0)) return error;
    if (Error error = Format::describe(source, settings, text)) return error;
    if (pages > 1) text += img::format("pages: %d\n", pages);
    return {};
  }

  Picture nearest(const Picture& picture, const std::string&) const override {
    Picture nearest = picture;
    if (nearest.colour == Colour::cmyk) nearest.colour = Colour::rgb;
    nearest.bits = picture.bits <= 8 ? 8 : 16;
    return nearest;
  }

  Error create(img::ByteSink& sink, const Picture& picture, const Settings&,
               std::unique_ptr<RowWriter>& writer) override {
    return tiff::openWriter(sink, picture, encode_, writer);
  }

 private:
  tiff::EncodeOptions encode_;
  int page_ = 0;
};

} // namespace

std::unique_ptr<Format> tiffFormat() {
  return std::make_unique<Tiff>();
}

} // namespace formats
