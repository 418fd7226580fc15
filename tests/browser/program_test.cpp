// The real browser program against a fake Panel's carrier, in a temporary program folder; the
// Pane is judged by the colours of the root window, where it stands at 0,0 with no window manager.
#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <algorithm>
#include <set>

#include "games/cache_harvest.h"
#include "library/menus.h"
#include "library/player_pages.h"
#include "platform/files.h"
#include "platform/headless/headless.h"
#include "shell/module_path.h"
#include "tests/carrier/carrier_fixture.h"
#include "tests/testweb/test_web.h"
#include "x11_shots.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr unsigned GameColour = 0x22CC55;

struct Program {
  TempFolder temp{"skerry-browser"};
  fs::path root = temp.path, runtime = root / "run";
  Program() {
    fs::create_directories(runtime / "skerry");
    fs::permissions(runtime, fs::perms::owner_all);
    fs::permissions(runtime / "skerry", fs::perms::owner_all);
    fs::copy_file(LUMBREL_PATH, root / "Lumbrel.dll");
    fs::copy(fs::path(SKERRY_SOURCE_DIR) / "Web", root / "Web", fs::copy_options::recursive);
    for (const char* folder : {"Game", "Video"})
      fs::create_directories(root / folder);
    std::ofstream(root / "Game" / "green game.swf", std::ios::binary)
        << TinySwf(310, 396, GameColour);
    std::ofstream(root / "secret.swf", std::ios::binary) << TinySwf(310, 396, 0xFF00FF);
  }
  std::string Page(const std::string& name) const { return (root / "Web" / name).string(); }
  pid_t Start(const std::vector<std::string>& args, const std::string& log,
              std::vector<std::string> env = {}) const {
    env.push_back("XDG_RUNTIME_DIR=" + runtime.string());
    return Spawn((root / "Lumbrel.dll").string(), args, env, (root / log).string());
  }
};

// The Panel's end of the carrier: one listener, one client at a time.
struct FakePanel {
  int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  int client = -1;
  std::string buffer;

  explicit FakePanel(const Program& program) {
    sockaddr_un address{AF_UNIX, {}};
    fs::path path = program.runtime / "skerry" / "panel.sock";
    fs::remove(path);
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    listen(listener, 4);
  }
  ~FakePanel() { close(client), close(listener); }
  void Send(const std::string& line) {
    std::string frame = line + "\n";
    ASSERT_EQ(write(client, frame.data(), frame.size()), static_cast<ssize_t>(frame.size()));
  }
  // Waits for a line equal to wanted; lines before it are passed over.
  bool Expect(const std::string& wanted, std::chrono::seconds wait = 20s) {
    auto deadline = Clock::now() + wait;
    while (true) {
      for (std::size_t end; (end = buffer.find('\n')) != std::string::npos;) {
        bool found = buffer.compare(0, end, wanted) == 0 && end == wanted.size();
        buffer.erase(0, end + 1);
        if (found)
          return true;
      }
      auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      pollfd p{client, POLLIN, 0};
      char chunk[4096];
      ssize_t got = left.count() > 0 && poll(&p, 1, static_cast<int>(left.count())) == 1
                        ? read(client, chunk, sizeof chunk)
                        : 0;
      if (got <= 0)
        return false;
      buffer.append(chunk, static_cast<std::size_t>(got));
    }
  }
};

// Starts the program and goes through every Pane's handshake: HELLO, answer, slot announcement.
pid_t Launch(const Program& program, FakePanel& panel, const std::vector<std::string>& args,
             unsigned announcement) {
  pid_t pid = program.Start(args, "pane" + args.back().substr(2) + ".log");
  pollfd p{panel.listener, POLLIN, 0};
  if (pid <= 0 || poll(&p, 1, 20000) != 1 || (panel.client = accept(p.fd, nullptr, nullptr)) < 0) {
    ADD_FAILURE() << "no Pane came to the carrier";
    return pid;
  }
  EXPECT_TRUE(panel.Expect("HELLO " + std::to_string(pid), 10s));
  panel.Send("HELLO 0");
  EXPECT_TRUE(panel.Expect(
      "POST " + std::to_string(announcement) + " " + std::to_string(pid & 0xFFFF) + " 0", 10s));
  return pid;
}

