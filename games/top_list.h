// Top-list collection: games named by a list page are fetched into the Game
// folder, and the game menu follows.
#pragma once

#include "platform/win.h"

// Copies the three arguments for a new job thread and starts it; returns
// without waiting; while a top-list thread runs, a second start does
// nothing. window is the Panel (0 in the /Top mode), listSource the
// list's address or a file name beside the program, folder the target.
void StartTopListJob(Hwnd window, const char* listSource, const char* folder);

// The job itself, run by that thread or, in the /Top mode, on the first
// thread with no Panel. Result: the number of the last entry walked
// (refused and failed ones count), 0 for an empty list or a No at the start.
int TopListJob(Hwnd window, const char* listSource, const char* folder, Hwnd tooltip, int rotation);
