// Routes each window call to the record that serves the window: Pane handles
// to the carrier's record, local windows to the installed backend. A missing
// record or member makes the call a no-op that reports failure.
#include "platform/win.h"

#include <atomic>

namespace {

std::atomic<const WindowBackend*> localBackend{nullptr};
std::atomic<const WindowBackend*> paneBackend{nullptr};

const WindowBackend* For(Hwnd window) {
  return IsPaneHandle(window) ? paneBackend.load() : localBackend.load();
}

const WindowBackend* Local() {
  return localBackend.load();
}

} // namespace

void SetWindowBackend(const WindowBackend* backend) {
  localBackend = backend;
}
const WindowBackend* GetWindowBackend() {
  return localBackend.load();
}
void SetPaneBackend(const WindowBackend* backend) {
  paneBackend = backend;
}

#define ROUTE(record, member, fallback, ...)                                                       \
  do {                                                                                             \
    const WindowBackend* b = (record);                                                             \
    if (b == nullptr || b->member == nullptr)                                                      \
      return fallback;                                                                             \
    return b->member(__VA_ARGS__);                                                                 \
  } while (0)

int WinPostMessage(Hwnd window, unsigned message, WParam w, LParam l) {
  if (window == 0)
    return 0;
  ROUTE(For(window), postMessage, 0, window, message, w, l);
}

LResult WinSendMessage(Hwnd window, unsigned message, WParam w, LParam l) {
  if (window == 0)
    return 0;
  ROUTE(For(window), sendMessage, 0, window, message, w, l);
}

bool WinIsWindow(Hwnd window) {
  if (window == 0)
    return false;
  ROUTE(For(window), isWindow, false, window);
}

void WinBringWindowToTop(Hwnd window) {
  ROUTE(For(window), bringToTop, , window);
}
void WinSetForegroundWindow(Hwnd window) {
  ROUTE(For(window), setForeground, , window);
}

void WinSetWindowPos(Hwnd window, Hwnd insertAfter, int x, int y, int cx, int cy, unsigned flags) {
  ROUTE(For(window), setWindowPos, , window, insertAfter, x, y, cx, cy, flags);
}

void WinShowWindow(Hwnd window, int command) {
  ROUTE(For(window), showWindow, , window, command);
}

bool WinGetWindowRect(Hwnd window, Rect* out) {
  ROUTE(For(window), getWindowRect, false, window, out);
}

void WinSetWindowRegion(Hwnd window, const Point* points, int count) {
  ROUTE(For(window), setWindowRegion, , window, points, count);
}

void WinInvalidate(Hwnd window) {
  ROUTE(For(window), invalidate, , window);
}
void WinSetTitle(Hwnd window, const std::string& title) {
  ROUTE(For(window), setTitle, , window, title);
}
Hwnd WinGetActiveWindow() {
  ROUTE(Local(), activeWindow, 0);
}
void WinSetTimer(Hwnd window, int id, int ms) {
  ROUTE(For(window), setTimer, , window, id, ms);
}
void WinKillTimer(Hwnd window, int id) {
  ROUTE(For(window), killTimer, , window, id);
}
Point WinGetCursorPos() {
  ROUTE(Local(), cursorPos, Point{});
}
int WinScreenWidth() {
  ROUTE(Local(), screenWidth, 0);
}
int WinScreenHeight() {
  ROUTE(Local(), screenHeight, 0);
}
int WinDisplayBits(Hwnd window) {
  ROUTE(For(window), displayBits, 0, window);
}

int WinMessageBox(Hwnd owner, const std::string& text, const std::string& title, unsigned type) {
  ROUTE(Local(), messageBox, 0, owner, text, title, type);
}

std::string WinSaveFileDialog(Hwnd owner, const std::string& title, const char* filter,
                              const std::string& name, const std::string& folder) {
  ROUTE(Local(), saveFileDialog, std::string(), owner, title, FilterRows(filter), name, folder);
}