// WM_QUIT ends the Pane with status 0.
void Quit(FakePanel& panel, pid_t pid) {
  panel.Send("POST 18 0 0");
  int status = -1;
  EXPECT_TRUE(Ended(pid, 20s, &status));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  Stop(pid);
}

// The first file below folder whose content is bytes, waiting up to wait.
std::string AwaitCopy(const fs::path& folder, const std::string& bytes, std::chrono::seconds wait) {
  for (auto end = Clock::now() + wait; Clock::now() < end; std::this_thread::sleep_for(200ms)) {
    std::error_code error;
    for (fs::recursive_directory_iterator it(folder, error), last; !error && it != last;
         it.increment(error)) {
      std::string content;
      if (it->is_regular_file() && ReadWholeFile(it->path().string(), content, 1 << 24) &&
          content == bytes)
        return it->path().string();
    }
  }
  return std::string();
}

} // namespace

// A local page may read beside it, ask the game server and follow a panel link, but not
// read files outside its folders nor reach another host; it paints its verdict.
TEST(BrowserProgram, LocalPagesReachOnlyTheirFoldersAndTheGameServer) {
  Program program;
  TestWeb web;
  ASSERT_TRUE(web.Start());
  std::string other = "http://127.0.0.1:" + std::to_string(web.Port());
  std::string game = fs::canonical(program.root / "Game" / "green game.swf").string();
  std::ofstream(program.root / "Web" / "beside.txt") << "beside";
  std::string probe = R"P(<html><body style="margin:0">
<script>
var got = {};
function get(name, url) {
  var x = new XMLHttpRequest(), no = function() { got[name] = 'refused'; done(); };
  if (url.indexOf('http') == 0)
    return fetch(url, {mode: 'no-cors'}).then(function() { got[name] = 'reached'; done(); }, no);
  x.onload = function() { got[name] = x.status + ':' + x.responseText; done(); };
  x.onerror = no;
  try { x.open('GET', url); x.send(); } catch (e) { no(); }
}
function done() {
  if (Object.keys(got).length < 5) return;
  var read = '';
  try { read = document.getElementById('f').contentDocument.body.innerText; } catch (e) {}
  var fine = /^(0|200):beside$/.test(got.beside) && got.game == 'reached';
  var leaked = got.hostname != 'refused' || got.other != 'refused' ||
               got.otherfile != 'refused' || read != '';
  document.body.style.background = leaked ? '#CC2222' : fine ? '#22AA44' : '#2244CC';
  location.href = 'skerry-panel:40005';
  setTimeout(function() { location.href = 'OTHER/leave'; }, 1000);
}
get('beside', 'beside.txt');
get('game', 'http://skerry.local/ombrel/TodayAD.asp?data1=GAME');
get('hostname', 'file:///etc/hostname');
get('otherfile', 'file://SECRET');
get('other', 'OTHER/xhr');
new Image().src = 'OTHER/img';
</script><iframe id="f" src="file:///etc/hostname" onload="setTimeout(done, 500)"></iframe>
</body></html>)P";
  for (auto [name, value] : {std::pair<std::string, std::string>{"OTHER", other},
                             {"GAME", game},
                             {"SECRET", (program.root / "secret.swf").string()}})
    for (std::size_t at; (at = probe.find(name)) != std::string::npos;)
      probe.replace(at, name.size(), value);
  std::ofstream(program.root / "Web" / "probe.htm", std::ios::trunc) << probe;
  FakePanel panel(program);
  pid_t pid = Launch(program, panel, {program.Page("probe.htm"), "/h5"}, 1049);
  unsigned seen = AwaitScreen(250, 300, 40, 40, 40s, [](unsigned c) { // the verdict
    return Near(c, 0x22AA44) || Near(c, 0xCC2222) || Near(c, 0x2244CC);
  });
  EXPECT_TRUE(Near(seen, 0x22AA44)) << Hex(seen);
  EXPECT_TRUE(panel.Expect("POST 273 40005 0", 10s)) << "the panel link was refused";
  std::this_thread::sleep_for(3s); // leaving, a second after the verdict, is refused too
  EXPECT_TRUE(web.Requests().empty()) << "a local page reached " << other;
  Quit(panel, pid);
}

