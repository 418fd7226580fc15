// The Qt window backend: local windows of win.h served by Qt widgets on the
// GUI thread. A QApplication must exist before QtBackend is installed, and
// the thread that made it is the GUI thread.
#pragma once

#include <string>
#include <vector>

#include "platform/win.h"

class QWidget;

const WindowBackend* QtBackend();

// The widget of a local window, or null (windows without one, other ids).
// GUI thread only.
QWidget* QtWindowWidget(Hwnd window);

// The save-file dialog member (save_dialog_qt.cpp).
std::string QtSaveFileDialog(Hwnd owner, const std::string& title,
                             const std::vector<FilterRow>& filter, const std::string& name,
                             const std::string& folder);
