// Bitmap: a device-independent picture in the working form of the Windows
// DIB: rows bottom-up, BitsPerPixel / 8 bytes a pixel (16, 24 or 32; bytes in
// B, G, R order, a 32-bit pixel's fourth byte unused), each row padded to a
// multiple of 4 bytes. This is the form the skin files have on disk, the form
// that turning works on, and what the canvas copies read.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct Bitmap {
  int Width = 0;
  int Height = 0;
  int BitsPerPixel = 0;
  std::vector<std::uint8_t> Bits;

  int BytesPerPixel() const { return BitsPerPixel / 8; }
  int RowLength() const { return (Width * BytesPerPixel() + 3) & ~3; }
};

// Reads a Windows BMP file (uncompressed 16, 24 or 32 bits a pixel, or
// 16/32-bit bitfields; rows bottom-up or top-down) into out, in the working
// form above with the file's own depth. False, out untouched, for anything
// else: a missing, truncated or malformed file never crashes the reader.
bool LoadBitmapFile(const std::string& path, Bitmap* out);

// Writes bitmap as an uncompressed BMP file. False on any failure.
bool SaveBitmapFile(const std::string& path, const Bitmap& bitmap);

// Changes bitmap's depth to bits (16 in the 5-5-5 layout, 24 or 32 with the
// fourth byte 0) in place. False, bitmap untouched, for any other depth or a
// bitmap whose bits don't match its size.
bool ConvertBitmapDepth(Bitmap* bitmap, int bits);

// The stand-in of loading a picture file as a device bitmap: the file read
// by LoadBitmapFile, then given the display's depth when displayBits is 16,
// 24 or 32 (any other value keeps the file's depth). False, out untouched,
// when the file can't be read.
bool LoadPictureFile(const std::string& path, int displayBits, Bitmap* out);
