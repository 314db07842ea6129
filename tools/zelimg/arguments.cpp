#include "zelimg/arguments.h"

#include <algorithm>
#include <charconv>

namespace zelimg {
namespace {

using formats::Option;
using formats::Use;

// "white", "black", or six hexadecimal digits.
bool takeColour(const std::string& text, img::Background& background) {
  if (text == "white" || text == "black") {
    const double part = text == "white" ? 1 : 0;
    background = {part, part, part};
    return true;
  }
  unsigned value = 0;
  const auto [end, bad] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (text.size() != 6 || bad != std::errc{} || end != text.data() + text.size()) return false;
  background = {(value >> 16) / 255.0, (value >> 8 & 255) / 255.0, (value & 255) / 255.0};
  return true;
}

const Option* named(const std::vector<Option>& options, const std::string& name) {
  const auto found = std::find_if(options.begin(), options.end(), [&](const Option& o) { return name == o.name; });
  return found == options.end() ? nullptr : &*found;
}

Error take(const Option& option, Given& given) {
  given.used = true;
  if (option.take(given.value)) return {};
  return fail("%s must be %s, not '%s'", option.name, option.values, given.value.c_str());
}

// Whether an option has a value; `known` is false for one that nobody has.
bool hasValue(const std::string& name, const std::vector<Option>& own, const Formats& formats, bool& known) {
  const Option* option = named(own, name);
  known = true;
  if (option) return option->symbol != nullptr;
  for (const auto& format : formats) {
    const std::vector<Option> theirs = format->options();
    if ((option = named(theirs, name))) return option->symbol != nullptr;
  }
  known = false;
  return false;
}

} // namespace

std::vector<Option> ownOptions(Arguments& a) {
  const auto both = Use::reading;
  return {
      {both, "--format", "F", "the name of a format", "of the output, whatever its name",
       [&a](const std::string& v) { return !(a.format = v).empty(); }},
      {both, "--threads", "N", "1 to 64", "works on N processors; 1, all of them for BC7",
       [&a](const std::string& v) {
         a.settings.threadsGiven = true;
         return formats::takeNumber(v, 1, 64, a.settings.threads);
       }},
      {both, "--keep-going", nullptr, "", "makes a picture of damaged data, as far as they go",
       [&a](const std::string&) { return a.settings.keepGoing = true; }},
      {both, "--background", "C", "white, black or six hexadecimal digits", "what lies behind alpha; white",
       [&a](const std::string& v) { return a.backgroundGiven = takeColour(v, a.background); }},
      {both, "--orient", nullptr, "", "turns and mirrors the picture as its file says",
       [&a](const std::string&) { return a.orient = true; }},
      {both, "--strip", nullptr, "", "leaves colour profile, EXIF and density out",
       [&a](const std::string&) { return a.strip = true; }},
      {both, "--diff", "FILE", "the name of a file", "of compare: a picture of the differences",
       [&a](const std::string& v) { return !(a.diff = v).empty(); }},
      {both, "--max-pixels", "N", "1 and more", "refuses larger pictures; 268435456",
       [&a](const std::string& v) { return formats::takeNumber(v, 1, INT64_MAX, a.settings.maxPixels); }},
  };
}

Error parse(const std::vector<std::string>& words, const Formats& formats, Arguments& arguments) {
  const std::vector<Option> own = ownOptions(arguments);
  bool optionsEnded = false;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (optionsEnded || word.size() < 2 || word[0] != '-') {
      arguments.names.push_back(word);
      continue;
    }
    if (word == "--") {
      optionsEnded = true;
      continue;
    }
    const size_t equals = word.find('=');
    Given given{word.substr(0, equals), ""};
    bool known = false;
    const bool wantsValue = hasValue(given.name, own, formats, known);
    if (!known) return fail("there is no option %s", given.name.c_str());
    if (wantsValue && equals == std::string::npos && i + 1 == words.size())
      return fail("%s needs a value", given.name.c_str());
    if (!wantsValue && equals != std::string::npos) return fail("%s takes no value", given.name.c_str());
    if (wantsValue) given.value = equals == std::string::npos ? words[++i] : word.substr(equals + 1);
    if (const Option* option = named(own, given.name)) {
      if (Error error = take(*option, given)) return error;
    }
    arguments.options.push_back(given);
  }
  return {};
}

Error giveOptions(Arguments& arguments, Format& format, Use use) {
  const std::vector<Option> options = format.options();
  for (Given& given : arguments.options) {
    for (const Option& option : options) {
      if (option.use != use || given.name != option.name) continue;
      if (Error error = take(option, given)) return error;
    }
  }
  return {};
}

} // namespace zelimg
