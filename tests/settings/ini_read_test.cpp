// Reading INI files: the lookup rules, cut values, hostile files and the
// cache that must notice every outside change.
#include "platform/ini.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

namespace {

struct ReadCase {
  const char* name;
  std::string content;
  const char* section;
  const char* key;
  const char* def;
  const char* expected;
};

TEST(IniRead, FollowsTheLookupRules) {
  const ReadCase cases[] = {
      {"plain", "[S]\nk=v\n", "S", "k", "", "v"},
      {"section and key ignore case", "[Sect]\nKey=V\n", "sECT", "kEY", "", "V"},
      {"crlf lines", "[s]\r\nk=v\r\nj=w\r\n", "s", "j", "", "w"},
      {"cr only lines", "[s]\rk=v\rj=w", "s", "j", "", "w"},
      {"trims key and value", "[s]\n \t k \t = \t v w \t \n", "s", "k", "", "v w"},
      {"blanks inside brackets", "[ \tS\t ]\nk=v\n", "S", "k", "", "v"},
      {"header without closing bracket", "[S x\nk=v\n", "S x", "k", "", "v"},
      {"rest after bracket ignored", "[S] junk ] more\nk=v\n", "S", "k", "", "v"},
      {"empty section name", "[]\nk=v\n", "", "k", "", "v"},
      {"before first header is never found", "k=v\n[s]\nj=w\n", "", "k", "d", "d"},
      {"empty key name", "[s]\n=v\n", "s", "", "", "v"},
      {"line without equals is no key", "[s]\nk\n", "s", "k", "d", "d"},
      {"comment line", "[s]\n;k=v\n  ;j=w\n", "s", ";k", "d", "d"},
      {"semicolon inside value", "[s]\nk=a;b ; c\n", "s", "k", "", "a;b ; c"},
      {"outer double quotes", "[s]\nk=\"a b\"\n", "s", "k", "", "a b"},
      {"mismatched quotes stay", "[s]\nk=\"a'\n", "s", "k", "", "\"a'"},
      {"only one pair removed", "[s]\nk=\"\"a\"\"\n", "s", "k", "", "\"a\""},
      {"first section wins", "[s]\nk=1\n[s]\nk=2\nj=3\n", "s", "j", "d", "d"},
      {"first key wins", "[s]\nk=1\nK=2\n", "s", "k", "", "1"},
      {"blank arguments", "[s]\nk=v\n", "  s\t", " k ", "", "v"},
      {"missing section gives default", "[s]\nk=v\n", "t", "k", "def", "def"},
      {"default loses trailing blanks", "[s]\n", "s", "x", "d e \t ", "d e"},
      {"byte order mark skipped", "\xEF\xBB\xBF[s]\nk=v\n", "s", "k", "", "v"},
      {"a zero byte ends the value", std::string("[s]\nk=v\0w\n", 11), "s", "k", "", "v"},
      {"garbage lines around", "\x01\x02]]==\n[s]\n\xFF\xFE garbage\nk=v\n[[[\n", "s", "k", "",
       "v"},
  };
  TempFolder dir;
  int n = 0;
  for (const ReadCase& c : cases) {
    std::string file = dir / ("case" + std::to_string(n++) + ".ini");
    WriteBytes(file, c.content);
    char out[64];
    int len = IniRead(file.c_str(), c.section, c.key, c.def, out, sizeof out);
    EXPECT_STREQ(out, c.expected) << c.name;
    EXPECT_EQ(len, static_cast<int>(std::strlen(c.expected))) << c.name;
  }
}

TEST(IniRead, MissingFileAndNullArgumentsGiveTheDefault) {
  TempFolder dir;
  char out[16] = "x";
  EXPECT_EQ(IniRead((dir / "none.ini").c_str(), "s", "k", "def", out, sizeof out), 3);
  EXPECT_STREQ(out, "def");
  EXPECT_EQ(IniRead((dir / "none.ini").c_str(), "s", "k", nullptr, out, sizeof out), 0);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(IniRead(dir.path.c_str(), "s", "k", "dir", out, sizeof out), 3) << "a folder";
  EXPECT_EQ(IniRead(nullptr, "s", "k", "d", out, sizeof out), 1);
  EXPECT_EQ(IniRead((dir / "x").c_str(), "s", "k", "d", out, 0), 0) << "size 0 writes nothing";
  EXPECT_STREQ(out, "d");
}

TEST(IniRead, CutsToTheBufferWithoutOverrun) {
  TempFolder dir;
  std::string file = dir / "long.ini";
  WriteBytes(file, "[s]\nk=0123456789\n");
  char out[8];
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(IniRead(file.c_str(), "s", "k", "", out, 5), 4);
  EXPECT_STREQ(out, "0123");
  EXPECT_EQ(out[5], '#');
  EXPECT_EQ(IniRead(file.c_str(), "s", "x", "abcdefgh", out, 5), 4) << "default cut too";
  EXPECT_STREQ(out, "abcd");
}

TEST(IniRead, ListsKeysAndSections) {
  TempFolder dir;
  std::string file = dir / "list.ini";
  WriteBytes(file, "x=0\n[A]\nk1=1\n;c=2\nK1=3\nk2=4\n[b]\n[a]\nk3=5\n");
  EXPECT_EQ(IniKeys(file.c_str(), "a"), (std::vector<std::string>{"k1", "k2"}));
  EXPECT_EQ(IniSections(file.c_str()), (std::vector<std::string>{"A", "b"}));
  EXPECT_TRUE(IniHasSection(file.c_str(), "B"));
  EXPECT_FALSE(IniHasSection(file.c_str(), "c"));
  std::string v = "untouched";
  EXPECT_FALSE(IniLookup(file.c_str(), "b", "k", v));
  EXPECT_TRUE(IniLookup(file.c_str(), "A", "k2", v));
  EXPECT_EQ(v, "4");
}

TEST(IniCache, ServesAnUnchangedFileWithoutParsing) {
  TempFolder dir;
  std::string file = dir / "old.ini";
  WriteBytes(file, "[s]\nk=v\n");
  Age(file, 60);
  char out[16];
  IniRead(file.c_str(), "s", "k", "", out, sizeof out);
  std::size_t parses = IniParseCount();
  for (int i = 0; i < 100; ++i)
    IniRead(file.c_str(), "s", "k", "", out, sizeof out);
  EXPECT_EQ(IniParseCount(), parses);
  EXPECT_STREQ(out, "v");
}

TEST(IniCache, NoticesEveryOutsideChange) {
  TempFolder dir;
  std::string file = dir / "change.ini";
  char out[16];

  // Same size, same second: only the nanoseconds or the fresh-file rule tell.
  WriteBytes(file, "[s]\nk=1\n");
  EXPECT_EQ(IniRead(file.c_str(), "s", "k", "", out, sizeof out), 1);
  EXPECT_STREQ(out, "1");
  WriteBytes(file, "[s]\nk=2\n");
  IniRead(file.c_str(), "s", "k", "", out, sizeof out);
  EXPECT_STREQ(out, "2");

  // An old file replaced by one with the same size and the same old time:
  // a new inode.
  Age(file, 100);
  IniRead(file.c_str(), "s", "k", "", out, sizeof out);
  std::string other = dir / "other.ini";
  WriteBytes(other, "[s]\nk=3\n");
  struct stat st {};
  stat(file.c_str(), &st);
  struct timespec times[2] = {st.st_atim, st.st_mtim};
  utimensat(AT_FDCWD, other.c_str(), times, 0);
  std::rename(other.c_str(), file.c_str());
  IniRead(file.c_str(), "s", "k", "", out, sizeof out);
  EXPECT_STREQ(out, "3");

  // Deleted: the default again.
  std::remove(file.c_str());
  IniRead(file.c_str(), "s", "k", "gone", out, sizeof out);
  EXPECT_STREQ(out, "gone");
}

TEST(IniCache, ConcurrentReadersAndAWriterAgree) {
  TempFolder dir;
  std::string file = dir / "shared.ini";
  WriteBytes(file, "[s]\nfixed=yes\n");
  std::atomic<bool> wrong{false};
  std::vector<std::thread> readers;
  for (int t = 0; t < 4; ++t) {
    readers.emplace_back([&] {
      char out[16];
      for (int i = 0; i < 2000; ++i) {
        IniRead(file.c_str(), "s", "fixed", "", out, sizeof out);
        if (std::strcmp(out, "yes") != 0)
          wrong = true;
      }
    });
  }
  for (int i = 0; i < 200; ++i)
    IniWrite(file.c_str(), "s", ("k" + std::to_string(i)).c_str(), "v");
  for (auto& r : readers)
    r.join();
  EXPECT_FALSE(wrong);
  EXPECT_EQ(IniKeys(file.c_str(), "s").size(), 201u);
}

} // namespace
