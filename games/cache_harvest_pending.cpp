// Cache harvest until it is built: nothing is found, nothing purged, and the
// save dialog counts as cancelled.
#include "games/cache_harvest.h"

int HarvestCache(const char*, const char*) {
  return 0;
}
int PurgeCachedCopies(const char*, const char*) {
  return 0;
}
int SaveGameDialog(Hwnd, const char*, const char*, char*, int, const char*) {
  return 0;
}
