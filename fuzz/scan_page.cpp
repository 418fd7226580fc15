// ScanPageText on arbitrary page bytes in every mode with the program's
// markers. The first byte picks mode and marker, the second the wanted text;
// the rest is the page. Results found in search-result pages are answered by
// a locator that fetches nothing. Checks: result always ends within its 512
// bytes, the result value is its length or one of the small codes, and the
// page buffer's end mark stays.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "video/scanner.h"

namespace {

struct Choice {
  int mode;
  const char* marker;
};

const Choice Choices[] = {
    {ScanFieldValue, "C5%7Chttp%3A"},
    {ScanFieldValue, "18%7Chttp%3A"},
    {ScanSearchResults, "**http%3a"},
    {ScanSearchResults, "=\"http://"},
    {ScanEmbedLink, "http://"},
    {ScanRelativeLink, ".swf"},
    {ScanEmbedLink, "h"},
    {ScanRelativeLink, "s"},
};
const char* const Wanted[] = {".swf", "", "swf", ".SWF", "a", "http://x/"};

int FakeLocator(const char* text, char* output, const char*) {
  if (std::strlen(text) >= ScanResultSize)
    std::abort();
  if (text[0] == 'h' && std::strlen(text) % 7 == 0) {
    std::strcpy(output, text);
    return 0;
  }
  return -1;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2)
    return 0;
  SetResultLocatorForTests(FakeLocator);
  const Choice& choice = Choices[data[0] % (sizeof Choices / sizeof Choices[0])];
  const char* wanted = Wanted[data[1] % (sizeof Wanted / sizeof Wanted[0])];
  std::size_t length = std::min(size - 2, PageTextSize - 1);
  std::vector<char> page(PageTextSize + 1, '\0');
  std::memcpy(page.data(), data + 2, length);
  page[PageTextSize] = 'Z';
  char result[ScanResultSize + 1];
  std::memset(result, 'r', sizeof result);
  std::strcpy(result, wanted);
  result[ScanResultSize] = 'Z';
  const char* url = data[0] & 0x80 ? "http://games.test/dir/page.htm" : "short";
  int found = ScanPageText(page.data(), length, url, choice.mode, choice.marker, result);
  if (result[ScanResultSize] != 'Z' || page[PageTextSize] != 'Z' || page[length] != '\0')
    std::abort();
  std::size_t resultLength = strnlen(result, ScanResultSize);
  if (resultLength >= ScanResultSize)
    std::abort();
  if (found != 0 && !(choice.mode == ScanFieldValue && found == 1) &&
      static_cast<std::size_t>(found) != resultLength)
    std::abort();
  return 0;
}
