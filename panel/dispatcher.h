// The command dispatcher: every PanelCommand (message 1033), every button-up
// on the face and the Panel's WM_COMMANDs end here, and become a change of
// Channel, a message to a Pane, a launch of the browser program or the start
// of a job. Runs only on the Panel's thread.
#pragma once

#include <cstdint>
#include <string>

#include "panel/panes.h"
#include "platform/win.h"

// ZoneCommand of zone z is ZoneCommandBase + 10 * z.
constexpr std::uint32_t ZoneCommandBase = 20010;

// A Pane that meets a page of the video service outside its channel hands
// it over: it sets AddressControl to the page's address and posts this code.
constexpr std::uint32_t CommandOpenVideoSite = 19040;

// What the dispatcher calls outside itself. The system's own functions serve
// by default; tests install a recording record. Any member may be null: the
// call is then skipped (and a result reads 0).
struct DispatcherServices {
  void (*launchPane)(PaneRow row, const char* address);
  int (*rebuildGameMenu)(const char* menuPath, const char* folder, const char* patterns);
  int (*rebuildMediaMenu)(const char* menuPath, const char* folder, const char* patterns);
  void (*startTopListJob)(Hwnd window, const char* listSource, const char* folder);
  void (*startDailyJob)(Hwnd window, const char* listSource, const char* folder);
  int (*harvestCache)(const char* cacheFolder, const char* patterns);
  int (*findPhoneDrive)(int firstLetter, char* videoFolder);
  int (*collectVideo)(Hwnd owner, const char* listUrl, const char* saveFolder, std::uint32_t entry);
  void (*refreshGamePane)(int mode);
  void (*turnPanel)(Hwnd window, LParam arg);
  void (*unturnPanel)(Hwnd window, LParam arg);
  void (*changeSkin)(Hwnd window);
  void (*showPanel)(Hwnd window);
};

// The record of the system's own functions.
const DispatcherServices* SystemDispatcherServices();
// null goes back to the system's own functions. The record must outlive its use.
void SetDispatcherServices(const DispatcherServices* services);
// The record in force; the daily step of the timers starts its job through it.
const DispatcherServices& DispatcherServicesInUse();

// [Game] Search of Define.ini (the daily list), as the daily step and the
// daily question both read it: macros expanded, cut to 255 bytes.
std::string DailySearchSource();

// RemapTable: the code a command is dispatched as, looked up once.
std::uint32_t RemapCode(std::uint32_t code, int channel);

// Dispatches Panel().HoverCode with argument arg: kills the drag timer,
// rewrites the code by RemapTable (HoverCode keeps the rewritten code) and runs
// its handler. A code without a handler does nothing. Result: 0.
LResult CommandDispatcher(Hwnd window, LParam arg);

// WM_COMMAND of the Panel: ids 2, 8, 214 (exit road), 40001-40003 (tray).
LResult PanelCommandMessage(Hwnd window, WParam w, LParam l);

// The Pane of the current Channel, 0 when Channel names no slot.
Hwnd CurrentPane();

// Handlers, each as its command runs it.
void ShowBase(Hwnd window, LParam arg);
void OpenGame(Hwnd window);
void ReturnToBase(Hwnd window);
void OpenHome(Hwnd window, LParam arg);
void CloseCurrent(Hwnd window);
void CollectToFolder(Hwnd window);
// The cache harvest of the Game channel's collect button, and its second
// step once the walk of the cache has ended.
void HarvestStep(Hwnd window);
void CollectToPhone(Hwnd window);
void VideoRequest(Hwnd window, const char* target);
void OpenVideoFolder(Hwnd window);
// The way into the video service's channel: when AddressControl holds an
// address of the service (the video request's own test), Channel := 4 and the
// one Pane of slot 4 shows it (a live one is ended and launched anew).
void OpenVideoSite(Hwnd window);

// From the text of AddressControl to the local file it names, when it names a
// game file (a path of more than 10 characters ending in ".swf", in any case,
// in drive form "C:\...", as a file:// address or as a native path) that lies
// directly inside gameFolder. Empty otherwise.
std::string GameFileFromAddress(const std::string& address, const std::string& gameFolder);

// From the address of a video page to the list address and entry number:
// "http://host/Show/12" gives "http://host/Show/sortlink.htm" and 12.
// Result: 1 when both were found, 0 when a "/" was missing (nothing happens),
// -1 when the address isn't one of the video service (the refusal).
int CutVideoAddress(const std::string& address, std::string* listUrl, std::uint32_t* entry);

// The Panel's dialog procedure (panel_proc.cpp).
LResult PanelProc(Hwnd window, unsigned message, WParam w, LParam l);
