// The purge walks the cache folder with the game folder's walk (subfolders
// entered, links to folders and hidden folders not), as the harvest does.
#include "games/cache_purge.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "library/game_index.h"

int PurgeCachedCopies(const char* link, const char* cacheFolder) {
  char copy[512];
  std::snprintf(copy, sizeof copy, "%s", link != nullptr ? link : "");
  std::size_t end = std::strlen(copy);
  std::size_t start = end;
  std::size_t dot = std::string::npos;
  while (start > 0 && copy[start - 1] != '/' && copy[start - 1] != '\\') {
    --start;
    if (copy[start] == '.')
      dot = start;
  }
  // A text with no slash names no file of a link; a comma would split the
  // walk's pattern list.
  if (start == 0 || std::strchr(copy + start, ',') != nullptr)
    return 0;
  std::string segment(copy + start, end - start);
  std::size_t at = dot == std::string::npos ? segment.size() : dot - start;
  std::string stem = segment.substr(0, at);
  std::string extension = at < segment.size() ? segment.substr(at + 1) : std::string();
  std::string pattern = stem + "[*]." + extension;
  int deleted = 0;
  WalkGameFolder(
      [&deleted](const std::string& full, const FileEntry&) {
        if (unlink(full.c_str()) == 0)
          ++deleted;
      },
      cacheFolder, pattern.c_str());
  return deleted;
}
