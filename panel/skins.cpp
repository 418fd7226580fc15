// Which picture is the face, and turning it. Pictures are loaded in the
// display's depth, as a device bitmap would be. NextSkin walks the folder in
// its own listing order and takes the file before the last one chosen; a
// file that isn't a whole 699 x 593 skin is passed over at the change, so a
// broken skin never replaces a good one. TurnBitmap works on the bottom-up
// rows of the picture and keeps the five big icons upright.
#include "panel/skins.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "panel/panel_state.h"
#include "platform/files.h"
#include "resources/strings.h"
#include "shell/module_path.h"
#include "shell/settings.h"

namespace {

constexpr int SkinWidth = 699;
constexpr int SkinHeight = 593;

std::string BesideProgram(const char* name) {
  char path[260];
  ModuleFilePath(0, path, name);
  return path;
}

std::unique_ptr<Bitmap> LoadPicture(const std::string& path) {
  auto bitmap = std::make_unique<Bitmap>();
  if (!LoadPictureFile(path, WinDisplayBits(Panel().PanelWindow), bitmap.get()))
    return nullptr;
  return bitmap;
}

bool IsWholeSkin(const std::string& path) {
  Bitmap probe;
  return LoadBitmapFile(path, &probe) && probe.Width == SkinWidth && probe.Height == SkinHeight;
}

// Copies source over target through a temporary file beside target, so that
// target is always either the old or the whole new picture.
void CopyOver(const std::string& source, const std::string& target) {
  std::error_code error;
  std::string temporary = target + ".new";
  if (!std::filesystem::copy_file(source, temporary,
                                  std::filesystem::copy_options::overwrite_existing, error)) {
    std::filesystem::remove(temporary, error);
    return;
  }
  std::filesystem::rename(temporary, target, error);
  if (error)
    std::filesystem::remove(temporary, error);
}

} // namespace

std::unique_ptr<Bitmap> LoadSkin(std::unique_ptr<Bitmap> bitmap, const char* path) {
  bitmap.reset();
  if (path == nullptr)
    return nullptr;
  return LoadPicture(path);
}

std::unique_ptr<Bitmap> NextSkin(std::unique_ptr<Bitmap> bitmap, const char* target,
                                 const char* mask) {
  PanelState& panel = Panel();
  char folder[260];
  ModuleDirectory(0, folder);
  std::string previous;
  bool any = false;
  ForEachFileEntry(folder, mask, [&](const FileEntry& entry) {
    any = true;
    if (entry.name == panel.LastSkinName) {
      if (!previous.empty())
        return false;
      panel.LastSkinName = "--";
    }
    previous = entry.name;
    return true;
  });
  if (!any)
    return bitmap;
  panel.LastSkinName = previous.substr(0, 259);
  std::string chosen = BesideProgram(previous.c_str());
  if (!IsWholeSkin(chosen))
    return bitmap;
  std::string targetPath = BesideProgram(target);
  CopyOver(chosen, targetPath);
  // Loaded before the old one goes, so a caller can tell a new picture by
  // its address.
  std::unique_ptr<Bitmap> fresh = LoadPicture(targetPath);
  bitmap.reset();
  return fresh;
}

void KeepIconUpright(const std::uint8_t* upright, std::uint8_t* turned, int width, int height,
                     int bytes, int top, int x) {
  int uprightRow = (width * bytes + 3) & ~3;
  int turnedRow = (height * bytes + 3) & ~3;
  int copy = bytes < 3 ? bytes : 3;
  for (int v = 0; v < 46; ++v) {
    int edge = v < 23 ? v : 45 - v; // distance from the nearer edge row
    int skip = edge == 0 ? 4 : edge == 1 ? 3 : edge == 2 ? 2 : edge == 3 ? 1 : 0;
    for (int u = skip; u < 46 - skip; ++u) {
      int sx = x + u, sy = top + 4 + v;
      int tx = height - top - 49 + u, ty = x + v;
      if (sx < 0 || sx >= width || sy < 0 || sy >= height || tx < 0 || tx >= height || ty < 0 ||
          ty >= width)
        continue;
      const std::uint8_t* s =
          upright + std::size_t(height - 1 - sy) * uprightRow + std::size_t(sx) * bytes;
      std::uint8_t* t = turned + std::size_t(width - 1 - ty) * turnedRow + std::size_t(tx) * bytes;
      std::memcpy(t, s, std::size_t(copy));
    }
  }
}

