// The program's path rules, the language query and the system folder.
#include "platform/sysdirs.h"
#include "shell/module_path.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

namespace {

// A program path whose last separator stands at index separator.
std::string ProgramWithSeparatorAt(std::size_t separator) {
  std::string folder = "/" + std::string(separator - 1, 'd');
  return folder + "/skerry";
}

TEST(ModulePath, FilePathFollowsThe128CharacterRule) {
  char out[260];
  const struct {
    const char* name;
    std::string program;
    const char* file;
    std::string expected;
  } rows[] = {
      {"short", "/opt/skerry/skerry", "Define.ini", "/opt/skerry/Define.ini"},
      {"backslashes of data", "/opt/skerry/skerry", "Web\\Menu1.htm", "/opt/skerry/Web/Menu1.htm"},
      {"separator at 114 still fits", ProgramWithSeparatorAt(114), "Define.ini",
       ProgramWithSeparatorAt(114).substr(0, 115) + "Define.ini"},
      {"separator at 115 gives ?", ProgramWithSeparatorAt(115), "Define.ini",
       ProgramWithSeparatorAt(115).substr(0, 116) + "?"},
      // Only the first 127 characters are looked at: the separator that counts
      // is the last one among them.
      {"long program name", "/opt/" + std::string(200, 'x'), "Define.ini", "/opt/Define.ini"},
      {"name cut to the buffer", "/o/skerry", nullptr, "/o/"},
  };
  for (const auto& r : rows) {
    SetModulePathForTests(r.program);
    int n = ModuleFilePath(0, out, r.file);
    EXPECT_EQ(std::string(out), r.expected) << r.name;
    EXPECT_EQ(n, static_cast<int>(r.expected.size())) << r.name;
  }
  SetModulePathForTests("/opt/skerry/skerry");
  std::string longName(400, 'n');
  EXPECT_EQ(ModuleFilePath(0, out, longName.c_str()), 259) << "never past 260 bytes";
  EXPECT_EQ(ModuleDirectory(0, out), 11);
  EXPECT_STREQ(out, "/opt/skerry");

  SetModulePathForTests("");
  ModuleDirectory(0, out);
  EXPECT_FALSE(std::string(out).empty()) << "the test program's own folder";
  EXPECT_EQ(ModulePath().rfind(out, 0), 0u);
}

TEST(ModulePath, LanguageFromTheLocale) {
  const struct {
    const char* lcAll;
    const char* lcMessages;
    const char* lang;
    int expected;
  } rows[] = {
      {"zh_TW.UTF-8", nullptr, nullptr, 1000}, {nullptr, "zh_TW.Big5", "en_US", 1000},
      {"", "", "zh_TW.UTF-8@x", 1000},         {"en_US.UTF-8", nullptr, "zh_TW", 0},
      {"zh_CN.UTF-8", nullptr, nullptr, 2000}, {"zh_HK.UTF-8", nullptr, nullptr, 0},
      {nullptr, nullptr, nullptr, 0},
  };
  auto put = [](const char* name, const char* value) {
    if (value == nullptr)
      unsetenv(name);
    else
      setenv(name, value, 1);
  };
  for (const auto& r : rows) {
    put("LC_ALL", r.lcAll);
    put("LC_MESSAGES", r.lcMessages);
    put("LANG", r.lang);
    EXPECT_EQ(LanguageFromLocale(), r.expected)
        << (r.lcAll ? r.lcAll : "-") << " " << (r.lcMessages ? r.lcMessages : "-") << " "
        << (r.lang ? r.lang : "-");
  }
  setenv("LC_ALL", "zh_HK", 1);
  EXPECT_EQ(LanguageIdFromLocale(), 4 | (3 << 10));
}

TEST(ModulePath, SystemFolderIsMadeWhereTheEnvironmentSays) {
  TempFolder dir;
  setenv("SKERRY_SYSTEM_DIR", (dir / "a/b/sys/").c_str(), 1);
  EXPECT_EQ(SystemFolder(), dir / "a/b/sys");
  EXPECT_TRUE(std::filesystem::is_directory(dir / "a/b/sys"));
  EXPECT_EQ(SystemSubfolder("Temp"), dir / "a/b/sys/Temp");
  EXPECT_TRUE(std::filesystem::is_directory(dir / "a/b/sys/Temp"));

  unsetenv("SKERRY_SYSTEM_DIR");
  setenv("XDG_STATE_HOME", (dir / "state").c_str(), 1);
  EXPECT_EQ(SystemFolder(), dir / "state/skerry");
  unsetenv("XDG_STATE_HOME");
  setenv("HOME", (dir / "home").c_str(), 1);
  EXPECT_EQ(SystemFolder(), dir / "home/.local/state/skerry");
  EXPECT_TRUE(std::filesystem::is_directory(dir / "home/.local/state/skerry"));
}

} // namespace
