// Window services: the substitutes for the Windows window manager calls that
// the system's code makes (post and send messages, place windows, timers,
// message boxes, device contexts). The system's folders call only these free
// functions; they never see Qt.
//
// Windows are plain numbers (Hwnd). Three kinds exist:
//   - Pane handles, 1..0xFFFF: windows of browser-program processes, reached
//     over the carrier socket (a Pane is live while its connection is open);
//   - local windows of this process (the Panel, the hidden message window,
//     dialogs), numbered from LocalWindowBase up;
//   - 0, no window.
// Messages to a Pane handle go through the carrier; messages to a local window
// go to the backend that created it. The backend is a plain record of
// functions (WindowBackend) installed once at start: the Qt one in the
// program, the headless one in tests; with none installed every call is a
// harmless no-op that reports failure.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

using Hwnd = std::uint32_t;
using WParam = std::uint64_t;
using LParam = std::int64_t;
using LResult = std::int64_t;

constexpr Hwnd LocalWindowBase = 0x10000;

// The behaviour of a local window: called on the GUI thread with each message
// delivered to the window.
using WindowProc = LResult (*)(Hwnd window, unsigned message, WParam w, LParam l);

struct Point {
  int x = 0;
  int y = 0;
};

struct Rect {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
};

// Window messages, by their Windows numbers.
constexpr unsigned WM_CREATE = 1;
constexpr unsigned WM_DESTROY = 2;
constexpr unsigned WM_PAINT = 15;
constexpr unsigned WM_QUIT = 18;
constexpr unsigned WM_ERASEBKGND = 20;
constexpr unsigned WM_NCPAINT = 133;
constexpr unsigned WM_INITDIALOG = 272;
constexpr unsigned WM_COMMAND = 273;
constexpr unsigned WM_SYSCOMMAND = 274;
constexpr unsigned WM_TIMER = 275;
constexpr unsigned WM_MOUSEMOVE = 512;
constexpr unsigned WM_LBUTTONDOWN = 513;
constexpr unsigned WM_LBUTTONUP = 514;
constexpr unsigned WM_LBUTTONDBLCLK = 515;
constexpr unsigned WM_RBUTTONDOWN = 516;
constexpr unsigned WM_USER = 1024;

// The Panel's private messages.
constexpr unsigned MsgPanelCommand = 1033;  // code in low 16 bits of wParam
constexpr unsigned MsgPlacePane = 1034;     // wParam: slot number
constexpr unsigned MsgAnnounceFirst = 1044; // 1044 + slot: a Pane's handle
constexpr unsigned MsgAnnounceLast = 1054;
constexpr unsigned MsgTrayEvent = 1125;

constexpr WParam SC_MINIMIZE = 61472;
constexpr WParam SC_MAXIMIZE = 61488;
constexpr unsigned MK_LBUTTON = 1;

// SetWindowPos.
constexpr Hwnd HWND_TOP = 0;
constexpr Hwnd HWND_TOPMOST = 0xFFFFFFFFu;   // (HWND)-1
constexpr Hwnd HWND_NOTOPMOST = 0xFFFFFFFEu; // (HWND)-2
constexpr unsigned SWP_NOSIZE = 0x0001;
constexpr unsigned SWP_NOMOVE = 0x0002;
constexpr unsigned SWP_NOZORDER = 0x0004;
constexpr unsigned SWP_SHOWWINDOW = 0x0040;

// ShowWindow.
constexpr int SW_HIDE = 0;
constexpr int SW_SHOW = 5;
constexpr int SW_RESTORE = 9;

// MessageBox buttons and answers.
constexpr unsigned MB_OK = 0;
constexpr unsigned MB_YESNOCANCEL = 3;
constexpr unsigned MB_YESNO = 4;
constexpr int IDOK = 1;
constexpr int IDCANCEL = 2;
constexpr int IDYES = 6;
constexpr int IDNO = 7;

// An entry of a popup menu: id 0 is a separator; '&' marks the access key.
struct PopupEntry {
  int Id = 0;
  std::string Text;
};

// One row of a save dialog's filter: the label shown and its patterns,
// separated by ';' ("Game Files (*.swf;*.htm)", "*.swf;*.htm").
struct FilterRow {
  std::string label;
  std::string patterns;
};

// The rows of a filter in the Windows form: label and patterns alternate,
// each ended by a NUL, and an empty label (a second NUL) ends the list. A row
// without its patterns is dropped.
std::vector<FilterRow> FilterRows(const char* filter);

