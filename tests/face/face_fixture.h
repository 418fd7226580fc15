// Face tests: a temporary program folder, the headless backend, an upright
// Panel window and a clean PanelState.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "panel/panel_state.h"
#include "platform/bitmap.h"
#include "platform/win.h"

class FaceTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  std::string Beside(const std::string& name) const { return (folder / name).string(); }
  void CopySkin(const std::string& committed, const std::string& name) const;

  std::filesystem::path folder;
  Hwnd window = 0;
};

// A picture whose pixel (x, y), top-down, is colour(x, y) as 0xRRGGBB.
Bitmap MakePicture(int width, int height, int bits,
                   const std::function<std::uint32_t(int, int)>& colour);
// A face lit as 0x100000 right of the rest face's 0x000010.
inline Bitmap TwoFaces() {
  return MakePicture(699, 593, 24, [](int x, int) { return x < 351 ? 0x000010u : 0x100000u; });
}
// Pixel (x, y), top-down, as 0xRRGGBB (16-bit pixels widened).
std::uint32_t PixelAt(const Bitmap& bitmap, int x, int y);
std::string CommittedSkin(const std::string& name);
std::string ReadAll(const std::string& path);
// A window's place as "left,top widthxheight".
std::string Box(Hwnd window);
inline std::uint32_t At(const Canvas* c, int x, int y) {
  return c->pixels[y * c->width + x];
}
