#include "zelimg/convert.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <new>

#include "common/join.h"
#include "common/orient.h"
#include "files/input.h"
#include "files/output.h"
#include "zelimg/progress.h"

namespace zelimg {
namespace {

using formats::Use;

std::string shown(const std::string& name, const char* standard) {
  return name == "-" ? standard : name;
}

class NamedReader : public img::RowReader {
 public:
  NamedReader(std::unique_ptr<RowReader> reader, const std::string& name) : reader_(std::move(reader)), name_(name) {
    picture_ = reader_->picture();
  }
  Error read(const img::Rows& rows) override {
    return naming(name_, [&] { return reader_->read(rows); });
  }
  Error finish() override {
    const Error error = naming(name_, [&] { return reader_->finish(); });
    remarks_ = reader_->remarks();
    damaged_ = reader_->damaged();
    return error;
  }
  int rowsAtOnce() const override { return reader_->rowsAtOnce(); }
  bool pushes() const override { return reader_->pushes(); }
  Error push(img::RowWriter& writer, const img::Progress& progress) override {
    return naming(name_, [&] { return reader_->push(writer, progress); });
  }

 private:
  std::unique_ptr<RowReader> reader_;
  const std::string name_;
};

class NamedWriter : public img::RowWriter {
 public:
  NamedWriter(std::unique_ptr<RowWriter> writer, const std::string& name) : writer_(std::move(writer)), name_(name) {}
  Error write(const img::ConstRows& rows) override {
    return naming(name_, [&] { return writer_->write(rows); });
  }
  Error finish() override {
    const Error error = naming(name_, [&] { return writer_->finish(); });
    remarks_ = writer_->remarks();
    return error;
  }
  int rowsAtOnce() const override { return writer_->rowsAtOnce(); }
  bool pulls() const override { return writer_->pulls(); }
  Error pull(img::RowReader& reader, const img::Progress& progress) override {
    return naming(name_, [&] { return writer_->pull(reader, progress); });
  }

