// Names holding markup (a folder and a file that spell "</script>"): menus and
// player pages keep an ordinary page's tags and give each name back as a
// browser reads it.
#include "library_fixture.h"

#include "library/player_pages.h"
#include "platform/page_text.h"

#include <cctype>

namespace {

// What a browser makes of a quoted attribute value or text.
std::string Unreference(std::string text) {
  Replace(text, "&lt;", "<");
  Replace(text, "&gt;", ">");
  Replace(text, "&quot;", "\"");
  Replace(text, "&#39;", "'");
  Replace(text, "&amp;", "&"); // last: "&amp;lt;" is "&lt;" as text
  return text;
}

std::string PercentDecoded(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i)
    if (text[i] == '%' && i + 2 < text.size() && std::isxdigit(text[i + 1]) &&
        std::isxdigit(text[i + 2]))
      out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)), i += 2;
    else
      out += text[i];
  return out;
}

// The value of the first attribute `name="..."` after from.
std::string Attribute(const std::string& page, const std::string& name, std::size_t from = 0) {
  std::size_t at = page.find(name + "=\"", from);
  if (at == std::string::npos)
    return "<none>";
  at += name.size() + 2;
  return page.substr(at, page.find('"', at) - at);
}

// The tags of a page, each reduced to its name: the shape a browser builds (a
// name's "<script" would be one more).
std::vector<std::string> TagNames(const std::string& page) {
  std::vector<std::string> names;
  for (std::size_t at = page.find('<'); at != std::string::npos; at = page.find('<', at + 1)) {
    std::size_t end = at + 1;
    while (end < page.size() && (std::isalnum(page[end]) || page[end] == '/'))
      ++end;
    names.push_back(page.substr(at, end - at));
  }
  return names;
}

class HostileNames : public LibraryFolder {};

TEST_F(HostileNames, MenusAndPlayerPagesHoldNoMarkupFromNames) {
  const std::string folder = "x\"><b onclick 'y'><script>alert(\"&amp;\")<";
  const std::string file = "script> & 'q' #1?%41 x=1.swf";
  const std::string game = AddFile("Game/" + folder + "/" + file);
  ASSERT_EQ(RebuildGame("*.swf"), 1);
  std::string hostile = ReadWhole(GameMenu());
  fs::remove_all(program + "/Game");
  AddFile("Game/plain/a.swf");
  ASSERT_EQ(RebuildGame("*.swf"), 1);
  EXPECT_EQ(TagNames(hostile), TagNames(ReadWhole(GameMenu()))) << hostile;
  std::string link = Unreference(Attribute(hostile, "href"));
  const std::string prefix = "http://skerry.local/ombrel/TodayAD.asp?data1=";
  ASSERT_EQ(link.compare(0, prefix.size(), prefix), 0) << link;
  // Nothing in the query that a browser would cut off or split.
  EXPECT_EQ(link.find_first_of("#&\"<>'", prefix.size()), std::string::npos) << link;
  EXPECT_EQ(PercentDecoded(link.substr(prefix.size())), game);
  EXPECT_EQ(Unreference(Attribute(hostile, "alt")), folder + "/" + file);
  EXPECT_EQ(Unreference(Attribute(hostile, "title")), folder + "/" + file);

  // Videos: the menu cell leads to the page beside the file, and the page
  // shows the name as text and links the file, for each kind of page.
  const std::string videoFolder = "v\"<b>&'=";
  WriteWhole(system + "/registry.ini",
             "[HKEY_CLASSES_ROOT\\CLSID\\{6BF52A52-394A-11d3-B153-00C04F79FAA6}]\n@=player\n");
  struct Row {
    const char* name;
    std::vector<std::string> tags; // of the page of an ordinary name
  } rows[] = {
      {"a\"'<i>&amp;#?.mpg", TagNames(PlayerPageText(PlayerTemplate::PlayerObject, "a", "a"))},
      {"b\"'<i>&amp;#?.mov", TagNames(PlayerPageText(PlayerTemplate::PlainEmbed, "a", "a"))},
      {"c\"'<i>&amp;#?+.flv", TagNames(PlayerPageText(PlayerTemplate::FlashPlayer, "a/b", "b"))},
  };
  for (const Row& row : rows)
    AddFile("Video/" + videoFolder + "/" + row.name);
  ASSERT_EQ(RebuildMedia("*.mpg,*.mov,*.flv"), 1);
  std::string menu = ReadWhole(MediaMenu());
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::string inside = videoFolder + "/" + row.name;
    std::size_t cell = menu.find("alt=\"" + PageText(inside) + "\"");
    ASSERT_NE(cell, std::string::npos);
    EXPECT_EQ(Unreference(Attribute(menu, "title", cell)), inside);
    std::string href = Unreference(Attribute(menu, "href", menu.rfind("<td><a", cell)));
    EXPECT_EQ(href.find_first_of("#?\"<>'&"), std::string::npos) << href;
    EXPECT_EQ(PercentDecoded(href), "../Video/" + inside + ".htw");
    std::string page = ReadWhole(program + "/Video/" + inside + ".htw");
    EXPECT_EQ(TagNames(page), row.tags) << page;
    if (std::string(row.name).find(".flv") != std::string::npos) {
      std::string movie = Unreference(Attribute(page, "value"));
      std::string video = movie.substr(movie.find("video=") + 6);
      EXPECT_EQ(movie.compare(0, 15, "../flvplay.swf?"), 0) << movie;
      EXPECT_EQ(PercentDecoded(video.substr(0, video.find('&'))), inside);
    } else {
      std::string source = row.tags.size() > 8 ? Attribute(page, "Value", page.find("\"URL\""))
                                               : Attribute(page, "SRC");
      EXPECT_EQ(PercentDecoded(Unreference(source)), row.name);
      EXPECT_NE(page.find("> " + PageText(row.name)), std::string::npos);
    }
  }
  fs::remove_all(program + "/Video");
  for (const char* name : {"a.mpg", "b.mov", "c.flv"})
    AddFile(std::string("Video/v/") + name);
  ASSERT_EQ(RebuildMedia("*.mpg,*.mov,*.flv"), 1);
  EXPECT_EQ(TagNames(menu), TagNames(ReadWhole(MediaMenu())));
}

// Names the index can't keep as they stand, and case twins, each get a number
// the next rebuild finds again (the index neither dropped nor grown).
TEST_F(HostileNames, EveryNameGetsANumberOfItsOwn) {
  std::vector<std::string> names = {"A.swf",     "a.swf",      "x=1.swf",    ";c.swf",
                                    "[b].swf",   "%PATH%.swf", "  lead.swf", "q@@r.swf",
                                    "b\\ck.swf", "\"q\".swf",  "s=1/;in.swf"};
  for (const std::string& name : names)
    AddFile("Game/" + name);
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(RebuildGame("*.swf"), 1);
    std::vector<std::string> alts = Alts(ReadWhole(GameMenu()));
    for (std::string& alt : alts)
      alt = Unreference(alt);
    EXPECT_THAT(alts, testing::UnorderedElementsAreArray(names));
    EXPECT_EQ(Index("Status", "Files"), "11");
  }
}

} // namespace
