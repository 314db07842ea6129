// Holds the list of exports, the public header, the entry table and the library's symbols to each other.
#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>
#include <link.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "zelj.h"

namespace zelj::test {
namespace {

using Names = std::vector<std::string>;

const Names kListed = {
#define ZELJ_EXPORT(op) "zeli" #op,
#include "frame/exports.def"
#undef ZELJ_EXPORT
};

std::string textOf(const char* path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// The names that the shared library defines for others, read from its file.
Names exportedNames(const std::string& path) {
  const std::string file = textOf(path.c_str());
  const auto* header = reinterpret_cast<const Elf64_Ehdr*>(file.data());
  const auto* sections = reinterpret_cast<const Elf64_Shdr*>(file.data() + header->e_shoff);
  Names names;
  for (int i = 0; i < header->e_shnum; ++i) {
    if (sections[i].sh_type != SHT_DYNSYM) continue;
    const auto* symbols = reinterpret_cast<const Elf64_Sym*>(file.data() + sections[i].sh_offset);
    const char* strings = file.data() + sections[sections[i].sh_link].sh_offset;
    for (size_t s = 0; s < sections[i].sh_size / sizeof(Elf64_Sym); ++s) {
      if (symbols[s].st_shndx != SHN_UNDEF && symbols[s].st_name) names.emplace_back(strings + symbols[s].st_name);
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string libraryPath() {
  Dl_info info{};
  dladdr(dlsym(RTLD_DEFAULT, "zeliAdd128_JPEG_16s8u_C1R"), &info);
  return info.dli_fname;
}

TEST(Exports, ListIsSortedAndEqualsHeader) {
  EXPECT_TRUE(std::is_sorted(kListed.begin(), kListed.end()));
  const std::string header = textOf(ZELJ_SOURCE_DIR "/include/zelj.h");
  const std::string before = "ZELJ_API ZelStatus ";
  Names declared;
  for (size_t at = header.find(before); at != std::string::npos; at = header.find(before, at)) {
    at += before.size();
    declared.push_back(header.substr(at, header.find('(', at) - at));
  }
  std::sort(declared.begin(), declared.end());
  EXPECT_EQ(declared, kListed);
  EXPECT_EQ(kListed.size(), size_t{ZELJ_ENTRY_COUNT});
}

TEST(Exports, LibraryShowsTheListAndNothingElse) {
  Names expected = kListed;
  expected.insert(expected.end(), {"zeljEntryTable", "zeljGetLibVersion"});
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(exportedNames(libraryPath()), expected);
}

// An export is lea slot(%rip),%rax; jmp *(%rax), with the slot of its place in the list; the slot holds code of the
// library that is not an export.
TEST(Exports, EachForwardsThroughItsSlot) {
  const auto* table = static_cast<void* const*>(dlsym(RTLD_DEFAULT, "zeljEntryTable"));
  std::set<const void*> implementations;
  for (size_t i = 0; i < kListed.size(); ++i) {
    const auto* code = static_cast<const uint8_t*>(dlsym(RTLD_DEFAULT, kListed[i].c_str()));
    ASSERT_NE(code, nullptr) << kListed[i];
    const uint8_t lea[] = {0x48, 0x8d, 0x05}, jmp[] = {0xff, 0x20};
    ASSERT_EQ(std::memcmp(code, lea, 3), 0) << kListed[i];
    ASSERT_EQ(std::memcmp(code + 7, jmp, 2), 0) << kListed[i];
    int32_t displacement;
    std::memcpy(&displacement, code + 3, 4);
    EXPECT_EQ(reinterpret_cast<const void*>(code + 7 + displacement), &table[i]) << kListed[i];
    EXPECT_TRUE(implementations.insert(table[i]).second) << kListed[i];
    Dl_info info{};
    ASSERT_NE(dladdr(table[i], &info), 0);
    EXPECT_EQ(info.dli_fname, libraryPath()) << kListed[i];
  }
}

TEST(Exports, NobodyCanWriteTheTable) {
  const auto table = reinterpret_cast<uintptr_t>(dlsym(RTLD_DEFAULT, "zeljEntryTable"));
  const uintptr_t last = table + ZELJ_ENTRY_COUNT * sizeof(void*) - 1;
  std::ifstream maps("/proc/self/maps");
  int found = 0;
  for (std::string line; std::getline(maps, line);) {
    uintptr_t begin = 0, end = 0;
    char mode[5] = {};
    ASSERT_EQ(std::sscanf(line.c_str(), "%zx-%zx %4s", &begin, &end, mode), 3) << line;
    if (begin > last || end <= table) continue;
    ++found;
    EXPECT_EQ(std::string(mode).substr(0, 2), "r-") << line;
  }
  EXPECT_GT(found, 0);
}

TEST(Version, Record) {
  const ZelLibVersion* version = zeljGetLibVersion();
  EXPECT_EQ(version, zeljGetLibVersion());
  EXPECT_EQ(version->versionMajor, 7);
  EXPECT_EQ(version->versionMinor, 0);
  EXPECT_EQ(version->buildMajor, 205);
  EXPECT_EQ(version->buildNumber, 1032);
  EXPECT_EQ(std::memcmp(version->targetTag, "e9\0\0\0\0\0\0", 8), 0);
  EXPECT_STREQ(version->libraryName, "zelje9-7.0.dll");
  EXPECT_STREQ(version->versionText, "7.0 build 205.58");
  EXPECT_STREQ(version->buildDate, "Apr 18 2011");
}

} // namespace
} // namespace zelj::test
