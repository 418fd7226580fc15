// Reading INI files: the lookup rules, cut values, hostile files and the
// cache that must notice every outside change.
#include "platform/ini.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

TEST(IniRead, FollowsTheLookupRules) {
  // clang-format off
  const struct { const char* name; std::string content; const char *section, *key, *def, *expected; } cases[] = {
      {"names ignore case", "[Sect]\nKey=V\n", "sECT", "kEY", "", "V"},
      {"crlf lines", "[s]\r\nk=v\r\nj=w\r\n", "s", "j", "", "w"},
      {"trims key, value and arguments", "[ \tS\t ]\n \t k \t = \t v w \t \n", " S\t", " k ", "", "v w"},
      {"before first header is never found", "k=v\n[s]\nj=w\n", "", "k", "d", "d"},
      {"line without equals is no key", "[s]\nk\n", "s", "k", "d", "d"},
      {"comment line", "[s]\n  ;k=v\n", "s", ";k", "d", "d"},
      {"semicolon inside value", "[s]\nk=a;b ; c\n", "s", "k", "", "a;b ; c"},
      {"one pair of outer quotes removed", "[s]\nk=\"\"a\"\"\n", "s", "k", "", "\"a\""},
      {"first section wins", "[s]\nk=1\n[s]\nk=2\nj=3\n", "s", "j", "d", "d"},
      {"first key wins", "[s]\nk=1\nK=2\n", "s", "k", "", "1"},
      {"default loses trailing blanks", "[s]\n", "s", "x", "d e \t ", "d e"},
      {"byte order mark skipped", "\xEF\xBB\xBF[s]\nk=v\n", "s", "k", "", "v"},
      {"a zero byte ends the value", std::string("[s]\nk=v\0w\n", 11), "s", "k", "", "v"},
      {"garbage lines around", "\x01]]==\n[s]\n\xFF\xFE junk\nk=v\n[[[\n", "s", "k", "", "v"},
  };
  // clang-format on
  TempFolder dir;
  for (const auto& c : cases) {
    std::string file = dir / ("case" + std::to_string(&c - cases) + ".ini");
    WriteWhole(file, c.content);
    char out[64];
    EXPECT_EQ(IniRead(file.c_str(), c.section, c.key, c.def, out, sizeof out),
              static_cast<int>(std::strlen(c.expected)))
        << c.name;
    EXPECT_STREQ(out, c.expected) << c.name;
  }
}

TEST(IniRead, DefaultsCutsAndLists) {
  TempFolder dir;
  char out[16];
  EXPECT_EQ(IniRead((dir / "none.ini").c_str(), "s", "k", nullptr, out, sizeof out), 0);
  EXPECT_EQ(IniRead(dir.path.c_str(), "s", "k", "dir", out, sizeof out), 3) << "a folder";
  EXPECT_EQ(IniRead(nullptr, "s", "k", "d", out, sizeof out), 1);
  EXPECT_EQ(IniRead((dir / "x").c_str(), "s", "k", "e", out, 0), 0) << "size 0 writes nothing";
  EXPECT_STREQ(out, "d");

  std::string file = dir / "list.ini";
  WriteWhole(file, "x=0\n[A]\nk1=0123456789\n;c=2\nK1=3\nk2=4\n[b]\n[a]\nk3=5\n");
  std::memset(out, '#', sizeof out);
  EXPECT_EQ(IniRead(file.c_str(), "a", "k1", "", out, 5), 4);
  EXPECT_STREQ(out, "0123");
  EXPECT_EQ(out[5], '#') << "written past the size";
  EXPECT_EQ(IniRead(file.c_str(), "s", "x", "abcdefgh", out, 5), 4);
  EXPECT_EQ(IniKeys(file.c_str(), "a"), (std::vector<std::string>{"k1", "k2"}));
  EXPECT_EQ(IniSections(file.c_str()), (std::vector<std::string>{"A", "b"}));
  std::string v = "untouched";
  EXPECT_TRUE(IniLookup(file.c_str(), "A", "k2", v));
  EXPECT_EQ(v, "4");
}

TEST(IniCache, ParsesOnceButNoticesEveryOutsideChange) {
  TempFolder dir;
  std::string file = dir / "change.ini";
  char out[16];
  WriteWhole(file, "[s]\nk=0\n");
  Age(file, 60);
  IniRead(file.c_str(), "s", "k", "", out, sizeof out);
  std::size_t parses = IniParseCount();
  for (int i = 0; i < 50; ++i)
    IniRead(file.c_str(), "s", "k", "", out, sizeof out);
  EXPECT_EQ(IniParseCount(), parses) << "an unchanged file parsed again";

  // Same size, same second: only the nanoseconds or the fresh-file rule tell.
  WriteWhole(file, "[s]\nk=1\n");
  IniRead(file.c_str(), "s", "k", "", out, sizeof out);
  WriteWhole(file, "[s]\nk=2\n");
  IniRead(file.c_str(), "s", "k", "", out, sizeof out);
  EXPECT_STREQ(out, "2");

  // Replaced by a file of the same size and the same old time: a new inode.
  Age(file, 100);
  IniRead(file.c_str(), "s", "k", "", out, sizeof out);
  std::string other = dir / "other.ini";
  WriteWhole(other, "[s]\nk=3\n");
  Age(other, 0, file);
  std::rename(other.c_str(), file.c_str());
  IniRead(file.c_str(), "s", "k", "", out, sizeof out);
  EXPECT_STREQ(out, "3");

  std::remove(file.c_str());
  IniRead(file.c_str(), "s", "k", "gone", out, sizeof out);
  EXPECT_STREQ(out, "gone");
}

} // namespace
