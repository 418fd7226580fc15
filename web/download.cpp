// Binds the URL download stand-in to the system's settings: the cache folder
// comes from the shell folders at each call, as every setting is read when
// used.
#include "web/download.h"

#include "shell/settings.h"

int URLDownloadToFile(const char* url, const char* path) {
  return URLDownloadToFileWith(url, path, DownloadOptions());
}

int URLDownloadToFileWith(const char* url, const char* path, const DownloadOptions& options) {
  char cache[RegistryValueSize] = "";
  ReadShellFolder("Cache", cache);
  return DownloadUrlToFile(url, path, cache, options);
}
