// Daily collection: the games of the day's list are fetched into the Game
// folder.
#pragma once

#include "platform/win.h"

// Copies the three arguments for a new job thread and starts it; returns
// without waiting.
void StartDailyJob(Hwnd window, const char* listSource, const char* folder);

// The job itself; its result isn't used.
int DailyJob(Hwnd window, const char* listSource, const char* folder, Hwnd tooltip, int rotation);
