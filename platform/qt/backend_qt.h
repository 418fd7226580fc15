// The Qt window backend: local windows of win.h served by Qt widgets on the
// GUI thread. A QApplication must exist before QtBackend is installed, and
// the thread that made it is the GUI thread.
#pragma once

#include <string>
#include <vector>

#include "platform/win.h"

class QWidget;

const WindowBackend* QtBackend();

// Ends the process after its loop: the carrier closes, so that the Panes end,
// every child still running is ended (ProcessEndAll), and the process ends
// without running static destructors, since job threads may still use the
// records they would destroy.
[[noreturn]] void QtEndProcess(int code);

// The widget of a local window, or null (windows without one, other ids).
// GUI thread only.
QWidget* QtWindowWidget(Hwnd window);

// How every question stands (message boxes, template dialogs, the save
// dialog): modal to nothing, so that any number of them answer the keyboard
// and the mouse at once and end in any order; above other windows, the
// Panel even when it is topmost; the newest one takes the focus. The parent
// is the owner's widget while that shows (null otherwise). GUI thread only.
QWidget* QtQuestionParent(Hwnd owner);
void QtShowQuestion(QWidget* dialog);
// Shows dialog as above and runs a nested loop until it finishes; its result.
int QtAwaitQuestion(class QDialog* dialog);

// The save-file dialog member (save_dialog_qt.cpp).
std::string QtSaveFileDialog(Hwnd owner, const std::string& title,
                             const std::vector<FilterRow>& filter, const std::string& name,
                             const std::string& folder);

// Template dialogs (dialog_qt.cpp) and the clipboard.
int QtTemplateDialog(const DialogTemplate* dialog, Hwnd owner, WindowProc proc, LParam param);
LResult QtControlMessage(Hwnd dialog, int control, unsigned message, WParam w, LParam l);
bool QtClipboardText(std::string* out);

// What the backend lends to windows whose widgets are built elsewhere (the
// template dialogs): a window with widget in the table, delivery to its
// procedure, and hooks that the backend calls on the GUI thread for every
// window (each returns false, or does nothing, for a window it doesn't know).
Hwnd QtAddWindow(const std::string& className, const std::string& title, WindowProc proc,
                 QWidget* widget);
LResult QtDeliver(Hwnd window, unsigned message, WParam w, LParam l);
// The widget lent by QtAddWindow is about to go: the window keeps no pointer
// to it, and what later reaches the window finds no widget.
void QtForgetWidget(Hwnd window);
struct QtDialogHooks {
  bool (*getText)(Hwnd window, int control, std::string* out);
  void (*setText)(Hwnd window, int control, const std::string& text);
  // A change of z-order asked by SetWindowPos; true when handled.
  bool (*zOrder)(Hwnd window, Hwnd after);
  void (*ended)(Hwnd window, int result);
};
void QtSetDialogHooks(const QtDialogHooks* hooks);
