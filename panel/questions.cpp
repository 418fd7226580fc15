#include "panel/questions.h"

#include <atomic>
#include <cstddef>

namespace {

// Never destroyed: a box may still stand on a thread when the process ends.
std::atomic<bool>* Standing() {
  static auto* flags = new std::atomic<bool>[static_cast<std::size_t>(PanelQuestion::Count)]();
  return flags;
}

std::atomic<bool>& Flag(PanelQuestion key) {
  return Standing()[static_cast<std::size_t>(key)];
}

} // namespace

int AskOnce(PanelQuestion key, const std::function<int()>& ask, int dropped) {
  if (key == PanelQuestion::Count || Flag(key).exchange(true))
    return dropped;
  struct Lower {
    std::atomic<bool>& flag;
    ~Lower() { flag = false; }
  } lower{Flag(key)};
  return ask();
}

bool QuestionStands(PanelQuestion key) {
  return key != PanelQuestion::Count && Flag(key).load();
}
