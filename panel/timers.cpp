// The Panel's two timers. Timer 1 exists only during a drag by the face: the
// window's place is summed from cursor deltas, never read back, so every
// mover of the Panel keeps PanelLeft/PanelTop true. Timer 2 is the
// once-a-second pass: daily step, blink of zone 12, clipboard watch,
// progress lights of zones 20 and 21, catch-up of tips after a change of
// Channel, and the end of a maximised Pane. Both run on the Panel's thread;
// the lights read only whether a status line is empty.
#include "panel/timers.h"

#include <cstring>
#include <ctime>

#include "games/link_download.h"
#include "games/locate.h"
#include "panel/dispatcher.h"
#include "panel/painting.h"
#include "panel/panel_state.h"
#include "panel/tips.h"
#include "shell/module_path.h"
#include "shell/settings.h"

namespace {

void SystemLocalDate(int* month, int* day) {
  std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  *month = local.tm_mon + 1;
  *day = local.tm_mday;
}

LocalDateSource dateSource = SystemLocalDate;

bool ShowsLights(int channel) {
  return channel == ChannelGame || channel == ChannelVideoSite;
}

// Zone 20's light (upright at 90, 58; turned at 519, 90) in phase p.
void LightCollect(Canvas* canvas, int p) {
  const Bitmap* skin = Panel().SkinBitmap.get();
  if (Panel().PanelRotation == 90)
    BlitMerge(canvas, 519, 90, 16, 25, 519, 90 + 351 * p, skin);
  else
    BlitMerge(canvas, 90, 58, 25, 16, 90 + 351 * p, 58, skin);
}

// Zone 21's light (upright at 66, 58; turned at 519, 66) in phase p.
void LightPhone(Canvas* canvas, int p) {
  const Bitmap* skin = Panel().SkinBitmap.get();
  if (Panel().PanelRotation == 90)
    BlitMerge(canvas, 519, 66, 16, 25, 519, 66 + 351 * p, skin);
  else
    BlitMerge(canvas, 66, 58, 25, 16, 66 + 351 * p, 58, skin);
}

void DailyStep(Hwnd window) {
  PanelState& panel = Panel();
  if (panel.TickCount != 18 || panel.DailyMode != 2)
    return;
  int month = 0, day = 0;
  dateSource(&month, &day);
  int key = month + day;
  if (key == panel.DayKey)
    return;
  char folder[260];
  ModuleFilePath(0, folder, "Game");
  if (auto start = DispatcherServicesInUse().startDailyJob; start != nullptr)
    start(window, DailySearchSource().c_str(), folder);
  panel.DayKey = key;
}

void ClipboardStep(Hwnd window) {
  char text[512] = "";
  if (WatchClipboard(text) == 0)
    return;
  text[511] = '\0';
  char link[512] = "";
  if (LocateGameFile(text, link, ".swf") == 0)
    StartLinkDownload(window, text, link);
}

void CatchUp(Hwnd window, Canvas* canvas) {
  PanelState& panel = Panel();
  int channel = panel.Channel;
  if (channel == panel.ShownChannel || channel == panel.PreviousChannel)
    return;
  if (ShowsLights(channel))
    LightCollect(canvas, 0);
  if (channel == ChannelVideoSite)
    LightPhone(canvas, 0);
  Hwnd tooltip = panel.TooltipWindow;
  int rotation = panel.PanelRotation;
  UpdateTip(window, tooltip, 20, rotation);
  UpdateTip(window, tooltip, 21, rotation);
  if (panel.PreviousChannel == ChannelImage || channel == ChannelImage)
    for (int zone : {3, 4, 5, 7, 8, 10})
      UpdateTip(window, tooltip, zone, rotation);
  if (panel.ShownChannel != ChannelGame && channel == ChannelGame)
    UpdateTip(window, tooltip, 0, rotation);
  if (panel.PreviousChannel == ChannelGame && channel != ChannelGame)
    UpdateTip(window, tooltip, 0, rotation);
  panel.ShownChannel = channel;
}

} // namespace

void SetLocalDateSource(LocalDateSource source) {
  dateSource = source != nullptr ? source : SystemLocalDate;
}

void PanelButtonDown(Hwnd window) {
  PanelState& panel = Panel();
  if (panel.HoverCode != 0)
    return;
  panel.DragAnchor = WinGetCursorPos();
  WinSetTimer(window, DragTimer, 50);
}

void DragStep(Hwnd window) {
  PanelState& panel = Panel();
  panel.DragCursor = WinGetCursorPos();
  int dx = panel.DragCursor.x - panel.DragAnchor.x;
  int dy = panel.DragCursor.y - panel.DragAnchor.y;
  if (dx != 0 || dy != 0) {
    panel.PanelLeft += dx;
    panel.PanelTop += dy;
    if (panel.PanelLeft > panel.DragCursor.x) {
      panel.PanelLeft = panel.DragCursor.x;
      panel.PanelTop = panel.DragCursor.y;
    }
    WinSetWindowPos(window, HWND_TOP, panel.PanelLeft, panel.PanelTop, 0, 0,
                    SWP_NOSIZE | SWP_NOZORDER);
  }
  panel.DragAnchor = panel.DragCursor;
}

void OnceASecondPass(Hwnd window) {
  PanelState& panel = Panel();
  DailyStep(window);
  Canvas* canvas = WinGetCanvas(window);
  if (panel.TickCount > 60)
    panel.TickCount = 0;
  BlitFace(canvas, 160, 546, 26, 24, panel.TickCount % 2 == 0 ? 160 : 511, 546);
  panel.TickCount += 1;
  ClipboardStep(window);
  int p = panel.TickCount % 2;
  if (ShowsLights(panel.Channel) && !panel.CollectStatus.Empty())
    LightCollect(canvas, p);
  if (ShowsLights(panel.Channel) && !panel.PhoneStatus.Empty())
    LightPhone(canvas, p);
  CatchUp(window, canvas);
  WinReleaseCanvas(window, canvas);
  // The Panel must be active *again*: right after the fill it may still be
  // the active window, and undoing then would snap the Pane back at once.
  int maximized = panel.MaximizedChannel;
  if (maximized == -1)
    return;
  if (WinGetActiveWindow() != window) {
    panel.MaximizedLeft = true;
    return;
  }
  if (!panel.MaximizedLeft)
    return;
  if (maximized >= 0 && maximized < PaneSlotCount)
    WinSendMessage(panel.PaneSlots[maximized], WM_SYSCOMMAND, SC_MINIMIZE, 0);
  panel.MaximizedChannel = -1;
  panel.MaximizedLeft = false;
}
