// Link downloads until they are built: no link is seen, no job starts, and
// the game Pane isn't refreshed.
#include "games/link_download.h"

int WatchClipboard(char*) {
  return 0;
}
void StartLinkDownload(Hwnd, const char*, const char*) {}
void RefreshGamePane(int) {}
