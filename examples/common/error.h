// What a function of the examples returns when things can go wrong: nothing, or a message for the user.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

namespace img {

struct [[nodiscard]] Error {
  std::string message;
  explicit operator bool() const { return !message.empty(); }
};

[[gnu::format(printf, 1, 2)]] inline Error fail(const char* format, ...) {
  char text[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return {text};
}

} // namespace img
