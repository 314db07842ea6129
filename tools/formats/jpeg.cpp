// JPEG files by codecs/jpeg, and their options.
#include "jpeg/jpeg.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "formats/format.h"

namespace formats {
namespace {

Error readScript(const std::string& name, std::vector<jpeg::ScanSpec>& script) {
  if (name.empty()) return {};
  std::ifstream file(name);
  std::stringstream text;
  text << file.rdbuf();
  const Error error = file.good() ? jpeg::parseScript(text.str(), script) : fail("a script of scans cannot be read");
  return error ? Error{name + ": " + error.message, true} : error;
}

template <class Options>
bool takeRestart(const std::string& text, Options& options) {
  options.restartInRows = text.ends_with('r');
  return takeNumber(text.substr(0, text.size() - options.restartInRows), 1, 65535, options.restartInterval);
}

bool takeRoad(const std::string& text, jpeg::Road& road) {
  const std::optional<int> found = choice(text, {"planes", "mcu"});
  if (found) road = *found == 0 ? jpeg::Road::planes : jpeg::Road::mcu;
  return found.has_value();
}

class Jpeg : public Format {
 public:
  const char* name() const override { return "jpeg"; }
  const char* title() const override { return "JPEG"; }
  std::vector<const char*> extensions() const override { return {".jpg", ".jpeg", ".jfif", ".jpe", ".mpo"}; }

