// The carrier: how the Panel and other processes (Panes, a second Panel,
// tests) talk. The Panel listens on a Unix stream socket in a 0700 folder;
// frames are LF-ended ASCII lines (HELLO, POST, SEND/RET, TEXT, WINDOW).
//
// Server side (the Panel): CarrierListen, then the host's event loop calls
// CarrierService when a carrier descriptor is readable (or CarrierPoll in a
// plain loop). Frames for the Panel reach it through CarrierHandlers, always
// on the thread that services the carrier (the GUI thread). Pane handles are
// served by the WindowBackend record that CarrierPaneBackend returns (install
// it with SetPaneBackend).
#pragma once

#include <string>
#include <vector>

#include "platform/win.h"

// What the Panel does with frames from clients; run on the servicing thread.
struct CarrierHandlers {
  void (*post)(unsigned message, WParam w, LParam l);                   // POST: queue to the Panel
  LResult (*send)(unsigned message, WParam w, LParam l);                // SEND: deliver now
  void (*text)(int control, const std::string& text);                   // TEXT: a control's text
  void (*window)(const std::string& op, const std::vector<long>& args); // WINDOW
  Hwnd (*nativeWindow)(); // what HELLO answers: the Panel's native window id, or 0
};

// $XDG_RUNTIME_DIR/skerry/panel.sock, else
// ${XDG_STATE_HOME:-~/.local/state}/skerry/run/panel.sock (/tmp/skerry-<uid>/
// panel.sock only when that path would be too long for a socket).
std::string CarrierSocketPath();

// Whether a socket at path may be trusted, by clients and the listener
// alike: its folder is a real folder of this user that no other user may
// enter (mode 0700), and the socket, when there, is a socket of this user.
// False with the reason in why.
bool CarrierPathTrusted(const std::string& path, std::string* why);

// True when a Panel answers on a trusted socket.
bool CarrierPanelRunning();

// Makes the 0700 folder, replaces a stale socket and listens. False (with a
// reason in error) when another Panel answers or the socket can't be made.
bool CarrierListen(const CarrierHandlers& handlers, std::string* error);
void CarrierClose();

// Descriptors the host must watch for reading. While listening this is one
// descriptor (an event set standing for the listener and every client), the
// same from CarrierListen to CarrierClose; empty when not listening.
std::vector<int> CarrierDescriptors();

// Handles what is readable on fd (accepts, reads, dispatches whole frames).
void CarrierService(int fd);

// Waits up to timeoutMs for activity and services it; for plain loops and waits.
void CarrierPoll(int timeoutMs);

// The record that serves Pane handles: POST/SEND frames, WINDOW frames, and
// liveness by open connection.
const WindowBackend* CarrierPaneBackend();

// How long a blocking send to a Pane waits for its RET before it gives up
// with the result 0.
constexpr int CarrierSendTimeoutMs = 3000;

// Waits (servicing the carrier, but running no handler: frames for the
// Panel that arrive meanwhile wait for the next CarrierService) until a client whose HELLO named
// pid has connected, or timeoutMs passed. True when it connected.
bool CarrierWaitForClient(int pid, int timeoutMs);

// The pids that the open connections named in HELLO (0 for a client that
// hasn't), for status and tests.
std::vector<int> CarrierClientPids();
