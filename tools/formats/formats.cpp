#include <algorithm>
#include <cctype>
#include <charconv>

#include "formats/format.h"

namespace formats {
namespace {

std::string small(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

} // namespace

Formats allFormats() {
  Formats all;
  all.push_back(pngFormat());
  all.push_back(pnmFormat());
  all.push_back(jpegFormat());
  all.push_back(jpeg2000Format());
  all.push_back(tiffFormat());
  all.push_back(ddsFormat());
  all.push_back(ktx2Format());
  all.push_back(pfmFormat());
  all.push_back(bmpFormat());
  all.push_back(jpegXrFormat());
  return all;
}

Format* formatNamed(const Formats& formats, const std::string& name) {
  for (const auto& format : formats) {
    if (small(name) == format->name()) return format.get();
  }
  return formatOfExtension(formats, "." + name);
}

Format* formatOfExtension(const Formats& formats, const std::string& extension) {
  for (const auto& format : formats) {
    for (const char* own : format->extensions()) {
      if (small(extension) == own) return format.get();
    }
  }
  return nullptr;
}

Format* formatOfContent(const Formats& formats, ByteSpan head) {
  const auto found = std::find_if(formats.begin(), formats.end(), [=](const auto& f) { return f->matches(head); });
  return found == formats.end() ? nullptr : found->get();
}

std::string extensionOf(const std::string& path) {
  const std::string name = path.substr(path.rfind('/') + 1);
  const size_t dot = name.rfind('.');
  return dot == std::string::npos ? "" : small(name.substr(dot));
}

bool takeNumber(const std::string& text, int64_t low, int64_t high, int64_t& number) {
  int64_t value = 0;
  const auto [end, bad] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (bad != std::errc{} || end != text.data() + text.size() || value < low || value > high) return false;
  number = value;
  return true;
}

bool takeNumber(const std::string& text, int64_t low, int64_t high, int& number) {
  int64_t value = 0;
  if (!takeNumber(text, low, high, value)) return false;
  number = static_cast<int>(value);
  return true;
}

std::optional<int> choice(const std::string& text, std::initializer_list<const char*> list) {
  int i = 0;
  for (const char* item : list) {
    if (text == item) return i;
    ++i;
  }
  return {};
}

std::string describePicture(const char* title, const Picture& picture) {
  const char* const names[] = {"grey", "R, G, B", "C, M, Y, K"};
  return img::format("%s, %d x %d, %s%s, %d bits%s\n", title, picture.width, picture.height,
                     names[static_cast<int>(picture.colour)], picture.alpha ? " and alpha" : "", picture.bits,
                     picture.bits > 16 ? " (floating point)" : "") +
         img::describe(picture.metadata);
}

Error Format::describe(img::ByteSource& source, const Settings& settings, std::string& text) {
  std::unique_ptr<RowReader> reader;
  if (Error error = open(source, settings, reader)) return error;
  text = describePicture(title(), reader->picture());
  return {};
}

} // namespace formats
