// Link downloads: a link copied to the clipboard becomes a game in the Game
// folder, and the game Pane is refreshed.
#pragma once

#include <string>

#include "platform/win.h"

// text: the caller's 512-byte buffer. Result: 1 for a new link in text, else 0.
int WatchClipboard(char* text);
// What stands on the clipboard now (copied before this start) counts as seen.
void TakeClipboardAsSeen();

// Copies the three arguments for a new job thread and starts it; returns at once.
void StartLinkDownload(Hwnd window, const char* source, const char* target);

// The job of one link (run by StartLinkDownload on a thread of its own):
// the question, the save dialog, the download, its check and one retry.
void LinkDownloadJob(Hwnd owner, std::string source, std::string target);

// Rebuilds the game menu and refreshes the game Pane: mode 1 after a
// download, 2 after a file was deleted on the Game channel.
void RefreshGamePane(int mode);

// The name a link gives its file. savePath (260 bytes, holding the link) is
// percent-decoded in place, blanks and '=' becoming '-'; saveName (260 bytes)
// gets the file name cut from its end: behind the last '/', or behind a '?'
// (up to the ".swf" it holds), a query behind ".swf" dropped first.
void CutLinkName(char* savePath, char* saveName);

// The status line of the downloads: "Downloading " and names separated by
// ", ". AddStatusName appends name when the line stays within 259 bytes
// (a first name too long for it is shortened) and returns the name as it now
// stands in the line, or empty when it isn't shown. RemoveStatusName takes
// that name out again, found only as a whole name of the list, and empties a
// line that names nobody.
std::string AddStatusName(std::string& line, const std::string& name);
void RemoveStatusName(std::string& line, const std::string& name);
