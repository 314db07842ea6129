// A picture made of pictures and captions.
#pragma once

#include <string>

#include "common/image.h"

namespace demo {

class Sheet {
 public:
  Sheet(int width, int height);

  // Letters of ten by fourteen pixels; lower case looks like upper case.
  void write(int x, int y, const std::string& text, bool dim = false);
  void place(int x, int y, const img::Image& picture);
  const img::Image& image() const { return image_; }

  static constexpr int kLineHeight = 14, kLetterWidth = 12;

 private:
  void set(int x, int y, int r, int g, int b);

  img::Image image_;
};

} // namespace demo
