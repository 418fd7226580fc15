// The real browser program plays videos of the media menu: a .flv of the old
// site's codecs and an .mp4 of today's, each opened through its player page
// with no Panel around (the Pane stands at 0,0 of the virtual display). The
// clip's colour turns all the time, so a later screenshot whose picture
// differs from the first shows that the player's time advances. Screenshots
// are kept in screenshots/ at the top of the source tree.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "x11_shots.h"

extern char** environ;

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

// The picture's box inside the Pane: below the name, inside the player.
constexpr int BoxX = 110, BoxY = 160, BoxW = 90, BoxH = 60;

bool MakeClip(const fs::path& path, const std::string& codecs) {
  std::string cmd = "ffmpeg -nostdin -loglevel error -y -f lavfi -i "
                    "'color=c=red:size=160x120:rate=25,hue=H=2*PI*t/4' -f lavfi -i "
                    "sine=frequency=440 -t 20 " +
                    codecs + " '" + path.string() + "'";
  return std::system(cmd.c_str()) == 0;
}

pid_t Launch(const fs::path& exe, const fs::path& page, const fs::path& runtime,
             const fs::path& log) {
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e)
    if (std::string(*e).rfind("XDG_RUNTIME_DIR=", 0) != 0)
      env.push_back(*e);
  env.push_back("XDG_RUNTIME_DIR=" + runtime.string()); // no Panel there
  std::vector<char*> envp;
  for (std::string& e : env)
    envp.push_back(e.data());
  envp.push_back(nullptr);
  std::string a0 = exe.string(), a1 = page.string(), a2 = "/h8";
  char* argv[] = {a0.data(), a1.data(), a2.data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  pid_t pid = 0;
  if (posix_spawn(&pid, exe.c_str(), &actions, nullptr, argv, envp.data()) != 0)
    pid = 0;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

// The clip's colours are all fully saturated; the page, the player's
// controls and its spinner are shades of grey.
bool Picture(unsigned c) {
  if (c == ~0u)
    return false;
  int r = (c >> 16) & 255, g = (c >> 8) & 255, b = c & 255;
  return std::max({r, g, b}) - std::min({r, g, b}) > 100;
}

TEST(VideoPlayerProgram, FlvAndMp4PlayInTheirPlayerPages) {
  char name[] = "/tmp/skerry-player-XXXXXX";
  fs::path root = mkdtemp(name);
  fs::path runtime = root / "run";
  fs::create_directories(runtime);
  fs::permissions(runtime, fs::perms::owner_all);
  fs::copy_file(LUMBREL_PATH, root / "Lumbrel.dll");
  fs::create_directories(root / "Video" / "sub");
  struct Row {
    const char* file;
    const char* codecs;
    const char* shot;
  } rows[] = {
      {"Video/old clip.flv", "-c:v flv1 -c:a mp3 -ar 22050", "video_player_flv.png"},
      {"Video/sub/new clip.mp4", "-c:v libx264 -pix_fmt yuv420p -c:a aac", "video_player_mp4.png"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.file);
    fs::path media = root / row.file;
    ASSERT_TRUE(MakeClip(media, row.codecs));
    // The page as the media menu writes it; the program plays the file beside it.
    std::ofstream(media.string() + ".htw") << "<object type=\"application/x-shockwave-flash\">";
    pid_t pid = Launch(root / "Lumbrel.dll", media.string() + ".htw", runtime, root / "log.txt");
    ASSERT_GT(pid, 0);
    fs::path first = ShotPath(row.shot);
    unsigned before = ~0u;
    for (auto end = std::chrono::steady_clock::now() + 90s; std::chrono::steady_clock::now() < end;
         std::this_thread::sleep_for(500ms)) {
      if (Screenshot(first) && Picture(before = MeanColour(first, BoxX, BoxY, BoxW, BoxH)))
        break;
    }
    EXPECT_TRUE(Picture(before)) << "no picture: " << Hex(before);
    // A loaded machine may play slower than real time: the picture must
    // change within a while, not within a fixed moment.
    fs::path second = ShotPath(std::string("later_") + row.shot);
    unsigned after = before;
    for (auto end = std::chrono::steady_clock::now() + 30s;
         std::chrono::steady_clock::now() < end && Near(before, after);) {
      std::this_thread::sleep_for(1000ms);
      ASSERT_TRUE(Screenshot(second));
      after = MeanColour(second, BoxX, BoxY, BoxW, BoxH);
    }
    EXPECT_TRUE(Picture(after)) << Hex(after);
    EXPECT_FALSE(Near(before, after)) << Hex(before) << " then " << Hex(after);
    Stop(pid);
  }
  if (!std::getenv("SKERRY_KEEP_TEST_FILES"))
    fs::remove_all(root);
}

} // namespace
