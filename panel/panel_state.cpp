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
  static PanelState state;
  return state;
}
