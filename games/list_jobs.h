// What the top-list and daily jobs share: the arguments of the last start
// (JobWindow, JobListSource, JobFolder), the place of the list copy and of the
// temporary game file, the list fetch, the copy of a fetched game under a
// list's title, and the Panel calls that follow a new game.
//
// The argument record and the running flags live for the whole process and
// are never destroyed, so a job thread that outlives the Panel never touches
// a destroyed object.
#pragma once

#include <atomic>
#include <string>

#include "platform/win.h"

// A game file is at most this large: a larger download, or a larger file to
// copy, is refused.
constexpr long long GameFileMax = 1LL << 30;

// Values of a list entry hold at most 259 bytes.
constexpr std::size_t ListValueSize = 260;
constexpr const char* GameMenuMasks = "*.swf,*.htm,*.html";

struct JobArguments {
  Hwnd JobWindow = 0;
  std::string JobListSource; // at most 255 bytes
  std::string JobFolder;     // at most 259 bytes
};

// Stores the three fields of a start (cut to their sizes).
void StoreJobArguments(Hwnd window, const char* listSource, const char* folder);
// The fields as they stand now, copied whole.
JobArguments CopyJobArguments();

// Starts fn on a detached thread with the stored arguments as they stand
// now, unless running is already set: then nothing starts and the result is
// false. running is set before the thread starts and cleared when fn returns.
bool StartJobThread(std::atomic<bool>& running,
                    int (*fn)(Hwnd, const char*, const char*, Hwnd, int));

// A file beside the program (ModuleFilePath).
std::string ProgramFile(const char* name);

// Whether text names a link ("http" in lower case at its start).
bool IsListLink(const char* text);

// Where a job keeps its list and its temporary game file. For a list that is
// a link: the browser cache (else the system's Temp) becomes the temporary
// folder, the cache's stale copies of the list are purged, and the list is
// fetched to Temp/List.htm (the result of the fetch isn't looked at). For a
// file name: the list is that file beside the program.
struct JobFiles {
  std::string tempFolder;
  std::string listPath;
  bool fetched = false; // the list came from the network: its text is data
};
JobFiles PrepareJobList(const char* listSource);

// Downloads a game (URLDownloadToFile with GameFileMax as the cap).
int DownloadGameFile(const char* url, const char* path);

// One value of the list file, cut to 259 bytes. A fetched list is read as it
// stands (no macro, registry reference or "@@"); a list beside the program
// keeps every rule of the settings store. A value whose line holds a byte 0
// ends in one, so that a title holding it can be refused.
std::string ListValue(const JobFiles& files, const char* section, const char* key);

// Copies from to the path to, replacing a file there whole (written beside
// it, then renamed). Result: true when the copy stands.
bool CopyWhole(const std::string& from, const std::string& to);

// Copies the fetched file from to folder/title, the folder made when missing,
// replacing a file of that name whole (written beside it, then renamed). A
// title that is empty, absolute, holds a byte 0 or a ".." part, or makes the
// path longer than 259 bytes is refused like any failed copy, and so is a
// subfolder that is a symbolic link, and so is a file that is no Flash file
// under a ".swf" title. Control characters of the title become '_';
// backslashes are separators; a subfolder that is missing is not made. Result: true when
// the copy stands.
bool CopyGameUnder(const std::string& from, const std::string& folder, const std::string& title);

// The game menu rebuilt from the Game folder, then, with a Panel: the game
// channel opened by PanelCommand 19030 with openArg when its Pane isn't
// there, and the game Pane told to reload.
void ShowNewGame(Hwnd window, long openArg);
