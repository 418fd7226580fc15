// A skin file is outside data: whatever its bytes, reading it, changing its
// depth, turning it and painting the frame from it must stay inside memory.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

#include "panel/painting.h"
#include "panel/panel_state.h"
#include "panel/skins.h"
#include "platform/bitmap.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = "/tmp/skerry-fuzz-skin-" + std::to_string(::getpid()) + ".bmp";
  if (FILE* f = std::fopen(path.c_str(), "wb")) {
    std::fwrite(data, 1, size, f);
    std::fclose(f);
  }
  Bitmap picture;
  if (!LoadBitmapFile(path, &picture))
    return 0;
  Bitmap other = picture;
  ConvertBitmapDepth(&other, size % 2 ? 16 : 32);
  static std::vector<std::uint32_t> pixels(593 * 593);
  Canvas canvas{593, 593, pixels.data()};
  PanelState& panel = Panel();
  panel.PanelRotation = 0;
  panel.SkinBitmap = std::make_unique<Bitmap>(picture);
  PaintFrame(&canvas);
  PaintZone(&canvas, 1, 20080);
  panel.SkinBitmap = TurnBitmap(0, std::move(panel.SkinBitmap));
  panel.PanelRotation = 90;
  PaintFrame(&canvas);
  PaintZone(&canvas, 1, 20130);
  panel.SkinBitmap.reset();
  panel.PanelRotation = 0;
  return 0;
}
