// The face's functions that the dispatcher and start-up already call, in the
// form they have until the face is built: they change nothing. Each moves to
// its own file as it is written.
#include "panel/geometry.h"
#include "panel/painting.h"
#include "panel/skins.h"
#include "panel/tips.h"
#include "panel/timers.h"
#include "shell/tray.h"

const ZoneRect ZoneTable[ZoneCount] = {};
std::uint32_t HitTestZone(int, int) { return 0; }
void BuildOutline(int) {}
void TurnPanel(Hwnd, LParam) {}
void UnturnPanel(Hwnd, LParam) {}
void CentrePanel(Hwnd) {}
void KeepPanelOnScreen(Hwnd) {}
void PanelMouseMove(Hwnd, WParam, LParam) {}

std::unique_ptr<Bitmap> LoadSkin(std::unique_ptr<Bitmap>, const char* path) {
  auto bitmap = std::make_unique<Bitmap>();
  if (!LoadBitmapFile(path, bitmap.get()))
    return nullptr;
  return bitmap;
}
std::unique_ptr<Bitmap> NextSkin(std::unique_ptr<Bitmap> bitmap, const char*, const char*) {
  return bitmap;
}
std::unique_ptr<Bitmap> TurnBitmap(Hwnd, std::unique_ptr<Bitmap> bitmap) { return bitmap; }
void ChangeSkin(Hwnd) {}
int ReadDisplayDepth() { return 96 * 256 + 16; }

void PanelPaint(Hwnd) {}
void PaintZone(Canvas*, int, std::uint32_t) {}

int ReadListField(int, int, char*) { return -1; }
int ReadTipText(int, int, char*) { return -1; }
Hwnd CreateTips(Hwnd) { return 0; }
void MoveTipRects(Hwnd, Hwnd, int, int) {}
void UpdateTip(Hwnd, Hwnd, int, int) {}

void PanelButtonDown(Hwnd) {}
void DragStep(Hwnd) {}
void OnceASecondPass(Hwnd) {}

int TrayIcon(Hwnd, int) { return 0; }
void TrayEvent(Hwnd, int, int) {}
void ShowPanel(Hwnd) {}
