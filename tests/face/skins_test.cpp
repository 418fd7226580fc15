// Turning, loading and changing skins; the frame and the buttons rendered
// into the headless canvas and compared with the skin pixel by pixel.
#include <algorithm>
#include <vector>

#include "face_fixture.h"
#include "panel/painting.h"
#include "panel/skins.h"

using Skins = FaceTest;

TEST_F(Skins, TurnBitmapTurnsClockwiseAndKeepsIconsUpright) {
  auto inIcon = [](int tx, int ty) { // five icons of 46 in steps of 59 on each face
    int t = ty - (ty < 385 ? 34 : 385);
    return tx >= 74 && tx < 120 && t >= 0 && t < 5 * 59 && t % 59 < 46;
  };
  for (int bits : {16, 24, 32}) {
    Bitmap upright = MakePicture(699, 593, bits, [](int x, int y) {
      return std::uint32_t((x * 7919 + y * 104729) & 0xF8F8F8);
    });
    for (std::size_t i = 3; bits == 32 && i < upright.Bits.size(); i += 4)
      upright.Bits[i] = 0x5A; // a stray fourth byte must not survive the turn
    auto turned = TurnBitmap(window, std::make_unique<Bitmap>(upright));
    ASSERT_TRUE(turned);
    ASSERT_EQ(std::vector<int>({turned->Width, turned->Height, turned->BitsPerPixel}),
              std::vector<int>({593, 699, bits}));
    // Icon squares keep their pixels upright: rest (54, 494) and lit (430, 484).
    EXPECT_EQ(PixelAt(*turned, 94, 54), PixelAt(upright, 54, 494)) << bits;
    EXPECT_EQ(PixelAt(*turned, 119, 395), PixelAt(upright, 430, 484)) << bits;
    for (int ty = 0; ty < 699; ++ty)
      for (int tx = 0; tx < 593; ++tx)
        if (!inIcon(tx, ty)) {
          ASSERT_EQ(PixelAt(*turned, tx, ty), PixelAt(upright, ty, 592 - tx)) << bits << " bits";
        }
    for (std::size_t i = 3; bits == 32 && i < turned->Bits.size(); i += 4)
      ASSERT_EQ(turned->Bits[i], 0) << i;
  }
  EXPECT_FALSE(TurnBitmap(window, nullptr));
  auto odd = TurnBitmap(window, std::make_unique<Bitmap>(MakePicture(3, 500, 24, [](int x, int y) {
                          return std::uint32_t(x + y);
                        })));
  ASSERT_TRUE(odd);
  EXPECT_EQ(PixelAt(*odd, 499, 2), 2u);
}

TEST_F(Skins, ChangeSkinStepsBackwardsInTheDisplayDepthAndRefusesWrongFiles) {
  Panel().SkinBitmap = std::make_unique<Bitmap>(TwoFaces());
  Bitmap* original = Panel().SkinBitmap.get();
  ASSERT_TRUE(
      SaveBitmapFile(Beside("small.bmp"), MakePicture(350, 593, 24, [](int, int) { return 1u; })));
  const std::string whole = ReadWhole(CommittedSkin("@VEXANH.BMP"));
  WriteWhole(Beside("@VEXANH.BMP"), "the user's file");
  for (const std::string& wrong : {ReadWhole(Beside("small.bmp")),
                                   whole.substr(0, whole.size() / 2), std::string("BM junk")}) {
    WriteWhole(Beside("@Vexanh.wrong.bmp"), wrong);
    ChangeSkin(window); // the wrong size, cut or no picture: no copy, no change
    EXPECT_EQ(Panel().SkinBitmap.get(), original);
    EXPECT_EQ(ReadWhole(Beside("@VEXANH.BMP")), "the user's file");
  }
  std::filesystem::remove(Beside("@Vexanh.wrong.bmp"));
  HeadlessSetDisplayBits(16); // a new skin takes the display's depth

  CopySkin("@Vexanh.Pearl.bmp", "@Vexanh.P.bmp");
  CopySkin("@Vexanh.Coral.bmp", "@Vexanh.Q.bmp");
  CopySkin("@Vexanh.Ocean.bmp", "@Vexanh.R.bmp");
  auto listing = [&] { // the order the folder lists its files in
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path))
      if (entry.path().filename().string().rfind("@Vexanh.", 0) == 0)
        names.push_back(entry.path().filename().string());
    return names;
  };
  std::vector<std::string> order = listing();
  ASSERT_EQ(order.size(), 3u);
  for (int press = 0; press < 4; ++press) {
    ChangeSkin(window);
    ASSERT_TRUE(Panel().SkinBitmap);
    EXPECT_EQ(Panel().SkinBitmap->BitsPerPixel, 16);
    EXPECT_EQ(Panel().LastSkinName, order[2 - press % 3]);
    EXPECT_EQ(ReadWhole(Beside("@VEXANH.BMP")), ReadWhole(Beside(order[2 - press % 3])));
  }
}

TEST_F(Skins, UprightFrameIsTheRestFaceAndLeavesThePaneAlone) {
  Bitmap skin;
  ASSERT_TRUE(LoadBitmapFile(CommittedSkin("@VEXANH.BMP"), &skin));
  Panel().SkinBitmap = std::make_unique<Bitmap>(skin);
  Canvas* c = WinGetCanvas(window);
  ASSERT_EQ(c->width, 350);
  const std::uint32_t sentinel = 0x00ABCDEF;
  std::fill(c->pixels, c->pixels + c->width * c->height, sentinel);
  PaintFrame(c);
  for (int y = 0; y < 593; ++y)
    for (int x = 0; x < 350; ++x) {
      bool side = x < 20 || (x >= 328 && x < 348);
      bool frame = y < 74 || (y >= 468 && y < 592) || (y < 468 && side);
      ASSERT_EQ(At(c, x, y), frame ? PixelAt(skin, x, y) : sentinel) << x << "," << y;
    }
  WinReleaseCanvas(window, c);
}
