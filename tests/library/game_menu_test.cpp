// The game menu over real folders in a temporary program folder: the exact
// page text, the numbering over rebuilds, what the
// walk enters and visits, the gate, the plug-in and the limits.
#include "library_fixture.h"

#include "library/game_index.h"
#include "library/menus.h"
#include "platform/ini.h"

#include <sys/mount.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <thread>

namespace {

const char* const Patterns = "*.swf,*.htm,*.html";

class GameMenuTest : public LibraryFolder {
 protected:
  int Rebuild() {
    return RebuildGameMenu(GameMenu().c_str(), (program + "/Game").c_str(), Patterns);
  }
  // Full paths of the *.swf files of a Game subfolder in listing order.
  std::vector<std::string> Listed(const std::string& sub) {
    std::string folder = program + "/Game" + (sub.empty() ? "" : "/" + sub);
    std::vector<std::string> out;
    for (const std::string& n : ListingOrder(folder))
      if (n.size() > 4 && n.substr(n.size() - 4) == ".swf")
        out.push_back(folder + "/" + n);
    return out;
  }
  std::string Index(const char* section, const std::string& key) {
    return IniReadString(GameIndex().c_str(), section, key.c_str());
  }
};

void Replace(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at))
    text.replace(at, from.size(), to), at += to.size();
}

// The page of no games and of eleven (a full first page, a second of one)
// against golden pages, with the program folder written @P@ and the k-th
// game of the walk named gk.swf, whatever order the folder lists in.
TEST_F(GameMenuTest, PageTextForNoneAndElevenGames) {
  for (int games : {0, 11}) {
    SCOPED_TRACE(games);
    for (int i = 0; i < games; ++i)
      AddFile("Game/g" + std::to_string(i) + ".swf");
    ASSERT_EQ(Rebuild(), 1);
    std::vector<std::string> walk = Listed("");
    std::string page = ReadText(GameMenu());
    for (std::size_t k = 0; k < walk.size(); ++k)
      Replace(page, walk[k].substr(walk[k].rfind('/') + 1) + "\"",
              "\x01" + std::to_string(k) + "\"");
    for (std::size_t k = 0; k < walk.size(); ++k)
      Replace(page, "\x01" + std::to_string(k) + "\"", "g" + std::to_string(k) + ".swf\"");
    Replace(page, program, "@P@");
    EXPECT_EQ(page, ReadText(std::string(SKERRY_TEST_DATA) + "/menu_" + std::to_string(games) +
                             "_games.htm"));
    for (int n = 1; n <= games; ++n)
      EXPECT_EQ(Index("GameNo", std::to_string(n)), walk[n - 1].substr(program.size() + 1));
  }
}

// A known game keeps its number, a new one comes last wherever the walk
// meets it, a gone one drops the index (that menu lists in walk order) and
// the next rebuild numbers from 1 again.
TEST_F(GameMenuTest, Numbering) {
  AddFile("Game/z/old1.swf");
  AddFile("Game/z/old2.swf");
  ASSERT_EQ(Rebuild(), 1);
  std::vector<std::string> first = Alts(ReadText(GameMenu()));
  AddFile("Game/new.swf");
  ASSERT_EQ(Rebuild(), 1);
  EXPECT_EQ(Index("GameName", "Game/new.swf"), "3");
  first.push_back("new.swf");
  EXPECT_EQ(Alts(ReadText(GameMenu())), first);

  ASSERT_EQ(unlink((program + "/Game/" + first[0]).c_str()), 0);
  ASSERT_EQ(Rebuild(), 1);
  EXPECT_FALSE(Exists(GameIndex()));
  std::vector<std::string> walk = {"new.swf", first[1]};
  EXPECT_EQ(Alts(ReadText(GameMenu())), walk);
  ASSERT_EQ(Rebuild(), 1);
  EXPECT_EQ(Index("Status", "Files"), "2");
  EXPECT_EQ(Index("GameNo", "1"), "Game/new.swf");
  EXPECT_EQ(Alts(ReadText(GameMenu())), walk);
}

