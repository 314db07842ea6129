// What a function returns when things can go wrong: nothing, or a message for the user.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

namespace img {

struct [[nodiscard]] Error {
  std::string message;
  bool named = false; // the message names the file
  explicit operator bool() const { return !message.empty(); }
};

[[gnu::format(printf, 1, 2)]] inline std::string format(const char* text, ...) {
  char line[512];
  va_list arguments;
  va_start(arguments, text);
  std::vsnprintf(line, sizeof line, text, arguments);
  va_end(arguments);
  return line;
}

template <class... T>
Error fail(const char* text, T... arguments) {
  if constexpr (sizeof...(T) == 0)
    return {text, false};
  else
    return {format(text, arguments...), false};
}

} // namespace img
