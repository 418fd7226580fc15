// The real browser program plays videos of the media menu: a .flv of the old
// site's codecs and an .mp4 of today's, each opened through the player page
// that the media menu writes beside it, with no Panel around (the Pane stands
// at 0,0 of the virtual display). The clip's colour turns all the time, so a
// picture that changes shows that the player's time advances. Screenshots
// are kept in screenshots/ at the top of the source tree.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "library/player_pages.h"
#include "x11_shots.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

// The picture's box inside the Pane: below the name, inside the player.
constexpr int BoxX = 110, BoxY = 160, BoxW = 90, BoxH = 60;

bool MakeClip(const fs::path& path, const std::string& codecs) {
  std::string cmd = "ffmpeg -nostdin -loglevel error -y -f lavfi -i "
                    "'color=c=red:size=160x120:rate=25,hue=H=2*PI*t/20' -f lavfi -i "
                    "sine=frequency=440 -t 20 " +
                    codecs + " '" + path.string() + "'";
  return std::system(cmd.c_str()) == 0;
}

// The clip's colours are all fully saturated; the page, the player's
// controls and its spinner are shades of grey.
bool Picture(unsigned c) {
  if (c == ~0u)
    return false;
  int r = (c >> 16) & 255, g = (c >> 8) & 255, b = c & 255;
  return std::max({r, g, b}) - std::min({r, g, b}) > 100;
}

// Colours a good way apart: the hue has turned by some tens of degrees.
bool Far(unsigned a, unsigned b) {
  for (int shift : {16, 8, 0})
    if (std::abs(int((a >> shift) & 255) - int((b >> shift) & 255)) > 60)
      return true;
  return false;
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
    const char* folderPath; // inside the indexed folder Video
    const char* file;
    const char* codecs;
    const char* shot;
  } rows[] = {
      {"old clip.flv", "old clip.flv", "-c:v flv1 -c:a mp3 -ar 22050", "video_player_flv.png"},
      {"sub/new clip.mp4", "new clip.mp4", "-c:v libx264 -pix_fmt yuv420p -c:a aac",
       "video_player_mp4.png"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.file);
    fs::path media = root / "Video" / row.folderPath;
    ASSERT_TRUE(MakeClip(media, row.codecs));
    std::string page = media.string() + ".htw";
    ASSERT_EQ(WritePlayerPage(page.c_str(), row.folderPath, row.file), 1);
    pid_t pid = Spawn((root / "Lumbrel.dll").string(), {page, "/h8"},
                      {"XDG_RUNTIME_DIR=" + runtime.string()}, (root / "log.txt").string());
    ASSERT_GT(pid, 0);
    // Generous, but each wait ends as soon as its condition holds: a loaded
    // machine may take long to start the engine and the stream.
    unsigned first = AwaitScreen(BoxX, BoxY, BoxW, BoxH, 180s, Picture);
    EXPECT_TRUE(Picture(first)) << "no picture: " << Hex(first);
    KeepShot(row.shot);
    unsigned later = AwaitScreen(BoxX, BoxY, BoxW, BoxH, 90s,
                                 [&](unsigned c) { return Picture(c) && Far(c, first); });
    EXPECT_TRUE(Picture(later) && Far(first, later))
        << "the picture stood still: " << Hex(first) << " then " << Hex(later);
    KeepShot(std::string("later_") + row.shot);
    Stop(pid);
  }
  if (!std::getenv("SKERRY_KEEP_TEST_FILES"))
    fs::remove_all(root);
}

} // namespace
