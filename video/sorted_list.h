// The sorted video list download: from the list file Sort.htm (an INI file
// with the sections Sorted and Title) to one video file per entry, kept as a
// Flash video in the chosen folder or dropped for the conversion job. The
// thread body itself, DownloadSortedList, is declared with the shared records
// in video/video_jobs.h.
#pragma once

#include <cstddef>
#include <string>

constexpr std::size_t ListTextSize = 512; // title, link and page address of an entry

// The list's length as a title tells it by a position such as "3/25"; at
// least 1.
int ListTitleCount(const char* title);

// The date in a title written with dashes (2008-10-12 gives 20081012), or 0;
// a number that stays at or below 19,800,000 is no date.
int TitleDate(const char* title);

// Turns a title into a file name in place: the characters that paths,
// wildcards and escapes give a meaning to are replaced (". : < > \ / " * ? # %"
// become "_ = [ ] - - ' ~ ! ~ ^"), and so are control characters (as "_"), so
// the name can never lead out of its folder.
void CleanVideoTitle(char* title);

// The direct media address of a watch page from [Video] Resolver of
// Define.ini: the command line, split at blanks and run without a shell with
// pageUrl as its last argument, for at most [Video] ResolverTimeout seconds
// (default 60). Result: the first line it printed, or empty (no resolver, a
// failure, the time ran out, or a line that is no http or https address).
std::string ResolveVideoAddress(const char* pageUrl);

// Stores the downloaded file source under target as a real Flash video: a
// file that is one already is copied; anything else is remuxed into the FLV
// container by ffmpeg, or converted when its streams can't stand in it. The
// result appears under target only when whole. When no Flash video can be
// made, the file is kept beside it under the ending of its own container
// (".mp4", ".webm", ...) and the result is that path. Result: the path the
// video was stored at, or empty when nothing could be written.
std::string KeepAsFlashVideo(const std::string& source, const std::string& target);

// Rebuilds the video menu (Web/MenuVideo.htm and the player pages) from the
// Video folder beside the program.
void RebuildVideoMenu();

// The stall time of the jobs' media downloads in seconds (default 60): a
// transfer that moves no byte for that long is given up. Tests shorten it.
void SetMediaStallForTests(long seconds);
