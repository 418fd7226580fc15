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

using namespace std::string_literals;

// A program folder and a system folder inside a temporary folder, with
// Define.ini and registry.ini written by each test.
struct Settings : ::testing::Test {
  TempFolder dir;
  std::string program = dir / "prog";
  std::string system = dir / "sys";
  std::string define = dir / "prog/Define.ini";
  std::string registry = dir / "sys/registry.ini";

  void SetUp() override {
    std::filesystem::create_directories(program);
    std::filesystem::create_directories(system);
    setenv("SKERRY_SYSTEM_DIR", system.c_str(), 1);
    setenv("XDG_CACHE_HOME", (dir / "cache").c_str(), 1);
    SetModulePathForTests(program + "/skerry");
    LanguageOffset = 0;
    SetDisplaySettings(24, 96);
  }
  void TearDown() override {
    SetModulePathForTests("");
    LanguageOffset = 0;
  }

  std::string Read(const char* section, const char* key, const std::string& file) {
    char out[ProfileValueSize];
    int n = ProfileRead(section, key, out, file.c_str());
    EXPECT_EQ(n, static_cast<int>(std::strlen(out)));
    return out;
  }
  std::string Read(const char* key) { return Read("T", key, define); }
  std::string Expand(const char* text) {
    char out[ProfileValueSize];
    int n = ExpandMacros(text, out, define.c_str());
    EXPECT_EQ(n, static_cast<int>(std::strlen(out)));
    return out;
  }
};

TEST_F(Settings, MacrosExpand) {
  setenv("SKERRY_TEST_VAR", "env", 1);
  setenv("SKERRY_TEST_EMPTY", "", 1);
  WriteBytes(define, "[EnvAll]\nFromAll=all\nNested=<%FromAll%>\n");
  const struct {
    const char* name;
    const char* text;
    std::string expected;
  } rows[] = {
      {"path then relative path", "%Path%\\Web\\a.htm", program + "\\Web\\a.htm"},
      {"path in any case is not $PATH", "%PATH%|%path%", program + "|" + program},
      {"windir", "%WinDir%", system},
      {"sysdir", "%SYSDIR%", system + "/System"},
      {"masks", "[%MaskNt%][%Mask95%]", "[][95]"},
      {"environment", "a%SKERRY_TEST_VAR%b", "aenvb"},
      {"environment any case", "%skerry_test_var%", "env"},
      {"undefined vanishes", "a%SKERRY_NO_SUCH%b", "ab"},
      {"empty variable counts as absent", "%SKERRY_TEST_EMPTY%", ""},
      {"section macro", "%FromAll%", "all"},
      {"section macro expands itself", "%Nested%", "<all>"},
      {"single percent stays", "50% off", "50% off"},
      {"trailing percent stays", "abc%", "abc%"},
      {"double percent vanishes", "a%%b", "ab"},
      {"unclosed name copied", "x%Path", "x%Path"},
      {"three percents", "%FromAll%%", "all%"},
      {"no rescan of a macro's value", "%SKERRY_TEST_PCT%", "%FromAll%"},
  };
  setenv("SKERRY_TEST_PCT", "%FromAll%", 1);
  for (const auto& r : rows)
    EXPECT_EQ(Expand(r.text), r.expected) << r.name;
}

TEST_F(Settings, MacroSourcesTakeTurns) {
  setenv("SKERRY_BOTH", "environment", 1);
  unsetenv("SKERRY_LANG");
  unsetenv("SKERRY_FALL");
  WriteBytes(define, "[EnvEng]\nSKERRY_LANG=english\nSKERRY_FALL=%SKERRY_NOTHING%\n"
                     "[EnvCht]\nSKERRY_LANG=chinese\n"
                     "[EnvAll]\nSKERRY_BOTH=all\nSKERRY_LANG=all\nSKERRY_FALL=fallback\n"
                     "SKERRY_ONLYALL=shared\n"
                     "[T]\nboth=%SKERRY_BOTH%\nlang=%SKERRY_LANG%\nfall=%SKERRY_FALL%\n"
                     "shared=%SKERRY_ONLYALL%\n");
  EXPECT_EQ(Read("both"), "environment");
  EXPECT_EQ(Read("lang"), "english");
  EXPECT_EQ(Read("fall"), "fallback") << "EnvEng giving nothing lets EnvAll decide";
  LanguageOffset = 1000;
  EXPECT_EQ(Read("lang"), "chinese");
  EXPECT_EQ(Read("shared"), "shared");
  LanguageOffset = 0;

  // The sections of the file being read, not those of Define.ini.
  std::string other = dir / "prog/other.ini";
  WriteBytes(other, "[EnvAll]\nSKERRY_LANG=other\n[T]\nlang=%SKERRY_LANG%\n");
  EXPECT_EQ(Read("T", "lang", other), "other");
}

