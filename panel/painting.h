// Panel painting: the face is copied out of the skin picture; nothing is
// drawn by program. The Pane rectangle is never painted. All calls run on the
// Panel's thread; canvas may be null (the call then does nothing).
#pragma once

#include <cstdint>

#include "platform/bitmap.h"
#include "platform/win.h"

// One zone's button, lit when lit is nonzero, on the given canvas. Codes
// without a button, and buttons that the present Channel doesn't show, draw
// nothing.
void PaintZone(Canvas* canvas, int lit, std::uint32_t code);

// The frame around the Pane rectangle for the present PanelRotation.
void PaintFrame(Canvas* canvas);

// Copies of rectangles (x, y, w, h) from picture point (sx, sy). BlitFace
// takes upright coordinates and the SkinBitmap, turning both rectangles when
// the Panel is turned; the other two take coordinates of bitmap as it is.
void BlitFace(Canvas* canvas, int x, int y, int w, int h, int sx, int sy);
void BlitCorner(Canvas* canvas, int w, int h, const Bitmap* bitmap);
void BlitMerge(Canvas* canvas, int x, int y, int w, int h, int sx, int sy, const Bitmap* bitmap);
