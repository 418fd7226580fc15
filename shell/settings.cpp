// The settings store over the INI engine (platform/ini.h) and the registry
// substitute (platform/registry.h). Internally texts are std::string capped at
// ProfileValueSize - 1 bytes; only the public functions copy into the
// caller's buffers, whose sizes the header fixes.
//
// ExpandMacros and ProfileRead call each other: a macro that no built-in name
// and no environment variable answers is read with ProfileRead from the
// EnvCht/EnvEng/EnvAll sections of the same file, and that read expands its
// own macros. The depth of that mutual recursion is carried along and bounded
// by MaxMacroDepth.
#include "shell/settings.h"

#include "platform/ascii.h"

#include "platform/ini.h"
#include "platform/registry.h"
#include "platform/sysdirs.h"
#include "shell/module_path.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

extern char** environ;

bool SystemIsNt = false;

namespace {

// The longest text a value can hold: the 1024-byte buffers less the end mark.
constexpr std::size_t ValueLimit = ProfileValueSize - 1;
// How deep section macros may nest. Real chains (a path built from a folder
// built from %Path%) are two or three levels; 8 leaves room for those and
// stops a key that names itself, directly or in a cycle, after 8 reads of at
// most 1023 bytes each.
constexpr int MaxMacroDepth = 8;
// How many section lookups one call may make in all. Depth alone does not
// bound the work: a key holding many macros of itself, in a hostile list,
// would branch at every level (n^8 reads); real values make a handful.
constexpr int MaxMacroLookups = 256;
// GetWindowsDirectoryA and GetSystemDirectoryA filled 260 bytes.
constexpr std::size_t FolderLimit = 259;

void Cap(std::string& s, std::size_t limit) {
  if (s.size() > limit)
    s.resize(limit);
}

int CopyOut(const std::string& text, char* out, std::size_t size) {
  std::size_t n = text.size() < size - 1 ? text.size() : size - 1;
  std::memcpy(out, text.data(), n);
  out[n] = '\0';
  return static_cast<int>(n);
}

// An environment variable as GetEnvironmentVariableA gave it: the exact name
// first, then any spelling of it; empty means absent.
std::string Environment(const std::string& name) {
  if (const char* v = std::getenv(name.c_str()); v != nullptr)
    return v;
  for (char** e = environ; e != nullptr && *e != nullptr; ++e) {
    const char* eq = std::strchr(*e, '=');
    if (eq == nullptr || static_cast<std::size_t>(eq - *e) != name.size())
      continue;
    if (EqualsIgnoringCase(name, std::string(*e, name.size()).c_str()))
      return eq + 1;
  }
  return {};
}

// One public call's expansion: the file whose Env sections serve as macro
// values, and the section lookups it has left.
struct Expansion {
  const char* file = nullptr;
  int lookupsLeft = MaxMacroLookups;
};

std::string ReadAt(const char* section, const char* key, Expansion& x, int depth);

std::string MacroValue(const std::string& name, Expansion& x, int depth) {
  if (name.empty())
    return {};
  if (EqualsIgnoringCase(name, "Path")) {
    char dir[260];
    ModuleDirectory(0, dir);
    return dir;
  }
  if (EqualsIgnoringCase(name, "WinDir")) {
    std::string d = SystemFolderPath();
    Cap(d, FolderLimit);
    return d;
  }
  if (EqualsIgnoringCase(name, "SysDir")) {
    std::string d = SystemSubfolder("System");
    Cap(d, FolderLimit);
    return d;
  }
  if (EqualsIgnoringCase(name, "MaskNt"))
    return SystemIsNt ? "NT" : "";
  if (EqualsIgnoringCase(name, "Mask95"))
    return SystemIsNt ? "" : "95";
  std::string value = Environment(name);
  if (!value.empty())
    return value;
  if (depth >= MaxMacroDepth || x.file == nullptr)
    return {};
  value = ReadAt(LanguageOffset == 1000 ? "EnvCht" : "EnvEng", name.c_str(), x, depth + 1);
  if (!value.empty())
    return value;
  return ReadAt("EnvAll", name.c_str(), x, depth + 1);
}

std::string ExpandAt(const std::string& text, Expansion& x, int depth) {
  std::string out;
  std::size_t i = 0;
  const std::size_t n = text.size();
  while (i < n && out.size() < ValueLimit) {
    if (text[i] != '%' || i + 1 >= n) {
      out += text[i++];
      continue;
    }
    std::size_t close = text.find('%', i + 1);
    if (close == std::string::npos) {
      out += text[i++];
      continue;
    }
    // A name is gathered into a buffer of the value's size; a longer one is
    // cut there and still ends at its closing "%".
    std::string name = text.substr(i + 1, close - i - 1);
    Cap(name, ValueLimit);
    out += MacroValue(name, x, depth);
    i = close + 1;
  }
  Cap(out, ValueLimit);
  return out;
}

std::string Resolve(const std::string& value) {
  if (value.compare(0, 6, "@HKEY_") != 0)
    return {};
  std::string rest = value.substr(1);
  std::size_t slash = rest.find('\\');
  if (slash == std::string::npos)
    return {};
  std::string root = rest.substr(0, slash);
  if (!RegistryRootKnown(root.c_str()))
    return {};
  rest = rest.substr(slash + 1);
  std::size_t colon = rest.find(':');
  std::string keyPath = colon == std::string::npos ? rest : rest.substr(0, colon);
  std::string valueName = colon == std::string::npos ? std::string() : rest.substr(colon + 1);
  char out[RegistryValueSize];
  ReadRegistryString(root.c_str(), keyPath.c_str(), valueName.c_str(), out);
  return out;
}

std::string ReadAt(const char* section, const char* key, Expansion& x, int depth) {
  if (depth > 0 && x.lookupsLeft-- <= 0)
    return {};
  char raw[ProfileValueSize];
  IniRead(x.file, section, key, "", raw, sizeof raw);
  std::string text = ExpandAt(raw, x, depth);
  if (text.compare(0, 6, "@HKEY_") == 0)
    text = Resolve(text);
  for (std::size_t i = 0; i + 1 < text.size() && i < ProfileValueSize; ++i) {
    if (text[i] == '@' && text[i + 1] == '@') {
      text[i] = '\r';
      text[i + 1] = '\n';
      ++i;
    }
  }
  return text;
}

} // namespace

