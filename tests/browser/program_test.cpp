// The real browser program against a fake Panel: a carrier listener of the
// test's own in a temporary runtime folder, a temporary program folder with a
// copy of Lumbrel.dll, the pages and a Game folder holding a small Flash file.
// Runs on a virtual display (ctest starts it under xvfb-run); what the Pane
// shows is checked by the colours of screenshots of the root window, where the
// Pane stands at 0,0 since no window manager places it. Screenshots are kept
// in screenshots/ at the top of the source tree.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "library/menus.h"
#include "shell/module_path.h"
#include "swf_file.h"
#include "x11_shots.h"

extern char** environ;

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr unsigned GameColour = 0x22CC55;
constexpr unsigned StartColour = 0x0F3B66;    // iStart.htm
constexpr unsigned ClockColour = 0x101820;    // iClock.htm
constexpr unsigned NotFoundColour = 0x10161F; // the game server's refusal
constexpr unsigned PlayColour = 0xAA3300;     // links of the test page
constexpr unsigned EscapeColour = 0x3300AA;

struct Program {
  fs::path root; // temporary program folder
  fs::path runtime;
  Program() {
    char name[] = "/tmp/skerry-browser-XXXXXX";
    root = mkdtemp(name);
    runtime = root / "run";
    fs::create_directories(runtime / "skerry");
    fs::permissions(runtime, fs::perms::owner_all);
    fs::permissions(runtime / "skerry", fs::perms::owner_all);
    fs::copy_file(LUMBREL_PATH, root / "Lumbrel.dll");
    fs::copy(fs::path(SKERRY_SOURCE_DIR) / "Web", root / "Web", fs::copy_options::recursive);
    fs::create_directories(root / "Game");
    std::ofstream(root / "Game" / "green game.swf", std::ios::binary)
        << TinySwf(310, 396, GameColour);
    std::ofstream(root / "secret.swf", std::ios::binary) << TinySwf(310, 396, 0xFF00FF);
  }
  ~Program() {
    if (std::getenv("SKERRY_KEEP_TEST_FILES"))
      return; // for a look at the Panes' logs
    std::error_code ignored;
    fs::remove_all(root, ignored);
  }
  std::string Page(const std::string& name) const { return (root / "Web" / name).string(); }
};

// The Panel's end of the carrier: one listener, one client at a time.
struct FakePanel {
  int listener = -1;
  int client = -1;
  std::string buffer;
  std::vector<std::string> lines; // every line received, in order

  explicit FakePanel(const fs::path& socketPath) {
    listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", socketPath.c_str());
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener, 4) != 0) {
      close(listener);
      listener = -1;
    }
  }
  ~FakePanel() { Close(); }
  void Close() {
    if (client >= 0)
      close(client);
    if (listener >= 0)
      close(listener);
    client = listener = -1;
  }
  bool Accept(std::chrono::milliseconds wait) {
    pollfd p{listener, POLLIN, 0};
    if (poll(&p, 1, static_cast<int>(wait.count())) != 1)
      return false;
    client = accept(listener, nullptr, nullptr);
    return client >= 0;
  }
  void Send(const std::string& line) {
    std::string frame = line + "\n";
    ASSERT_EQ(write(client, frame.data(), frame.size()), static_cast<ssize_t>(frame.size()));
  }
  // The next line not yet taken, waiting at most until deadline; empty on time-out.
  std::size_t taken = 0;
  std::string Next(Clock::time_point deadline) {
    while (taken >= lines.size()) {
      auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      if (left.count() <= 0)
        return "";
      pollfd p{client, POLLIN, 0};
      if (poll(&p, 1, static_cast<int>(left.count())) != 1)
        return "";
      char chunk[4096];
      ssize_t got = read(client, chunk, sizeof chunk);
      if (got <= 0)
        return "";
      buffer.append(chunk, static_cast<std::size_t>(got));
      std::size_t end;
      while ((end = buffer.find('\n')) != std::string::npos) {
        lines.push_back(buffer.substr(0, end));
        buffer.erase(0, end + 1);
      }
    }
    return lines[taken++];
  }
  // Waits for a line equal to wanted; lines before it are passed over.
  bool Expect(const std::string& wanted, std::chrono::seconds wait = 20s) {
    auto deadline = Clock::now() + wait;
    for (std::string line = Next(deadline); !line.empty(); line = Next(deadline)) {
      if (line == wanted)
        return true;
    }
    return false;
  }
  bool Seen(const std::string& line) const {
    for (const std::string& l : lines) {
      if (l == line)
        return true;
    }
    return false;
  }
};