// A game and a video named with markup (a folder and file spelling "</script>"): the
// library's menus list them, each plays from its icon.
TEST(BrowserProgram, HostileNamesListAndPlay) {
  Program program;
  fs::remove(program.root / "Game" / "green game.swf");
  fs::path game = program.root / "Game" / "x\"><b onclick 'y'><script>document.body.remove()<" /
                  "script> & 'q' #1?%41.swf";
  fs::create_directories(game.parent_path());
  std::ofstream(game, std::ios::binary) << TinySwf(310, 396, GameColour);
  ASSERT_TRUE(MakeClip(program.root / "Video" / "v\"<b>&'#?.mpg",
                       "-f lavfi -i color=c=0x2060C0:s=160x120:d=3:r=25 -c:v mpeg1video"));
  std::string root = program.root.string();
  fs::create_directories(root + "/system");
  std::ofstream(root + "/system/drives.ini") << "[Drives]\nC=/\n";
  setenv("SKERRY_SYSTEM_DIR", (root + "/system").c_str(), 1);
  SetModulePathForTests(root + "/skerry");
  EXPECT_EQ(RebuildGameMenu((root + "/Web/Menu1.htm").c_str(), (root + "/Game").c_str(), "*.swf"),
            1);
  EXPECT_EQ(
      RebuildMediaMenu((root + "/Web/MenuVideo.htm").c_str(), (root + "/Video").c_str(), "*.mpg"),
      1);
  SetModulePathForTests("");
  unsetenv("SKERRY_SYSTEM_DIR");

  struct {
    const char *page, *slot;
    unsigned announcement, colour; // colour: of the main area once the icon was clicked
  } roads[] = {{"Index.htm", "/h2", 1046, GameColour}, {"iVideo.htm", "/h8", 1052, 0x2060C0}};
  for (const auto& road : roads) {
    SCOPED_TRACE(road.page);
    FakePanel panel(program);
    pid_t pid = Launch(program, panel, {program.Page(road.page), road.slot}, road.announcement);
    AwaitScreen(5, 6, 12, 12, 20s, [](unsigned c) { // the first icon before it is clicked
      return c != ~0u && !Near(c, 0x000000) && !Near(c, 0xFFFFFF);
    });
    ASSERT_EQ(std::system("xdotool mousemove 11 12 click 1"), 0);
    EXPECT_TRUE(road.colour != GameColour ||
                panel.Expect("TEXT 2010 " + fs::canonical(game).string(), 30s));
    EXPECT_TRUE(AwaitColour(road.colour, 100, 150, 100, 50, 60s));
    // What is done, whether the screen is filled then: the blocking frames mute, fill the
    // screen, return; Esc and a double click return too.
    const std::pair<const char*, bool> steps[] = {
        {"SEND 273 32805 0", false}, {"SEND 274 61488 0", true},    {"key Escape", false},
        {"SEND 274 61488 0", true},  {"click --repeat 2 1", false}, {"SEND 274 61472 0", false}};
    for (auto [step, filled] : steps) {
      if (road.colour != GameColour)
        break;
      if (step[0] == 'S') {
        panel.Send(step);
        EXPECT_TRUE(panel.Expect("RET 0")) << step;
      } else {
        EXPECT_EQ(std::system(("xdotool mousemove 515 395 " + std::string(step)).c_str()), 0);
      }
      unsigned middle = AwaitScreen(500, 380, 30, 30, 20s,
                                    [&](unsigned c) { return filled == Near(c, GameColour); });
      EXPECT_EQ(Near(middle, GameColour), filled) << step << " " << Hex(middle);
    }
    Quit(panel, pid);
  }
}

