// The resolver as a download command: [Video] Resolver of Define.ini names
// yt-dlp (without -g), which fetches the watch page's video itself, whatever
// form the site serves (a progressive file, HLS, DASH, separate audio and
// video merged by ffmpeg), into the job's temporary name.
#pragma once

#include <functional>
#include <string>
#include <vector>

struct ResolverDownload {
  bool used = false; // the setting is a download command (else: an address printer, or none)
  bool ok = false;   // the video stands whole at the temporary path
  std::string error; // why not, fit for a status line
  bool belowReserve = false; // ended because Temp's file system reached the reserve
};

// Downloads the video of pageUrl (an http or https address, handed over
// behind "--") to tempPath with the resolver when it is a download command.
// small asks for the smallest stream at least 176x144 (the phone and small
// formats), else for the best single video up to 720p; a stream above
// maxBytes is not fetched, and a run whose files grow past maxBytes (a stream
// of no announced size) or leave less than reserveBytes free on tempPath's
// file system is ended (looked at once a second). progress gets the
// share done from the resolver's own report. A run whose report stands still
// for [Video] ResolverTimeout seconds (default 60) is ended. Nothing of the
// run stays in tempPath's folder but tempPath itself on success.
ResolverDownload DownloadWithResolver(const std::string& pageUrl, const std::string& tempPath,
                                      bool small, long long maxBytes, long long reserveBytes,
                                      const std::function<void(int percent)>& progress);

// The share done that one line of the resolver's report gives (" 42.5%"),
// or -1.
int ResolverShare(const std::string& line);

// [Video] Resolver of Define.ini split at blanks: the program, then its words.
std::vector<std::string> ResolverWords();

// [Video] ResolverTimeout in seconds (default 60): for a download command the
// time its report may stand still, for an address printer its whole run.
int ResolverSeconds();

// Whether [Video] Resolver is a download command (yt-dlp asked for no
// address) rather than a printer of addresses.
bool ResolverDownloads();
