// The video request: the format read from the dialog's answer, the two
// dialogs and their order, and the slot the request fills.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/headless/headless.h"
#include "tests/video/clips.h"
#include "tests/web/web_env.h"
#include "video/collect.h"
#include "video/video_jobs.h"

namespace fs = std::filesystem;

namespace {

TEST(FormatFromName, ReadsTheEnding) {
  const std::pair<const char*, std::uint32_t> rows[] = {
      {"/v/V.mpg(N6)", 16}, {"/v/V.mpg(p6)", 26}, {"/v/clip.WMV", 3}, {"/v/V.mpg", 0}, {"/v/V", 0}};
  for (const auto& [name, format] : rows)
    EXPECT_EQ(FormatFromName(name), format) << name;
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
    // The list can't be fetched (nothing listens on port 1): each started
    // job ends at once.
    listUrl = "http://127.0.0.1:1/Show/sortlink.htm";
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
  // The save dialogs asked for by one request answered with answers.
  std::vector<HeadlessSaveAsk> Collect(const std::vector<std::string>& answers, const char* start,
                                       std::uint32_t entry = 0) {
    std::size_t before = HeadlessSaveAsks().size();
    HeadlessScriptSaveAnswers(answers);
    CollectVideo(77, listUrl.c_str(), start, entry);
    std::vector<HeadlessSaveAsk> all = HeadlessSaveAsks();
    return std::vector<HeadlessSaveAsk>(all.begin() + static_cast<long>(before), all.end());
  }

  WebEnv env;
  std::string listUrl, folder;
};

// The phone dialog comes first when a card passes for a phone, the general
// one after its cancel; a cancel of the general one starts nothing; the
// eleventh request takes slot 9 and the ring goes back to 0.
TEST_F(Request, DialogsFormatAndSlot) {
  std::string phone = PhoneCard(env.root).string();
  VideoCollectRecord& v = VideoCollect();
  std::vector<HeadlessSaveAsk> asks = Collect({phone + "/Video.3gp"}, "");
  ASSERT_EQ(asks.size(), 1u);
  EXPECT_EQ(asks[0].folder, phone);
  EXPECT_EQ(asks[0].name, "Video");
  EXPECT_EQ(asks[0].filter.size(), 2u);
  EXPECT_EQ(v.CollectFormat.load(), 100u);
  EXPECT_EQ(v.CollectTarget.Get(), phone);
  EXPECT_EQ(v.CollectDir.Get(), (env.root / "system" / "Temp").string());

  asks = Collect({"", folder + "/Video.mpg(n6)"}, "", 5);
  ASSERT_EQ(asks.size(), 2u);
  EXPECT_EQ(asks[1].folder, "");
  ASSERT_EQ(asks[1].filter.size(), 10u);
  EXPECT_EQ(asks[1].filter[3].patterns, "*.mpg(n6)");
  EXPECT_EQ(v.CollectFormat.load(), 16u);
  EXPECT_EQ(v.CollectDir.Get(), folder);
  EXPECT_EQ(v.CollectTarget.Get(), folder);
  EXPECT_EQ(v.VideoJobs[1].StartEntry.load(), 5u);
  EXPECT_EQ(v.JobSlot.load(), 2u);

  fs::remove(env.root / "system" / "drives.ini");
  asks = Collect({""}, "/start/folder");
  ASSERT_EQ(asks.size(), 1u);
  EXPECT_EQ(asks[0].folder, "/start/folder");
  EXPECT_EQ(v.JobSlot.load(), 2u);
  v.JobSlot = 9;
  Collect({folder + "/Video.flv"}, folder.c_str(), 2);
  EXPECT_EQ(v.JobSlot.load(), 0u);
  EXPECT_EQ(v.VideoJobs[9].StartEntry.load(), 2u);
  EXPECT_EQ(v.CollectFormat.load(), 0u);
  EXPECT_TRUE(v.CollectTarget.Empty());
}

} // namespace
