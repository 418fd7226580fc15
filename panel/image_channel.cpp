#include "panel/image_channel.h"

#include <cstdlib>
#include <filesystem>

#include "panel/panel_state.h"
#include "platform/drives.h"
#include "video/phone_drive.h"

namespace fs = std::filesystem;

namespace {

bool IsFolder(const std::string& path) {
  std::error_code error;
  return !path.empty() && fs::is_directory(path, error);
}

// The card's camera folder, its name in any case.
std::string CameraFolder(const std::string& root) {
  std::error_code error;
  for (fs::directory_iterator it(root, error), end; !error && it != end; it.increment(error)) {
    std::string name = it->path().filename().string();
    if (name.size() == 4 && (name[0] | 0x20) == 'd' && (name[1] | 0x20) == 'c' &&
        (name[2] | 0x20) == 'i' && (name[3] | 0x20) == 'm' && IsFolder(it->path().string()))
      return it->path().string();
  }
  return root;
}

} // namespace

std::string PicturesFolder() {
  char video[260] = "";
  int letter = FindPhoneDrive('D', video);
  if (letter != 0)
    for (const DriveEntry& drive : DriveTable())
      if (drive.letter == letter && IsFolder(drive.root))
        return CameraFolder(drive.root);
  const char* pictures = std::getenv("XDG_PICTURES_DIR");
  if (pictures != nullptr && IsFolder(pictures))
    return pictures;
  const char* home = std::getenv("HOME");
  std::string base = home != nullptr ? home : "";
  if (IsFolder(base + "/Pictures"))
    return base + "/Pictures";
  return IsFolder(base) ? base : "/";
}

void OpenImagePlayer(Hwnd, void (*launch)(PaneRow row, const char* address)) {
  PanelState& p = Panel();
  p.PreviousChannel = p.Channel.load();
  p.Channel = ChannelImage;
  Hwnd pane = p.PaneSlots[ChannelImage].load();
  if (pane != 0 && WinIsWindow(pane)) {
    WinBringWindowToTop(pane);
    return;
  }
  if (launch != nullptr)
    launch(PaneRowImage, PicturesFolder().c_str());
}
