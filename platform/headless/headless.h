// The headless window backend for tests: local windows with their procedures
// and one message queue, a pump that the test turns by hand, a recording of
// every window call, a memory canvas per window, scripted message-box answers,
// a fake cursor, screen and colour depth, and timers that fire only when the
// test says so. A recording Pane backend (live handles chosen by the test)
// serves Pane handles without any browser program or carrier.
//
// Threads: the thread that calls HeadlessInstall is the GUI thread. Any thread
// may post; a send from another thread waits until the GUI thread pumps it.
// Loops never block: dialogBox and messageLoop return as soon as the queue is
// empty (with -1), so a test can look at the state and pump on by hand.
//
// A template dialog asked for by another thread is started on the GUI thread
// by the next pump and that thread waits until the dialog ends.
//
// Popup menus are recorded only; a test posts the chosen WM_COMMAND itself.
//
// Save dialogs answer from their own script (HeadlessScriptSaveAnswers).
//
// Unscripted message boxes: a box with only OK answers IDOK; a question with
// no scripted answer answers IDCANCEL (Yes/No/Cancel) or IDNO (Yes/No) and is
// counted by HeadlessUnscriptedQuestions, which a test expects to stay 0.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/win.h"

// One window call, as the system made it. Fields a call doesn't use stay 0.
struct HeadlessCall {
  std::string op; // "post", "send", "bringToTop", "setWindowPos", "showWindow", ...
  Hwnd window = 0;
  unsigned message = 0;
  WParam w = 0;
  LParam l = 0;
  Hwnd after = 0;
  int x = 0, y = 0, cx = 0, cy = 0;
  unsigned flags = 0;
  std::string text;
};

struct HeadlessBox {
  Hwnd owner = 0;
  std::string text;
  std::string title;
  unsigned type = 0;
  int answer = 0;
  bool scripted = false;
};

// One save dialog as the system asked for it, and what it was answered.
struct HeadlessSaveAsk {
  Hwnd owner = 0;
  std::string title;
  std::vector<FilterRow> filter;
  std::string name;
  std::string folder;
  std::string answer; // empty: cancelled
  bool scripted = false;
};

// What a test can see of a local window.
struct HeadlessWindow {
  Hwnd id = 0;
  std::string className;
  std::string title;
  Rect rect;
  bool visible = false;
  bool topmost = false;
  bool dialogEnded = false;
  int dialogResult = 0;
  std::vector<Point> region;
  std::vector<int> timers; // ids of running timers
  int templateId = 0;      // template dialogs: the template's id
  Hwnd owner = 0;
};

// Drops every window, queue entry, recording and script, and installs the
// headless backend for local windows and the recording Pane backend.
void HeadlessInstall();
const WindowBackend* HeadlessBackend();
const WindowBackend* HeadlessPaneBackend();

// Delivers queued messages (and waiting sends of other threads) until the
// queue is empty or a quit message stands first; at most max messages.
// Result: the number delivered.
int HeadlessPump(int max = 100000);
// Pumps until the queue stays empty for quietMs or timeoutMs passed; for
// tests with worker threads.
int HeadlessPumpFor(int timeoutMs, int quietMs = 50);
// Whether a quit message is pending, and its code.
bool HeadlessQuitPending(int* code = nullptr);

std::vector<HeadlessCall> HeadlessCalls();
void HeadlessClearCalls();
// Calls of one op, optionally to one window.
std::vector<HeadlessCall> HeadlessCallsOf(const std::string& op, Hwnd window = 0);

// Answers for the next message boxes, used in order.
void HeadlessScriptAnswers(const std::vector<int>& answers);
std::vector<HeadlessBox> HeadlessBoxes();
int HeadlessUnscriptedQuestions();

// Answers for the next save dialogs, used in order: a full path to return,
// or an empty text for a cancel. An unscripted save dialog is cancelled and
// counts as an unscripted question. Any thread may be the one that asks.
void HeadlessScriptSaveAnswers(const std::vector<std::string>& answers);
std::vector<HeadlessSaveAsk> HeadlessSaveAsks();

bool HeadlessWindowInfo(Hwnd window, HeadlessWindow* out);
// The window of that class, 0 if none.
Hwnd HeadlessFindClass(const std::string& className);

// Template dialogs of that id that stand (not ended), oldest first.
std::vector<Hwnd> HeadlessDialogs(int templateId);
// A click on a control of a template dialog: an automatic check box turns,
// then WM_COMMAND with the control's id is queued; control 2 is Esc or the
// close box. False when the dialog or the control isn't there.
bool HeadlessClick(Hwnd dialog, int control);

// The clipboard: its text, or no text (null); readable false makes it busy.
void HeadlessSetClipboard(const std::string* text, bool readable = true);

// Queues WM_TIMER for a running timer; false when that timer isn't running.
bool HeadlessFireTimer(Hwnd window, int id);

void HeadlessSetCursor(Point p);
void HeadlessSetScreen(int width, int height);
void HeadlessSetDisplayBits(int bits);
void HeadlessSetActiveWindow(Hwnd window);

// Pane handles that the recording Pane backend reports live.
void HeadlessSetPaneLive(Hwnd pane, bool live);

// The notification area: whether adding an icon succeeds (default true), and
// how many icons stand.
void HeadlessSetTrayAvailable(bool available);
int HeadlessTrayIcons();