int ProfileRead(const char* section, const char* key, char* out, const char* file) {
  if (out == nullptr)
    return 0;
  out[0] = '\0';
  if (section == nullptr || key == nullptr || file == nullptr)
    return 0;
  Expansion x{file};
  return CopyOut(ReadAt(section, key, x, 0), out, ProfileValueSize);
}

int ProfileReadRaw(const char* section, const char* key, char* out, const char* file) {
  if (out == nullptr)
    return 0;
  out[0] = '\0';
  if (section == nullptr || key == nullptr || file == nullptr)
    return 0;
  char raw[ProfileValueSize];
  IniRead(file, section, key, "", raw, sizeof raw);
  return CopyOut(raw, out, ProfileValueSize);
}

int ProfileWrite(const char* section, const char* key, char* value, const char* file) {
  if (section == nullptr || file == nullptr)
    return 0;
  if (key == nullptr || value == nullptr) {
    IniWrite(file, section, key, nullptr);
    return 0;
  }
  std::string original(value, strnlen(value, ValueLimit));
  Expansion x{file};
  std::string text = ExpandAt(original, x, 0);
  if (original.compare(0, 6, "@HKEY_") == 0)
    text = Resolve(original);
  for (std::size_t i = 0; i + 1 < text.size() && i < ProfileValueSize; ++i) {
    if (text[i] == '\r' && text[i + 1] == '\n') {
      text[i] = '@';
      text[i + 1] = '@';
      ++i;
    }
  }
  IniWrite(file, section, key, text.c_str());
  return CopyOut(text, value, ProfileValueSize);
}

int ExpandMacros(const char* text, char* out, const char* file) {
  if (out == nullptr)
    return 0;
  out[0] = '\0';
  if (text == nullptr || *text == '\0')
    return 0;
  Expansion x{file};
  return CopyOut(ExpandAt(text, x, 0), out, ProfileValueSize);
}

int ResolveRegistryValue(const char* value, char* out) {
  if (out == nullptr)
    return 0;
  out[0] = '\0';
  if (value == nullptr)
    return 0;
  return CopyOut(Resolve(value), out, ProfileValueSize);
}

int ReadRegistryString(const char* root, const char* keyPath, const char* valueName, char* out) {
  if (out == nullptr)
    return RegistryErrorNotFound;
  out[0] = '\0';
  std::string text;
  int error = RegistryGetValue(root, keyPath, valueName, text);
  if (error != 0)
    return error;
  if (text.size() + 1 > RegistryValueSize)
    return RegistryErrorMoreData;
  CopyOut(text, out, RegistryValueSize);
  return 0;
}

int ReadShellFolder(const char* name, char* out) {
  return ReadRegistryString("HKEY_CURRENT_USER",
                            "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders",
                            name, out);
}
