// The page scanner. ScanPage fetches the page into a temporary file (the URL
// download first, the HTTP fetcher second), reads its first bytes into a page
// buffer of its own and deletes the file; ScanPageText does the looking.
//
// The page is a text: it ends at its first NUL (the page end), and every
// search, walk and size reading is bounded by that end and by the page's
// first byte. A candidate link is held as a text of its own by cutting: the
// delimiter behind it becomes a NUL. Giving a candidate up writes a double
// quote there (whatever stood before) and the search goes on one character
// behind the start of the marker occurrence just handled. Nothing longer than
// ScanResultSize - 1 ever reaches the caller's result.
#include "video/scanner.h"

#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "games/locate.h"
#include "platform/sysdirs.h"
#include "platform/url_download.h"
#include "web/fetcher.h"
#include "web/url_text.h"

namespace {

constexpr std::size_t TempPathSize = 260;
constexpr std::size_t FieldValueReach = 1024;
constexpr int ClassWalkSteps = 256;
constexpr int QuoteWalkSteps = 100;

struct Page {
  char* text;
  std::size_t end; // the page end: text[end] == 0
};

// The first occurrence of marker at or behind from, or npos.
std::size_t Find(const Page& page, const char* marker, std::size_t from) {
  std::size_t length = std::strlen(marker);
  if (length == 0 || from > page.end || page.end - from < length)
    return std::string::npos;
  const void* hit = memmem(page.text + from, page.end - from, marker, length);
  return hit == nullptr ? std::string::npos : static_cast<const char*>(hit) - page.text;
}

std::size_t FindChar(const Page& page, char c, std::size_t from) {
  if (from >= page.end)
    return std::string::npos;
  const void* hit = std::memchr(page.text + from, c, page.end - from);
  return hit == nullptr ? std::string::npos : static_cast<const char*>(hit) - page.text;
}

bool At(const char* text, std::size_t at, std::size_t end, const char* word) {
  std::size_t length = std::strlen(word);
  return at <= end && end - at >= length && std::memcmp(text + at, word, length) == 0;
}

bool AtCaseless(const char* text, std::size_t at, std::size_t end, const char* word) {
  std::size_t length = std::strlen(word);
  return at <= end && end - at >= length && strncasecmp(text + at, word, length) == 0;
}

// A marker and its https form: a marker holding "http" also finds the same
// text with "https", and the positions counted into it then lie one further.
// Both forms are found in one pass: the head up to "http", then either tail.
struct Marker {
  std::string head; // the whole marker when it holds no "http"
  std::string tail; // what follows "http"
  bool both = false;
  explicit Marker(const char* text) : head(text) {
    if (std::size_t at = head.find("http"); at != std::string::npos) {
      tail = head.substr(at + 4);
      head.resize(at + 4);
      both = true;
    }
  }
};

// The first occurrence of either form at or behind from, or npos; extra
// takes 1 when the https form stands there.
std::size_t Find(const Page& page, const Marker& marker, std::size_t from, std::size_t& extra) {
  extra = 0;
  for (;;) {
    std::size_t at = Find(page, marker.head.c_str(), from);
    if (at == std::string::npos || !marker.both)
      return at;
    std::size_t behind = at + marker.head.size();
    if (At(page.text, behind, page.end, marker.tail.c_str()))
      return at;
    if (behind < page.end && page.text[behind] == 's' &&
        At(page.text, behind + 1, page.end, marker.tail.c_str())) {
      extra = 1;
      return at;
    }
    from = at + 1;
  }
}

// Copies text of length bytes into result when it fits; false when not.
bool CopyResult(char* result, const char* text, std::size_t length) {
  if (length >= ScanResultSize)
    return false;
  std::memmove(result, text, length);
  result[length] = '\0';
  return true;
}

std::atomic<ResultLocator> resultLocator{LocateGameFile};

int ScanFieldValueText(Page page, const Marker& marker, char* result) {
  std::size_t extra = 0;
  std::size_t start = Find(page, marker, 0, extra);
  if (start == std::string::npos)
    return 0;
  std::size_t stop = std::string::npos;
  for (std::size_t i = 0; i <= FieldValueReach && start + i < page.end; ++i) {
    std::size_t at = start + i;
    char c = page.text[at];
    if (At(page.text, at, page.end, "%2C") || c == '&' || At(page.text, at, page.end, "amp;") ||
        (c == '"' && at + 1 < page.end && page.text[at + 1] == ',')) {
      stop = i;
      break;
    }
  }
  if (stop == std::string::npos)
    return 1;
  page.text[start + stop] = '\0';
  if (!CopyResult(result, page.text + start, stop))
    return 0;
  return static_cast<int>(stop);
}

int ScanSearchResultsText(Page page, const Marker& marker, char* result) {
  std::size_t from = Find(page, ">Search Results<", 0);
  if (from == std::string::npos)
    return 0;
  for (;;) {
    std::size_t extra = 0;
    std::size_t occurrence = Find(page, marker, from, extra);
    if (occurrence == std::string::npos)
      return 0;
    std::size_t quote = FindChar(page, '"', occurrence + 5 + extra);
    if (quote == std::string::npos)
      return 0;
    from = occurrence + 1;
    if (quote + 1 >= page.end || page.text[quote + 1] != '>')
      continue;
    page.text[quote] = '\0';

    // The link counts only inside a tag that has a class attribute before it.
    bool classed = false;
    std::size_t at = occurrence;
    for (int step = 0; step < ClassWalkSteps; ++step) {
      if (page.text[at] == '<' || at == 0)
        break;
      --at;
      if (AtCaseless(page.text, at, page.end, "class=")) {
        classed = true;
        break;
      }
    }
    std::size_t linkLength = quote - occurrence;
    if (classed && linkLength < ScanResultSize) {
      char candidate[ScanResultSize];
      const char* address = linkLength >= 2 ? page.text + occurrence + 2 : "";
      DecodePercent(address, candidate);
      if (resultLocator.load()(candidate, result, ".swf") == 0)
        return static_cast<int>(std::strlen(result));
    }
    page.text[quote] = '"';
  }
}

int ScanEmbedLinkText(Page page, const Marker& marker, char* result) {
  char wanted[WantedTextSize];
  std::snprintf(wanted, sizeof wanted, "%s", result);
  std::size_t wantedLength = std::strlen(wanted);
  result[0] = '\0';
  std::size_t from = 0;
  for (;;) {
    std::size_t extra = 0;
    std::size_t occurrence = Find(page, marker, from, extra);
    if (occurrence == std::string::npos)
      return 0;
    char before = occurrence > 0 ? page.text[occurrence - 1] : '\0';
    std::size_t start = occurrence + 5 + extra;
    std::size_t cut = std::string::npos;
    std::size_t question = std::string::npos; // offset in the link
    if (before == '"') {
      for (std::size_t at = start; at < page.end; ++at) {
        if (page.text[at] == '?')
          question = at - occurrence;
        if (page.text[at] == '"') {
          cut = at;
          break;
        }
      }
    } else if (before == '\'') {
      cut = FindChar(page, '\'', start);
    } else if (before == '=') {
      cut = FindChar(page, ' ', start);
    } else if (start < page.end) {
      cut = start;
    }
    if (cut == std::string::npos)
      return 0;
    page.text[cut] = '\0';
    const char* link = page.text + occurrence;
    std::size_t linkLength = cut - occurrence;

    bool passes = false;
    std::size_t anchor = cut;
    if (question != std::string::npos && linkLength > 5 + extra &&
        strcasestr(link + 5 + extra, wanted) != nullptr) {
      passes = true;
      anchor = occurrence + question;
    }
    if (!passes && linkLength >= wantedLength &&
        strcasecmp(link + linkLength - wantedLength, wanted) == 0) {
      passes = true;
      anchor = question != std::string::npos ? occurrence + question : cut;
    }
    if (passes) {
      ObjectSize size = MeasureObject(page.text, page.end, anchor);
      if (CopyResult(result, link, linkLength) && IsLargeObject(size))
        return static_cast<int>(linkLength);
    }
    page.text[cut] = '"';
    from = occurrence + 1;
  }
}

int ScanRelativeLinkText(Page page, const char* url, const Marker& marker, char* result) {
  char wanted[WantedTextSize];
  std::snprintf(wanted, sizeof wanted, "%s", result);
  std::size_t wantedLength = std::strlen(wanted);
  std::size_t urlLength = std::strlen(url);
  std::size_t from = 0;
  for (;;) {
    std::size_t extra = 0;
    std::size_t occurrence = Find(page, marker, from, extra);
    if (occurrence == std::string::npos)
      return 0;
    std::size_t cut = occurrence + wantedLength + extra;
    char after = cut < page.end ? page.text[cut] : '\0';
    char opening = after == '"' || after == '&' ? '"' : after == '\'' ? '\'' : '\0';
    std::size_t candidateStart = occurrence + 1;
    if (opening != '\0') {
      std::size_t at = occurrence;
      int steps = 0;
      for (;;) {
        if (at == 0 || steps == QuoteWalkSteps)
          return 0;
        --at;
        ++steps;
        if (page.text[at] == opening)
          break;
      }
      candidateStart = at + 1;
    }
    // The cut stays inside the page: at its end there is nothing to cut.
    bool cutMade = cut < page.end;
    if (cutMade)
      page.text[cut] = '\0';
    std::size_t candidateEnd = std::min(cut, page.end);
    std::size_t candidateLength = candidateEnd > candidateStart ? candidateEnd - candidateStart : 0;
    std::string candidate(page.text + candidateStart, candidateLength);

    ObjectSize size = MeasureObject(page.text, page.end, candidateEnd);
    bool built = false;
    if (candidate.size() >= ScanResultSize) {
      // too long for any result
    } else if (!candidate.empty() && candidate[0] == '/') {
      const char* slash = urlLength > 8 ? std::strchr(url + 8, '/') : nullptr;
      if (slash != nullptr) {
        std::string address = std::string(url, slash) + candidate;
        built = CopyResult(result, address.data(), address.size());
      }
    } else if (candidate == "swf" || WebSchemeLength(candidate.c_str()) != 0) {
      // the marker outside quotes, or an absolute link
    } else if (const char* slash = std::strrchr(url, '/'); slash != nullptr) {
      std::string address = std::string(url, slash + 1) + candidate;
      built = CopyResult(result, address.data(), address.size());
    }
    if (built && IsLargeObject(size))
      return static_cast<int>(std::strlen(result));
    if (cutMade)
      page.text[cut] = '"';
    from = occurrence + 1;
  }
}

std::string TemporaryPagePath() {
  static std::atomic<std::uint32_t> sequence{0};
  auto ticks = std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
                   .count();
  // Tick count plus a sequence: rising, so two calls of this process never
  // share a name, even within one millisecond.
  std::uint32_t value = static_cast<std::uint32_t>(ticks) + sequence.fetch_add(1);
  char name[16];
  std::snprintf(name, sizeof name, "/%08x", value);
  return SystemSubfolder("Temp") + name;
}

} // namespace

