// Collect-video request: from the address of a video list to a download job.
#pragma once

#include <cstdint>

#include "platform/win.h"

// owner: the window of the dialogs (the Panel). listUrl: the list page, at
// most 511 characters. saveFolder: start folder of the save dialog; empty
// asks for the phone. entry: 0 for the whole list, k for entry k alone.
// Result: always 0.
int CollectVideo(Hwnd owner, const char* listUrl, const char* saveFolder, std::uint32_t entry);

// The format code that the ending of a name from the save dialog stands for
// (".avi" 2, ".wmv" 3, ".mp4" 4, ".mpg(n4)" 14 ... ".mpg(p7)" 27, case
// ignored); 0, a Flash video, for any other.
std::uint32_t FormatFromName(const char* name);
