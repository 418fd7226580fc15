#include "browser/flash_cache.h"

#include <unistd.h>

#include <fstream>

#include "platform/ascii.h"
#include "platform/registry.h"
#include "platform/url_download.h"

bool NamesFlashFile(const std::string& url) {
  std::string path = url.substr(0, url.find_first_of("?#"));
  if (path.size() < 4)
    return false;
  std::string end = path.substr(path.size() - 4);
  for (char& c : end)
    c = AsciiLower(c);
  return end == ".swf";
}

bool IsFlashStart(const std::string& bytes) {
  return bytes.size() >= 3 && (bytes[0] == 'F' || bytes[0] == 'C' || bytes[0] == 'Z') &&
         bytes[1] == 'W' && bytes[2] == 'S';
}

std::string BrowserCacheFolder() {
  std::string folder;
  RegistryGetValue("HKEY_CURRENT_USER",
                   "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders", "Cache",
                   folder);
  return folder;
}

std::string CopyFlashToCache(const std::string& url, const std::string& cacheFolder) {
  if (url.rfind("http://", 0) != 0 && url.rfind("https://", 0) != 0)
    return std::string();
  // Flash served by a script ("play.php?id=3") is kept as "play[N].swf", so
  // that the harvest, which looks for that ending, finds it.
  std::string name = url;
  if (!NamesFlashFile(url)) {
    name = url.substr(0, url.find_first_of("?#"));
    std::size_t slash = name.rfind('/');
    std::size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > slash && slash > name.find("//") + 1)
      name.erase(dot);
    name += ".swf";
  }
  std::string copy = ClaimCacheFile(cacheFolder.c_str(), name.c_str());
  if (copy.empty())
    return std::string();
  char head[3] = {};
  bool kept = DownloadUrlToFile(url.c_str(), copy.c_str(), nullptr) == 0 &&
              std::ifstream(copy, std::ios::binary).read(head, 3).gcount() == 3 &&
              IsFlashStart(std::string(head, 3));
  if (!kept) {
    unlink(copy.c_str());
    return std::string();
  }
  return copy;
}
