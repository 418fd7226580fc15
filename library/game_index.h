// The game menu Web/Menu1.htm and its numbering state iGame.ini, rebuilt by
// RebuildGameMenu (library/menus.h) from the Game folder; the folder walk that
// the cache harvest shares; the medium's write gate.
#pragma once

#include "library/menu_pieces.h"
#include "platform/files.h"

#include <cstdint>
#include <functional>
#include <string>

// The link host of the game menu when Define.ini names none: the browser
// program answers this host's /ombrel/TodayAD.asp itself.
constexpr const char* GameLinkHostDefault = "http://skerry.local";

// Define.ini [Library] GameHost: scheme and host (and port) that the game
// links start with, no closing "/"; GameLinkHostDefault when empty.
std::string GameLinkHost();

// One visit of the walk: the full path of a matching file ("/"-separated) and
// its directory entry (entry.name is the bare name).
using GameVisit = std::function<void(const std::string& fullPath, const FileEntry& entry)>;

// Calls visit for every file below folder that one of the comma-separated
// patterns (not trimmed; an empty one matches nothing) matches: a folder's own
// files first, pattern by pattern in list order, then its subfolders one by
// one, depth first, in listing order; nothing sorts, and a file that two
// patterns match is visited twice. Folders whose name begins with "." and
// folders reached through a symbolic link are not entered. Over-long texts
// are passed over, never cut: a pattern list over MenuPathMax walks nothing,
// a pattern whose folder/pattern exceeds MenuFolderPatternMax isn't listed, a
// file or folder whose full path exceeds MenuPathMax isn't visited or entered.
void WalkGameFolder(const GameVisit& visit, const char* folder, const char* patterns);

// The numbering visit of a running game rebuild: AssignGameNumber for a file
// the menu can show. Does nothing outside a rebuild.
void NumberingVisit(const std::string& fullPath, const FileEntry& entry);

// Numbers one game in the running rebuild's index. Result: its number, 0 when
// no rebuild runs or the game can't stand in the menu (see GameFitsMenu).
std::uint32_t AssignGameNumber(const char* fullPath);

// Whether the running rebuild can index and show a game: it lies below the
// program folder, its full path fits MenuPathMax, and its link and alt text
// fit MenuLinkMax. Such games are left out of index and menu alike; any
// bytes of a name are listed (AssignNumber).
bool GameFitsMenu(const std::string& fullPath);

// Writes one game's cell with whatever its position calls for (the end of
// the row before, the start of its row). Result: 1 when written, 0 when the
// game can't stand in the menu (MenuItemCount then stays).
int WriteGameCell(MenuFile& menuFile, const char* fullPath);

// Writes the cells of all games in number order. Result: cells written.
int WriteNumberedGames(MenuFile& menuFile);

// The write state of the medium that holds path: 0 usable, 1 write-protected,
// 3 not ready. A path "X:..." asks drive X, a "/" path the medium it lies on.
int MediumWriteState(const char* path);

// The device probe of a drive letter: 1 writable, 19 write-protected, 21 not
// ready, another code for other failures (6: no such drive).
int ProbeVolume(char letter);
