// ParseServerDate on arbitrary header texts: a value other than 0 needs one of
// the twelve month names in the text, and the text is left as it was.
#include <strings.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "web/server_date.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  std::string before = text;
  std::uint32_t value = ParseServerDate(text.c_str());
  if (text != before)
    std::abort();
  if (value == 0)
    return 0;
  static const char* const months[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                       "jul", "aug", "sep", "oct", "nov", "dec"};
  for (const char* month : months)
    if (strcasestr(text.c_str(), month) != nullptr)
      return 0;
  std::abort();
}
