// The image player's channel (slot 1): the pictures of the phone's card when a
// phone is found, else the user's pictures.
#pragma once

#include <string>

#include "panel/panes.h"
#include "platform/win.h"

// The camera folder of the phone's card (DCIM, else the card's root) when a
// phone is found; else $XDG_PICTURES_DIR, ~/Pictures or the home folder.
std::string PicturesFolder();

// Shows the image player, launching it (by launch) on PicturesFolder when it
// isn't live.
void OpenImagePlayer(Hwnd window, void (*launch)(PaneRow row, const char* address));
