// Cache harvest: Flash files found in the browser cache are offered to the
// user and saved into the Game folder; old cached copies of a list are purged.
#pragma once

#include "platform/win.h"

// Walks cacheFolder for files matching patterns and offers each new one.
// Result: the number of files offered; 0 means no new game was found.
int HarvestCache(const char* cacheFolder, const char* patterns);

// Deletes the cached copies of link in cacheFolder. Result: files deleted.
int PurgeCachedCopies(const char* link, const char* cacheFolder);

// The save dialog: name (nameSize bytes) holds the proposed name on entry and
// the full path on return. Result: nonzero when the user confirmed.
int SaveGameDialog(Hwnd owner, const char* title, const char* filter, char* name, int nameSize,
                   const char* folder);
