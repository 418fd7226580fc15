// The zones of the face, one row per zone, kept upright only: row z holds
// ZoneCommand 20010 + 10 * z. Rows that stand for no button are empty or
// degenerate rectangles. Both the hit test and the tooltips read them.
#pragma once

#include "panel/panel_state.h"

struct ZoneRect {
  int Left;
  int Top;
  int Right;
  int Bottom;
};

extern const ZoneRect ZoneTable[ZoneCount];
