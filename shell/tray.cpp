// The notification-area icon and its menu. The menu is made once, at the
// first right click, in the language of the run, and kept until the process
// ends; its choices come back to the Panel as WM_COMMAND like any menu's.
#include "shell/tray.h"

#include <vector>

#include "panel/panel_state.h"
#include "panel/questions.h"
#include "resources/strings.h"
#include "shell/module_path.h"
#include "shell/texts.h"

namespace {

constexpr int TrayIconId = 2010;

// TrayMenu: loaded at the first right click, held until the process ends.
std::vector<PopupEntry> trayMenu;

std::string IconPath() {
  char path[260];
  ModuleFilePath(0, path, ResourceFileName(100));
  return path;
}

} // namespace

int TrayIcon(Hwnd window, int action) {
  if (action == 0)
    return WinTrayAdd(window, TrayIconId, MsgTrayEvent, IconPath(), TitlePanel) ? 1 : 0;
  if (action == 2)
    WinTrayDelete(window, TrayIconId);
  return 0;
}

void TrayNotify(const std::string& text) {
  WinTrayNotify(Panel().PanelWindow.load(), TrayIconId, TitlePanel, text);
}

void TrayEvent(Hwnd window, int id, int mouseMessage) {
  if ((mouseMessage == int(WM_LBUTTONDOWN) || mouseMessage == int(WM_LBUTTONDBLCLK)) &&
      id == TrayIconId)
    ShowPanel(window);
  if (mouseMessage != int(WM_RBUTTONDOWN))
    return;
  if (trayMenu.empty()) {
    const MenuEntry* entries = nullptr;
    int count = LoadResourceMenu(100 + LanguageOffset, &entries);
    for (int i = 0; i < count; ++i)
      trayMenu.push_back(PopupEntry{entries[i].Id, entries[i].Text});
  }
  if (id != TrayIconId)
    return;
  Point at = WinGetCursorPos();
  WinSetForegroundWindow(window);
  // The menu runs a loop of its own: a client repeating the tray's message
  // would open one menu inside the other.
  AskOnce(PanelQuestion::TrayMenu, [&] {
    WinTrackPopupMenu(window, trayMenu.data(), int(trayMenu.size()), at.x, at.y);
    return 0;
  });
}

void ShowPanel(Hwnd window) {
  WinShowWindow(window, SW_RESTORE);
  WinSetWindowPos(window, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
  WinSetWindowPos(window, HWND_NOTOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
  WinSetForegroundWindow(window);
}
