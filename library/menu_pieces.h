// What the game menu and the media menu share: the running rebuild's item
// count and lock, the pieces of a menu page, the limits of its texts, and
// the path rules of both indexes.
#pragma once

#include "library/index_file.h"
#include "platform/files.h"

#include <cstdint>
#include <mutex>
#include <string>

// Items written so far to the menu by the running rebuild. Shared by both
// menus; only touched under MenuRebuildMutex.
extern std::uint32_t MenuItemCount;

// Held for the whole of a rebuild of either menu, so that only one runs at a
// time in the process, whatever thread starts it.
std::mutex& MenuRebuildMutex();

// For tests: called, when set, by each rebuild between its numbering pass and
// its menu, with the rebuild lock held.
extern void (*RebuildPauseForTests)();

// Limits of the texts of a rebuild, in bytes without the end mark. A path, a
// name or a pattern list over them is refused, never cut.
constexpr std::size_t MenuPathMax = 259;          // a path, a file name, a pattern list
constexpr std::size_t MenuFolderPatternMax = 255; // a folder with one pattern behind it
constexpr std::size_t MenuLinkMax = 255;          // a link, an icon path, an alt text
constexpr std::size_t MenuPieceMax = 1023;        // one formatted piece of a page

// A menu page being written: its text grows in memory, and the file is
// created (as a temporary file beside it) before the first piece and put in
// place whole at the end, so a reader never sees half a page.
struct MenuFile {
  FileReplacement file;
  std::string text;
};

// Creates the menu file anew. Result: false when it can't be made.
bool MenuCreate(MenuFile& menu, const char* menuPath);
// Writes the page out and puts it in place. Result: 1 when the last write
// succeeded, else 0.
int MenuFinish(MenuFile& menu);

// The pieces. menuName is the file name the navigation links name: null for
// the game menu, whose links name "menu1.htm" whatever its file is called.
void WriteMenuHead(MenuFile& menu);
void WriteRowStart(MenuFile& menu, std::uint32_t page);
// A game or media cell. link and alt come escaped for the page (platform/page_text.h);
// their raw forms are held to MenuLinkMax by the callers, so the cell is
// written whole even where escaping makes it longer than MenuPieceMax.
bool WriteItemCell(MenuFile& menu, const std::string& link, const std::string& icon,
                   const std::string& alt);
void WriteBlankCell(MenuFile& menu);
void WriteNavigationCell(MenuFile& menu, const char* menuName, std::uint32_t page, bool last);
void WriteMenuTail(MenuFile& menu);

// The icon of the item in cell 1 to 10 of its row ("icon/yellow01.jpg").
std::string ItemIcon(std::uint32_t cell);

// What every item cell does first: at each tenth item it closes the row
// before (with the navigation cell of a page that has more after it) and
// opens the next one.
void BeginItemCell(MenuFile& menu, const char* menuName);

// Closes the last row: blank cells up to ten, then the navigation cell of
// the last page. A menu without items still gets one row of ten blank cells
// and the navigation cell of a page 1 that is the last, so the strip keeps
// its shape and both ways show closed.
void CloseMenuRows(MenuFile& menu, const char* menuName);

// rel := full less "base/", when full lies strictly below base and rel holds
// no "." or ".." component and no empty one. Separators are "/".
bool RelativeBelow(const std::string& base, const std::string& full, std::string& rel);

// The number an index value stands for: its leading decimal digits after
// blanks; 0 for anything else or for more than nine digits.
std::uint32_t IndexNumber(const std::string& text);

// The numbering state of a running rebuild: its index file in memory and the
// names of its two sections ("GameName"/"GameNo" or "Name"/"No").
struct IndexRun {
  IndexFile index;
  std::string programDir; // no closing separator
  const char* nameSection = "";
  const char* numberSection = "";
  bool full = false; // a file found no number below the highest one the index can hold
};

// Files of Status: the highest number given out (0 when missing or broken).
std::uint32_t IndexedFiles(const IndexRun& run);

// Numbers the file of relative path rel: a number from 1 to Files that the
// name section holds for it is kept, anything else gives Files + 1. Every
// path gets a key of its own, whatever bytes it holds and whatever other
// spellings of it (ignoring case) the folder holds; one that the index
// can't keep as it stands is stored in a hex form that NumberedPath reads. Writes
// the number section's entry. Result: the number; 0 when Files + 1 would
// pass the nine digits an index number has (the run is then full, which
// counts as a gap, so the index is dropped rather than wrapped to 0).
std::uint32_t AssignNumber(IndexRun& run, const std::string& rel);

// Whether some number from 1 to Files has no entry in the number section.
bool IndexHasGap(const IndexRun& run);

// The relative path that number n stands for (backslashes of a path stored
// as it stands read as "/");
// empty when there is none or when it would lead out of the program folder.
std::string NumberedPath(const IndexRun& run, std::uint32_t n);
