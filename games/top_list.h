// Top-list collection: games named by a list page are fetched into the Game
// folder, and the game menu follows.
#pragma once

#include "platform/win.h"

// Copies the three arguments for a new job thread and starts it; returns
// without waiting. window is the Panel (0 in the /Top mode), listSource the
// list's address or a file name beside the program, folder the target.
void StartTopListJob(Hwnd window, const char* listSource, const char* folder);

// The job itself, run by that thread or, in the /Top mode, on the first
// thread with no Panel. Result: the number of games collected.
int TopListJob(Hwnd window, const char* listSource, const char* folder, Hwnd tooltip, int rotation);
