// The Panel's dialog procedure: one switch that hands each message of the
// Panel to the piece that owns it. Start-up (WM_INITDIALOG), the face (paint,
// mouse, timers), the dispatcher (1033, button-up, WM_COMMAND), the Panes
// (1034, 1044-1054) and the tray (1125). Runs on the GUI thread only.
#include "panel/dispatcher.h"
#include "panel/geometry.h"
#include "panel/painting.h"
#include "panel/panel_state.h"
#include "panel/panes.h"
#include "panel/timers.h"
#include "shell/startup.h"
#include "shell/tray.h"

LResult PanelProc(Hwnd window, unsigned message, WParam w, LParam l) {
  switch (message) {
  case WM_INITDIALOG:
    return PanelInitDialog(window);
  case WM_PAINT:
    PanelPaint(window);
    return 0;
  case WM_MOUSEMOVE:
    PanelMouseMove(window, w, l);
    return 0;
  case WM_LBUTTONDOWN:
    PanelButtonDown(window);
    return 0;
  case WM_LBUTTONUP:
    // The code under the mouse is already in HoverCode.
    WinKillTimer(window, DragTimer);
    return CommandDispatcher(window, l);
  case WM_TIMER:
    if (w == static_cast<WParam>(DragTimer))
      DragStep(window);
    else if (w == static_cast<WParam>(SecondTimer))
      OnceASecondPass(window);
    return 0;
  case MsgPanelCommand:
    Panel().HoverCode = static_cast<std::uint32_t>(w & 0xFFFF);
    return CommandDispatcher(window, l);
  case WM_COMMAND:
    return PanelCommandMessage(window, w, l);
  case MsgTrayEvent:
    TrayEvent(window, static_cast<int>(w & 0xFFFF), static_cast<int>(l));
    return 0;
  default:
    if (message == MsgPlacePane || (message >= MsgAnnounceFirst && message <= MsgAnnounceLast))
      return PaneMessage(window, message, w, l);
    return 0;
  }
}
