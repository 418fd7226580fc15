// The page scanner on pages built for each mode and each edge, scanned in
// memory (pages of the test web: tests/locate).
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "video/scanner.h"

namespace {

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
      {"relative to the page's folder", "<embed src=\"games/g.swf\" width=640 height=480>", 33,
       "http://games.test/dir/games/g.swf"},
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
