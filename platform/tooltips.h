// The tooltip control's stand-in: a table of tools (id, rectangle in client
// coordinates of the owner, text) per tooltip. The system fills it through
// the calls below (the control's TTM_ADDTOOLA, TTM_NEWTOOLRECTA and
// TTM_UPDATETIPTEXTA); the window backend asks TooltipTextAt what to show
// when the mouse rests over its window. All calls are thread-safe, so a job
// thread may change a text while the GUI thread reads it.
#pragma once

#include <string>

#include "platform/win.h"

// Tooltip handles lie far above local windows and Pane handles.
constexpr Hwnd TooltipHandleBase = 0x40000000u;

struct ToolRecord {
  Hwnd Owner = 0;
  int Id = 0;
  Rect Area;
  std::string Text;
};

// A new, empty tooltip of owner; 0 when owner is 0.
Hwnd TooltipCreate(Hwnd owner);

// Adds a tool (or replaces the one with that id). False for an unknown tooltip.
bool TooltipAddTool(Hwnd tooltip, const ToolRecord& tool);

// New rectangle or text of an existing tool; an unknown tooltip or id is
// ignored, as the control ignores a zone without a tool.
void TooltipNewRect(Hwnd tooltip, int id, const Rect& area);
void TooltipUpdateText(Hwnd tooltip, int id, const std::string& text);

// A copy of one tool. False when there is no such tool.
bool TooltipGetTool(Hwnd tooltip, int id, ToolRecord* out);
int TooltipToolCount(Hwnd tooltip);

// The text to show at client point (x, y) of owner: the first tool whose
// rectangle holds the point (left and top inclusive, right and bottom not),
// empty when none does or its text is empty.
std::string TooltipTextAt(Hwnd owner, int x, int y);

// Drops every tooltip (tests).
void TooltipResetAll();
