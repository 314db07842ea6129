// The command line: names, and options whose values go to the formats that have them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "formats/format.h"

namespace zelimg {

using formats::Format;
using formats::Formats;
using img::Error;
using img::fail;
using img::RowReader;
using img::RowWriter;

struct Given {
  std::string name, value;
  bool used = false;
};

struct Arguments {
  std::vector<std::string> names;
  std::vector<Given> options;

  // What the program itself takes from the options.
  formats::Settings settings;
  std::string format; // of the output, empty: by its name
  img::Background background;
  bool backgroundGiven = false;
  bool orient = false; // turns pictures as their files say
  bool strip = false;  // leaves metadata out
  std::string diff;    // where the picture of differences goes
};

// Options of the program itself, as they stand in its help.
std::vector<formats::Option> ownOptions(Arguments& arguments);

// Splits the words of a command line. Options may stand anywhere in front of "--", and their values behind "=" or in
// the next word. Options are known by the formats' own lists.
Error parse(const std::vector<std::string>& words, const Formats& formats, Arguments& arguments);

// Gives a format the options that it has for this use.
Error giveOptions(Arguments& arguments, Format& format, formats::Use use);

} // namespace zelimg
