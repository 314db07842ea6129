// One file to another.
#pragma once

#include <functional>
#include <string_view>

#include "zelimg/arguments.h"

namespace zelimg {

// The exit codes of the program.
enum Exit { kGood = 0, kFileFailed = 1, kBadCommand = 2, kSalvaged = 3 };

// Says what happens on standard error.
int convert(const std::string& from, const std::string& to, Arguments& arguments, const Formats& formats);

// Several files, or one, to a folder.
int convertToFolder(const std::vector<std::string>& from, const std::string& folder, Arguments& arguments,
                    const Formats& formats);

// One file to another of the same format, without decoding to samples.
int recode(const std::string& from, const std::string& to, Arguments& arguments, const Formats& formats);

// Tells on standard output what a file holds, `named` under its name.
int info(const std::string& name, bool named, Arguments& arguments, const Formats& formats);

// Runs `work`; its failures, memory that runs out among them, name the file.
Error naming(const std::string& name, const std::function<Error()>& work);

// Warns of the options that no format has taken, and of those of the program that mean nothing for what it does.
void warnOfUnused(const Arguments& arguments, const std::vector<std::string_view>& idle);

// Reports an error and returns the code.
int report(int code, const Error& error);

// Writes text to standard output; whether that went well.
Error print(const std::string& text);

} // namespace zelimg