TEST_F(Settings, LineBreaksBothWays) {
  WriteBytes(define, "[T]\ntwo=first@@second\nthree=a@@@b\nfour=@@@@\n");
  EXPECT_EQ(Read("two"), "first\r\nsecond");
  EXPECT_EQ(Read("three"), "a\r\n@b");
  EXPECT_EQ(Read("four"), "\r\n\r\n");

  char value[ProfileValueSize] = "line one\r\nline two\r\n";
  EXPECT_EQ(ProfileWrite("T", "back", value, define.c_str()), 20);
  EXPECT_STREQ(value, "line one@@line two@@");
  EXPECT_EQ(IniReadString(define.c_str(), "T", "back"), "line one@@line two@@");
  EXPECT_EQ(Read("back"), "line one\r\nline two\r\n");
}

TEST_F(Settings, RegistryReferences) {
  WriteBytes(registry, "[HKEY_CURRENT_USER\\Software\\Skerry Test]\n@=default text\n"
                       "Named=named text\n");
  WriteBytes(define, "[EnvAll]\nRef=@HKEY_CURRENT_USER\\Software\\Skerry Test:Named\n"
                     "[T]\n"
                     "named=@HKEY_CURRENT_USER\\Software\\Skerry Test:Named\n"
                     "default=@HKEY_CURRENT_USER\\Software\\Skerry Test\n"
                     "pathcase=@HKEY_CURRENT_USER\\SOFTWARE\\skerry test:NAMED\n"
                     "lower=@hkey_current_user\\Software\\Skerry Test:Named\n"
                     "unknown=@HKEY_NOWHERE\\Software\\Skerry Test:Named\n"
                     "rootcase=@HKEY_Current_User\\Software\\Skerry Test:Named\n"
                     "noslash=@HKEY_CURRENT_USER\n"
                     "missingvalue=@HKEY_CURRENT_USER\\Software\\Skerry Test:Nope\n"
                     "viamacro=%Ref%\n"
                     "notwhole=see @HKEY_CURRENT_USER\\Software\\Skerry Test\n");
  const struct {
    const char* key;
    const char* expected;
  } rows[] = {
      {"named", "named text"},
      {"default", "default text"},
      {"pathcase", "named text"},
      {"lower", "@hkey_current_user\\Software\\Skerry Test:Named"},
      {"unknown", ""},
      {"rootcase", ""},
      {"noslash", ""},
      {"missingvalue", ""},
      {"viamacro", "named text"},
      {"notwhole", "see @HKEY_CURRENT_USER\\Software\\Skerry Test"},
  };
  for (const auto& r : rows)
    EXPECT_EQ(Read(r.key), r.expected) << r.key;

  char out[ProfileValueSize];
  EXPECT_EQ(ResolveRegistryValue("plain", out), 0);
}

TEST_F(Settings, WriteFollowsReferencesBeforeExpansionOnly) {
  WriteBytes(registry, "[HKEY_CURRENT_USER\\Software\\Skerry Test]\nNamed=named text\n");
  setenv("SKERRY_REF", "@HKEY_CURRENT_USER\\Software\\Skerry Test:Named", 1);
  WriteBytes(define, "[EnvAll]\nRef=@HKEY_CURRENT_USER\\Software\\Skerry Test:Named\n"
                     "[T]\nread=%SKERRY_REF%\n");
  EXPECT_EQ(Read("read"), "named text") << "the expanded text is followed on reading";

  char value[ProfileValueSize] = "%SKERRY_REF%";
  int n = ProfileWrite("T", "a", value, define.c_str());
  EXPECT_STREQ(value, "@HKEY_CURRENT_USER\\Software\\Skerry Test:Named") << "stored expanded";
  EXPECT_EQ(n, static_cast<int>(std::strlen(value)));
  EXPECT_EQ(IniReadString(define.c_str(), "T", "a"), value);
  EXPECT_EQ(Read("a"), "named text") << "and followed when read back";

  std::strcpy(value, "%Ref%");
  ProfileWrite("T", "s", value, define.c_str());
  EXPECT_STREQ(value, "named text");

  std::strcpy(value, "@HKEY_CURRENT_USER\\Software\\Skerry Test:Named");
  EXPECT_EQ(ProfileWrite("T", "b", value, define.c_str()), 10);
  EXPECT_STREQ(value, "named text");
  EXPECT_EQ(IniReadString(define.c_str(), "T", "b"), "named text");
}

