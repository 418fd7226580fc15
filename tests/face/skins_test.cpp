// The committed skins, loading, turning, the skin change, the display depth.
#include <fstream>
#include <vector>

#include "face_fixture.h"
#include "panel/skins.h"
#include "platform/headless/headless.h"

namespace {

std::vector<std::string> ListingOrder(const std::filesystem::path& folder, const char* prefix) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::string name = entry.path().filename().string();
    if (name.rfind(prefix, 0) == 0)
      names.push_back(name);
  }
  return names;
}

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Whether upright (x, y) lies where the lit face may differ from the rest face.
bool InButton(int x, int y) {
  if (y >= 58 && y < 74 && x >= 18 && x < 331)
    return true;
  if (y >= 470 && y < 522 && x >= 24 && x < 324)
    return true;
  return x >= 160 && x < 186 && y >= 546 && y < 570;
}

} // namespace

using Skins = FaceTest;

TEST_F(Skins, CommittedSkinsHaveTheLayout) {
  std::vector<std::string> names = {"@VEXANH.BMP", "@VEXANL.BMP"};
  for (const auto& name :
       ListingOrder(std::string(SKERRY_SOURCE_DIR) + "/resources/program", "@Vexanh."))
    names.push_back(name);
  ASSERT_GE(names.size(), 4u);
  for (const auto& name : names) {
    Bitmap skin;
    ASSERT_TRUE(LoadBitmapFile(CommittedSkin(name), &skin)) << name;
    EXPECT_EQ(skin.Width, 699) << name;
    EXPECT_EQ(skin.Height, 593) << name;
    EXPECT_EQ(skin.BitsPerPixel, 24) << name;
    int buttonsDiffer = 0;
    for (int y = 0; y < 593; ++y)
      for (int x = 0; x < 348; ++x) {
        bool same = PixelAt(skin, x, y) == PixelAt(skin, x + 351, y);
        if (!InButton(x, y))
          ASSERT_TRUE(same) << name << " differs outside the buttons at " << x << "," << y;
        else
          buttonsDiffer += !same;
      }
    EXPECT_GT(buttonsDiffer, 5000) << name << ": the lit face must look lit";
    // The screen is dark.
    std::uint32_t p = PixelAt(skin, 175, 270);
    EXPECT_LT(((p >> 16) & 255) + ((p >> 8) & 255) + (p & 255), 3u * 64) << name;
  }
}

TEST_F(Skins, TurnBitmapTurnsClockwiseAndKeepsIconsUpright) {
  for (int bits : {16, 24, 32}) {
    auto colour = [](int x, int y) { return std::uint32_t((x * 7919 + y * 104729) & 0xF8F8F8); };
    Bitmap upright = MakePicture(699, 593, bits, colour);
    if (bits == 32) // a stray fourth byte must not survive the turn
      for (std::size_t i = 3; i < upright.Bits.size(); i += 4)
        upright.Bits[i] = 0x5A;
    auto turned = TurnBitmap(window, std::make_unique<Bitmap>(upright));
    ASSERT_TRUE(turned);
    ASSERT_EQ(turned->Width, 593);
    ASSERT_EQ(turned->Height, 699);
    ASSERT_EQ(turned->BitsPerPixel, bits);
    // Icon squares keep their pixels upright: rest (54, 494) and lit (430, 484).
    EXPECT_EQ(PixelAt(*turned, 94, 54), PixelAt(upright, 54, 494)) << bits;
    EXPECT_EQ(PixelAt(*turned, 119, 395), PixelAt(upright, 430, 484)) << bits;
    // Every pixel outside the icon squares turns clockwise.
    auto inIcon = [](int tx, int ty) {
      for (int k = 0; k < 5; ++k)
        for (int left : {34 + 59 * k, 385 + 59 * k})
          if (tx >= 74 && tx < 120 && ty >= left && ty < left + 46)
            return true;
      return false;
    };
    for (int ty = 0; ty < 699; ++ty)
      for (int tx = 0; tx < 593; ++tx) {
        if (inIcon(tx, ty))
          continue;
        ASSERT_EQ(PixelAt(*turned, tx, ty), PixelAt(upright, ty, 592 - tx))
            << bits << " bits at " << tx << "," << ty;
      }
    if (bits == 32) {
      for (std::size_t i = 3; i < turned->Bits.size(); i += 4)
        ASSERT_EQ(turned->Bits[i], 0) << i;
    }
  }
  EXPECT_FALSE(TurnBitmap(window, nullptr));
  // A picture of another size turns without touching memory outside it.
  auto odd = TurnBitmap(window, std::make_unique<Bitmap>(MakePicture(3, 500, 24, [](int x, int y) {
                          return std::uint32_t(x + y);
                        })));
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->Width, 500);
  EXPECT_EQ(PixelAt(*odd, 499, 2), 2u);
}

