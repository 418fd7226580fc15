// The top-list job: a start prompt, the list fetched (or read beside the
// program), then each entry located, offered, fetched to temp00, copied
// under its title into the Game folder, and shown in the menu and the game
// Pane. CollectStatus carries the progress for zone 20. With no Panel (the
// /Top mode) nothing is sent to a window and no tip is updated.
#include "games/top_list.h"

#include <unistd.h>

#include <cstdio>
#include <string>

#include "games/list_jobs.h"
#include "games/locate.h"
#include "panel/panel_state.h"
#include "panel/tips.h"
#include "shell/module_path.h"
#include "shell/texts.h"
#include "web/download.h"
#include "web/fetcher.h"

namespace {

constexpr int ZoneCollect = 20;

// Set while a top-list thread runs; a second start meanwhile is ignored.
std::atomic<bool> topListRunning{false};

const char* StartPrompt() {
  return LanguageOffset == 1000 ? "開始上網搜尋排行榜上的遊戲 ?"
                                : "Do you want to start searching the top games from internet?";
}

std::string SavePrompt(const std::string& title, const std::string& link) {
  char text[1200];
  if (LanguageOffset == 1000)
    std::snprintf(text, sizeof text, "是否儲存在 %s\n找到的 %s ?", link.c_str(), title.c_str());
  else
    std::snprintf(text, sizeof text, "Do you want to save a game %s found at \n%s ?", title.c_str(),
                  link.c_str());
  return text;
}

void ShowStatus(Hwnd window, Hwnd tooltip, int rotation) {
  if (tooltip != 0)
    UpdateTip(window, tooltip, ZoneCollect, rotation);
}

// The number of consecutive keys from "1" with a value in section List.
int CountEntries(const JobFiles& files) {
  int n = 0;
  while (!ListValue(files, "List", std::to_string(n + 1).c_str()).empty())
    ++n;
  return n;
}

} // namespace

void StartTopListJob(Hwnd window, const char* listSource, const char* folder) {
  if (topListRunning.load())
    return;
  StoreJobArguments(window, listSource, folder);
  StartJobThread(topListRunning, TopListJob);
}

int TopListJob(Hwnd window, const char* listSource, const char* folder, Hwnd tooltip,
               int rotation) {
  PanelState& p = Panel();
  WebSleep(1000);
  if (window != 0 && p.PaneSlots[ChannelGame].load() == 0)
    WinSendMessage(window, MsgPanelCommand, 20120, 2);
  WebSleep(3000);
  if (WinMessageBox(window, StartPrompt(), TitleVexan, MB_YESNO) != IDYES)
    return 0;

  JobFiles files = PrepareJobList(listSource);
  int total = CountEntries(files);
  int i = 1;
  for (;; ++i) {
    std::string key = std::to_string(i);
    std::string game = ListValue(files, "List", key.c_str());
    std::string title = ListValue(files, "Title", key.c_str());
    if (game.empty())
      break;
    char status[StatusLine::Size];
    std::snprintf(status, sizeof status, "Download %d / %d file(s)...", i, total);
    p.CollectStatus.Set(status);
    ShowStatus(window, tooltip, rotation);
    std::string temp = files.tempFolder + "/temp00";

    char link[512] = "";
    bool located = true;
    if (game.compare(0, 4, "http") == 0) {
      std::snprintf(link, sizeof link, "%s", game.c_str());
    } else {
      located = SearchGameLink(game.c_str(), link) == 0;
    }
    if (located && WinMessageBox(window, SavePrompt(title, link), TitleVexan, MB_YESNO) == IDYES &&
        DownloadGameFile(link, temp.c_str()) == 0) {
      CopyGameUnder(temp, folder, title);
      ShowNewGame(window, i);
    }
    unlink(temp.c_str());
  }
  p.CollectStatus.Clear();
  ShowStatus(window, tooltip, rotation);
  WinMessageBox(window, "Auto search & collect games are finished.", TitleVexan, MB_OK);
  return i - 1;
}
