// The page scanner on pages built for each mode and each edge, scanned in
// memory, and on pages served by a scripted loopback server through both ways
// of fetching.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/web/script_server.h"
#include "tests/web/web_env.h"
#include "video/scanner.h"

namespace {

constexpr const char* PageUrl = "http://games.test/dir/page.htm";

struct Scan {
  int result;
  std::string text;
};

// Scans page in mode; result starts as entry. The page buffer is the size the
// scanner uses, so an over-long page is cut the same way.
Scan ScanText(const std::string& page, int mode, const char* marker, const char* entry = "") {
  std::vector<char> buffer(PageTextSize, '\0');
  std::size_t length = std::min(page.size(), PageTextSize - 1);
  std::memcpy(buffer.data(), page.data(), length);
  char result[ScanResultSize];
  std::snprintf(result, sizeof result, "%s", entry);
  int got = ScanPageText(buffer.data(), length, PageUrl, mode, marker, result);
  return {got, result};
}

struct ScanRow {
  const char* name;
  std::string page;
  int result;
  std::string text;
};

template <std::size_t N>
void CheckRows(const ScanRow (&rows)[N], int mode, const char* marker, const char* entry) {
  for (const ScanRow& row : rows) {
    Scan scan = ScanText(row.page, mode, marker, entry);
    EXPECT_EQ(scan.result, row.result) << row.name;
    EXPECT_EQ(scan.text, row.text) << row.name;
  }
}

TEST(ParseSizeValue, ReadsNumbersPerCentAndCommas) {
  struct Row {
    const char* text;
    std::uint32_t value;
  };
  const Row rows[] = {
      {"width=\"640\"", 640},
      {"height='100%'", 999},
      {"width=, 3", 0xFFFFFFFF},
      {" \"name\", 640", 0xFFFFFFFF},
      {" 480)", 480},
      {"width=", 0},
      {"name1, 2", 1},
  };
  for (const Row& row : rows) {
    const char* end = row.text + std::strlen(row.text);
    EXPECT_EQ(ParseSizeValue(row.text, end), row.value) << row.text;
  }
  // The end of the page stops it, even in the middle of a number's run.
  const char* digits = "width=123456";
  EXPECT_EQ(ParseSizeValue(digits, digits + 3), 0u);
  EXPECT_EQ(ParseSizeValue(digits, digits + 9), 123u);
}

TEST(MeasureObject, ReadsTagAttributesOrScriptArguments) {
  struct Row {
    const char* name;
    std::string text; // the anchor is at offset 0
    std::uint32_t width;
    std::uint32_t height;
  };
  const Row rows[] = {
      {"tag attributes", "\" width=\"640\" height=\"480\">", 640, 480},
      {"per cent", "\" WIDTH=\"100%\" HEIGHT=\"100%\">", 999, 999},
      {"stops at the tag's end", "\"> width=640 height=480", 0, 0},
      {"one attribute only: both from the comma walk", "\" width=640 , 320, 240)", 320, 240},
      {"script call with a quoted name", "\", \"name\", 640, 480)", 640, 480},
      {"a name with digits is the width", "\", \"game2\", 640, 480)", 2, 640},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ObjectSize size = MeasureObject(row.text.c_str(), row.text.size(), 0);
    EXPECT_EQ(size.width, row.width);
    EXPECT_EQ(size.height, row.height);
  }
}

TEST(ScanFieldValue, TakesTheValueUpToItsStop) {
  const std::string marker = "C5%7Chttp%3A";
  const ScanRow rows[] = {
      {"stop at %2C", "x=" + marker + "%2F%2Fv.test%2Fa.flv%2C22", 32,
       marker + "%2F%2Fv.test%2Fa.flv"},
      {"stop at an ampersand", "a&fmt=" + marker + "//v.test/b&x", 22, marker + "//v.test/b"},
      {"stop at a quote and comma", "[\"" + marker + "//v\",1]", 15, marker + "//v"},
      {"marker at the very first byte", marker + "//first&", 19, marker + "//first"},
      {"no stop within reach", marker + std::string(2000, 'a'), 1, "entry"},
      {"value of 512 characters", marker + std::string(500, 'a') + "&", 0, "entry"},
      {"value of 511 characters", marker + std::string(499, 'a') + "&", 511,
       marker + std::string(499, 'a')},
      {"no marker", "nothing here", 0, "entry"},
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
      {"301 by 201 is large", "<embed src=\"http://a.test/g.swf\" width=301 height=201>", 19,
       "http://a.test/g.swf"},
      {"capitals in the ending", "<embed src=\"http://a.test/G.SWF\" width=640 height=480>", 19,
       "http://a.test/G.SWF"},
      {"query link holding the wanted text before the question mark",
       "<embed src=\"http://a.test/g.swf?lvl=1&width=640&height=480\">", 46,
       "http://a.test/g.swf?lvl=1&width=640&height=480"},
      {"query link holding it behind",
       "<param value=\"http://a.test/play?file=g.swf\" width=640 height=480>", 29,
       "http://a.test/play?file=g.swf"},
      {"single quotes", "<embed src='http://a.test/g.swf' width=640 height=480>", 19,
       "http://a.test/g.swf"},
      {"after an equals sign", "<embed src=http://a.test/g.swf width=640 height=480>", 19,
       "http://a.test/g.swf"},
      {"script call with a name", "show(\"http://a.test/g.swf\", \"name\", 640, 480);", 19,
       "http://a.test/g.swf"},
      {"other endings are passed over", "<a href=\"http://a.test/x.htm\" width=640 height=480>", 0,
       ""},
      {"no closing quote", "<embed src=\"http://a.test/g.swf width=640", 0, ""},
      {"marker at the very first byte", "http://a.test/g.swf", 0, ""},
      {"https link", "<embed src=\"https://a.test/g.swf\" width=640 height=480>", 20,
       "https://a.test/g.swf"},
      {"https query link", "<param value=\"https://a.test/play?file=g.swf\" width=640 height=480>",
       30, "https://a.test/play?file=g.swf"},
      {"a scheme in capitals is no link",
       "<embed src=\"HTTPS://a.test/g.swf\" width=640 height=480>", 0, ""},
  };
  CheckRows(rows, ScanEmbedLink, "http://", ".swf");
}

TEST(ScanRelativeLink, BuildsAddressesFromThePage) {
  const ScanRow rows[] = {
      {"relative to the page's folder", "<embed src=\"games/g.swf\" width=640 height=480>", 33,
       "http://games.test/dir/games/g.swf"},
      {"with a leading slash", "<embed src=\"/root/g.swf\" width=640 height=480>", 28,
       "http://games.test/root/g.swf"},
      {"with ..", "<embed src='../up/g.swf' width=640 height=480>", 33,
       "http://games.test/dir/../up/g.swf"},
      {"small one stays in the result", "<embed src=\"s.swf\" width=30 height=20>", 0,
       "http://games.test/dir/s.swf"},
      {"outside quotes: swf given up", "x.swf is a file", 0, ".swf"},
      {"absolute link given up", "<embed src=\"http://a.test/g.swf\" width=640 height=480>", 0,
       ".swf"},
      {"absolute https link given up", "<embed src=\"https://a.test/g.swf\" width=640 height=480>",
       0, ".swf"},
      {"absolute given up, a large relative one follows",
       "<embed src=\"http://a.test/g.swf\" width=640 height=480><embed src=\"r.swf\" "
       "width=640 height=480>",
       27, "http://games.test/dir/r.swf"},
      {"capitals are not seen", "<embed src=\"g.SWF\" width=640 height=480>", 0, ".swf"},
      {"opening quote too far back",
       "<embed src=\"" + std::string(120, 'a') + ".swf\" width=640 height=480>", 0, ".swf"},
      {"marker at the very first byte", ".swf\" width=640 height=480", 0, ".swf"},
      {"ampersand behind: back to the double quote",
       "<param value=\"p.swf&q=1\" width=640 height=480>", 27, "http://games.test/dir/p.swf"},
  };
  CheckRows(rows, ScanRelativeLink, ".swf", ".swf");
}

TEST(ScanRelativeLink, NeverBuildsAResultOf512OrMore) {
  std::vector<char> page(PageTextSize, '\0');
  std::string text = "<embed src=\"" + std::string(90, 'a') + ".swf\" width=640 height=480>";
  std::memcpy(page.data(), text.data(), text.size());
  std::string url = "http://games.test/" + std::string(480, 'd') + "/page.htm";
  char result[ScanResultSize] = ".swf";
  EXPECT_EQ(ScanPageText(page.data(), text.size(), url.c_str(), ScanRelativeLink, ".swf", result),
            0);
  EXPECT_STREQ(result, ".swf");
}

TEST(ScanPage, CutsAndRestoresTheBufferInPlace) {
  // After a scan that gives every candidate up, the page reads as before,
  // apart from the delimiters that became double quotes.
  std::string text = "<a href=\"http://a.test/x.swf\" width=1 height=1>"
                     "<a href='http://a.test/y.htm'>";
  std::vector<char> page(PageTextSize, '\0');
  std::memcpy(page.data(), text.data(), text.size());
  char result[ScanResultSize] = ".swf";
  EXPECT_EQ(ScanPageText(page.data(), text.size(), PageUrl, ScanEmbedLink, "http://", result), 0);
  std::string after(page.data());
  EXPECT_EQ(after.size(), text.size());
  EXPECT_EQ(after, "<a href=\"http://a.test/x.swf\" width=1 height=1>"
                   "<a href='http://a.test/y.htm\">");
}

class ScanPageServed : public testing::Test {
 protected:
  void SetUp() override { env = MakeWebEnv(); }
  void TearDown() override {
    StopServer(server);
    DropWebEnv(env);
  }
  WebEnv env;
  ScriptServer server;
};

TEST_F(ScanPageServed, ReadsOnlyTheFirst65535Bytes) {
  std::string page = std::string(65000, ' ') + "<embed src=\"http://a.test/cut" +
                     std::string(600, 'c') + ".swf\" width=640 height=480>";
  std::string small = std::string(1000, ' ') + "<embed src=\"http://a.test/g.swf\" width=640 "
                                               "height=480>";
  StartServer(server, [=](const std::string& request) {
    return PlainReply(request.find("GET /big") == 0 ? page : small);
  });
  SetLoopbackRouteForTests("games.test", server.port);
  char result[ScanResultSize] = ".swf";
  EXPECT_EQ(ScanPage("http://games.test/big.htm", ScanEmbedLink, "http://", result), 0);
  EXPECT_STREQ(result, "");
  std::snprintf(result, sizeof result, ".swf");
  EXPECT_EQ(ScanPage("http://games.test/small.htm", ScanEmbedLink, "http://", result), 19);
  EXPECT_STREQ(result, "http://a.test/g.swf");
  EXPECT_TRUE(std::filesystem::is_empty(env.root / "system/Temp"));
}

TEST_F(ScanPageServed, FallsBackToTheFetcher) {
  // The URL download is refused (status 500); the fetcher saves any status.
  StartServer(server, [](const std::string& request) {
    if (request.find("User-Agent: GetHTTP/1.0") != std::string::npos)
      return PlainReply("<embed src=\"http://a.test/g.swf\" width=640 height=480>");
    return PlainReply("refused", "500 Server Error");
  });
  SetLoopbackRouteForTests("games.test", server.port);
  char result[ScanResultSize] = ".swf";
  testing::internal::CaptureStdout();
  EXPECT_EQ(ScanPage("http://games.test/page.htm", ScanEmbedLink, "http://", result), 19);
  testing::internal::GetCapturedStdout();
  EXPECT_STREQ(result, "http://a.test/g.swf");
  EXPECT_EQ(server.Requests().size(), 2u);
}

TEST_F(ScanPageServed, NothingFetchedLeavesTheResult) {
  char result[ScanResultSize] = ".swf";
  testing::internal::CaptureStdout();
  EXPECT_EQ(ScanPage("http://no-such-host.invalid/p.htm", ScanRelativeLink, ".swf", result), 0);
  testing::internal::GetCapturedStdout();
  EXPECT_STREQ(result, ".swf");
}

} // namespace
