#include "face_fixture.h"

#include <atomic>
#include <fstream>
#include <unistd.h>

#include "platform/headless/headless.h"
#include "platform/tooltips.h"
#include "shell/module_path.h"

namespace {
LResult QuietProc(Hwnd, unsigned, WParam, LParam) {
  return 0;
}
std::atomic<int> folderCounter{0};
} // namespace

void FaceTest::SetUp() {
  folder = std::filesystem::temp_directory_path() /
           ("skerry-face-" + std::to_string(::getpid()) + "-" + std::to_string(folderCounter++));
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  SetModulePathForTests((folder / "skerry").string());
  HeadlessInstall();
  HeadlessSetScreen(1280, 800);
  HeadlessSetDisplayBits(24);
  TooltipResetAll();
  ResetPanelState(Panel());
  window = WinCreateWindow("#32770", "Tessel Skerry", QuietProc);
  WinSetWindowPos(window, HWND_TOP, 100, 100, 350, 593, SWP_NOZORDER);
  Panel().PanelWindow = window;
  LanguageOffset = 0;
}

void FaceTest::TearDown() {
  ResetPanelState(Panel());
  LanguageOffset = 0;
  SetModulePathForTests("");
  std::error_code error;
  std::filesystem::remove_all(folder, error);
}

void FaceTest::CopySkin(const std::string& committed, const std::string& name) const {
  std::filesystem::copy_file(CommittedSkin(committed), folder / name,
                             std::filesystem::copy_options::overwrite_existing);
}

std::string Box(Hwnd window) {
  Rect r{};
  if (!WinGetWindowRect(window, &r))
    return "no window";
  return std::to_string(r.left) + "," + std::to_string(r.top) + " " +
         std::to_string(r.right - r.left) + "x" + std::to_string(r.bottom - r.top);
}

std::string CommittedSkin(const std::string& name) {
  return std::string(SKERRY_SOURCE_DIR) + "/resources/program/" + name;
}

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

Bitmap MakePicture(int width, int height, int bits,
                   const std::function<std::uint32_t(int, int)>& colour) {
  Bitmap b;
  b.Width = width;
  b.Height = height;
  b.BitsPerPixel = 24;
  b.Bits.assign(std::size_t(b.RowLength()) * height, 0);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      std::uint32_t c = colour(x, y);
      std::uint8_t* p = b.Bits.data() + std::size_t(height - 1 - y) * b.RowLength() + 3 * x;
      p[0] = std::uint8_t(c);
      p[1] = std::uint8_t(c >> 8);
      p[2] = std::uint8_t(c >> 16);
    }
  if (bits != 24)
    ConvertBitmapDepth(&b, bits);
  return b;
}

std::uint32_t PixelAt(const Bitmap& bitmap, int x, int y) {
  const std::uint8_t* p = bitmap.Bits.data() +
                          std::size_t(bitmap.Height - 1 - y) * bitmap.RowLength() +
                          std::size_t(x) * bitmap.BytesPerPixel();
  if (bitmap.BitsPerPixel == 16) {
    unsigned v = p[0] | (p[1] << 8);
    unsigned r = (v >> 10) & 31, g = (v >> 5) & 31, b = v & 31;
    return (((r << 3) | (r >> 2)) << 16) | (((g << 3) | (g >> 2)) << 8) | ((b << 3) | (b >> 2));
  }
  return (std::uint32_t(p[2]) << 16) | (std::uint32_t(p[1]) << 8) | p[0];
}
