// Start-up and exit on the headless backend, with the real carrier socket in a
// temporary runtime folder. A second start is tested on the real program.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "panel/dispatcher.h"
#include "panel/panel_state.h"
#include "platform/bitmap.h"
#include "platform/carrier.h"
#include "platform/headless/headless.h"
#include "shell/module_path.h"
#include "shell/startup.h"
#include "web/fetcher.h"

namespace fs = std::filesystem;

namespace {

std::vector<PaneRow> launches;
const DispatcherServices recording = [] {
  DispatcherServices s{};
  s.launchPane = [](PaneRow row, const char*) { launches.push_back(row); };
  return s;
}();

std::vector<char*> Argv(std::vector<std::string>& args) {
  std::vector<char*> argv;
  for (std::string& a : args)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  return argv;
}

int Main(std::vector<std::string> args) {
  return SkerryMain(static_cast<int>(args.size()), Argv(args).data());
}

class Startup : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() / ("skerry-start-" + std::to_string(getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir / "program/Game");
    fs::create_directories(dir / "run");
    setenv("XDG_RUNTIME_DIR", (dir / "run").c_str(), 1);
    setenv("SKERRY_SYSTEM_DIR", (dir / "system").c_str(), 1);
    setenv("LC_ALL", "C", 1);
    SetModulePathForTests((dir / "program" / "skerry").string());
    HeadlessInstall();
    SetDispatcherServices(&recording);
    launches.clear();
    ResetPanelState(Panel());
  }

  void TearDown() override {
    EXPECT_EQ(HeadlessUnscriptedQuestions(), 0);
    CarrierClose();
    SetDispatcherServices(nullptr);
    SetModulePathForTests("");
    unsetenv("LC_ALL");
    fs::remove_all(dir);
  }

  static std::vector<std::string> BoxTexts() {
    std::vector<std::string> out;
    for (const HeadlessBox& b : HeadlessBoxes())
      out.push_back(b.title + ": " + b.text);
    return out;
  }

  fs::path dir;
};

TEST(StartupText, TopSwitchAndLanguage) {
  const std::pair<std::vector<std::string>, bool> switches[] = {{{"skerry", "/Top"}, true},
                                                                {{"skerry", "/Top", "x"}, false},
                                                                {{"skerry", "/Topmost"}, false}};
  for (auto [args, top] : switches)
    EXPECT_EQ(IsTopSwitch(CommandLineText(static_cast<int>(args.size()), Argv(args).data())), top)
        << args[1];
  const std::pair<const char*, int> langs[] = {{"zh_TW.UTF-8", 1000}, {"zh_CN.UTF-8", 0}, {"", 0}};
  for (auto [locale, offset] : langs) {
    setenv("LC_ALL", locale, 1);
    EXPECT_EQ(LanguageOffsetFrom(LanguageFromLocale()), offset) << locale;
  }
  unsetenv("LC_ALL");
}

TEST_F(Startup, TopModeShowsItsCountAndMakesNoPanel) {
  std::ofstream(dir / "program" / "Define.ini") << "[Game]\nList=\n";
  SetWebSleepForTests([](unsigned) {});
  HeadlessScriptAnswers({IDYES});
  EXPECT_EQ(Main({"skerry", "/TOP"}), 0);
  SetWebSleepForTests(nullptr);
  EXPECT_EQ(BoxTexts().at(2), "Tessel @Vexan: Got 0 games from top list.");
  EXPECT_EQ(HeadlessFindClass("#32770"), 0u);
  EXPECT_FALSE(fs::exists(CarrierSocketPath()));
  EXPECT_TRUE(launches.empty());
}

TEST_F(Startup, MissingSkinSaysSoAndEndsCleanly) {
  EXPECT_EQ(Main({"skerry"}), 0);
  EXPECT_EQ(BoxTexts(),
            std::vector<std::string>{"Tessel Message: Bitmap file not found, Please re-install !"});
  EXPECT_TRUE(launches.empty());
  // The hidden window was told, and its quit message ended the loop.
  EXPECT_EQ(HeadlessCallsOf("send", MessageWindow).at(0).message, WM_DESTROY);
  EXPECT_FALSE(HeadlessQuitPending());
}

TEST_F(Startup, PanelStartsWithTheLowSkinAndLaunchesTheStartPage) {
  Bitmap skin; // the low skin only, of any size
  skin.Width = skin.Height = 4, skin.BitsPerPixel = 24;
  skin.Bits.assign(static_cast<std::size_t>(skin.RowLength() * skin.Height), 0x66);
  ASSERT_TRUE(SaveBitmapFile((dir / "program" / "@VEXANL.BMP").string(), skin));
  Main({"skerry"}); // the headless loop gives back once nothing is left to do

  Hwnd panel = Panel().PanelWindow.load();
  HeadlessWindow info;
  ASSERT_TRUE(HeadlessWindowInfo(panel, &info));
  EXPECT_TRUE(info.visible);
  EXPECT_EQ(info.timers, std::vector<int>{2});
  EXPECT_EQ(launches, std::vector<PaneRow>{PaneRowStart});
  EXPECT_TRUE(HeadlessBoxes().empty() && PanelListening());

  // The exit question: No changes nothing; Yes ends by the hidden window.
  for (auto [answer, command] : {std::pair(IDNO, 2), std::pair(IDYES, 214)}) {
    HeadlessScriptAnswers({answer});
    WinPostMessage(panel, WM_COMMAND, command, 0);
    HeadlessPump();
    ASSERT_TRUE(HeadlessWindowInfo(panel, &info));
    EXPECT_EQ(info.dialogEnded, answer == IDYES);
    EXPECT_EQ(HeadlessQuitPending(), answer == IDYES);
  }
  EXPECT_EQ(BoxTexts(),
            std::vector<std::string>(2, "Tessel Skerry: Do you want to exit Tessel Skerry ?"));
  EXPECT_EQ(WinMessageLoop(), 0);
}

} // namespace
