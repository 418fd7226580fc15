// The sorted list download: the title readers and the cleaning as tables,
// then whole jobs against the test web with media that ffmpeg made: kept
// Flash videos, drops for the conversion, the resolver, and bad input.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "panel/panel_state.h"
#include "platform/headless/headless.h"
#include "platform/process.h"
#include "tests/testweb/test_web.h"
#include "tests/web/web_env.h"
#include "video/sorted_list.h"
#include "video/video_jobs.h"

namespace fs = std::filesystem;

namespace {

TEST(ListTitleCount, ReadsThePositionOfTheTitle) {
  struct Row {
    const char* title;
    int count;
  };
  const Row rows[] = {
      {"Top video 3/25", 25},    {"Top video 3 /25", 25}, // a blank changes nothing
      {"Part 3/ 25", 1}, // no digits right behind the slash: 3 runs on into 325
      {"Top video 20/25", 25},   {"Top video 21/25", 1}, // taken for a date's slash
      {"no position at all", 1}, {"/25 starts with a slash", 1}, {"0/25", 1},
      {"2008/10/12 3/25", 1}, // the date disarms the reader
      {"Clip 4/0 then 5/9", 9},  {"1/99999999999", 2147483647},  {"", 1},
  };
  for (const Row& row : rows)
    EXPECT_EQ(ListTitleCount(row.title), row.count) << row.title;
}

TEST(TitleDate, FindsDashedDatesFrom1980) {
  struct Row {
    const char* title;
    int date;
  };
  const Row rows[] = {
      {"News 2008-10-12 evening", 20081012},
      {"News 2008-10-12", 20081012},
      {"Old 1979-12-31", 0},
      {"Top 3-25 of 2008", 0},
      {"2008_10_12", 0}, // points became underscores in the cleaning
      {"", 0},
  };
  for (const Row& row : rows)
    EXPECT_EQ(TitleDate(row.title), row.date) << row.title;
}

TEST(CleanVideoTitle, LeavesANameOfOneFolder) {
  struct Row {
    std::string title;
    std::string clean;
  };
  const Row rows[] = {
      {"a.b:c<d>e\\f/g\"h*i?j#k%l", "a_b=c[d]e-f-g'h~i!j~k^l"},
      {"../../etc/passwd", "__-__-etc-passwd"},
      {"line\nbreak\r\ttab", "line_break__tab"},
      {"Ünïcode stays", "Ünïcode stays"},
  };
  for (const Row& row : rows) {
    std::string text = row.title;
    CleanVideoTitle(text.data());
    EXPECT_EQ(text, row.clean) << row.title;
  }
}

// ---- Jobs against the test web ----

// Tiny clips made once per run: a real Flash video and a real MP4.
struct Clips {
  std::string flv, mp4;
};

const Clips& MadeClips() {
  static Clips clips = [] {
    Clips c;
    std::string dir = fs::temp_directory_path() / ("skerry-clips-" + std::to_string(getpid()));
    fs::create_directories(dir);
    auto make = [&](const std::string& name, std::vector<std::string> codec) {
      std::vector<std::string> args = {
          "-hide_banner", "-loglevel", "error", "-y",
          "-f",           "lavfi",     "-i",    "testsrc=d=1:s=64x48:r=10",
          "-f",           "lavfi",     "-i",    "sine=d=1"};
      args.insert(args.end(), codec.begin(), codec.end());
      args.push_back(dir + "/" + name);
      ProcessResult r = ProcessRun({"ffmpeg", args, {}, false}, 60000);
      std::ifstream in(dir + "/" + name, std::ios::binary);
      return r.exitCode == 0 ? std::string(std::istreambuf_iterator<char>(in), {}) : "";
    };
    c.flv = make("clip.flv", {"-c:v", "flv", "-c:a", "mp3", "-ar", "22050"});
    c.mp4 = make("clip.mp4", {"-c:v", "libx264", "-c:a", "aac", "-shortest"});
    fs::remove_all(dir);
    return c;
  }();
  return clips;
}

// A watch page holding the direct addresses as the video site wrote them: a
// map of format and address, escaped once as a whole and once more inside.
std::string WatchPage(const std::string& map) {
  return "<html><script>var swfArgs = {\"video_id\": \"x\"}; "
         "var flashvars = \"fmt_url_map=" +
         map + "&amp;vq=None\";</script></html>";
}

std::string Escaped(const std::string& url) {
  std::string out;
  for (char c : url) {
    if (c == ':')
      out += "%3A";
    else if (c == '/')
      out += "%2F";
    else if (c == '?')
      out += "%3F";
    else if (c == '=')
      out += "%3D";
    else
      out += c;
  }
  return out;
}

class ListJob : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(MadeClips().flv.empty()) << "ffmpeg could not make the clips";
    env = MakeWebEnv();
    fs::create_directories(env.program / "Video");
    fs::create_directories(env.program / "Web");
    folder = env.root / "out";
    fs::create_directories(folder);
    HeadlessInstall();
    ResetPanelState(Panel());
    ResetVideoCollect();
  }
  void TearDown() override {
    SetMediaStallForTests(0);
    DropWebEnv(env);
  }

  // The list at lists.test/Show/sortlink.htm, entries as (link, title).
  void List(const std::vector<std::pair<std::string, std::string>>& entries) {
    std::string sorted = "[Sorted]\n", titles = "[Title]\n";
    for (std::size_t i = 0; i < entries.size(); ++i) {
      sorted += std::to_string(i + 1) + "=" + entries[i].first + "\n";
      titles += std::to_string(i + 1) + "=" + entries[i].second + "\n";
    }
    web.Put("lists.test", "/Show/sortlink.htm", sorted + titles);
  }

  void Start() {
    ASSERT_TRUE(web.Start());
    web.WriteHosts(env.root / "system", {"lists.test", "tube.test", "media.test"});
  }

  int Run(std::uint32_t format, const fs::path& dir, std::uint32_t entry = 0) {
    VideoCollectRecord& v = VideoCollect();
    v.CollectListUrl.Set("http://lists.test/Show/sortlink.htm");
    v.CollectDir.Set(dir.string());
    v.CollectFormat = format;
    v.VideoJobs[3].StartEntry = entry;
    v.VideoJobs[3].ConvertTarget.Set(format != 0 ? dir.string() : "");
    return DownloadSortedList(3);
  }

  static std::string Head(const fs::path& file, std::size_t n = 3) {
    std::ifstream in(file, std::ios::binary);
    std::string bytes(n, '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(n));
    return bytes.substr(0, static_cast<std::size_t>(in.gcount()));
  }

  std::vector<std::string> Names(const fs::path& dir) const {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir))
      names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  WebEnv env;
  TestWeb web;
  fs::path folder;
};

