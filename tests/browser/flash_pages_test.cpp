// Flash on a page of the open web in a real Pane: the browser program shows a
// page of a loopback server that embeds a Flash file; the emulator plays it
// (a screenshot finds the game's colour), the file's copy lands in the
// browser cache, and the cache harvest offers it a moment later. Runs on a
// virtual display (ctest starts it under xvfb-run).
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "games/cache_harvest.h"
#include "platform/files.h"
#include "platform/headless/headless.h"
#include "shell/module_path.h"
#include "swf_file.h"
#include "tests/web/script_server.h"
#include "x11_shots.h"

extern char** environ;

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

constexpr unsigned GameColour = 0x3366CC;

// TinySwf with an unknown tag of padding bytes before its End tag, so that the
// file is large enough for the harvest's first passes; players skip the tag.
std::string PaddedSwf(unsigned padding) {
  std::string swf = TinySwf(310, 396, GameColour);
  std::string tag;
  unsigned header = (1000u << 6) | 0x3F;
  tag += static_cast<char>(header & 0xFF);
  tag += static_cast<char>(header >> 8);
  for (int i = 0; i < 4; ++i)
    tag += static_cast<char>((padding >> (8 * i)) & 0xFF);
  tag += std::string(padding, '\x5A');
  swf.insert(swf.size() - 2, tag);
  std::uint32_t length = static_cast<std::uint32_t>(swf.size());
  for (int i = 0; i < 4; ++i)
    swf[4 + i] = static_cast<char>((length >> (8 * i)) & 0xFF);
  return swf;
}

pid_t StartPane(const fs::path& root, const std::string& address) {
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e) {
    std::string v = *e;
    if (v.rfind("XDG_RUNTIME_DIR=", 0) != 0 && v.rfind("XDG_CACHE_HOME=", 0) != 0 &&
        v.rfind("SKERRY_SYSTEM_DIR=", 0) != 0)
      env.push_back(v);
  }
  env.push_back("XDG_RUNTIME_DIR=" + (root / "run").string());
  env.push_back("XDG_CACHE_HOME=" + (root / "cache").string());
  env.push_back("SKERRY_SYSTEM_DIR=" + (root / "system").string());
  std::vector<char*> envp;
  for (std::string& e : env)
    envp.push_back(e.data());
  envp.push_back(nullptr);
  std::string exe = (root / "Lumbrel.dll").string();
  std::vector<std::string> args = {exe, "/U=" + address, "/h5"};
  std::vector<char*> argv;
  for (std::string& a : args)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  std::string log = (root / "pane.log").string();
  posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t pid = -1;
  if (posix_spawn(&pid, exe.c_str(), &actions, nullptr, argv.data(), envp.data()) != 0)
    pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

// The first file below folder whose content is bytes, waiting up to wait.
std::string AwaitCopy(const fs::path& folder, const std::string& bytes, std::chrono::seconds wait) {
  auto end = std::chrono::steady_clock::now() + wait;
  while (std::chrono::steady_clock::now() < end) {
    std::error_code error;
    for (fs::recursive_directory_iterator it(folder, error), last; !error && it != last;
         it.increment(error)) {
      std::string content;
      if (it->is_regular_file() && ReadWholeFile(it->path().string(), content, 1 << 24) &&
          content == bytes)
        return it->path().string();
    }
    std::this_thread::sleep_for(200ms);
  }
  return std::string();
}

} // namespace

TEST(FlashPages, AGamePlayedOnAnyPageIsPlayedCachedAndHarvested) {
  if (!std::getenv("DISPLAY"))
    GTEST_SKIP() << "needs a display; ctest runs this under xvfb-run";
  char name[] = "/tmp/skerry-flash-XXXXXX";
  fs::path root = mkdtemp(name);
  fs::create_directories(root / "run");
  fs::permissions(root / "run", fs::perms::owner_all);
  fs::copy_file(LUMBREL_PATH, root / "Lumbrel.dll");
  const std::string game = PaddedSwf(600 * 1024);

  ScriptServer server;
  StartServer(server, [&game](const std::string& request) {
    if (request.rfind("GET /arcade/green%20game.swf", 0) == 0)
      return ServerReply{{{"HTTP/1.1 200 OK\r\nContent-Type: application/x-shockwave-flash\r\n"
                           "Content-Length: " +
                           std::to_string(game.size()) + "\r\n\r\n" + game}}};
    if (request.rfind("GET /arcade/play.htm", 0) == 0)
      return PlainReply("<html><body style=\"margin:0;background:#000\">"
                        "<embed src=\"green%20game.swf\" width=\"310\" height=\"396\">"
                        "</body></html>");
    return PlainReply("missing", "404 Not Found");
  });
  std::string page = "http://127.0.0.1:" + std::to_string(server.port) + "/arcade/play.htm";
  pid_t pid = StartPane(root, page);
  ASSERT_GT(pid, 0);

  fs::path shot = ShotPath("flash-on-any-page.png");
  unsigned seen = AwaitColour(shot, GameColour, 100, 150, 100, 100, 90s);
  EXPECT_TRUE(Near(seen, GameColour)) << "the embedded game doesn't play: " << Hex(seen);
  fs::path cache = root / "cache" / "skerry" / "Cache";
  std::string copy = AwaitCopy(cache, game, 30s);
  ASSERT_FALSE(copy.empty()) << "no copy of the game in " << cache;
  EXPECT_EQ(fs::path(copy).filename(), "green%20game[1].swf");
  EXPECT_EQ(fs::path(copy).parent_path().parent_path(), cache);
  Stop(pid);
  StopServer(server);

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
  if (!std::getenv("SKERRY_KEEP_TEST_FILES"))
    fs::remove_all(root);
}
