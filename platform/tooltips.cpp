// Tool tables behind one lock. Tooltips are never destroyed while the
// process runs (the Panel's lives as long as the Panel), so the table only
// grows, by one entry per CreateTips.
#include "platform/tooltips.h"

#include <mutex>
#include <vector>

namespace {

struct Tooltip {
  Hwnd Handle = 0;
  Hwnd Owner = 0;
  std::vector<ToolRecord> Tools;
};

std::mutex lock;
std::vector<Tooltip> tooltips;
Hwnd nextHandle = TooltipHandleBase + 1;

Tooltip* Find(Hwnd handle) {
  for (Tooltip& t : tooltips)
    if (t.Handle == handle)
      return &t;
  return nullptr;
}

ToolRecord* FindTool(Tooltip* t, int id) {
  if (t == nullptr)
    return nullptr;
  for (ToolRecord& tool : t->Tools)
    if (tool.Id == id)
      return &tool;
  return nullptr;
}

} // namespace

Hwnd TooltipCreate(Hwnd owner) {
  if (owner == 0)
    return 0;
  std::lock_guard<std::mutex> guard(lock);
  Tooltip t;
  t.Handle = nextHandle++;
  t.Owner = owner;
  tooltips.push_back(t);
  return t.Handle;
}

bool TooltipAddTool(Hwnd tooltip, const ToolRecord& tool) {
  std::lock_guard<std::mutex> guard(lock);
  Tooltip* t = Find(tooltip);
  if (t == nullptr)
    return false;
  if (ToolRecord* old = FindTool(t, tool.Id))
    *old = tool;
  else
    t->Tools.push_back(tool);
  return true;
}

void TooltipNewRect(Hwnd tooltip, int id, const Rect& area) {
  std::lock_guard<std::mutex> guard(lock);
  if (ToolRecord* tool = FindTool(Find(tooltip), id))
    tool->Area = area;
}

void TooltipUpdateText(Hwnd tooltip, int id, const std::string& text) {
  std::lock_guard<std::mutex> guard(lock);
  if (ToolRecord* tool = FindTool(Find(tooltip), id))
    tool->Text = text;
}

bool TooltipGetTool(Hwnd tooltip, int id, ToolRecord* out) {
  std::lock_guard<std::mutex> guard(lock);
  ToolRecord* tool = FindTool(Find(tooltip), id);
  if (tool == nullptr || out == nullptr)
    return false;
  *out = *tool;
  return true;
}

int TooltipToolCount(Hwnd tooltip) {
  std::lock_guard<std::mutex> guard(lock);
  Tooltip* t = Find(tooltip);
  return t == nullptr ? 0 : int(t->Tools.size());
}

std::string TooltipTextAt(Hwnd owner, int x, int y) {
  std::lock_guard<std::mutex> guard(lock);
  for (const Tooltip& t : tooltips) {
    if (t.Owner != owner)
      continue;
    for (const ToolRecord& tool : t.Tools)
      if (x >= tool.Area.left && x < tool.Area.right && y >= tool.Area.top && y < tool.Area.bottom)
        return tool.Text;
  }
  return std::string();
}

void TooltipResetAll() {
  std::lock_guard<std::mutex> guard(lock);
  tooltips.clear();
}
