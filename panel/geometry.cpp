// The Panel's coordinates. ZoneTable and the outline are kept upright only;
// the turned orientation is always reached through the turning rule
// (upright (x, y) lies turned at (592 - y, x)). The turning command changes
// the window, the Panes, the outline, the tip rectangles and the picture in
// one pass on the Panel's thread; the new region is applied by the next
// paint, which is the only place a region comes into force.
#include "panel/geometry.h"

#include "panel/painting.h"
#include "panel/skins.h"
#include "panel/timers.h"
#include "panel/tips.h"
#include "panel/zones.h"
#include "shell/module_path.h"
#include "shell/settings.h"

#include <cstring>
#include <filesystem>

namespace {

const Point UprightOutline[OutlinePointCount] = {
    {1, 36},    {2, 29},    {3, 24},    {4, 22},    {5, 20},    {9, 14},    {15, 8},    {20, 5},
    {24, 3},    {28, 2},    {30, 1},    {35, 0},    {309, 0},   {315, 1},   {320, 2},   {324, 3},
    {328, 5},   {333, 8},   {338, 14},  {343, 20},  {344, 23},  {345, 27},  {346, 31},  {346, 557},
    {345, 564}, {344, 567}, {342, 570}, {338, 577}, {332, 583}, {328, 586}, {322, 588}, {318, 589},
    {314, 590}, {33, 590},  {28, 589},  {24, 588},  {20, 586},  {15, 583},  {9, 577},   {5, 570},
    {4, 567},   {2, 562},   {1, 552},   {1, 36},
};

void WriteRotate(const char* value) {
  char path[260];
  char text[ProfileValueSize];
  ModuleFilePath(0, path, "Define.ini");
  std::strncpy(text, value, sizeof text - 1);
  text[sizeof text - 1] = '\0';
  ProfileWrite("@Vexan", "Rotate", text, path);
}

void RecordPosition(Hwnd window) {
  Rect r;
  if (WinGetWindowRect(window, &r)) {
    Panel().PanelLeft = r.left;
    Panel().PanelTop = r.top;
  }
}

void PlacePanes(int x, int y, int w, int h) {
  for (auto& slot : Panel().PaneSlots) {
    Hwnd pane = slot.load();
    if (pane != 0)
      WinSetWindowPos(pane, HWND_TOP, x, y, w, h, SWP_NOZORDER);
  }
}

} // namespace

std::uint32_t HitTestZone(int x, int y) {
  if (Panel().PanelRotation == 90) {
    int upright = 592 - x;
    x = y;
    y = upright;
  }
  for (int row = 0; row < ZoneCount; ++row) {
    const ZoneRect& z = ZoneTable[row];
    if (z.Left < x && x < z.Right && z.Top < y && y < z.Bottom)
      return std::uint32_t(20010 + 10 * row);
  }
  return 0;
}

void BuildOutline(int mode) {
  if (mode != 1 && mode != 11)
    return;
  auto& outline = Panel().PanelOutline;
  for (int i = 0; i < OutlinePointCount; ++i)
    outline[i] = UprightOutline[i];
  if (mode == 11)
    for (Point& p : outline)
      p = Point{592 - p.y, p.x};
}

void CentrePanel(Hwnd window) {
  Rect r;
  if (!WinGetWindowRect(window, &r))
    return;
  int x = (WinScreenWidth() + r.left - r.right) / 2;
  int y = (WinScreenHeight() + r.top - r.bottom) / 2;
  WinSetWindowPos(window, HWND_TOP, x, y, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
}

void KeepPanelOnScreen(Hwnd window) {
  Rect r;
  if (!WinGetWindowRect(window, &r))
    return;
  int width = WinScreenWidth();
  int height = WinScreenHeight();
  if (r.left > width - 5 || r.top > height - 5) {
    int x = width - 350;
    int y = height - 592;
    WinSetWindowPos(window, HWND_TOP, x, y, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    Panel().PanelLeft = x;
    Panel().PanelTop = y;
  }
}

void PanelPaint(Hwnd window) {
  PanelState& panel = Panel();
  KeepPanelOnScreen(window);
  if (panel.PanelRegion)
    WinSetWindowRegion(window, panel.PanelOutline.data(), OutlinePointCount);
  Canvas* canvas = WinGetCanvas(window);
  PaintFrame(canvas);
  WinReleaseCanvas(window, canvas);
}

void TurnPanel(Hwnd window, LParam arg) {
  PanelState& panel = Panel();
  Point cursor = WinGetCursorPos();
  panel.PanelRotation = 90;
  WriteRotate("90");
  WinSetWindowRegion(window, nullptr, 0);
  panel.PanelRegion = false;
  WinSetWindowPos(window, HWND_TOP, cursor.x - 530, cursor.y - 155, 593, 350, SWP_NOZORDER);
  if (arg == 99)
    CentrePanel(window);
  PlacePanes(122, 20, 396, 310);
  RecordPosition(window);
  BuildOutline(11);
  panel.PanelRegion = true;
  MoveTipRects(window, panel.TooltipWindow, ZoneCount, 90);
  panel.SkinBitmap = TurnBitmap(window, std::move(panel.SkinBitmap));
  WinInvalidate(window);
}

void UnturnPanel(Hwnd window, LParam arg) {
  PanelState& panel = Panel();
  // The upright skin is chosen as at the start; without one that loads the
  // Panel stays turned as a whole, never upright in name and turned on screen.
  char skin[260];
  std::error_code error;
  ModuleFilePath(0, skin, "@VEXANH.BMP");
  if (!std::filesystem::exists(skin, error))
    ModuleFilePath(0, skin, "@VEXANL.BMP");
  std::unique_ptr<Bitmap> upright = LoadSkin(nullptr, skin);
  if (upright == nullptr)
    return;
  Point cursor = WinGetCursorPos();
  panel.PanelRotation = 0;
  WriteRotate("0");
  WinSetWindowPos(window, HWND_TOP, cursor.x - 165, cursor.y - 58, 350, 593, SWP_NOZORDER);
  if (arg == 99)
    CentrePanel(window);
  PlacePanes(20, 74, 310, 396);
  RecordPosition(window);
  BuildOutline(1);
  panel.PanelRegion = true;
  MoveTipRects(window, panel.TooltipWindow, ZoneCount, 0);
  panel.SkinBitmap = std::move(upright);
  WinInvalidate(window);
}

void PanelMouseMove(Hwnd window, WParam keys, LParam pos) {
  PanelState& panel = Panel();
  if (keys != MK_LBUTTON)
    WinKillTimer(window, DragTimer);
  int x = int(std::uint64_t(pos) & 0xFFFF);
  int y = int((std::uint64_t(pos) >> 16) & 0xFFFF);
  panel.HoverCode = HitTestZone(x, y);
  if (panel.HoverCode == panel.LastHover)
    return;
  Canvas* canvas = WinGetCanvas(window);
  PaintZone(canvas, 1, panel.HoverCode);
  PaintZone(canvas, 0, panel.LastHover);
  WinReleaseCanvas(window, canvas);
  panel.LastHover = panel.HoverCode;
}
