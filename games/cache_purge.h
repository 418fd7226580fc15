// The purge of a list's stale copies in the browser cache. It runs on job
// threads and keeps its state on its own stack.
#pragma once

// Deletes the cached copies of link ("stem[N].ext" for a link ending in
// "stem.ext") in cacheFolder and its subfolders. Result: files deleted.
int PurgeCachedCopies(const char* link, const char* cacheFolder);
