// The settings store over real files: macros and their sources, line breaks,
// registry references, limits, and broken settings files.
#include "platform/ini.h"
#include "platform/registry.h"
#include "shell/module_path.h"
#include "shell/settings.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

const std::string Key = "@HKEY_CURRENT_USER\\Software\\Skerry Test";

struct Settings : ::testing::Test {
  TempFolder dir;
  std::string program = dir / "prog", system = dir / "sys";
  std::string define = dir / "prog/Define.ini", registry = dir / "sys/registry.ini";

  void SetUp() override {
    std::filesystem::create_directories(program), std::filesystem::create_directories(system);
    setenv("SKERRY_SYSTEM_DIR", system.c_str(), 1);
    setenv("XDG_CACHE_HOME", (dir / "cache").c_str(), 1);
    SetModulePathForTests(program + "/skerry");
    LanguageOffset = 0;
  }
  void TearDown() override { SetModulePathForTests(""), LanguageOffset = 0; }
  std::string Read(const char* key, const std::string& file = "") {
    char out[ProfileValueSize];
    int n = ProfileRead("T", key, out, (file.empty() ? define : file).c_str());
    EXPECT_EQ(n, static_cast<int>(std::strlen(out)));
    return out;
  }
  std::string Expand(const std::string& text) {
    char out[ProfileValueSize];
    ExpandMacros(text.c_str(), out, define.c_str());
    return out;
  }
  std::string Write(const char* key, const std::string& text) {
    char value[ProfileValueSize];
    std::strcpy(value, text.c_str());
    int n = ProfileWrite("T", key, value, define.c_str());
    EXPECT_EQ(n, static_cast<int>(std::strlen(value)));
    return value;
  }
};

TEST_F(Settings, MacrosExpandFromTheirSourcesInTurn) {
  setenv("SKERRY_TEST_VAR", "env", 1);
  setenv("SKERRY_TEST_EMPTY", "", 1);
  setenv("SKERRY_TEST_PCT", "%FromAll%", 1);
  setenv("SKERRY_BOTH", "environment", 1);
  unsetenv("SKERRY_LANG");
  WriteWhole(define, "[EnvEng]\nSKERRY_LANG=english\nFall=%SKERRY_NOTHING%\n[EnvCht]\nSKERRY_LANG="
                     "chinese\n[EnvAll]\nFromAll=all\nNested=<%FromAll%>\nSKERRY_BOTH=all\n"
                     "SKERRY_LANG=all\nFall=fallback\n");
  // clang-format off
  const struct { const char* text; std::string expected; } rows[] = {
      {"%Path%\\Web\\a.htm", program + "\\Web\\a.htm"}, {"%PATH%|%path%", program + "|" + program},
      {"%WinDir%|%SYSDIR%", system + "|" + system + "/System"}, {"[%MaskNt%][%Mask95%]", "[][95]"},
      {"a%skerry_test_var%b", "aenvb"}, {"a%SKERRY_NO_SUCH%%SKERRY_TEST_EMPTY%b", "ab"},
      {"%Nested%", "<all>"}, {"50% off", "50% off"}, {"a%%b", "ab"}, {"x%Path", "x%Path"},
      {"%FromAll%%", "all%"}, {"%SKERRY_TEST_PCT%", "%FromAll%"}, {"%SKERRY_BOTH%", "environment"},
      {"%SKERRY_LANG%", "english"}, {"%Fall%", "fallback"}, // EnvEng giving nothing lets EnvAll decide
  };
  // clang-format on
  for (const auto& r : rows)
    EXPECT_EQ(Expand(r.text), r.expected) << r.text;
  LanguageOffset = 1000;
  EXPECT_EQ(Expand("%SKERRY_LANG%"), "chinese");
}

