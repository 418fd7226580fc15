// Address text helpers. DecodeHexPair is the one reader of an escape; the
// decoder walks the source once, up to and including its end mark, and never
// looks behind that mark even when an escape is cut short there.
#include "web/url_text.h"

#include <strings.h>

#include <cstring>

namespace {

int HexDigitValue(unsigned char c) {
  int v = c;
  if (v > 'F')
    v -= 32;
  v -= '0';
  if (v > 10)
    v -= 7;
  return v;
}

} // namespace

unsigned char DecodeHexPair(const char* text) {
  if (text[0] != '%' || text[1] == '\0' || text[2] == '\0')
    return static_cast<unsigned char>(text[0]);
  int high = HexDigitValue(static_cast<unsigned char>(text[1]));
  int low = HexDigitValue(static_cast<unsigned char>(text[2]));
  return static_cast<unsigned char>((high * 16 + low) & 0xFF);
}

int DecodePercent(const char* source, char* target) {
  std::size_t in = 0;
  std::size_t out = 0;
  bool failed = false;
  for (;;) {
    char c = source[in];
    bool end = c == '\0';
    if (c == '%' && source[in + 1] != '\0' && source[in + 2] != '\0') {
      c = static_cast<char>(DecodeHexPair(source + in));
      in += 3;
    } else {
      ++in;
    }
    target[out] = c;
    if (c == ':' && out >= 8)
      failed = true;
    if (end)
      break;
    ++out;
  }
  // An escape %00 ends the text early; the length is that of the text.
  return failed ? 0 : static_cast<int>(std::strlen(target));
}

int ReplaceInText(char* text, const char* find, const char* replacement) {
  std::size_t length = std::strlen(text);
  std::size_t findLength = std::strlen(find);
  if (length == 0 || findLength == 0 || length >= UrlTextSize || findLength > length)
    return 0;
  char work[UrlTextSize];
  std::memcpy(work, text, length + 1);
  for (std::size_t at = 0; at + findLength <= length; ++at) {
    if (strncasecmp(work + at, find, findLength) != 0)
      continue;
    std::size_t replacementLength = std::strlen(replacement);
    std::size_t total = length - findLength + replacementLength;
    if (total >= UrlTextSize)
      return 0;
    std::memcpy(text, work, at);
    std::memcpy(text + at, replacement, replacementLength);
    std::memcpy(text + at + replacementLength, work + at + findLength, length - at - findLength);
    text[total] = '\0';
    return static_cast<int>(total);
  }
  return 0;
}

int WebSchemeLength(const char* text) {
  if (std::strncmp(text, "http://", 7) == 0)
    return 7;
  if (std::strncmp(text, "https://", 8) == 0)
    return 8;
  return 0;
}
