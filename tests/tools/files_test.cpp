// How zelimg treats the file system: what stands under the output's name before, during and after its work.
#include <sys/stat.h>
#include <unistd.h>

#include "support/images.h"
#include "support/png.h"

namespace zelj::test {
namespace {

class Files : public testing::Test {
 protected:
  void SetUp() override { folder_.writeImage("in.ppm", img::renderScene(60, 44)); }
  int zelimg(const std::string& arguments, std::string* said = nullptr) const {
    return folder_.run(std::string(ZELIMG) + " " + arguments, said);
  }
  struct stat status(const std::string& name) const {
    struct stat s {};
    EXPECT_EQ(::lstat(folder_.at(name).c_str(), &s), 0) << name;
    return s;
  }
  size_t count() const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder_.at("")), {}));
  }
  Folder folder_;
};

TEST_F(Files, AnOldFileKeepsItsModeAndItsLinks) {
  folder_.write("private.jpg", std::vector<uint8_t>{1, 2, 3});
  ASSERT_EQ(::chmod(folder_.at("private.jpg").c_str(), 0600), 0);
  ASSERT_EQ(zelimg("in.ppm private.jpg"), 0);
  EXPECT_EQ(status("private.jpg").st_mode & 07777, 0600u);
  EXPECT_EQ(folder_.readImage("private.jpg").width, 60);

  ASSERT_EQ(folder_.run("ln -s private.jpg link.jpg && ln -s new.jpg dangling.jpg && ln private.jpg twin.jpg"), 0);
  ASSERT_EQ(zelimg("in.ppm link.jpg --quality 30"), 0);
  EXPECT_TRUE(S_ISLNK(status("link.jpg").st_mode));
  EXPECT_EQ(folder_.read("private.jpg"), folder_.read("twin.jpg")); // both names of one file
  EXPECT_EQ(status("twin.jpg").st_nlink, 2u);
  ASSERT_EQ(zelimg("in.ppm dangling.jpg"), 0);
  EXPECT_TRUE(S_ISREG(status("new.jpg").st_mode));
  const mode_t mask = ::umask(0);
  ::umask(mask);
  EXPECT_EQ(status("new.jpg").st_mode & 07777, 0666 & ~mask);
}

TEST_F(Files, TheInputMayBeTheOutput) {
  const Image before = folder_.readImage("in.ppm");
  ASSERT_EQ(zelimg("in.ppm in.ppm"), 0);
  EXPECT_EQ(folder_.readImage("in.ppm").bytes, before.bytes);
}

TEST_F(Files, LongNamesAndFoldersThatCannotBeWrittenTo) {
  const std::string longName = std::string(251, 'n') + ".jpg";
  ASSERT_EQ(zelimg("in.ppm " + longName), 0);
  EXPECT_EQ(status(longName).st_mode & S_IFMT, static_cast<mode_t>(S_IFREG));
  if (::geteuid() == 0) return; // to whom no folder is closed
  ASSERT_EQ(folder_.run("mkdir closed && cp in.ppm closed/out.ppm && chmod 555 closed"), 0);
  EXPECT_EQ(zelimg("in.ppm closed/out.ppm"), 0);
  EXPECT_EQ(zelimg("in.ppm closed/new.ppm"), 1);
  folder_.run("chmod 755 closed");
}

// A device that is full, a limit on the size of files, a reader that has gone.
TEST_F(Files, WriteErrorsAreToldAndLeaveTheOldFile) {
  std::string said;
  EXPECT_EQ(zelimg("in.ppm /dev/full --format jpg", &said), 1);
  EXPECT_NE(said.find("/dev/full: No space left"), std::string::npos) << said;
  for (const char* command : {"info in.ppm > /dev/full", "--help > /dev/full", "in.ppm - --format ppm > /dev/full"}) {
    const int code = folder_.run(std::string("sh -c '") + ZELIMG + " " + command + "'", &said);
    EXPECT_EQ(code, 1) << command;
    EXPECT_NE(said.find("standard output: No space left"), std::string::npos) << said;
  }
  ASSERT_EQ(zelimg("in.ppm out.ppm"), 0);
  const Bytes before = folder_.read("out.ppm");
  const size_t files = count();
  EXPECT_EQ(folder_.run(std::string("sh -c 'ulimit -f 4; ") + ZELIMG + " in.ppm out.ppm'", &said), 1);
  EXPECT_NE(said.find("out.ppm: File too large"), std::string::npos) << said;
  EXPECT_EQ(folder_.read("out.ppm"), before);
  EXPECT_EQ(count(), files);
  folder_.writeImage("large.ppm", img::renderScene(300, 200)); // more than a pipe holds
  folder_.run(std::string("sh -c '(") + ZELIMG + " large.ppm - --format ppm; echo $? > code) | true'");
  EXPECT_EQ(folder_.text("code"), "1\n");
}

// A signal in the middle of the work: its input is a pipe that stays open.
TEST_F(Files, ASignalLeavesNothingBehind) {
  ASSERT_EQ(zelimg("in.ppm out.ppm"), 0);
  const Bytes before = folder_.read("out.ppm");
  for (const char* signal : {"TERM", "HUP"}) {
    const std::string script = std::string("mkfifo pipe; ") + ZELIMG +
                               " pipe out.ppm & worker=$!; (head -c 4000 in.ppm; "
                               "while [ -z \"$(ls .zelimg-* 2>/dev/null)\" ]; do sleep 0.01; done; kill -" +
                               signal + " $worker) > pipe; wait $worker; test $? -gt 128";
    folder_.write("script", Bytes(script.begin(), script.end()));
    EXPECT_EQ(folder_.run("timeout 20 bash script"), 0) << signal << ": " << folder_.text("said");
    EXPECT_NE(folder_.run("ls .zelimg-*"), 0);
    EXPECT_EQ(folder_.read("out.ppm"), before);
    folder_.run("rm pipe");
  }
}

