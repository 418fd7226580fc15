// The name cut from a link and the editing of the downloads' status line, on
// arbitrary texts. The input is split at its first NUL into a link and a
// status line. Checks: the name and the path keep their end marks and the
// name holds no separator behind its first byte; the line never passes 259
// bytes, and the removal of an added name takes away as much as was added
// (or empties a line that then names nobody).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "games/link_download.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string all(reinterpret_cast<const char*>(data), size);
  std::size_t nul = all.find('\0');
  std::string link = all.substr(0, nul);
  std::string line = nul == std::string::npos ? std::string() : all.substr(nul + 1);

  char path[260];
  char name[260];
  std::memset(name, '#', sizeof name);
  std::snprintf(path, sizeof path, "%s", link.c_str());
  CutLinkName(path, name);
  if (strnlen(name, sizeof name) == sizeof name || strnlen(path, sizeof path) == sizeof path)
    std::abort();
  // A '/' can only open a text that has no other one.
  if (name[0] != '\0' && std::strchr(name + 1, '/') != nullptr)
    std::abort();

  if (line.size() > 259)
    line.resize(259);
  std::string before = line;
  std::string shown = AddStatusName(line, name);
  if (line.size() > 259)
    std::abort();
  RemoveStatusName(line, shown);
  if (line.size() > 259 || (!line.empty() && line.size() != before.size()))
    std::abort();
  return 0;
}