// The name a save dialog returns: path as chosen, or, when its last element
// has no '.', with the ending of the first of patterns appended ("*.swf" gives
// ".swf"; "*.*" and "*" give nothing).
std::string WithPatternEnding(const std::string& path, const std::string& patterns);

// Dialog templates: the layout of a dialog in dialog units (a quarter of the
// font's average character width across, an eighth of its height down) and
// its controls, each known by its id.
enum class ControlKind { Button, Edit, Static, CheckBox };

constexpr unsigned ControlDefault = 1;   // the default push button
constexpr unsigned ControlBitmap = 2;    // a button that shows a picture
constexpr unsigned ControlMultiLine = 4; // an edit of several lines
constexpr unsigned ControlReadOnly = 8;  // an edit the user can't change
constexpr unsigned ControlHidden = 16;   // made but not shown
constexpr unsigned ControlEdge = 32;     // a sunken edge
constexpr unsigned ControlNoPrefix = 64; // '&' is shown as it stands
constexpr unsigned ControlAuto = 128;    // a check box that turns itself on a click

struct ControlTemplate {
  int id = 0;
  ControlKind kind = ControlKind::Static;
  int x = 0, y = 0, cx = 0, cy = 0;
  unsigned style = 0;
  const char* text = "";
};

struct DialogTemplate {
  int id = 0;
  const char* title = "";
  int cx = 0, cy = 0;
  const char* font = "";
  int fontSize = 0; // points
  const ControlTemplate* controls = nullptr;
  int count = 0;
};

// Button messages for the controls of a template dialog.
constexpr unsigned BM_GETCHECK = 240;
constexpr unsigned BM_SETCHECK = 241;
constexpr unsigned BM_GETIMAGE = 246;
constexpr unsigned BM_SETIMAGE = 247; // lParam: a const Bitmap* that outlives the dialog
constexpr int BST_UNCHECKED = 0;
constexpr int BST_CHECKED = 1;

struct Bitmap;

// A drawing target. In the program it is the backing picture of a window,
// shown by the backend on release; in tests it is a memory picture. Pixels
// are 32-bit 0x00RRGGBB, rows top-down, width * height of them.
struct Canvas {
  int width = 0;
  int height = 0;
  std::uint32_t* pixels = nullptr;
};

// The record a backend fills in. Any member may be null: the call then does
// nothing and reports failure (0, false, empty). All calls on a local window
// happen on the GUI thread except PostMessage and SendMessage, which any
// thread may call: SendMessage from another thread waits until the GUI thread
// has handled the message.
struct WindowBackend {
  int (*postMessage)(Hwnd window, unsigned message, WParam w, LParam l);
  LResult (*sendMessage)(Hwnd window, unsigned message, WParam w, LParam l);
  bool (*isWindow)(Hwnd window);
  void (*bringToTop)(Hwnd window);
  void (*setForeground)(Hwnd window);
  void (*setWindowPos)(Hwnd window, Hwnd insertAfter, int x, int y, int cx, int cy, unsigned flags);
  void (*showWindow)(Hwnd window, int command);
  bool (*getWindowRect)(Hwnd window, Rect* out);
  // A polygon region filled even-odd; points null or count 0 removes the region.
  void (*setWindowRegion)(Hwnd window, const Point* points, int count);
  void (*invalidate)(Hwnd window);
  void (*setTitle)(Hwnd window, const std::string& title);
  Hwnd (*activeWindow)();
  void (*setTimer)(Hwnd window, int id, int milliseconds);
  void (*killTimer)(Hwnd window, int id);
  Point (*cursorPos)();
  int (*screenWidth)();
  int (*screenHeight)();
  int (*displayBits)(Hwnd window);
  // Modal question; the GUI thread's messages keep flowing while it stands.
  // Callable from any thread: a worker's box is shown on the GUI thread and
  // the worker waits for the answer.
  int (*messageBox)(Hwnd owner, const std::string& text, const std::string& title, unsigned type);
  // The save-file dialog, callable from any thread like messageBox: title,
  // filter rows (the first selected), the proposed name and the folder shown
  // first. It never warns about an existing file. Result: the full path
  // chosen, with the selected row's ending appended to a name typed without
  // one (WithPatternEnding), or empty when the user cancelled.
  std::string (*saveFileDialog)(Hwnd owner, const std::string& title,
                                const std::vector<FilterRow>& filter, const std::string& name,
                                const std::string& folder);
  // Text of a control of a local window (the Panel's AddressControl is 2010).
  std::string (*getControlText)(Hwnd window, int control);
  void (*setControlText)(Hwnd window, int control, const std::string& text);
  Canvas* (*getCanvas)(Hwnd window);
  void (*releaseCanvas)(Hwnd window, Canvas* canvas);

