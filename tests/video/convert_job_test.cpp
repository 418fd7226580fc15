// The conversion job's hand-over rules and failures, with a stand-in ffmpeg
// that logs its inputs, holds while "hold" exists, fails on "Bad", hangs on
// "Hang", and else copies.
#include "panel/panel_state.h"
#include "shell/module_path.h"
#include "tests/video/clips.h"
#include "video/convert.h"
#include "video/sorted_list.h"
#include "video/video_jobs.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <thread>

namespace fs = std::filesystem;

namespace {

std::mutex seenLock;
std::set<std::string> seenLines;

// Every pause of the job is a millisecond, and a look at the status lines.
void ShortSleep(unsigned) {
  std::unique_lock<std::mutex> hold(seenLock);
  seenLines.insert({Panel().CollectStatus.Get(), Panel().PhoneStatus.Get()});
  hold.unlock();
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

template <class Pred> bool WaitFor(Pred pred) {
  for (int i = 0; i < 3000 && !pred(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return pred();
}

bool SeenSoon(const std::string& line) {
  return WaitFor([&] {
    std::lock_guard<std::mutex> hold(seenLock);
    return seenLines.count(line) > 0;
  });
}

constexpr const char* StandIn = R"(#!/bin/sh
here=$(dirname "$0")
for a in "$@"; do case "$a" in -encoders|-h) exit 0;; esac; done
prev=""; for a in "$@"; do [ "$prev" = "-i" ] && src="$a"; prev="$a"; out="$a"; done
echo "$src" >> "$here/runs.log"
echo "  Duration: 00:00:10.00, start: 0.000000" >&2
echo "out_time_us=5000000"
: > "$out"
while [ -e "$here/hold" ]; do sleep 0.02; done
case "$src" in *Bad*) echo "Invalid data found when processing input" >&2; exit 1;; esac
case "$src" in *Hang*) while :; do sleep 0.05; done;; esac
cp "$src" "$out"
)";

class ConvertJobRun : public InTempFolder {
 protected:
  void SetUp() override {
    ResetVideoCollect(), ResetPanelState(Panel()), seenLines.clear();
    SetVideoSleepForTests(ShortSleep);
    fs::create_directories(prog = dir + "/prog");
    drops = dir;
    SetModulePathForTests(prog + "/skerry");
    std::ofstream(prog + "/ffmpeg") << StandIn;
    fs::permissions(prog + "/ffmpeg", fs::perms::owner_all);
  }
  void TearDown() override {
    if (job.joinable())
      EndJob();
    for (const std::string& m : mounts)
      EXPECT_EQ(std::system(("umount '" + m + "'").c_str()), 0);
    SetVideoSleepForTests(nullptr), SetModulePathForTests("");
  }

  void Start(std::uint32_t format, const std::string& target) {
    ended = false;
    VideoCollect().CollectFormat = format;
    VideoCollect().VideoJobs[0].ConvertTarget.Set(target);
    job = std::thread([this] { ConvertJob(0), ended = true; });
  }
  // A finished download: written aside, renamed into place, handed over.
  void Drop(const std::string& stem, int k, std::size_t bytes = 1000) {
    std::string path = drops + "/" + stem + "~" + std::to_string(k);
    std::ofstream(drops + "/.incoming") << std::string(bytes, 'v');
    fs::rename(drops + "/.incoming", path);
    VideoCollect().VideoJobs[0].Ready.Push({path, k, "", ""});
    VideoCollect().VideoJobs[0].ConvertBase.Set(drops + "/" + stem);
  }
  std::vector<std::string> Runs() { return FileLines(prog + "/runs.log"); }
  void EndJob() {
    VideoCollect().VideoJobs[0].ConvertTarget.Clear();
    EXPECT_TRUE(WaitFor([&] { return ended.load(); }));
    job.join();
  }
  // A tmpfs with options at path; false where the machine doesn't allow it.
  bool Mount(const std::string& path, const std::string& options) {
    fs::create_directories(path);
    if (geteuid() != 0 ||
        std::system(("mount -t tmpfs -o " + options + " tmpfs '" + path + "' 2>/dev/null").c_str()))
      return false;
    mounts.push_back(path);
    return true;
  }

  std::string prog, drops;
  std::thread job;
  std::atomic<bool> ended{false};
  std::vector<std::string> mounts;
};

