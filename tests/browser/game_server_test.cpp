// What the game server answers and local pages reach, on real files in a temporary folder.
#include "browser/game_server.h"
#include "browser/local_pages.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/carrier/carrier_fixture.h"

namespace fs = std::filesystem;

// Each request gets a game page (the game reported), a Game or emulator file, or the refusal.
TEST(GameServer, WhatEachRequestGets) {
  TempFolder temp("skerry-games");
  const fs::path root = temp.path;
  fs::create_directories(root / "Game" / "sub dir");
  fs::create_directories(root / "ruffle");
  for (const char* file :
       {"Game/a game.swf", "Game/sub dir/b.htm", "Game/c&d.swf", "secret.swf", "ruffle/ruffle.js"})
    std::ofstream(root / file) << "FWS";
  fs::create_symlink(root / "secret.swf", root / "Game" / "link.swf");
  GameServer server{"t0k3n", (root / "Game").string(), (root / "ruffle").string()};
  auto Game = [&root](const std::string& name) { return (root / "Game" / name).string(); };
  const std::string page = "/t0k3n/ombrel/TodayAD.asp?data1=";
  const std::string a = Game("a game.swf");
  struct Row {
    const char* name;
    std::string target;
    int status;
    std::string game; // the game of a page
    std::string file; // a file sent
  } rows[] = {
      {"game with a blank", page + a, 200, a, ""},
      {"backslashes of the old index", page + root.string() + "\\Game\\a game.swf", 200, a, ""},
      {"path case of the asp name", "/t0k3n/OMBREL/todayad.ASP?x=1&data1=" + a, 200, a, ""},
      {"page game redirects", page + Game("sub dir/b.htm"), 302, Game("sub dir/b.htm"), ""},
      {"dot-dot out of the folder", page + Game("../secret.swf"), 404, "", ""},
      {"encoded dot-dot", page + root.string() + "/Game/%2E%2E/secret.swf", 404, "", ""},
      {"absolute path elsewhere", page + (root / "secret.swf").string(), 404, "", ""},
      {"relative path", page + "Game/a game.swf", 404, "", ""},
      {"symbolic link that leads out", page + Game("link.swf"), 404, "", ""},
      {"the folder itself", page + root.string() + "/Game", 404, "", ""},
      {"missing game", page + Game("none.swf"), 404, "", ""},
      {"no data1", "/t0k3n/ombrel/TodayAD.asp", 404, "", ""},
      {"data1 inside another key", "/t0k3n/ombrel/TodayAD.asp?xdata1=" + a, 404, "", ""},
      {"wrong token", "/other/ombrel/TodayAD.asp?data1=" + a, 404, "", ""},
      {"game file", "/t0k3n/Game/a%20game.swf", 200, "", a},
      {"file dot-dot", "/t0k3n/Game/../secret.swf", 404, "", ""},
      {"file encoded dot-dot", "/t0k3n/Game/%2e%2e/secret.swf", 404, "", ""},
      {"emulator dot-dot into games", "/t0k3n/ruffle/../Game/a%20game.swf", 404, "", ""},
      {"encoded slash to the root", "/t0k3n/Game/%2Fetc%2Fpasswd", 404, "", ""},
      {"file link out", "/t0k3n/Game/link.swf", 404, "", ""},
      {"a folder", "/t0k3n/Game/sub%20dir", 404, "", ""},
      {"nul byte", "/t0k3n/Game/a%00.swf", 404, "", ""},
      {"file without token", "/Game/a%20game.swf", 404, "", ""},
  };
  for (const Row& row : rows) {
    HttpAnswer answer = AnswerGameRequest(server, row.target);
    EXPECT_EQ(answer.status, row.status) << row.name;
    EXPECT_EQ(answer.game, row.game.empty() ? "" : fs::canonical(row.game).string()) << row.name;
    EXPECT_EQ(answer.file, row.file.empty() ? "" : fs::canonical(row.file).string()) << row.name;
    EXPECT_EQ(row.status == 404, answer.body.find("ot found.") != std::string::npos) << row.name;
  }

  EXPECT_EQ(AnswerGameRequest(server, "/t0k3n/Game/a%20game.swf").type,
            "application/x-shockwave-flash");
  // The game page names the game escaped for its places.
  HttpAnswer answer = AnswerGameRequest(server, page + Game("c&d.swf"));
  EXPECT_NE(answer.body.find("url:\"/t0k3n/Game/c%26d.swf\""), std::string::npos) << answer.body;
  EXPECT_NE(answer.body.find("<title>c&amp;d.swf</title>"), std::string::npos);
  EXPECT_EQ(AnswerGameRequest(server, page + Game("sub dir/b.htm")).location,
            "/t0k3n/Game/sub%20dir/b.htm");
  server.ruffleDir.clear();
  EXPECT_NE(AnswerGameRequest(server, page + a).body.find("not installed"), std::string::npos);

  bool isHead = false;
  EXPECT_EQ(RequestTarget("HEAD /x HTTP/1.0\r\n\r\n", &isHead), "/x");
  EXPECT_TRUE(isHead);
  EXPECT_EQ(RequestTarget("POST /x HTTP/1.1\r\n\r\n", nullptr), "");
  EXPECT_EQ(RequestTarget("GET http://evil/x HTTP/1.1\r\n", nullptr), "");
}

