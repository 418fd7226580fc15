// The menus as they stand until the library is built: nothing is rebuilt.
#include "library/menus.h"

int RebuildGameMenu(const char*, const char*, const char*) { return 0; }
int RebuildMediaMenu(const char*, const char*, const char*) { return 0; }