TEST_F(GameMenuTest, WhatTheWalkEntersAndVisits) {
  AddFile("Game/a.swf");
  AddFile("Game/B.SWF"); // patterns ignore case
  AddFile("Game/page.htm");
  AddFile("Game/page.html");
  AddFile("Game/readme.txt"); // no pattern: never in the menu
  AddFile("Game/x.swf.txt");
  AddFile("Game/.hidden/h.swf");      // a folder beginning with a point isn't entered
  AddFile("Game/sub.d/s.swf");        // a point inside a name is no reason
  MakeDir(program + "/Game/dir.swf"); // a folder matching a pattern is no game
  ASSERT_EQ(symlink((program + "/Game").c_str(), (program + "/Game/loop").c_str()), 0);

  std::vector<std::string> visits;
  WalkGameFolder(
      [&](const std::string& full, const FileEntry& e) {
        EXPECT_EQ(full.substr(full.rfind('/') + 1), e.name);
        visits.push_back(full.substr(program.size() + 6));
      },
      (program + "/Game").c_str(), "*.swf,*.htm,*.html,a*");
  std::vector<std::string> sorted = visits;
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(sorted, (std::vector<std::string>{"B.SWF", "a.swf", "a.swf", "page.htm", "page.html",
                                              "sub.d/s.swf"}));
  EXPECT_EQ(visits.back(), "sub.d/s.swf"); // a folder's own files before its subfolders

  // Two patterns matching one file: one number, one cell.
  ASSERT_EQ(
      RebuildGameMenu(GameMenu().c_str(), (program + "/Game").c_str(), "*.swf,*.htm,*.html,a*"), 1);
  EXPECT_EQ(Index("Status", "Files"), "5");
  std::string page = ReadText(GameMenu());
  EXPECT_EQ(page.find("readme.txt"), std::string::npos);
  EXPECT_EQ(page.find("h.swf"), std::string::npos);
  std::size_t first = page.find("alt=\"a.swf\"");
  ASSERT_NE(first, std::string::npos);
  EXPECT_EQ(page.find("alt=\"a.swf\"", first + 1), std::string::npos);
}

