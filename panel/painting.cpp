// Painting is copying rectangles out of SkinBitmap onto the window's canvas.
// Three copies exist: BlitCorner and BlitMerge take picture coordinates as
// they stand, BlitFace takes upright ones and turns both rectangles when the
// Panel is turned. Every copy is clipped to the picture and to the canvas, so
// a skin of another size, or none, can only leave pixels as they were. The
// merge copy equals the plain one: its brush is the default white.
#include "panel/painting.h"

#include "panel/panel_state.h"

namespace {

std::uint32_t SourcePixel(const Bitmap& bitmap, int x, int y) {
  const std::uint8_t* p = bitmap.Bits.data() +
                          std::size_t(bitmap.Height - 1 - y) * bitmap.RowLength() +
                          std::size_t(x) * bitmap.BytesPerPixel();
  if (bitmap.BitsPerPixel == 16) {
    unsigned v = unsigned(p[0]) | (unsigned(p[1]) << 8);
    unsigned r = (v >> 10) & 31, g = (v >> 5) & 31, b = v & 31;
    r = (r << 3) | (r >> 2);
    g = (g << 3) | (g >> 2);
    b = (b << 3) | (b >> 2);
    return (r << 16) | (g << 8) | b;
  }
  return (std::uint32_t(p[2]) << 16) | (std::uint32_t(p[1]) << 8) | p[0];
}

bool Usable(const Bitmap* bitmap) {
  return bitmap != nullptr && bitmap->Width > 0 && bitmap->Height > 0 &&
         (bitmap->BitsPerPixel == 16 || bitmap->BitsPerPixel == 24 || bitmap->BitsPerPixel == 32) &&
         bitmap->Bits.size() >= std::size_t(bitmap->RowLength()) * bitmap->Height;
}

void Copy(Canvas* canvas, int x, int y, int w, int h, int sx, int sy, const Bitmap* bitmap) {
  if (canvas == nullptr || canvas->pixels == nullptr || !Usable(bitmap))
    return;
  for (int row = 0; row < h; ++row) {
    int ty = y + row, py = sy + row;
    if (ty < 0 || ty >= canvas->height || py < 0 || py >= bitmap->Height)
      continue;
    std::uint32_t* target = canvas->pixels + std::size_t(ty) * canvas->width;
    for (int col = 0; col < w; ++col) {
      int tx = x + col, px = sx + col;
      if (tx < 0 || tx >= canvas->width || px < 0 || px >= bitmap->Width)
        continue;
      target[tx] = SourcePixel(*bitmap, px, py);
    }
  }
}

struct ZonePaint {
  std::uint32_t Code;
  int X, Y, W, H;
  int Channels; // 0: any; else a bit per channel that shows the button
};

constexpr int Bit(int channel) {
  return 1 << channel;
}

const ZonePaint ZonePaints[] = {
    {20010, 306, 58, 25, 16, 0},
    {20020, 282, 58, 25, 16, 0},
    {20030, 258, 58, 25, 16, 0},
    {20040, 234, 58, 25, 16, 0},
    {20050, 210, 58, 25, 16, 0},
    {20060, 186, 58, 25, 16, 0},
    {20080, 24, 470, 60, 52, 0},
    {20090, 84, 470, 60, 52, 0},
    {20100, 144, 470, 60, 52, 0},
    {20110, 204, 470, 60, 52, 0},
    {20120, 264, 470, 60, 52, 0},
    {20130, 160, 546, 26, 24, 0},
    {20180, 162, 58, 25, 16, 0},
    {20190, 138, 58, 25, 16, 0},
    {20200, 114, 58, 25, 16, 0},
    {20210, 90, 58, 25, 16, Bit(ChannelGame) | Bit(ChannelVideoSite) | Bit(ChannelHome)},
    {20220, 66, 58, 25, 16, Bit(ChannelGame) | Bit(ChannelVideoSite)},
    {20230, 42, 58, 25, 16, 0},
    {20240, 18, 58, 25, 16, 0},
};

} // namespace

void BlitCorner(Canvas* canvas, int w, int h, const Bitmap* bitmap) {
  Copy(canvas, 0, 0, w, h, 0, 0, bitmap);
}

void BlitMerge(Canvas* canvas, int x, int y, int w, int h, int sx, int sy, const Bitmap* bitmap) {
  Copy(canvas, x, y, w, h, sx, sy, bitmap);
}

void BlitFace(Canvas* canvas, int x, int y, int w, int h, int sx, int sy) {
  if (Panel().PanelRotation == 90) {
    int tx = 592 - y - h, ty = x;
    int tsx = 592 - sy - h, tsy = sx;
    Copy(canvas, tx, ty, h, w, tsx, tsy, Panel().SkinBitmap.get());
    return;
  }
  Copy(canvas, x, y, w, h, sx, sy, Panel().SkinBitmap.get());
}

void PaintFrame(Canvas* canvas) {
  const Bitmap* skin = Panel().SkinBitmap.get();
  if (Panel().PanelRotation == 90) {
    BlitMerge(canvas, 0, 0, 593, 20, 0, 351, skin);
    BlitMerge(canvas, 518, 0, 74, 351, 518, 351, skin);
    BlitMerge(canvas, 518, 20, 18, 311, 518, 20, skin);
    BlitMerge(canvas, 0, 20, 124, 331, 0, 371, skin);
    BlitMerge(canvas, 72, 20, 52, 311, 72, 20, skin);
    BlitMerge(canvas, 124, 328, 468, 20, 124, 679, skin);
    return;
  }
  BlitCorner(canvas, 350, 74, skin);
  BlitMerge(canvas, 0, 74, 20, 394, 0, 74, skin);
  BlitMerge(canvas, 328, 74, 20, 394, 328, 74, skin);
  BlitMerge(canvas, 0, 468, 350, 124, 0, 468, skin);
}

void PaintZone(Canvas* canvas, int lit, std::uint32_t code) {
  int channel = Panel().Channel;
  for (const ZonePaint& z : ZonePaints) {
    if (z.Code != code)
      continue;
    if (z.Channels != 0 && (channel < 0 || channel > 30 || (z.Channels & Bit(channel)) == 0))
      return;
    BlitFace(canvas, z.X, z.Y, z.W, z.H, lit ? z.X + 351 : z.X, z.Y);
    return;
  }
}
