// The program's path rules, the language query and the system folder.
#include "platform/sysdirs.h"
#include "shell/module_path.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

namespace {

TEST(ModulePath, FilePathFollowsThe128CharacterRule) {
  // A program path whose last separator stands at index 114 or 115.
  std::string at114 = "/" + std::string(113, 'd') + "/skerry",
              at115 = "/" + std::string(114, 'd') + "/skerry";
  // clang-format off
  const struct { std::string program; const char* file; std::string expected; } rows[] = {
      {"/opt/skerry/skerry", "Web\\Menu1.htm", "/opt/skerry/Web/Menu1.htm"},
      {at114, "Define.ini", at114.substr(0, 115) + "Define.ini"},
      {at115, "Define.ini", at115.substr(0, 116) + "?"},
      // Only the first 127 characters are looked at for the last separator.
      {"/opt/" + std::string(200, 'x'), "Define.ini", "/opt/Define.ini"},
      {"/o/skerry", nullptr, "/o/"},
  };
  // clang-format on
  char out[260];
  for (const auto& r : rows) {
    SetModulePathForTests(r.program);
    EXPECT_EQ(ModuleFilePath(0, out, r.file), static_cast<int>(r.expected.size())) << r.expected;
    EXPECT_EQ(std::string(out), r.expected);
  }
  SetModulePathForTests("/opt/skerry/skerry");
  EXPECT_EQ(ModuleFilePath(0, out, std::string(400, 'n').c_str()), 259) << "past 260 bytes";
}

TEST(ModulePath, LanguageFromTheLocale) {
  // clang-format off
  const struct { const char *lcAll, *lcMessages, *lang; int expected; } rows[] = {
      {nullptr, "zh_TW.Big5", "en_US", 1000}, {"", "", "zh_TW.UTF-8@x", 1000},
      {"en_US.UTF-8", nullptr, "zh_TW", 0}, {"zh_CN.UTF-8", nullptr, nullptr, 2000},
      {"zh_TW.UTF-8", nullptr, nullptr, 1000}, {"", nullptr, nullptr, 0},
  };
  // clang-format on
  auto put = [](const char* name, const char* value) {
    value == nullptr ? unsetenv(name) : setenv(name, value, 1);
  };
  for (const auto& r : rows) {
    put("LC_ALL", r.lcAll);
    put("LC_MESSAGES", r.lcMessages);
    put("LANG", r.lang);
    EXPECT_EQ(LanguageFromLocale(), r.expected)
        << (r.lcAll ? r.lcAll : "-") << " " << (r.lcMessages ? r.lcMessages : "-");
  }
}

TEST(ModulePath, SystemFolderIsMadeWhereTheEnvironmentSays) {
  TempFolder dir;
  unsetenv("SKERRY_SYSTEM_DIR");
  setenv("XDG_STATE_HOME", (dir / "state").c_str(), 1);
  EXPECT_EQ(SystemFolder(), dir / "state/skerry");
  unsetenv("XDG_STATE_HOME");
  setenv("HOME", (dir / "home").c_str(), 1);
  EXPECT_EQ(SystemFolder(), dir / "home/.local/state/skerry");
  EXPECT_TRUE(std::filesystem::is_directory(dir / "home/.local/state/skerry"));
}

} // namespace
