// The media menu and the player pages over real folders: subfolder cells and
// links, navigation naming the menu's own file, the page chosen per
// extension with and without the registry key, the removable-only gate, the
// plug-in.
#include "library_fixture.h"

#include "library/media_index.h"
#include "library/menus.h"
#include "library/player_pages.h"
#include "platform/ini.h"

namespace {

const char* const Patterns = "*.flv,*.mpg,*.wmv,*.avi,*.mov,*.mp4,*.rm,*.rmvb";

// The three page templates, typed here from their description.
std::string ObjectPage(const std::string& name) {
  return "<BODY bgcolor=\"#000000\" >\n<b><font color=\"#FFFF00\"> " + name +
         " </font></b>\n<OBJECT id=\"MediaPlayer1\" name=\"MediaPlayer1\" "
         "CLASSID=\"CLSID:6BF52A52-394A-11d3-B153-00C04F79FAA6\" width=\"100%\" "
         "height=\"100%\">\n<PARAM Name=\"AutoStart\"\tValue=\"True\">\n<PARAM "
         "Name=\"PlayCount\"\tValue=\"999\">\n<PARAM Name=\"URL\"\tValue=\"" +
         name +
         "\">\n<EMBED type=\"application/x-mplayer2\" "
         "pluginspage=\"http://www.microsoft.com/Windows/MediaPlayer/\" "
         "enablepositioncontrols=\"1\" animationatStart=\"1\" loop=\"2\" ></EMBED>\n</OBJECT>\n";
}

std::string EmbedPage(const std::string& name) {
  return "<BODY bgcolor=\"#000000\" >\n<b><font color=\"#FFFF00\"> " + name +
         "</font></b>\n<EMBED\n   SRC=\"" + name +
         "\"\n   HEIGHT=\"100%\" WIDTH=\"100%\" LOOP=\"TRUE\" AUTOSTART=\"TRUE\" "
         "PLAYCOUNT=\"999\" CONTROLS=\"CONSOLE\">\n</EMBED>\n";
}

std::string FlashPage(const std::string& up, const std::string& inside) {
  return "<html><head>\n<meta http-equiv=\"Content-Type\" content=\"text/html;\" />\n"
         "<title>Tessel Flv Player</title>\n</head>\n<body><div align=\"center\">\n<object "
         "type=\"application/x-shockwave-flash\" width=\"100%\" height=\"100%\" >\n<param "
         "name=\"movie\" value=\"" +
         up + "flvplay.swf?video=" + inside +
         "&startvolume=50&autoplay=true\" />\n<param name=\"allowfullscreen\" "
         "value=\"true\"/>\n</object>\n</div></body></html>\n";
}

class MediaMenuTest : public LibraryFolder {
 protected:
  int Rebuild(const char* patterns = Patterns) {
    return RebuildMediaMenu(MediaMenu().c_str(), (program + "/Video").c_str(), patterns);
  }
  void SetPlayerRegistered(bool on) {
    WriteText(system + "/registry.ini",
              on ? "[HKEY_CLASSES_ROOT\\CLSID\\{6BF52A52-394A-11d3-B153-00C04F79FAA6}]\n@=player\n"
                 : "");
  }
};

TEST_F(MediaMenuTest, SubfolderCellsLinkToTheirPlayerPages) {
  AddFile("Video/a.flv");
  AddFile("Video/sub/b.mp4");
  AddFile("Video/sub/deep/c.MP4");
  AddFile("Video/notes.txt");
  ASSERT_EQ(Rebuild(), 1);
  std::string page = ReadText(MediaMenu());
  struct Row {
    const char* rel;    // below the program folder
    const char* alt;    // inside the Video folder
    const char* way_up; // from the page to flvplay.swf's folder
  } rows[] = {{"Video/a.flv", "a.flv", ""},
              {"Video/sub/b.mp4", "sub/b.mp4", "../"},
              {"Video/sub/deep/c.MP4", "sub/deep/c.MP4", "../../"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.rel);
    std::string rel = row.rel;
    EXPECT_NE(page.find("\t<td><a href=\"../" + rel +
                        ".htw\" target=\"main\">\n<img src=\"icon/"
                        "yellow"),
              std::string::npos);
    EXPECT_NE(page.find("alt=\"" + std::string(row.alt) + "\""), std::string::npos);
    EXPECT_EQ(ReadText(program + "/" + rel + ".htw"), FlashPage(row.way_up, row.alt));
  }
  EXPECT_EQ(page.find("notes"), std::string::npos);
  EXPECT_FALSE(Exists(program + "/Video/notes.txt.htw"));
  // The navigation names the menu's own file; one page that is the last.
  EXPECT_NE(page.find(" \t<td><a target=\"_self\" href=\"MenuVideo.htm#page00\"> <img "
                      "src=\"icon/yellowprevdis.jpg\" alt=\"Prev of Page01\""),
            std::string::npos);
  EXPECT_NE(page.find("href=\"MenuVideo.htm#page02\"> <img src=\"icon/yellownextdis.jpg\" "
                      "alt=\"Next of Page01\""),
            std::string::npos);
  EXPECT_EQ(IniReadString(MediaIndex().c_str(), "Status", "Files"), "3");
}

TEST_F(MediaMenuTest, RenamingDropsTheIndex) {
  for (int i = 0; i < 3; ++i)
    AddFile("Video/v" + std::to_string(i) + ".avi");
  ASSERT_EQ(Rebuild(), 1);
  std::string one = IniReadString(MediaIndex().c_str(), "No", "1");
  ASSERT_EQ(rename((program + "/" + one).c_str(), (program + "/Video/renamed.avi").c_str()), 0);
  ASSERT_EQ(Rebuild(), 1);
  EXPECT_FALSE(Exists(MediaIndex()));
  EXPECT_NE(ReadText(MediaMenu()).find("alt=\"renamed.avi\""), std::string::npos);
  ASSERT_EQ(Rebuild(), 1);
  EXPECT_EQ(IniReadString(MediaIndex().c_str(), "Status", "Files"), "3");
}

TEST_F(MediaMenuTest, PlayerPagePerExtensionWithAndWithoutTheRegistryKey) {
  enum Kind { Object, Embed, Flash, None };
  struct Row {
    const char* name;
    Kind registered;
    Kind absent;
  } rows[] = {
      {"a.mp3", Object, Embed}, {"a.wav", Object, Embed}, {"a.wma", Object, Embed},
      {"a.mpg", Object, Embed}, {"a.avi", Object, Embed}, {"a.WMV", Object, Embed},
      {"a.flv", Flash, Flash},  {"a.Mp4", Flash, Flash},  {"a.mov", Embed, Embed},
      {"a.rm", Embed, Embed},   {"a.RMVB", Embed, Embed}, {"a.ogg", None, None},
      {"a.rmv", None, None},    {"mp3", None, None},
  };
  for (bool registered : {true, false}) {
    SetPlayerRegistered(registered);
    EXPECT_EQ(MediaPlayerRegistered(), registered);
    for (const Row& row : rows) {
      SCOPED_TRACE(std::string(row.name) + (registered ? " registered" : " not registered"));
      std::string pagePath = program + "/Video/sub/" + row.name + ".htw";
      MakeDir(program + "/Video/sub");
      unlink(pagePath.c_str());
      int result =
          WritePlayerPage(pagePath.c_str(), (std::string("sub/") + row.name).c_str(), row.name);
      Kind kind = registered ? row.registered : row.absent;
      EXPECT_EQ(result, kind == None ? 0 : 1);
      std::string text = ReadText(pagePath);
      switch (kind) {
      case Object:
        EXPECT_EQ(text, ObjectPage(row.name));
        break;
      case Embed:
        EXPECT_EQ(text, EmbedPage(row.name));
        break;
      case Flash:
        EXPECT_EQ(text, FlashPage("../", std::string("sub/") + row.name));
        break;
      case None:
        EXPECT_FALSE(Exists(pagePath));
        break;
      }
    }
  }
  // A page that would pass 1,023 bytes isn't written; the deepest path the
  // menu lets through still fits.
  std::string deep, up;
  for (int i = 0; i < 127; ++i) {
    deep += "a/";
    up += "../";
  }
  std::string page = program + "/Video/x.htw";
  EXPECT_EQ(WritePlayerPage(page.c_str(), (deep + deep + "x.flv").c_str(), "x.flv"), 0);
  EXPECT_FALSE(Exists(page));
  EXPECT_EQ(WritePlayerPage(page.c_str(), (deep + "x.flv").c_str(), "x.flv"), 1);
  EXPECT_EQ(ReadText(page), FlashPage(up, deep + "x.flv"));
}

TEST_F(MediaMenuTest, GateLooksOnlyAtRemovableDrives) {
  AddFile("Video/a.wmv");
  WriteText(MediaMenu(), "old page");
  SetDrives("C=/\nD=" + program + ",removable,readonly\n");
  EXPECT_EQ(Rebuild(), 0);
  EXPECT_EQ(ReadText(MediaMenu()), "old page");
  EXPECT_FALSE(Exists(MediaIndex()));
  EXPECT_FALSE(Exists(program + "/Video/a.wmv.htw"));

  // Read-only optical or fixed media aren't probed: the rebuild goes on (and
  // here the folder can in fact be written).
  for (const char* type : {"optical", "fixed"}) {
    SetDrives("C=/\nD=" + program + "," + type + ",readonly\n");
    EXPECT_EQ(Rebuild(), 1) << type;
  }
  EXPECT_NE(ReadText(MediaMenu()).find("alt=\"a.wmv\""), std::string::npos);

  // A menu that can't be made: 0, and no player page is written.
  unlink((program + "/Video/a.wmv.htw").c_str());
  SetDrives("C=/\n");
  std::string missing = program + "/NoSuchFolder/MenuVideo.htm";
  EXPECT_EQ(RebuildMediaMenu(missing.c_str(), (program + "/Video").c_str(), Patterns), 0);
  EXPECT_FALSE(Exists(program + "/Video/a.wmv.htw"));
}

TEST_F(MediaMenuTest, PluginTakesOver) {
  WriteText(MediaMenu(), "old page");
  std::string plugins = SKERRY_TEST_PLUGINS;
  ASSERT_EQ(std::system(("cp " + plugins + "/Dorvane.so " + program + "/Dorvane.so").c_str()), 0);
  AddFile("Video/a.flv");
  EXPECT_EQ(Rebuild(), 4242);
  EXPECT_EQ(ReadText(MediaMenu()), "old page");
  EXPECT_FALSE(Exists(program + "/Video/a.flv.htw"));
  EXPECT_EQ(ReadText(MediaMenu() + ".plugin"),
            MediaMenu() + "|" + program + "/Video|" + std::string(Patterns));
}

} // namespace