pid_t Start(const Program& program, const std::vector<std::string>& args, const fs::path& runtime,
            const std::string& logName) {
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e) {
    if (std::string(*e).rfind("XDG_RUNTIME_DIR=", 0) != 0)
      env.push_back(*e);
  }
  env.push_back("XDG_RUNTIME_DIR=" + runtime.string());
  std::vector<char*> envp;
  for (std::string& e : env)
    envp.push_back(e.data());
  envp.push_back(nullptr);
  std::string exe = (program.root / "Lumbrel.dll").string();
  std::vector<std::string> all = {exe};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& a : all)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  std::string log = (program.root / logName).string();
  posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t pid = -1;
  if (posix_spawn(&pid, exe.c_str(), &actions, nullptr, argv.data(), envp.data()) != 0)
    pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

bool Alive(pid_t pid) {
  return waitpid(pid, nullptr, WNOHANG) == 0;
}

class BrowserProgram : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::getenv("DISPLAY"))
      GTEST_SKIP() << "needs a display; ctest runs this under xvfb-run";
  }
};

} // namespace

// Start page: the handshake, the announcement of /h2, the address of the page,
// what it shows, a blocking mute, and the end on WM_QUIT.
TEST_F(BrowserProgram, StartPageHandshakeAndQuit) {
  Program program;
  FakePanel panel(program.runtime / "skerry" / "panel.sock");
  ASSERT_GE(panel.listener, 0);
  pid_t pid = Start(program, {program.Page("iStart.htm"), "/h2"}, program.runtime, "start.log");
  ASSERT_GT(pid, 0);
  ASSERT_TRUE(panel.Accept(20s));
  auto soon = Clock::now() + 10s;
  EXPECT_EQ(panel.Next(soon), "HELLO " + std::to_string(pid));
  panel.Send("HELLO 0");
  EXPECT_EQ(panel.Next(soon), "POST 1046 " + std::to_string(pid & 0xFFFF) + " 0");
  EXPECT_TRUE(panel.Expect("TEXT 2010 " + program.Page("iStart.htm")));

  fs::path shot = ShotPath("browser-start.png");
  unsigned seen = AwaitColour(shot, StartColour, 120, 300, 60, 20, 30s);
  EXPECT_TRUE(Near(seen, StartColour)) << Hex(seen);

  panel.Send("SEND 273 32805 0");
  EXPECT_TRUE(panel.Expect("RET 0", 10s));
  panel.Send("POST 18 0 0");
  int status = -1;
  EXPECT_TRUE(Ended(pid, 20s, &status));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  Stop(pid);
}

