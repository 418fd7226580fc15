// Game page location, the web search and the page scan on the test web; the
// page scanner on pages built for each mode and each edge, scanned in memory.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "games/locate.h"
#include "tests/testweb/test_web.h"
#include "tests/web/web_env.h"
#include "video/scanner.h"

namespace {

class LocateTest : public testing::Test {
 protected:
  void SetUp() override {
    env = MakeWebEnv("SearchHost=games.test\n");
    web.Put("games.test", "/game.htm",
            "<h1>Game</h1><embed src=\"http://games.test/files/big%20game.swf\" width=640 "
            "height=480>");
    web.Put("games.test", "/relative/index.html",
            "<embed src=\"play/large.swf\" width=640 height=480>");
    web.Answer("games.test", "/flash_show.php?id=7",
               {"body=<embed src=\"http://games.test/shown.swf\" width=800 height=600>"});
    web.Put("games.test", "/port.htm",
            "<embed src=\"http://games.test:81/g.swf\" width=640 height=480>");
    web.Put("games.test", "/nothing.htm", "<p>no game here</p>");
    web.Put("games.test", "/rocket.htm",
            "<embed src=\"https://games.test/files/Rocket.swf\" width=640 height=480>");
    const std::string results = "body=<b>>Search Results<</b>";
    web.Answer("games.test", "/search?p=puzzle",
               {results + "<li><a href=\"http://ad.test/x.htm\">ad</a>"
                          "<li><a class=yschttl href=\"**http%3a//games.test/nothing.htm\">1</a>"
                          "<li><a class=yschttl href=\"**http%3a//games.test/game.htm\">2</a>"});
    web.Answer("games.test", "/search?p=nothing",
               {results + "<li><a class=r href=\"http://games.test/nothing.htm\">none</a>"});
    const std::string rocket =
        results + "<li><a class=yschttl href=\"**https%3a//games.test/rocket.htm\">Rocket</a>";
    for (const char* name : {"Rocket%20Race", "Tom%20%26%20Jerry", "C%23", "1%2B1", "100%25"})
      web.Answer("games.test", std::string("/search?p=") + name, {rocket});
    web.Answer("games.test", "/search?p=火箭赛车",
               {results + "<li><a class=r href=\"https://games.test/rocket.htm\">火箭</a>"});
    // The URL download refuses this one, so the fetcher must ask escaped too.
    web.Answer("games.test", "/search?p=Space Race", {"status=500", rocket});
    ASSERT_TRUE(web.Start());
    web.WriteHosts(env.root / "system", {"games.test"});
  }
  void TearDown() override { DropWebEnv(env); }
  struct Row {
    const char *name, *text;
    int result;
    const char *output, *asked; // "unchanged" buffer; the targets asked, each with a blank
  };
  template <std::size_t N, typename Call> void CheckRows(const Row (&rows)[N], Call call) {
    for (const Row& row : rows) {
      SCOPED_TRACE(row.name);
      std::size_t before = web.Requests().size();
      char output[512] = "unchanged";
      testing::internal::CaptureStdout();
      EXPECT_EQ(call(row.text, output), row.result);
      testing::internal::GetCapturedStdout();
      EXPECT_STREQ(output, row.output);
      std::string asked;
      std::vector<TestWebRequest> requests = web.Requests();
      for (std::size_t i = before; i < requests.size(); ++i)
        asked += requests[i].target + " ";
      EXPECT_EQ(asked, row.asked);
    }
  }
  WebEnv env;
  TestWeb web;
};

TEST_F(LocateTest, FindsTheFileInTheOrderOfItsWays) {
  const Row rows[] = {
      {"a direct link is the file", "http://games.test/g/Game.SWF", 0,
       "http://games.test/g/Game.SWF", ""},
      {"a page with a large embed, decoded", "http://games.test/game.htm", 0,
       "http://games.test/files/big game.swf", "/game.htm "},
      {"a folder link is scanned, relative link", "http://games.test/relative/", 0,
       "http://games.test/relative/play/large.swf", "/relative/ /relative/ "},
      {"a list page becomes its show page", "http://games.test/flash_games.php?id=7", 0,
       "http://games.test/shown.swf", "/flash_show.php?id=7 "},
      {"a port in the found link is refused", "http://games.test/port.htm", -2,
       "http://games.test:81/g.swf", "/port.htm "},
      {"a plain word: the search page itself is scanned", "nothing", -1, "unchanged",
       "/search?p=nothing /search?p=nothing "},
  };
  CheckRows(rows, [](const char* text, char* out) { return LocateGameFile(text, out, ".swf"); });
}

TEST_F(LocateTest, SearchesANameThroughTheResultPage) {
  const char* rocket = "https://games.test/files/Rocket.swf";
  const Row rows[] = {
      {"first marker, second result holds the game", "puzzle", 0,
       "http://games.test/files/big game.swf",
       "/search?p=puzzle /nothing.htm /nothing.htm /game.htm "},
      {"found by no result", "nothing", -1,
       "class=", "/search?p=nothing /search?p=nothing /nothing.htm /nothing.htm "},
      {"a blank, and an https result", "Rocket Race", 0, rocket,
       "/search?p=Rocket%20Race /rocket.htm "},
      {"an ampersand stays in the value", "Tom & Jerry", 0, rocket,
       "/search?p=Tom%20%26%20Jerry /rocket.htm "},
      {"a number sign", "C#", 0, rocket, "/search?p=C%23 /rocket.htm "},
      {"a plus", "1+1", 0, rocket, "/search?p=1%2B1 /rocket.htm "},
      {"a per cent sign without digits", "100%", 0, rocket, "/search?p=100%25 /rocket.htm "},
      {"Chinese, on the second marker", "火箭赛车", 0, rocket,
       "/search?p=%E7%81%AB%E7%AE%AD%E8%B5%9B%E8%BD%A6 "
       "/search?p=%E7%81%AB%E7%AE%AD%E8%B5%9B%E8%BD%A6 /rocket.htm "},
      {"refused by the download: the fetcher asks escaped", "Space Race", 0, rocket,
       "/search?p=Space%20Race /search?p=Space%20Race /rocket.htm "},
  };
  CheckRows(rows, SearchGameLink);
}

TEST_F(LocateTest, ScanPageReadsTheFirst65535BytesThroughEitherWayOfFetching) {
  web.Put("games.test", "/big.htm",
          std::string(65000, ' ') + "<embed src=\"http://a.test/cut" + std::string(600, 'c') +
              ".swf\" width=640 height=480>");
  web.Put("games.test", "/small.htm",
          std::string(1000, ' ') + "<embed src=\"http://a.test/g.swf\" width=640 height=480>");
  // 300 MB of page: only what the scan reads is fetched, and nothing stays.
  std::string line = "<embed src=\"http://a.test/g.swf\" width=640 height=480>";
  web.Answer("games.test", "/huge.htm",
             {"body=" + line, "repeat=" + std::to_string((300 << 20) / line.size())});
  // The URL download refuses a 500; the fetcher saves the page all the same.
  web.Answer("games.test", "/refused.htm",
             {"status=500", "body=<embed src=\"http://a.test/g.swf\" width=640 height=480>"});
  const Row rows[] = {
      {"the link cut at 65535 bytes", "http://games.test/big.htm", 0, "", "/big.htm "},
      {"a small page", "http://games.test/small.htm", 19, "http://a.test/g.swf", "/small.htm "},
      {"300 MB", "http://games.test/huge.htm", 19, "http://a.test/g.swf", "/huge.htm "},
      {"a 500", "http://games.test/refused.htm", 19, "http://a.test/g.swf",
       "/refused.htm /refused.htm "},
  };
  CheckRows(rows, [](const char* url, char* out) {
    std::snprintf(out, ScanResultSize, ".swf"); // the ending sought
    return ScanPage(url, ScanEmbedLink, "http://", out);
  });
  EXPECT_TRUE(std::filesystem::is_empty(env.root / "system/Temp"));
  EXPECT_FALSE(std::filesystem::exists(env.CacheFolder())) << "a page left a cache copy";
}

constexpr const char* PageUrl = "http://games.test/dir/page.htm";

struct ScanRow {
  const char* name;
  std::string page;
  int result;
  std::string text;
};

// Scans each page in mode, the result starting as entry, in a buffer of the
// size the scanner uses.
template <std::size_t N>
void CheckRows(const ScanRow (&rows)[N], int mode, const char* marker, const char* entry) {
  for (const ScanRow& row : rows) {
    std::vector<char> buffer(PageTextSize, '\0');
    std::memcpy(buffer.data(), row.page.data(), row.page.size());
    char result[ScanResultSize];
    std::snprintf(result, sizeof result, "%s", entry);
    EXPECT_EQ(ScanPageText(buffer.data(), row.page.size(), PageUrl, mode, marker, result),
              row.result)
        << row.name;
    EXPECT_EQ(std::string(result), row.text) << row.name;
  }
}

TEST(ScanFieldValue, TakesTheValueUpToItsStop) {
  const std::string marker = "C5%7Chttp%3A";
  const ScanRow rows[] = {
      {"stop at %2C", "x=" + marker + "%2F%2Fv.test%2Fa.flv%2C22", 32,
       marker + "%2F%2Fv.test%2Fa.flv"},
      {"stop at an ampersand", "a&fmt=" + marker + "//v.test/b&x", 22, marker + "//v.test/b"},
      {"value of 512 characters", marker + std::string(500, 'a') + "&", 0, "entry"},
      {"value of 511 characters", marker + std::string(499, 'a') + "&", 511,
       marker + std::string(499, 'a')},
      {"the https form of the marker", "x=C5%7Chttps%3A%2F%2Fv.test%2Fa.flv%2C22", 33,
       "C5%7Chttps%3A%2F%2Fv.test%2Fa.flv"},
  };
  CheckRows(rows, ScanFieldValue, marker.c_str(), "entry");
}

TEST(ScanEmbedLink, PicksTheFirstLargeObject) {
  const ScanRow rows[] = {
      {"per-cent sizes are large",
       "<embed src=\"http://a.test/g.swf\" width=\"100%\" height=\"100%\"><embed "
       "src=\"http://a.test/h.swf\" width=900 height=900>",
       19, "http://a.test/g.swf"},
      {"300 by 200 is not large; a later link replaces it",
       "<embed src=\"http://a.test/small.swf\" width=300 height=200><a "
       "href=\"http://a.test/tiny.swf\" width=10 height=10>",
       0, "http://a.test/tiny.swf"},
      {"capitals in the ending", "<embed src=\"http://a.test/G.SWF\" width=640 height=480>", 19,
       "http://a.test/G.SWF"},
      {"query link holding the wanted text before the question mark",
       "<embed src=\"http://a.test/g.swf?lvl=1&width=640&height=480\">", 46,
       "http://a.test/g.swf?lvl=1&width=640&height=480"},
      {"query link holding it behind",
       "<param value=\"http://a.test/play?file=g.swf\" width=640 height=480>", 29,
       "http://a.test/play?file=g.swf"},
      {"script call with a name", "show(\"http://a.test/g.swf\", \"name\", 640, 480);", 19,
       "http://a.test/g.swf"},
      {"https link", "<embed src=\"https://a.test/g.swf\" width=640 height=480>", 20,
       "https://a.test/g.swf"},
      {"a scheme in capitals is no link",
       "<embed src=\"HTTPS://a.test/g.swf\" width=640 height=480>", 0, ""},
      {"one attribute only: both from the comma walk",
       "show(\"http://a.test/g.swf\" width=640 , 320, 240)", 19, "http://a.test/g.swf"},
  };
  CheckRows(rows, ScanEmbedLink, "http://", ".swf");
}

TEST(ScanRelativeLink, BuildsAddressesFromThePage) {
  const ScanRow rows[] = {
      {"with ..", "<embed src='../up/g.swf' width=640 height=480>", 33,
       "http://games.test/dir/../up/g.swf"},
      {"small one stays in the result", "<embed src=\"s.swf\" width=30 height=20>", 0,
       "http://games.test/dir/s.swf"},
      {"absolute https link given up", "<embed src=\"https://a.test/g.swf\" width=640 height=480>",
       0, ".swf"},
      {"absolute given up, a large relative one follows",
       "<embed src=\"http://a.test/g.swf\" width=640 height=480><embed src=\"r.swf\" "
       "width=640 height=480>",
       27, "http://games.test/dir/r.swf"},
      {"opening quote too far back",
       "<embed src=\"" + std::string(120, 'a') + ".swf\" width=640 height=480>", 0, ".swf"},
      {"ampersand behind: back to the double quote",
       "<param value=\"p.swf&q=1\" width=640 height=480>", 27, "http://games.test/dir/p.swf"},
  };
  CheckRows(rows, ScanRelativeLink, ".swf", ".swf");
}

} // namespace
