#include "games/game_file.h"

#include <strings.h>

#include "platform/files.h"

void CleanGameName(std::string& name) {
  for (char& c : name)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
      c = '_';
}

bool GameFileFitsName(const std::string& path, const std::string& name) {
  if (name.size() < 4 || strcasecmp(name.c_str() + name.size() - 4, ".swf") != 0)
    return true;
  std::string head = FirstBytes(path, 3);
  return head == "FWS" || head == "CWS" || head == "ZWS";
}
