// Pane hosting: launching the browser program for a channel, and the Panel's
// side of the messages its Panes send (placing, announcements).
#pragma once

#include <string>
#include <vector>

#include "platform/win.h"

// Numbers posted to a Pane as WM_COMMAND wParam (lParam 0).
constexpr WParam PaneCmdPause = 32777;
constexpr WParam PaneCmdMystery = 32778;
constexpr WParam PaneCmdReload = 32779;
constexpr WParam PaneCmdImageReload = 32781;
constexpr WParam PaneCmdBack = 32787;
constexpr WParam PaneCmdForward = 32788;
constexpr WParam PaneCmdFirstPage = 32789;
constexpr WParam PaneCmdMute = 32805;
constexpr WParam PaneCmdNextPicture = 57680;
constexpr WParam PaneCmdPreviousPicture = 57681;

// Rows of the launch table.
// PaneRowImage: the image player (slot 1) on the folder given as address.
enum PaneRow {
  PaneRowStart,
  PaneRowClock,
  PaneRowGame,
  PaneRowHome,
  PaneRowVideo,
  PaneRowVideoSite,
  PaneRowImage
};

// Starts the browser program for row with address (used by Home and Video;
// ignored by the other rows) and waits, at most 2000 ms, until the new process
// has reached the Panel's carrier. No result: a failure isn't seen.
void LaunchPane(PaneRow row, const char* address);

// Messages 1034 and 1044 to 1054 of the Panel. Result: 0.
LResult PaneMessage(Hwnd window, unsigned message, WParam w, LParam l);

// How a launch is made: the program file beside the program, the argument
// vector it gets, and the command line as text in the form of the launch
// table (kept for status and tests; the process gets the vector, so a path
// with blanks stays one argument).
struct PaneLaunch {
  std::string program;
  std::vector<std::string> arguments;
  std::string commandLine;
};

// Composes the launch of row without starting anything. False when it is
// refused: the browser program is missing, the address passes 511 bytes, the
// command line would pass 511 characters, or a file name doesn't fit a path.
bool ComposePaneLaunch(PaneRow row, const char* address, PaneLaunch* out);

// The command line of the last process LaunchPane started; empty before.
std::string LastPaneCommandLine();
