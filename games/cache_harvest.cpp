// The cache harvest. It walks the cache
// folder with the game folder's walk (subfolders entered, links to folders
// and hidden folders not). The harvest's age tests work on the desktop's
// 64-bit counts of 100 ns of local time since 1601, split into upper and
// lower 32-bit halves, so a slot of the upper half is 2^32 units (about
// 429.5 s) and the tests keep their exact edges.
#include "games/cache_harvest.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "games/game_file.h"
#include "games/list_jobs.h"
#include "library/game_index.h"
#include "library/menus.h"
#include "panel/panel_state.h"
#include "panel/panes.h"
#include "platform/files.h"

std::uint32_t HarvestPass = 0;
std::uint32_t HarvestPrompts = 0;

namespace {

constexpr std::uint64_t UnitsPerSecond = 10'000'000;
// 1970-01-01 less 1601-01-01, in 100 ns units.
constexpr std::uint64_t EpochUnits = 116'444'736'000'000'000ull;
constexpr std::uint32_t YoungUnits = 1'342'177'280u; // about 134 s of the lower half

std::int64_t SystemNanos() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

std::int64_t (*clockSource)() = SystemNanos;

// Seconds east of UTC at the present, as the desktop's conversions use.
std::int64_t LocalBias() {
  std::time_t now = static_cast<std::time_t>(clockSource() / 1'000'000'000);
  std::tm local{};
  localtime_r(&now, &local);
  return local.tm_gmtoff;
}

struct Date {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0;
};

// The calendar fields of a local count.
Date DateOf(std::uint64_t local) {
  std::time_t seconds = static_cast<std::time_t>(
      (static_cast<std::int64_t>(local) - static_cast<std::int64_t>(EpochUnits)) /
      static_cast<std::int64_t>(UnitsPerSecond));
  std::tm t{};
  gmtime_r(&seconds, &t);
  return Date{t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min};
}

std::uint32_t Kilobytes(const FileEntry& e) {
  return static_cast<std::uint32_t>(e.size) >> 10;
}

const char SaveFilter[] = "Game Files (*.swf;*.htm)\0*.swf;*.htm\0All Files (*.*)\0*.*\0";

} // namespace

void SetHarvestClockForTests(std::int64_t (*now)()) {
  clockSource = now != nullptr ? now : SystemNanos;
}

std::uint64_t LocalFileTime(std::int64_t unixNanos) {
  std::int64_t units = unixNanos / 100 + static_cast<std::int64_t>(EpochUnits) +
                       LocalBias() * static_cast<std::int64_t>(UnitsPerSecond);
  return units < 0 ? 0 : static_cast<std::uint64_t>(units);
}

std::uint64_t LocalNow() {
  std::int64_t millis = clockSource() / 1'000'000;
  return LocalFileTime(millis * 1'000'000);
}

bool HarvestAdmits(std::uint32_t pass, const FileEntry& entry, std::uint64_t now) {
  if (pass == 4) {
    Date today = DateOf(now);
    Date access = DateOf(LocalFileTime(entry.lastAccessTime));
    Date write = DateOf(LocalFileTime(entry.lastWriteTime));
    bool readToday =
        access.year == today.year && access.month == today.month && access.day == today.day;
    return readToday && write.day != today.day && Kilobytes(entry) >= 76;
  }
  std::uint64_t made = LocalFileTime(entry.creationTime);
  std::uint32_t nowHigh = static_cast<std::uint32_t>(now >> 32);
  std::uint32_t madeHigh = static_cast<std::uint32_t>(made >> 32);
  std::uint32_t high = nowHigh - madeHigh;
  std::uint32_t low = static_cast<std::uint32_t>(now) - static_cast<std::uint32_t>(made);
  std::uint32_t kb = Kilobytes(entry);
  switch (pass) {
  case 0:
    return nowHigh == madeHigh && low < YoungUnits && kb > 500;
  case 1:
    return high < 1 && kb > 200;
  case 2:
    return high < 2 && kb > 35;
  case 3:
    return high < 10 && kb > 50;
  default:
    return false;
  }
}

void OfferCacheFile(const char* fullPath, const char* name, const FileEntry& entry) {
  // A symbolic link may point anywhere: only a file the cache holds itself
  // is a copy the browser left there.
  if (HarvestPass >= 5 || entry.isLink || !HarvestAdmits(HarvestPass, entry, LocalNow()) ||
      !GameFileFitsName(fullPath, name))
    return;
  Date shown = DateOf(LocalFileTime(HarvestPass == 4 ? entry.lastWriteTime : entry.creationTime));
  char text[1024];
  std::snprintf(
      text, sizeof text,
      "Found a game named \"%s\" (Size : %d KB , Time : %d/%d/%d %d:%d)\n\nDo you want to "
      "collect it to the game folder?\n\nCOLLECT(YES), TRY NEXT(NO) or CANCEL(CANCEL)!",
      name, static_cast<int>(Kilobytes(entry)), shown.year, shown.month, shown.day, shown.hour,
      shown.minute);
  int answer = WinMessageBox(0, text, "Collect The Game!!!", MB_YESNOCANCEL);
  ++HarvestPrompts;
  if (answer == IDNO)
    return;
  if (answer != IDYES) {
    HarvestPass = 5;
    return;
  }
  const char* slash = std::strrchr(fullPath, '/');
  char proposed[256];
  std::snprintf(proposed, sizeof proposed, "%s", slash != nullptr ? slash + 1 : fullPath);
  if (SaveGameDialog(Panel().PanelWindow.load(), "Save game to", SaveFilter, proposed,
                     sizeof proposed, ProgramFile("Game").c_str()) != 0)
    CopyWhole(fullPath, proposed);
  HarvestPass = 5;
  RebuildGameMenu(ProgramFile("Web\\Menu1.htm").c_str(), ProgramFile("Game").c_str(),
                  GameMenuMasks);
  Hwnd pane = Panel().PaneSlots[ChannelGame].load();
  if (pane != 0)
    WinPostMessage(pane, WM_COMMAND, PaneCmdReload, 0);
}

namespace {

using WalkedFiles = std::vector<std::pair<std::string, FileEntry>>;

// The files of one walk of the cache, in the walk's order.
WalkedFiles WalkCache(const std::string& cacheFolder, const std::string& patterns) {
  WalkedFiles files;
  WalkGameFolder(
      [&files](const std::string& full, const FileEntry& e) { files.emplace_back(full, e); },
      cacheFolder.c_str(), patterns.c_str());
  return files;
}

// The five passes over one walk's files, narrowest first.
int OfferWalkedFiles(const WalkedFiles& files) {
  HarvestPrompts = 0;
  for (HarvestPass = 0; HarvestPass < 5; ++HarvestPass)
    for (const auto& [full, entry] : files) {
      if (HarvestPass >= 5)
        break;
      OfferCacheFile(full.c_str(), entry.name.c_str(), entry);
    }
  return static_cast<int>(HarvestPrompts);
}

// The walk handed from its thread to the Panel's. Never destroyed: a walk
// may still run at exit.
struct HandedWalk {
  std::mutex lock;
  bool running = false;
  bool ready = false;
  std::string key; // folder and patterns the files are of
  WalkedFiles files;
};

HandedWalk& Handed() {
  static auto* handed = new HandedWalk;
  return *handed;
}

} // namespace

int HarvestCache(const char* cacheFolder, const char* patterns) {
  return OfferWalkedFiles(WalkCache(cacheFolder, patterns));
}

int HarvestCacheInTurn(const char* cacheFolder, const char* patterns) {
  HandedWalk& handed = Handed();
  std::string folder = cacheFolder, masks = patterns;
  WalkedFiles files;
  {
    std::lock_guard<std::mutex> hold(handed.lock);
    if (!handed.ready || handed.key != folder + "\n" + masks) {
      if (!handed.running) {
        handed.running = true;
        handed.ready = false;
        std::thread([folder, masks] {
          WalkedFiles walked = WalkCache(folder, masks);
          HandedWalk& h = Handed();
          {
            std::lock_guard<std::mutex> hold(h.lock);
            h.files = std::move(walked);
            h.key = folder + "\n" + masks;
            h.ready = true;
            h.running = false;
          }
          WinPostMessage(Panel().PanelWindow.load(), WM_COMMAND, PanelCmdHarvestWalked, 0);
        }).detach();
      }
      return -1;
    }
    files = std::move(handed.files);
    handed.files.clear();
    handed.ready = false;
  }
  return OfferWalkedFiles(files);
}