// A game from the game server plays in the Pane; back, forward, reload and the
// first page work by frames; a path out of the Game folder gets the refusal
// page; the Pane outlives the Panel.
TEST_F(BrowserProgram, GamesHistoryAndRefusals) {
  Program program;
  std::string game = fs::canonical(program.root / "Game" / "green game.swf").string();
  std::string served = "http://skerry.local/ombrel/TodayAD.asp?data1=";
  std::string escape = (program.root / "Game").string() + "/../secret.swf";
  std::ofstream(program.root / "Web" / "first.htm")
      << "<html><body style=\"margin:0\">"
         "<a href=\""
      << served << game
      << "\" style=\"display:block;height:198px;background:#AA3300\">play</a>"
         "<a href=\""
      << served << escape
      << "\" style=\"display:block;height:198px;background:#3300AA\">escape</a></body></html>";
  FakePanel panel(program.runtime / "skerry" / "panel.sock");
  ASSERT_GE(panel.listener, 0);
  pid_t pid = Start(program, {program.Page("first.htm"), "/h5"}, program.runtime, "game.log");
  ASSERT_GT(pid, 0);
  ASSERT_TRUE(panel.Accept(20s));
  EXPECT_TRUE(panel.Expect("HELLO " + std::to_string(pid), 10s));
  panel.Send("HELLO 0");
  EXPECT_TRUE(panel.Expect("POST 1049 " + std::to_string(pid & 0xFFFF) + " 0", 10s));
  std::string first = "TEXT 2010 " + program.Page("first.htm");
  EXPECT_TRUE(panel.Expect(first));

  fs::path shot = ShotPath("browser-game.png");
  unsigned seen = AwaitColour(shot, PlayColour, 100, 80, 100, 40, 30s);
  ASSERT_TRUE(Near(seen, PlayColour)) << Hex(seen);
  ASSERT_EQ(std::system("xdotool mousemove 150 100 click 1"), 0);
  EXPECT_TRUE(panel.Expect("TEXT 2010 " + game, 30s));
  seen = AwaitColour(shot, GameColour, 130, 170, 50, 50, 90s);
  EXPECT_TRUE(Near(seen, GameColour)) << "the game didn't play: " << Hex(seen);

  panel.Send("POST 273 32779 0"); // a reload asks the server again
  EXPECT_TRUE(panel.Expect("TEXT 2010 " + game));
  panel.Send("POST 273 32787 0");
  EXPECT_TRUE(panel.Expect(first));
  panel.Send("POST 273 32788 0");
  EXPECT_TRUE(panel.Expect("TEXT 2010 " + game));
  seen = AwaitColour(shot, GameColour, 130, 170, 50, 50, 30s);
  EXPECT_TRUE(Near(seen, GameColour)) << "the game didn't come back: " << Hex(seen);
  panel.Send("POST 273 32789 0");
  EXPECT_TRUE(panel.Expect(first));

  seen = AwaitColour(shot, EscapeColour, 100, 280, 100, 40, 30s);
  ASSERT_TRUE(Near(seen, EscapeColour)) << Hex(seen);
  ASSERT_EQ(std::system("xdotool mousemove 150 300 click 1"), 0);
  fs::path refused = program.root / "refused.png";
  seen = AwaitColour(refused, NotFoundColour, 20, 300, 100, 40, 30s);
  EXPECT_TRUE(Near(seen, NotFoundColour)) << Hex(seen);
  panel.Expect("never", 2s); // collect what came meanwhile
  std::string secret = fs::canonical(program.root / "secret.swf").string();
  EXPECT_FALSE(panel.Seen("TEXT 2010 " + secret));

  panel.Send("SEND 274 61488 0");
  EXPECT_TRUE(panel.Expect("RET 0", 10s));
  panel.Send("SEND 274 61472 0");
  EXPECT_TRUE(panel.Expect("RET 0", 10s));

  if (HasFailure()) {
    for (const std::string& line : panel.lines)
      std::printf("received: %s\n", line.c_str());
  }
  panel.Close(); // the Panel ends; its Panes are left alone
  std::this_thread::sleep_for(3s);
  EXPECT_TRUE(Alive(pid));
  Stop(pid);
}

// Bad input: an address of 600 characters, a missing page, no Panel at all.
TEST_F(BrowserProgram, BadInputNeitherCrashesNorHangs) {
  Program program;
  {
    FakePanel panel(program.runtime / "skerry" / "panel.sock");
    std::string address = "http://skerry.local/" + std::string(580, 'a');
    pid_t pid = Start(program, {"/U=" + address, "/h4"}, program.runtime, "long.log");
    ASSERT_TRUE(panel.Accept(20s));
    EXPECT_TRUE(panel.Expect("HELLO " + std::to_string(pid), 10s));
    panel.Send("HELLO 0");
    EXPECT_TRUE(panel.Expect("POST 1048 " + std::to_string(pid & 0xFFFF) + " 0", 10s));
    EXPECT_TRUE(panel.Expect("TEXT 2010 " + address.substr(0, 511)));
    panel.Send("POST 18 0 0");
    EXPECT_TRUE(Ended(pid, 20s));
    Stop(pid);
  }
  {
    fs::remove(program.runtime / "skerry" / "panel.sock");
    FakePanel panel(program.runtime / "skerry" / "panel.sock");
    std::string missing = (program.root / "Web" / "none at all.htm").string();
    pid_t pid = Start(program, {missing, "/h0"}, program.runtime, "missing.log");
    ASSERT_TRUE(panel.Accept(20s));
    EXPECT_TRUE(panel.Expect("HELLO " + std::to_string(pid), 10s));
    panel.Send("HELLO 0");
    EXPECT_TRUE(panel.Expect("POST 1044 " + std::to_string(pid & 0xFFFF) + " 0", 10s));
    EXPECT_TRUE(panel.Expect("TEXT 2010 " + missing));
    panel.Send("POST 18 0 0");
    EXPECT_TRUE(Ended(pid, 20s));
    Stop(pid);
  }
  {
    // No Panel: a plain window showing the clock page.
    fs::path nowhere = program.root / "nowhere";
    fs::create_directories(nowhere);
    pid_t pid = Start(program, {program.Page("iClock.htm"), "/h0"}, nowhere, "alone.log");
    fs::path shot = ShotPath("browser-clock.png");
    unsigned seen = AwaitColour(shot, ClockColour, 20, 20, 40, 40, 40s);
    EXPECT_TRUE(Near(seen, ClockColour)) << Hex(seen);
    EXPECT_TRUE(Alive(pid));
    Stop(pid);
  }
}

