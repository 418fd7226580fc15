// Game page location on a local site served by a scripted loopback server,
// which also plays the web search (SearchHost points at it).
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "games/locate.h"
#include "tests/web/script_server.h"
#include "tests/web/web_env.h"

namespace {

const std::map<std::string, std::string> Site = {
    {"/game.htm", "<h1>Game</h1><embed src=\"http://games.test/files/big%20game.swf\" width=640 "
                  "height=480>"},
    {"/mixed.htm", "<embed src=\"rel/large.swf\" width=640 height=480>"
                   "<embed src=\"http://games.test/small.swf\" width=50 height=50>"},
    {"/relative/", "<embed src=\"play/large.swf\" width=640 height=480>"},
    {"/flash_show.php?id=7", "<embed src=\"http://games.test/shown.swf\" width=800 height=600>"},
    {"/port.htm", "<embed src=\"http://games.test:81/g.swf\" width=640 height=480>"},
    {"/search?p=puzzle", "<b>>Search Results<</b><li><a href=\"http://ad.test/x.htm\">ad</a>"
                         "<li><a class=yschttl href=\"**http%3a//games.test/nothing.htm\">first</a>"
                         "<li><a class=yschttl href=\"**http%3a//games.test/game.htm\">second</a>"},
    {"/search?p=maze", "<b>>Search Results<</b><li><a class=\"r\" "
                       "href=\"http://games.test/flash_games.php?id=7\">maze</a>"},
    {"/search?p=nothing", "<b>>Search Results<</b><li><a class=r href=\"http://games.test/"
                          "nothing.htm\">none</a>"},
    {"/nothing.htm", "<p>no game here</p>"},
};

class LocateTest : public testing::Test {
 protected:
  void SetUp() override {
    env = MakeWebEnv("SearchHost=games.test\n");
    Serve();
  }
  void Serve() {
    StartServer(server, [](const std::string& request) {
      std::size_t end = request.find(' ', 4);
      std::string path = request.substr(4, end - 4);
      auto page = Site.find(path);
      return page == Site.end() ? PlainReply("missing", "404 Not Found") : PlainReply(page->second);
    });
    SetLoopbackRouteForTests("games.test", server.port);
  }
  void TearDown() override {
    StopServer(server);
    DropWebEnv(env);
  }
  // The paths asked for, in order, each followed by a blank.
  std::string Asked() {
    std::string paths;
    for (const std::string& r : server.Requests())
      paths += r.substr(4, r.find(' ', 4) - 4) + " ";
    return paths;
  }
  struct Row {
    const char* name;
    const char* text;
    int result;
    const char* output; // "unchanged" for an untouched buffer
    const char* asked;
  };
  template <std::size_t N, typename Call> void CheckRows(const Row (&rows)[N], Call call) {
    for (const Row& row : rows) {
      SCOPED_TRACE(row.name);
      char output[512] = "unchanged";
      EXPECT_EQ(call(row.text, output), row.result);
      EXPECT_STREQ(output, row.output);
      EXPECT_EQ(Asked(), row.asked);
      ResetServer(server);
      Serve();
    }
  }
  WebEnv env;
  ScriptServer server;
};

TEST_F(LocateTest, FindsTheFileInTheOrderOfItsWays) {
  const Row rows[] = {
      {"a direct link is the file", "http://games.test/g/Game.SWF", 0,
       "http://games.test/g/Game.SWF", ""},
      {"a picture leads nowhere", "http://games.test/a.jpg", -1, "unchanged", ""},
      {"a query with a point in its last five", "http://games.test/p?f=a.gif", -1, "unchanged", ""},
      {"a page with a large embed, decoded", "http://games.test/game.htm", 0,
       "http://games.test/files/big game.swf", "/game.htm "},
      {"an absolute candidate beats a relative one", "http://games.test/mixed.htm", 0,
       "http://games.test/small.swf", "/mixed.htm "},
      {"a folder link is scanned, relative link", "http://games.test/relative/", 0,
       "http://games.test/relative/play/large.swf", "/relative/ /relative/ "},
      {"a list page becomes its show page", "http://games.test/flash_games.php?id=7", 0,
       "http://games.test/shown.swf", "/flash_show.php?id=7 "},
      {"a port in the found link is refused", "http://games.test/port.htm", -2,
       "http://games.test:81/g.swf", "/port.htm "},
      {"a page without a game", "http://games.test/nothing.htm", -1, "unchanged",
       "/nothing.htm /nothing.htm "},
      {"a plain word: the search page itself is scanned", "nothing", -1, "unchanged",
       "/search?p=nothing /search?p=nothing "},
  };
  CheckRows(rows, [](const char* text, char* out) { return LocateGameFile(text, out, ".swf"); });
}

TEST_F(LocateTest, SearchesANameThroughTheResultPage) {
  const Row rows[] = {
      {"first marker, second result holds the game", "puzzle", 0,
       "http://games.test/files/big game.swf",
       "/search?p=puzzle /nothing.htm /nothing.htm /game.htm "},
      {"second marker after the first gave nothing", "maze", 0, "http://games.test/shown.swf",
       "/search?p=maze /search?p=maze /flash_show.php?id=7 "},
      {"found by no result", "nothing", -1,
       "class=", "/search?p=nothing /search?p=nothing /nothing.htm /nothing.htm "},
      {"a link is not searched", "http://games.test/game.htm", -1, "http://games.test/game.htm",
       ""},
  };
  CheckRows(rows, SearchGameLink);
}

TEST(BuildSearchAddress, UsesTheSearchHostSetting) {
  WebEnv env = MakeWebEnv();
  char address[512];
  BuildSearchAddress("two words", address);
  EXPECT_EQ(std::string(address),
            std::string("http://") + DefaultSearchHost + "/search?p=two words");
  DropWebEnv(env);
  env = MakeWebEnv("SearchHost=find.test\n");
  std::string longQuery(600, 'q');
  EXPECT_EQ(BuildSearchAddress(longQuery.c_str(), address), 511);
  EXPECT_EQ(std::string(address).rfind("http://find.test/search?p=qqq", 0), 0u);
  DropWebEnv(env);
}

} // namespace
