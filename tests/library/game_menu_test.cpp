// The game menu over real folders in a temporary program folder: the exact
// page text for one, two and no pages, the numbering over rebuilds, what the
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

// The page pieces, typed here from the page's description and not shared
// with the code under test.
const std::string ExpectedHead =
    "<html>\n<head><meta http-equiv=\"Content-Type\" content=\"text/html;charset=\">\n"
    "<title>menu</title><base target=\"_self\"></head>\n<body bgcolor=\"#000000\" "
    "link=\"#000000\" vlink=\"#000000\" alink=\"#000000\">\n<div align=\"center\">\n  "
    "<center>\n<table border=\"0\" cellpadding=\"0\" cellspacing=\"0\" style=\"border-style:none; "
    "border-collapse:collapse\" width=\"100%\" height=\"25\" id=\"AutoNumber1\" "
    "bordercolor=\"#000000\">\n";
const std::string ExpectedTail = "    </tr>\n  </table>\n  </center>\n</div>\n</body>\n</html>\n";

std::string Two(std::size_t n) {
  char b[24];
  std::snprintf(b, sizeof b, "%02zu", n);
  return b;
}

std::string Row(std::size_t page) {
  return "<tr><a name=page" + Two(page) + "></a>\n";
}

std::string Cell(const std::string& link, std::size_t cell, const std::string& alt) {
  return "\t<td><a href=\"" + link + "\" target=\"main\">\n<img src=\"icon/yellow" + Two(cell) +
         ".jpg\" alt=\"" + alt +
         "\" width=\"19\" height=\"19\" align=\"left\" hspace=\"0\">\n</a></td>\n";
}

std::string Blank() {
  return "\t<td>\n<img src=\"icon/yellow00.jpg\" alt=\"\" width=\"19\" height=\"19\" "
         "align=\"left\" hspace=\"0\">\n</a></td>\n";
}

std::string Nav(const std::string& file, std::size_t page, bool last) {
  std::string prevIcon = page == 1 ? "icon/yellowprevdis.jpg" : "icon/yellowprev.jpg";
  std::string nextIcon = last ? "icon/yellownextdis.jpg" : "icon/yellownext.jpg";
  return " \t<td><a target=\"_self\" href=\"" + file + "#page" + Two(page - 1) + "\"> <img src=\"" +
         prevIcon + "\" alt=\"Prev of Page" + Two(page) +
         "\" width=\"20\" height=\"20\" align=\"left\" hspace=\"0\"></a>\n<a target=\"_self\" "
         "href=\"" +
         file + "#page" + Two(page + 1) + "\"> <img src=\"" + nextIcon + "\" alt=\"Next of Page" +
         Two(page) +
         "\" width=\"20\" height=\"20\" align=\"right\" hspace=\"0\"></a></td>\n</tr>\n";
}

// The whole page for games (full paths) in menu order: rows of ten, the last
// one padded with blanks, at least one row.
std::string ExpectedGamePage(const std::string& program, const std::vector<std::string>& games) {
  std::string page = ExpectedHead;
  std::size_t rows = std::max<std::size_t>(1, (games.size() + 9) / 10);
  for (std::size_t r = 0; r < rows; ++r) {
    page += Row(r + 1);
    for (std::size_t k = r * 10; k < r * 10 + 10; ++k)
      page += k < games.size() ? Cell("http://skerry.local/ombrel/TodayAD.asp?data1=" + games[k],
                                      k % 10 + 1, games[k].substr(program.size() + 6))
                               : Blank();
    page += Nav("menu1.htm", r + 1, r + 1 == rows);
  }
  return page + ExpectedTail;
}

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

TEST_F(GameMenuTest, PageTextForOneTwoAndNoPages) {
  struct Row {
    const char* name;
    int games;
  } rows[] = {{"empty folder", 0},
              {"ten games: one full page", 10},
              {"eleven: a second page of one", 11},
              {"twenty: two full pages", 20}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    RemoveTree(program + "/Game");
    MakeDir(program + "/Game");
    unlink(GameIndex().c_str());
    for (int i = 0; i < row.games; ++i)
      AddFile("Game/g" + std::to_string(i) + ".swf");
    ASSERT_EQ(Rebuild(), 1);
    std::vector<std::string> games = Listed("");
    ASSERT_EQ(games.size(), static_cast<std::size_t>(row.games));
    EXPECT_EQ(ReadText(GameMenu()), ExpectedGamePage(program, games));
    EXPECT_EQ(Index("Status", "Files"), row.games ? std::to_string(row.games) : "");
    for (int n = 1; n <= row.games; ++n)
      EXPECT_EQ(Index("GameNo", std::to_string(n)), games[n - 1].substr(program.size() + 1));
  }
}

TEST_F(GameMenuTest, NumbersStayAndNewGamesComeLast) {
  AddFile("Game/z/old1.swf");
  AddFile("Game/z/old2.swf");
  ASSERT_EQ(Rebuild(), 1);
  std::vector<std::string> first = Listed("z");
  // A new game in the folder the walk visits first still gets the next number.
  std::string fresh = AddFile("Game/new.swf");
  ASSERT_EQ(Rebuild(), 1);
  EXPECT_EQ(Index("GameName", "Game/new.swf"), "3");
  EXPECT_EQ(Index("Status", "Files"), "3");
  std::vector<std::string> expected = first;
  expected.push_back(fresh);
  EXPECT_EQ(ReadText(GameMenu()), ExpectedGamePage(program, expected));
}

TEST_F(GameMenuTest, AGoneGameDropsTheIndexAndTheNextRebuildRenumbers) {
  for (int i = 0; i < 5; ++i)
    AddFile("Game/g" + std::to_string(i) + ".swf");
  ASSERT_EQ(Rebuild(), 1);
  std::string third = Index("GameNo", "3");
  ASSERT_FALSE(third.empty());
  ASSERT_EQ(unlink((program + "/" + third).c_str()), 0);

  ASSERT_EQ(Rebuild(), 1);
  EXPECT_FALSE(Exists(GameIndex()));
  std::vector<std::string> walk = Listed("");
  ASSERT_EQ(walk.size(), 4u);
  EXPECT_EQ(ReadText(GameMenu()), ExpectedGamePage(program, walk));

  ASSERT_EQ(Rebuild(), 1);
  EXPECT_EQ(Index("Status", "Files"), "4");
  for (int n = 1; n <= 4; ++n)
    EXPECT_EQ(Index("GameNo", std::to_string(n)), walk[n - 1].substr(program.size() + 1));
  EXPECT_EQ(ReadText(GameMenu()), ExpectedGamePage(program, walk));
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
