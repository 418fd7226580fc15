// Collect-video request until it is built: nothing is asked or started.
#include "video/collect.h"

int CollectVideo(Hwnd, const char*, const char*, std::uint32_t) {
  return 0;
}
