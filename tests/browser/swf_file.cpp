// An uncompressed SWF (version 6): header with the stage rectangle in twips,
// then SetBackgroundColor, ShowFrame and End. An emulator that plays it shows
// the stage in the background colour, which a screenshot can find.
#include "swf_file.h"

#include <cstdint>

namespace {

std::string Little(std::uint32_t value, int bytes) {
  std::string out;
  for (int i = 0; i < bytes; ++i)
    out += static_cast<char>((value >> (8 * i)) & 0xFF);
  return out;
}

std::string Tag(unsigned type, const std::string& body) {
  auto size = static_cast<std::uint32_t>(body.size());
  if (size < 63)
    return Little(type << 6 | size, 2) + body;
  return Little(type << 6 | 0x3F, 2) + Little(size, 4) + body;
}

} // namespace

std::string TinySwf(int width, int height, unsigned colour, unsigned padding) {
  std::string rect(9, '\0'); // 5 bits of field size (16), then four 16-bit fields
  int at = 0;
  for (std::uint32_t field : {16u, 0u, width * 20u, 0u, height * 20u})
    for (int i = at == 0 ? 4 : 15; i >= 0; --i, ++at)
      if ((field >> i) & 1)
        rect[at / 8] = static_cast<char>(rect[at / 8] | (0x80 >> (at % 8)));
  std::string rgb = Little(colour >> 16, 1) + Little(colour >> 8, 1) + Little(colour, 1);
  std::string body = rect + Little(12 << 8, 2) + Little(1, 2) + Tag(9, rgb) + Tag(1, "");
  if (padding > 0)
    body += Tag(1000, std::string(padding, 'Z')); // an unknown tag: players skip it
  body += Tag(0, "");
  return "FWS" + Little(6, 1) + Little(static_cast<std::uint32_t>(8 + body.size()), 4) + body;
}
