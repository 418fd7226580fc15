// Collect-video request: from the address of a video list to a download job.
#pragma once

#include <cstdint>

#include "platform/win.h"

// owner: the window of the dialogs (the Panel). listUrl: the list page, at
// most 511 characters. saveFolder: start folder of the save dialog; empty
// asks for the phone. entry: 0 for the whole list, k for entry k alone.
// Result: always 0.
int CollectVideo(Hwnd owner, const char* listUrl, const char* saveFolder, std::uint32_t entry);
