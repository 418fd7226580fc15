// A video list's title as the download job reads it: the list's length from
// its position, the date, and the cleaning into a file name. Checks: a
// length of at least 1, a date of 0 or above 19,800,000, and a cleaned name
// without separators or control characters (so it stays one name in its
// folder).
#include <cstdint>
#include <cstdlib>
#include <string>

#include "video/sorted_list.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string title(reinterpret_cast<const char*>(data), size);
  title = title.substr(0, title.find('\0')).substr(0, ListTextSize - 1);
  if (ListTitleCount(title.c_str()) < 1)
    std::abort();
  int date = TitleDate(title.c_str());
  if (date != 0 && date <= 19800000)
    std::abort();
  CleanVideoTitle(title.data());
  for (char c : title)
    if (c == '/' || c == '\\' || static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
      std::abort();
  if (title == "." || title == "..")
    std::abort();
  return 0;
}
