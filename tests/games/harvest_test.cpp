// The cache harvest: the pass table at its edges with the clock and the file
// times given explicitly (local time is UTC here), a harvest over a real
// cache folder answered from a script, and the purge of stale copies.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

#include "games/cache_harvest.h"
#include "panel/panel_state.h"
#include "platform/files.h"
#include "platform/headless/headless.h"
#include "shell/module_path.h"

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t Second = 10'000'000; // 100 ns units
constexpr std::int64_t EpochUnits = 116'444'736'000'000'000;

std::int64_t fixedNow = 0; // ns since 1970
std::int64_t FixedClock() {
  return fixedNow;
}

// ns since 1970 of a local count (local time is UTC in these tests).
std::int64_t NanosOf(std::int64_t units) {
  return (units - EpochUnits) * 100;
}

std::int64_t NanosOfDate(int year, int month, int day, int hour) {
  std::tm t{};
  t.tm_year = year - 1900;
  t.tm_mon = month - 1;
  t.tm_mday = day;
  t.tm_hour = hour;
  return static_cast<std::int64_t>(timegm(&t)) * 1'000'000'000;
}

class Harvest : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    tzset();
    SetHarvestClockForTests(FixedClock);
  }
  void TearDown() override { SetHarvestClockForTests(nullptr); }
};

