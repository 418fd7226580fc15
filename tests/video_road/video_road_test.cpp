// The video road with the real program on a virtual display: the test, as a
// Pane over the carrier, shows a list's address and asks for the videos, types
// into the save dialog, and checks what comes out with ffprobe.
#include <gtest/gtest.h>

#include "platform/ini.h"
#include "tests/collect/program_run.h"
#include "tests/testweb/test_web.h"
#include "tests/video/clips.h"

namespace fs = std::filesystem;
using run::WaitFor;

namespace {

std::string Watch(const std::string& marker, const std::string& url) {
  return "body=" + WatchPage({{marker, url}});
}

class Road : public ::testing::Test {
 protected:
  void SetUp() override {
    root = prog.root, program = prog.program, out = root / "out";
    for (const fs::path& p : {program / "Video", out, root / "system"})
      fs::create_directories(p);
    fs::copy_file(FAKE_PANE, program / "Lumbrel.dll");
    fs::copy_file(fs::path(SKERRY_SOURCE_DIR) / "resources" / "program" / "Define.ini",
                  program / "Define.ini");
    for (const char* page : {"iStart.htm", "iClock.htm", "Index.htm", "iVideo.htm"})
      std::ofstream(program / "Web" / page) << "<html></html>";
    std::ofstream(program / "Game" / "a.swf") << "FWS"; // no top-list job at start

    std::string resolver = (root / "resolve").string();
    std::ofstream(resolver) << "#!/bin/sh\necho http://media.test/c.mp4\n";
    fs::permissions(resolver, fs::perms::owner_all);
    ASSERT_TRUE(IniWrite((program / "Define.ini").c_str(), "Video", "Resolver", resolver.c_str()));
    ASSERT_FALSE(ClipBytes(".flv").empty() || ClipBytes(".mp4").empty());
    web.Put("media.test", "/a.flv", ClipBytes(".flv"));
    for (const char* name : {"/a.mp4", "/b.mp4", "/c.mp4"})
      web.Put("media.test", name, ClipBytes(".mp4"));
    web.Put("tube.test", "/Show/Show/sortlink.htm",
            "[Sorted]\n1=http://tube.test/v/a\n2=http://tube.test/v/b\n3=http://tube.test/v/c\n"
            "[Title]\n1=Evening news 1/2 2008-10-12\n2=Rain on glass 2/2\n3=Resolved 3/3\n");
    web.Answer("tube.test", "/watch?v=a", {Watch("34", "http://media.test/a.flv?id=x%2Cy")});
    web.Answer("tube.test", "/watch?v=b", {Watch("34", "http://media.test/b.mp4")});
    web.Put("tube.test", "/watch", "<html>a page without markers</html>");
    ASSERT_TRUE(web.Start());
    web.WriteHosts(root / "system", {"tube.test", "media.test"});
  }

  // Removed here, errors ignored: the Panel's children may still write as it
  // dies, and the runner's own removal would throw.
  void TearDown() override {
    std::error_code ignored;
    Stop(), fs::remove_all(root, ignored);
  }

  void Start() {
    Stop();
    panel = prog.Start(
        {}, {{"QT_QPA_PLATFORM", "xcb"}, {"FAKE_PANE_LOG", (root / "pane.log").string()}});
    ASSERT_TRUE(prog.Connect(&client)) << "the Panel did not come up";
  }

  void Stop() {
    CarrierDisconnect(&client);
    if (panel > 0)
      kill(panel, SIGKILL), waitpid(panel, nullptr, 0);
    panel = -1, prog.started.clear(); // a reaped pid may be given again
  }

  // The video service's channel shows address, and the zone's command runs.
  void Ask(const std::string& address, std::uint32_t command) {
    ASSERT_TRUE(CarrierClientWriteRaw(&client, "TEXT 2010 " + address + "\n"));
    ASSERT_TRUE(CarrierClientPost(&client, 1033, 20070, 4));
    ASSERT_TRUE(CarrierClientPost(&client, 1033, command, 0));
  }

  // Answers the window titled title by typing text; false if none came.
  static bool Reply(const std::string& title, const std::string& text = "", int seconds = 30) {
    std::string window = run::WaitWindow(title, seconds);
    if (window.empty())
      return false;
    std::system(("xdotool windowfocus --sync " + window + " 2>/dev/null").c_str());
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    std::system("xdotool key --clearmodifiers ctrl+a");
    std::system(("xdotool type --delay 5 '" + text + "'").c_str());
    std::system("xdotool key --clearmodifiers Return");
    return true;
  }

  static bool Await(const fs::path& file) {
    return WaitFor([&] { return fs::exists(file) && fs::file_size(file) > 0; }, 120);
  }

