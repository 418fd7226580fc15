// A media rebuild runs the steps of the game rebuild with its own gate (only
// a removable medium is probed), its own plug-in and index, and cells that
// link to the player page beside each file. The menu file is made before the
// cells, so a menu that can't be written leaves every player page as it was.
//
// activeMedia is set and read only by the thread holding the rebuild lock.
#include "library/media_index.h"

#include "library/menus.h"
#include "library/player_pages.h"
#include "platform/drives.h"
#include "platform/page_text.h"
#include "platform/plugin.h"
#include "shell/module_path.h"
#include "shell/settings.h"

#include <unistd.h>

#include <cstring>

std::string MediaMenuName;
std::string MediaFolderPrefix;

namespace {

IndexRun* activeMedia = nullptr;

struct ActiveMedia {
  explicit ActiveMedia(IndexRun& run) { activeMedia = &run; }
  ~ActiveMedia() { activeMedia = nullptr; }
};

bool Fits(const IndexRun& run, const std::string& fullPath, std::string& rel) {
  if (fullPath.size() + 4 > MenuPathMax || !RelativeBelow(run.programDir, fullPath, rel))
    return false;
  if (MediaFolderPrefix.empty() || fullPath.size() <= MediaFolderPrefix.size() ||
      fullPath.compare(0, MediaFolderPrefix.size(), MediaFolderPrefix) != 0)
    return false;
  return rel.size() + 7 <= MenuLinkMax && fullPath.size() - MediaFolderPrefix.size() <= MenuLinkMax;
}

bool TextFits(const char* text) {
  return text && std::strlen(text) <= MenuPathMax;
}

} // namespace

void MediaNumberingVisit(const std::string& fullPath, const FileEntry&) {
  AssignMediaNumber(fullPath.c_str());
}

bool MediaFitsMenu(const std::string& fullPath) {
  std::string rel;
  return activeMedia && Fits(*activeMedia, fullPath, rel);
}

std::uint32_t AssignMediaNumber(const char* fullPath) {
  std::string rel;
  if (!activeMedia || !fullPath || !Fits(*activeMedia, fullPath, rel))
    return 0;
  return AssignNumber(*activeMedia, rel);
}

int WriteMediaCell(MenuFile& menuFile, const char* fullPath, const char* name) {
  std::string rel;
  if (!activeMedia || !fullPath || !name || !Fits(*activeMedia, fullPath, rel))
    return 0;
  std::string full = fullPath;
  std::string alt = full.substr(MediaFolderPrefix.size());
  BeginItemCell(menuFile, MediaMenuName.c_str());
  WriteItemCell(menuFile, "../" + PageAddress(rel) + ".htw", ItemIcon(MenuItemCount % 10 + 1),
                PageText(alt));
  WritePlayerPage((full + ".htw").c_str(), alt.c_str(), name);
  ++MenuItemCount;
  return 1;
}

int WriteNumberedMedia(MenuFile& menuFile) {
  if (!activeMedia)
    return 0;
  int written = 0;
  std::uint32_t files = IndexedFiles(*activeMedia);
  for (std::uint32_t n = 1; n <= files; ++n) {
    std::string rel = NumberedPath(*activeMedia, n);
    if (rel.empty())
      continue;
    std::string name = rel.substr(rel.rfind('/') + 1);
    written +=
        WriteMediaCell(menuFile, (activeMedia->programDir + "/" + rel).c_str(), name.c_str());
  }
  return written;
}

// Refusals as in RebuildGameMenu; a folder whose prefix exceeds
// MenuFolderPatternMax is refused too.
int RebuildMediaMenu(const char* menuPath, const char* folder, const char* patterns) {
  if (!TextFits(menuPath) || !TextFits(folder) || !TextFits(patterns) || !*menuPath)
    return 0;
  std::lock_guard<std::mutex> lock(MenuRebuildMutex());

  if (DriveTypeOfPath(menuPath) == DriveRemovable && MediumWriteState(menuPath) != 0)
    return 0;

  char dir[ProfileValueSize];
  char iniPath[ProfileValueSize];
  ModuleDirectory(0, dir);
  ModuleFilePath(0, iniPath, "iMedia.htm");
  int pluginResult = 0;
  if (CallPlugin(dir, "Dorvane.so", "Dorvane", menuPath, folder, patterns, pluginResult))
    return pluginResult;

  std::string menu = menuPath;
  std::string root = folder;
  while (root.size() > 1 && root.back() == '/')
    root.pop_back();
  if (root.size() + 1 > MenuFolderPatternMax)
    return 0;
  MediaMenuName = menu.substr(menu.rfind('/') == std::string::npos ? 0 : menu.rfind('/') + 1);
  MediaFolderPrefix = root + "/";

  IndexRun run;
  run.programDir = dir;
  run.nameSection = "Name";
  run.numberSection = "No";
  std::string ini = iniPath;
  std::string inside;
  if (ini != run.programDir + "/iMedia.htm" || !RelativeBelow(run.programDir, root, inside))
    return 0;
  ActiveMedia active(run);

  RemoveStaleTemporaries(ini);
  IndexLoad(run.index, ini);
  IndexRemoveSection(run.index, "No");
  WalkMediaFolder(MediaNumberingVisit, root.c_str(), patterns);
  bool dropped = IndexHasGap(run);
  if (dropped)
    unlink(ini.c_str());
  else
    IndexSave(run.index);
  if (RebuildPauseForTests)
    RebuildPauseForTests();

  MenuItemCount = 0;
  RemoveStaleTemporaries(menu);
  MenuFile page;
  if (!MenuCreate(page, menuPath))
    return 0;
  WriteMenuHead(page);
  if (dropped)
    WalkMediaFolder(
        [&page](const std::string& full, const FileEntry& e) {
          WriteMediaCell(page, full.c_str(), e.name.c_str());
        },
        root.c_str(), patterns);
  else
    WriteNumberedMedia(page);
  CloseMenuRows(page, MediaMenuName.c_str());
  WriteMenuTail(page);
  return MenuFinish(page);
}