TEST_F(Harvest, PassTableAtItsEdges) {
  // A present 100 s into a slot of the upper half.
  std::int64_t slot = (EpochUnits + 56 * 365 * 86400 * Second) & ~((std::int64_t(1) << 32) - 1);
  struct Row {
    const char* name;
    std::int64_t nowUnits;  // the present, a local count
    std::int64_t madeUnits; // creation, a local count
    std::uint64_t size;
    const char* passes; // which of passes 0-3 admit it
  } rows[] = {
      {"500 KB to the byte, fresh", slot + 100 * Second, slot + 90 * Second, 512'000, "-123"},
      {"one byte less than 501 KB", slot + 100 * Second, slot + 90 * Second, 513'023, "-123"},
      {"501 KB, fresh", slot + 100 * Second, slot + 90 * Second, 513'024, "0123"},
      {"501 KB, 140 s old", slot + 200 * Second, slot + 60 * Second, 513'024, "-123"},
      {"40 KB, fresh", slot + 100 * Second, slot + 90 * Second, 40 * 1024, "--2-"},
      {"300 KB, 7 minutes old in the same slot", slot + 425 * Second, slot + 5 * Second, 300 * 1024,
       "-123"},
      {"300 KB, a second old across a slot boundary", slot + Second / 2, slot - Second / 2,
       300 * 1024, "--23"},
      {"60 KB, about 40 minutes old", slot + 100 * Second, slot - 2400 * Second, 60 * 1024, "---3"},
      {"60 KB, 80 minutes old", slot + 100 * Second, slot - 4800 * Second, 60 * 1024, "----"},
      {"600 KB in the next slot", slot + 100 * Second, slot + (std::int64_t(1) << 32), 600 * 1024,
       "----"},
  };
  for (const Row& row : rows) {
    fixedNow = NanosOf(row.nowUnits);
    FileEntry e;
    e.creationTime = NanosOf(row.madeUnits);
    e.size = row.size;
    std::string got;
    for (std::uint32_t pass = 0; pass < 4; ++pass)
      got += HarvestAdmits(pass, e, LocalNow()) ? static_cast<char>('0' + pass) : '-';
    EXPECT_EQ(got, row.passes) << row.name;
  }

  // Pass 4: read today, written on another day number, at least 76 KB.
  fixedNow = NanosOfDate(2026, 3, 5, 12);
  struct Late {
    const char* name;
    std::int64_t access, write;
    std::uint64_t size;
    bool admitted;
  } late[] = {
      {"76 KB exactly", NanosOfDate(2026, 3, 5, 9), NanosOfDate(2026, 3, 2, 9), 76 * 1024, true},
      {"75 KB and 1,023 bytes", NanosOfDate(2026, 3, 5, 9), NanosOfDate(2026, 3, 2, 9),
       76 * 1024 - 1, false},
      {"written the 5th of last month", NanosOfDate(2026, 3, 5, 9), NanosOfDate(2026, 2, 5, 9),
       100 * 1024, false},
      {"written today", NanosOfDate(2026, 3, 5, 1), NanosOfDate(2026, 3, 5, 1), 100 * 1024, false},
      {"read yesterday", NanosOfDate(2026, 3, 4, 9), NanosOfDate(2026, 3, 2, 9), 100 * 1024, false},
      {"read on this day a year ago", NanosOfDate(2025, 3, 5, 9), NanosOfDate(2025, 3, 2, 9),
       100 * 1024, false},
  };
  for (const Late& row : late) {
    FileEntry e;
    e.lastAccessTime = row.access;
    e.lastWriteTime = row.write;
    e.size = row.size;
    EXPECT_EQ(HarvestAdmits(4, e, LocalNow()), row.admitted) << row.name;
  }
}

TEST_F(Harvest, OffersAFreshLargeFileUntilCancelled) {
  fs::path root = fs::temp_directory_path() / ("skerry-harvest-" + std::to_string(getpid()));
  fs::remove_all(root);
  fs::path cache = root / "Cache";
  fs::create_directories(cache / "AB12CD34");
  fs::create_directories(cache / "LOCKED00");
  fs::create_directories(root / "program" / "Web");
  std::ofstream(root / "program" / "Define.ini") << "[Web]\n";
  SetModulePathForTests((root / "program" / "skerry").string());
  std::ofstream(cache / "AB12CD34" / "big%20game[1].swf") << std::string(600 * 1024, 'x');
  std::ofstream(cache / "AB12CD34" / "page[1].htm") << std::string(600 * 1024, 'x');
  fs::create_directory_symlink(cache, cache / "AB12CD34" / "loop");
  chmod((cache / "LOCKED00").c_str(), 0);

  std::vector<FileEntry> found;
  ASSERT_TRUE(FindFiles((cache / "AB12CD34").string(), "big*", found));
  ASSERT_EQ(found.size(), 1u);
  // 20 s after the file was made, but within its slot of the upper half.
  std::int64_t made = static_cast<std::int64_t>(LocalFileTime(found[0].creationTime));
  std::int64_t slotEnd = ((made >> 32) + 1) << 32;
  fixedNow = NanosOf(std::min(made + 20 * Second, slotEnd - Second / 1000));
  std::time_t madeSeconds = static_cast<std::time_t>(found[0].creationTime / 1'000'000'000);
  std::tm madeTime{};
  gmtime_r(&madeSeconds, &madeTime);

  HeadlessInstall();
  ResetPanelState(Panel());
  Panel().PaneSlots[ChannelGame] = 9;
  HeadlessScriptAnswers({IDNO, IDNO, IDNO, IDNO});
  EXPECT_EQ(HarvestCache(cache.c_str(), "*.swf"), 4); // passes 0 to 3; pass 4 wants an old write
  ASSERT_EQ(HeadlessBoxes().size(), 4u);
  char text[400];
  std::snprintf(text, sizeof text,
                "Found a game named \"big%%20game[1].swf\" (Size : 600 KB , Time : %d/%d/%d %d:%d)"
                "\n\nDo you want to collect it to the game folder?\n\nCOLLECT(YES), TRY NEXT(NO) "
                "or CANCEL(CANCEL)!",
                madeTime.tm_year + 1900, madeTime.tm_mon + 1, madeTime.tm_mday, madeTime.tm_hour,
                madeTime.tm_min);
  EXPECT_EQ(HeadlessBoxes()[0].text, text);
  EXPECT_EQ(HeadlessBoxes()[0].title, "Collect The Game!!!");
  EXPECT_EQ(HeadlessBoxes()[0].owner, 0u);
  EXPECT_EQ(HeadlessBoxes()[0].type, MB_YESNOCANCEL);
  EXPECT_FALSE(fs::exists(root / "program" / "Web" / "Menu1.htm"));

  HeadlessInstall();
  HeadlessScriptAnswers({IDCANCEL});
  EXPECT_EQ(HarvestCache(cache.c_str(), "*.swf"), 1);

  fixedNow -= 3'600'000'000'000; // an hour before the file was made
  HeadlessInstall();
  EXPECT_EQ(HarvestCache(cache.c_str(), "*.swf"), 0);
  EXPECT_EQ(HarvestCache((root / "none").c_str(), "*.swf"), 0);

  chmod((cache / "LOCKED00").c_str(), 0700);
  SetModulePathForTests("");
  fs::remove_all(root);
}

TEST(PurgeCachedCopies, DeletesTheLinksBracketedCopiesOnly) {
  fs::path cache = fs::temp_directory_path() / ("skerry-purge-" + std::to_string(getpid()));
  fs::remove_all(cache);
  for (const char* sub : {"AAAA0000", "BBBB1111", "BBBB1111/deep"})
    fs::create_directories(cache / sub);
  const char* files[] = {
      "AAAA0000/List[1].htm", "BBBB1111/list[12].HTM", "BBBB1111/deep/List[3].htm",
      "AAAA0000/List.htm",    "AAAA0000/List[1].html", "AAAA0000/MyList[1].htm",
      "AAAA0000/[1]."};
  for (const char* f : files)
    std::ofstream(cache / f) << "x";
  fs::create_directory(cache / "AAAA0000" / "List[9].htm"); // a folder is no copy

  EXPECT_EQ(PurgeCachedCopies("http://web.test/top/List.htm", cache.c_str()), 3);
  EXPECT_FALSE(fs::exists(cache / "BBBB1111" / "deep" / "List[3].htm"));
  EXPECT_TRUE(fs::exists(cache / "AAAA0000" / "List.htm"));
  EXPECT_TRUE(fs::exists(cache / "AAAA0000" / "List[1].html"));
  EXPECT_TRUE(fs::exists(cache / "AAAA0000" / "MyList[1].htm"));
  EXPECT_TRUE(fs::exists(cache / "AAAA0000" / "List[9].htm"));
  // A link ending in a slash gives "[*]."; a text with no slash names nothing.
  EXPECT_EQ(PurgeCachedCopies("http://web.test/", cache.c_str()), 1);
  EXPECT_EQ(PurgeCachedCopies("List.htm", cache.c_str()), 0);
  EXPECT_EQ(PurgeCachedCopies("http://web.test/List.htm", (cache / "none").c_str()), 0);
  fs::remove_all(cache);
}

} // namespace