std::unique_ptr<Bitmap> TurnBitmap(Hwnd, std::unique_ptr<Bitmap> bitmap) {
  if (!bitmap)
    return nullptr;
  const Bitmap& in = *bitmap;
  int bits = in.BitsPerPixel;
  if ((bits != 16 && bits != 24 && bits != 32) || in.Width <= 0 || in.Height <= 0 ||
      in.Bits.size() < std::size_t(in.RowLength()) * in.Height)
    return nullptr;
  auto out = std::make_unique<Bitmap>();
  out->Width = in.Height;
  out->Height = in.Width;
  out->BitsPerPixel = bits;
  out->Bits.assign(std::size_t(out->RowLength()) * out->Height, 0);
  int bytes = bits / 8;
  std::size_t inRow = std::size_t(in.RowLength()), outRow = std::size_t(out->RowLength());
  const std::uint8_t* src = in.Bits.data();
  std::uint8_t* dst = out->Bits.data();
  const int W = in.Width, H = in.Height;
  // Square tiles keep both the rows read and the rows written in the cache;
  // within a tile the writes run along a turned row.
  constexpr int Tile = 32;
  const bool spareByte = inRow >= std::size_t(W) * 3 + 1; // padding behind each upright row
  for (int c0 = 0; c0 < W; c0 += Tile) {
    int c1 = c0 + Tile < W ? c0 + Tile : W;
    for (int r0 = 0; r0 < H; r0 += Tile) {
      int r1 = r0 + Tile < H ? r0 + Tile : H;
      for (int c = c0; c < c1; ++c) {
        std::uint8_t* t = dst + outRow * std::size_t(W - 1 - c) + std::size_t(r0) * bytes;
        const std::uint8_t* s = src + inRow * std::size_t(r0) + std::size_t(c) * bytes;
        if (bytes == 4) {
          for (int r = r0; r < r1; ++r, s += inRow, t += 4) {
            std::uint32_t v;
            std::memcpy(&v, s, 4);
            v &= 0x00FFFFFFu; // the fourth byte stays 0
            std::memcpy(t, &v, 4);
          }
        } else if (bytes == 3) {
          // A four-byte move spills one byte into the next pixel of the
          // turned row, which is written after it; only the row's last pixel,
          // and a source pixel with no byte behind it, take three moves.
          int fastEnd = r1 == H ? r1 - 1 : r1;
          if (c == W - 1 && !spareByte)
            fastEnd = r0;
          int r = r0;
          for (; r < fastEnd; ++r, s += inRow, t += 3) {
            std::uint32_t v;
            std::memcpy(&v, s, 4);
            std::memcpy(t, &v, 4);
          }
          for (; r < r1; ++r, s += inRow, t += 3) {
            t[0] = s[0];
            t[1] = s[1];
            t[2] = s[2];
          }
        } else {
          for (int r = r0; r < r1; ++r, s += inRow, t += bytes) {
            t[0] = s[0];
            t[1] = s[1];
          }
        }
      }
    }
  }
  for (int k = 0; k < 5; ++k) {
    int x = 34 + 59 * k;
    KeepIconUpright(src, dst, W, H, bytes, 470, x);
    KeepIconUpright(src, dst, W, H, bytes, 470, x + 351);
  }
  return out;
}

void ChangeSkin(Hwnd window) {
  PanelState& panel = Panel();
  const Bitmap* before = panel.SkinBitmap.get();
  panel.SkinBitmap = NextSkin(std::move(panel.SkinBitmap), "@VEXANH.BMP", "@Vexanh.*.bmp");
  if (panel.SkinBitmap.get() != before && panel.PanelRotation == 90)
    panel.SkinBitmap = TurnBitmap(window, std::move(panel.SkinBitmap));
  WinInvalidate(window);
}

int ReadDisplayDepth() {
  int dpi = 96, bits = 16;
  char value[RegistryValueSize];
  const char* roots[] = {"HKEY_CURRENT_USER", "HKEY_CURRENT_CONFIG"};
  for (const char* root : roots) {
    int bitsError = ReadRegistryString(root, "Display\\Settings", "BitsPerPixel", value);
    int readBits = bitsError == 0 ? std::atoi(value) : 0;
    int dpiError = ReadRegistryString(root, "Display\\Settings", "DPILogicalY", value);
    int readDpi = dpiError == 0 ? std::atoi(value) : 0;
    if (bitsError != 0 && dpiError != 0)
      continue; // no such key under this root
    if (readDpi != 0) {
      dpi = readDpi;
      bits = readBits;
    }
    break;
  }
  return dpi * 256 + bits;
}

int SetDialogIcons(Hwnd window, int big, int) {
  const char* name = ResourceFileName(big);
  if (name != nullptr)
    WinSetWindowIcon(window, BesideProgram(name));
  return 0;
}