TEST_F(ListJob, FlashListKeepsRealFlashVideosNamedByTitles) {
  const Clips& clips = MadeClips();
  List({{"http://tube.test/v/one", "Night drive: part 1/2"},
        {"http://tube.test/v/two", "Rain.on?glass 2/2"}});
  // One page offers a Flash file, the other only an MP4 (under the Flash
  // format's number), which must be remuxed before it is called .flv.
  web.Answer("tube.test", "/watch?v=one",
             {"body=" + WatchPage("34%7C" + Escaped("http://media.test/one.flv") + "%2C5%7C" +
                                  Escaped("http://media.test/five.flv"))});
  web.Answer("tube.test", "/watch?v=two",
             {"body=" + WatchPage("34%7C" + Escaped("http://media.test/two.mp4"))});
  web.Put("media.test", "/one.flv", clips.flv);
  web.Put("media.test", "/two.mp4", clips.mp4);
  Start();

  EXPECT_EQ(Run(0, folder), 2);
  EXPECT_EQ(Names(folder),
            (std::vector<std::string>{"Night drive= part 1-2.flv", "Rain_on!glass 2-2.flv"}));
  EXPECT_TRUE(Head(folder / "Night drive= part 1-2.flv", clips.flv.size()) == clips.flv);
  EXPECT_EQ(Head(folder / "Rain_on!glass 2-2.flv"), "FLV");
  EXPECT_EQ(web.Count("media.test", "/five.flv"), 0) << "the Flash format prefers 34";
  EXPECT_TRUE(Panel().CollectStatus.Empty());
  EXPECT_TRUE(fs::exists(env.program / "Web" / "MenuVideo.htm")) << "the menu is rebuilt";
  EXPECT_TRUE(Names(env.root / "system" / "Temp") == std::vector<std::string>{"Sort.htm"})
      << "temporary files stay behind";
}

