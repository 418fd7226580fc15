// The daily job: the date from the clock host's "Date:" header (the clock in
// UTC when it gives none), then the day's entries of the list, key "mmdd"
// first and then "mmdd" with a letter from "a" on, until the first lettered
// key without a value. Each game is fetched to temp00 and copied under its
// title into the month folder Game/yyyymm; PhoneStatus carries the game's
// line for zone 21. Result boxes come only with DailyMode 1.
#include "games/daily.h"

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>

#include "games/list_jobs.h"
#include "games/locate.h"
#include "panel/panel_state.h"
#include "panel/tips.h"
#include "web/download.h"
#include "web/server_date.h"

namespace {

constexpr int ZonePhone = 21;

// Set while a daily thread runs; a second start meanwhile is ignored.
std::atomic<bool> dailyRunning{false};

void ShowStatus(Hwnd window, Hwnd tooltip, int rotation) {
  if (tooltip != 0)
    UpdateTip(window, tooltip, ZonePhone, rotation);
}

std::uint32_t Today() {
  char host[512];
  ClockHost(host);
  std::uint32_t date = ServerDate(host);
  if (date != 0)
    return date;
  std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  return static_cast<std::uint32_t>((utc.tm_year + 1900) * 10000 + (utc.tm_mon + 1) * 100 +
                                    utc.tm_mday);
}

void FetchDailyGame(Hwnd window, Hwnd tooltip, int rotation, const JobFiles& files,
                    const std::string& folder, std::uint32_t date, const std::string& key) {
  PanelState& p = Panel();
  std::string game = ListValue(files, "Daily", key.c_str());
  std::string title = ListValue(files, "Title", key.c_str());
  char status[StatusLine::Size];
  std::snprintf(status, sizeof status, "Download %s game...", title.c_str());
  p.PhoneStatus.Set(status);
  ShowStatus(window, tooltip, rotation);
  std::string temp = files.tempFolder + "/temp00";

  char link[512];
  std::snprintf(link, sizeof link, "%s", game.c_str());
  if (game.compare(0, 4, "http") != 0)
    SearchGameLink(game.c_str(), link); // a failed search leaves no link: the fetch fails
  std::string result;
  if (DownloadGameFile(link, temp.c_str()) == 0) {
    std::string month = folder + "/" + std::to_string(date / 100);
    CopyGameUnder(temp, month, title);
    ShowNewGame(window, 1);
    result = "Found & saved \"" + title + "\" game completed !";
  } else {
    result = "Game search not completed !";
  }
  if (p.DailyMode.load() == 1)
    WinMessageBox(window, result, "Tessel Auto Search", MB_OK);
  unlink(temp.c_str());
}

} // namespace

void StartDailyJob(Hwnd window, const char* listSource, const char* folder) {
  if (dailyRunning.load())
    return;
  StoreJobArguments(window, listSource, folder);
  StartJobThread(dailyRunning, DailyJob);
}

bool DailyJobRunning() {
  return dailyRunning.load();
}

int DailyJob(Hwnd window, const char* listSource, const char* folder, Hwnd tooltip, int rotation) {
  JobFiles files = PrepareJobList(listSource);
  std::uint32_t date = Today();
  unsigned monthDay = date % 10000;
  char key[16];
  std::snprintf(key, sizeof key, "%04u", monthDay);
  int games = 0;
  // The letter runs on past "z" for as long as the list has such keys; it
  // stops before it would wrap to the end mark.
  for (unsigned letter = 'a' - 1; letter < 0xFF;) {
    if (!ListValue(files, "Daily", key).empty()) {
      FetchDailyGame(window, tooltip, rotation, files, folder, date, key);
      ++games;
    }
    ++letter;
    std::snprintf(key, sizeof key, "%04u%c", monthDay, static_cast<char>(letter));
    if (ListValue(files, "Daily", key).empty())
      break;
  }
  Panel().PhoneStatus.Clear();
  ShowStatus(window, tooltip, rotation);
  return games;
}
