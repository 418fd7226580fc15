// Pane hosting as it stands until it is built: nothing is launched and
// announcements are not recorded.
#include "panel/panes.h"

void LaunchPane(PaneRow, const char*) {}
LResult PaneMessage(Hwnd, unsigned, WParam, LParam) { return 0; }
