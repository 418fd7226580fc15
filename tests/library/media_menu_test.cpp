// The media menu and the player pages over real folders.
#include "library_fixture.h"

#include "library/media_index.h"
#include "library/player_pages.h"

namespace {

// A golden player page with its name (@N@), way up to the player (@U@) and
// path inside the Video folder (@I@) filled in.
std::string Golden(const char* kind, const std::string& name, const std::string& up = "",
                   const std::string& inside = "") {
  std::string text = ReadWhole(std::string(SKERRY_TEST_DATA) + "/player_" + kind + ".htm");
  Replace(text, "@N@", name);
  Replace(text, "@U@", up);
  Replace(text, "@I@", inside);
  return text;
}

class MediaMenuTest : public LibraryFolder {};

TEST_F(MediaMenuTest, SubfolderCellsLinkToTheirPlayerPages) {
  for (const char* f : {"a.flv", "sub/b.mp4", "sub/deep/c.MP4", "notes.txt"})
    AddFile(std::string("Video/") + f);
  const char* const patterns = "*.flv,*.mpg,*.wmv,*.avi,*.mov,*.mp4,*.rm,*.rmvb";
  ASSERT_EQ(RebuildMedia(patterns), 1);
  std::string page = ReadWhole(MediaMenu());
  EXPECT_EQ(ReadWhole(program + "/Video/sub/deep/c.MP4.htw"),
            Golden("flash", "", "../../", "sub/deep/c.MP4"));
  EXPECT_EQ(Alts(page), (std::vector<std::string>{"a.flv", "sub/b.mp4", "sub/deep/c.MP4"}));
  EXPECT_FALSE(fs::exists(program + "/Video/notes.txt.htw"));
  EXPECT_EQ(IniReadString(MediaIndex().c_str(), "Status", "Files"), "3");
}

TEST_F(MediaMenuTest, PlayerPagePerExtensionWithAndWithoutTheRegistryKey) {
  // Kinds with and without the key: Object, Embed, Flash or none (-).
  const std::pair<const char*, const char*> rows[] = {
      {"a.mp3", "OE"},  {"a.wav", "OE"}, {"a.wma", "OE"}, {"a.mpg", "OE"}, {"a.avi", "OE"},
      {"a.WMV", "OE"},  {"a.flv", "FF"}, {"a.Mp4", "FF"}, {"a.mov", "EE"}, {"a.rm", "EE"},
      {"a.RMVB", "EE"}, {"a.ogg", "--"}, {"a.rmv", "--"}, {"mp3", "--"}};
  fs::create_directories(program + "/Video/sub");
  for (int registered : {1, 0}) {
    WriteWhole(system + "/registry.ini",
               registered ? "[HKEY_CLASSES_ROOT\\CLSID\\{6BF52A52-394A-11d3-B153-00C04F79FAA6}]\n"
                            "@=player\n"
                          : "");
    for (const auto& [name, kinds] : rows) {
      SCOPED_TRACE(std::string(name) + (registered ? " registered" : " not registered"));
      std::string page = program + "/Video/sub/" + name + ".htw";
      unlink(page.c_str());
      char kind = kinds[1 - registered];
      EXPECT_EQ(WritePlayerPage(page.c_str(), (std::string("sub/") + name).c_str(), name),
                kind == '-' ? 0 : 1);
      EXPECT_EQ(ReadWhole(page), kind == 'O'   ? Golden("object", name)
                                 : kind == 'E' ? Golden("embed", name)
                                 : kind == 'F'
                                     ? Golden("flash", "", "../", std::string("sub/") + name)
                                     : "");
    }
  }
  // A page that would pass 1,023 bytes isn't written; the deepest path the
  // menu lets through still fits.
  std::string deep, up, page = program + "/Video/x.htw";
  for (int i = 0; i < 127; ++i)
    deep += "a/", up += "../";
  EXPECT_EQ(WritePlayerPage(page.c_str(), (deep + deep + "x.flv").c_str(), "x.flv"), 0);
  EXPECT_FALSE(fs::exists(page));
  EXPECT_EQ(WritePlayerPage(page.c_str(), (deep + "x.flv").c_str(), "x.flv"), 1);
  EXPECT_EQ(ReadWhole(page), Golden("flash", "", up, deep + "x.flv"));
}

} // namespace
