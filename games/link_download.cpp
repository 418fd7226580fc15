// Link downloads. The clipboard watch runs on the Panel's thread; every job
// runs on a detached thread of its own with its own copies of its texts, and
// touches only never-destroyed records (the Panel record, the link fields),
// so the process may end under it. A game is downloaded beside its final
// name and renamed only once it is whole and checked, so the menu never lists
// half a file and a failed download never harms a file of that name.
#include "games/link_download.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "games/cache_harvest.h"
#include "games/game_file.h"
#include "games/link_dialog.h"
#include "games/list_jobs.h"
#include "games/locate.h"
#include "library/menus.h"
#include "panel/panel_state.h"
#include "panel/tips.h"
#include "shell/module_path.h"
#include "shell/settings.h"
#include "web/download.h"
#include "web/url_text.h"

namespace {

constexpr std::size_t PathSize = 260;
constexpr std::size_t ClipboardSize = 512;
constexpr const char* Downloading = "Downloading ";
constexpr std::size_t DownloadingLength = 12;
const char GameSaveFilter[] = "Game Files (*.swf;*.htm)\0*.swf;*.htm\0All Files (*.*)\0*.*\0";

// The first four bytes of a compressed Flash file of version 10.
constexpr unsigned char Signature[4] = {0x43, 0x57, 0x53, 0x0A};

std::string Beside(const char* name) {
  char path[PathSize];
  ModuleFilePath(0, path, name);
  return path;
}

void TipOfZone20(Hwnd owner) {
  PanelState& p = Panel();
  UpdateTip(owner, p.TooltipWindow.load(), 20, p.PanelRotation.load());
}

bool EndsWithSwf(const char* text, std::size_t end) {
  return end >= 4 && strncasecmp(text + end - 4, ".swf", 4) == 0;
}

std::string FailureText() {
  return LanguageOffset == 1000 ? "無法下載, 請使用'Tessel Quorlo' 版本!"
                                : "Unable download this file, use 'Tessel Quorlo' !";
}

// Where a download waits until it is whole and checked: a hidden folder of
// this job's own beside the target (so two jobs never share a file, and the
// name stays short whatever the target's length), which no menu pattern
// matches. Empty when it can't be made.
std::string MakeStagingFolder(const std::string& path) {
  std::size_t slash = path.rfind('/');
  std::string folder = slash == std::string::npos ? std::string(".") : path.substr(0, slash);
  std::string pattern = folder + "/.link-XXXXXX";
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  return mkdtemp(name.data()) != nullptr ? std::string(name.data()) : std::string();
}

// Whether the file begins with the signature. A file that can't be opened
// counts as good, as the check only stops what is certainly no game.
bool LooksLikeTheGame(const std::string& path) {
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0)
    return true;
  unsigned char head[4096];
  ssize_t got = read(fd, head, sizeof head);
  close(fd);
  return got >= 4 && std::memcmp(head, Signature, 4) == 0;
}

bool Fetch(const std::string& url, const std::string& staging) {
  return DownloadGameFile(url.c_str(), staging.c_str()) == 0;
}

// The download with its check and one retry through a fresh search. True
// when a file now stands at savePath.
bool Download(const std::string& link, const std::string& savePath) {
  std::string folder = MakeStagingFolder(savePath);
  if (folder.empty())
    return false;
  // Locked while this job uses it: a start's sweep leaves it alone.
  int lock = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (lock >= 0)
    flock(lock, LOCK_EX | LOCK_NB);
  std::string staging = folder + "/game";
  bool stands = false;
  if (Fetch(link, staging)) {
    if (LooksLikeTheGame(staging)) {
      stands = true;
    } else {
      unlink(staging.c_str());
      char found[ClipboardSize] = "";
      // The second file is the search's best answer: only kept when it is
      // a Flash file at all, as a ".swf" name promises.
      stands = LocateGameFile(link.c_str(), found, ".swf") == 0 && Fetch(found, staging) &&
               GameFileFitsName(staging, savePath);
    }
  }
  if (stands && rename(staging.c_str(), savePath.c_str()) != 0)
    stands = false;
  unlink(staging.c_str()); // whatever is left of a failed road
  rmdir(folder.c_str());
  if (lock >= 0)
    close(lock);
  return stands;
}

std::string Cut(const std::string& text, std::size_t size) {
  return text.size() < size ? text : text.substr(0, size - 1);
}

} // namespace

int WatchClipboard(char* text) {
  std::string clip;
  if (!WinClipboardText(&clip))
    return 0;
  // Only a plain one-line link fits the 512 bytes the caller holds.
  if (clip.size() >= ClipboardSize ||
      clip.find_first_of(std::string("\r\n\0", 3)) != std::string::npos)
    return 0;
  PanelState& p = Panel();
  if (clip == p.LastClipboardText || WebSchemeLength(clip.c_str()) == 0)
    return 0;
  std::memcpy(text, clip.c_str(), clip.size() + 1);
  p.LastClipboardText = clip;
  return 1;
}

void TakeClipboardAsSeen() {
  std::string clip;
  if (WinClipboardText(&clip))
    Panel().LastClipboardText = clip;
}

void StartLinkDownload(Hwnd window, const char* source, const char* target) {
  StoreLinkArguments(window, source, target);
  LinkFields fields = CopyLinkFields();
  std::thread(LinkDownloadJob, fields.LinkOwner, fields.LinkSource, fields.LinkTarget).detach();
}

