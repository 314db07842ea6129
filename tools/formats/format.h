// A format of image files: how files of it are known, read and written, and its options on a command line. Each format
// is an object of its own in the list of formats.cpp.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/convert.h"
#include "common/rows.h"
#include "common/sink.h"
#include "common/source.h"

namespace formats {

using img::Bytes;
using img::ByteSpan;
using img::Colour;
using img::Error;
using img::fail;
using img::Picture;
using img::RowReader;
using img::RowWriter;

// What holds for files of all formats.
struct Settings {
  int threads = 1;
  bool threadsGiven = false; // by the user: where not, work of minutes takes all processors
  int64_t maxPixels = img::kDefaultMaxPixels;
  bool keepGoing = false; // makes pictures of damaged data, as far as they go
};

enum class Use { reading, writing, recoding };

// An option of a command line. `take` puts the value into the format's object, and is false for a value that is not
// among those that `values` tells of.
struct Option {
  Use use;
  const char* name;   // "--quality"
  const char* symbol; // what stands for the value in the help, null for an option without one
  const char* values; // "1 to 100"
  const char* help;   // one line
  std::function<bool(const std::string& value)> take;
};

class Format {
 public:
  virtual ~Format() = default;

  virtual const char* name() const = 0; // as --format and the help take it
  virtual const char* title() const = 0;
  virtual std::vector<const char*> extensions() const = 0; // with their dots; the first one is the usual
  virtual std::vector<Option> options() { return {}; }

  // Options of writing that mean nothing beside the others that were given.
  virtual std::vector<std::string_view> idleOptions() const { return {}; }

  // Whether data that begin like this are a file of the format.
  virtual bool matches(ByteSpan head) const = 0;

  virtual Error open(img::ByteSource& source, const Settings& settings, std::unique_ptr<RowReader>& reader) = 0;

  // Tells what a file holds, without its samples as far as that goes. The reader's picture if a format has no more to
  // say.
  virtual Error describe(img::ByteSource& source, const Settings& settings, std::string& text);

  // The picture of a file of this format that keeps most of a picture. `extension` may choose among kinds of files.
  virtual Picture nearest(const Picture& picture, const std::string& extension) const = 0;

  // Whether `nearest` gives the layouts that `create` takes: else pixels come in the usual one.
  virtual bool takesLayouts() const { return false; }

  // Begins a file of a picture that `nearest` has given.
  virtual Error create(img::ByteSink& sink, const Picture& picture, const Settings& settings,
                       std::unique_ptr<RowWriter>& writer) = 0;

  // Makes another file of the same format without decoding to samples. `damage` gets a message if data were damaged and
  // settings.keepGoing made a file of them nevertheless.
  virtual bool recodes() const { return false; }
  virtual Error recode(img::ByteSource&, img::ByteSink&, const Settings&, std::string& /*damage*/) { return {}; }
};

using Formats = std::vector<std::unique_ptr<Format>>;

// One object of each format.
Formats allFormats();

// The format of a name such as "jpeg" or an extension such as ".jpg" (in letters of any case), null if there is none.
Format* formatNamed(const Formats& formats, const std::string& name);
Format* formatOfExtension(const Formats& formats, const std::string& extension);

// The format of data that begin like this, null if none knows them.
Format* formatOfContent(const Formats& formats, ByteSpan head);

// How many bytes of a file are enough to know its format.
constexpr size_t kHeadBytes = 64;

// The extension of a path in small letters, with its dot, or nothing.
std::string extensionOf(const std::string& path);

// A number in a range, and a word in a list, as `take` of an option wants them.
bool takeNumber(const std::string& text, int64_t low, int64_t high, int64_t& number);
bool takeNumber(const std::string& text, int64_t low, int64_t high, int& number);
std::optional<int> choice(const std::string& text, std::initializer_list<const char*> list);

// Lines for people to read: "PNG, 1536 x 1024, R, G, B, 8 bits" and what metadata there are.
std::string describePicture(const char* title, const Picture& picture);

// The formats, one function for each.
std::unique_ptr<Format> pngFormat();
std::unique_ptr<Format> pnmFormat();
std::unique_ptr<Format> jpegFormat();
std::unique_ptr<Format> jpeg2000Format();
std::unique_ptr<Format> tiffFormat();
std::unique_ptr<Format> ddsFormat();
std::unique_ptr<Format> ktx2Format();
std::unique_ptr<Format> pfmFormat();
std::unique_ptr<Format> bmpFormat();
std::unique_ptr<Format> jpegXrFormat();

} // namespace formats
