// The registry substitute: registry.ini in the system folder. A section is a
// full key path with its root ("HKEY_CURRENT_USER\Software\Some Key"), a key
// is a value name, "@" names the key's default value. Key paths and value
// names are compared ignoring ASCII case, as the registry does.
//
// Where registry.ini has no such value, two built-in answers stand in:
//   HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Explorer\Shell Folders,
//     value Cache: ${XDG_CACHE_HOME:-~/.cache}/skerry/Cache
//   HKEY_CURRENT_USER\Display\Settings and HKEY_CURRENT_CONFIG\Display\Settings,
//     values BitsPerPixel and DPILogicalY: the screen's, as last given to
//     SetDisplaySettings; until then the window backend's depth (WinDisplayBits)
//     or 24, and 96 dots per inch.
// All calls are thread-safe.
#pragma once

#include <string>

constexpr int RegistryErrorNotFound = 2;   // key or value missing
constexpr int RegistryErrorBadRoot = 6;    // not one of the predefined roots
constexpr int RegistryErrorMoreData = 234; // value longer than the buffer

// Whether root is one of the predefined roots, in exact case:
// HKEY_CLASSES_ROOT, HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS,
// HKEY_CURRENT_CONFIG, HKEY_DYN_DATA.
bool RegistryRootKnown(const char* root);

// The whole text of one value into out (an empty or null valueName means the
// default value). Result: 0, RegistryErrorBadRoot or RegistryErrorNotFound.
int RegistryGetValue(const char* root, const char* keyPath, const char* valueName,
                     std::string& out);

// Whether the key exists (a section of registry.ini or a built-in key).
bool RegistryKeyExists(const char* root, const char* keyPath);

// The screen's colour depth and vertical dots per inch, given by the window
// backend at start (the platform library has no screen of its own).
void SetDisplaySettings(int bitsPerPixel, int dpiLogicalY);

// Full path of registry.ini (in the system folder, which is made if missing).
std::string RegistryFilePath();
