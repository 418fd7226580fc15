// Cache harvest: Flash files found in the browser cache are offered to the
// user and saved into the Game folder.
//
// The harvest's offers run on the Panel's thread inside its command (its walk
// of the cache may run on a thread of its own); HarvestPass and
// HarvestPrompts have no other user.
#pragma once

#include <cstdint>

#include "platform/win.h"

struct FileEntry;

// 0 to 4: the running pass; 5: the harvest is over.
extern std::uint32_t HarvestPass;
// Offers shown in this harvest.
extern std::uint32_t HarvestPrompts;

// Walks cacheFolder (subfolders included) once, then goes over its files
// five times, from the narrowest pass to the widest, offering each file that
// the pass admits until the user takes one or cancels. Result:
// HarvestPrompts; 0 means no game was found.
int HarvestCache(const char* cacheFolder, const char* patterns);

// What the Panel gets as WM_COMMAND when a walk of HarvestCacheInTurn ended.
constexpr WParam PanelCmdHarvestWalked = 40010;

// The harvest as the Panel runs it: the walk of a large cache must not hold
// the Panel's thread, so it runs on a thread of its own. A call with no
// walk of these folder and patterns at hand starts one (unless one runs) and
// gives -1 at once; when it has ended, the Panel is posted
// PanelCmdHarvestWalked, and the next call offers its files as HarvestCache
// does and gives the same result.
int HarvestCacheInTurn(const char* cacheFolder, const char* patterns);

// The visit of the harvest's walk: offers the file when the running pass
// admits it (Yes/No/Cancel); Yes leads to the save dialog and ends the
// harvest, Cancel ends it.
void OfferCacheFile(const char* fullPath, const char* name, const FileEntry& entry);

// A time of the file listing (ns since 1970, UTC) as a count of 100 ns of
// local time since 1601, shifted by the local offset of the present as the
// desktop's conversion does.
std::uint64_t LocalFileTime(std::int64_t unixNanos);

// The present as the same count, to the millisecond.
std::uint64_t LocalNow();

// Whether pass (0-4) admits entry at the local time now (a count as above).
bool HarvestAdmits(std::uint32_t pass, const FileEntry& entry, std::uint64_t now);

// The clock the harvest reads (ns since 1970, UTC); null goes back to the
// system clock. For tests.
void SetHarvestClockForTests(std::int64_t (*now)());

// The save dialog: name (nameSize bytes) holds the proposed name on entry and
// the full path on return. Result: nonzero when the user confirmed.
int SaveGameDialog(Hwnd owner, const char* title, const char* filter, char* name, int nameSize,
                   const char* folder);
