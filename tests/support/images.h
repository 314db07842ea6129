// What the tests of codecs and tools share: a folder of their own, programs run in it, and ways to compare images.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "common/image.h"
#include "common/join.h"
#include "files/image_file.h"
#include "files/input.h"
#include "files/output.h"
#include "jpeg/jpeg.h"
#include "scene/scene.h"

namespace zelj::test {

using img::Bytes;
using img::Image;

class Folder {
 public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "zelj.XXXXXX").string();
    if (!::mkdtemp(name.data())) std::abort();
    path_ = name;
  }
  Folder(const Folder&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }

  std::string at(const std::string& name) const { return path_ + "/" + name; }

  // Runs a command line with this as the working folder. What it says on standard error comes back in `said`.
  int run(const std::string& command, std::string* said = nullptr) const {
    const int status = std::system(("cd " + path_ + " && " + command + " 2> said > printed").c_str());
    if (said) *said = text("said");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  std::string text(const std::string& name) const {
    const Bytes content = read(name);
    return {content.begin(), content.end()};
  }
  Bytes read(const std::string& name) const {
    Bytes content;
    EXPECT_FALSE(files::readFile(at(name), content));
    return content;
  }
  void write(const std::string& name, img::ByteSpan content) const {
    EXPECT_FALSE(files::writeFile(at(name), content));
  }
  void writeImage(const std::string& name, const Image& image) const {
    EXPECT_EQ(files::writeImage(at(name), image).message, "");
  }
  Image readImage(const std::string& name) const {
    Image image;
    EXPECT_EQ(files::readImage(at(name), image).message, "");
    return image;
  }

 private:
  std::string path_;
};

inline Image grey(const Image& image) {
  return img::withChannels(image, 1);
}

// A file of the codec's own; `options` must be good.
inline Bytes encoded(const Image& image, const jpeg::EncodeOptions& options) {
  Bytes file;
  EXPECT_EQ(jpeg::encode(image, options, file).message, "");
  return file;
}

inline Image decoded(const Bytes& file, const jpeg::DecodeOptions& options = {}) {
  Image image;
  std::string damage;
  EXPECT_EQ(jpeg::decode(file, options, image, damage).message, "");
  EXPECT_EQ(damage, "");
  return image;
}

inline bool sameShape(const Image& a, const Image& b) {
  return a.width == b.width && a.height == b.height && a.channels() == b.channels() && a.bits == b.bits;
}

// Fails if 8-bit images differ by more than these at a sample and on average.
inline testing::AssertionResult near(const Image& a, const Image& b, int most, double average) {
  if (!sameShape(a, b)) return testing::AssertionFailure() << "different shapes";
  int worst = 0;
  double sum = 0;
  for (size_t i = 0; i < a.bytes.size(); ++i) {
    const int difference = std::abs(a.bytes[i] - b.bytes[i]);
    worst = std::max(worst, difference);
    sum += difference;
  }
  sum /= static_cast<double>(a.bytes.size());
  if (worst <= most && sum <= average) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "differ by " << worst << " at most, by " << sum << " on average";
}

} // namespace zelj::test
