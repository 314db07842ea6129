// DDS and KTX2 files by codecs/texture, and their options.
#include "texture/texture.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "formats/format.h"

namespace formats {
namespace {

class Texture : public Format {
 public:
  explicit Texture(texture::Container container) : container_(container) {}

  const char* name() const override { return isDds() ? "dds" : "ktx2"; }
  const char* title() const override { return isDds() ? "DDS" : "KTX2"; }
  std::vector<const char*> extensions() const override { return {isDds() ? ".dds" : ".ktx2"}; }

  std::vector<Option> options() override {
    return {
        {Use::writing, "--texture", "T", "bc1, bc2, bc3, bc4, bc5, bc7, ycocg or rgba8",
         "bc1 to bc5, bc7, ycocg (in bc3) or rgba8; bc7",
         [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"bc1", "bc2", "bc3", "bc4", "bc5", "bc7", "ycocg", "rgba8"});
           if (found) encode_.target = static_cast<texture::Target>(*found);
           return found.has_value();
         }},
        {Use::writing, "--mips", nullptr, "", "with all smaller levels, averages of light",
         [this](const std::string&) { return encode_.mips = true; }},
        {Use::writing, "--effort", "E", "fast, normal or best", "of the search for BC7, fast, normal or best; normal",
         [this](const std::string& v) {
           const std::optional<int> found = choice(v, {"fast", "normal", "best"});
           if (found) encode_.effort = static_cast<texture::Effort>(*found);
           return found.has_value();
         }},
        {Use::writing, "--modes", "M,...", "numbers from 0 to 7 with commas between them",
         "of BC7 that are tried, in place of the effort's", [this](const std::string& v) { return takeModes(v); }},
        {Use::writing, "--linear", nullptr, "", "no sRGB colours (normals, say): averaged as they are",
         [this](const std::string&) { return encode_.linear = true; }},
        {Use::writing, "--report", nullptr, "", "tells the PSNR of each channel and the bits a pixel",
         [this](const std::string&) { return encode_.report = true; }},
        {Use::reading, "--level", "N", "0 to 30", "of the mip chain; 0",
         [this](const std::string& v) { return takeNumber(v, 0, 30, decode_.level); }},
        {Use::reading, "--face", "N", "0 to 5", "of a cube map; 0",
         [this](const std::string& v) { return takeNumber(v, 0, 5, decode_.face); }},
        {Use::reading, "--layer", "N", "0 to 65535", "of an array; 0",
         [this](const std::string& v) { return takeNumber(v, 0, 65535, decode_.layer); }},
        {Use::reading, "--ycocg", nullptr, "", "the file holds YCoCg in BC3, also where it does not say so",
         [this](const std::string&) { return decode_.yCoCg = true; }},
    };
  }

  bool matches(ByteSpan head) const override {
    const char* magic = isDds() ? "DDS " : "\xABKTX 20\xBB\r\n\x1A\n";
    return head.size() >= std::strlen(magic) && std::memcmp(head.data(), magic, std::strlen(magic)) == 0;
  }

  Error open(img::ByteSource& source, const Settings& settings, std::unique_ptr<RowReader>& reader) override {
    decode_.maxPixels = settings.maxPixels;
    decode_.keepGoing = settings.keepGoing;
    return texture::openReader(source, container_, decode_, reader);
  }

  Error describe(img::ByteSource& source, const Settings&, std::string& text) override {
    return texture::describe(source, container_, text);
  }

  Picture nearest(const Picture& picture, const std::string&) const override {
    return texture::nearest(picture, encode_.target);
  }

  Error create(img::ByteSink& sink, const Picture& picture, const Settings& settings,
               std::unique_ptr<RowWriter>& writer) override {
    const int all = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, 64u));
    encode_.threads = settings.threadsGiven || encode_.target != texture::Target::bc7 ? settings.threads : all;
    return texture::openWriter(sink, container_, picture, encode_, writer);
  }

 private:
  bool isDds() const { return container_ == texture::Container::dds; }

  bool takeModes(const std::string& list) {
    encode_.modes = 0;
    for (size_t i = 0; i < list.size(); i += 2) {
      if (list[i] < '0' || list[i] > '7' || (i + 1 < list.size() && list[i + 1] != ',')) return false;
      encode_.modes |= 1u << (list[i] - '0');
    }
    return encode_.modes != 0 && list.back() != ',';
  }

  const texture::Container container_;
  texture::EncodeOptions encode_;
  texture::DecodeOptions decode_;
};

} // namespace

std::unique_ptr<Format> ddsFormat() {
  return std::make_unique<Texture>(texture::Container::dds);
}
std::unique_ptr<Format> ktx2Format() {
  return std::make_unique<Texture>(texture::Container::ktx2);
}

} // namespace formats
