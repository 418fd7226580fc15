// Tooltips and the localised string lists 902/1902 (fields separated by ", ",
// sub-fields by "` "). A status line of a job replaces the tip of zone 20 or 21.
#pragma once

#include "platform/win.h"

// Field index of string list id + LanguageOffset into out (1024 bytes).
// Result: the list's length, or -1 when there is no such field.
int ReadListField(int id, int index, char* out);

// Sub-field tipIndex % 10 of field tipIndex / 10. Result: 0, or -1.
int ReadTipText(int id, int tipIndex, char* out);

// The tooltip of the Panel with a tool per zone; 0 when it can't be made.
Hwnd CreateTips(Hwnd window);

void MoveTipRects(Hwnd window, Hwnd tooltip, int count, int rotation);

// Recomputes the tip of one zone; callable from any thread.
void UpdateTip(Hwnd window, Hwnd tooltip, int zone, int rotation);
