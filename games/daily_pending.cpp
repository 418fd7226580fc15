// Daily collection until it is built: no thread starts.
#include "games/daily.h"

void StartDailyJob(Hwnd, const char*, const char*) {}
int DailyJob(Hwnd, const char*, const char*, Hwnd, int) {
  return 0;
}
