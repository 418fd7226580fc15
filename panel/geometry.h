// Panel geometry: the window's size and shape, the hit test over the zones
// of the face (panel/zones.h), the turning rule and the turning command.
// Everything is stored upright; upright (x, y) lies turned at (592 - y, x).
#pragma once

#include <cstdint>

#include "panel/panel_state.h"
#include "platform/win.h"

// ZoneCommand (20010 + 10 * zone) under client point (x, y) of the current
// orientation, 0 for none. Edges belong to no zone.
std::uint32_t HitTestZone(int x, int y);

// Mode 1: PanelOutline upright; mode 11: turned. Other modes do nothing.
void BuildOutline(int mode);

// The two directions of command 20180; arg 99 centres the Panel.
void TurnPanel(Hwnd window, LParam arg);
void UnturnPanel(Hwnd window, LParam arg);

void CentrePanel(Hwnd window);
void KeepPanelOnScreen(Hwnd window);

// WM_PAINT of the Panel: keep on screen, apply the region, paint the frame.
void PanelPaint(Hwnd window);

// WM_MOUSEMOVE of the Panel: hover lighting (keys is the message's key state,
// pos the client position in the low and high 16 bits).
void PanelMouseMove(Hwnd window, WParam keys, LParam pos);
