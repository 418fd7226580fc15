#include "games/list_jobs.h"
#include "games/game_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include <cstring>
#include <mutex>
#include <thread>

#include "games/cache_purge.h"
#include "library/menus.h"
#include "panel/dispatcher.h"
#include "panel/panel_state.h"
#include "platform/files.h"
#include "platform/ini.h"
#include "platform/sysdirs.h"
#include "shell/module_path.h"
#include "shell/settings.h"
#include "web/download.h"

namespace {

constexpr std::size_t PathSize = 260;
constexpr std::size_t ListSourceSize = 256;

struct SharedArguments {
  std::mutex lock;
  JobArguments fields;
};

// Never destroyed: a job thread may read it while the process ends.
SharedArguments& Shared() {
  static SharedArguments* shared = new SharedArguments;
  return *shared;
}

} // namespace

std::string ProgramFile(const char* name) {
  char out[PathSize] = {};
  ModuleFilePath(0, out, name);
  return out;
}

void StoreJobArguments(Hwnd window, const char* listSource, const char* folder) {
  SharedArguments& s = Shared();
  std::lock_guard<std::mutex> guard(s.lock);
  s.fields.JobWindow = window;
  s.fields.JobListSource = std::string(listSource ? listSource : "").substr(0, ListSourceSize - 1);
  s.fields.JobFolder = std::string(folder ? folder : "").substr(0, PathSize - 1);
}

JobArguments CopyJobArguments() {
  SharedArguments& s = Shared();
  std::lock_guard<std::mutex> guard(s.lock);
  return s.fields;
}

bool StartJobThread(std::atomic<bool>& running,
                    int (*fn)(Hwnd, const char*, const char*, Hwnd, int)) {
  if (running.exchange(true))
    return false;
  // The thread takes the arguments as they stand at its start, so a start of
  // the other job right behind this one can't change them under it.
  JobArguments a = CopyJobArguments();
  try {
    std::thread([&running, fn, a] {
      PanelState& p = Panel();
      fn(a.JobWindow, a.JobListSource.c_str(), a.JobFolder.c_str(), p.TooltipWindow.load(),
         p.PanelRotation.load());
      running = false;
    }).detach();
  } catch (const std::system_error&) {
    running = false;
    return false;
  }
  return true;
}

bool IsListLink(const char* text) {
  return text != nullptr && std::strncmp(text, "http", 4) == 0;
}

JobFiles PrepareJobList(const char* listSource) {
  JobFiles f;
  f.tempFolder = SystemSubfolder("Temp");
  if (!IsListLink(listSource)) {
    f.listPath = ProgramFile(listSource);
    return f;
  }
  char cache[RegistryValueSize] = "";
  if (ReadShellFolder("Cache", cache) == 0 && cache[0] != '\0')
    f.tempFolder = cache;
  PurgeCachedCopies(listSource, f.tempFolder.c_str());
  f.listPath = SystemSubfolder("Temp") + "/List.htm";
  f.fetched = true;
  URLDownloadToFile(listSource, f.listPath.c_str());
  return f;
}

std::string ListValue(const JobFiles& files, const char* section, const char* key) {
  char value[ProfileValueSize] = "";
  const char* list = files.listPath.c_str();
  int length = files.fetched ? ProfileReadRaw(section, key, value, list)
                             : ProfileRead(section, key, value, list);
  std::string text(value, std::min<std::size_t>(length, ListValueSize - 1));
  if (IniValueHoldsZero(list, section, key))
    text += '\0'; // the reader cut it there: kept, so the value can be refused
  return text;
}

int DownloadGameFile(const char* url, const char* path) {
  DownloadOptions options;
  options.maxBytes = GameFileMax;
  return URLDownloadToFileWith(url, path, options);
}

bool CopyGameUnder(const std::string& from, const std::string& folder, const std::string& title) {
  if (title.empty() || title[0] == '/' || title[0] == '\\' || title.find('\0') != std::string::npos)
    return false;
  std::string name = title;
  CleanGameName(name);
  if (!GameFileFitsName(from, name))
    return false;
  for (char& c : name)
    if (c == '\\')
      c = '/';
  std::size_t start = 0;
  for (;;) {
    std::size_t slash = name.find('/', start);
    std::string part = name.substr(start, slash == std::string::npos ? slash : slash - start);
    if (part.empty() || part == "." || part == "..")
      return false;
    if (slash == std::string::npos)
      break;
    // A subfolder must be a folder itself: a link could lead the copy out.
    struct stat st {};
    if (lstat((folder + "/" + name.substr(0, slash)).c_str(), &st) == 0 && !S_ISDIR(st.st_mode))
      return false;
    start = slash + 1;
  }
  std::string target = folder + "/" + name;
  if (target.size() > PathSize - 1)
    return false;
  MakeFolders(folder);
  return CopyWhole(from, target);
}

bool CopyWhole(const std::string& from, const std::string& to) {
  std::string bytes;
  return ReadWholeFile(from, bytes, static_cast<std::size_t>(GameFileMax)) &&
         WriteFileAtomically(to, bytes);
}

void ShowNewGame(Hwnd window, long openArg) {
  RebuildGameMenu(ProgramFile("Web\\Menu1.htm").c_str(), ProgramFile("Game").c_str(),
                  GameMenuMasks);
  if (window == 0)
    return;
  PanelState& p = Panel();
  if (p.PaneSlots[ChannelGame].load() == 0)
    WinSendMessage(window, MsgPanelCommand, 19030, openArg);
  Hwnd pane = p.PaneSlots[ChannelGame].load();
  if (pane != 0)
    WinPostMessage(pane, WM_COMMAND, PaneCmdReload, 0);
}
