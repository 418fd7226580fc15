// Panel timers and dragging: timer 1 (50 ms) drags the Panel by its face,
// timer 2 (1000 ms) runs the once-a-second pass. Panel's thread only.
#pragma once

#include "platform/win.h"

// WM_LBUTTONDOWN of the Panel: over free face (HoverCode 0) a drag begins.
void PanelButtonDown(Hwnd window);

// WM_TIMER of the Panel. A tick of timer 2 leaves DragAnchor alone, so it
// can't spoil the anchor of a drag that has just begun.
void DragStep(Hwnd window);
void OnceASecondPass(Hwnd window);

// The local date that the daily step reads (month 1-12, day 1-31); null goes
// back to the system clock. For tests.
using LocalDateSource = void (*)(int* month, int* day);
void SetLocalDateSource(LocalDateSource source);
