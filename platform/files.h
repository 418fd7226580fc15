// Folder listings and whole-file writes: the stand-in for the desktop's
// FindFirstFile/FindNextFile and for a file that is created, written and
// closed in one go.
//
// A listing gives the entries of one folder in the order the file system
// lists them (nothing sorts), filtered by a wildcard pattern whose `*` and `?`
// match names ignoring ASCII case. There are no short-name aliases, so
// "*.htm" never matches "a.html". "." and ".." are never listed. All calls
// are thread-safe and keep no state between calls.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// One directory entry with what the desktop's find data carries. Times are
// nanoseconds since 1970-01-01 UTC.
struct FileEntry {
  std::string name;              // bare name, no folder
  bool isDirectory = false;      // a symbolic link counts as what it points at
  bool isLink = false;           // the entry itself is a symbolic link
  std::int64_t creationTime = 0; // birth time where the file system keeps one, else status change
  std::int64_t lastAccessTime = 0;
  std::int64_t lastWriteTime = 0;
  std::uint64_t size = 0; // bytes; 0 for a folder
};

// Whether name matches pattern: `*` any run of bytes (none included), `?`
// exactly one byte, every other byte itself with ASCII case ignored. "*.*"
// matches every name, dotted or not, as the desktop's listing does.
bool WildcardMatch(const char* pattern, const char* name);

// Calls visit for every entry of folder that matches pattern, in listing
// order; visit returns false to stop early. An entry that vanishes between
// the listing and its status is passed over. Result: false when the folder
// can't be opened (missing, no folder, no access), true otherwise, also for
// an empty folder.
bool ForEachFileEntry(const std::string& folder, const char* pattern,
                      const std::function<bool(const FileEntry&)>& visit);

// The same entries collected into out (which is cleared first).
bool FindFiles(const std::string& folder, const char* pattern, std::vector<FileEntry>& out);

// An entry's name as the listing gives it, with the kind the listing itself
// tells (no status read): a folder, a symbolic link, another file, or unknown
// where the file system doesn't say.
enum class EntryKind { Unknown, Folder, Link, Other };
struct FolderName {
  std::string name;
  EntryKind kind = EntryKind::Unknown;
};

// All names of folder ("." and ".." left out) in listing order, into out
// (cleared first). Result: false when the folder can't be opened.
bool ListFolderNames(const std::string& folder, std::vector<FolderName>& out);

// The status of the entry name of folder, as ForEachFileEntry gives it.
// Result: false when it has gone.
bool ReadFileEntry(const std::string& folder, const std::string& name, FileEntry& entry);

// Replaces path by bytes so that a reader, or a process killed at any point,
// sees either the old file or the whole new one: a temporary file beside it
// (its name begins with a point), flushed to the medium, then renamed over
// path. A new file gets mode 0644; an existing file keeps its mode. Result: false when anything
// fails; then path is as it was and no temporary file is left.
bool WriteFileAtomically(const std::string& path, const std::string& bytes);

// Writes all size bytes of data to fd, going on after interrupted or short
// writes. False on the first failing write (what was written stays).
bool WriteAll(int fd, const char* data, std::size_t size);

// The same in two steps, for a writer that must know whether the file can be
// made before it does other work: Begin makes the temporary file (false when
// the folder can't take it; the file is locked while it is open), Finish writes bytes and renames
// (false when anything fails, and then nothing is left behind), Abandon drops it. Each Begin that
// succeeded is followed by exactly one Finish or Abandon.
struct FileReplacement {
  int fd = -1;
  std::string temp; // the temporary file beside path
  std::string path;
};
bool BeginFileReplacement(const std::string& path, FileReplacement& r);
bool FinishFileReplacement(FileReplacement& r, const std::string& bytes);
void AbandonFileReplacement(FileReplacement& r);

// A temporary file of a replacement whose writer was killed is left beside
// path; one older than this, that no writer holds, is stale.
constexpr int StaleTemporarySeconds = 60;

// Removes the stale temporary files beside path (".<name of path>.XXXXXX",
// older than StaleTemporarySeconds and not held by a live writer, so two
// processes replacing the same file never break each other's write). Looks
// at most once per StaleTemporarySeconds per path.
void RemoveStaleTemporaries(const std::string& path);

// Removes the entries of folder that match pattern (and admits, when given)
// and that a killed writer left: files and folders (with their contents)
// older than StaleTemporarySeconds that no live writer holds locked (flock
// on the file, or on the folder itself). Links are left alone. Result: the
// entries removed. Writers of temporaries that a start sweeps hold that lock
// for as long as they write.
int RemoveStaleEntries(const std::string& folder, const char* pattern,
                       const std::function<bool(const FileEntry&)>& admits = {});

// The first count bytes of path (fewer for a shorter file; empty when it
// can't be read).
std::string FirstBytes(const std::string& path, std::size_t count);

// Whether an unprivileged writer still has reserveBytes free on folder's file
// system; true when it can't be asked (the write is then left to fail).
bool KeepsFreeBytes(const std::string& folder, long long reserveBytes);

// Reads up to maxBytes of path into out. Result: false when the file can't
// be opened or is longer than maxBytes (out is then empty).
bool ReadWholeFile(const std::string& path, std::string& out, std::size_t maxBytes);