TEST_F(Settings, RecursionStopsAtTheDepthLimit) {
  WriteBytes(define, "[EnvAll]\nSelf=x%Self%\nA=a%B%\nB=b%A%\nGrow=%Grow%%Grow%y\n"
                     "[T]\nself=%Self%\ncycle=%A%\ngrow=%Grow%\n");
  EXPECT_EQ(Read("self"), "xxxxxxxx") << "one x per level, eight levels";
  EXPECT_EQ(Read("cycle"), "abababab");
  // Doubling at every level: the lookups of one read are bounded too, so
  // fewer than 2^8 - 1 "y" come out, all of them "y".
  std::string grow = Read("grow");
  EXPECT_FALSE(grow.empty());
  EXPECT_LT(grow.size(), 255u);
  EXPECT_EQ(grow.find_first_not_of('y'), std::string::npos);

  // Fifty self-references per level would be 50^8 reads without that bound.
  std::string boom, many;
  for (int i = 0; i < 50; ++i)
    boom += "%Boom%", many += i < 20 ? "%Plain%" : "";
  WriteBytes(define, "[EnvAll]\nBoom=b" + boom + "\nPlain=p\n[T]\nboom=%Boom%\nmany=" + many);
  std::string b = Read("boom");
  EXPECT_FALSE(b.empty());
  EXPECT_EQ(b.find_first_not_of('b'), std::string::npos);
  EXPECT_EQ(Read("many"), std::string(20, 'p')) << "ordinary values are not cut short";
}

TEST_F(Settings, ValuesAreCutAt1023) {
  std::string big(3000, 'e');
  setenv("SKERRY_BIG", big.c_str(), 1);
  std::string longName = "%" + std::string(2000, 'n') + "%tail";
  WriteBytes(define, "[EnvAll]\nHalf=" + std::string(600, 'h') +
                         "\n[T]\nbig=%SKERRY_BIG%\ntwice=%Half%%Half%\nraw=" +
                         std::string(1500, 'r') + "\nname=" + longName + "\n");
  struct {
    char out[ProfileValueSize];
    char guard[16];
  } buffer;
  std::memset(buffer.guard, 'G', sizeof buffer.guard);
  for (const char* key : {"big", "twice", "raw"}) {
    EXPECT_EQ(ProfileRead("T", key, buffer.out, define.c_str()), 1023) << key;
    EXPECT_EQ(std::strlen(buffer.out), 1023u) << key;
  }
  EXPECT_EQ(buffer.out[0], 'r');
  ProfileRead("T", "twice", buffer.out, define.c_str());
  EXPECT_EQ(std::string(buffer.out), std::string(1023, 'h'));
  // The raw value is cut to 1023 bytes before expansion, so the name has no
  // closing "%" left and stays text; given whole, the over-long name is cut
  // and vanishes as an unknown macro.
  EXPECT_EQ(ProfileRead("T", "name", buffer.out, define.c_str()), 1023);
  EXPECT_EQ(std::string(buffer.out, 3), "%nn");
  EXPECT_EQ(ExpandMacros(longName.c_str(), buffer.out, define.c_str()), 4);
  EXPECT_STREQ(buffer.out, "tail");

  std::string text = std::string(1000, 'a') + "%SKERRY_BIG%";
  EXPECT_EQ(ExpandMacros(text.c_str(), buffer.out, define.c_str()), 1023);
  EXPECT_EQ(std::string(buffer.out, 1000), std::string(1000, 'a'));

  // A caller's value without an end mark inside its 1024 bytes.
  std::memset(buffer.out, 'w', sizeof buffer.out);
  EXPECT_EQ(ProfileWrite("T", "w", buffer.out, define.c_str()), 1023);
  EXPECT_EQ(std::string(buffer.guard, sizeof buffer.guard), std::string(16, 'G'));
}

