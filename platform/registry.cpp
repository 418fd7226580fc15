// The registry substitute over the INI engine. A lookup first asks
// registry.ini (so a user or a test can override anything), then the few
// built-in keys that stand for the desktop's own answers.
#include "platform/registry.h"

#include "platform/ascii.h"

#include "platform/ini.h"
#include "platform/sysdirs.h"
#include "platform/win.h"

#include <atomic>
#include <cstring>

namespace {

constexpr const char* Roots[] = {"HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER",   "HKEY_LOCAL_MACHINE",
                                 "HKEY_USERS",        "HKEY_CURRENT_CONFIG", "HKEY_DYN_DATA"};

constexpr const char* ShellFoldersKey =
    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";
constexpr const char* DisplayKey = "Display\\Settings";

// 0 until SetDisplaySettings: the window backend's depth, else 24, is used.
std::atomic<int> displayBits{0};
std::atomic<int> displayDpi{96};

int DisplayBits() {
  if (int bits = displayBits.load(); bits > 0)
    return bits;
  int bits = WinDisplayBits(0);
  return bits > 0 ? bits : 24;
}

// The key path as registry.ini spells sections: no separators at its ends.
std::string CleanPath(const char* keyPath) {
  std::string p = keyPath != nullptr ? keyPath : "";
  std::size_t b = 0, e = p.size();
  while (b < e && p[b] == '\\')
    ++b;
  while (e > b && p[e - 1] == '\\')
    --e;
  return p.substr(b, e - b);
}

bool IsShellFolders(const std::string& root, const std::string& path) {
  return root == "HKEY_CURRENT_USER" && EqualsIgnoringCase(path, ShellFoldersKey);
}

bool IsDisplay(const std::string& root, const std::string& path) {
  return (root == "HKEY_CURRENT_USER" || root == "HKEY_CURRENT_CONFIG") &&
         EqualsIgnoringCase(path, DisplayKey);
}

bool BuiltIn(const std::string& root, const std::string& path, const std::string& name,
             std::string& out) {
  if (IsShellFolders(root, path) && EqualsIgnoringCase(name, "Cache")) {
    out = UserCacheHome() + "/skerry/Cache";
    return true;
  }
  if (IsDisplay(root, path)) {
    if (EqualsIgnoringCase(name, "BitsPerPixel")) {
      out = std::to_string(DisplayBits());
      return true;
    }
    if (EqualsIgnoringCase(name, "DPILogicalY")) {
      out = std::to_string(displayDpi.load());
      return true;
    }
  }
  return false;
}

} // namespace

bool RegistryRootKnown(const char* root) {
  if (root == nullptr)
    return false;
  for (const char* r : Roots)
    if (std::strcmp(r, root) == 0)
      return true;
  return false;
}

std::string RegistryFilePath() {
  return SystemFolderPath() + "/registry.ini";
}

int RegistryGetValue(const char* root, const char* keyPath, const char* valueName,
                     std::string& out) {
  out.clear();
  if (!RegistryRootKnown(root))
    return RegistryErrorBadRoot;
  const std::string path = CleanPath(keyPath);
  const std::string section = path.empty() ? std::string(root) : std::string(root) + "\\" + path;
  std::string name = valueName != nullptr ? valueName : "";
  const std::string file = RegistryFilePath();
  if (IniLookup(file.c_str(), section.c_str(), name.empty() ? "@" : name.c_str(), out))
    return 0;
  if (BuiltIn(root, path, name, out))
    return 0;
  out.clear();
  return RegistryErrorNotFound;
}

bool RegistryKeyExists(const char* root, const char* keyPath) {
  if (!RegistryRootKnown(root))
    return false;
  const std::string path = CleanPath(keyPath);
  if (path.empty() || IsShellFolders(root, path) || IsDisplay(root, path))
    return true;
  const std::string section = std::string(root) + "\\" + path;
  return IniHasSection(RegistryFilePath().c_str(), section.c_str());
}

void SetDisplaySettings(int bitsPerPixel, int dpiLogicalY) {
  displayBits = bitsPerPixel;
  displayDpi = dpiLogicalY;
}