 private:
  std::unique_ptr<RowWriter> writer_;
  const std::string name_;
};

// A file that is being read.
struct Opened {
  files::FileInput input;
  img::ByteSource source{input};
  Format* format = nullptr;
};

// Finds out what a file is.
Error open(const std::string& name, const Formats& formats, Opened& opened) {
  if (Error error = opened.input.open(name)) return error;
  if (Error error = opened.source.fill(formats::kHeadBytes)) return error;
  const img::ByteSpan all = opened.source.visible();
  if (all.empty()) return fail("the file is empty");
  opened.format = formatOfContent(formats, all.first(std::min(all.size(), formats::kHeadBytes)));
  if (opened.format) return {};
  const Format* named = formatOfExtension(formats, formats::extensionOf(name));
  return named ? fail("this is no %s file, nor one of another format that zelimg reads", named->title())
               : fail("this is no file of a format that zelimg reads (see zelimg --help)");
}

std::string namesOf(const Formats& formats) {
  std::string names;
  for (const auto& format : formats) names.append(names.empty() ? "" : ", ").append(format->name());
  return names;
}

Error findOutputFormat(const std::string& name, const Arguments& arguments, const Formats& formats, Format*& format) {
  const std::string extension = formats::extensionOf(name);
  if (!arguments.format.empty()) {
    format = formatNamed(formats, arguments.format);
    if (!format) {
      return fail("--format must be one of %s, not '%s'", namesOf(formats).c_str(), arguments.format.c_str());
    }
    return {};
  }
  format = formatOfExtension(formats, extension);
  if (format) return {};
  if (name == "-") return fail("standard output needs --format (%s)", namesOf(formats).c_str());
  if (extension.empty()) return fail("%s: a name without an extension needs --format", name.c_str());
  return fail("%s: no format has the extension %s (there are %s)", name.c_str(), extension.c_str(),
              namesOf(formats).c_str());
}

// What the writer's kind of file is chosen by where the name does not tell: ".pgm" of --format pgm.
std::string extensionFor(const std::string& name, const Arguments& arguments) {
  return arguments.format.empty() ? formats::extensionOf(name) : "." + arguments.format;
}

void remark(const std::string& name, const std::string& text) {
  std::fprintf(stderr, "zelimg: %s: %s\n", name.c_str(), text.c_str());
}

} // namespace

Error naming(const std::string& name, const std::function<Error()>& work) {
  Error error;
  try {
    error = work();
  } catch (const std::bad_alloc&) {
    error = fail("out of memory");
  } catch (const std::exception& exception) {
    error = {exception.what()};
  }
  if (error && !error.named) error = {name + ": " + error.message, true};
  return error;
}

void warnOfUnused(const Arguments& arguments, const std::vector<std::string_view>& idle) {
  for (const Given& given : arguments.options) {
    if (given.used && std::find(idle.begin(), idle.end(), given.name) == idle.end()) continue;
    std::fprintf(stderr, "zelimg: warning: %s has no effect here\n", given.name.c_str());
  }
}

int report(int code, const Error& error) {
  std::fprintf(stderr, "zelimg: %s%s\n", error.message.c_str(), code == kBadCommand ? " (see zelimg --help)" : "");
  return code;
}

int convert(const std::string& from, const std::string& to, Arguments& arguments, const Formats& formats) {
  const std::string fromName = shown(from, "standard input"), toName = shown(to, "standard output");
  Format* target = nullptr;
  if (Error error = findOutputFormat(to, arguments, formats, target)) return report(kBadCommand, error);
  if (Error error = giveOptions(arguments, *target, Use::writing)) return report(kBadCommand, error);

  Opened opened;
  if (Error error = naming(fromName, [&] { return open(from, formats, opened); })) return report(kFileFailed, error);
  if (Error error = giveOptions(arguments, *opened.format, Use::reading)) return report(kBadCommand, error);
  std::vector<std::string_view> idle = target->idleOptions();
  idle.push_back("--diff");
  warnOfUnused(arguments, idle);

  std::unique_ptr<RowReader> reader;
  const auto openReader = [&] { return opened.format->open(opened.source, arguments.settings, reader); };
  if (Error error = naming(fromName, openReader)) return report(kFileFailed, error);
  if (arguments.orient) reader = img::oriented(std::move(reader));
  img::Picture wanted = target->nearest(reader->picture(), extensionFor(to, arguments));
  if (!target->takesLayouts()) wanted.layout = img::Layout::usual;
  if (arguments.strip) wanted.metadata = {};
  if (wanted.colour != reader->picture().colour && !wanted.metadata.icc.empty()) {
    wanted.metadata.icc.clear();
    remark(fromName, "the colour profile is left out: it is not for the colours of the output");
  }
  if (reader->picture().alpha && !wanted.alpha && !arguments.backgroundGiven) {
    remark(fromName, "the alpha channel is dropped, and what is transparent laid on white (see --background)");
  }
  reader = converted(std::move(reader), wanted, arguments.background);
  NamedReader input(std::move(reader), fromName);

  files::FileOutput output;
  std::unique_ptr<RowWriter> writer;
  const auto openWriter = [&] {
    Error error = output.open(to);
    return error ? error : target->create(output, wanted, arguments.settings, writer);
  };
  if (Error error = naming(toName, openWriter)) return report(kFileFailed, error);
  NamedWriter sink(std::move(writer), toName);
  {
    Progress progress(toName, wanted.height);
    Error error = copyRows(input, sink, arguments.settings.threads, [&](int y) { progress.at(y); });
    if (!error) error = naming(toName, [&] { return output.commit(); });
    if (error) return report(kFileFailed, error);
  }
  for (const std::string& text : input.remarks()) remark(fromName, text);
  for (const std::string& text : sink.remarks()) remark(toName, text);
  return input.damaged() ? kSalvaged : kGood;
}

int convertToFolder(const std::vector<std::string>& from, const std::string& folder, Arguments& arguments,
                    const Formats& formats) {
  if (arguments.format.empty()) return report(kBadCommand, fail("files in a folder need --format"));
  int worst = kGood;
  std::map<std::string, std::string> origins; // of what was written
  for (const std::string& name : from) {
    if (name == "-") return report(kBadCommand, fail("standard input has no name to give to a file in a folder"));
    std::string stem = name.substr(name.rfind('/') + 1);
    stem = stem.substr(0, stem.size() - formats::extensionOf(stem).size());
    const Format* format = formatNamed(formats, arguments.format);
    const std::string asked = "." + arguments.format;
    const bool isExtension = format && format == formatOfExtension(formats, asked);
    const std::string extension = isExtension ? asked : format ? format->extensions().front() : "";
    const std::string to = folder + (folder.ends_with('/') ? "" : "/") + stem + extension;
    const auto [origin, first] = origins.try_emplace(to, name);
    const int code = first ? convert(name, to, arguments, formats)
                           : report(kFileFailed, fail("%s: %s was made of %s already", name.c_str(), to.c_str(),
                                                      origin->second.c_str()));
    if (code == kBadCommand) return code;
    if (first && code == kFileFailed) origins.erase(origin);
    worst = worst == kFileFailed ? worst : code == kGood ? worst : code;
  }
  return worst;
}

int recode(const std::string& from, const std::string& to, Arguments& arguments, const Formats& formats) {
  const std::string fromName = shown(from, "standard input"), toName = shown(to, "standard output");
  Opened opened;
  if (Error error = naming(fromName, [&] { return open(from, formats, opened); })) return report(kFileFailed, error);
  if (!opened.format->recodes()) {
    return report(kFileFailed, fail("%s: %s files cannot be recoded", fromName.c_str(), opened.format->title()));
  }
  if (Error error = giveOptions(arguments, *opened.format, Use::recoding)) return report(kBadCommand, error);
  const Format* named = formatOfExtension(formats, formats::extensionOf(to));
  if (named && named != opened.format) {
    return report(kBadCommand, fail("recode keeps the format: %s is a %s file, %s is not", fromName.c_str(),
                                    opened.format->title(), to.c_str()));
  }
  warnOfUnused(arguments, {"--format", "--background", "--orient", "--diff"});
  files::FileOutput output;
  if (Error error = naming(toName, [&] { return output.open(to); })) return report(kFileFailed, error);
  std::string damage;
  const auto work = [&] { return opened.format->recode(opened.source, output, arguments.settings, damage); };
  if (Error error = naming(fromName, work)) return report(kFileFailed, error);
  if (Error error = naming(toName, [&] { return output.commit(); })) return report(kFileFailed, error);
  if (damage.empty()) return kGood;
  remark(fromName, damage);
  return kSalvaged;
}

Error print(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0) return {};
  return fail("standard output: %s", std::strerror(errno));
}

int info(const std::string& name, bool named, Arguments& arguments, const Formats& formats) {
  Opened opened;
  warnOfUnused(arguments, {"--format", "--threads", "--background", "--orient", "--strip", "--diff"});
  std::string text;
  const Error error = naming(shown(name, "standard input"), [&] {
    Error bad = open(name, formats, opened);
    return bad ? bad : opened.format->describe(opened.source, arguments.settings, text);
  });
  if (error) return report(kFileFailed, error);
  if (Error bad = print(named ? name + ":\n" + text + "\n" : text)) return report(kFileFailed, bad);
  return kGood;
}

} // namespace zelimg