TEST_F(Settings, RegistryStrings) {
  std::string fits(259, 'f');
  std::string over(260, 'o');
  WriteBytes(registry, "[HKEY_CLASSES_ROOT\\CLSID\\{X}]\n@=control\nfits=" + fits +
                           "\nover=" + over + "\nempty=\n");
  char out[RegistryValueSize];
  EXPECT_EQ(ReadRegistryString("HKEY_CLASSES_ROOT", "CLSID\\{X}", "", out), 0);
  EXPECT_STREQ(out, "control");
  EXPECT_EQ(ReadRegistryString("HKEY_CLASSES_ROOT", "clsid\\{x}", "FITS", out), 0);
  EXPECT_EQ(std::string(out), fits);
  EXPECT_EQ(ReadRegistryString("HKEY_CLASSES_ROOT", "CLSID\\{X}", "over", out), 234);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(ReadRegistryString("HKEY_CLASSES_ROOT", "CLSID\\{X}", "empty", out), 0);
  EXPECT_EQ(ReadRegistryString("HKEY_CLASSES_ROOT", "CLSID\\{X}", "none", out), 2);
  EXPECT_EQ(ReadRegistryString("HKEY_CLASSES_ROOT", "CLSID\\{Y}", "", out), 2);
  EXPECT_NE(ReadRegistryString("hkey_classes_root", "CLSID\\{X}", "", out), 0);

  char value[ProfileValueSize];
  EXPECT_EQ(ResolveRegistryValue("@HKEY_CLASSES_ROOT\\CLSID\\{X}:over", value), 0);

  // Built-in answers, and registry.ini before them.
  EXPECT_EQ(ReadShellFolder("Cache", out), 0);
  EXPECT_EQ(std::string(out), dir / "cache/skerry/Cache");
  EXPECT_EQ(ReadShellFolder("Favorites", out), 2);
  SetDisplaySettings(32, 120);
  EXPECT_EQ(ReadRegistryString("HKEY_CURRENT_CONFIG", "Display\\Settings", "BitsPerPixel", out), 0);
  EXPECT_STREQ(out, "32");
  EXPECT_EQ(ReadRegistryString("HKEY_CURRENT_USER", "Display\\Settings", "DPILogicalY", out), 0);
  EXPECT_STREQ(out, "120");
  EXPECT_TRUE(RegistryKeyExists("HKEY_CLASSES_ROOT", "clsid\\{x}"));
  EXPECT_FALSE(RegistryKeyExists("HKEY_CLASSES_ROOT", "CLSID\\{Y}"));
  WriteBytes(registry, "[HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\"
                       "Explorer\\Shell Folders]\nCache=/elsewhere\n");
  EXPECT_EQ(ReadShellFolder("cache", out), 0);
  EXPECT_STREQ(out, "/elsewhere");
}

TEST_F(Settings, BrokenSettingsFilesReadSafely) {
  const struct {
    const char* name;
    std::string content;
    const char* key;
    std::string expected;
  } rows[] = {
      {"garbage lines", "\x01\x02\x03\n]]]\n==\n[T]\n\xFF\xFE\x00x\nk=v\n%%%%\n"s, "k", "v"},
      {"no sections", "k=v\nj=w\n", "k", ""},
      {"one megabyte line", "[T]\nk=" + std::string(1 << 20, 'm') + "\nj=after\n", "j", "after"},
      {"one megabyte header", "[" + std::string(1 << 20, 'T') + "\nk=v\n[T]\nk=w\n", "k", "w"},
      {"megabyte of percents", "[T]\nk=" + std::string(1 << 20, '%') + "\n", "k", "%"},
  };
  for (const auto& r : rows) {
    WriteBytes(define, r.content);
    EXPECT_EQ(Read(r.key), r.expected) << r.name;
  }
  WriteBytes(define, "[T]\nk=" + std::string(1 << 20, 'm') + "\n");
  EXPECT_EQ(Read("k"), std::string(1023, 'm'));
  std::filesystem::remove(define);
  EXPECT_EQ(Read("k"), "");
  char out[ProfileValueSize] = "junk";
  EXPECT_EQ(ProfileRead("T", "k", out, (dir / "nowhere/Define.ini").c_str()), 0);
  EXPECT_STREQ(out, "");
}

} // namespace
