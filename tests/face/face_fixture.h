// Face tests: each starts in a temporary program folder on a fresh headless
// backend with an upright Panel window and a clean PanelState.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "panel/panel_state.h"
#include "platform/bitmap.h"
#include "platform/headless/headless.h"
#include "platform/tooltips.h"
#include "platform/win.h"
#include "shell/module_path.h"
#include "tests/settings/temp_folder.h"

inline std::string CommittedSkin(const std::string& name) {
  return std::string(SKERRY_SOURCE_DIR) + "/resources/program/" + name;
}

class FaceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetModulePathForTests(Beside("skerry"));
    HeadlessInstall();
    HeadlessSetDisplayBits(24);
    TooltipResetAll();
    ResetPanelState(Panel());
    window = WinCreateWindow("#32770", "Tessel Skerry",
                             [](Hwnd, unsigned, WParam, LParam) -> LResult { return 0; });
    WinSetWindowPos(window, HWND_TOP, 100, 100, 350, 593, SWP_NOZORDER);
    Panel().PanelWindow = window;
    LanguageOffset = 0;
  }
  std::string Beside(const std::string& name) const { return folder / name; }
  void CopySkin(const std::string& committed, const std::string& name) const {
    WriteWhole(Beside(name), ReadWhole(CommittedSkin(committed)));
  }

  TempFolder folder{"skerry-face"};
  Hwnd window = 0;
};

// A picture whose pixel (x, y), top-down, is colour(x, y) as 0xRRGGBB.
inline Bitmap MakePicture(int width, int height, int bits,
                          const std::function<std::uint32_t(int, int)>& colour) {
  Bitmap b{width, height, 24, {}};
  b.Bits.assign(std::size_t(b.RowLength()) * height, 0);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int k = 0; k < 3; ++k) // B, G, R
        b.Bits[std::size_t(height - 1 - y) * b.RowLength() + 3 * x + k] =
            std::uint8_t(colour(x, y) >> 8 * k);
  if (bits != 24)
    ConvertBitmapDepth(&b, bits);
  return b;
}

// A face lit as 0x100000 right of the rest face's 0x000010.
inline Bitmap TwoFaces() {
  return MakePicture(699, 593, 24, [](int x, int) { return x < 351 ? 0x000010u : 0x100000u; });
}

// Pixel (x, y), top-down: 0xRRGGBB, or the raw value of a 16-bit pixel.
inline std::uint32_t PixelAt(const Bitmap& bitmap, int x, int y) {
  const std::uint8_t* p = bitmap.Bits.data() +
                          std::size_t(bitmap.Height - 1 - y) * bitmap.RowLength() +
                          std::size_t(x) * bitmap.BytesPerPixel();
  std::uint32_t value = 0;
  for (int i = std::min(bitmap.BytesPerPixel(), 3) - 1; i >= 0; --i) // a fourth byte is unused
    value = value << 8 | p[i];
  return value;
}

// A window's place as "left,top widthxheight".
inline std::string Box(Hwnd window) {
  Rect r{};
  WinGetWindowRect(window, &r);
  return std::to_string(r.left) + "," + std::to_string(r.top) + " " +
         std::to_string(r.right - r.left) + "x" + std::to_string(r.bottom - r.top);
}

inline std::uint32_t At(const Canvas* c, int x, int y) {
  return c->pixels[y * c->width + x];
}
