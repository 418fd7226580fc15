// X11 services for the Panel's window that Qt's widgets give only with side
// effects (a change of the stays-on-top flag makes Qt replace the native
// window at its next show, and the Panes embedded in it would go with it).
// Every call is a no-op off X11.
#pragma once

class QWidget;

// True when a window manager runs on the display (_NET_SUPPORTING_WM_CHECK).
bool X11HasWindowManager();
// Asks the window manager to keep w above others, or no more; without one
// the window is only raised when on.
void X11SetAbove(QWidget* w, bool on);
// Waits, at most timeoutMs, until none of the native windows holds a child
// window any more (the Panes that were embedded have left).
void X11AwaitNoChildren(const unsigned long* windows, int count, int timeoutMs);
