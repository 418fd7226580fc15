// Feeds arbitrary bytes as an INI file to the INI engine, the settings
// store and the hosts table (whose entries must all be numeric addresses
// with ports in range): lookups, macro expansion with the file's own Env sections, a write
// and the read that must give back what was written, and removals. Runs in
// memory: the engine parses the bytes as it would a file's, and its writes
// edit them there.
#include "platform/ini.h"
#include "platform/hosts.h"
#include "shell/module_path.h"
#include "shell/settings.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

// The run's folder, made on first use and removed at exit; never destroyed
// before that. The INI engine serves the inputs from memory (IniUseText);
// on disk lies only an empty hosts file, which the hosts table looks for
// before it reads.
const std::string& Folder() {
  static const std::string* folder = [] {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "skerry-fuzz-ini-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
      std::abort();
    setenv("SKERRY_SYSTEM_DIR", (pattern + "/sys").c_str(), 1);
    SetModulePathForTests(pattern + "/skerry");
    std::ofstream(HostsFilePath()).flush();
    return new std::string(pattern);
  }();
  static const bool cleanup = std::atexit([] {
                                std::error_code ignored;
                                std::filesystem::remove_all(*folder, ignored);
                              }) == 0;
  (void)cleanup;
  return *folder;
}

// A name taken from the input: up to 12 bytes after the first, no line breaks.
std::string NameFrom(const std::uint8_t* data, std::size_t size, std::size_t at) {
  std::string name;
  for (std::size_t i = at; i < size && name.size() < 12; ++i) {
    char c = static_cast<char>(data[i]);
    if (c == '\r' || c == '\n' || c == '\0')
      break;
    name += c;
  }
  return name;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string file = Folder() + "/Define.ini";
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  IniUseText(file, bytes);
  static const std::string hosts = HostsFilePath();
  IniUseText(hosts, bytes);
  const std::string section = size > 0 ? NameFrom(data, size, size / 2) : "s";
  const std::string key = size > 0 ? NameFrom(data, size, size / 3) : "k";

  char out[ProfileValueSize];
  char small[7];
  for (const char* s : {"EnvAll", "EnvEng", "T", section.c_str()}) {
    for (const char* k : {"k", "Self", key.c_str()}) {
      IniRead(file.c_str(), s, k, "def", small, sizeof small);
      ProfileRead(s, k, out, file.c_str());
    }
  }
  IniKeys(file.c_str(), section.c_str());
  IniSections(file.c_str());

  HostEntry entry;
  for (const HostEntry& listed : ReadHostsTable())
    if (listed.port > 65535 ||
        !ParseHostValue(listed.ipv6 ? "[" + listed.address + "]" : listed.address, entry))
      std::abort();
  LookupHost(key.c_str(), entry);
  HostsCertificate();

  std::string text(reinterpret_cast<const char*>(data), size < 2048 ? size : 2048);
  text.resize(std::strlen(text.c_str()));
  ExpandMacros(text.c_str(), out, file.c_str());
  if (ParseHostValue(text, entry) && (entry.port > 65535 || entry.address.empty()))
    std::abort();
  ResolveRegistryValue(text.c_str(), out);

  // What is written reads back exactly, for a value without blanks at its
  // ends and no outer quote pair.
  const char* value = "fuzz value";
  if (IniWrite(file.c_str(), section.c_str(), key.c_str(), value)) {
    IniRead(file.c_str(), section.c_str(), key.c_str(), "", out, sizeof out);
    std::string s = section, k = key;
    auto trimmed = [](std::string t) {
      while (!t.empty() &&
             (t.back() == ' ' || t.back() == '\t' || t.back() == '\v' || t.back() == '\f'))
        t.pop_back();
      while (!t.empty() && (t[0] == ' ' || t[0] == '\t' || t[0] == '\v' || t[0] == '\f'))
        t.erase(0, 1);
      return t;
    };
    // A key name with "=" or a leading ";" or "[" is no key line once written.
    std::string tk = trimmed(k);
    bool plainKey =
        tk.find('=') == std::string::npos && (tk.empty() || (tk[0] != ';' && tk[0] != '['));
    bool plainSection = trimmed(s).find(']') == std::string::npos;
    if (plainKey && plainSection && std::strcmp(out, value) != 0) {
      std::fprintf(stderr, "wrote [%s] %s=%s, read %s\n", s.c_str(), k.c_str(), value, out);
      std::abort();
    }
  }
  char stored[ProfileValueSize];
  std::snprintf(stored, sizeof stored, "%s", text.substr(0, 200).c_str());
  ProfileWrite(section.c_str(), "w", stored, file.c_str());
  IniWrite(file.c_str(), section.c_str(), key.c_str(), nullptr);
  IniWrite(file.c_str(), section.c_str(), nullptr, nullptr);
  return 0;
}
