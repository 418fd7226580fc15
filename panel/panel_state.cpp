#include "panel/panel_state.h"

void StatusLine::Set(const std::string& text) {
  std::lock_guard<std::mutex> guard(lock_);
  text_ = text.substr(0, Size - 1);
}

std::string StatusLine::Get() const {
  std::lock_guard<std::mutex> guard(lock_);
  return text_;
}

bool StatusLine::Empty() const {
  std::lock_guard<std::mutex> guard(lock_);
  return text_.empty();
}

PanelState& Panel() {
  // Never destroyed: job threads read and write it while the process ends.
  static PanelState* state = new PanelState;
  return *state;
}

void ResetPanelState(PanelState& p) {
  p.Channel = ChannelStart;
  p.PreviousChannel = 0;
  p.ShownChannel = 0;
  p.MaximizedChannel = -1;
  p.MaximizedLeft = false;
  for (auto& slot : p.PaneSlots)
    slot = 0;
  p.HoverCode = 0;
  p.PanelRotation = 0;
  p.TopmostFlag = 0;
  p.DailyMode = 0;
  p.CollectStatus.Clear();
  p.PhoneStatus.Clear();
  p.PanelWindow = 0;
  p.LastHover = 0;
  p.PanelOutline = {};
  p.PanelRegion = false;
  p.PanelLeft = 0;
  p.PanelTop = 0;
  p.SkinBitmap.reset();
  p.LastSkinName = "--";
  p.TooltipWindow = 0;
  p.TickCount = 0;
  p.DayKey = 0;
  p.DragAnchor = Point{};
  p.DragCursor = Point{};
  p.LastClipboardText.clear();
  p.TrayIconAdded = 0;
}
