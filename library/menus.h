// The library menus the dispatcher rebuilds before it opens their channels.
// Both take the full path of the menu page, the folder to index (below the
// program folder) and a comma list of wildcard patterns. Callable from any
// thread: rebuilds of both menus run one at a time (they share one item
// count); a second caller waits for the first.
#pragma once

// Game menu: Web/Menu1.htm and iGame.ini from the Game folder. Result: 0 when
// nothing was written (medium write-protected or not ready, menu file not
// made, a text over its limit), else the nonzero result of the menu's last
// write, or what the Kestrix plug-in returned when it did the rebuild.
int RebuildGameMenu(const char* menuPath, const char* folder, const char* patterns);

// Video menu: Web/MenuVideo.htm, iMedia.htm and the player pages; results as
// RebuildGameMenu, with the Dorvane plug-in.
int RebuildMediaMenu(const char* menuPath, const char* folder, const char* patterns);
