// What the video road keeps and tells about its deliveries: the archive of
// delivered entries (iFetched.ini beside the program), the ending a kept file
// gets from its container, and the end of a road (its closing status line and
// the tray's notification).
#pragma once

#include <cstdint>
#include <map>
#include <string>

// The archive's section for one list collected to one target in one format.
// The archive lets a list collected again fetch only what it didn't deliver
// there before; a section holds the list's address and target as "List" and
// "Target" and one key per delivered entry, whose value is the delivered file.
std::string ArchiveSection(const std::string& listUrl, const std::string& target,
                           std::uint32_t format);

// The key of an entry, from the entry's link as the list gives it.
std::string ArchiveKey(const std::string& link);

// Whether the entry was delivered before and its file is still there.
bool ArchivedAndThere(const std::string& section, const std::string& key);

// The files the section records, each with the key of its entry.
std::map<std::string, std::string> ArchivedFiles(const std::string& section);

// Records that the entry's video was delivered as file (a full path).
void ArchiveDelivered(const std::string& section, const std::string& key, const std::string& file);

// The ending of the container that a file's first bytes show (".mp4",
// ".webm", ".avi", ".wmv", ".mpg", ".flv", ".3gp"), ".video" for anything else.
std::string MediaEnding(const std::string& path);

// The end of a video road: the job's line shows how many videos were new and
// how many were already there ("3 new, 12 already there") for a moment, then
// empties (on a thread of its own; this returns at once); the tray says what
// arrived and where ("3 videos on the phone", "2 videos in /home/me/Videos"),
// or why nothing did (failure: the last failure's status line, if any).
void EndVideoRoad(std::uint32_t format, const std::string& target, int delivered, int already,
                  const std::string& failure);
