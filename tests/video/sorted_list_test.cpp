// The sorted list download: title readers as tables, then two jobs at once
// and a hostile list against the test web.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "panel/panel_state.h"
#include "platform/headless/headless.h"
#include "tests/testweb/test_web.h"
#include "tests/video/clips.h"
#include "tests/web/web_env.h"
#include "video/sorted_list.h"
#include "video/video_jobs.h"

namespace fs = std::filesystem;
using Entries = std::vector<std::pair<std::string, std::string>>;

namespace {

TEST(ListTitleCount, ReadsThePositionOfTheTitle) {
  // clang-format off
  const std::pair<const char*, int> rows[] = {
      {"Top video 3 /25", 25}, {"Part 3/ 25", 1}, {"Top video 20/25", 25}, {"Top video 21/25", 1},
      {"/25 starts with a slash", 1}, {"0/25", 1}, {"2008/10/12 3/25", 1}, {"Clip 4/0 then 5/9", 9},
      {"1/99999999999", 2147483647}, {"", 1}};
  const std::pair<const char*, int> dates[] = {{"News 2008-10-12 evening", 20081012},
      {"Old 1979-12-31", 0}, {"Top 3-25 of 2008", 0}, {"2008_10_12", 0}};
  // clang-format on
  for (const auto& [title, count] : rows)
    EXPECT_EQ(ListTitleCount(title), count) << title;
  for (const auto& [title, date] : dates)
    EXPECT_EQ(TitleDate(title), date) << title;
  std::string title = "a.b:c<d>e\\f/g\"h*i?j#k%l\n\r\tÜ";
  CleanVideoTitle(title.data());
  EXPECT_EQ(title, "a_b=c[d]e-f-g'h~i!j~k^l___Ü");
}

class ListJob : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(ClipBytes(".flv").empty() || ClipBytes(".mp4").empty()) << "no clips";
    env = MakeWebEnv();
    folder = env.root / "out";
    fs::create_directories(env.program / "Web"), fs::create_directories(folder);
    HeadlessInstall(), ResetPanelState(Panel()), ResetVideoCollect();
    web.Put("media.test", "/clip.flv", ClipBytes(".flv"));
    web.Put("media.test", "/clip.mp4", ClipBytes(".mp4"));
  }
  void TearDown() override { SetMediaStallForTests(0), DropWebEnv(env); }
  void List(const Entries& entries, const std::string& name = "/sortlink.htm") {
    std::string sorted = "[Sorted]\n", titles = "[Title]\n";
    for (std::size_t i = 0; i < entries.size(); ++i) {
      sorted += std::to_string(i + 1) + "=" + entries[i].first + "\n";
      titles += std::to_string(i + 1) + "=" + entries[i].second + "\n";
    }
    web.Put("lists.test", name, sorted + titles);
  }
  void Page(const std::string& target, const Entries& map) {
    web.Answer("tube.test", target, {"body=" + WatchPage(map)});
  }
  void Start() {
    ASSERT_TRUE(web.Start());
    web.WriteHosts(env.root / "system", {"lists.test", "tube.test", "media.test"});
  }
  // One job in slot, collecting its status lines.
  int Run(std::uint32_t format, const fs::path& dir, std::uint32_t slot = 3,
          const std::string& list = "/sortlink.htm") {
    VideoCollectRecord& v = VideoCollect();
    v.CollectListUrl.Set("http://lists.test" + list);
    v.CollectDir.Set(dir.string());
    v.CollectFormat = format;
    v.VideoJobs[slot].ConvertTarget.Set(format != 0 ? dir.string() : "");
    std::atomic<bool> done{false};
    std::thread watch([&] {
      StatusLine& line = format >= FormatPhone ? Panel().PhoneStatus : Panel().CollectStatus;
      for (bool last = false; !last; std::this_thread::sleep_for(std::chrono::milliseconds(5))) {
        last = done; // one look behind the job's end, at its closing line
        std::string text = line.Get();
        std::lock_guard<std::mutex> hold(linesLock);
        if (!text.empty() && (lines.empty() || lines.back() != text))
          lines.push_back(text);
      }
    });
    int total = DownloadSortedList(slot);
    done = true, watch.join();
    return total;
  }

  // Whether a status line was line, or began with head (and ended in a share).
  bool Said(const std::string& line) {
    std::lock_guard<std::mutex> hold(linesLock);
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
  bool Began(const std::string& head, bool share = false) {
    std::lock_guard<std::mutex> hold(linesLock);
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& l) {
      return l.rfind(head, 0) == 0 && (!share || l.back() == '%');
    });
  }
  // The texts of the tray's notes so far.
  static std::vector<std::string> Notes() {
    std::vector<std::string> texts;
    for (const HeadlessCall& call : HeadlessCallsOf("trayNotify"))
      texts.push_back(call.text.substr(call.text.find('|') + 1));
    return texts;
  }

  static std::set<std::string> Names(const fs::path& dir) {
    std::set<std::string> names;
    for (const auto& e : fs::directory_iterator(dir))
      names.insert(e.path().filename().string());
    return names;
  }

  WebEnv env;
  TestWeb web;
  fs::path folder;
  std::mutex linesLock;
  std::vector<std::string> lines;
};

