// Feeds arbitrary bytes as a list fetched from the web (the top list, the
// daily list, Sort.htm) to the readers of the list jobs. Whatever the bytes,
// a value read from them holds no line break and nothing of the environment
// that the bytes don't hold themselves: no macro, registry reference or "@@"
// of the list is ever followed. Runs in memory (IniUseText).
#include "games/list_jobs.h"
#include "platform/ini.h"
#include "shell/module_path.h"
#include "shell/settings.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

constexpr const char* Secret = "fuzz-secret-6b1f";

// The run's list path; the folder is made once, never destroyed before exit.
const std::string& ListPath() {
  static const std::string* path = [] {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "skerry-fuzz-list-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
      std::abort();
    setenv("SKERRY_SYSTEM_DIR", (pattern + "/sys").c_str(), 1);
    setenv("SKERRY_FUZZ_SECRET", Secret, 1);
    SetModulePathForTests(pattern + "/skerry");
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(std::filesystem::path(ListPath()).parent_path(), ignored);
    });
    return new std::string(pattern + "/List.htm");
  }();
  return *path;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  JobFiles files;
  files.listPath = ListPath();
  files.fetched = true;
  IniUseText(files.listPath, bytes);
  const bool holdsSecret = bytes.find(Secret) != std::string::npos;
  auto check = [&](const std::string& value) {
    if (value.find('\n') != std::string::npos ||
        (!holdsSecret && value.find(Secret) != std::string::npos))
      std::abort();
  };
  char out[ProfileValueSize];
  for (const std::string& section : IniSections(files.listPath.c_str())) {
    for (const std::string& key : IniKeys(files.listPath.c_str(), section.c_str())) {
      check(ListValue(files, section.c_str(), key.c_str()));
      ProfileReadRaw(section.c_str(), key.c_str(), out, files.listPath.c_str());
      check(out);
    }
  }
  for (const char* section : {"List", "Title", "Daily", "Sorted"})
    check(ListValue(files, section, "1"));
  return 0;
}
