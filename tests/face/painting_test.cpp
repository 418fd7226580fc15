// The frame and the buttons, rendered into the headless canvas and compared
// with the skin pixel by pixel (the turned face is checked on a display).
#include "face_fixture.h"
#include "panel/painting.h"
#include "panel/skins.h"
#include "platform/headless/headless.h"

namespace {

constexpr std::uint32_t Sentinel = 0x00ABCDEF;

void Fill(Canvas* c, std::uint32_t v) {
  for (int i = 0; i < c->width * c->height; ++i)
    c->pixels[i] = v;
}

bool InsideUpright(int x, int y, int l, int t, int w, int h) {
  return x >= l && x < l + w && y >= t && y < t + h;
}

} // namespace

using Painting = FaceTest;

TEST_F(Painting, UprightFrameIsTheRestFaceAndLeavesThePaneAlone) {
  Bitmap skin;
  ASSERT_TRUE(LoadBitmapFile(CommittedSkin("@VEXANH.BMP"), &skin));
  Panel().SkinBitmap = std::make_unique<Bitmap>(skin);
  Canvas* c = WinGetCanvas(window);
  ASSERT_EQ(c->width, 350);
  Fill(c, Sentinel);
  PaintFrame(c);
  for (int y = 0; y < 593; ++y)
    for (int x = 0; x < 350; ++x) {
      bool frame = InsideUpright(x, y, 0, 0, 350, 74) || InsideUpright(x, y, 0, 74, 20, 394) ||
                   InsideUpright(x, y, 328, 74, 20, 394) || InsideUpright(x, y, 0, 468, 350, 124);
      if (frame)
        ASSERT_EQ(At(c, x, y), PixelAt(skin, x, y)) << x << "," << y;
      else
        ASSERT_EQ(At(c, x, y), Sentinel) << x << "," << y;
    }
  WinReleaseCanvas(window, c);
}

TEST_F(Painting, PaintZoneChannelsAndTurnedSource) {
  // Every pixel of the picture tells its own coordinates.
  Panel().SkinBitmap = std::make_unique<Bitmap>(
      MakePicture(699, 593, 32, [](int x, int y) { return std::uint32_t(x << 12 | y); }));
  Canvas* c = WinGetCanvas(window);
  struct Row {
    const char* name;
    int channel;
    std::uint32_t code;
    bool draws;
  };
  const Row rows[] = {
      {"20220 on the home channel", ChannelHome, 20220, false},
      {"20210 on the home channel", ChannelHome, 20210, true},
      {"20220 on the game channel", ChannelGame, 20220, true},
      {"20210 on the clock", ChannelClock, 20210, false},
      {"code 20070", ChannelGame, 20070, false},
      {"20130 anywhere", ChannelStart, 20130, true},
  };
  for (const Row& row : rows) {
    Fill(c, Sentinel);
    Panel().Channel = row.channel;
    PaintZone(c, 1, row.code);
    int drawn = 0;
    for (int i = 0; i < c->width * c->height; ++i)
      drawn += c->pixels[i] != Sentinel;
    EXPECT_EQ(drawn > 0, row.draws) << row.name;
  }
  Fill(c, Sentinel);
  PaintZone(c, 1, 20080);
  EXPECT_EQ(At(c, 24, 470), std::uint32_t((24 + 351) << 12 | 470));
  EXPECT_EQ(At(c, 83, 521), std::uint32_t((83 + 351) << 12 | 521));
  EXPECT_EQ(At(c, 84, 470), Sentinel) << "60 wide";
  WinReleaseCanvas(window, c);

  // Turned: 20080 lit copies from (70, 375) to (70, 24), 52 x 60.
  Panel().SkinBitmap = TurnBitmap(window, std::move(Panel().SkinBitmap));
  Panel().PanelRotation = 90;
  WinSetWindowPos(window, HWND_TOP, 0, 0, 593, 350, SWP_NOZORDER);
  c = WinGetCanvas(window);
  Fill(c, Sentinel);
  PaintZone(c, 1, 20080);
  const Bitmap& turned = *Panel().SkinBitmap;
  EXPECT_EQ(At(c, 70, 24), PixelAt(turned, 70, 375));
  EXPECT_EQ(At(c, 121, 83), PixelAt(turned, 121, 434));
  EXPECT_EQ(At(c, 69, 24), Sentinel);
  EXPECT_EQ(At(c, 122, 24), Sentinel);
  EXPECT_EQ(At(c, 70, 84), Sentinel);
  WinReleaseCanvas(window, c);
}

TEST_F(Painting, BrokenOrMissingPicturesDrawNothing) {
  Canvas* c = WinGetCanvas(window);
  Fill(c, Sentinel);
  PaintFrame(c); // no skin at all
  PaintZone(c, 1, 20080);
  auto small = std::make_unique<Bitmap>(MakePicture(40, 30, 24, [](int, int) { return 1u; }));
  Panel().SkinBitmap = std::move(small);
  PaintFrame(c); // a picture far too small is clipped, not overrun
  PaintZone(c, 1, 20120);
  EXPECT_EQ(At(c, 0, 0), 1u);
  EXPECT_EQ(At(c, 45, 10), Sentinel);
  EXPECT_EQ(At(c, 200, 500), Sentinel);
  Panel().SkinBitmap->Bits.resize(10); // bits shorter than the size says
  Fill(c, Sentinel);
  PaintFrame(c);
  EXPECT_EQ(At(c, 0, 0), Sentinel);
  PaintFrame(nullptr);
  WinReleaseCanvas(window, c);
}
