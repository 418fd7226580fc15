// The browser program's side of the pane contract, in plain C++ so that it can
// be tested without a display: reading the command line, reading the carrier's
// frames and deciding what each asks of the Pane, and the text of the frames
// the Pane sends. Nothing here touches a socket or a window.
#pragma once

#include <string>
#include <vector>

// What the command line asked for: `<page path> /hN` or `/U=<address> /hN`.
struct PaneArgs {
  std::string target;     // the page path or the address, as given
  bool isAddress = false; // target came behind /U=
  int slot = -1;          // N of /hN, 0..11; -1 when missing or out of range
};

// args are argv[1..]. Pieces of a page path split at blanks by a caller that
// passed them unquoted are joined again with one blank. Never fails: missing
// pieces stay empty.
PaneArgs ParsePaneArgs(const std::vector<std::string>& args);

// The announcement message for a slot (1044 + N), or 0 when the slot has none
// (3, 11, or no slot).
unsigned AnnouncementFor(int slot);

// The handle a process announces: the low 16 bits of its pid, never 0.
unsigned PaneHandleFor(long pid);

// The Panel's socket: the carrier's own path (platform/carrier.h).
std::string PaneCarrierPath();

// A line received from the carrier, cut into its fields. Frames longer than
// MaxFrameBytes are dropped by the reader before they get here.
constexpr std::size_t MaxFrameBytes = 4096;
enum FrameKind { FrameUnknown, FrameHello, FramePost, FrameSend, FrameText, FrameWindow };
struct Frame {
  FrameKind kind = FrameUnknown;
  long long number[4] = {0, 0, 0, 0}; // HELLO id; POST/SEND message, wParam, lParam; WINDOW args
  int count = 0;                      // how many numbers were read
  std::string op;                     // WINDOW operation (RAISE, MOVE, ...)
  std::string text;                   // TEXT: the text after the control id
};
Frame ParseFrame(const std::string& line);

// What a frame asks of the Pane.
enum PaneAction {
  ActNone,
  ActReload,
  ActBack,
  ActForward,
  ActFirstPage,
  ActMute,
  ActQuit,
  ActFillScreen,
  ActReturnToPanel,
  ActNextPicture,
  ActPreviousPicture,
  ActPause,
  ActRaise,
  ActFocus,
  ActTopmost,
  ActMove,
  ActShow,
  ActRedraw,
};
// imagePlayer: the Pane runs as /h1. Reloads of either code work on both kinds.
PaneAction ActionFor(const Frame& frame, bool imagePlayer);

// The text of an address for `TEXT 2010`: line breaks become blanks and the
// text is cut to at most 511 bytes without splitting a UTF-8 character, which
// is what the Panel's AddressControl can hold.
std::string AddressText(const std::string& address);

// The pictures the image player shows of folder: those in it and in its
// subfolders one level down (a camera writes DCIM/100XXXXX), newest first
// (same time: by path). A picture is a regular file ending in .jpg, .jpeg,
// .png, .gif, .bmp or .webp, in any case.
std::vector<std::string> FolderPictures(const std::string& folder);