// A game of 1 GiB asked of the game server by a page's image goes out in pieces.
TEST(BrowserProgram, BigGamesAreSentInPieces) {
  Program program;
  fs::path big = program.root / "Game" / "big.htm";
  { std::ofstream(big) << "<html>"; }
  fs::resize_file(big, 1ull << 30);
  std::ofstream(program.root / "Web" / "big.htm")
      << "<html><body><img src=\"http://skerry.local/ombrel/TodayAD.asp?data1="
      << fs::canonical(big).string() << "\"></body></html>";
  FakePanel panel(program);
  pid_t pid = Launch(program, panel, {program.Page("big.htm"), "/h5"}, 1049);
  EXPECT_TRUE(panel.Expect("TEXT 2010 " + fs::canonical(big).string(), 30s));
  auto Field = [pid](const std::string& file, const std::string& key) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/" + file);
    for (std::string line; std::getline(in, line);)
      if (line.starts_with(key))
        return std::stoll(line.substr(key.size()));
    return -1LL;
  };
  // The engine stops reading an "image" that isn't one: wait until the reads come to rest.
  for (long long read = -1, now = -2, tries = 0; read != now && tries++ < 30;) {
    read = now;
    std::this_thread::sleep_for(1s);
    now = Field("io", "rchar:");
  }
  long long peakKb = Field("status", "VmHWM:");
  EXPECT_TRUE(peakKb > 0 && peakKb < 600LL * 1024) << "peak memory " << peakKb << " kB";
  Quit(panel, pid);
}

// Flash embedded and loaded by script on an open-web page, in a Pane without a Panel: both
// play and are cached, the harvest offers the large one, copies are bounded.
TEST(BrowserProgram, FlashOnAnyPageIsPlayedCachedAndHarvested) {
  Program program;
  fs::path root = program.root;
  const std::string game = TinySwf(310, 396, 0x3366CC, 600 * 1024);
  const std::string served = TinySwf(310, 396, 0xCC6633);

  TestWeb web;
  web.Put("127.0.0.1", "/arcade/green game.swf", game);
  web.Put("127.0.0.1", "/arcade/served.swf", served);
  web.Answer("127.0.0.1", "/arcade/play.php?id=3",
             {"file=arcade/served.swf", "type=application/octet-stream"});
  web.Put("127.0.0.1", "/arcade/play.htm",
          "<html><body style=\"margin:0;background:#000\">"
          "<embed src=\"green%20game.swf\" width=\"310\" height=\"198\"><div id=\"p\"></div>"
          "<script>(function go() { var r = window.RufflePlayer;\n"
          "  if (!r || !r.newest || !r.newest()) return setTimeout(go, 100);\n"
          "  var player = r.newest().createPlayer(); player.style.width = '310px';\n"
          "  player.style.height = '198px'; document.getElementById('p').appendChild(player);\n"
          "  player.ruffle().load({url: 'play.php?id=3'});\n"
          "  setTimeout(function() {\n"
          "    for (var i = 0; i < 200; i++) fetch('many.swf?' + i).catch(function() {});\n"
          "  }, 2000);\n"
          "})();</script></body></html>");
  ASSERT_TRUE(web.Start());
  std::string page = "http://127.0.0.1:" + std::to_string(web.Port()) + "/arcade/play.htm";
  pid_t pid = program.Start({"/U=" + page, "/h5"}, "flash.log",
                            {"XDG_CACHE_HOME=" + (root / "cache").string(),
                             "SKERRY_SYSTEM_DIR=" + (root / "system").string()});
  ASSERT_GT(pid, 0);

  EXPECT_TRUE(AwaitColour(0x3366CC, 130, 70, 50, 50, 90s)) << "the embedded game doesn't play";
  EXPECT_TRUE(AwaitColour(0xCC6633, 130, 270, 50, 50, 30s));
  fs::path cache = root / "cache" / "skerry" / "Cache";
  EXPECT_EQ(fs::path(AwaitCopy(cache, game, 30s)).filename(), "green%20game[1].swf");
  EXPECT_EQ(fs::path(AwaitCopy(cache, served, 30s)).filename(), "play[1].swf");
  std::set<std::string> asked; // the page asks each address once: a repeat is the program's copy
  int copies = 0;
  auto count = [&] {
    asked.clear();
    copies = 0;
    for (const TestWebRequest& r : web.Requests())
      if (r.target.starts_with("/arcade/many.swf?"))
        copies += !asked.insert(r.target).second;
    return asked.size() == 200 && copies > 0;
  };
  if (AwaitTrue(count, 30s))
    std::this_thread::sleep_for(2s); // copies past the bound come by now
  count();
  EXPECT_EQ(asked.size(), 200u);
  EXPECT_TRUE(copies > 0 && copies <= 64)
      << copies << " copies: a page had the program fetch without bound";
  Stop(pid);

  HeadlessInstall();
  SetModulePathForTests((root / "skerry").string());
  HeadlessScriptAnswers({IDCANCEL});
  EXPECT_EQ(HarvestCache(cache.c_str(), "*.swf"), 1);
  ASSERT_EQ(HeadlessBoxes().size(), 1u);
  EXPECT_EQ(
      HeadlessBoxes()[0].text.rfind("Found a game named \"green%20game[1].swf\" (Size : 600 KB", 0),
      0u)
      << HeadlessBoxes()[0].text;
  SetModulePathForTests("");
}

