// dlopen with RTLD_NOW|RTLD_LOCAL so a plug-in's symbols never leak into the
// process, first by full path in the given folder, then by bare name.
#include "platform/plugin.h"

#include <dlfcn.h>
#include <unistd.h>

#include <string>

bool CallPlugin(const char* firstFolder, const char* library, const char* exportName, const char* a,
                const char* b, const char* c, int& result) {
  if (!library || !*library || !exportName || !*exportName)
    return false;
  void* handle = nullptr;
  if (firstFolder && *firstFolder) {
    std::string path = std::string(firstFolder) + "/" + library;
    if (access(path.c_str(), F_OK) == 0)
      handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  }
  if (!handle)
    handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
  if (!handle)
    return false;
  auto entry = reinterpret_cast<PluginEntry>(dlsym(handle, exportName));
  bool called = entry != nullptr;
  if (called)
    result = entry(a, b, c);
  dlclose(handle);
  return called;
}
