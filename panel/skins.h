// Skins and bitmap rotation: which picture file is the face, stepping through
// the available skins, and turning a picture by 90 degrees with the icons of
// the big buttons kept upright.
#pragma once

#include <memory>

#include "platform/bitmap.h"
#include "platform/win.h"

// Drops bitmap and loads the skin file at path; null when it can't be read as
// a picture.
std::unique_ptr<Bitmap> LoadSkin(std::unique_ptr<Bitmap> bitmap, const char* path);

// Copies the skin before the last one chosen (in the folder's listing order)
// over target and loads it; bitmap itself when no file matches mask. target
// and mask name files beside the program.
std::unique_ptr<Bitmap> NextSkin(std::unique_ptr<Bitmap> bitmap, const char* target,
                                 const char* mask);

// A turned copy of bitmap (which is dropped); null bitmap gives null.
std::unique_ptr<Bitmap> TurnBitmap(Hwnd window, std::unique_ptr<Bitmap> bitmap);

// Command 20190: next skin, turned when the Panel is, then a repaint.
void ChangeSkin(Hwnd window);

// Dots per inch * 256 + bits per pixel of the display, from the registry
// substitute; 24592 by default.
int ReadDisplayDepth();

// Puts the 46 x 46 icon square at (x, top + 4) of the upright picture into
// the turned one at (height - top - 49, x) without turning it, leaving its
// rounded corners to the turned background. Both buffers are bottom-up rows
// of bytes-a-pixel pixels padded to 4 bytes; width and height are those of
// the upright picture. At most three bytes of a pixel are copied; pixels
// outside either picture are passed over.
void KeepIconUpright(const std::uint8_t* upright, std::uint8_t* turned, int width, int height,
                     int bytes, int top, int x);

// The window's big and small icons from icon resources big and small; both
// are the one picture file here, so small only has to name a known icon.
// Result: 0.
int SetDialogIcons(Hwnd window, int big, int small);