// Four downloads end during one conversion: each is converted and delivered
// in order, and the job ends with the download job's end, its line closed.
// The program's Video folder is the chosen one: the menu rebuilt at the
// download job's end, while the tool writes, leaves no page behind.
TEST_F(ConvertJobRun, EveryHandedOverFileInOrder) {
  std::string out = drops = prog + "/Video";
  fs::create_directories(out), fs::create_directories(prog + "/Web");
  std::ofstream(prog + "/hold");
  Start(FormatAvi, out);
  Drop("Clip0000", 1);
  ASSERT_TRUE(WaitFor([&] { return Runs().size() == 1 && fs::exists(out + "/Clip0000~1-1.avi"); }));
  EXPECT_TRUE(WaitFor([&] {
    return Panel().CollectStatus.Get() == "Converting /Clip0000~1 video now... 50%";
  })) << Panel().CollectStatus.Get();
  const char* stems[] = {"Bbbb0000", "Clip0000", "Dddd1012", "Bbbb0000"};
  for (int k = 2; k <= 5; ++k)
    Drop(stems[k - 2], k);
  VideoCollect().VideoJobs[0].ConvertTarget.Clear();
  VideoCollect().VideoJobs[0].AlreadyThere = 12;
  RebuildVideoMenu();
  fs::remove(prog + "/hold");
  EndJob();
  std::vector<std::string> order;
  for (const std::string& line : Runs())
    order.push_back(line.substr(out.size() + 1));
  EXPECT_EQ(order, (std::vector<std::string>{"Clip0000~1", "Bbbb0000~2", "Clip0000~3", "Dddd1012~4",
                                             "Bbbb0000~5"}));
  std::set<std::string> names;
  for (const auto& e : fs::directory_iterator(out)) {
    std::string name = e.path().filename().string();
    if (name.size() > 4 && name.compare(name.size() - 4, 4, ".htw") == 0)
      EXPECT_TRUE(fs::exists(out + "/" + name.substr(0, name.size() - 4)))
          << "a page alone: " << name;
    else if (name[0] != '.')
      names.insert(name);
  }
  EXPECT_EQ(names, (std::set<std::string>{"Clip0000~1.avi", "Bbbb0000~2.avi", "Clip0000~3.avi",
                                          "Dddd1012~4.avi", "Bbbb0000~5.avi"}));
  EXPECT_TRUE(SeenSoon("5 new, 12 already there"));
  EXPECT_TRUE(WaitFor([] { return Panel().CollectStatus.Empty(); }));
}

// A tool that fails, stalls or is missing, a card that fills mid-upload, a
// read-only target: the source stays, the line says why, the job goes on.
TEST_F(ConvertJobRun, FailuresKeepTheSourceAndTheJobGoesOn) {
  std::string card = dir + "/card";
  bool small = Mount(card, "size=256k");
  fs::create_directories(card + "/Videos");
  std::ofstream(prog + "/Define.ini") << "[Video]\nFfmpegStall=2\n";
  Start(FormatPhone, card + "/Videos");
  Drop("Bad00000", 1);
  EXPECT_TRUE(SeenSoon("Converting /Bad00000~1 video failed: exit 1: Invalid data found when "
                       "processing input, kept as Bad00000~1.video"));
  Drop("Hang0000", 4);
  EXPECT_TRUE(SeenSoon("Converting /Hang0000~4 video failed: no progress for 2 s, kept as "
                       "Hang0000~4.video"));
  if (small) {
    Drop("Long0000", 5, 1 << 20);
    EXPECT_TRUE(SeenSoon(
        "Upload /Long0000~5 video failed: No space left on device, kept as Long0000~5.video"));
  }
  // No tool at all: neither beside the program nor on PATH.
  std::string path = getenv("PATH");
  setenv("PATH", dir.c_str(), 1);
  fs::remove(prog + "/ffmpeg");
  Drop("Gone0000", 6);
  EXPECT_TRUE(SeenSoon("Converting /Gone0000~6 video failed: no ffmpeg, kept as Gone0000~6.video"));
  setenv("PATH", path.c_str(), 1);
  EndJob();
  for (const char* kept : {"Bad00000~1.video", "Hang0000~4.video", "Gone0000~6.video"})
    EXPECT_TRUE(fs::exists(dir + "/" + kept)) << kept;
  EXPECT_EQ(Runs().size(), 2u + small); // a failed source is not tried again
  EXPECT_TRUE(WaitFor([] { return Panel().PhoneStatus.Empty(); }));
  // Nothing half-written of the upload stays, on the card or beside it.
  std::vector<std::string> left;
  for (const std::string& d : {dir, card + "/Videos"})
    for (const auto& e : fs::directory_iterator(d))
      if (e.path().filename().string().find("Long") != std::string::npos)
        left.push_back(e.path().filename());
  EXPECT_EQ(left, std::vector<std::string>(small, "Long0000~5.video"));

  std::string readOnly = dir + "/ro";
  if (Mount(readOnly, "ro,size=1m")) {
    Start(FormatMp4, readOnly);
    Drop("Clip0000", 7);
    EXPECT_TRUE(
        SeenSoon("Copy /Clip0000~7 video failed: Read-only file system, kept as Clip0000~7.video"));
    EndJob();
    EXPECT_TRUE(fs::exists(dir + "/Clip0000~7.video"));
  }
}

} // namespace
