// Link downloads: a link copied to the clipboard becomes a game in the Game
// folder, and the game Pane is refreshed.
#pragma once

#include "platform/win.h"

// text: the caller's 512-byte buffer. Result: 1 for a new link in text, else 0.
int WatchClipboard(char* text);

// Copies the three arguments for a new job thread and starts it; returns at once.
void StartLinkDownload(Hwnd window, const char* source, const char* target);

// Rebuilds the game menu and refreshes the game Pane: mode 1 after a
// download, 2 after a file was deleted on the Game channel.
void RefreshGamePane(int mode);
