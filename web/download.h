// The first way of fetching every page, list, game and video: the URL
// download stand-in, going through the browser cache folder that the user's
// shell folders name ("Cache"). Thread-safe.
#pragma once

#include "platform/url_download.h"

// Downloads url to path and leaves a copy in the browser cache. Result: 0 when
// a 2xx body was written whole, else nonzero (and path is as it was).
int URLDownloadToFile(const char* url, const char* path);

// The same with the stand-in's options: a progress report, a stall time.
int URLDownloadToFileWith(const char* url, const char* path, const DownloadOptions& options);