void SetResultLocatorForTests(ResultLocator locator) {
  resultLocator.store(locator != nullptr ? locator : LocateGameFile);
}

bool IsLargeObject(const ObjectSize& size) {
  return size.width > 300 && size.height > 200;
}

std::uint32_t ParseSizeValue(const char* text, const char* end) {
  const char* p = text;
  while (p < end && *p != ',' && !(*p >= '0' && *p <= '9'))
    ++p;
  if (p >= end)
    return 0;
  if (*p == ',')
    return 0xFFFFFFFFu;
  std::uint32_t value = 0;
  while (p < end && *p >= '0' && *p <= '9')
    value = value * 10 + static_cast<std::uint32_t>(*p++ - '0');
  if (p < end && *p == '%')
    return 999;
  return value;
}

ObjectSize MeasureObject(const char* page, std::size_t length, std::size_t anchor) {
  ObjectSize size;
  const char* end = page + length;
  for (std::size_t offset = 1; offset <= 99; ++offset) {
    std::size_t at = anchor + offset;
    if (at >= length)
      break;
    if (AtCaseless(page, at, length, "width="))
      size.width = ParseSizeValue(page + at, end);
    if (AtCaseless(page, at, length, "height="))
      size.height = ParseSizeValue(page + at, end);
    if (page[at] == '>' || (size.width != 0 && size.height != 0))
      break;
  }
  if (size.width != 0 && size.height != 0)
    return size;

  // A script call: link, perhaps a name, then width and height, by commas.
  size = ObjectSize();
  std::size_t offset = 0;
  auto walk = [&] {
    while (offset <= 30 && anchor + offset < length && page[anchor + offset] != ',')
      ++offset;
  };
  auto from = [&](std::size_t at) { return anchor + at < length ? page + anchor + at : end; };
  walk();
  ++offset;
  size.width = ParseSizeValue(from(offset), end);
  if (size.width == 0xFFFFFFFFu) {
    walk();
    ++offset;
    size.width = ParseSizeValue(from(offset), end);
  }
  walk();
  size.height = ParseSizeValue(from(offset + 1), end);
  return size;
}

