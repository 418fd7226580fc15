// Daily collection: the games of the day's list are fetched into the Game
// folder.
#pragma once

#include "platform/win.h"

// Copies the three arguments for a new job thread and starts it; returns
// without waiting. While a daily thread runs, a second start does nothing.
void StartDailyJob(Hwnd window, const char* listSource, const char* folder);

// Whether a daily thread runs now (from its start until the job returns).
bool DailyJobRunning();

// The job itself, on the started thread. Result: the entries fetched for
// the date (found or not); the thread doesn't use it.
int DailyJob(Hwnd window, const char* listSource, const char* folder, Hwnd tooltip, int rotation);