void CutLinkName(char* savePath, char* saveName) {
  std::size_t length = strnlen(savePath, PathSize - 1);
  std::size_t out = 0;
  for (std::size_t in = 0; in < length; ++in) {
    char c = savePath[in];
    if (c == '%') {
      c = static_cast<char>(DecodeHexPair(savePath + in));
      if (in + 2 < length)
        in += 2;
      if (c == '\0')
        break; // an escaped end mark ends the name, as it would a C text
    }
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
      c = '_';
    if (c == ' ' || c == '=')
      c = '-';
    saveName[out++] = c;
  }
  saveName[out] = '\0';
  std::memcpy(savePath, saveName, out + 1);
  for (std::size_t i = out; i-- > 1;) {
    char c = savePath[i];
    if (c == '/') {
      std::memmove(saveName, savePath + i + 1, std::strlen(savePath + i + 1) + 1);
      return;
    }
    if (c != '?')
      continue;
    if (EndsWithSwf(savePath, i)) {
      savePath[i] = '\0';
      continue;
    }
    std::memmove(saveName, savePath + i + 1, std::strlen(savePath + i + 1) + 1);
    char* swf = std::strstr(saveName, ".swf");
    if (swf == nullptr)
      swf = std::strstr(saveName, ".SWF");
    if (swf != nullptr)
      swf[4] = '\0';
    return;
  }
}

std::string AddStatusName(std::string& line, const std::string& name) {
  if (name.empty())
    return std::string();
  constexpr std::size_t Room = StatusLine::Size - 1;
  if (line.empty()) {
    std::string shown = name.substr(0, Room - DownloadingLength);
    line = Downloading + shown;
    return shown;
  }
  // A name that doesn't fit goes unnamed rather than cut, so every name in
  // the line stays one that a job can find again.
  if (line.size() + 2 + name.size() > Room)
    return std::string();
  line += ", " + name;
  return name;
}

void RemoveStatusName(std::string& line, const std::string& name) {
  if (name.empty())
    return;
  // Only a whole name of the list counts: behind "Downloading " or ", ", and
  // followed by ", " or the end.
  std::size_t at = line.find(name);
  for (; at != std::string::npos; at = line.find(name, at + 1)) {
    bool starts = at == DownloadingLength && line.compare(0, at, Downloading) == 0;
    starts = starts || (at >= 2 && line.compare(at - 2, 2, ", ") == 0);
    std::size_t end = at + name.size();
    bool ends = end == line.size() || line.compare(end, 2, ", ") == 0;
    if (starts && ends)
      break;
  }
  if (at == std::string::npos)
    return;
  std::size_t end = at + name.size();
  if (at >= 2 && line.compare(at - 2, 2, ", ") == 0)
    line.erase(at - 2, name.size() + 2);
  else if (end == line.size())
    line.clear();
  else
    line.erase(at, name.size() + 2);
  if (line == Downloading)
    line.clear();
}

void LinkDownloadJob(Hwnd owner, std::string source, std::string target) {
  std::string link = Cut(target, ClipboardSize);
  LinkDialogTexts texts{source, link};
  int answer = LinkDialog(1688, owner, &texts);
  if (answer != 6 && answer != 1)
    return;
  std::string chosen = answer == 1 ? CopyLinkFields().LinkSaveFolder : link;
  if (chosen.size() >= PathSize) {
    // No file name of that length can be kept: said at once, nothing fetched.
    WinMessageBox(owner, FailureText(), "Message Info", MB_OK);
    return;
  }
  char savePath[PathSize] = "";
  char saveName[PathSize] = "";
  std::memcpy(savePath, chosen.c_str(), chosen.size() + 1);
  if (savePath[0] != '\0')
    CutLinkName(savePath, saveName);

  bool asked = true;
  if (answer != 1) {
    std::memcpy(savePath, saveName, std::strlen(saveName) + 1);
    asked = SaveGameDialog(Panel().PanelWindow.load(), "Save game to", GameSaveFilter, savePath,
                           256, Beside("Game").c_str()) != 0;
  }
  if (asked) {
    std::string path = savePath;
    std::size_t split = path.find_last_of("/\\");
    if (split != std::string::npos && split > 0) {
      std::snprintf(saveName, sizeof saveName, "%s", path.substr(split + 1).c_str());
      char value[ProfileValueSize];
      std::snprintf(value, sizeof value, "%s", path.substr(0, split).c_str());
      ProfileWrite("Game", "Def-Path", value, Beside("Define.ini").c_str());
    } else if (split == std::string::npos) {
      path = Beside("Game") + "/" + path; // a bare name from the wider form's target
    }
    std::string shown;
    Panel().CollectStatus.Update([&](std::string& line) { shown = AddStatusName(line, saveName); });
    TipOfZone20(owner);
    if (!Download(link, path))
      WinMessageBox(owner, FailureText(), "Message Info", MB_OK);
    Panel().CollectStatus.Update([&](std::string& line) { RemoveStatusName(line, shown); });
  }
  TipOfZone20(owner);
  RefreshGamePane(1);
}

void RefreshGamePane(int mode) {
  RebuildGameMenu(Beside("Web\\Menu1.htm").c_str(), Beside("Game").c_str(), "*.swf,*.htm,*.html");
  PanelState& p = Panel();
  Hwnd pane = p.PaneSlots[ChannelGame].load();
  if (pane == 0) {
    WinSendMessage(p.PanelWindow.load(), MsgPanelCommand, 19030, 0);
    // A Pane just launched announces itself a moment after the launch has
    // returned: its refresh waits for it, a few seconds at most.
    for (int i = 0; i < 60 && pane == 0; ++i) {
      pane = p.PaneSlots[ChannelGame].load();
      if (pane == 0 && p.PanelWindow.load() != 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }
  WParam code = mode == 1 ? 32779 : mode == 2 ? 32789 : 0;
  if (code != 0 && pane != 0)
    WinPostMessage(pane, WM_COMMAND, code, 0);
}
