// The Qt window backend: local windows of win.h served by Qt widgets on the
// GUI thread. A QApplication must exist before QtBackend is installed, and
// the thread that made it is the GUI thread.
#pragma once

#include "platform/win.h"

const WindowBackend* QtBackend();
