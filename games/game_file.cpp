#include "games/game_file.h"

#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <cstring>

void CleanGameName(std::string& name) {
  for (char& c : name)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
      c = '_';
}

bool GameFileFitsName(const std::string& path, const std::string& name) {
  if (name.size() < 4 || strcasecmp(name.c_str() + name.size() - 4, ".swf") != 0)
    return true;
  char head[3] = {};
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0)
    return false;
  ssize_t got = read(fd, head, sizeof head);
  close(fd);
  if (got != static_cast<ssize_t>(sizeof head) || std::memcmp(head + 1, "WS", 2) != 0)
    return false;
  return head[0] == 'F' || head[0] == 'C' || head[0] == 'Z';
}
