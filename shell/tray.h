// The tray icon and its menu. The menu's commands reach the Panel as
// WM_COMMAND 40001, 40002, 40003 and 214.
#pragma once

#include <string>

#include "platform/win.h"

// action 0 adds the icon (result nonzero on success), 2 deletes it.
int TrayIcon(Hwnd window, int action);

// Message 1125: id is the icon's id, mouseMessage the mouse message.
void TrayEvent(Hwnd window, int id, int mouseMessage);

// A desktop notification from the tray icon (the Panel's), from any thread;
// shown only while the icon stands.
void TrayNotify(const std::string& text);

// Brings the Panel back over all windows, leaving it not topmost.
void ShowPanel(Hwnd window);
