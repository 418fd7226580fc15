// Pane hosting: starting the browser program for a channel, and the Panel's
// answers to what its Panes send (placing, announcements).
//
// ComposePaneLaunch builds both forms of a launch: the argument vector that
// the process gets and the command-line text of the launch table, whose
// 511-character bound refuses a launch. LaunchPane starts the process and
// waits, at most 2000 ms, for it to reach the carrier; it never looks at the
// result, as a failed launch only means the channel stays as it was.
// PaneMessage runs on the Panel's thread and touches only PaneSlots and
// Channel.
#include "panel/panes.h"

#include "panel/panel_state.h"
#include "platform/carrier.h"
#include "platform/process.h"
#include "shell/module_path.h"

#include <unistd.h>

#include <cstring>
#include <mutex>

namespace {

constexpr std::size_t PathSize = 260;        // paths, with the end mark
constexpr std::size_t CommandLineSize = 512; // command line and address, with the end mark
constexpr int LaunchWaitMs = 2000;
constexpr const char* ProgramFile = "Lumbrel.dll";

std::mutex lastLock;
std::string lastCommandLine;

// The stand-in for the short form of a path: the path itself when it
// exists; out stays untouched when it doesn't.
bool ShortPath(const std::string& path, std::string* out) {
  if (access(path.c_str(), F_OK) != 0)
    return false;
  *out = path;
  return true;
}

// The full path of a file beside the program. name may use "\" as its
// separator, as values in Define.ini do. False when it doesn't fit a path.
bool BesideProgram(const std::string& nameIn, std::string* out) {
  std::string name = nameIn;
  for (char& c : name)
    if (c == '\\')
      c = '/';
  char folder[PathSize * 2];
  int folderLength = ModuleDirectory(0, folder);
  if (folderLength < 0 || static_cast<std::size_t>(folderLength) + 1 + name.size() >= PathSize)
    return false;
  char path[PathSize];
  ModuleFilePath(0, path, name.c_str());
  *out = path;
  return true;
}

} // namespace

bool ComposePaneLaunch(PaneRow row, const char* addressIn, PaneLaunch* out) {
  std::string address = addressIn != nullptr ? addressIn : "";
  if (address.size() > CommandLineSize - 1)
    return false;
  std::string programPath, program;
  if (!BesideProgram(ProgramFile, &programPath) || !ShortPath(programPath, &program))
    return false;

  PaneLaunch launch;
  launch.program = program;
  // A missing page goes on: the Pane shows its own complaint about it.
  auto page = [](const std::string& name, std::string* path) {
    std::string full;
    if (!BesideProgram(name, &full))
      return false;
    if (!ShortPath(full, path))
      *path = full;
    return true;
  };
  std::string path;
  switch (row) {
  case PaneRowStart:
  case PaneRowClock:
  case PaneRowGame: {
    const char* name = row == PaneRowStart   ? "Web/iStart.htm"
                       : row == PaneRowClock ? "Web/iClock.htm"
                                             : "Web/Index.htm";
    const char* slot = row == PaneRowClock ? "/h0" : "/h2";
    if (!page(name, &path))
      return false;
    launch.arguments = {path, slot};
    launch.commandLine = program + " " + path + " " + slot;
    break;
  }
  case PaneRowHome:
    // No test for "http" here: the value always goes behind /U=.
    launch.arguments = {"/U=" + address, "/h5"};
    launch.commandLine = program + " /U=" + address + " /h5";
    break;
  case PaneRowVideoSite:
    launch.arguments = {"/U=" + address, "/h4"};
    launch.commandLine = program + " /U=" + address + " /h4";
    break;
  case PaneRowVideo: {
    std::string slot = "/h" + std::to_string(Panel().Channel.load());
    if (address.size() >= 5 && address[4] == ':' && address.compare(0, 4, "http") == 0) {
      launch.arguments = {"/U=" + address, slot};
      launch.commandLine = program + " /U=" + address + " " + slot;
    } else {
      if (!page(address, &path))
        return false;
      launch.arguments = {path, slot};
      launch.commandLine = program + " " + path + " " + slot;
    }
    break;
  }
  case PaneRowImage:
    launch.arguments = {address, "/h1"};
    launch.commandLine = program + " " + address + " /h1";
    break;
  default:
    return false;
  }
  if (launch.commandLine.size() > CommandLineSize - 1)
    return false;
  *out = std::move(launch);
  return true;
}

void LaunchPane(PaneRow row, const char* address) {
  PaneLaunch launch;
  if (!ComposePaneLaunch(row, address, &launch))
    return;
  ProcessRequest request;
  request.program = launch.program;
  request.arguments = launch.arguments;
  // Its own session, away from the Panel's terminal; the Pane ends with the
  // Panel named here (see the browser program's start).
  request.detach = true;
  request.environment = {"SKERRY_PANEL_PID=" + std::to_string(getpid())};
  ProcessResult started = ProcessStart(request);
  if (started.pid <= 0)
    return;
  {
    std::lock_guard<std::mutex> hold(lastLock);
    lastCommandLine = launch.commandLine;
  }
  ProcessForget(started.pid);
  CarrierWaitForClient(started.pid, LaunchWaitMs);
}

std::string LastPaneCommandLine() {
  std::lock_guard<std::mutex> hold(lastLock);
  return lastCommandLine;
}

LResult PaneMessage(Hwnd, unsigned message, WParam w, LParam) {
  PanelState& panel = Panel();
  if (message == MsgPlacePane) {
    WParam slot = w & 0xFFFF;
    if (slot >= static_cast<WParam>(PaneSlotCount))
      return 0;
    Hwnd pane = panel.PaneSlots[slot].load();
    if (pane == 0)
      return 0;
    // Always the upright place, whatever the turn: 20180 sizes Panes.
    WinBringWindowToTop(pane);
    WinSetForegroundWindow(pane);
    WinSetWindowPos(pane, HWND_TOP, 19, 74, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    WinSetWindowPos(pane, HWND_TOP, 20, 74, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    WinSetWindowPos(pane, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOMOVE);
    return 0;
  }
  if (message < MsgAnnounceFirst || message > MsgAnnounceLast)
    return 0;
  Hwnd handle = static_cast<Hwnd>(w & 0xFFFF);
  int slot = static_cast<int>(message - MsgAnnounceFirst);
  switch (message) {
  case 1046:
    if (panel.Channel.load() == ChannelStart) {
      panel.Channel = ChannelClock;
      slot = 0;
    }
    break;
  case 1047: // no slot 3: not handled
    return 0;
  default:
    break;
  }
  panel.PaneSlots[slot] = handle;
  // A Pane starts at the upright place; on a turned panel it would stand
  // across the face until the next turn.
  if (panel.PanelRotation == 90)
    WinSetWindowPos(handle, HWND_TOP, 122, 20, 396, 310, SWP_NOZORDER);
  if (message == 1051)
    WinShowWindow(handle, SW_HIDE);
  return 0;
}
