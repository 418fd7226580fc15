// DecodePercent and ReplaceInText on arbitrary texts. The input is split at
// its first two NUL bytes into text, find and replacement. Checks: decoding
// never grows a text and always ends it; a replacement keeps within the
// 512-byte buffer and gives the length it reports.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "web/url_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string all(reinterpret_cast<const char*>(data), size);
  std::string parts[3];
  std::size_t at = 0;
  for (int i = 0; i < 3; ++i) {
    std::size_t nul = i < 2 ? all.find('\0', at) : std::string::npos;
    parts[i] = all.substr(at, nul == std::string::npos ? std::string::npos : nul - at);
    at = nul == std::string::npos ? all.size() : nul + 1;
  }

  std::vector<char> target(parts[0].size() + 1, '#');
  int length = DecodePercent(parts[0].c_str(), target.data());
  std::size_t real = std::strlen(target.data());
  if (real > parts[0].size() || (length != 0 && static_cast<std::size_t>(length) != real))
    std::abort();

  char text[UrlTextSize + 1];
  std::memset(text, 0, sizeof text);
  std::memcpy(text, parts[0].data(), std::min(parts[0].size(), UrlTextSize - 1));
  text[UrlTextSize] = 'Z'; // a guard just behind the buffer
  int replaced = ReplaceInText(text, parts[1].c_str(), parts[2].c_str());
  if (text[UrlTextSize] != 'Z' || std::memchr(text, '\0', UrlTextSize) == nullptr)
    std::abort();
  if (replaced != 0 && static_cast<std::size_t>(replaced) != std::strlen(text))
    std::abort();
  return 0;
}
