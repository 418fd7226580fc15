// The stand-in for the Windows URL download service: one GET on libcurl that
// follows redirects, speaks https, sends a user agent and gives up on a
// connection that does not come up or that stalls. Like the Windows service it
// goes through the browser cache: every download leaves a copy in the cache
// folder, in a subfolder of 8 characters from [0-9A-Z] as stem[N].ext, where
// the cache harvest and the purge of stale copies find it.
//
// All calls are thread-safe and hold no state between calls.
#pragma once

#include <string>

struct DownloadOptions {
  long connectTimeoutSeconds = 30;
  // A transfer that moves no byte for this long is given up.
  long stallSeconds = 60;
  // A transfer slower than lowSpeedBytes a second for lowSpeedSeconds on end
  // is given up, so a server that trickles cannot hold a job forever.
  long lowSpeedBytes = 1024;
  long lowSpeedSeconds = 60;
  // A body larger than this is refused, whether the answer announces its
  // length or not (0: no cap).
  long long maxBytes = 16LL << 30;
  // Only the first keepBytes of a body are wanted (0: all of it): the
  // transfer stops there and the download counts as whole.
  long long keepBytes = 0;
  // The file system written to keeps at least this many bytes free (0: no
  // reserve): looked at before the first byte and at every 8 MiB; a body
  // that would eat into it is given up (DownloadBelowReserve).
  long long reserveBytes = 0;
  const char* userAgent = "Mozilla/4.0 (compatible; Skerry 1.0)";
  // Called on the downloading thread about once a second and as bytes come:
  // the bytes received and the whole (0 while the answer names no length).
  void (*progress)(void* context, long long received, long long total) = nullptr;
  void* progressContext = nullptr;
};

// The result of a download given up at the free-space reserve.
constexpr int DownloadBelowReserve = -2;

// Downloads url to the file path. cacheFolder is the browser cache folder
// (made when missing); empty or null stores no copy. The target is opened only
// once a 2xx answer has begun, and a target that already exists is replaced
// only after the whole body arrived, so a failed download never harms it.
// Nothing is written anywhere but path and the copy in the cache folder (and,
// for an existing target with no cache folder, a staging file in the system's
// Temp folder). The copy shares its data with the target by a hard link where
// both lie on one file system: both names are replaced, never rewritten in
// place, by every writer of this system.
// Result: 0 when a 2xx body was written whole; otherwise a nonzero code (the
// libcurl error, or the HTTP status for an answer outside 2xx, or -1 for a
// file that could not be written or a body over options.maxBytes, or
// DownloadBelowReserve). The file being written is locked (flock) while this
// call writes it, so a sweep of stale temporaries can tell it from one that a
// killed download left.
int DownloadUrlToFile(const char* url, const char* path, const char* cacheFolder,
                      const DownloadOptions& options = DownloadOptions());

// The cache file name for url in the layout of the browser cache: the last
// path segment without query and fragment, its last extension split off,
// < > : " | ? * (and controls, backslashes) as _, then [N] and the extension.
// Picks (or makes) one of a few random subfolders of cacheFolder and claims
// a free N by creating the file empty: the number after the last one this
// process claimed there, else the one after the run of numbers taken from 1
// (a gap that purged copies left below it stays), so a claim costs about the
// same with 40,000 copies as with none. Result: the full path of the
// file made, or empty on failure. Every path stays under 260 characters.
std::string ClaimCacheFile(const char* cacheFolder, const char* url);

// url as a browser sends it: behind the host, every byte that an address
// may not hold as it stands (controls, blanks, bytes from 128 on, and
// " < > \\ ^ ` { | }) is percent-escaped; escapes already there stay.
// So a search text with blanks or a title in Chinese can be asked for.
std::string EscapeUrlForRequest(const char* url);
