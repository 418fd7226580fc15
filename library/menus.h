// The library menus the dispatcher rebuilds before it opens their channels.
#pragma once

// Game menu: Web/Menu1.htm and iGame.ini from the Game folder. Result: the
// number of games in the menu, or a negative code when the menu's medium can't
// be written.
int RebuildGameMenu(const char* menuPath, const char* folder, const char* patterns);

// Video menu: Web/MenuVideo.htm, iMedia.htm and the player pages.
int RebuildMediaMenu(const char* menuPath, const char* folder, const char* patterns);
