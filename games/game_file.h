// What may stand in the Game folder, whichever road brings it (the lists,
// the cache harvest, a copied link): a name without control characters, and
// under a ".swf" name only a Flash file. Names and bodies come from the web,
// so these rules sit where each road names or keeps a file.
#pragma once

#include <string>

// Control characters (below 0x20, and 0x7F) of a game's name become '_'.
void CleanGameName(std::string& name);

// Whether the file at path may be kept under name: a name ending in ".swf"
// (any case) takes only a Flash file (first bytes "FWS", "CWS" or "ZWS");
// any other name (a page game's ".htm") takes what came. A file that can't
// be read fits no ".swf" name.
bool GameFileFitsName(const std::string& path, const std::string& name);
