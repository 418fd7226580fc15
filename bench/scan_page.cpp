// ScanPage's scanning in each mode on a 64 KB page, against one memchr pass
// over the same page (the least any scan of it can cost). The page is a
// pristine copy put back before every scan; the copying is timed on its own
// and taken out. Prints, per mode, scan time / memchr time (reported, no
// target). Search results are answered without fetching.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "video/scanner.h"

namespace {

int NoLocate(const char*, char*, const char*) {
  return -1;
}

std::string MakePage() {
  std::string page = "<html><body><b>>Search Results<</b>";
  int i = 0;
  while (page.size() < PageTextSize - 600) {
    std::string n = std::to_string(i++);
    page += "<li><a class=\"r\" href=\"**http%3a//site" + n + ".test/page.htm\">result " + n +
            "</a> <embed src=\"http://cdn.test/" + n +
            ".swf\" width=\"120\" height=\"90\"> <img src=\"pic" + n +
            ".swf\" width=10 height=10> text with &amp; and \"quotes\" and, commas\n";
  }
  page.resize(PageTextSize - 600, ' ');
  page += "\"C5%7Chttp%3A%2F%2Fv.test%2Fvideo.flv%2C";
  return page;
}

using Clock = std::chrono::steady_clock;

} // namespace

int main() {
  SetResultLocatorForTests(NoLocate);
  const std::string pristine = MakePage();
  std::vector<char> page(PageTextSize, '\0');
  const int rounds = 400;

  auto timeCopies = [&] {
    auto start = Clock::now();
    for (int r = 0; r < rounds; ++r)
      std::memcpy(page.data(), pristine.data(), pristine.size() + 1);
    return std::chrono::duration<double>(Clock::now() - start).count();
  };
  volatile std::size_t sink = 0;
  auto start = Clock::now();
  for (int r = 0; r < rounds; ++r) {
    std::memcpy(page.data(), pristine.data(), pristine.size() + 1);
    sink = sink + (std::memchr(page.data(), '\x01', pristine.size()) != nullptr);
  }
  double copies = timeCopies();
  double memchrTime = std::chrono::duration<double>(Clock::now() - start).count() - copies;
  copies = timeCopies();
  memchrTime = std::max(memchrTime, 1e-9);

  struct Mode {
    const char* name;
    int mode;
    const char* marker;
    const char* wanted;
  };
  const Mode modes[] = {
      {"field value (4)", ScanFieldValue, "C5%7Chttp%3A", ""},
      {"search results (5)", ScanSearchResults, "**http%3a", ""},
      {"embed link (6)", ScanEmbedLink, "http://", ".swf"},
      {"relative link (7)", ScanRelativeLink, ".swf", ".swf"},
  };
  for (const Mode& m : modes) {
    char result[ScanResultSize];
    start = Clock::now();
    for (int r = 0; r < rounds; ++r) {
      std::memcpy(page.data(), pristine.data(), pristine.size() + 1);
      std::snprintf(result, sizeof result, "%s", m.wanted);
      sink = sink + static_cast<std::size_t>(ScanPageText(page.data(), pristine.size(),
                                                          "http://games.test/dir/page.htm", m.mode,
                                                          m.marker, result));
    }
    double scan = std::chrono::duration<double>(Clock::now() - start).count() - copies;
    std::printf("scan_page: %-19s %8.1f us per 64 KB page, ratio to memchr %.1f\n", m.name,
                scan / rounds * 1e6, scan / memchrTime);
  }
  return 0;
}