TEST_F(Files, StandardInputAndOutputAndFolders) {
  ASSERT_EQ(
      folder_.run(std::string("sh -c 'cat in.ppm | ") + ZELIMG + " - - --format=png | " + ZELIMG + " - back.ppm'"), 0);
  EXPECT_EQ(folder_.read("back.ppm"), folder_.read("in.ppm"));
  for (const char* pipe : {"/dev/stdout", "/dev/fd/3"}) { // which have names of no file
    const std::string command = std::string(ZELIMG) + " in.ppm " + pipe + " --format ppm 3>&1 | cat > back.ppm";
    ASSERT_EQ(folder_.run("sh -c '" + command + "'"), 0);
    EXPECT_EQ(folder_.read("back.ppm"), folder_.read("in.ppm")) << pipe;
  }
  std::string said;
  EXPECT_EQ(zelimg("in.ppm -", &said), 2);
  EXPECT_NE(said.find("needs --format"), std::string::npos);

  // Known by content: a JPEG that is named .png; names with a dash in front.
  ASSERT_EQ(zelimg("in.ppm a.jpg"), 0);
  ASSERT_EQ(folder_.run("mv a.jpg b.png && cp b.png -- -c.png && mkdir to"), 0);
  ASSERT_EQ(zelimg("--format ppm -- b.png -c.png in.ppm to"), 0);
  EXPECT_EQ(folder_.read("to/b.ppm"), folder_.read("to/-c.ppm"));
  EXPECT_EQ(folder_.read("to/in.ppm"), folder_.read("in.ppm"));
  // One of several fails: the others are there, and the exit code tells.
  folder_.write("bad.ppm", std::vector<uint8_t>{'P', '6', ' '});
  EXPECT_EQ(zelimg("bad.ppm in.ppm to/ --format jpg", &said), 1);
  EXPECT_EQ(folder_.readImage("to/in.jpg").width, 60);
  EXPECT_NE(said.find("bad.ppm: bad header"), std::string::npos);
  // Two that would have one name: the first keeps it.
  EXPECT_EQ(zelimg("in.ppm b.png to --format jpg", &said), 0);
  ASSERT_EQ(folder_.run("cp b.png in.png"), 0);
  EXPECT_EQ(zelimg("in.ppm in.png to --format png", &said), 1);
  EXPECT_NE(said.find("in.png: to/in.png was made of in.ppm already"), std::string::npos) << said;
  ASSERT_EQ(zelimg("to/in.png to.ppm"), 0);
  EXPECT_EQ(folder_.read("to.ppm"), folder_.read("in.ppm"));
}

// Memory that runs out, in any thread: a message that names a file, in good time, and no output.
TEST_F(Files, MemoryThatRunsOutIsToldByName) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer needs terabytes of addresses";
#endif
  folder_.write("noise.ppm", [] {
    const std::string header = "P6 3000 3000 255\n";
    Bytes file(header.begin(), header.end());
    for (uint32_t v = 1; file.size() < header.size() + 27000000; v = v * 1664525 + 1013904223) {
      file.push_back(static_cast<uint8_t>(v >> 24));
    }
    return file;
  }());
  for (const char* threads : {"1", "2", "4"}) {
    for (const int kilobytes : {60000, 90000, 120000, 160000}) {
      std::string said;
      const int code = folder_.run("timeout 60 sh -c 'ulimit -v " + std::to_string(kilobytes) + "; " + ZELIMG +
                                       " noise.ppm out.jpg --bits 12 --threads " + threads + "'",
                                   &said);
      EXPECT_TRUE(code == 0 || code == 1 || code == 127) << code << " " << said; // 127: not even the loader has room
      if (code == 1) {
        EXPECT_NE(said.find("out.jpg: out of memory"), std::string::npos) << said;
        EXPECT_FALSE(std::filesystem::exists(folder_.at("out.jpg")));
      }
      std::filesystem::remove(folder_.at("out.jpg"));
    }
  }
}

// Large pictures go through in strips: what they take is not what they claim, and a small file cannot hold many rows.
TEST_F(Files, LargePicturesTakeLittleMemory) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer needs terabytes of addresses";
#endif
  const std::string limited = std::string("sh -c 'ulimit -v 80000; ") + ZELIMG + " in.png out.pgm --threads 1'";
  folder_.write("in.png", pngFile({16000, 16000, 1, 0, 0, 0, 0}, Bytes(16000 * 2001)));
  std::string said;
  EXPECT_EQ(folder_.run(limited, &said), 0) << said;
  EXPECT_EQ(std::filesystem::file_size(folder_.at("out.pgm")), 256000000u + sizeof "P5\n16000 16000\n255");
  std::filesystem::remove(folder_.at("out.pgm"));

  folder_.write("in.png", pngFile({16000, 16000, 8, 2, 0, 0, 0}, Bytes(100 * 48001)));
  EXPECT_EQ(folder_.run(limited, &said), 1);
  EXPECT_NE(said.find("in.png: the file is too small for its number of pixels"), std::string::npos) << said;
  EXPECT_FALSE(std::filesystem::exists(folder_.at("out.pgm")));
}

} // namespace
} // namespace zelj::test
