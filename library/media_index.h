// The video menu Web/MenuVideo.htm, its numbering state iMedia.htm and the
// player pages, rebuilt by RebuildMediaMenu (library/menus.h) from the Video
// folder the same way as the game menu, with links to the player pages.
#pragma once

#include "library/game_index.h"
#include "library/menu_pieces.h"

#include <cstdint>
#include <string>

// Fixed by each media rebuild before its numbering pass; no other writer.
// The menu's own file name (the menu path behind its last "/"; at most
// MenuPathMax bytes), which its navigation links name.
extern std::string MediaMenuName;
// The indexed folder with a closing "/" (at most MenuFolderPatternMax bytes);
// a cell's alt text is its file's path less this.
extern std::string MediaFolderPrefix;

// The walk of WalkGameFolder.
inline void WalkMediaFolder(const GameVisit& visit, const char* folder, const char* patterns) {
  WalkGameFolder(visit, folder, patterns);
}

// The numbering visit of a running media rebuild.
void MediaNumberingVisit(const std::string& fullPath, const FileEntry& entry);

// Numbers one file in the running rebuild's iMedia.htm. Result: its number,
// 0 when no media rebuild runs or the file can't stand in the menu.
std::uint32_t AssignMediaNumber(const char* fullPath);

// Whether the running media rebuild can index and show a file: as
// GameFitsMenu, and the file lies below MediaFolderPrefix, and its link, alt
// text and player page path fit their limits.
bool MediaFitsMenu(const std::string& fullPath);

// Writes one file's cell (with the end of the row before and the start of
// its row where its position calls for them) and its player page. Result: 1
// when the cell was written, 0 when the file can't stand in the menu.
int WriteMediaCell(MenuFile& menuFile, const char* fullPath, const char* name);

// Writes the cells of all files in number order. Result: cells written.
int WriteNumberedMedia(MenuFile& menuFile);
