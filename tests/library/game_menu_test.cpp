// The game menu over real folders, and the gates of both menus.
#include "library_fixture.h"

#include "library/game_index.h"
#include "platform/drives.h"

#include <sys/mount.h>

namespace {

class GameMenuTest : public LibraryFolder {};

// Golden pages for no games and eleven (a second page of one), the program
// folder written @P@ and the k-th game of the walk gk.swf, whatever the order.
TEST_F(GameMenuTest, PageTextForNoneAndElevenGames) {
  for (int games : {0, 11}) {
    SCOPED_TRACE(games);
    for (int i = 0; i < games; ++i)
      AddFile("Game/f" + std::to_string(i) + ".swf");
    ASSERT_EQ(RebuildGame(), 1);
    std::vector<std::string> walk = ListingOrder(program + "/Game");
    std::string page = ReadWhole(GameMenu());
    for (std::size_t k = 0; k < walk.size(); ++k)
      Replace(page, walk[k] + "\"", "g" + std::to_string(k) + ".swf\"");
    Replace(page, program, "@P@");
    EXPECT_EQ(page, ReadWhole(std::string(SKERRY_TEST_DATA) + "/menu_" + std::to_string(games) +
                              "_games.htm"));
    for (int n = 1; n <= games; ++n)
      EXPECT_EQ(Index("GameNo", std::to_string(n)), "Game/" + walk[n - 1]);
  }
}

// A known game keeps its number, a new one comes last; a gone game, a broken
// or full index drops the index (walk order) and the next rebuild starts at 1.
TEST_F(GameMenuTest, Numbering) {
  AddFile("Game/z/old1.swf");
  AddFile("Game/z/old2.swf");
  ASSERT_EQ(RebuildGame(), 1);
  std::vector<std::string> first = Alts(ReadWhole(GameMenu()));
  AddFile("Game/new.swf");
  ASSERT_EQ(RebuildGame(), 1);
  EXPECT_EQ(Index("GameName", "Game/new.swf"), "3");
  first.push_back("new.swf");
  EXPECT_EQ(Alts(ReadWhole(GameMenu())), first);
  ASSERT_EQ(unlink((program + "/Game/" + first[0]).c_str()), 0);
  ASSERT_EQ(RebuildGame(), 1);
  EXPECT_FALSE(fs::exists(GameIndex()));
  std::vector<std::string> walk = {"new.swf", first[1]};
  EXPECT_EQ(Alts(ReadWhole(GameMenu())), walk);
  ASSERT_EQ(RebuildGame(), 1);
  EXPECT_EQ(Index("GameNo", "1"), "Game/new.swf");
  EXPECT_EQ(Alts(ReadWhole(GameMenu())), walk);

  const std::string indexes[] = {
      // Numbers out of range, given anew, leave holes; a path outside.
      "junk\n[Status]\nFiles=2\n[GameName]\nGame/new.swf=banana\nGame/z/old2.swf=99\n"
      "[GameNo]\n1=../../outside.swf\n[GameNo]\n7=Game/x.swf\n",
      // Files at the highest number it can hold: the next one finds none.
      "[Status]\nFiles=999999998\n[GameName]\nGame/new.swf=999999998\n"
      "[GameNo]\n999999998=Game/new.swf\n"};
  for (const std::string& index : indexes) {
    WriteWhole(GameIndex(), index);
    ASSERT_EQ(RebuildGame(), 1);
    std::string page = ReadWhole(GameMenu());
    EXPECT_EQ(Alts(page), walk);
    EXPECT_FALSE(fs::exists(GameIndex()));
    ASSERT_EQ(RebuildGame(), 1);
    EXPECT_EQ(Index("Status", "Files"), "2");
    EXPECT_EQ(ReadWhole(GameMenu()), page);
  }
}

// Patterns ignore case and give one cell a file; hidden folders, folders named
// like games, a link loop and over-long paths are passed by.
TEST_F(GameMenuTest, WhatTheWalkEntersAndTheLimits) {
  for (const char* f : {"a.swf", "B.SWF", "page.htm", "page.html", "readme.txt", "x.swf.txt",
                        ".hidden/h.swf", "sub.d/s.swf"})
    AddFile(std::string("Game/") + f);
  fs::create_directories(program + "/Game/dir.swf");
  ASSERT_EQ(symlink((program + "/Game").c_str(), (program + "/Game/loop").c_str()), 0);
  // A path over 259 bytes, and one whose link would pass 255.
  AddFile("Game/" + std::string(120, 'd') + "/" + std::string(120, 'e') + ".swf");
  AddFile("Game/" + std::string(255 - 45 - program.size() - 5, 'l') + ".swf");
  ASSERT_EQ(RebuildGame("*.swf,*.htm,*.html,a*"), 1);
  std::vector<std::string> alts = Alts(ReadWhole(GameMenu()));
  EXPECT_THAT(alts, testing::UnorderedElementsAre("B.SWF", "a.swf", "page.htm", "page.html",
                                                  "sub.d/s.swf"));
  EXPECT_EQ(Index("Status", "Files"), "5");
  // Patterns or paths over the limit, a folder outside the program's: no change.
  WriteWhole(GameMenu(), "old page");
  EXPECT_EQ(RebuildGame(std::string(257, 'x') + ",*.swf"), 0);
  std::string longMenu = program + "/Web/" + std::string(260, 'm');
  EXPECT_EQ(RebuildGameMenu(longMenu.c_str(), (program + "/Game").c_str(), "*.swf"), 0);
  EXPECT_EQ(RebuildGameMenu(GameMenu().c_str(), root.c_str(), "*.swf"), 0);
  EXPECT_EQ(ReadWhole(GameMenu()), "old page");
}

// Both menus keep their old page on a medium that can't be written (the media
// menu's only on removable ones); only the menu's own drive counts.
TEST_F(GameMenuTest, GatesKeepTheOldPageOnProtectedMedia) {
  AddFile("Game/a.swf");
  AddFile("Video/a.wmv");
  struct Row {
    std::string drives;
    int game, media;
  } rows[] = {
      {"D=" + program + ",removable,readonly", 0, 0},
      {"D=" + program + ",removable,notready", 0, 0},
      {"D=" + program + ",optical,readonly", 0, 1},
      {"D=" + program + ",fixed,readonly", 0, 1},
      {"D=" + program + ",network,readonly", 1, 1},
      {"D=" + root + "/gone\nE=" + program + "/Web,removable", 1, 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.drives);
    WriteWhole(GameMenu(), "old page");
    WriteWhole(MediaMenu(), "old page");
    WriteWhole(GameIndex(), "[Status]\nFiles=0\n");
    unlink((program + "/Video/a.wmv.htw").c_str());
    SetDrives("C=/\n" + row.drives + "\n");
    EXPECT_EQ(RebuildGame(), row.game);
    EXPECT_EQ(RebuildMedia("*.wmv"), row.media);
    EXPECT_EQ(ReadWhole(GameMenu()) == "old page", row.game == 0);
    EXPECT_EQ(ReadWhole(GameIndex()) == "[Status]\nFiles=0\n", row.game == 0);
    EXPECT_EQ(ReadWhole(MediaMenu()) == "old page", row.media == 0);
    EXPECT_EQ(fs::exists(program + "/Video/a.wmv.htw"), row.media == 1);
  }
  // In drives.ini a path is only under a whole folder name.
  SetDrives("C=/\nE=" + program + "/Web/,network\n");
  EXPECT_EQ(DriveTypeOfPath((program + "/Web/Menu1.htm").c_str()), DriveRemote);
  EXPECT_EQ(DriveTypeOfPath((program + "/Webbed").c_str()), DriveFixed);
  // A media menu that can't be made: no player page is written.
  SetDrives("C=/\n");
  unlink((program + "/Video/a.wmv.htw").c_str());
  EXPECT_EQ(
      RebuildMediaMenu((program + "/None/M.htm").c_str(), (program + "/Video").c_str(), "*.wmv"),
      0);
  EXPECT_FALSE(fs::exists(program + "/Video/a.wmv.htw"));
  // A real read-only mount, without any drive table line for it.
  std::string mnt = root + "/ro";
  fs::create_directories(mnt);
  if (mount("tmpfs", mnt.c_str(), "tmpfs", MS_RDONLY, "size=64k") == 0) {
    EXPECT_EQ(MediumWriteState((mnt + "/Menu1.htm").c_str()), 1);
    EXPECT_EQ(RebuildGameMenu((mnt + "/M.htm").c_str(), (program + "/Game").c_str(), "*.swf"), 0);
    umount(mnt.c_str());
  }
}

TEST_F(GameMenuTest, PluginTakesOverTheWholeRebuild) {
  AddFile("Game/a.swf");
  AddFile("Video/a.flv");
  const std::string plugins = SKERRY_TEST_PLUGINS;
  auto install = [&](const char* from, const char* to) {
    ASSERT_EQ(std::system(("cp " + plugins + from + " " + program + to).c_str()), 0);
  };
  // A library whose export has another name changes nothing.
  WriteWhole(GameMenu(), "old page");
  install("/Wrong.so", "/Kestrix.so");
  EXPECT_EQ(RebuildGame(), 1);
  EXPECT_NE(ReadWhole(GameMenu()), "old page");

  install("/Kestrix.so", "/Kestrix.so");
  WriteWhole(GameMenu(), "old page");
  unlink(GameIndex().c_str());
  EXPECT_EQ(RebuildGame("*.swf"), 4242);
  EXPECT_EQ(ReadWhole(GameMenu()), "old page");
  EXPECT_FALSE(fs::exists(GameIndex()));
  EXPECT_EQ(ReadWhole(GameMenu() + ".plugin"), GameMenu() + "|" + program + "/Game|*.swf");
  EXPECT_EQ(RebuildMedia("*.flv"), 1); // the game plug-in isn't the media one

  install("/Dorvane.so", "/Dorvane.so");
  WriteWhole(MediaMenu(), "old page");
  unlink((program + "/Video/a.flv.htw").c_str());
  EXPECT_EQ(RebuildMedia("*.flv"), 4242);
  EXPECT_EQ(ReadWhole(MediaMenu()), "old page");
  EXPECT_FALSE(fs::exists(program + "/Video/a.flv.htw"));
  EXPECT_EQ(ReadWhole(MediaMenu() + ".plugin"), MediaMenu() + "|" + program + "/Video|*.flv");
}

} // namespace