TEST_F(ListJob, ConvertingJobDropsStemsForTheConversion) {
  const Clips& clips = MadeClips();
  List({{"http://tube.test/v/a", "Evening news 1/3 2008-10-12"},
        {"no link here", "Broken entry 2/3"},
        {"http://tube.test/v/c", "Evening news 3/3 2009-04-12"}});
  // The MP4 format asks with &fmt=18; entry a has 18; entry c's 18 address
  // fails and the second try (5) brings the file.
  web.Answer("tube.test", "/watch?v=a&fmt=18",
             {"body=" + WatchPage("18%7C" + Escaped("http://media.test/a.mp4"))});
  web.Answer("tube.test", "/watch?v=c&fmt=18",
             {"body=" + WatchPage("34%7C" + Escaped("http://media.test/c.flv") + "%2C18%7C" +
                                  Escaped("http://media.test/c-missing.mp4") + "%2C5%7C" +
                                  Escaped("http://media.test/c-second.mp4"))});
  web.Put("media.test", "/a.mp4", clips.mp4);
  web.Put("media.test", "/c-second.mp4", clips.mp4);
  Start();

  EXPECT_EQ(Run(FormatMp4, folder), 3);
  // Both stems end in the month and day of the date; the tilde and the entry
  // number keep them apart.
  EXPECT_EQ(Names(folder), (std::vector<std::string>{"Evening_0412~3", "Evening_1012~1"}));
  EXPECT_EQ(VideoCollect().VideoJobs[3].ConvertBase.Get(), (folder / "Evening_0412").string());
  EXPECT_TRUE(VideoCollect().VideoJobs[3].ConvertTarget.Empty()) << "the end is signalled";
  EXPECT_TRUE(Head(folder / "Evening_1012~1", clips.mp4.size()) == clips.mp4);
  EXPECT_EQ(web.Count("media.test", "/c.flv"), 0) << "no Flash address in a converting job";
  EXPECT_EQ(web.Count("media.test", "/c-missing.mp4"), 1);
}

TEST_F(ListJob, SingleEntryAndPhoneLine) {
  const Clips& clips = MadeClips();
  std::vector<std::pair<std::string, std::string>> entries;
  for (int i = 1; i <= 25; ++i)
    entries.push_back({"http://tube.test/v/e" + std::to_string(i), "Clip " + std::to_string(i)});
  entries[0].second = "Clip 1/25";
  List(entries);
  web.Answer("tube.test", "/watch?v=e7&fmt=18",
             {"body=" + WatchPage("18%7C" + Escaped("http://media.test/e7.mp4"))});
  // Slow enough for the share done to show.
  web.Put("media.test", "/e7.mp4", clips.mp4);
  web.Answer("media.test", "/e7.mp4",
             {"file=e7.mp4", "rate=" + std::to_string(clips.mp4.size() / 2 + 1)});
  Start();

  std::atomic<bool> done{false};
  std::vector<std::string> seen;
  std::thread watch([&] {
    while (!done) {
      std::string line = Panel().PhoneStatus.Get();
      if (!line.empty() && (seen.empty() || seen.back() != line))
        seen.push_back(line);
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  });
  EXPECT_EQ(Run(FormatPhone, folder, 7), 1);
  done = true;
  watch.join();
  ASSERT_FALSE(seen.empty());
  bool share = false;
  for (const std::string& line : seen) {
    EXPECT_EQ(line.rfind("Download 7 / 1 video ", 0), 0u) << line;
    share = share || (line.rfind("Download 7 / 1 video now... ", 0) == 0 && line.back() == '%');
  }
  EXPECT_TRUE(share) << "the share done never showed";
  EXPECT_TRUE(Panel().CollectStatus.Empty() && Panel().PhoneStatus.Empty());
  EXPECT_EQ(Names(folder), (std::vector<std::string>{"Clip_70000~7"}));
  EXPECT_EQ(web.Count("tube.test", "/watch"), 2) << "two scans of entry 7's page, nothing else";
  EXPECT_EQ(web.Count("tube.test", "/watch?v=e7&fmt=18"), 2);
}

TEST_F(ListJob, ResolverGivesTheAddressWhenMarkersDont) {
  const Clips& clips = MadeClips();
  std::string script = (env.root / "resolve").string();
  std::ofstream(script) << "#!/bin/sh\n"
                           "case \"$2\" in *v=slow*) sleep 20;; esac\n"
                           "echo \"$1\" >> "
                        << (env.root / "asked").string()
                        << "\necho http://media.test/resolved.mp4\necho second line\n";
  fs::permissions(script, fs::perms::owner_all);
  std::ofstream(env.program / "Define.ini", std::ios::app)
      << "[Video]\nResolver=" << script << " -g\nResolverTimeout=2\n";
  List({{"http://tube.test/v/plain", "Plain page 1/2"}, {"http://tube.test/v/slow", "Slow 2/2"}});
  web.Put("tube.test", "/watch", "<html>no markers here</html>");
  web.Put("media.test", "/resolved.mp4", clips.mp4);
  Start();

  auto started = std::chrono::steady_clock::now();
  Run(0, folder);
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(15))
      << "the slow resolver is cut off at its time limit";
  EXPECT_EQ(Names(folder), (std::vector<std::string>{"Plain page 1-2.flv"}));
  EXPECT_EQ(Head(folder / "Plain page 1-2.flv"), "FLV");
  std::ifstream asked(env.root / "asked");
  std::string first;
  std::getline(asked, first);
  EXPECT_EQ(first, "-g");
}

