// An uncompressed SWF (version 6): header with the stage rectangle in twips,
// then SetBackgroundColor, ShowFrame and End. An emulator that plays it shows
// the stage in the background colour, which a screenshot can find.
#include "swf_file.h"

#include <cstdint>

namespace {

struct Bits {
  std::string bytes;
  int used = 8; // bits used in the last byte
  void Put(std::uint32_t value, int count) {
    for (int i = count - 1; i >= 0; --i) {
      if (used == 8) {
        bytes += '\0';
        used = 0;
      }
      if ((value >> i) & 1)
        bytes.back() = static_cast<char>(bytes.back() | (0x80 >> used));
      ++used;
    }
  }
};

void Put16(std::string& out, unsigned value) {
  out += static_cast<char>(value & 0xFF);
  out += static_cast<char>((value >> 8) & 0xFF);
}

void Put32(std::string& out, std::uint32_t value) {
  Put16(out, value & 0xFFFF);
  Put16(out, value >> 16);
}

void Tag(std::string& out, unsigned type, const std::string& body) {
  if (body.size() < 63) {
    Put16(out, (type << 6) | static_cast<unsigned>(body.size()));
  } else {
    Put16(out, (type << 6) | 0x3F);
    Put32(out, static_cast<std::uint32_t>(body.size()));
  }
  out += body;
}

} // namespace

std::string TinySwf(int width, int height, unsigned colour, unsigned padding) {
  Bits rect;
  const int bits = 16; // enough for 1600 px in twips, signed
  rect.Put(bits, 5);
  rect.Put(0, bits);
  rect.Put(static_cast<std::uint32_t>(width * 20), bits);
  rect.Put(0, bits);
  rect.Put(static_cast<std::uint32_t>(height * 20), bits);

  std::string body = rect.bytes;
  Put16(body, 12 << 8); // 12 frames a second, 8.8 fixed point
  Put16(body, 1);       // one frame
  std::string rgb = {static_cast<char>((colour >> 16) & 0xFF),
                     static_cast<char>((colour >> 8) & 0xFF), static_cast<char>(colour & 0xFF)};
  Tag(body, 9, rgb); // SetBackgroundColor
  Tag(body, 1, "");  // ShowFrame
  if (padding > 0)
    Tag(body, 1000, std::string(padding, '\x5A')); // unknown: players skip it
  Tag(body, 0, "");                                // End

  std::string file = "FWS";
  file += static_cast<char>(6);
  Put32(file, static_cast<std::uint32_t>(8 + body.size()));
  return file + body;
}
