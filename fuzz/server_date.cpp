// ParseServerDate on arbitrary header texts: a value other than 0 always
// names a month from 1 to 12.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "web/server_date.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  std::uint32_t value = ParseServerDate(text.c_str());
  std::uint32_t month = value / 100 % 100;
  if (value != 0 && (month < 1 || month > 12))
    std::abort();
  return 0;
}
