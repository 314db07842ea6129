// Nothing of the library's JPEG functions stands there for its own sake: the codecs use every one of them.
#include <fstream>
#include <iterator>

#include "support/images.h"

namespace zelj::test {
namespace {

TEST(Exports, OfJpegAreAllUsedByTheCodecs) {
  const std::filesystem::path root = ZELJ_SOURCE_DIR;
  const auto textOf = [](const std::filesystem::path& path) {
    std::ifstream file(path);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  std::string codecs;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root / "codecs")) {
    if (entry.is_regular_file()) codecs += textOf(entry.path());
  }
  const std::string list = textOf(root / "src/frame/exports.def"), begin = "ZELJ_EXPORT(";
  int count = 0;
  for (size_t at = 0; (at = list.find(begin, at)) != std::string::npos;) {
    at += begin.size();
    const std::string name = list.substr(at, list.find(')', at) - at);
    if (name.find("_JPEG_") == std::string::npos && name.find("_MCU_") == std::string::npos) continue;
    ++count;
    const std::string whole = "zeli" + name;
    size_t found = codecs.find(whole);
    while (found != std::string::npos && std::isalnum(static_cast<unsigned char>(codecs[found + whole.size()]))) {
      found = codecs.find(whole, found + 1);
    }
    EXPECT_NE(found, std::string::npos) << whole;
  }
  EXPECT_EQ(count, 150);
}

} // namespace
} // namespace zelj::test