// A slow Flash job beside a converting one; entry c's 18 address fails and 5
// brings the file.
TEST_F(ListJob, TwoJobsAtOnceOneConverting) {
  List({{"http://tube.test/v/f1", "Alpha 1/2"}, {"http://tube.test/v/f2", "Alpha two"}}, "/f.htm");
  web.Put("media.test", "/slow.flv", ClipBytes(".flv"));
  web.Answer("media.test", "/slow.flv",
             {"file=slow.flv", "rate=" + std::to_string(ClipBytes(".flv").size() / 3 + 1)});
  Page("/watch?v=f1", {{"34", "http://media.test/slow.flv"}});
  Page("/watch?v=f2", {{"34", "http://media.test/clip.flv"}});
  List({{"http://tube.test/v/a", "Evening news 1/3 2008-10-12"},
        {"no link here", "Broken entry 2/3"},
        {"http://tube.test/v/c", "Evening news 3/3 2009-04-12"}});
  Page("/watch?v=a&fmt=18", {{"18", "https://media.test/clip.mp4?id=a%2Cb"}});
  Page("/watch?v=c&fmt=18", {{"34", "http://media.test/clip.flv"},
                             {"18", "http://media.test/c-missing.mp4"},
                             {"5", "http://media.test/clip.mp4?id=c%3D"}});
  Start();
  fs::path converting = env.root / "converting";
  fs::create_directories(converting);
  std::thread first([&] { Run(0, folder, 1, "/f.htm"); });
  for (int i = 0; i < 500 && web.Count("media.test", "/slow.flv") == 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(Run(FormatMp4, converting), 3);
  first.join();
  EXPECT_EQ(Names(folder), (std::set<std::string>{"Alpha 1-2.flv", "Alpha two.flv"}));
  EXPECT_EQ(ReadWhole((folder / "Alpha 1-2.flv").string()), ClipBytes(".flv"));
  EXPECT_EQ(Names(converting), (std::set<std::string>{"Evening_0412~3", "Evening_1012~1"}));
  EXPECT_EQ(ReadWhole((converting / "Evening_1012~1").string()), ClipBytes(".mp4"));
  EXPECT_EQ(VideoCollect().VideoJobs[3].ConvertBase.Get(), (converting / "Evening_0412").string());
  EXPECT_TRUE(VideoCollect().VideoJobs[3].ConvertTarget.Empty());
  EXPECT_EQ(web.Count("media.test", "/clip.flv"), 1) << "no Flash address in a converting job";
  EXPECT_TRUE(Began("Download 1 / 2 video now... ", true)) << "the share done never showed";
  EXPECT_EQ(Names(env.root / "system" / "Temp"), std::set<std::string>{"Sort.htm"});
}

// A list collected again to the same folder fetches only the entry whose
// delivered file was deleted; the closing line and the tray say so.
TEST_F(ListJob, CollectedAgainFetchesOnlyWhatIsGone) {
  List({{"http://tube.test/v/a", "Same 1/3"},
        {"http://tube.test/v/b", "Same 1/3"},
        {"http://tube.test/v/c", "Third"}});
  for (const char* id : {"a", "b", "c"})
    Page(std::string("/watch?v=") + id, {{"34", std::string("http://media.test/clip.flv?") + id}});
  Start();
  Run(0, folder);
  // Two videos of one title stay two files.
  EXPECT_EQ(Names(folder), (std::set<std::string>{"Same 1-3.flv", "Same 1-3 ~2.flv", "Third.flv"}));
  EXPECT_TRUE(Said("3 new, 0 already there"));
  fs::remove(folder / "Same 1-3 ~2.flv");
  Run(0, folder);
  EXPECT_EQ(Names(folder), (std::set<std::string>{"Same 1-3.flv", "Same 1-3 ~2.flv", "Third.flv"}));
  for (const char* id : {"a", "b", "c"})
    EXPECT_EQ(web.Count("media.test", std::string("/clip.flv?") + id), id[0] == 'b' ? 2 : 1) << id;
  EXPECT_TRUE(Said("1 new, 2 already there"));
  std::string where = " in " + folder.string();
  EXPECT_EQ(Notes(), (std::vector<std::string>{"3 videos" + where + " (3 new, 0 already there)",
                                               "1 video" + where + " (1 new, 2 already there)"}));
}

// A missing or stalled HLS segment and a missing resolver are each said on the
// line and the list goes on; a DASH video without audio lands as it is.
TEST_F(ListJob, BrokenStreamsGiveTheirLineAndTheListGoesOn) {
  fs::path site = web.Site("tube.test");
  ASSERT_TRUE(MakeSiteStreams(site, 2));
  fs::copy(site / "hls", site / "gap");
  fs::remove(site / "gap" / "v2_001.ts");
  fs::create_directories(site / "mute");
  ASSERT_EQ(
      std::system(("ffmpeg -nostdin -loglevel error -i '" + (site / "prog.mp4").string() +
                   "' -map 0:v -c copy -f dash '" + (site / "mute" / "index.mpd").string() + "'")
                      .c_str()),
      0);
  std::ofstream(site / "gap.html") << "<html><video src=\"/gap/index.m3u8\"></video></html>";
  std::ofstream(site / "mute.html") << "<html><video><source src=\"/mute/index.mpd\" "
                                       "type=\"application/dash+xml\"></video></html>";
  const char* pages[] = {"gap", "hls", "mute", "prog"};
  // Slow pages, so each failure's line stands until the next entry's.
  for (const char* id : pages)
    web.Answer("tube.test", std::string("/watch?v=") + id,
               {std::string("file=") + id + ".html", "delay=200"});
  web.Answer("tube.test", "/hls/v2_001.ts", {"file=hls/v2_001.ts", "stall=20000", "after=100"});
  List({{"http://tube.test/v/gap", "Gap 1/4"},
        {"http://tube.test/v/hls", "Stalled"},
        {"http://tube.test/v/mute", "Mute"},
        {"http://tube.test/v/prog", "Plain"}});
  std::ofstream(env.program / "Define.ini", std::ios::app)
      << "[Video]\nResolver=yt-dlp --no-warnings\nResolverTimeout=3\n";
  Start();
  Run(0, folder);
  EXPECT_TRUE(Began("Download 1 / 4 video failed: ERROR: "));
  EXPECT_TRUE(Began("Download 2 / 4 video failed: no progress for 3 s"));
  EXPECT_TRUE(Began("Download 3 / 4 video now... ", true)) << "no share from the resolver";
  EXPECT_EQ(Names(folder), (std::set<std::string>{"Mute.flv", "Plain.flv"}));
  Probe mute = ProbeFile((folder / "Mute.flv").string());
  EXPECT_TRUE(mute.container == "flv" && mute.video == "h264" && mute.audio.empty());
  EXPECT_EQ(Names(env.root / "system" / "Temp"), std::set<std::string>{"Sort.htm"});

  // Collected again without a resolver: what landed is there, the rest fails.
  std::ofstream(env.program / "Define.ini") << "[Video]\nResolver=/nowhere/yt-dlp\n";
  lines.clear();
  Run(0, folder);
  ASSERT_FALSE(Notes().empty());
  EXPECT_EQ(Notes().back(),
            "No video arrived in " + folder.string() +
                ": Download 2 / 4 video failed: /nowhere/yt-dlp: No such file or directory (0 "
                "new, 2 already there)");

  // A stream of no announced size is ended past MaxBytes, leaving no Temp file.
  fs::create_directories(env.root / "bin");
  std::string endless = (env.root / "bin" / "yt-dlp").string();
  std::ofstream(endless)
      << "#!/bin/sh\nwhile [ $# -gt 0 ]; do [ \"$1\" = -o ] && out=$2; shift; done\n"
         "out=$(echo \"$out\" | sed 's/%(ext)s/mp4/')\n"
         "while :; do head -c 262144 /dev/zero >> \"$out\"; echo ' 10.0%'; "
         "sleep 0.1; done\n";
  fs::permissions(endless, fs::perms::owner_all);
  std::ofstream(env.program / "Define.ini")
      << "[Video]\nResolver=" << endless << "\nResolverTimeout=3\nMaxBytes=1048576\n";
  lines.clear();
  Run(0, folder);
  EXPECT_TRUE(Began("Download 1 / 4 video failed: larger than 1 MB"));
  EXPECT_EQ(Names(env.root / "system" / "Temp"), std::set<std::string>{"Sort.htm"});
}

// A list's text is data: an option-shaped entry never reaches the real
// resolver (whose configuration it names); a macro or "@@" is not followed.
TEST_F(ListJob, AListNeverActsOrLeaks) {
  Start();
  fs::path config = env.root / "cfg" / "watch?v=x";
  fs::create_directories(config.parent_path());
  web.Put("127.0.0.1", "/clip.mp4", ClipBytes(".mp4"));
  std::ofstream(config) << "--no-simulate\n-o " << (env.root / "pwned.%(ext)s").string()
                        << "\n--exec \"touch " << (env.root / "ran").string()
                        << "\"\nhttp://127.0.0.1:" << web.Port() << "/clip.mp4\n";
  std::ofstream(env.program / "Define.ini", std::ios::app)
      << "[Video]\nResolver=yt-dlp -g --no-warnings -f best\nResolverTimeout=20\n";
  setenv("SKERRY_TEST_SECRET", "hunter2-token", 1);
  List({{"--config-locations=" + (env.root / "cfg").string() + "/v/x", "Option 1/3"},
        {"http://tube.test/v/%SKERRY_TEST_SECRET%", "Secret"},
        {"http://tube.test/v/ok", "Two@@lines"}});
  Page("/watch?v=ok", {{"34", "http://media.test/clip.flv"}});
  Run(0, folder);
  unsetenv("SKERRY_TEST_SECRET");
  EXPECT_FALSE(fs::exists(env.root / "pwned.mp4"));
  EXPECT_FALSE(fs::exists(env.root / "ran"));
  EXPECT_EQ(web.Count("127.0.0.1", "/clip.mp4"), 0);
  for (const TestWebRequest& request : web.Requests())
    EXPECT_EQ(request.target.find("hunter2"), std::string::npos) << request.target;
  EXPECT_EQ(Names(folder), std::set<std::string>{"Two@@lines.flv"});
}

TEST_F(ListJob, HostileListStaysInItsFolderAndGoesOn) {
  // Walked to the first title's count past empty entries and links without
  // pages; "slow" and "linger" go to the resolver.
  Entries entries(10000);
  entries[0] = {"http://tube.test/v/big", "../../escape 1/10000"};
  entries[1] = {"http://tube.test/v/stall", "Stalled"};
  entries[2] = {"http://tube.test/v/long", std::string(1000, 'L')};
  entries[3] = {"http://tube.test/v/gone", "Missing media"};
  entries[4] = {"http://tube.test/v/untitled", ""};
  entries[5] = {"http://tube.test/v/slow", "Slow"};
  entries[6] = {"http://tube.test/v/linger", "Linger"};
  for (std::size_t i = 7; i < 2000; ++i)
    entries[i].first = "http://tube.test/watch/" + std::to_string(i + 1);
  entries[9999] = {"http://tube.test/v/last", "Last"};
  List(entries);
  web.Put("tube.test", "/big.htm",
          WatchPage(
              {{"34", "http://media.test/clip.flv?s=x%2Cy"}, {"5", "http://media.test/five.flv"}}) +
              std::string(10 << 20, ' '));
  web.Answer("tube.test", "/watch?v=big", {"file=big.htm"});
  Page("/watch?v=stall", {{"34", "http://media.test/stall.flv"}});
  web.Answer("media.test", "/stall.flv",
             {"body=" + std::string(5000, 'F'), "stall=30000", "after=100"});
  Page("/watch?v=gone", {{"34", "http://media.test/gone.flv"}});
  for (const char* id : {"long", "untitled", "last"})
    Page(std::string("/watch?v=") + id, {{"34", "http://media.test/clip.mp4"}});
  std::string script = (env.root / "resolve").string();
  fs::path sleepers = env.root / "sleepers";
  std::ofstream(script) << "#!/bin/sh\nsleep 100 & echo $! >> " << sleepers
                        << "\n[ \"$1\" = -- ] || exit; case \"$2\" in *v=slow*) wait; exit;; esac\n"
                           "echo http://media.test/clip.mp4\nwait\n";
  fs::permissions(script, fs::perms::owner_all);
  std::ofstream(env.program / "Define.ini", std::ios::app)
      << "[Video]\nResolver=" << script << "\nResolverTimeout=2\n";
  web.Put("tube.test", "/watch", "<html>no markers here</html>");
  Start();
  SetMediaStallForTests(1);

  auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(Run(0, folder), 10000);
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(60));
  EXPECT_EQ(Names(folder),
            (std::set<std::string>{"5.flv", std::string(251, 'L') + ".flv", "Last.flv",
                                   "Linger.flv", "__-__-escape 1-10000.flv"}));
  EXPECT_EQ(ReadWhole((folder / "__-__-escape 1-10000.flv").string()), ClipBytes(".flv"));
  EXPECT_EQ(ReadWhole((folder / "Last.flv").string()).substr(0, 3), "FLV") << "remuxed";
  EXPECT_EQ(web.Count("media.test", "/clip.flv?s=x,y"), 1) << "decoded twice";
  EXPECT_EQ(web.Count("media.test", "/five.flv"), 0) << "the Flash format prefers 34";
  EXPECT_EQ(web.Count("tube.test", "/watch"), 8) << "one fetch for both scans of each page";
  std::ifstream pids(sleepers);
  for (std::string pid; pids >> pid;) {
    for (int i = 0; i < 100 && fs::exists("/proc/" + pid); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(fs::exists("/proc/" + pid)) << "a resolver's helper outlived it";
  }

  // A folder that can't be written: the download stays in Temp, and says so.
  fs::path blocked = folder / "blocker" / "inner";
  std::ofstream(folder / "blocker") << "a file where a folder should be";
  List({{"http://tube.test/v/last", "Blocked 1/2"}, {"http://tube.test/v/late", "Late"}});
  web.Answer("tube.test", "/watch?v=late", {"body=<html></html>", "delay=300"});
  lines.clear();
  Run(0, blocked);
  fs::path kept = env.root / "system" / "Temp" / "Blocked 1-2.flv";
  EXPECT_EQ(ReadWhole(kept.string()).substr(0, 3), "FLV");
  EXPECT_TRUE(Said("Download 1 / 2 video kept in " + kept.string() + ": " + blocked.string() +
                   " can't be written"));
}

// Playlists naming local files, an endless answer, a body no container reader
// knows: none lands or stays in Temp or the cache; a full disk is said.
TEST_F(ListJob, OnlyAVideoOfItsOwnWithinItsBoundsIsKept) {
  fs::path secret = env.root / "secret.mp4";
  WriteWhole(secret.string(), ClipBytes(".mp4"));
  fs::create_directories(env.root / "system" / "Temp");
  WriteWhole((env.root / "system" / "Temp" / "secret.mp4").string(), ClipBytes(".mp4"));
  const std::string playlist = "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n";
  web.Put("media.test", "/abs.m3u8", playlist + secret.string() + "\n#EXT-X-ENDLIST\n");
  web.Put("media.test", "/rel.m3u8", playlist + "secret.mp4\n#EXT-X-ENDLIST\n");
  web.Put("media.test", "/url.m3u8", playlist + "file://" + secret.string() + "\n#EXT-X-ENDLIST\n");
  web.Answer("media.test", "/endless.flv",
             {"body=FLV" + std::string(997, 'x'), "repeat=16000", "nolength"});
  web.Put("media.test", "/junk.flv", std::string(100000, 'j'));
  Entries entries;
  for (const char* id : {"abs", "rel", "url", "endless", "junk", "clip"}) {
    std::string media = std::string("http://media.test/") + id +
                        (id[0] == 'a' || id[0] == 'r' || id[0] == 'u' ? ".m3u8" : ".flv");
    entries.push_back({std::string("http://tube.test/v/") + id, std::string(id) + " 1/6"});
    Page(std::string("/watch?v=") + id, {{"34", media}});
  }
  List(entries);
  std::ofstream(env.program / "Define.ini", std::ios::app) << "[Video]\nMaxBytes=1048576\n";
  Start();

  EXPECT_EQ(Run(0, folder), 6);
  EXPECT_EQ(Names(folder), std::set<std::string>{"clip 1-6.flv"});
  EXPECT_EQ(Names(env.root / "system" / "Temp"), (std::set<std::string>{"Sort.htm", "secret.mp4"}));
  int cached = 0;
  for (const auto& e : fs::recursive_directory_iterator(env.CacheFolder()))
    cached += e.is_regular_file() ? 1 : 0;
  EXPECT_EQ(cached, 1) << "only the list leaves a cache copy";
  fs::remove(folder / "clip 1-6.flv");

  std::ofstream(env.program / "Define.ini", std::ios::app) << "ReserveBytes=1125899906842624\n";
  List({{"http://tube.test/v/abs", "Full 1/2"}, {"http://tube.test/v/late", "Late"}});
  web.Answer("tube.test", "/watch?v=late", {"body=<html></html>", "delay=300"});
  lines.clear();
  Run(0, folder);
  EXPECT_TRUE(Said("Download 1 / 2 video stopped: less than 1073741824 MB free"));
  EXPECT_TRUE(Names(folder).empty());
}

} // namespace