int ScanPageText(char* page, std::size_t length, const char* url, int mode, const char* marker,
                 char* result) {
  if (length >= PageTextSize)
    return 0;
  page[length] = '\0';
  Page text{page, std::strlen(page)};
  Marker markers(marker);
  switch (mode) {
  case ScanFieldValue:
    return ScanFieldValueText(text, markers, result);
  case ScanSearchResults:
    return ScanSearchResultsText(text, markers, result);
  case ScanEmbedLink:
    return ScanEmbedLinkText(text, markers, result);
  case ScanRelativeLink:
    return ScanRelativeLinkText(text, url, markers, result);
  default:
    return 0;
  }
}

long FetchPageText(const char* url, std::vector<char>& page) {
  page.assign(PageTextSize, '\0');
  std::string temporary = TemporaryPagePath();
  if (temporary.size() >= TempPathSize)
    return -1;
  char path[FetchPathSize];
  std::snprintf(path, sizeof path, "%s", temporary.c_str());
  // Only what the scan reads is fetched, and a page leaves no cache copy.
  DownloadOptions options;
  options.keepBytes = static_cast<long long>(PageTextSize - 1);
  if (DownloadUrlToFile(url, path, nullptr, options) != 0 && FetchToFile(url, path) != FetchDone)
    return -1;

  int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0)
    return -1;
  ssize_t got;
  do {
    got = read(fd, page.data(), PageTextSize - 1);
  } while (got < 0 && errno == EINTR);
  close(fd);
  unlink(path);
  return got > 0 ? static_cast<long>(got) : 0;
}

int ScanPage(const char* url, int mode, const char* marker, char* result) {
  std::vector<char> page;
  long length = FetchPageText(url, page);
  if (length < 0)
    return 0;
  return ScanPageText(page.data(), static_cast<std::size_t>(length), url, mode, marker, result);
}
