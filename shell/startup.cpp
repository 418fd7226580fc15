// Start-up and the exit road. SkerryMain picks the language, makes the hidden
// MessageWindow, then either runs the /Top mode or the Panel's dialog, and
// after the dialog the plain loop until the quit message. PanelInitDialog is
// the Panel's WM_INITDIALOG; ExitRoad ends the Panel by way of the hidden
// window, whose WM_DESTROY posts the quit message. The carrier is the Panel's
// door for other processes: the one Panel listens, a second one finds it
// answering, posts itself WM_COMMAND 8 with 99 and never listens.
#include "shell/startup.h"

#include <sys/stat.h>
#include <unistd.h>

#include "games/top_list.h"
#include "panel/dispatcher.h"
#include "panel/geometry.h"
#include "panel/panel_state.h"
#include "panel/questions.h"
#include "panel/skins.h"
#include "panel/timers.h"
#include "panel/tips.h"
#include "platform/carrier_client.h"
#include "platform/ini.h"
#include "shell/leftovers.h"
#include "shell/module_path.h"
#include "shell/texts.h"
#include "shell/tray.h"

Hwnd MessageWindow = 0;

namespace {

constexpr int PanelWidth = 350;
constexpr int PanelHeight = 593;
constexpr std::size_t PathSize = 260;

bool listening = false;
bool startFailed = false; // the Panel ended at start for want of its socket

std::string Beside(const char* name) {
  char out[PathSize] = {};
  ModuleFilePath(0, out, name);
  return out;
}

bool FileExists(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0;
}

// Messages another process may deliver to the Panel: those a Pane, a second
// Panel or a tray-like client sends. Anything else (WM_INITDIALOG above all)
// stays the Panel's own business.
bool AcceptedFromClient(unsigned message) {
  return message == MsgPanelCommand || message == WM_COMMAND || message == MsgPlacePane ||
         (message >= MsgAnnounceFirst && message <= MsgAnnounceLast) || message == MsgTrayEvent;
}

void CarrierPost(unsigned message, WParam w, LParam l) {
  if (AcceptedFromClient(message))
    WinPostMessage(Panel().PanelWindow.load(), message, w, l);
}

LResult CarrierSend(unsigned message, WParam w, LParam l) {
  if (!AcceptedFromClient(message))
    return 0;
  return WinSendMessage(Panel().PanelWindow.load(), message, w, l);
}

void CarrierText(int control, const std::string& text) {
  WinSetControlText(Panel().PanelWindow.load(), control, text);
}

void CarrierWindow(const std::string& op, const std::vector<long>& args) {
  Hwnd panel = Panel().PanelWindow.load();
  auto arg = [&](std::size_t i) { return i < args.size() ? args[i] : -1L; };
  if (op == "RAISE") {
    WinBringWindowToTop(panel);
  } else if (op == "FOCUS") {
    WinSetForegroundWindow(panel);
  } else if (op == "TOPMOST") {
    WinSetWindowPos(panel, arg(0) == 1 ? HWND_TOPMOST : HWND_NOTOPMOST, 0, 0, 0, 0,
                    SWP_NOMOVE | SWP_NOSIZE);
  } else if (op == "MOVE") {
    Rect r;
    if (!WinGetWindowRect(panel, &r))
      return;
    auto keep = [](long v, int old) { return v == -1 ? old : static_cast<int>(v); };
    WinSetWindowPos(panel, 0, keep(arg(0), r.left), keep(arg(1), r.top),
                    keep(arg(2), r.right - r.left), keep(arg(3), r.bottom - r.top), SWP_NOZORDER);
  } else if (op == "SHOW") {
    WinShowWindow(panel, arg(0) == 1 ? SW_SHOW : SW_HIDE);
  } else if (op == "REDRAW") {
    WinInvalidate(panel);
  }
}

Hwnd CarrierNativeWindow() {
  return WinNativeId(Panel().PanelWindow.load());
}

const CarrierHandlers handlers = {CarrierPost, CarrierSend, CarrierText, CarrierWindow,
                                  CarrierNativeWindow};

// Whether the outline holds a shape at all; an empty one would make the
// window vanish rather than shape it.
bool OutlineHasArea() {
  const auto& outline = Panel().PanelOutline;
  for (const Point& p : outline)
    if (p.x != outline[0].x || p.y != outline[0].y)
      return true;
  return false;
}

} // namespace

std::string CommandLineText(int argc, char** argv) {
  std::string text;
  for (int i = 1; i < argc; ++i) {
    if (i > 1)
      text += ' ';
    text += argv[i] != nullptr ? argv[i] : "";
  }
  return text;
}

bool IsTopSwitch(const std::string& commandLine) {
  static const char top[] = "/top";
  if (commandLine.size() != sizeof top - 1)
    return false;
  for (std::size_t i = 0; i < commandLine.size(); ++i) {
    char c = commandLine[i];
    if (c >= 'A' && c <= 'Z')
      c = static_cast<char>(c + 32);
    if (c != top[i])
      return false;
  }
  return true;
}

int LanguageOffsetFrom(int query) {
  return query == 1000 ? 1000 : 0;
}

LResult MessageWindowProc(Hwnd window, unsigned message, WParam, LParam) {
  switch (message) {
  case WM_DESTROY:
    WinKillTimer(window, 1);
    WinPostQuitMessage(0);
    return 0;
  default:
    // WM_CREATE, WM_TIMER, WM_LBUTTONDOWN, 1024 and all else: nothing to do.
    return 0;
  }
}