// The image player (/h1) over a folder: the pictures in name order, next and
// previous by frames, each one's path in AddressControl.
TEST_F(BrowserProgram, ImagePlayerStepsThroughAFolder) {
  Program program;
  fs::path pictures = program.root / "pictures";
  fs::create_directories(pictures);
  ASSERT_EQ(
      std::system(("convert -size 64x64 xc:'#C01010' '" + (pictures / "a.png").string() +
                   "' && convert -size 64x64 xc:'#1010C0' '" + (pictures / "b.png").string() + "'")
                      .c_str()),
      0);
  std::ofstream(pictures / "notes.txt") << "not a picture";
  FakePanel panel(program.runtime / "skerry" / "panel.sock");
  pid_t pid = Start(program, {pictures.string(), "/h1"}, program.runtime, "player.log");
  ASSERT_TRUE(panel.Accept(20s));
  EXPECT_TRUE(panel.Expect("HELLO " + std::to_string(pid), 10s));
  panel.Send("HELLO 0");
  EXPECT_TRUE(panel.Expect("POST 1045 " + std::to_string(pid & 0xFFFF) + " 0", 10s));
  std::string a = "TEXT 2010 " + (pictures / "a.png").string();
  std::string b = "TEXT 2010 " + (pictures / "b.png").string();
  EXPECT_TRUE(panel.Expect(a, 30s));
  panel.Send("POST 273 32777 0"); // pause, so that only the frames below turn pictures
  fs::path shot = program.root / "player.png";
  unsigned seen = AwaitColour(shot, 0xC01010, 140, 180, 30, 30, 20s);
  EXPECT_TRUE(Near(seen, 0xC01010)) << Hex(seen);
  panel.Send("POST 273 57680 0");
  EXPECT_TRUE(panel.Expect(b));
  seen = AwaitColour(shot, 0x1010C0, 140, 180, 30, 30, 20s);
  EXPECT_TRUE(Near(seen, 0x1010C0)) << Hex(seen);
  panel.Send("POST 273 57681 0");
  EXPECT_TRUE(panel.Expect(a));
  panel.Send("POST 273 57681 0"); // before the first comes the last
  EXPECT_TRUE(panel.Expect(b));
  panel.Send("POST 18 0 0");
  EXPECT_TRUE(Ended(pid, 20s));
  Stop(pid);
}

// A player page beside a video (".htw") shows as a page, and what it links
// relatively beside it (here a picture) is found.
TEST_F(BrowserProgram, PlayerPagesShowAsPages) {
  Program program;
  fs::path video = program.root / "Video" / "sub dir";
  fs::create_directories(video);
  ASSERT_EQ(
      std::system(
          ("convert -size 200x100 xc:'#33AA77' '" + (video / "clip.png").string() + "'").c_str()),
      0);
  fs::path page = video / "clip.flv.htw";
  std::ofstream(page) << "<html><body style=\"margin:0;background:#102030\">"
                         "<img src=\"clip.png\" width=\"310\" height=\"200\"></body></html>";
  FakePanel panel(program.runtime / "skerry" / "panel.sock");
  pid_t pid = Start(program, {page.string(), "/h8"}, program.runtime, "htw.log");
  ASSERT_TRUE(panel.Accept(20s));
  EXPECT_TRUE(panel.Expect("HELLO " + std::to_string(pid), 10s));
  panel.Send("HELLO 0");
  EXPECT_TRUE(panel.Expect("POST 1052 " + std::to_string(pid & 0xFFFF) + " 0", 10s));
  EXPECT_TRUE(panel.Expect("TEXT 2010 " + page.string()));
  fs::path shot = program.root / "htw.png";
  unsigned seen = AwaitColour(shot, 0x33AA77, 100, 50, 100, 80, 30s);
  EXPECT_TRUE(Near(seen, 0x33AA77)) << Hex(seen);
  seen = MeanColour(shot, 100, 300, 100, 50);
  EXPECT_TRUE(Near(seen, 0x102030)) << "not shown as a page: " << Hex(seen);
  panel.Send("POST 18 0 0");
  EXPECT_TRUE(Ended(pid, 20s));
  Stop(pid);
}

