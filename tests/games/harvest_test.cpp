// The cache harvest's pass table at its edges, its offer, and the purge of
// stale copies. Saving a file is the collect run's.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "games/cache_harvest.h"
#include "games/cache_purge.h"
#include "panel/panel_state.h"
#include "platform/files.h"
#include "platform/headless/headless.h"
#include "tests/carrier/carrier_fixture.h"

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t Second = 10'000'000; // 100 ns units
constexpr std::int64_t EpochUnits = 116'444'736'000'000'000;

std::int64_t fixedNow = 0; // ns since 1970

// ns since 1970 of a local count (local time is UTC in these tests).
std::int64_t NanosOf(std::int64_t units) {
  return (units - EpochUnits) * 100;
}

// ns since 1970 of a day of March 2026 at 9:00, or of a month and day of year.
std::int64_t Day(int day, int month = 3, int year = 2026) {
  std::tm t{};
  t.tm_year = year - 1900;
  t.tm_mon = month - 1;
  t.tm_mday = day;
  t.tm_hour = 9;
  return static_cast<std::int64_t>(timegm(&t)) * 1'000'000'000;
}

TEST(Harvest, PassTableAtItsEdges) {
  setenv("TZ", "UTC", 1);
  tzset();
  SetHarvestClockForTests([] { return fixedNow; });
  // A present 100 s into a slot of the upper half.
  const std::int64_t slot =
      (EpochUnits + 56 * 365 * 86400 * Second) & ~((std::int64_t(1) << 32) - 1);
  const std::int64_t now = slot + 100 * Second;
  struct Row {
    std::int64_t nowUnits, madeUnits; // local counts
    std::uint64_t size;
    const char* passes; // which of passes 0-3 admit it
  } rows[] = {
      {now, slot + 90 * Second, 513'023, "-123"},                 // 500 KB and a byte less than 501
      {now, slot + 90 * Second, 513'024, "0123"},                 // 501 KB, fresh
      {slot + 200 * Second, slot + 60 * Second, 513'024, "-123"}, // 140 s old
      {now, slot + 90 * Second, 40 * 1024, "--2-"},
      {slot + Second / 2, slot - Second / 2, 300 * 1024, "--23"}, // across a slot boundary
      {now, slot - 2400 * Second, 60 * 1024, "---3"},
      {now, slot - 4800 * Second, 60 * 1024, "----"},
      {now, slot + (std::int64_t(1) << 32), 600 * 1024, "----"}, // in the next slot
  };
  for (const Row& row : rows) {
    fixedNow = NanosOf(row.nowUnits);
    FileEntry e;
    e.creationTime = NanosOf(row.madeUnits);
    e.size = row.size;
    std::string got;
    for (std::uint32_t pass = 0; pass < 4; ++pass)
      got += HarvestAdmits(pass, e, LocalNow()) ? static_cast<char>('0' + pass) : '-';
    EXPECT_EQ(got, row.passes) << row.size << " " << row.nowUnits - row.madeUnits;
  }

  // Pass 4: read today, written on another day number, at least 76 KB.
  fixedNow = Day(5) + 3600'000'000'000;
  struct Late {
    std::int64_t access, write;
    std::uint64_t size;
    bool admitted;
  } late[] = {
      {Day(5), Day(2), 76 * 1024, true},      {Day(5), Day(2), 76 * 1024 - 1, false},
      {Day(5), Day(5, 2), 100 * 1024, false}, {Day(5), Day(5), 100 * 1024, false},
      {Day(4), Day(2), 100 * 1024, false},    {Day(5, 3, 2025), Day(2, 3, 2025), 100 * 1024, false},
  };
  for (const Late& row : late) {
    FileEntry e;
    e.lastAccessTime = row.access;
    e.lastWriteTime = row.write;
    e.size = row.size;
    EXPECT_EQ(HarvestAdmits(4, e, LocalNow()), row.admitted) << &row - late;
  }
  SetHarvestClockForTests(nullptr);
}

TEST(Harvest, OffersTheCachesOwnFilesNotLinksOutOfIt) {
  TempFolder folder{"skerry-offer"};
  fs::path root = folder.path;
  fs::create_directories(root / "Cache" / "ABCDEFGH");
  const std::string game = "CWS" + std::string(600 * 1024, 'x');
  std::ofstream(root / "Cache" / "ABCDEFGH" / "real[1].swf") << game;
  std::ofstream(root / "secret.swf") << game;
  fs::create_symlink(root / "secret.swf", root / "Cache" / "ABCDEFGH" / "link[1].swf");
  HeadlessInstall();
  HeadlessScriptAnswers(std::vector<int>(8, IDNO));
  // The passes that admit a fresh copy depend on where the clock stands in
  // its slot; whichever they are, only the cache's own file is offered.
  EXPECT_GE(HarvestCache((root / "Cache").c_str(), "*.swf"), 1);
  ASSERT_FALSE(HeadlessBoxes().empty());
  for (const HeadlessBox& box : HeadlessBoxes())
    EXPECT_NE(box.text.find("\"real[1].swf\""), std::string::npos) << box.text;

  // The Panel's harvest walks on a thread of its own and comes back when the
  // walk has ended, then offers the same.
  HeadlessInstall();
  HeadlessScriptAnswers(std::vector<int>(8, IDNO));
  Panel().PanelWindow = 7;
  EXPECT_EQ(HarvestCacheInTurn((root / "Cache").c_str(), "*.swf"), -1);
  auto walked = [] {
    for (const HeadlessCall& call : HeadlessCallsOf("post"))
      if (call.message == WM_COMMAND && call.w == PanelCmdHarvestWalked)
        return true;
    return false;
  };
  for (int i = 0; i < 500 && !walked(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  ASSERT_TRUE(walked());
  EXPECT_TRUE(HeadlessBoxes().empty()) << "offered before the walk was handed back";
  EXPECT_EQ(HarvestCacheInTurn((root / "Cache").c_str(), "*.swf"), 4);
  Panel().PanelWindow = 0;
}

TEST(PurgeCachedCopies, DeletesTheLinksBracketedCopiesOnly) {
  TempFolder folder{"skerry-purge"};
  fs::path cache = folder.path;
  for (const char* sub : {"AAAA0000", "BBBB1111", "BBBB1111/deep"})
    fs::create_directories(cache / sub);
  const char* files[] = {"AAAA0000/List[1].htm",      "BBBB1111/list[12].HTM",
                         "BBBB1111/deep/List[3].htm", "AAAA0000/List.htm",
                         "AAAA0000/List[1].html",     "AAAA0000/MyList[1].htm"};
  for (const char* f : files)
    std::ofstream(cache / f) << "x";
  fs::create_directory(cache / "AAAA0000" / "List[9].htm"); // a folder is no copy

  EXPECT_EQ(PurgeCachedCopies("http://web.test/top/List.htm", cache.c_str()), 3);
  EXPECT_FALSE(fs::exists(cache / "BBBB1111" / "deep" / "List[3].htm"));
  for (const char* kept : {"List.htm", "List[1].html", "MyList[1].htm", "List[9].htm"})
    EXPECT_TRUE(fs::exists(cache / "AAAA0000" / kept)) << kept;
  EXPECT_EQ(PurgeCachedCopies("http://web.test/List.htm", (cache / "none").c_str()), 0);
}

} // namespace
