// The page scanner: the program's one reader of web pages. It fetches a page,
// keeps its first 65,535 bytes as text, and picks one link or value out of it
// without parsing HTML: find a marker, walk to the delimiters around it, cut
// the text in place with a NUL and look at what stands near the cut. Every
// call has its own page; calls nest (a search-result scan locates games,
// which scan other pages) and may run on several threads at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// ScanMode values.
constexpr int ScanFieldValue = 4;    // a parameter value that begins with the marker
constexpr int ScanSearchResults = 5; // links of a search result page, each located
constexpr int ScanEmbedLink = 6;     // an absolute link ending in or holding the wanted text
constexpr int ScanRelativeLink = 7;  // a link relative to the page

constexpr std::size_t PageTextSize = 65536; // the page buffer; its last byte is always NUL
constexpr std::size_t ScanResultSize = 512; // the caller's result buffer
constexpr std::size_t WantedTextSize = 256; // the wanted text, up to 255 characters

// Fetches url (URL download, then the HTTP fetcher) and scans it in mode with
// marker (case significant). result is the caller's ScanResultSize buffer:
// input (the wanted text in modes 6 and 7) and output. Result: the length of
// the text left in result when the scan found what it looks for, else 0; in
// mode 4 also 1 for a value with no end in reach. In modes 6 and 7 a 0 may
// come with the last candidate, too small to win, left in result.
int ScanPage(const char* url, int mode, const char* marker, char* result);

// The first PageTextSize - 1 bytes of the page at url (no more are fetched),
// in page (made PageTextSize long, NUL behind the text). Result: the length;
// -1 when neither way of fetching brought the page. For a caller that scans
// one page more than once.
long FetchPageText(const char* url, std::vector<char>& page);

// The scan of a page already in memory. page holds length bytes of text and
// a NUL behind them (page[length] == 0, length < PageTextSize); the scan cuts
// and restores it in place. url is the page's own address (for relative links).
int ScanPageText(char* page, std::size_t length, const char* url, int mode, const char* marker,
                 char* result);

// What the search-result mode does with each result: LocateGameFile unless a
// test, fuzzer or benchmark installs its own (null restores it). The page
// reading itself stays the same; only the fetches behind results are replaced.
using ResultLocator = int (*)(const char* text, char* output, const char* wanted);
void SetResultLocatorForTests(ResultLocator locator);

// An object's size: 0 not found; 0xFFFFFFFF (a comma before any digit) and 999
// (a per-cent value) pass for large.
struct ObjectSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

// Larger than 300 by 200, compared unsigned.
bool IsLargeObject(const ObjectSize& size);

// The size of the object near anchor (an offset into page): "width=" and
// "height=" within 99 characters of a tag, else the arguments of a script
// call behind the link. Never reads at or past page + length.
ObjectSize MeasureObject(const char* page, std::size_t length, std::size_t anchor);

// The number at text: walks over anything up to a digit or a comma (a comma
// first gives 0xFFFFFFFF), reads the digits, and gives 999 for a per-cent
// value. Stops at end; reaching it before a digit gives 0.
std::uint32_t ParseSizeValue(const char* text, const char* end);