// Videos play in the player pages written beside them: a .flv of the old site's codecs and an
// .mp4 of today's; the clip's hue turns, so a picture that changes shows the player's time runs.
TEST(VideoPlayerProgram, FlvAndMp4PlayInTheirPlayerPages) {
  Program program;
  fs::create_directories(program.root / "Video" / "sub");
  // The clip's colours are all fully saturated; the page, the controls and the spinner grey.
  auto picture = [](unsigned c) {
    int r = (c >> 16) & 255, g = (c >> 8) & 255, b = c & 255;
    return c != ~0u && std::max({r, g, b}) - std::min({r, g, b}) > 100;
  };
  auto far = [](unsigned a, unsigned b) { // the hue turned by some tens of degrees
    for (int shift : {16, 8, 0})
      if (std::abs(int((a >> shift) & 255) - int((b >> shift) & 255)) > 60)
        return true;
    return false;
  };
  const std::pair<const char*, const char*> rows[] = {
      // a path below Video, its codecs
      {"old clip.flv", "-c:v flv1 -c:a mp3 -ar 22050"},
      {"sub/new clip.mp4", "-c:v libx264 -pix_fmt yuv420p -c:a aac"}};
  for (auto [folderPath, codecs] : rows) {
    SCOPED_TRACE(folderPath);
    fs::path media = program.root / "Video" / folderPath;
    ASSERT_TRUE(MakeClip(media, "-f lavfi -i 'color=c=red:size=160x120:rate=25,hue=H=2*PI*t/20' "
                                "-f lavfi -i sine=frequency=440 -t 20 " +
                                    std::string(codecs)));
    std::string page = media.string() + ".htw";
    ASSERT_EQ(WritePlayerPage(page.c_str(), folderPath, media.filename().c_str()), 1);
    pid_t pid = program.Start({page, "/h8"}, "player.log");
    ASSERT_GT(pid, 0);
    // Below the name, inside the player; a loaded machine may take long to start the stream.
    unsigned first = AwaitScreen(110, 160, 90, 60, 180s, picture);
    EXPECT_TRUE(picture(first)) << "no picture: " << Hex(first);
    KeepShot("video_player_" + media.extension().string().substr(1) + ".png");
    unsigned later =
        AwaitScreen(110, 160, 90, 60, 90s, [&](unsigned c) { return picture(c) && far(c, first); });
    EXPECT_TRUE(picture(later) && far(first, later))
        << "the picture stood still: " << Hex(first) << " then " << Hex(later);
    Stop(pid);
  }
}