TEST_F(ListJob, HostileListStaysInItsFolderAndGoesOn) {
  const Clips& clips = MadeClips();
  std::string longTitle(1000, 'L');
  List({{"http://tube.test/v/big", "../../escape 1/4"},
        {"http://tube.test/v/stall", "Stalled 2/4"},
        {"http://tube.test/v/long", longTitle},
        {"http://tube.test/v/gone", "Missing media 4/4"}});
  // A 10 MB watch page with its marker in front; a stalling media answer; a
  // media answer that is missing.
  web.Put("tube.test", "/big.htm",
          WatchPage("34%7C" + Escaped("http://media.test/big.flv")) + std::string(10 << 20, ' '));
  web.Answer("tube.test", "/watch?v=big", {"file=big.htm"});
  web.Answer("tube.test", "/watch?v=stall",
             {"body=" + WatchPage("34%7C" + Escaped("http://media.test/stall.flv"))});
  web.Answer("tube.test", "/watch?v=long",
             {"body=" + WatchPage("34%7C" + Escaped("http://media.test/big.flv"))});
  web.Answer("tube.test", "/watch?v=gone",
             {"body=" + WatchPage("34%7C" + Escaped("http://media.test/gone.flv"))});
  web.Put("media.test", "/big.flv", clips.flv);
  web.Answer("media.test", "/stall.flv",
             {"body=" + std::string(5000, 'F'), "stall=30000", "after=100"});
  Start();
  SetMediaStallForTests(1);

  Run(0, folder);
  std::vector<std::string> names = Names(folder);
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(names[0], std::string(251, 'L') + ".flv") << "cut to one name's length";
  EXPECT_EQ(names[1], "__-__-escape 1-4.flv");
  EXPECT_FALSE(fs::exists(env.root / "escape 1-4.flv"));

  // A folder that can't be written: nothing is made, the job ends as usual.
  fs::path blocked = folder / "blocker" / "inner";
  std::ofstream(folder / "blocker") << "a file where a folder should be";
  List({{"http://tube.test/v/big", "Blocked 1/1"}});
  Run(0, blocked);
  EXPECT_EQ(Names(folder).size(), 3u);
  EXPECT_TRUE(Panel().CollectStatus.Empty());
}

TEST_F(ListJob, LongListOfLinksWithoutPagesEndsQuickly) {
  std::string sorted = "[Sorted]\n", titles = "[Title]\n1=Entry 1/10000\n";
  for (int i = 1; i <= 10000; ++i)
    sorted += std::to_string(i) + "=http://tube.test/watch/" + std::to_string(i) + "\n";
  web.Put("lists.test", "/Show/sortlink.htm", sorted + titles);
  Start();
  auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(Run(0, folder), 10000);
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(60));
  EXPECT_TRUE(Names(folder).empty());
  EXPECT_EQ(web.Count("tube.test", "/watch"), 0);
}

} // namespace
