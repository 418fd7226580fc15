// Questions that a command can raise again while they stand. A message box
// runs a loop of its own, in which every frame a client sends is handled; a
// client that repeats a command would open one box inside the other until
// the stack runs out. So each such question has a key, and while a question
// of that key stands, asking it again asks nothing and gives the answer
// that changes nothing.
#pragma once

#include <functional>

// The questions of the Panel that commands raise.
enum class PanelQuestion {
  Exit,          // "Do you want to exit ...": every road to the exit waits on it
  CloseOrDelete, // closing the current Pane, deleting the game it plays
  DailySearch,   // the daily collection's question
  PleaseWait,    // a job is at work on that line
  Notice,        // the other boxes a command shows (not found, connect the phone)
  TrayMenu,      // the tray's menu, which a client can open by the tray's message
  Harvest,       // the harvest of the cache, which asks about each game it finds
  VideoSave,     // the save dialog of a video collection, before its status line is set
  Count
};

// Runs ask() unless a question of the same key stands, on any thread.
// Result: what ask() gave, or dropped (default 0, which is no button) when
// the question stood and nothing was asked.
int AskOnce(PanelQuestion key, const std::function<int()>& ask, int dropped = 0);

// Whether a question of that key stands now.
bool QuestionStands(PanelQuestion key);