// What a local page may reach: files of its folders (links and ".." resolved first), the game
// host, the program's listeners by their secret or open path, inline data, the panel links.
TEST(LocalPages, ReachOnlyTheirFoldersAndTheProgramsServers) {
  TempFolder temp("skerry-local-pages");
  const std::string& root = temp.path;
  std::filesystem::create_directories(root + "/Web/icon");
  std::filesystem::create_symlink("/etc/hostname", root + "/Web/out");
  LocalPolicy policy;
  policy.roots = {root + "/Web"};
  policy.gameHost = "skerry.local";
  policy.servers = {{4000, "abc", "/ruffle/"}, {4001, "def", ""}};
  struct Row {
    const char* name;
    LocalRequest request;
    bool allowed;
  } rows[] = {
      {"player page scheme", {"skerry-page", "", -1, root + "/Web/a.htw"}, true},
      {"other file", {"file", "", -1, "/etc/hostname"}, false},
      {"dot-dot out", {"file", "", -1, root + "/Web/../secret"}, false},
      {"link out", {"file", "", -1, root + "/Web/out"}, false},
      {"neighbour folder", {"file", "", -1, root + "/Webby/x"}, false},
      {"game host over https", {"https", "skerry.local", -1, "/"}, false},
      {"other host", {"http", "example.com", -1, "/"}, false},
      {"game server by its secret", {"http", "127.0.0.1", 4000, "/abc/Game/a.swf"}, true},
      {"game server's open route", {"http", "127.0.0.1", 4000, "/ruffle/ruffle.js"}, true},
      {"game server without secret", {"http", "127.0.0.1", 4000, "/Game/a.swf"}, false},
      {"stream server has no open route", {"http", "127.0.0.1", 4001, "/ruffle/x"}, false},
      {"other loopback port", {"http", "127.0.0.1", 4002, "/abc/x"}, false},
      {"inline data", {"data", "", -1, ""}, true},
      {"other scheme", {"ftp", "skerry.local", -1, "/"}, false},
      {"panel link of the video folder", {"skerry-panel", "", -1, "40004"}, true},
      {"panel link of the face's Collect", {"skerry-panel", "", -1, "20210"}, true},
      {"other panel command", {"skerry-panel", "", -1, "40001"}, false},
      {"the exit", {"skerry-panel", "", -1, "20130"}, false},
  };
  for (const Row& row : rows)
    EXPECT_EQ(LocalPageMayReach(policy, row.request), row.allowed) << row.name;
}