  TestWeb web;
  run::Program prog; // ended before the web
  fs::path root, program, out;
  CarrierConnection client;
  pid_t panel = -1;
};

// A Flash list named by its titles with a second request refused while it
// runs, then a single entry through the resolver.
TEST_F(Road, RefusalsFlashListAndASingleEntry) {
  Start();
  web.Answer("media.test", "/a.flv", {"file=a.flv", "rate=10000"});
  Ask("http://tube.test/Show/list/0", 20210);
  ASSERT_TRUE(Reply("Save video to", (out / "Video.flv").string()));
  ASSERT_TRUE(WaitFor([&] { return web.Count("tube.test", "/watch?v=a") > 0; }, 10));
  Ask("http://tube.test/Show/list/0", 20210);
  ASSERT_TRUE(Reply("Tessel @Vexan")) << "no \"Please wait...\"";
  for (const char* name : {"Evening news 1-2 2008-10-12.flv", "Rain on glass 2-2.flv"}) {
    ASSERT_TRUE(Await(out / name)) << name;
    Probe p = ProbeFile((out / name).string());
    EXPECT_TRUE(p.container == "flv" && p.width == 160) << name;
  }
  EXPECT_EQ(web.Count("tube.test", "/Show/Show/sortlink.htm"), 1) << "a second job started";

  // Entry 3 alone, its page without markers: the resolver finds the media.
  int scansOfA = web.Count("tube.test", "/watch?v=a");
  bool asked = false;
  for (int i = 0; i < 10 && !asked; ++i) {
    Ask("http://tube.test/Show/list/3", 20210);
    if (!(asked = Reply("Save video to", (out / "Video.flv").string(), 3)))
      Reply("Tessel @Vexan", "", 2);
  }
  ASSERT_TRUE(asked);
  ASSERT_TRUE(Await(out / "Resolved 3-3.flv"));
  EXPECT_EQ(ProbeFile((out / "Resolved 3-3.flv").string()).container, "flv");
  EXPECT_EQ(web.Count("tube.test", "/watch?v=a"), scansOfA) << "only entry 3 is fetched";
  EXPECT_EQ(web.Count("media.test", "/c.mp4"), 1);
}

// The Panel killed mid-conversion and mid-resolve, then mid-download: its
// children die with it, and the next start leaves no stale temporary.
TEST_F(Road, KilledMidwayLeavesNothingBehind) {
  // ffmpeg and the resolver (with a helper of its own) as stand-ins that
  // note their pids, leave a part of their output and hang.
  fs::path pids = root / "children";
  std::ofstream(program / "ffmpeg")
      << "#!/bin/sh\ncase \"$*\" in *-encoders*|*'-h long'*) exit 0;; "
         "esac\nfor a; do out=\"$a\"; done\necho $$ >> "
      << pids << "\necho partial > \"$out\"\nexec sleep 300\n";
  std::string resolver = (root / "hang").string();
  std::ofstream(resolver) << "#!/bin/sh\nsleep 300 &\necho $! $$ >> " << pids
                          << "\nexec sleep 300\n";
  for (const fs::path& script : {program / "ffmpeg", fs::path(resolver)})
    fs::permissions(script, fs::perms::owner_all);
  ASSERT_TRUE(IniWrite((program / "Define.ini").c_str(), "Video", "Resolver", resolver.c_str()));
  web.Put("tube.test", "/Kill/Show/Show/sortlink.htm",
          "[Sorted]\n1=http://tube.test/v/k1\n2=http://tube.test/v/k2\n"
          "[Title]\n1=Killed 1/2\n2=Hanging\n");
  web.Answer("tube.test", "/watch?v=k1&fmt=18", {Watch("18", "http://media.test/a.mp4")});
  web.Put("tube.test", "/Late/Show/Show/sortlink.htm",
          "[Sorted]\n1=http://tube.test/v/k3\n[Title]\n1=Slow 1/1\n");
  web.Answer("tube.test", "/watch?v=k3&fmt=18", {Watch("18", "http://media.test/slow.mp4")});
  web.Put("media.test", "/slow.mp4", ClipBytes(".mp4"));
  web.Answer("media.test", "/slow.mp4", {"file=slow.mp4", "rate=2000"});
  fs::path video = program / "Video", temp = root / "system" / "Temp";
  auto children = [&] {
    std::vector<std::string> alive;
    std::ifstream in(pids);
    for (std::string pid; in >> pid;)
      if (fs::exists("/proc/" + pid) &&
          run::Output("ps -o stat= -p " + pid).find('Z') == std::string::npos)
        alive.push_back(pid);
    return alive;
  };
  auto leftovers = [&] {
    std::vector<std::string> found;
    for (const fs::path& dir : {video, temp, program / "Game"})
      for (const auto& e : fs::directory_iterator(dir)) {
        std::string name = e.path().filename().string();
        if (name.rfind("cv", 0) == 0 || name.rfind(".skerry-part-", 0) == 0 ||
            name.rfind(".link-", 0) == 0 || name.find("-1.avi") != std::string::npos)
          found.push_back(name);
      }
    return found;
  };
  // A killed run's leftovers, aged past the sweep's bound.
  auto age = [&] {
    for (const fs::path& dir : {video, temp, program / "Game"})
      for (const auto& e : fs::directory_iterator(dir))
        fs::last_write_time(e.path(), fs::file_time_type::clock::now() - std::chrono::minutes(5));
  };

  Start();
  Ask("http://tube.test/Kill/Show/list/0", 20210);
  ASSERT_TRUE(Reply("Save video to", (video / "Video.avi").string()));
  ASSERT_TRUE(WaitFor([&] { return children().size() == 3; }, 60)) << "no conversion and resolver";
  ASSERT_TRUE(WaitFor([&] { return leftovers().size() == 1; }, 10)) << "no conversion output";
  Stop();
  EXPECT_TRUE(WaitFor([&] { return children().empty(); }, 5)) << "a child outlived the Panel";

  fs::create_directories(program / "Game" / ".link-AB12CD");
  std::ofstream(program / "Game" / ".link-AB12CD" / "game") << "FWS";
  age();
  Start();
  Ask("http://tube.test/Late/Show/list/0", 20210);
  ASSERT_TRUE(Reply("Save video to", (video / "Video.avi").string()));
  EXPECT_TRUE(WaitFor(
      [&] {
        std::vector<std::string> running = leftovers();
        return running.size() == 1 && running[0].rfind("cv1-1.", 0) == 0;
      },
      30))
      << "not only the running download: " << ::testing::PrintToString(leftovers());
  Stop();

  age();
  Start();
  EXPECT_TRUE(WaitFor([&] { return leftovers().empty(); }, 10))
      << ::testing::PrintToString(leftovers());
  EXPECT_TRUE(fs::exists(video / "Killed_10000~1")) << "the source stays for the next run";
}

// Pages shaped like today's sites, their videos fetched and merged by the
// real resolver: a progressive file, HLS and DASH with separate audio, as MP4
// in a folder and as 3GP on the phone, whose download asks for the small
// rendition.
TEST_F(Road, StreamsOfTodaysSites) {
  ASSERT_TRUE(MakeSiteStreams(web.Site("tube.test"), 2));
  ASSERT_TRUE(IniWrite((program / "Define.ini").c_str(), "Video", "Resolver", "yt-dlp"));
  web.Put("tube.test", "/Show/Show/sortlink.htm",
          "[Sorted]\n1=http://tube.test/v/p\n2=http://tube.test/v/h\n3=http://tube.test/v/d\n"
          "[Title]\n1=Progress 1/3\n2=Segments\n3=Separate\n");
  for (const char* id : {"p", "h", "d"})
    web.Answer("tube.test", std::string("/watch?v=") + id + "&fmt=18",
               {std::string("file=") +
                (id[0] == 'p'   ? "prog"
                 : id[0] == 'h' ? "hls"
                                : "dash") +
                ".html"});
  struct Target {
    const char *typed, *ending, *video;
    int width, height, zone;
  };
  const Target targets[] = {{"Video.mp4", ".mp4", "h264", 320, 240, 20210},
                            {"Video.3gp", ".3gp", "h263", 176, 144, 20220}};
  for (const Target& t : targets) {
    fs::path folder = t.zone == 20220 ? PhoneCard(root) : out / "streams";
    fs::create_directories(folder);
    Start();
    Ask("http://tube.test/Show/list/0", t.zone);
    ASSERT_TRUE(Reply("Save video to", (folder / t.typed).string()));
    for (const char* stem : {"Progress0000~1", "Segments0000~2", "Separate0000~3"}) {
      fs::path result = folder / (stem + std::string(t.ending));
      ASSERT_TRUE(Await(result)) << result;
      Probe p = ProbeFile(result.string());
      double seconds = ProbeSeconds(result.string());
      EXPECT_TRUE(p.video == t.video && !p.audio.empty() && p.width == t.width &&
                  p.height == t.height && seconds > 1.8 && seconds < 2.3)
          << result << ": " << p.video << " " << p.audio << " " << p.width << "x" << p.height << " "
          << seconds << " s";
    }
  }
  // The folder took the largest rendition, the phone the smallest of at
  // least 176x144; none took the one below it.
  for (const char* first : {"/hls/v1_000.ts", "/hls/v2_000.ts", "/dash/chunk-stream1-00001.m4s",
                            "/dash/chunk-stream2-00001.m4s"})
    EXPECT_EQ(web.Count("tube.test", first), 1) << first;
  EXPECT_EQ(web.Count("tube.test", "/hls/v0_000.ts") +
                web.Count("tube.test", "/dash/chunk-stream0-00001.m4s"),
            0);
}

} // namespace