std::vector<FilterRow> FilterRows(const char* filter) {
  std::vector<FilterRow> rows;
  if (filter == nullptr)
    return rows;
  // Each text runs to its NUL; the list ends at an empty label.
  while (*filter != '\0') {
    FilterRow row;
    row.label = filter;
    filter += row.label.size() + 1;
    if (*filter == '\0')
      break;
    row.patterns = filter;
    filter += row.patterns.size() + 1;
    rows.push_back(std::move(row));
  }
  return rows;
}

std::string WithPatternEnding(const std::string& path, const std::string& patterns) {
  std::size_t slash = path.find_last_of('/');
  std::size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
  if (path.size() == nameStart || path.find('.', nameStart) != std::string::npos)
    return path;
  std::string first = patterns.substr(0, patterns.find(';'));
  std::size_t dot = first.rfind('.');
  if (dot == std::string::npos)
    return path;
  std::string ending = first.substr(dot);
  if (ending.size() < 2 || ending.find_first_of("*?") != std::string::npos)
    return path;
  return path + ending;
}

std::string WinGetControlText(Hwnd window, int control) {
  ROUTE(For(window), getControlText, std::string(), window, control);
}

void WinSetControlText(Hwnd window, int control, const std::string& text) {
  ROUTE(For(window), setControlText, , window, control, text);
}

Canvas* WinGetCanvas(Hwnd window) {
  ROUTE(For(window), getCanvas, nullptr, window);
}
void WinReleaseCanvas(Hwnd window, Canvas* canvas) {
  ROUTE(For(window), releaseCanvas, , window, canvas);
}

Hwnd WinCreateWindow(const std::string& className, const std::string& title, WindowProc proc) {
  ROUTE(Local(), createWindow, 0, className, title, proc);
}
Hwnd WinFindWindow(const std::string& className, const std::string& title) {
  ROUTE(Local(), findWindow, 0, className, title);
}
int WinDialogBox(WindowProc proc, LParam param) {
  ROUTE(Local(), dialogBox, -1, proc, param);
}
int WinTemplateDialog(const DialogTemplate* dialog, Hwnd owner, WindowProc proc, LParam param) {
  if (dialog == nullptr || proc == nullptr)
    return -1;
  ROUTE(Local(), templateDialog, -1, dialog, owner, proc, param);
}
LResult WinSendDlgItemMessage(Hwnd dialog, int control, unsigned message, WParam w, LParam l) {
  ROUTE(Local(), controlMessage, 0, dialog, control, message, w, l);
}
bool WinClipboardText(std::string* out) {
  ROUTE(Local(), clipboardText, false, out);
}
void WinEndDialog(Hwnd window, int result) {
  ROUTE(Local(), endDialog, , window, result);
}
int WinMessageLoop() {
  ROUTE(Local(), messageLoop, 0);
}
void WinPostQuitMessage(int code) {
  ROUTE(Local(), postQuit, , code);
}
Hwnd WinNativeId(Hwnd window) {
  ROUTE(For(window), nativeId, 0, window);
}

bool WinTrayAdd(Hwnd window, int id, unsigned callbackMessage, const std::string& iconPath,
                const std::string& tip) {
  ROUTE(Local(), trayAdd, false, window, id, callbackMessage, iconPath, tip);
}
void WinTrayDelete(Hwnd window, int id) {
  ROUTE(Local(), trayDelete, , window, id);
}
void WinTrayNotify(Hwnd window, int id, const std::string& title, const std::string& text) {
  ROUTE(Local(), trayNotify, , window, id, title, text);
}
void WinTrackPopupMenu(Hwnd owner, const PopupEntry* entries, int count, int x, int y) {
  ROUTE(Local(), trackPopupMenu, , owner, entries, count, x, y);
}
void WinSetWindowIcon(Hwnd window, const std::string& iconPath) {
  ROUTE(For(window), setWindowIcon, , window, iconPath);
}
