// ParseChunkSize on arbitrary lines: never reads past the end mark, and a
// value is ChunkSizeInvalid whenever the line holds a character that is no
// hexadecimal digit before its CR, LF or end.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "web/fetcher.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string line(reinterpret_cast<const char*>(data), size);
  std::uint32_t value = ParseChunkSize(line.c_str());
  std::size_t end = std::strcspn(line.c_str(), "\r\n");
  bool allHex = end > 0;
  for (std::size_t i = 0; i < end; ++i)
    allHex = allHex && std::strchr("0123456789abcdefABCDEF", line[i]) != nullptr;
  if (!allHex && value != ChunkSizeInvalid)
    std::abort();
  return 0;
}
