// The Qt window backend: local windows of win.h served by Qt widgets on the
// GUI thread. A QApplication must exist before QtBackend is installed, and
// the thread that made it is the GUI thread.
#pragma once

#include "platform/win.h"

const WindowBackend* QtBackend();

// Ends the process after its loop: the carrier closes, so that the Panes leave
// the Panel's window and stand on their own, and once they have (at most a few
// seconds) the process ends without running static destructors, since job
// threads may still use the records they would destroy.
[[noreturn]] void QtEndProcess(int code);
