// Panel painting: the face is copied out of the skin picture; nothing is
// drawn by program. The Pane rectangle is never painted.
#pragma once

#include <cstdint>

#include "platform/win.h"

// WM_PAINT of the Panel: keep on screen, apply the region, paint the frame.
void PanelPaint(Hwnd window);

// One zone's button, lit when lit is nonzero, on the given canvas.
void PaintZone(Canvas* canvas, int lit, std::uint32_t code);