  // Local windows with procedures, and their loops; GUI thread only.
  // createWindow makes a hidden top-level window of the class and title and
  // delivers WM_CREATE to proc; 0 when it can't be made.
  Hwnd (*createWindow)(const std::string& className, const std::string& title, WindowProc proc);
  // A local window of that class and title, or 0.
  Hwnd (*findWindow)(const std::string& className, const std::string& title);
  // Makes a dialog window (class "#32770", no title), delivers WM_INITDIALOG
  // with param, shows it unless EndDialog came first, and runs its modal loop
  // until EndDialog (result: EndDialog's value) or a quit message (which stays
  // pending for the next loop).
  int (*dialogBox)(WindowProc proc, LParam param);
  // A dialog laid out from a template, with owner: WM_INITDIALOG gets param,
  // a click on a button or check box comes as WM_COMMAND with the control's
  // id (an automatic check box has turned first), Esc and the close box as
  // WM_COMMAND 2. Control texts are the controls' own (get/setControlText).
  // Callable from any thread: the dialog's messages are handled on the GUI
  // thread and the caller waits for EndDialog; several can stand at once.
  // Result: EndDialog's value, -1 when it can't be made.
  int (*templateDialog)(const DialogTemplate* dialog, Hwnd owner, WindowProc proc, LParam param);
  // A message to a control of a template dialog (BM_GETCHECK, BM_SETCHECK,
  // BM_GETIMAGE, BM_SETIMAGE); 0 for a control that isn't there. GUI thread.
  LResult (*controlMessage)(Hwnd dialog, int control, unsigned message, WParam w, LParam l);
  void (*endDialog)(Hwnd window, int result);
  // The plain loop: runs until the quit message; result its code.
  int (*messageLoop)();
  void (*postQuit)(int code);
  // The window system's own id of a local window (what a Pane embeds into), or 0.
  Hwnd (*nativeId)(Hwnd window);

  // The notification-area icon of window: id, the message that reports its
  // mouse events (wParam id, lParam the mouse message), the picture file and
  // the tip. True when the icon stands. GUI thread only.
  bool (*trayAdd)(Hwnd window, int id, unsigned callbackMessage, const std::string& iconPath,
                  const std::string& tip);
  void (*trayDelete)(Hwnd window, int id);
  // A desktop notification from the icon id of window (title, text); shown
  // only while the icon stands. Callable from any thread.
  void (*trayNotify)(Hwnd window, int id, const std::string& title, const std::string& text);
  // A popup menu at screen point (x, y); the chosen entry's id comes back to
  // owner as a posted WM_COMMAND. Entries with id 0 are separators.
  void (*trackPopupMenu)(Hwnd owner, const PopupEntry* entries, int count, int x, int y);
  // The window's icon from a picture file (its title bar, its task bar entry).
  void (*setWindowIcon)(Hwnd window, const std::string& iconPath);

  // The clipboard's text, read only, never changed. False when it holds no
  // text or can't be read now. GUI thread.
  bool (*clipboardText)(std::string* out);
};

