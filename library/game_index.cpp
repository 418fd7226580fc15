// A game rebuild, under the rebuild lock: the gate asks the drive table
// whether the menu's medium can be written, a plug-in may take over, then
// iGame.ini is loaded into memory, its GameNo section cleared and refilled by
// the numbering walk, and the gap test decides between writing the index back
// (games listed by number) and deleting it (games listed in walk order). The
// menu is written last, as one file put in place whole.
//
// The running rebuild's state is reached through activeGame, which only the
// thread holding the lock sets and reads.
#include "library/game_index.h"

#include "library/menus.h"
#include "platform/drives.h"
#include "platform/page_text.h"
#include "platform/plugin.h"
#include "shell/module_path.h"
#include "shell/settings.h"

#include <unistd.h>

#include <cstring>
#include <vector>

namespace {

struct GameRun {
  IndexRun run;
  std::string host; // link host, read once per rebuild
};

GameRun* activeGame = nullptr;

std::vector<std::string> SplitPatterns(const char* patterns) {
  std::vector<std::string> out;
  std::string list = patterns;
  std::size_t start = 0;
  for (;;) {
    std::size_t comma = list.find(',', start);
    out.push_back(
        list.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
    if (comma == std::string::npos)
      return out;
    start = comma + 1;
  }
}

// One listing per folder serves all patterns and the subfolders; a status is
// read only for a name that a pattern matches, and for an entry whose kind
// the listing doesn't tell.
void WalkFolder(const GameVisit& visit, const std::string& folder,
                const std::vector<std::string>& patterns) {
  std::vector<FolderName> names;
  if (!ListFolderNames(folder, names))
    return;
  FileEntry e;
  for (const std::string& pattern : patterns) {
    if (pattern.empty() || folder.size() + 1 + pattern.size() > MenuFolderPatternMax)
      continue;
    for (const FolderName& n : names) {
      if (n.kind == EntryKind::Folder || !WildcardMatch(pattern.c_str(), n.name.c_str()))
        continue;
      std::string full = folder + "/" + n.name;
      if (full.size() <= MenuPathMax && ReadFileEntry(folder, n.name, e) && !e.isDirectory)
        visit(full, e);
    }
  }
  std::vector<std::string> subfolders;
  for (const FolderName& n : names) {
    std::string full = folder + "/" + n.name;
    if (n.name[0] == '.' || full.size() > MenuPathMax)
      continue;
    bool enter = n.kind == EntryKind::Folder;
    if (n.kind == EntryKind::Unknown)
      enter = ReadFileEntry(folder, n.name, e) && e.isDirectory && !e.isLink;
    if (enter)
      subfolders.push_back(full);
  }
  for (const std::string& sub : subfolders)
    WalkFolder(visit, sub, patterns);
}

std::string GameLink(const GameRun& g, const std::string& fullPath) {
  return g.host + "/ombrel/TodayAD.asp?data1=" + fullPath;
}

// The full path less the program folder and "Game/".
std::string GameAltText(const std::string& rel) {
  return rel.compare(0, 5, "Game/") == 0 ? rel.substr(5) : rel;
}

bool Fits(const GameRun& g, const std::string& fullPath, std::string& rel) {
  if (fullPath.size() > MenuPathMax || !RelativeBelow(g.run.programDir, fullPath, rel))
    return false;
  return GameLink(g, fullPath).size() <= MenuLinkMax && GameAltText(rel).size() <= MenuLinkMax;
}

// Clears activeGame however the rebuild ends.
struct ActiveGame {
  explicit ActiveGame(GameRun& g) { activeGame = &g; }
  ~ActiveGame() { activeGame = nullptr; }
};

bool TextFits(const char* text) {
  return text && std::strlen(text) <= MenuPathMax;
}

} // namespace

std::string GameLinkHost() {
  char define[ProfileValueSize];
  char host[ProfileValueSize] = "";
  if (ModuleFilePath(0, define, "Define.ini") > 0)
    ProfileRead("Library", "GameHost", host, define);
  std::string h = host;
  while (!h.empty() && h.back() == '/')
    h.pop_back();
  return h.empty() ? std::string(GameLinkHostDefault) : h;
}

void WalkGameFolder(const GameVisit& visit, const char* folder, const char* patterns) {
  if (!TextFits(folder) || !TextFits(patterns) || !*folder)
    return;
  std::string root = folder;
  while (root.size() > 1 && root.back() == '/')
    root.pop_back();
  WalkFolder(visit, root, SplitPatterns(patterns));
}

void NumberingVisit(const std::string& fullPath, const FileEntry&) {
  AssignGameNumber(fullPath.c_str());
}

bool GameFitsMenu(const std::string& fullPath) {
  std::string rel;
  return activeGame && Fits(*activeGame, fullPath, rel);
}

std::uint32_t AssignGameNumber(const char* fullPath) {
  std::string rel;
  if (!activeGame || !fullPath || !Fits(*activeGame, fullPath, rel))
    return 0;
  return AssignNumber(activeGame->run, rel);
}

int WriteGameCell(MenuFile& menuFile, const char* fullPath) {
  std::string rel;
  if (!activeGame || !fullPath || !Fits(*activeGame, fullPath, rel))
    return 0;
  BeginItemCell(menuFile, nullptr);
  WriteItemCell(menuFile,
                PageText(activeGame->host) + "/ombrel/TodayAD.asp?data1=" + PageAddress(fullPath),
                ItemIcon(MenuItemCount % 10 + 1), PageText(GameAltText(rel)));
  ++MenuItemCount;
  return 1;
}

int WriteNumberedGames(MenuFile& menuFile) {
  if (!activeGame)
    return 0;
  int written = 0;
  std::uint32_t files = IndexedFiles(activeGame->run);
  for (std::uint32_t n = 1; n <= files; ++n) {
    std::string rel = NumberedPath(activeGame->run, n);
    if (!rel.empty())
      written += WriteGameCell(menuFile, (activeGame->run.programDir + "/" + rel).c_str());
  }
  return written;
}

int ProbeVolume(char letter) {
  return ProbeDrive(letter);
}

int MediumWriteState(const char* path) {
  if (!path || !*path)
    return 0;
  int probe;
  if (path[0] == '/') {
    probe = ProbeDriveOfPath(path);
  } else {
    char letter = path[0];
    if (static_cast<unsigned char>(letter) > 96)
      letter = static_cast<char>(letter - 32);
    probe = ProbeVolume(letter);
  }
  if (probe == ProbeWriteProtect)
    return 1;
  if (probe == ProbeNotReady)
    return 3;
  return 0;
}

// Paths and the pattern list over MenuPathMax are refused: result 0, nothing
// touched. So is a folder that doesn't lie below the program folder, since
// the index keys games by their path inside it.
int RebuildGameMenu(const char* menuPath, const char* folder, const char* patterns) {
  if (!TextFits(menuPath) || !TextFits(folder) || !TextFits(patterns) || !*menuPath)
    return 0;
  std::lock_guard<std::mutex> lock(MenuRebuildMutex());

  if (DriveTypeOfPath(menuPath) != DriveRemote && MediumWriteState(menuPath) != 0)
    return 0;

  char dir[ProfileValueSize];
  char iniPath[ProfileValueSize];
  ModuleDirectory(0, dir);
  ModuleFilePath(0, iniPath, "iGame.ini");
  int pluginResult = 0;
  if (CallPlugin(dir, "Kestrix.so", "Kestrix", menuPath, folder, patterns, pluginResult))
    return pluginResult;

  GameRun g;
  g.run.programDir = dir;
  g.run.nameSection = "GameName";
  g.run.numberSection = "GameNo";
  g.host = GameLinkHost();
  std::string ini = iniPath;
  std::string root = folder;
  while (root.size() > 1 && root.back() == '/')
    root.pop_back();
  std::string inside;
  if (ini != g.run.programDir + "/iGame.ini" || !RelativeBelow(g.run.programDir, root, inside))
    return 0;
  ActiveGame active(g);

  RemoveStaleTemporaries(ini);
  IndexLoad(g.run.index, ini);
  IndexRemoveSection(g.run.index, "GameNo");
  WalkGameFolder(NumberingVisit, folder, patterns);
  bool dropped = IndexHasGap(g.run);
  if (dropped)
    unlink(ini.c_str());
  else
    IndexSave(g.run.index);
  if (RebuildPauseForTests)
    RebuildPauseForTests();

  MenuItemCount = 0;
  RemoveStaleTemporaries(menuPath);
  MenuFile menu;
  if (!MenuCreate(menu, menuPath))
    return 0;
  WriteMenuHead(menu);
  if (dropped)
    WalkGameFolder(
        [&menu](const std::string& full, const FileEntry&) { WriteGameCell(menu, full.c_str()); },
        folder, patterns);
  else
    WriteNumberedGames(menu);
  CloseMenuRows(menu, nullptr);
  WriteMenuTail(menu);
  return MenuFinish(menu);
}
