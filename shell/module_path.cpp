// The program's own path and the language. ModuleFilePath keeps the old
// program's 128-character limit on the path it starts from: a program lying
// too deep gets "?" for every file name, so nothing is found rather than the
// wrong thing. The path comes from /proc/self/exe unless a test has set one.
#include "shell/module_path.h"

#include "platform/sysdirs.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <mutex>

int LanguageOffset = 0;

namespace {

// The module path as the old call gave it: at most this many characters
// including the end mark.
constexpr std::size_t ModulePathLimit = 128;
// Callers of ModuleFilePath give at least this many bytes.
constexpr std::size_t PathBufferSize = 260;

std::mutex pathMutex;
std::string pathForTests;

// The module path cut to the limit, and the index of its last separator
// (npos when it has none).
std::string CutModulePath(std::size_t& separator) {
  std::string path = ModulePath();
  if (path.size() > ModulePathLimit - 1)
    path.resize(ModulePathLimit - 1);
  separator = path.rfind('/');
  return path;
}

int CopyOut(const std::string& text, char* out, std::size_t size) {
  std::size_t n = text.size() < size - 1 ? text.size() : size - 1;
  std::memcpy(out, text.data(), n);
  out[n] = '\0';
  return static_cast<int>(n);
}

} // namespace

int LanguageIdFromLocale() {
  const char* value = nullptr;
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    value = std::getenv(name);
    if (value != nullptr && *value != '\0')
      break;
    value = nullptr;
  }
  if (value == nullptr)
    return 0x09; // English, neutral
  std::string locale = value;
  std::size_t cut = locale.find_first_of(".@");
  if (cut != std::string::npos)
    locale.resize(cut);
  static const struct {
    const char* name;
    int sub;
  } chinese[] = {{"zh_TW", 1}, {"zh_CN", 2}, {"zh_HK", 3}, {"zh_SG", 4}, {"zh_MO", 5}};
  for (const auto& c : chinese)
    if (locale == c.name)
      return 4 | (c.sub << 10);
  return 0x09;
}

int LanguageFromLocale() {
  int id = LanguageIdFromLocale();
  int primary = id & 0x3FF, sub = id >> 10;
  if (primary == 4 && sub == 1)
    return 1000;
  if (primary == 4 && sub == 2)
    return 2000;
  return 0;
}

std::string ModulePath() {
  {
    std::lock_guard lock(pathMutex);
    if (!pathForTests.empty())
      return pathForTests;
  }
  char buffer[4096];
  ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (n <= 0)
    return {};
  return std::string(buffer, static_cast<std::size_t>(n));
}

void SetModulePathForTests(const std::string& path) {
  std::lock_guard lock(pathMutex);
  pathForTests = path;
}

int ModuleFilePath(int /*module*/, char* out, const char* name) {
  if (out == nullptr)
    return 0;
  std::size_t separator = 0;
  std::string path = CutModulePath(separator);
  std::string folder =
      separator == std::string::npos ? std::string() : path.substr(0, separator + 1);
  if (separator != std::string::npos && separator + 13 >= ModulePathLimit) {
    folder += "?";
  } else {
    std::string file = name != nullptr ? name : "";
    for (char& c : file)
      if (c == '\\')
        c = '/';
    folder += file;
  }
  return CopyOut(folder, out, PathBufferSize);
}

int ModuleDirectory(int /*module*/, char* out) {
  if (out == nullptr)
    return 0;
  std::size_t separator = 0;
  std::string path = CutModulePath(separator);
  return CopyOut(separator == std::string::npos ? std::string() : path.substr(0, separator), out,
                 PathBufferSize);
}

std::string SystemFolder() {
  return SystemFolderPath();
}
