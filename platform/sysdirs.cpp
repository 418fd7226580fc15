// Where the system folder and the user's cache lie, from the XDG variables
// with their documented fallbacks. Nothing is remembered between calls: the
// environment decides each time.
#include "platform/sysdirs.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace {

std::string Env(const char* name) {
  const char* v = std::getenv(name);
  return v != nullptr ? std::string(v) : std::string();
}

std::string Home() {
  std::string home = Env("HOME");
  if (!home.empty())
    return home;
  if (const passwd* pw = getpwuid(getuid()); pw != nullptr && pw->pw_dir != nullptr)
    return pw->pw_dir;
  return "/tmp";
}

std::string WithoutClosingSlash(std::string p) {
  while (p.size() > 1 && p.back() == '/')
    p.pop_back();
  return p;
}

} // namespace

bool MakeFolders(const std::string& path) {
  if (path.empty())
    return false;
  struct stat st {};
  if (stat(path.c_str(), &st) == 0)
    return S_ISDIR(st.st_mode);
  std::size_t slash = path.find_last_of('/');
  if (slash != std::string::npos && slash > 0)
    MakeFolders(path.substr(0, slash));
  if (mkdir(path.c_str(), 0755) == 0 || errno == EEXIST)
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
  return false;
}

std::string SystemFolderPath() {
  std::string dir = Env("SKERRY_SYSTEM_DIR");
  if (dir.empty()) {
    std::string state = Env("XDG_STATE_HOME");
    if (state.empty() || state[0] != '/')
      state = Home() + "/.local/state";
    dir = state + "/skerry";
  }
  dir = WithoutClosingSlash(dir);
  MakeFolders(dir);
  return dir;
}

std::string SystemSubfolder(const char* name) {
  std::string dir = SystemFolderPath() + "/" + (name != nullptr ? name : "");
  dir = WithoutClosingSlash(dir);
  MakeFolders(dir);
  return dir;
}

std::string UserCacheHome() {
  std::string cache = Env("XDG_CACHE_HOME");
  if (cache.empty() || cache[0] != '/')
    cache = Home() + "/.cache";
  return WithoutClosingSlash(cache);
}