// The members that every local backend fills from functions of its own
// namespace named after them (postMessage from PostMessage, ...); a backend's
// record is this plus the members it names its own way.
#define FILL_LOCAL_WINDOW_BACKEND(b)                                                               \
  b.postMessage = PostMessage;                                                                     \
  b.sendMessage = SendMessage;                                                                     \
  b.isWindow = IsWindow;                                                                           \
  b.bringToTop = BringToTop;                                                                       \
  b.setForeground = SetForeground;                                                                 \
  b.setWindowPos = SetWindowPos;                                                                   \
  b.showWindow = ShowWindow;                                                                       \
  b.getWindowRect = GetWindowRect;                                                                 \
  b.setWindowRegion = SetWindowRegion;                                                             \
  b.invalidate = Invalidate;                                                                       \
  b.setTitle = SetTitle;                                                                           \
  b.activeWindow = ActiveWindow;                                                                   \
  b.setTimer = SetTimer;                                                                           \
  b.killTimer = KillTimer;                                                                         \
  b.cursorPos = CursorPos;                                                                         \
  b.screenWidth = ScreenWidth;                                                                     \
  b.screenHeight = ScreenHeight;                                                                   \
  b.displayBits = DisplayBits;                                                                     \
  b.messageBox = MessageBox;                                                                       \
  b.getControlText = GetControlText;                                                               \
  b.setControlText = SetControlText;                                                               \
  b.getCanvas = GetCanvas;                                                                         \
  b.releaseCanvas = ReleaseCanvas;                                                                 \
  b.createWindow = CreateWindow;                                                                   \
  b.findWindow = FindWindow;                                                                       \
  b.dialogBox = DialogBox;                                                                         \
  b.endDialog = EndDialog;                                                                         \
  b.messageLoop = MessageLoop;                                                                     \
  b.postQuit = PostQuit;                                                                           \
  b.nativeId = NativeId;                                                                           \
  b.trayAdd = TrayAdd;                                                                             \
  b.trayDelete = TrayDelete;                                                                       \
  b.trayNotify = TrayNotify;                                                                       \
  b.trackPopupMenu = TrackPopupMenu;                                                               \
  b.setWindowIcon = SetWindowIcon;

// Installs the backend for local windows; the record must outlive its use.
void SetWindowBackend(const WindowBackend* backend);
const WindowBackend* GetWindowBackend();

// Installs the record that serves Pane handles (the carrier's); the same
// shape, of which only the members that make sense for a remote window are
// filled in.
void SetPaneBackend(const WindowBackend* backend);

int WinPostMessage(Hwnd window, unsigned message, WParam w, LParam l);
LResult WinSendMessage(Hwnd window, unsigned message, WParam w, LParam l);
bool WinIsWindow(Hwnd window);
void WinBringWindowToTop(Hwnd window);
void WinSetForegroundWindow(Hwnd window);
void WinSetWindowPos(Hwnd window, Hwnd insertAfter, int x, int y, int cx, int cy, unsigned flags);
void WinShowWindow(Hwnd window, int command);
bool WinGetWindowRect(Hwnd window, Rect* out);
void WinSetWindowRegion(Hwnd window, const Point* points, int count);
void WinInvalidate(Hwnd window);
void WinSetTitle(Hwnd window, const std::string& title);
Hwnd WinGetActiveWindow();
void WinSetTimer(Hwnd window, int id, int milliseconds);
void WinKillTimer(Hwnd window, int id);
Point WinGetCursorPos();
int WinScreenWidth();
int WinScreenHeight();
int WinDisplayBits(Hwnd window);
int WinMessageBox(Hwnd owner, const std::string& text, const std::string& title, unsigned type);
std::string WinSaveFileDialog(Hwnd owner, const std::string& title, const char* filter,
                              const std::string& name, const std::string& folder);
std::string WinGetControlText(Hwnd window, int control);
void WinSetControlText(Hwnd window, int control, const std::string& text);
Canvas* WinGetCanvas(Hwnd window);
void WinReleaseCanvas(Hwnd window, Canvas* canvas);

Hwnd WinCreateWindow(const std::string& className, const std::string& title, WindowProc proc);
Hwnd WinFindWindow(const std::string& className, const std::string& title);
int WinDialogBox(WindowProc proc, LParam param);
int WinTemplateDialog(const DialogTemplate* dialog, Hwnd owner, WindowProc proc, LParam param);
LResult WinSendDlgItemMessage(Hwnd dialog, int control, unsigned message, WParam w, LParam l);
bool WinClipboardText(std::string* out);
void WinEndDialog(Hwnd window, int result);
int WinMessageLoop();
void WinPostQuitMessage(int code);
Hwnd WinNativeId(Hwnd window);

bool WinTrayAdd(Hwnd window, int id, unsigned callbackMessage, const std::string& iconPath,
                const std::string& tip);
void WinTrayDelete(Hwnd window, int id);
void WinTrayNotify(Hwnd window, int id, const std::string& title, const std::string& text);
void WinTrackPopupMenu(Hwnd owner, const PopupEntry* entries, int count, int x, int y);
void WinSetWindowIcon(Hwnd window, const std::string& iconPath);

inline bool IsPaneHandle(Hwnd window) {
  return window != 0 && window < LocalWindowBase;
}
