// The video request: the format read from the dialog's answer, the two
// dialogs and their order, and the slot the request fills.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/headless/headless.h"
#include "tests/web/script_server.h"
#include "tests/web/web_env.h"
#include "video/collect.h"
#include "video/video_jobs.h"

namespace fs = std::filesystem;

namespace {

TEST(FormatFromName, ReadsTheEnding) {
  struct Row {
    const char* name;
    std::uint32_t format;
  };
  const Row rows[] = {
      {"/v/Video.mpg(N6)", 16}, // case ignored
      {"/v/clip.WMV", 3},
      {"/v/Video.mpg", 0},
      {"/v/Video", 0},
  };
  for (const Row& row : rows)
    EXPECT_EQ(FormatFromName(row.name), row.format) << row.name;
}

class Request : public ::testing::Test {
 protected:
  void SetUp() override {
    env = MakeWebEnv();
    // The conversion job idles its passes behind the last download; short.
    SetVideoSleepForTests(
        [](unsigned) { std::this_thread::sleep_for(std::chrono::milliseconds(1)); });
    HeadlessInstall();
    ResetVideoCollect();
    // The list can't be fetched: each started job ends at once.
    listUrl = "http://127.0.0.1:" + std::to_string(ClosedPort()) + "/Show/sortlink.htm";
    folder = (env.root / "videos").string();
    fs::create_directories(folder);
  }
  void TearDown() override {
    for (int i = 0; i < 200 && RunningVideoThreads() > 0; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(RunningVideoThreads(), 0) << "a job did not end";
    SetVideoSleepForTests(nullptr);
    DropWebEnv(env);
  }

  // A card in the drive table that passes for a phone.
  std::string Card() {
    std::string card = (env.root / "card").string();
    for (const char* f : {"Video", "System", "Music"})
      fs::create_directories(card + "/" + f);
    fs::create_directories(env.root / "system");
    std::ofstream(env.root / "system" / "drives.ini")
        << "[Drives]\nC=/\nD=" << card << ",removable\n";
    return card;
  }

  std::vector<HeadlessSaveAsk> Asks(std::size_t from) {
    std::vector<HeadlessSaveAsk> all = HeadlessSaveAsks();
    return std::vector<HeadlessSaveAsk>(all.begin() + static_cast<long>(from), all.end());
  }

  WebEnv env;
  std::string listUrl, folder;
};

TEST_F(Request, GeneralDialogChoosesFolderAndFormat) {
  std::size_t before = HeadlessSaveAsks().size();
  HeadlessScriptSaveAnswers({folder + "/Video.mpg(n6)"});
  EXPECT_EQ(CollectVideo(77, listUrl.c_str(), "/start/folder", 5), 0);

  std::vector<HeadlessSaveAsk> asks = Asks(before);
  ASSERT_EQ(asks.size(), 1u);
  EXPECT_EQ(asks[0].title, "Save video to");
  EXPECT_EQ(asks[0].name, "Video");
  EXPECT_EQ(asks[0].folder, "/start/folder");
  ASSERT_EQ(asks[0].filter.size(), 10u);
  EXPECT_EQ(asks[0].filter[3].patterns, "*.mpg(n6)");

  VideoCollectRecord& v = VideoCollect();
  EXPECT_EQ(v.CollectFormat.load(), 16u);
  EXPECT_EQ(v.CollectDir.Get(), folder);
  EXPECT_EQ(v.CollectTarget.Get(), folder);
  EXPECT_EQ(v.CollectListUrl.Get(), listUrl);
  EXPECT_EQ(v.CollectOwner.load(), 77u);
  EXPECT_EQ(v.VideoJobs[0].StartEntry.load(), 5u);
  EXPECT_EQ(v.JobSlot.load(), 1u);
}

TEST_F(Request, CancelStartsNothingAndTheRingWraps) {
  HeadlessScriptSaveAnswers({""});
  CollectVideo(1, listUrl.c_str(), folder.c_str(), 0);
  EXPECT_EQ(VideoCollect().JobSlot.load(), 0u);
  EXPECT_EQ(RunningVideoThreads(), 0);

  // The eleventh request takes slot 9 and the ring goes back to 0; a Flash
  // video gets no conversion target.
  VideoCollect().JobSlot = 9;
  HeadlessScriptSaveAnswers({folder + "/Video.flv"});
  CollectVideo(1, listUrl.c_str(), folder.c_str(), 2);
  EXPECT_EQ(VideoCollect().JobSlot.load(), 0u);
  EXPECT_EQ(VideoCollect().VideoJobs[9].StartEntry.load(), 2u);
  EXPECT_EQ(VideoCollect().CollectFormat.load(), 0u);
  EXPECT_TRUE(VideoCollect().CollectTarget.Empty());
}

TEST_F(Request, PhoneDialogFirstAndTheGeneralOneAfterItsCancel) {
  std::string card = Card();
  std::size_t before = HeadlessSaveAsks().size();
  HeadlessScriptSaveAnswers({card + "/Video/Video.3gp"});
  CollectVideo(1, listUrl.c_str(), "", 0);
  std::vector<HeadlessSaveAsk> asks = Asks(before);
  ASSERT_EQ(asks.size(), 1u);
  EXPECT_EQ(asks[0].folder, card + "/Video");
  EXPECT_EQ(asks[0].name, "Video");
  EXPECT_EQ(asks[0].filter.size(), 2u);
  VideoCollectRecord& v = VideoCollect();
  EXPECT_EQ(v.CollectFormat.load(), 100u);
  EXPECT_EQ(v.CollectTarget.Get(), card + "/Video");
  EXPECT_EQ(v.CollectDir.Get(), (env.root / "system" / "Temp").string());

  before = HeadlessSaveAsks().size();
  HeadlessScriptSaveAnswers({"", folder + "/clip.avi"});
  CollectVideo(1, listUrl.c_str(), "", 0);
  asks = Asks(before);
  ASSERT_EQ(asks.size(), 2u);
  EXPECT_EQ(asks[1].filter.size(), 10u) << "the general dialog follows the cancelled one";
  EXPECT_EQ(asks[1].folder, "");
  EXPECT_EQ(v.CollectFormat.load(), 2u);
  EXPECT_EQ(v.CollectTarget.Get(), folder);
}

} // namespace
