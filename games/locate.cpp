// Game page location. LocateGameFile tries its ways in a fixed order: a text
// that is the file itself; then the page, scanned for a large embedded object
// with an absolute link (or the last small one); then for a relative link.
// SearchGameLink scans the search result page in the search-result mode,
// which calls LocateGameFile for each result, which scans with the embed and
// relative modes only, so the nesting is at most two pages deep.
#include "games/locate.h"

#include <strings.h>

#include <algorithm>

#include <cstdio>
#include <cstring>
#include <string>

#include "shell/module_path.h"
#include "shell/settings.h"
#include "video/scanner.h"
#include "web/url_text.h"

namespace {

constexpr std::size_t TextSize = 512;

bool StartsWithScheme(const char* text) {
  return WebSchemeLength(text) != 0;
}

bool EndsWithCaseless(const char* text, std::size_t length, const char* ending) {
  std::size_t endingLength = std::strlen(ending);
  return length >= endingLength && strcasecmp(text + length - endingLength, ending) == 0;
}

int Decode(const char* text, char* output) {
  char decoded[TextSize];
  char source[TextSize];
  std::snprintf(source, sizeof source, "%s", text);
  int length = DecodePercent(source, decoded);
  std::snprintf(output, TextSize, "%s", decoded);
  return length == 0 ? LocateRefused : LocateFound;
}

} // namespace

int BuildSearchAddress(const char* query, char* out) {
  char define[TextSize];
  ModuleFilePath(0, define, "Define.ini");
  char host[ProfileValueSize] = "";
  ProfileRead("Web", "SearchHost", host, define);
  // The text is a form value: the bytes that would end or change it are
  // escaped as a browser escapes a form field (blanks and bytes from 128 on
  // are escaped when the address is sent).
  std::string value;
  for (const char* c = query; *c != '\0'; ++c) {
    if (std::strchr("&#+%=;", *c) != nullptr) {
      static const char hex[] = "0123456789ABCDEF";
      value += '%';
      value += hex[static_cast<unsigned char>(*c) >> 4];
      value += hex[*c & 15];
    } else {
      value += *c;
    }
  }
  int length = std::snprintf(out, TextSize, "http://%s/search?p=%s",
                             host[0] != '\0' ? host : DefaultSearchHost, value.c_str());
  return length < 0 ? 0 : std::min(length, static_cast<int>(TextSize) - 1);
}

int SearchGameLink(const char* text, char* output) {
  if (StartsWithScheme(text)) {
    std::snprintf(output, TextSize, "%s", text);
    return -1;
  }
  char address[TextSize];
  BuildSearchAddress(text, address);
  char work[TextSize] = "class=";
  int found = ScanPage(address, ScanSearchResults, "**http%3a", work);
  if (found == 0)
    found = ScanPage(address, ScanSearchResults, "=\"http://", work);
  std::snprintf(output, TextSize, "%s", work);
  return found != 0 ? 0 : -1;
}

int LocateGameFile(const char* text, char* output, const char* wanted) {
  char own[TextSize];
  std::snprintf(own, sizeof own, "%s", text);
  std::size_t length = std::strlen(own);

  char page[TextSize];
  if (StartsWithScheme(own))
    std::snprintf(page, sizeof page, "%s", own);
  else
    BuildSearchAddress(own, page);

  if (std::strchr(own, '?') == nullptr && EndsWithCaseless(own, length, ".swf"))
    return Decode(own, output);

  bool pageEnding = EndsWithCaseless(own, length, ".asp") ||
                    EndsWithCaseless(own, length, ".htm") ||
                    EndsWithCaseless(own, length, ".php") ||
                    EndsWithCaseless(own, length, ".swf") || EndsWithCaseless(own, length, ".html");
  if (!pageEnding)
    for (std::size_t back = 3; back <= 5; ++back)
      if (length >= back && own[length - back] == '.')
        return LocateNothing;

  ReplaceInText(page, "flash_games.php", "flash_show.php");

  char work[TextSize];
  std::snprintf(work, sizeof work, "%s", wanted);
  int found = ScanPage(page, ScanEmbedLink, "http://", work);
  if (found != 0 || std::strlen(work) > 4)
    return Decode(work, output);

  std::snprintf(work, sizeof work, "%s", ".swf");
  found = ScanPage(page, ScanRelativeLink, ".swf", work);
  if (found != 0 || std::strlen(work) > 4)
    return Decode(work, output);
  return LocateNothing;
}
