// The program's compiled-in resources, keyed by their ids: the string lists
// (902 English, 1902 Traditional Chinese) and the tray menus (100 English,
// 1100 Traditional Chinese). Files that lie beside the program (icon 100,
// bitmaps 208-211) are reached by ResourceFileName.
#pragma once

// Loads string id into out (size bytes, always terminated when size > 0),
// cut to size - 1 bytes. Result: the number of bytes copied; 0 for an
// unknown id (out then empty).
int LoadResourceString(int id, char* out, int size);

// One entry of a popup menu; Id 0 is a separator.
struct MenuEntry {
  int Id;
  const char* Text;
};

// The entries of menu id into *entries. Result: their count, 0 for an
// unknown id.
int LoadResourceMenu(int id, const MenuEntry** entries);

// The file name, relative to the program's folder, of icon or bitmap id
// ("Res/Icon100.png", "Res/Bitmap208.bmp"); null for an unknown id.
const char* ResourceFileName(int id);