TEST_F(GameMenuTest, GateKeepsTheOldPageOnProtectedMedia) {
  AddFile("Game/a.swf");
  WriteText(GameMenu(), "old page");
  WriteText(GameIndex(), "[Status]\nFiles=0\n");
  struct Row {
    const char* name;
    std::string drives;
    int result;
  } rows[] = {
      {"write-protected drive", "D=" + program + ",removable,readonly\n", 0},
      {"drive without medium", "D=" + program + ",removable,notready\n", 0},
      {"only the menu's own drive counts", "D=" + root + "/gone\nE=" + program + "/Web,removable\n",
       1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    SetDrives("C=/\n" + row.drives);
    EXPECT_EQ(Rebuild(), row.result);
    if (row.result == 0) {
      EXPECT_EQ(ReadText(GameMenu()), "old page");
      EXPECT_EQ(ReadText(GameIndex()), "[Status]\nFiles=0\n");
    }
  }
  // A drive letter in the path asks that drive, however it is spelt.
  SetDrives("C=/\nD=" + root + "/gone\nE=/,readonly\n");
  EXPECT_EQ(MediumWriteState("d:/x"), 3);
  EXPECT_EQ(MediumWriteState("E:/x"), 1);
  EXPECT_EQ(MediumWriteState("Q:/x"), 0); // no such drive: the probe can't open it

  // A network drive is never probed: the rebuild runs on a read-only share.
  SetDrives("C=/\nD=" + program + ",network,readonly\n");
  EXPECT_EQ(Rebuild(), 1);
  EXPECT_NE(ReadText(GameMenu()).find("alt=\"a.swf\""), std::string::npos);
}

TEST_F(GameMenuTest, ARealReadOnlyMountIsWriteProtected) {
  std::string mnt = root + "/ro";
  MakeDir(mnt);
  if (mount("tmpfs", mnt.c_str(), "tmpfs", MS_RDONLY, "size=64k") != 0)
    GTEST_SKIP() << "no permission to mount here";
  SetDrives("C=/\n");
  EXPECT_EQ(MediumWriteState((mnt + "/Web/Menu1.htm").c_str()), 1);
  EXPECT_EQ(MediumWriteState((root + "/Web/Menu1.htm").c_str()), 0);
  EXPECT_EQ(RebuildGameMenu((mnt + "/Menu1.htm").c_str(), (program + "/Game").c_str(), Patterns),
            0);
  umount(mnt.c_str());
}

TEST_F(GameMenuTest, PluginTakesOverTheWholeRebuild) {
  AddFile("Game/a.swf");
  WriteText(GameMenu(), "old page");
  std::string plugins = SKERRY_TEST_PLUGINS;
  // A library whose export has another name changes nothing.
  ASSERT_EQ(std::system(("cp " + plugins + "/Wrong.so " + program + "/Kestrix.so").c_str()), 0);
  EXPECT_EQ(Rebuild(), 1);
  EXPECT_NE(ReadText(GameMenu()), "old page");

  WriteText(GameMenu(), "old page");
  unlink(GameIndex().c_str());
  ASSERT_EQ(std::system(("cp " + plugins + "/Kestrix.so " + program + "/Kestrix.so").c_str()), 0);
  EXPECT_EQ(Rebuild(), 4242);
  EXPECT_EQ(ReadText(GameMenu()), "old page");
  EXPECT_FALSE(Exists(GameIndex()));
  EXPECT_EQ(ReadText(GameMenu() + ".plugin"),
            GameMenu() + "|" + program + "/Game|" + std::string(Patterns));
  // The game plug-in isn't the media one.
  EXPECT_EQ(RebuildMediaMenu(MediaMenu().c_str(), (program + "/Video").c_str(), "*.flv"), 1);
}

TEST_F(GameMenuTest, OverLongTextsAreRefusedNotCut) {
  AddFile("Game/a.swf");
  // A game whose path passes 259 bytes is left out, and so is one whose link
  // would pass 255.
  std::string deep = "Game/" + std::string(120, 'd') + "/" + std::string(120, 'e') + ".swf";
  AddFile(deep);
  std::string linkLong = "Game/" + std::string(255 - 45 - program.size() - 5, 'l') + ".swf";
  AddFile(linkLong);
  ASSERT_EQ(Rebuild(), 1);
  EXPECT_EQ(Index("Status", "Files"), "1");
  std::string page = ReadText(GameMenu());
  EXPECT_EQ(page.find("eeee"), std::string::npos);
  EXPECT_EQ(page.find("llll"), std::string::npos);

  // Pattern list and paths over the limit: nothing is touched.
  std::string before = ReadText(GameMenu());
  std::string patterns = std::string(257, 'x') + ",*.swf";
  EXPECT_EQ(RebuildGameMenu(GameMenu().c_str(), (program + "/Game").c_str(), patterns.c_str()), 0);
  std::string longMenu = program + "/Web/" + std::string(260, 'm');
  EXPECT_EQ(RebuildGameMenu(longMenu.c_str(), (program + "/Game").c_str(), Patterns), 0);
  EXPECT_EQ(ReadText(GameMenu()), before);
  // A folder outside the program folder isn't indexed.
  EXPECT_EQ(RebuildGameMenu(GameMenu().c_str(), root.c_str(), Patterns), 0);
  EXPECT_EQ(ReadText(GameMenu()), before);
}

TEST_F(GameMenuTest, BrokenIndexNeverHidesAGame) {
  AddFile("Game/a.swf");
  AddFile("Game/b.swf");
  AddFile("Game/c.swf");
  WriteText(GameIndex(), "junk before any section\n[Status]\nFiles=2\n[GameName]\n"
                         "Game/a.swf=banana\nGame/b.swf=0\nGame/c.swf=99\n[GameNo]\n"
                         "1=../../outside.swf\n[GameNo]\n7=Game/x.swf\n[EnvAll]\nKeep=me\n");
  ASSERT_EQ(Rebuild(), 1);
  std::string page = ReadText(GameMenu());
  for (const char* alt : {"alt=\"a.swf\"", "alt=\"b.swf\"", "alt=\"c.swf\""})
    EXPECT_NE(page.find(alt), std::string::npos) << alt;
  EXPECT_EQ(page.find("outside"), std::string::npos);
  // Numbers outside the index's range were given anew (3 to 5), which left
  // 1 and 2 empty: the index was dropped, and the next rebuild numbers the
  // three games from 1 in walk order, the same order as this page.
  EXPECT_FALSE(Exists(GameIndex()));
  ASSERT_EQ(Rebuild(), 1);
  EXPECT_EQ(Index("Status", "Files"), "3");
  EXPECT_EQ(Index("GameNo", "7"), "");
  EXPECT_EQ(ReadText(GameMenu()), page);
}

TEST_F(GameMenuTest, LinkHostComesFromDefineIni) {
  std::string full = AddFile("Game/a b.swf");
  WriteText(program + "/Define.ini", "[Library]\nGameHost=http://games.example:8080/\n");
  ASSERT_EQ(Rebuild(), 1);
  EXPECT_NE(ReadText(GameMenu())
                .find("href=\"http://games.example:8080/ombrel/TodayAD.asp?data1=" + full + "\""),
            std::string::npos);
  WriteText(program + "/Define.ini", "[Library]\nGameHost=\n");
  EXPECT_EQ(GameLinkHost(), "http://skerry.local");
}

TEST_F(GameMenuTest, RebuildsOfBothMenusRunOneAtATime) {
  for (int i = 0; i < 30; ++i)
    AddFile("Game/g" + std::to_string(i) + ".swf");
  for (int i = 0; i < 30; ++i)
    AddFile("Video/v" + std::to_string(i) + ".flv");
  ASSERT_EQ(Rebuild(), 1);
  ASSERT_EQ(RebuildMediaMenu(MediaMenu().c_str(), (program + "/Video").c_str(), "*.flv"), 1);
  const std::string gamePage = ReadText(GameMenu());
  const std::string mediaPage = ReadText(MediaMenu());

  static std::atomic<int> inside{0};
  static std::atomic<int> most{0};
  inside = 0;
  most = 0;
  RebuildPauseForTests = [] {
    int now = ++inside;
    int seen = most.load();
    while (now > seen && !most.compare_exchange_weak(seen, now)) {
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    --inside;
  };
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 6; ++t)
    threads.emplace_back([&, t] {
      for (int k = 0; k < 5; ++k) {
        int r = (t % 2)
                    ? Rebuild()
                    : RebuildMediaMenu(MediaMenu().c_str(), (program + "/Video").c_str(), "*.flv");
        if (r != 1)
          ++failures;
      }
    });
  for (std::thread& t : threads)
    t.join();
  RebuildPauseForTests = nullptr;
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(most.load(), 1);
  EXPECT_EQ(ReadText(GameMenu()), gamePage);
  EXPECT_EQ(ReadText(MediaMenu()), mediaPage);
}

} // namespace
