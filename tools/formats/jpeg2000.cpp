// JPEG 2000 files by codecs/jpeg2000, and their options.
#include "jpeg2000/jpeg2000.h"

#include <algorithm>
#include <cstdlib>

#include "formats/format.h"
#include "jpeg2000/jp2.h"

namespace formats {
namespace {

class Jpeg2000 : public Format {
 public:
  const char* name() const override { return "jpeg2000"; }
  const char* title() const override { return "JPEG 2000"; }
  std::vector<const char*> extensions() const override { return {".jp2", ".j2k", ".j2c", ".jpc", ".jpx", ".jpf"}; }

  std::vector<Option> options() override {
    return {
        {Use::writing, "--rate", "B,...", "bits a pixel, ascending", "bits a pixel of each quality layer; lossless",
         [this](const std::string& v) { return takeRates(v); }},
        {Use::writing, "--psnr", "D", "10 to 100", "quality in dB, instead of a rate",
         [this](const std::string& v) {
           char* end = nullptr;
           encode_.psnr = std::strtod(v.c_str(), &end);
           return !*end && encode_.psnr >= 10 && encode_.psnr <= 100;
         }},
        {Use::writing, "--lossless", nullptr, "", "5/3 wavelet, all bits; what is done unless told otherwise",
         [this](const std::string&) {
           encode_.rates.clear();
           encode_.psnr = 0;
           return true;
         }},
        {Use::writing, "--levels", "N", "0 to 10", "of decomposition, 0 to 10; 5",
         [this](const std::string& v) { return takeNumber(v, 0, 10, encode_.levels); }},
        {Use::writing, "--tile", "WxH", "as 512x512", "size of tiles; one tile",
         [this](const std::string& v) { return takeSize(v, 1, 1 << 30, encode_.tileWidth, encode_.tileHeight); }},
        {Use::writing, "--block", "WxH", "powers of 2, 4x4 to 64x64, 1024x4 or 4x1024", "size of code-blocks; 64x64",
         [this](const std::string& v) { return takeSize(v, 4, 1024, encode_.blockWidth, encode_.blockHeight); }},
        {Use::writing, "--style", "S,...", "bypass, reset, termall, causal, predictable, segsym",
         "of code-blocks: bypass, reset, termall, causal, predictable, segsym",
         [this](const std::string& v) { return takeStyles(v); }},
        {Use::writing, "--progression", "P", "LRCP, RLCP, RPCL, PCRL or CPRL", "order of packets; LRCP",
         [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"});
           if (found) encode_.order = static_cast<j2k::Order>(*found);
           return found.has_value();
         }},
        {Use::writing, "--precinct", "WxH,...", "powers of 2, from the highest resolution down",
         "sizes of precincts, from the highest resolution down",
         [this](const std::string& v) { return takePrecincts(v); }},
        {Use::writing, "--packet-markers", nullptr, "", "SOP and EPH around the headers of packets",
         [this](const std::string&) { return encode_.packetMarkers = true; }},
        {Use::reading, "--reduce", "N", "0 to 32", "resolutions to leave out, each half as large; 0",
         [this](const std::string& v) { return takeNumber(v, 0, 32, decode_.reduce); }},
        {Use::reading, "--layers", "N", "1 to 65535", "quality layers to use; all",
         [this](const std::string& v) { return takeNumber(v, 1, 65535, decode_.layers); }},
    };
  }

  bool matches(ByteSpan head) const override { return j2k::isContainer(head) || j2k::isCodestream(head); }

  Error open(img::ByteSource& source, const Settings& settings, std::unique_ptr<RowReader>& reader) override {
    decode_.threads = settings.threads;
    decode_.maxPixels = settings.maxPixels;
    decode_.keepGoing = settings.keepGoing;
    return j2k::openReader(source, decode_, reader);
  }

  Error describe(img::ByteSource& source, const Settings&, std::string& text) override {
    return j2k::describe(source, text);
  }

  Picture nearest(const Picture& picture, const std::string& extension) const override {
    container_ = extension != ".j2k" && extension != ".j2c" && extension != ".jpc";
    Picture nearest = picture;
    if (nearest.colour == Colour::cmyk) nearest.colour = Colour::rgb;
    if (nearest.bits > 16) nearest.bits = 16;
    return nearest;
  }

  Error create(img::ByteSink& sink, const Picture& picture, const Settings& settings,
               std::unique_ptr<RowWriter>& writer) override {
    encode_.threads = settings.threads;
    encode_.container = container_;
    return j2k::openWriter(sink, picture, encode_, writer);
  }

 private:
  // Calls take(item) for each item of a list.
  template <class F>
  static bool forItems(const std::string& list, F take) {
    for (size_t begin = 0; begin <= list.size();) {
      const size_t end = std::min(list.find(',', begin), list.size());
      if (!take(list.substr(begin, end - begin))) return false;
      begin = end + 1;
    }
    return true;
  }
  static bool takeSize(const std::string& text, int low, int high, int& width, int& height) {
    const size_t x = text.find('x');
    return x != std::string::npos && takeNumber(text.substr(0, x), low, high, width) &&
           takeNumber(text.substr(x + 1), low, high, height);
  }
  bool takeRates(const std::string& list) {
    encode_.rates.clear();
    return forItems(list, [this](const std::string& item) {
      char* end = nullptr;
      const double rate = std::strtod(item.c_str(), &end);
      const bool good =
          !item.empty() && !*end && rate > 0 && rate <= 1000 && (encode_.rates.empty() || rate > encode_.rates.back());
      encode_.rates.push_back(rate);
      return good;
    });
  }
  bool takeStyles(const std::string& list) {
    encode_.style = 0;
    return forItems(list, [this](const std::string& item) {
      const std::optional<int> bit = choice(item, {"bypass", "reset", "termall", "causal", "predictable", "segsym"});
      if (bit) encode_.style |= 1 << *bit;
      return bit.has_value();
    });
  }
  bool takePrecincts(const std::string& list) {
    encode_.precincts.clear();
    return forItems(list, [this](const std::string& item) {
      auto& size = encode_.precincts.emplace_back();
      return takeSize(item, 2, 32768, size.first, size.second);
    });
  }

  j2k::EncodeOptions encode_;
  j2k::DecodeOptions decode_;
  mutable bool container_ = true; // as the extension of the file wants it
};

} // namespace

std::unique_ptr<Format> jpeg2000Format() {
  return std::make_unique<Jpeg2000>();
}

} // namespace formats
