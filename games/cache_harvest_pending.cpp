// Cache harvest until it is built: nothing is found and nothing purged.
#include "games/cache_harvest.h"

int HarvestCache(const char*, const char*) {
  return 0;
}
int PurgeCachedCopies(const char*, const char*) {
  return 0;
}
