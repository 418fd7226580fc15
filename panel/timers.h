// Panel timers and dragging: timer 1 (50 ms) drags the Panel by its face,
// timer 2 (1000 ms) runs the once-a-second pass.
#pragma once

#include "platform/win.h"

constexpr int DragTimer = 1;
constexpr int SecondTimer = 2;

// WM_LBUTTONDOWN of the Panel: over free face (HoverCode 0) a drag begins.
void PanelButtonDown(Hwnd window);

// WM_TIMER of the Panel.
void DragStep(Hwnd window);
void OnceASecondPass(Hwnd window);
