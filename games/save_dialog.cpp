// The save dialog of the game roads: the proposed name is cleaned first, so
// that an escaped name from a link or a cache file reads as a file name.
#include <cstring>
#include <string>

#include "games/cache_harvest.h"
#include "web/url_text.h"

namespace {

// Percent escapes give their byte; blanks and '=' become '-', decoded or not.
// A separator that comes out of an escape becomes '-' too, so the proposal
// stays a name in the folder shown; a name of dots alone proposes nothing.
void CleanProposedName(char* name, int nameSize) {
  std::string source(name, strnlen(name, static_cast<std::size_t>(nameSize) - 1));
  std::size_t out = 0;
  for (std::size_t in = 0; in < source.size(); ++in) {
    char c = source[in];
    if (c == '%' && in + 2 < source.size()) {
      c = static_cast<char>(DecodeHexPair(source.c_str() + in));
      in += 2;
      if (c == '\0')
        break;
    }
    if (c == ' ' || c == '=' || c == '/' || c == '\\')
      c = '-';
    name[out++] = c;
  }
  name[out] = '\0';
  if (std::strspn(name, ".") == out)
    name[0] = '\0';
}

} // namespace

int SaveGameDialog(Hwnd owner, const char* title, const char* filter, char* name, int nameSize,
                   const char* folder) {
  if (name == nullptr || nameSize <= 0)
    return 0;
  CleanProposedName(name, nameSize);
  std::string chosen = WinSaveFileDialog(owner, title == nullptr ? "" : title, filter, name,
                                         folder == nullptr ? "" : folder);
  // A path that doesn't fit the caller's buffer is refused, as the platform's
  // dialog refuses it.
  if (chosen.empty() || chosen.size() >= static_cast<std::size_t>(nameSize))
    return 0;
  std::memcpy(name, chosen.c_str(), chosen.size() + 1);
  return 1;
}
