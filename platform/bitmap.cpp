// BMP files: the skin pictures lie beside the program as Windows bitmaps.
// The reader checks every size against the file's length before it copies,
// since a skin may be truncated or hostile.
#include "platform/bitmap.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>

namespace {

std::uint32_t U32(const std::uint8_t* p) {
  return p[0] | (p[1] << 8) | (p[2] << 16) | (std::uint32_t(p[3]) << 24);
}
std::uint16_t U16(const std::uint8_t* p) {
  return std::uint16_t(p[0] | (p[1] << 8));
}
void Put32(std::uint8_t* p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i)
    p[i] = std::uint8_t(v >> (8 * i));
}
void Put16(std::uint8_t* p, std::uint16_t v) {
  p[0] = std::uint8_t(v);
  p[1] = std::uint8_t(v >> 8);
}

constexpr std::uint32_t BiRgb = 0;
constexpr std::uint32_t BiBitfields = 3;
constexpr int MaxSide = 16384;
// The largest picture of MaxSide squared at 32 bits, with its headers.
constexpr std::uint64_t MaxFileSize = std::uint64_t(MaxSide) * MaxSide * 4 + 4096;

} // namespace

bool LoadBitmapFile(const std::string& path, Bitmap* out) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  if (!in)
    return false;
  std::streamoff length = in.tellg();
  if (length < 0 || length > std::streamoff(MaxFileSize))
    return false;
  std::vector<std::uint8_t> file(static_cast<std::size_t>(length));
  in.seekg(0);
  if (!in.read(reinterpret_cast<char*>(file.data()), length))
    return false;
  if (file.size() < 14 + 40 || file[0] != 'B' || file[1] != 'M')
    return false;
  const std::uint8_t* info = file.data() + 14;
  std::uint32_t headerSize = U32(info);
  if (headerSize < 40 || 14 + std::size_t(headerSize) > file.size())
    return false;
  std::int32_t width = std::int32_t(U32(info + 4));
  std::int32_t height = std::int32_t(U32(info + 8));
  int bits = U16(info + 14);
  std::uint32_t compression = U32(info + 16);
  std::uint32_t offset = U32(file.data() + 10);
  bool topDown = height < 0;
  if (height == std::numeric_limits<std::int32_t>::min())
    return false;
  if (topDown)
    height = -height;
  if (width <= 0 || height <= 0 || width > MaxSide || height > MaxSide)
    return false;
  if (bits != 16 && bits != 24 && bits != 32)
    return false;
  if (compression != BiRgb && !(compression == BiBitfields && bits != 24))
    return false;
  // 16-bit bitfields must be the 5-5-5 layout we keep; 5-6-5 would need
  // converting, which no skin of ours uses.
  if (compression == BiBitfields && bits == 16) {
    std::size_t masks = 14 + std::size_t(headerSize);
    if (headerSize == 40 && masks + 12 > file.size())
      return false;
    const std::uint8_t* m = headerSize == 40 ? file.data() + masks : info + 40;
    if (U32(m) != 0x7C00 || U32(m + 4) != 0x03E0 || U32(m + 8) != 0x001F)
      return false;
  }
  Bitmap bitmap;
  bitmap.Width = width;
  bitmap.Height = height;
  bitmap.BitsPerPixel = bits;
  std::size_t row = std::size_t(bitmap.RowLength());
  std::size_t size = row * std::size_t(height);
  if (offset > file.size() || file.size() - offset < size)
    return false;
  bitmap.Bits.resize(size);
  for (int r = 0; r < height; ++r) {
    int target = topDown ? height - 1 - r : r;
    std::memcpy(bitmap.Bits.data() + row * target, file.data() + offset + row * r, row);
  }
  *out = std::move(bitmap);
  return true;
}

bool SaveBitmapFile(const std::string& path, const Bitmap& bitmap) {
  if (bitmap.Width <= 0 || bitmap.Height <= 0 ||
      bitmap.Bits.size() != std::size_t(bitmap.RowLength()) * bitmap.Height)
    return false;
  std::vector<std::uint8_t> header(54, 0);
  header[0] = 'B';
  header[1] = 'M';
  Put32(&header[2], std::uint32_t(54 + bitmap.Bits.size()));
  Put32(&header[10], 54);
  Put32(&header[14], 40);
  Put32(&header[18], std::uint32_t(bitmap.Width));
  Put32(&header[22], std::uint32_t(bitmap.Height));
  Put16(&header[26], 1);
  Put16(&header[28], std::uint16_t(bitmap.BitsPerPixel));
  Put32(&header[34], std::uint32_t(bitmap.Bits.size()));
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(header.data()), std::streamsize(header.size()));
  out.write(reinterpret_cast<const char*>(bitmap.Bits.data()), std::streamsize(bitmap.Bits.size()));
  return bool(out);
}

bool ConvertBitmapDepth(Bitmap* bitmap, int bits) {
  if (bitmap == nullptr || (bits != 16 && bits != 24 && bits != 32))
    return false;
  int from = bitmap->BitsPerPixel;
  if ((from != 16 && from != 24 && from != 32) || bitmap->Width <= 0 || bitmap->Height <= 0 ||
      bitmap->Bits.size() != std::size_t(bitmap->RowLength()) * bitmap->Height)
    return false;
  if (from == bits)
    return true;
  Bitmap out;
  out.Width = bitmap->Width;
  out.Height = bitmap->Height;
  out.BitsPerPixel = bits;
  std::size_t inRow = std::size_t(bitmap->RowLength()), outRow = std::size_t(out.RowLength());
  out.Bits.assign(outRow * out.Height, 0);
  int inBytes = from / 8, outBytes = bits / 8;
  for (int y = 0; y < out.Height; ++y) {
    const std::uint8_t* src = bitmap->Bits.data() + inRow * y;
    std::uint8_t* dst = out.Bits.data() + outRow * y;
    for (int x = 0; x < out.Width; ++x, src += inBytes, dst += outBytes) {
      unsigned b, g, r;
      if (from == 16) {
        unsigned v = unsigned(src[0]) | (unsigned(src[1]) << 8);
        r = (v >> 10) & 31;
        g = (v >> 5) & 31;
        b = v & 31;
        r = (r << 3) | (r >> 2);
        g = (g << 3) | (g >> 2);
        b = (b << 3) | (b >> 2);
      } else {
        b = src[0];
        g = src[1];
        r = src[2];
      }
      if (bits == 16) {
        unsigned v = ((r >> 3) << 10) | ((g >> 3) << 5) | (b >> 3);
        dst[0] = std::uint8_t(v);
        dst[1] = std::uint8_t(v >> 8);
      } else {
        dst[0] = std::uint8_t(b);
        dst[1] = std::uint8_t(g);
        dst[2] = std::uint8_t(r);
      }
    }
  }
  *bitmap = std::move(out);
  return true;
}

bool LoadPictureFile(const std::string& path, int displayBits, Bitmap* out) {
  Bitmap bitmap;
  if (out == nullptr || !LoadBitmapFile(path, &bitmap))
    return false;
  if (displayBits == 16 || displayBits == 24 || displayBits == 32)
    ConvertBitmapDepth(&bitmap, displayBits);
  *out = std::move(bitmap);
  return true;
}
