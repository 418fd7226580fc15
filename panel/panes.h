// Pane hosting: launching the browser program for a channel, and the Panel's
// side of the messages its Panes send (placing, announcements).
#pragma once

#include "platform/win.h"

// Rows of the launch table.
enum PaneRow { PaneRowStart, PaneRowClock, PaneRowGame, PaneRowHome, PaneRowVideo };

// Starts the browser program for row with address (used by Home and Video;
// ignored by the other rows) and waits, at most 2000 ms, until the new process
// has reached the Panel's carrier. No result: a failure isn't seen.
void LaunchPane(PaneRow row, const char* address);

// Messages 1034 and 1044 to 1054 of the Panel. Result: 0.
LResult PaneMessage(Hwnd window, unsigned message, WParam w, LParam l);
