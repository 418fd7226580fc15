// The browser cache's copies of Flash files that pages load: the browser
// program fetches such a file once more beside the page and keeps the copy in
// the Cache shell folder, in the layout the URL downloads use, so that the
// cache harvest finds a game a moment after it was played in a Pane. Plain
// C++ on the platform library; thread-safe.
#pragma once

#include <string>

// Whether the address's path (query and fragment left out) ends in ".swf",
// case ignored.
bool NamesFlashFile(const std::string& url);

// Whether bytes begin like a Flash file: "FWS", "CWS" or "ZWS".
bool IsFlashStart(const std::string& bytes);

// The browser cache folder: the Cache value of the shell folders.
std::string BrowserCacheFolder();

// Fetches url (http or https) into a new file of cacheFolder's classic layout
// (a subfolder of 8 characters, stem[N].ext, the ending .swf whatever the
// address's was) and keeps it only when it is
// whole and begins like a Flash file. Result: the path kept, or empty.
std::string CopyFlashToCache(const std::string& url, const std::string& cacheFolder);