int TopListMode() {
  char list[256] = {};
  IniRead(Beside("Define.ini").c_str(), "Game", "List", "", list, sizeof list);
  int count = TopListJob(0, list, Beside("Game").c_str(), 0, 0);
  WinMessageBox(0, FormatText(TextGotGames, std::to_string(count)), TitleVexan, MB_OK);
  return count;
}

namespace {

// The Panel that runs may stand hidden with no tray to open it by: a second
// start shows it (as the tray menu's Open UI does) before this one ends.
void BringRunningPanelForward() {
  CarrierConnection running;
  std::string error;
  if (!CarrierConnect(&running, "", &error))
    return;
  if (CarrierClientHello(&running, static_cast<int>(getpid()), 2000, nullptr))
    CarrierClientPost(&running, WM_COMMAND, 40001, 0);
  CarrierDisconnect(&running);
}

} // namespace

LResult PanelInitDialog(Hwnd window) {
  PanelState& p = Panel();
  for (auto& slot : p.PaneSlots)
    slot = 0;

  // Another Panel answering on the carrier: this one ends at the first turn of
  // its loop, before the first command, and leaves the other's socket alone.
  if (CarrierPanelRunning()) {
    BringRunningPanelForward();
    WinPostMessage(window, WM_COMMAND, 8, 99);
  } else if (!listening) {
    // Without its socket no Pane could reach the Panel: it says why and ends
    // with a failure code rather than run on deaf.
    std::string error;
    listening = CarrierListen(handlers, &error);
    if (!listening) {
      startFailed = true;
      WinMessageBox(window, std::string(TitlePanel) + " can't listen for its panes: " + error,
                    TitlePanel, MB_OK);
      ExitRoad(window, 99);
      return 0;
    }
    // The one Panel: what killed roads of an earlier run left goes now.
    SweepRoadTemporariesAtStart();
  }

  WinSetWindowPos(window, 0, (WinScreenWidth() - PanelWidth) / 2,
                  (WinScreenHeight() - PanelHeight) / 2, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
  p.PanelWindow = window;

  std::string skin = Beside("@VEXANH.BMP");
  if (!FileExists(skin))
    skin = Beside("@VEXANL.BMP");
  p.SkinBitmap = LoadSkin(std::move(p.SkinBitmap), skin.c_str());
  if (p.SkinBitmap == nullptr) {
    // The socket goes first: nobody may connect to a Panel that is ending.
    if (listening) {
      CarrierClose();
      listening = false;
    }
    WinMessageBox(window, FixedText(TextBitmapMissing), TitleMessage, MB_OK);
    ExitRoad(window, 99);
    return 0;
  }

  WinSetTitle(window, TitlePanel);
  SetDialogIcons(window, 100, 100);
  WinSetWindowPos(window, 0, 0, 0, PanelWidth, PanelHeight, SWP_NOMOVE | SWP_NOZORDER);
  CentrePanel(window);
  Rect r;
  if (WinGetWindowRect(window, &r)) {
    p.PanelLeft = r.left;
    p.PanelTop = r.top;
  }

  BuildOutline(1);
  if (OutlineHasArea()) {
    WinSetWindowRegion(window, p.PanelOutline.data(), OutlinePointCount);
    p.PanelRegion = true;
  }

  p.TooltipWindow = CreateTips(window);
  WinSetTimer(window, SecondTimer, 1000);
  WinPostMessage(window, MsgPanelCommand, 20070, ChannelStart);
  if (p.TrayIconAdded == 0)
    p.TrayIconAdded = TrayIcon(window, 0);
  return 0;
}

// While the exit question stands, every further request to exit (with or
// without a question) is dropped: the answer to the standing one decides.
void ExitRoad(Hwnd window, LParam arg) {
  if (QuestionStands(PanelQuestion::Exit))
    return;
  if (arg != 99) {
    std::string question = FormatText(TextExitQuestion, TitlePanel);
    if (AskOnce(PanelQuestion::Exit,
                [&] { return WinMessageBox(window, question, TitlePanel, MB_YESNO); }) != IDYES)
      return;
  }
  TrayIcon(window, 2);
  WinSendMessage(MessageWindow, WM_DESTROY, 0, 0);
  Hwnd panel = Panel().PanelWindow.load();
  WinEndDialog(panel != 0 ? panel : window, 0);
}

const CarrierHandlers& PanelCarrierHandlers() {
  return handlers;
}

bool PanelListening() {
  return listening;
}

int SkerryMain(int argc, char** argv) {
  LanguageOffset = LanguageOffsetFrom(LanguageFromLocale());

  MessageWindow = WinCreateWindow(ClassMessageWindow, TitleMessageWindow, MessageWindowProc);
  if (MessageWindow == 0)
    return 0;

  if (IsTopSwitch(CommandLineText(argc, argv)))
    return TopListMode();

  WinDialogBox(PanelProc, 0);
  int code = WinMessageLoop();
  // The socket goes with the end of the loop by its quit message; a loop that
  // merely ran dry (the headless backend's) leaves the Panel reachable.
  if (listening && code != -1) {
    CarrierClose();
    listening = false;
  }
  return startFailed ? 1 : code;
}