  std::vector<Option> options() override {
    return {
        {Use::writing, "--quality", "Q", "1 to 100", "of the picture, 1 to 100; 75",
         [this](const std::string& v) { return takeNumber(v, 1, 100, encode_.quality); }},
        {Use::writing, "--sampling", "S", "444, 422, 420, 440 or 411", "of chroma, 444, 422, 420, 440 or 411; 420",
         [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"444", "422", "420", "440", "411"});
           if (found) encode_.sampling = static_cast<jpeg::Sampling>(*found);
           return found.has_value();
         }},
        {Use::writing, "--grayscale", nullptr, "", "the luminance alone",
         [this](const std::string&) { return grey_ = true; }},
        {Use::writing, "--inks", "I", "ycck, cmyk or rgb", "C, M, Y, K as ycck, as they are (cmyk), or as rgb; ycck",
         [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"cmyk", "ycck", "rgb"});
           if (found) encode_.ycck = *found == 1;
           inksAsRgb_ = found == 2;
           return found.has_value();
         }},
        {Use::writing, "--road", "R", "planes or mcu", "makes coefficients by planes, or MCU by MCU; as is fastest",
         [this](const std::string& v) { return takeRoad(v, encode_.road); }},
        {Use::writing, "--optimize", nullptr, "", "makes Huffman tables to measure, in a second pass",
         [this](const std::string&) { return encode_.optimize = true; }},
        {Use::writing, "--progressive", nullptr, "", "several scans, from coarse to fine",
         [this](const std::string&) { return encode_.progressive = true; }},
        {Use::writing, "--scans", "FILE", "the name of a file", "scans by a script in a file",
         [this](const std::string& v) { return !(scans_ = v).empty(); }},
        {Use::writing, "--lossless", nullptr, "", "keeps every sample, of up to 16 bits",
         [this](const std::string&) { return encode_.lossless = true; }},
        {Use::writing, "--predictor", "N", "1 to 7", "of a lossless file, 1 to 7; 1",
         [this](const std::string& v) { return takeNumber(v, 1, 7, encode_.predictor); }},
        {Use::writing, "--point-transform", "N", "0 to 15", "leaves the N lowest bits out of a lossless file",
         [this](const std::string& v) { return takeNumber(v, 0, 15, encode_.pointTransform); }},
        {Use::writing, "--restart", "N", "1 to 65535, or 1r and more for rows of MCUs",
         "a restart marker every N MCUs, or rows of MCUs (2r)",
         [this](const std::string& v) { return takeRestart(v, encode_); }},
        {Use::writing, "--bits", "N", "8, 12 or, lossless, 2 to 16",
         "of a sample; 12 for pictures of 9 to 12 bits, else 8",
         [this](const std::string& v) { return takeNumber(v, 2, 16, bits_); }},
        {Use::recoding, "--progressive", nullptr, "", "makes a progressive file",
         [this](const std::string&) {
           recode_.process = jpeg::RecodeOptions::Process::progressive;
           return true;
         }},
        {Use::recoding, "--baseline", nullptr, "", "makes a file of one scan",
         [this](const std::string&) {
           recode_.process = jpeg::RecodeOptions::Process::sequential;
           return true;
         }},
        {Use::recoding, "--optimize", nullptr, "", "makes Huffman tables to measure",
         [this](const std::string&) { return recode_.optimize = true; }},
        {Use::recoding, "--quality", "Q", "1 to 100",
         "makes steps as coarse as those of a quality: not the same pixels",
         [this](const std::string& v) { return takeNumber(v, 1, 100, recode_.quality); }},
        {Use::recoding, "--scans", "FILE", "the name of a file", "scans by a script in a file",
         [this](const std::string& v) { return !(scans_ = v).empty(); }},
        {Use::recoding, "--restart", "N", "1 to 65535, or 1r and more for rows of MCUs",
         "a restart marker every N MCUs, or rows of MCUs (2r)",
         [this](const std::string& v) { return takeRestart(v, recode_); }},
        {Use::recoding, "--strip", nullptr, "", "leaves metadata and comments out",
         [this](const std::string&) { return recode_.strip = true; }},
        {Use::reading, "--scale", "1/N", "1/1, 1/2, 1/4 or 1/8", "the picture at 1/2, 1/4 or 1/8 of its size",
         [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"1/1", "1/2", "1/4", "1/8"});
           if (found) decode_.scale = 1 << *found;
           return found.has_value();
         }},
        {Use::reading, "--scans-read", "N", "1 to 500", "the picture that the first N scans of a progressive file make",
         [this](const std::string& v) { return takeNumber(v, 1, jpeg::kMostScans, decode_.scansRead); }},
        {Use::reading, "--road", "R", "planes or mcu", "makes pixels by planes, or MCU by MCU; as is fastest",
         [this](const std::string& v) { return takeRoad(v, decode_.road); }},
        {Use::reading, "--upsample", "U", "triangle or plain", "triangle (smooth) or plain chroma; triangle",
         [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"triangle", "plain"});
           if (found) decode_.upsampling = static_cast<jpeg::Upsampling>(*found);
           return found.has_value();
         }},
    };
  }

  std::vector<std::string_view> idleOptions() const override {
    if (encode_.lossless) return {"--quality", "--sampling", "--road", "--progressive", "--scans"};
    return {"--predictor", "--point-transform"};
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

  bool takesLayouts() const override { return true; }

  Picture nearest(const Picture& picture, const std::string&) const override {
    Picture nearest = picture;
    if (nearest.colour == Colour::cmyk && inksAsRgb_) nearest.colour = Colour::rgb;
    if (grey_) nearest.colour = Colour::grey;
    if (grey_ || (bits_ != 0 && bits_ != 8)) nearest.layout = img::Layout::usual;
    if (encode_.lossless) {
      nearest.alpha = false;
      nearest.bits = bits_ ? bits_ : std::clamp(picture.bits, 2, 16);
      return nearest;
    }
    nearest.alpha = false;
    nearest.bits = bits_ ? bits_ : picture.bits > 8 && picture.bits <= 12 ? 12 : 8;
    if (nearest.colour == Colour::cmyk && nearest.bits == 12) nearest.bits = 8;
    return nearest;
  }

  Error create(img::ByteSink& sink, const Picture& picture, const Settings& settings,
               std::unique_ptr<RowWriter>& writer) override {
    encode_.threads = settings.threads;
    if (Error error = readScript(scans_, encode_.script)) return error;
    return jpeg::openWriter(sink, picture, encode_, writer);
  }

  bool recodes() const override { return true; }
  Error recode(img::ByteSource& source, img::ByteSink& sink, const Settings& settings, std::string& damage) override {
    recode_.maxPixels = settings.maxPixels;
    recode_.keepGoing = settings.keepGoing;
    recode_.threads = settings.threads;
    if (Error error = readScript(scans_, recode_.script)) return error;
    return jpeg::recode(source, sink, recode_, damage);
  }

 private:
  jpeg::RecodeOptions recode_;
  jpeg::EncodeOptions encode_;
  jpeg::DecodeOptions decode_;
  std::string scans_; // the name of their script
  int bits_ = 0;      // 0: as the picture's
  bool grey_ = false, inksAsRgb_ = false;
};

} // namespace

std::unique_ptr<Format> jpegFormat() {
  return std::make_unique<Jpeg>();
}

} // namespace formats