TEST_F(Skins, LoadSkinTakesTheDisplayDepthAndRefusesBrokenFiles) {
  CopySkin("@VEXANH.BMP", "@VEXANH.BMP");
  HeadlessSetDisplayBits(16);
  auto skin = LoadSkin(nullptr, Beside("@VEXANH.BMP").c_str());
  ASSERT_TRUE(skin);
  EXPECT_EQ(skin->BitsPerPixel, 16);
  std::string whole = ReadAll(Beside("@VEXANH.BMP"));
  std::ofstream(Beside("cut.bmp"), std::ios::binary) << whole.substr(0, whole.size() / 2);
  std::ofstream(Beside("junk.bmp"), std::ios::binary) << "BM not a picture";
  EXPECT_FALSE(LoadSkin(std::move(skin), Beside("cut.bmp").c_str()));
  EXPECT_FALSE(LoadSkin(nullptr, Beside("junk.bmp").c_str()));
  EXPECT_FALSE(LoadSkin(nullptr, Beside("missing.bmp").c_str()));
}

TEST_F(Skins, NextSkinStepsBackwardsThroughTheListing) {
  CopySkin("@Vexanh.Pearl.bmp", "@Vexanh.P.bmp");
  CopySkin("@Vexanh.Coral.bmp", "@Vexanh.Q.bmp");
  CopySkin("@Vexanh.Ocean.bmp", "@Vexanh.R.bmp");
  CopySkin("@VEXANH.BMP", "@VEXANH.BMP");
  std::vector<std::string> order = ListingOrder(folder, "@Vexanh.");
  ASSERT_EQ(order.size(), 3u);
  std::vector<std::string> expected = {order[2], order[1], order[0], order[2], order[1], order[0]};
  for (const auto& want : expected) {
    auto before = Panel().SkinBitmap.get();
    Panel().SkinBitmap = NextSkin(std::move(Panel().SkinBitmap), "@VEXANH.BMP", "@Vexanh.*.bmp");
    ASSERT_TRUE(Panel().SkinBitmap);
    EXPECT_NE(Panel().SkinBitmap.get(), before);
    EXPECT_EQ(Panel().LastSkinName, want);
    EXPECT_EQ(ReadAll(Beside("@VEXANH.BMP")), ReadAll(Beside(want)));
  }
  // The last choice deleted meanwhile: the next press takes the last file.
  std::filesystem::remove(Beside(Panel().LastSkinName));
  order = ListingOrder(folder, "@Vexanh.");
  Panel().SkinBitmap = NextSkin(std::move(Panel().SkinBitmap), "@VEXANH.BMP", "@Vexanh.*.bmp");
  EXPECT_EQ(Panel().LastSkinName, order.back());
}

TEST_F(Skins, NextSkinWithOneOrNoSkinAndRefusedFiles) {
  Panel().SkinBitmap =
      std::make_unique<Bitmap>(MakePicture(699, 593, 24, [](int, int) { return 7u; }));
  Bitmap* original = Panel().SkinBitmap.get();
  ChangeSkin(window); // no file matches: nothing but a repaint
  EXPECT_EQ(Panel().SkinBitmap.get(), original);
  EXPECT_FALSE(HeadlessCallsOf("invalidate", window).empty());

  // A skin of the wrong size is refused: no copy, no change.
  Bitmap small = MakePicture(350, 593, 24, [](int, int) { return 1u; });
  ASSERT_TRUE(SaveBitmapFile(Beside("@Vexanh.small.bmp"), small));
  std::ofstream(Beside("@VEXANH.BMP"), std::ios::binary) << "the user's file";
  ChangeSkin(window);
  EXPECT_EQ(Panel().SkinBitmap.get(), original);
  EXPECT_EQ(ReadAll(Beside("@VEXANH.BMP")), "the user's file");
  // One skin: chosen every time, and copied over the target each time.
  std::filesystem::remove(Beside("@Vexanh.small.bmp"));
  std::string whole = ReadAll(CommittedSkin("@Vexanh.Pearl.bmp"));
  CopySkin("@Vexanh.Pearl.bmp", "@Vexanh.only.bmp");
  for (int press = 0; press < 2; ++press) {
    std::ofstream(Beside("@VEXANH.BMP"), std::ios::binary) << "stale";
    ChangeSkin(window);
    EXPECT_EQ(Panel().LastSkinName, "@Vexanh.only.bmp");
    EXPECT_EQ(ReadAll(Beside("@VEXANH.BMP")), whole);
  }
  // While turned, the new skin comes turned at once.
  Panel().PanelRotation = 90;
  ChangeSkin(window);
  ASSERT_TRUE(Panel().SkinBitmap);
  EXPECT_EQ(Panel().SkinBitmap->Width, 593);
}
