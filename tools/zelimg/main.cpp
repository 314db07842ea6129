// zelimg: converts images, and tells what a file holds.
#include <sys/stat.h>

#include <algorithm>
#include <exception>
#include <span>

#include "files/output.h"
#include "zelimg/arguments.h"
#include "zelimg/compare.h"
#include "zelimg/convert.h"
#include "zelj.h"

namespace zelimg {
namespace {

const char kHelp[] =
    R"(zelimg IN OUT [options]         converts an image file
zelimg IN... FOLDER --format F  converts several, under their names
zelimg recode IN OUT            codes a JPEG file anew, same pixels
zelimg compare A B              tells how far two pictures are from each other
zelimg info FILE...             tells what files hold
zelimg help FORMAT              the options of a format
zelimg --help, --version        this text, and what program this is

IN is known by its content, OUT by its extension; - is standard input or output.
Formats: %s.

%s  --name=value, and -- in front of names that begin with a dash, work too.

Exit code: 0; 1 a file failed; 2 the command line is wrong; 3 a picture was made
of damaged data.
)";

// "  --threads N     works on ..."
std::string line(const formats::Option& option) {
  const std::string head = img::format("  %s %s", option.name, option.symbol ? option.symbol : "");
  return img::format("%-21s %s\n", head.c_str(), option.help);
}

std::string help(const Formats& formats) {
  std::string names, own;
  for (const auto& format : formats) names.append(names.empty() ? "" : " ").append(format->name());
  Arguments scratch;
  for (const formats::Option& option : ownOptions(scratch)) own += line(option);
  std::string text(sizeof kHelp + names.size() + own.size(), '\0');
  text.resize(static_cast<size_t>(std::snprintf(text.data(), text.size(), kHelp, names.c_str(), own.c_str())));
  return text;
}

std::string formatHelp(Format& format) {
  std::string text = std::string(format.title()) + ":";
  for (const char* extension : format.extensions()) text.append(" ").append(extension);
  text += "\n";
  using formats::Use;
  for (const auto& [use, head] :
       {std::pair{Use::reading, "Reading"}, {Use::writing, "Writing"}, {Use::recoding, "Recoding (zelimg recode)"}}) {
    std::string lines;
    for (const formats::Option& option : format.options()) {
      if (option.use == use) lines += line(option);
    }
    if (!lines.empty()) text += std::string("\n") + head + ":\n" + lines;
  }
  return text;
}

bool isFolder(const std::string& name) {
  struct stat status {};
  return name.ends_with('/') || (::stat(name.c_str(), &status) == 0 && S_ISDIR(status.st_mode));
}

int say(const std::string& text) {
  const Error error = print(text);
  return error ? report(kFileFailed, error) : kGood;
}

int run(const std::vector<std::string>& words) {
  const Formats formats = formats::allFormats();
  const auto options =
      std::span(words).first(static_cast<size_t>(std::find(words.begin(), words.end(), "--") - words.begin()));
  const auto asksFor = [=](const char* word) {
    return std::find(options.begin(), options.end(), word) != options.end();
  };
  if (asksFor("--help") || asksFor("-h")) return say(help(formats));
  if (asksFor("--version")) return say(std::string("zelimg ") + zeljGetLibVersion()->versionText + "\n");
  Arguments arguments;
  if (Error error = parse(words, formats, arguments)) return report(kBadCommand, error);
  const std::vector<std::string>& names = arguments.names;
  if (!names.empty() && names[0] == "help") {
    if (names.size() == 1) return say(help(formats));
    Format* format = formatNamed(formats, names[1]);
    return format ? say(formatHelp(*format)) : report(kBadCommand, fail("there is no format '%s'", names[1].c_str()));
  }
  if (!names.empty() && names[0] == "info") {
    if (names.size() == 1) return report(kBadCommand, fail("info needs the name of a file"));
    int worst = kGood;
    for (size_t i = 1; i < names.size(); ++i) {
      worst = std::max(worst, info(names[i], names.size() > 2, arguments, formats));
    }
    return worst;
  }
  if (!names.empty() && (names[0] == "recode" || names[0] == "compare")) {
    const bool recodes = names[0] == "recode";
    if (names.size() != 3) {
      return report(kBadCommand,
                    recodes ? fail("recode needs an input and an output") : fail("compare needs two files"));
    }
    return recodes ? recode(names[1], names[2], arguments, formats) : compare(names[1], names[2], arguments);
  }
  if (names.empty()) return report(kBadCommand, fail("nothing to do: name an input and an output"));
  if (names.size() == 1) return report(kBadCommand, fail("name an output too"));
  if (isFolder(names.back())) {
    return convertToFolder({names.begin(), names.end() - 1}, names.back(), arguments, formats);
  }
  if (names.size() > 2) {
    return report(kBadCommand, fail("%s is no folder: several inputs need one", names.back().c_str()));
  }
  return convert(names[0], names[1], arguments, formats);
}

} // namespace
} // namespace zelimg

int main(int argc, char** argv) {
  files::handleSignals();
  try {
    return zelimg::run({argv + 1, argv + argc});
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "zelimg: %s\n", exception.what());
    return 1;
  }
}