// A local page tries to read a file outside its folders (by request, by a
// frame) and to reach a host that isn't the game server (by request, by an
// image, by leaving for it); the same page can read a file beside it and ask
// the game server. The page paints its verdict; the test's own listener
// tells whether anything reached it.
TEST_F(BrowserProgram, LocalPagesReachOnlyTheirFoldersAndTheGameServer) {
  Program program;
  int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listener, 16), 0);
  ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
  std::string other = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  std::string game = fs::canonical(program.root / "Game" / "green game.swf").string();
  std::ofstream(program.root / "Web" / "beside.txt") << "beside";
  std::ofstream(program.root / "Web" / "probe.htm")
      << "<html><body style=\"margin:0;background:#808080\"><script>\n"
         "var got = {};\n"
         "function get(name, url) {\n"
         "  if (url.indexOf('http') == 0) {\n"
         "    fetch(url, {mode: 'no-cors'}).then(function() { got[name] = 'reached'; done(); },\n"
         "        function() { got[name] = 'refused'; done(); });\n"
         "    return;\n"
         "  }\n"
         "  var x = new XMLHttpRequest();\n"
         "  x.onload = function() { got[name] = x.status + ':' + x.responseText; done(); };\n"
         "  x.onerror = function() { got[name] = 'refused'; done(); };\n"
         "  try { x.open('GET', url); x.send(); } catch (e) { got[name] = 'refused'; done(); }\n"
         "}\n"
         "function done() {\n"
         "  if (Object.keys(got).length < 5) return;\n"
         "  var f = document.getElementById('f'), read = '';\n"
         "  try { read = f.contentDocument.body.innerText; } catch (e) {}\n"
         "  var fine = got.beside == '0:beside' || got.beside == '200:beside';\n"
         "  fine = fine && got.game == 'reached';\n"
         "  var leaked = got.hostname != 'refused' || got.other != 'refused' ||\n"
         "               got.otherfile != 'refused' || read != '';\n"
         "  document.body.style.background = leaked ? '#CC2222' : fine ? '#22AA44' : '#2244CC';\n"
         "  console.log(JSON.stringify(got) + ' frame:' + read);\n"
         "  setTimeout(function() { location.href = '"
      << other
      << "/leave'; }, 8000);\n"
         "}\n"
         "get('beside', 'beside.txt');\n"
         "get('game', 'http://skerry.local/ombrel/TodayAD.asp?data1="
      << game
      << "');\n"
         "get('hostname', 'file:///etc/hostname');\n"
         "get('otherfile', 'file://"
      << (program.root / "secret.swf").string()
      << "');\n"
         "get('other', '"
      << other
      << "/xhr');\n"
         "new Image().src = '"
      << other
      << "/img';\n"
         "</script><iframe id=\"f\" src=\"file:///etc/hostname\" onload=\"setTimeout(done, 500)\">"
         "</iframe></body></html>";
  FakePanel panel(program.runtime / "skerry" / "panel.sock");
  pid_t pid = Start(program, {program.Page("probe.htm"), "/h5"}, program.runtime, "probe.log");
  ASSERT_TRUE(panel.Accept(20s));
  EXPECT_TRUE(panel.Expect("HELLO " + std::to_string(pid), 10s));
  panel.Send("HELLO 0");
  fs::path shot = program.root / "probe.png";
  unsigned seen = AwaitColour(shot, 0x22AA44, 250, 300, 40, 40, 40s);
  EXPECT_TRUE(Near(seen, 0x22AA44)) << Hex(seen);
  // Leaving for the other host (8 s after the verdict) is refused too.
  std::this_thread::sleep_for(12s);
  pollfd p{listener, POLLIN, 0};
  EXPECT_EQ(poll(&p, 1, 0), 0) << "a local page reached " << other;
  panel.Send("POST 18 0 0");
  EXPECT_TRUE(Ended(pid, 20s));
  Stop(pid);
  close(listener);
}