TEST_F(Settings, LineBreaksAndRegistryReferences) {
  WriteWhole(registry, "[HKEY_CURRENT_USER\\Software\\Skerry Test]\n@=default\nNamed=named\n");
  setenv("SKERRY_REF", (Key + ":Named").c_str(), 1);
  // clang-format off
  const struct { std::string raw, expected; } rows[] = {
      {"a@@@b", "a\r\n@b"}, {Key + ":Named", "named"}, {Key, "default"}, {Key + ":NAMED", "named"},
      {"@hkey_current_user\\x", "@hkey_current_user\\x"}, {"@HKEY_Current_User\\Software\\Skerry Test", ""},
      {"@HKEY_CURRENT_USER", ""}, {Key + ":Nope", ""}, {"%Ref%", "named"}, {"%SKERRY_REF%", "named"},
      {"see " + Key, "see " + Key},
  };
  // clang-format on
  std::string file = "[EnvAll]\nRef=" + Key + ":Named\n[T]\n";
  for (std::size_t i = 0; i < std::size(rows); ++i)
    file += "k" + std::to_string(i) + "=" + rows[i].raw + "\n";
  WriteWhole(define, file);
  for (std::size_t i = 0; i < std::size(rows); ++i)
    EXPECT_EQ(Read(("k" + std::to_string(i)).c_str()), rows[i].expected) << rows[i].raw;

  EXPECT_EQ(Write("back", "one\r\ntwo\r\n"), "one@@two@@");
  EXPECT_EQ(Read("back"), "one\r\ntwo\r\n");
  // References are followed before expansion only: an expanded one is stored.
  EXPECT_EQ(Write("a", "%SKERRY_REF%"), Key + ":Named");
  EXPECT_EQ(Read("a"), "named");
  EXPECT_EQ(Write("b", Key + ":Named"), "named");
  EXPECT_EQ(IniReadString(define.c_str(), "T", "b"), "named");

  // Registry strings: case-blind keys, 259 characters fit; registry.ini first.
  WriteWhole(registry, "[HKEY_CLASSES_ROOT\\CLSID\\{X}]\n@=control\nfits=" + std::string(259, 'f') +
                           "\nover=" + std::string(260, 'o') + "\n");
  char out[RegistryValueSize];
  EXPECT_EQ(ReadRegistryString("HKEY_CLASSES_ROOT", "clsid\\{x}", "FITS", out), 0);
  EXPECT_EQ(std::string(out), std::string(259, 'f'));
  EXPECT_EQ(ReadRegistryString("HKEY_CLASSES_ROOT", "CLSID\\{X}", "over", out), 234);
  EXPECT_STREQ(out, "");
}

TEST_F(Settings, RecursionStopsAtTheDepthLimit) {
  std::string boom, many;
  for (int i = 0; i < 50; ++i)
    boom += "%Boom%", many += i < 20 ? "%Plain%" : "";
  WriteWhole(define, "[EnvAll]\nSelf=x%Self%\nA=a%B%\nB=b%A%\nGrow=%Grow%%Grow%y\nBoom=b" + boom +
                         "\nPlain=p\n[T]\nself=%Self%\ncycle=%A%\ngrow=%Grow%\nboom=%Boom%\nmany=" +
                         many + "\n");
  EXPECT_EQ(Read("self"), "xxxxxxxx") << "one x per level, eight levels";
  EXPECT_EQ(Read("cycle"), "abababab");
  // The lookups of one read are bounded too: fewer than 2^8 - 1 "y", and no 50^8 reads.
  std::string grow = Read("grow"), b = Read("boom");
  EXPECT_TRUE(!grow.empty() && grow.size() < 255 && grow.find_first_not_of('y') == grow.npos)
      << grow;
  EXPECT_TRUE(!b.empty() && b.find_first_not_of('b') == b.npos) << b;
  EXPECT_EQ(Read("many"), std::string(20, 'p')) << "ordinary values are not cut short";
}

TEST_F(Settings, BigAndBrokenValuesAreCutAndReadSafely) {
  setenv("SKERRY_BIG", std::string(3000, 'e').c_str(), 1);
  std::string longName = "%" + std::string(2000, 'n') + "%tail";
  // clang-format off
  const struct { const char* name; std::string content; const char* key; std::string expected; } rows[] = {
      {"megabyte line", "[T]\nk=" + std::string(1 << 20, 'm') + "\nj=after\n", "k", std::string(1023, 'm')},
      {"after a megabyte line", "[T]\nj=" + std::string(1 << 20, 'm') + "\nk=after\n", "k", "after"},
      {"megabyte header", "[" + std::string(1 << 20, 'T') + "\nk=v\n[T]\nk=w\n", "k", "w"},
      {"megabyte of percents", "[T]\nk=" + std::string(1 << 20, '%') + "\n", "k", "%"},
      {"big macro", "[T]\nk=%SKERRY_BIG%\n", "k", std::string(1023, 'e')},
      {"two halves", "[EnvAll]\nH=" + std::string(600, 'h') + "\n[T]\nk=%H%%H%\n", "k", std::string(1023, 'h')},
      {"name without its closing mark", "[T]\nk=" + longName + "\n", "k", longName.substr(0, 1023)},
  };
  // clang-format on
  for (const auto& r : rows) {
    WriteWhole(define, r.content);
    EXPECT_EQ(Read(r.key), r.expected) << r.name;
  }
  EXPECT_EQ(Expand(longName), "tail") << "an over-long name vanishes";
  EXPECT_EQ(Read("k", dir / "nowhere/Define.ini"), "");

  struct {
    char out[ProfileValueSize], guard[16];
  } buffer;
  std::memset(&buffer, 'w', sizeof buffer.out); // no end mark in the caller's value
  std::memset(buffer.guard, 'G', sizeof buffer.guard);
  EXPECT_EQ(ProfileWrite("T", "w", buffer.out, define.c_str()), 1023);
  EXPECT_EQ(std::string(buffer.guard, sizeof buffer.guard), std::string(16, 'G'));
}

} // namespace