// A game and a video whose names hold markup characters, a folder and a file
// spelling "</script>" between them: the menus the library writes list them,
// the game plays from its icon, the video's player page opens from its icon.
TEST_F(BrowserProgram, HostileNamesListAndPlay) {
  Program program;
  fs::remove(program.root / "Game" / "green game.swf");
  fs::path game = program.root / "Game" / "x\"><b onclick 'y'><script>document.body.remove()<" /
                  "script> & 'q' #1?%41.swf";
  fs::create_directories(game.parent_path());
  std::ofstream(game, std::ios::binary) << TinySwf(310, 396, GameColour);
  fs::create_directories(program.root / "Video");
  fs::path video = program.root / "Video" / "v\"<b>&'#?.mpg";
  ASSERT_EQ(std::system(("ffmpeg -loglevel error -f lavfi -i color=c=0x2060C0:s=160x120:d=3:r=25 "
                         "-c:v mpeg1video -y '" +
                         (program.root / "Video" / "clip.mpg").string() + "'")
                            .c_str()),
            0);
  fs::rename(program.root / "Video" / "clip.mpg", video);
  fs::create_directories(program.root / "system");
  std::ofstream(program.root / "system" / "drives.ini") << "[Drives]\nC=/\n";
  setenv("SKERRY_SYSTEM_DIR", (program.root / "system").c_str(), 1);
  SetModulePathForTests((program.root / "skerry").string());
  std::string web = (program.root / "Web").string();
  EXPECT_EQ(RebuildGameMenu((web + "/Menu1.htm").c_str(), (program.root / "Game").c_str(),
                            "*.swf,*.htm,*.html"),
            1);
  EXPECT_EQ(RebuildMediaMenu((web + "/MenuVideo.htm").c_str(), (program.root / "Video").c_str(),
                             "*.flv,*.mpg"),
            1);
  SetModulePathForTests("");
  unsetenv("SKERRY_SYSTEM_DIR");

  struct Road {
    const char* page;
    const char* slot;
    unsigned colour; // of the main area once the icon was clicked
  } roads[] = {{"Index.htm", "/h2", GameColour}, {"iVideo.htm", "/h8", 0x2060C0}};
  for (const Road& road : roads) {
    SCOPED_TRACE(road.page);
    fs::remove(program.runtime / "skerry" / "panel.sock");
    FakePanel panel(program.runtime / "skerry" / "panel.sock");
    pid_t pid =
        Start(program, {program.Page(road.page), road.slot}, program.runtime, "hostile.log");
    ASSERT_TRUE(panel.Accept(20s));
    EXPECT_TRUE(panel.Expect("HELLO " + std::to_string(pid), 10s));
    panel.Send("HELLO 0");
    fs::path shot = program.root / "hostile.png";
    unsigned seen = AwaitColour(shot, 0x906F0F, 5, 6, 12, 12, 20s); // the first icon
    ASSERT_FALSE(Near(seen, 0x000000)) << "no icon: " << Hex(seen);
    ASSERT_EQ(std::system("xdotool mousemove 11 12 click 1"), 0);
    if (road.colour == GameColour) {
      EXPECT_TRUE(panel.Expect("TEXT 2010 " + fs::canonical(game).string(), 30s));
    }
    seen = AwaitColour(shot, road.colour, 100, 150, 100, 50, 60s);
    EXPECT_TRUE(Near(seen, road.colour)) << Hex(seen);
    panel.Send("POST 18 0 0");
    EXPECT_TRUE(Ended(pid, 20s));
    Stop(pid);
  }
}

// A game of 1 GiB asked of the game server (here by a page's image) goes out
// in pieces: the program's memory never holds it.
TEST_F(BrowserProgram, BigGamesAreSentInPieces) {
  Program program;
  fs::path big = program.root / "Game" / "big.htm";
  { std::ofstream(big) << "<html>"; }
  fs::resize_file(big, 1ull << 30);
  std::ofstream(program.root / "Web" / "big.htm")
      << "<html><body><img src=\"http://skerry.local/ombrel/TodayAD.asp?data1="
      << fs::canonical(big).string() << "\"></body></html>";
  FakePanel panel(program.runtime / "skerry" / "panel.sock");
  pid_t pid = Start(program, {program.Page("big.htm"), "/h5"}, program.runtime, "big.log");
  ASSERT_TRUE(panel.Accept(20s));
  EXPECT_TRUE(panel.Expect("HELLO " + std::to_string(pid), 10s));
  panel.Send("HELLO 0");
  EXPECT_TRUE(panel.Expect("TEXT 2010 " + fs::canonical(big).string(), 30s));
  std::this_thread::sleep_for(10s);
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  long peakKb = -1;
  for (std::string line; std::getline(status, line);)
    if (line.rfind("VmHWM:", 0) == 0)
      peakKb = std::stol(line.substr(6));
  EXPECT_GT(peakKb, 0);
  EXPECT_LT(peakKb, 600L * 1024) << "peak memory " << peakKb << " kB";
  panel.Send("POST 18 0 0");
  EXPECT_TRUE(Ended(pid, 20s));
  Stop(pid);
}
