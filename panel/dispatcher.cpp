// The dispatcher: CommandDispatcher rewrites HoverCode once by RemapTable and
// switches to a handler; the handlers change Channel, post to Panes, launch
// the browser program through the services record, or start jobs. The
// current Pane is looked up only through CurrentPane, so a Channel that names
// no slot (99 while the first Pane starts, or any number a client posted with
// 20070) never reaches outside PaneSlots: commands for the current Pane then
// do nothing.
#include "panel/dispatcher.h"
#include "panel/image_channel.h"

#include <filesystem>
#include <system_error>

#include "games/cache_harvest.h"
#include "games/daily.h"
#include "games/link_download.h"
#include "games/top_list.h"
#include "library/menus.h"
#include "panel/geometry.h"
#include "panel/panel_state.h"
#include "panel/questions.h"
#include "panel/skins.h"
#include "platform/ini.h"
#include "shell/module_path.h"
#include "shell/settings.h"
#include "shell/startup.h"
#include "shell/texts.h"
#include "shell/tray.h"
#include "video/collect.h"
#include "video/phone_drive.h"
#include "web/url_text.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t PathSize = 260;
constexpr std::size_t LinkSize = 512;
constexpr const char* GameMasks = "*.swf,*.htm,*.html";
constexpr const char* VideoMasks = "*.flv,*.mpg,*.wmv,*.avi,*.mov,*.mp4,*.rm,*.rmvb";

const DispatcherServices systemServices = {
    LaunchPane,         RebuildGameMenu, RebuildMediaMenu, StartTopListJob, StartDailyJob,
    HarvestCacheInTurn, FindPhoneDrive,  CollectVideo,     RefreshGamePane, TurnPanel,
    UnturnPanel,        ChangeSkin,      ShowPanel,
};

const DispatcherServices* services = &systemServices;

const DispatcherServices& Svc() {
  return *services;
}

// A file beside the program.
std::string Beside(const char* name) {
  char out[PathSize] = {};
  ModuleFilePath(0, out, name);
  return out;
}

std::string DefineIni() {
  return Beside("Define.ini");
}

// A plain read of Define.ini, cut to size - 1 bytes.
std::string ReadDefine(const char* section, const char* key, std::size_t size) {
  char out[LinkSize] = {};
  IniRead(DefineIni().c_str(), section, key, "", out, std::min(size, sizeof out));
  return out;
}

std::string ProfileDefine(const char* section, const char* key) {
  char out[ProfileValueSize] = {};
  ProfileRead(section, key, out, DefineIni().c_str());
  return out;
}

// Decimal number at the start of text, as the C library reads it; 0 for none.
long LeadingNumber(const std::string& text) {
  std::size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || text[i] == '\t'))
    ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+'))
    negative = text[i++] == '-';
  long value = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    if (value > 100000000L)
      return 0; // far beyond every value that means something here
    value = value * 10 + (text[i] - '0');
  }
  return negative ? -value : value;
}

bool IsLive(Hwnd pane) {
  return pane != 0 && WinIsWindow(pane);
}

Hwnd Slot(int n) {
  if (n < 0 || n >= PaneSlotCount)
    return 0;
  return Panel().PaneSlots[static_cast<std::size_t>(n)].load();
}

void PostPane(Hwnd pane, WParam command) {
  if (pane != 0)
    WinPostMessage(pane, WM_COMMAND, command, 0);
}

void Launch(PaneRow row, const char* address) {
  if (Svc().launchPane != nullptr)
    Svc().launchPane(row, address);
}

Hwnd PanelOf(Hwnd window) {
  Hwnd panel = Panel().PanelWindow.load();
  return panel != 0 ? panel : window;
}

// Every box a command shows is asked once: a client repeating the command
// while it stands gets nothing more on the screen.
void Box(Hwnd window, const std::string& text, const char* title,
         PanelQuestion key = PanelQuestion::Notice) {
  AskOnce(key, [&] { return WinMessageBox(PanelOf(window), text, title, MB_OK); });
}

// The Game folder beside the program; counts its files and makes it when the
// listing finds nothing because it is missing. Result: the number of files.
int CountGameFiles(const std::string& folder) {
  std::error_code error;
  if (!fs::exists(folder, error)) {
    fs::create_directory(folder, error);
    return 0;
  }
  int count = 0;
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
    if (!it->is_directory(error))
      ++count;
  return count;
}

void Maximize() {
  PanelState& p = Panel();
  int channel = p.Channel.load();
  Hwnd pane = CurrentPane();
  if (pane == 0)
    return;
  WinSendMessage(pane, WM_SYSCOMMAND, SC_MAXIMIZE, 0);
  if (channel != ChannelImage)
    WinSetWindowPos(pane, HWND_NOTOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
  p.MaximizedChannel = channel;
  p.MaximizedLeft = false;
}

void Turn(Hwnd window, LParam arg) {
  PanelState& p = Panel();
  if (WinDisplayBits(PanelOf(window)) <= 8)
    return;
  auto turn = p.PanelRotation.load() == 0 ? Svc().turnPanel : Svc().unturnPanel;
  if (turn != nullptr)
    turn(window, arg);
  WinInvalidate(PanelOf(window));
}

void ToggleTopmost(Hwnd window) {
  PanelState& p = Panel();
  Hwnd after = p.TopmostFlag == 0 ? HWND_TOPMOST : HWND_NOTOPMOST;
  WinSetWindowPos(PanelOf(window), after, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
  p.TopmostFlag = p.TopmostFlag == 0 ? 1 : 0;
}

// The road of the video folder after its rebuild: a live Pane comes up,
// otherwise [Video] Start is launched for the current Channel.
void ShowOrLaunchVideo(Hwnd window) {
  PanelState& p = Panel();
  int channel = p.Channel.load();
  Hwnd pane = Slot(channel);
  if (IsLive(pane)) {
    if (p.PreviousChannel == channel)
      ReturnToBase(window);
    else
      WinBringWindowToTop(pane);
    return;
  }
  std::string address = ProfileDefine("Video", "Start");
  Launch(PaneRowVideo, address.c_str());
}

} // namespace

const DispatcherServices* SystemDispatcherServices() {
  return &systemServices;
}

void SetDispatcherServices(const DispatcherServices* s) {
  services = s != nullptr ? s : &systemServices;
}

const DispatcherServices& DispatcherServicesInUse() {
  return Svc();
}

std::string DailySearchSource() {
  return ProfileDefine("Game", "Search").substr(0, 255);
}

std::uint32_t RemapCode(std::uint32_t code, int channel) {
  switch (code) {
  case 20080:
    return channel == ChannelImage ? 19000 : 20060;
  case 20090:
    return 20050;
  case 20100:
    return 20090;
  case 20110:
    return 20040;
  default:
    return code;
  }
}

Hwnd CurrentPane() {
  return Slot(Panel().Channel.load());
}

LResult CommandDispatcher(Hwnd window, LParam arg) {
  PanelState& p = Panel();
  WinKillTimer(window, DragTimer);
  p.HoverCode = RemapCode(p.HoverCode, p.Channel.load());
  const int channel = p.Channel.load();
  const bool image = channel == ChannelImage;
  switch (p.HoverCode) {
  case 19000:
    if (image)
      PostPane(Slot(ChannelImage), PaneCmdPause);
    break;
  case 19020:
    for (WParam command : {PaneCmdBack, PaneCmdMystery, PaneCmdBack, PaneCmdMystery, PaneCmdBack})
      PostPane(CurrentPane(), command);
    break;
  case 19030:
  case 20090:
    OpenGame(window);
    break;
  case 19900:
    if (channel >= 0 && channel < PaneSlotCount)
      ShowOrLaunchVideo(window);
    break;
  case 20010:
    CloseCurrent(window);
    break;
  case 20020:
    Maximize();
    break;
  case 20030:
    WinShowWindow(PanelOf(window), SW_HIDE);
    break;
  case 20040:
    if (image)
      PostPane(Slot(ChannelImage), PaneCmdNextPicture);
    else
      PostPane(CurrentPane(), PaneCmdForward);
    break;
  case 20050:
    if (image)
      PostPane(Slot(ChannelImage), PaneCmdPreviousPicture);
    else
      PostPane(CurrentPane(), PaneCmdBack);
    break;
  case 20060:
    if (image)
      PostPane(Slot(ChannelImage), PaneCmdImageReload);
    else
      PostPane(CurrentPane(), PaneCmdReload);
    break;
  case 20070:
    ShowBase(window, arg);
    break;
  case 20120:
    OpenHome(window, arg);
    break;
  case 20130:
    WinPostMessage(PanelOf(window), WM_COMMAND, 8, 0);
    break;
  case 20180:
    Turn(window, arg);
    break;
  case 20190:
    if (Svc().changeSkin != nullptr)
      Svc().changeSkin(window);
    WinInvalidate(PanelOf(window));
    break;
  case 20200:
    ToggleTopmost(window);
    break;
  case 20210:
    CollectToFolder(window);
    break;
  case 20220:
    CollectToPhone(window);
    break;
  case 20230:
    if (image)
      PostPane(Slot(ChannelImage), PaneCmdMute);
    else if (CurrentPane() != 0)
      WinSendMessage(CurrentPane(), WM_COMMAND, PaneCmdMute, 0);
    break;
  case 20240:
    p.Channel = ChannelClock;
    WinPostMessage(PanelOf(window), MsgPanelCommand, 20070, 0);
    break;
  case CommandOpenVideoSite:
    OpenVideoSite(window);
    break;
  default:
    break;
  }
  return 0;
}

LResult PanelCommandMessage(Hwnd window, WParam w, LParam l) {
  Hwnd panel = PanelOf(window);
  switch (w & 0xFFFF) {
  case 2:
  case 8:
  case 214:
    ExitRoad(window, l);
    break;
  case 40001:
    if (Svc().showPanel != nullptr)
      Svc().showPanel(panel);
    break;
  case PanelCmdHarvestWalked:
    HarvestStep(panel);
    break;
  case 40002:
    if (Svc().showPanel != nullptr)
      Svc().showPanel(panel);
    if (Panel().Channel.load() != ChannelGame)
      WinSendMessage(panel, MsgPanelCommand, 20100, 0);
    WinPostMessage(panel, MsgPanelCommand, 20220, 0);
    break;
  case 40003:
    if (Svc().showPanel != nullptr)
      Svc().showPanel(panel);
    WinPostMessage(panel, MsgPanelCommand, 20120, 0);
    break;
  case 40004: // the video folder, which no button of the face opens
    if (Svc().showPanel != nullptr)
      Svc().showPanel(panel);
    OpenVideoFolder(panel);
    break;
  case 40005: // the image player, likewise
    if (Svc().showPanel != nullptr)
      Svc().showPanel(panel);
    OpenImagePlayer(panel, Svc().launchPane);
    break;
  default:
    break;
  }
  return 0;
}

void ShowBase(Hwnd window, LParam arg) {
  PanelState& p = Panel();
  // A channel outside 32 bits can't be meant; it is cut like a 32-bit field.
  p.Channel = static_cast<int>(static_cast<std::uint32_t>(arg));
  Hwnd base = Slot(ChannelClock);
  if (IsLive(base)) {
    WinBringWindowToTop(base);
    return;
  }
  int channel = p.Channel.load();
  if (channel == ChannelStart)
    Launch(PaneRowStart, "");
  else if (channel == ChannelClock)
    Launch(PaneRowClock, "");
  if (channel != ChannelStart)
    return;

  if (LeadingNumber(ReadDefine("@Vexan", "Rotate", 260)) == 90)
    WinPostMessage(PanelOf(window), MsgPanelCommand, 20180, 99);
  long daily = LeadingNumber(ReadDefine("@Vexan", "Collect2", 256));
  p.DailyMode = daily >= 1 && daily <= 3 ? static_cast<int>(daily) : 3;

  std::string folder = Beside("Game");
  if (CountGameFiles(folder) > 0)
    return;
  std::string list = ReadDefine("Game", "List", 256);
  if (Svc().startTopListJob != nullptr)
    Svc().startTopListJob(PanelOf(window), list.c_str(), folder.c_str());
}

void OpenGame(Hwnd window) {
  PanelState& p = Panel();
  p.PreviousChannel = p.Channel.load();
  p.Channel = ChannelGame;
  Hwnd game = Slot(ChannelGame);
  if (IsLive(game)) {
    if (p.PreviousChannel == ChannelGame)
      ReturnToBase(window);
    else
      WinBringWindowToTop(game);
    return;
  }
  if (Svc().rebuildGameMenu != nullptr)
    Svc().rebuildGameMenu(Beside("Web\\Menu1.htm").c_str(), Beside("Game").c_str(), GameMasks);
  Launch(PaneRowGame, "");
}

void ReturnToBase(Hwnd) {
  PanelState& p = Panel();
  Hwnd base = Slot(ChannelClock);
  if (!IsLive(base))
    return;
  WinBringWindowToTop(base);
  p.PreviousChannel = p.Channel.load();
  p.Channel = ChannelClock;
}

void OpenHome(Hwnd, LParam arg) {
  PanelState& p = Panel();
  p.PreviousChannel = p.Channel.load();
  p.Channel = ChannelHome;
  Hwnd home = Slot(ChannelHome);
  if (IsLive(home)) {
    if (p.PreviousChannel == ChannelHome)
      PostPane(home, PaneCmdFirstPage);
    else
      WinBringWindowToTop(home);
    return;
  }
  std::string address = ProfileDefine("MainWeb", LanguageOffset == 1000 ? "Start" : "StartEng");
  if (arg == 2)
    address = ProfileDefine("Game", "Top");
  Launch(PaneRowHome, address.c_str());
}

std::string GameFileFromAddress(const std::string& address, const std::string& gameFolder) {
  std::string text = address.substr(0, LinkSize - 1);
  if (text.size() <= 10)
    return std::string();
  std::string ending = text.substr(text.size() - 4);
  for (char& c : ending)
    c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  if (ending != ".swf")
    return std::string();
  std::string path;
  if (text.rfind("file://", 0) == 0 && text.size() > 7 && text[7] == '/') {
    path = text.substr(7);
  } else if (text[1] == ':') {
    // Drive form: C: is the root; the other letters name no local path here.
    if (text[0] != 'C' && text[0] != 'c')
      return std::string();
    path = text.substr(2);
    for (char& c : path)
      if (c == '\\')
        c = '/';
  } else if (text[0] == '/') {
    path = text;
  } else {
    return std::string();
  }
  // Only a file inside the Game folder (subfolders too: the daily games lie
  // in month folders) may be deleted, whatever a page claims.
  std::error_code error;
  fs::path file = fs::weakly_canonical(fs::path(path), error);
  if (error)
    return std::string();
  fs::path folder = fs::weakly_canonical(fs::path(gameFolder), error);
  if (error || folder.empty())
    return std::string();
  fs::path inside = file.lexically_relative(folder);
  if (inside.empty() || *inside.begin() == ".." || *inside.begin() == ".")
    return std::string();
  return file.string();
}

void CloseCurrent(Hwnd window) {
  PanelState& p = Panel();
  int channel = p.Channel.load();
  if (channel < 0 || channel >= PaneSlotCount)
    return; // no current Pane to close
  bool deleteFile = false;
  if (channel == ChannelGame) {
    int answer = AskOnce(PanelQuestion::CloseOrDelete, [&] {
      return WinMessageBox(PanelOf(window), FixedText(TextCloseOrDelete), TitleMessage,
                           MB_YESNOCANCEL);
    });
    if (answer != IDYES && answer != IDNO)
      return;
    deleteFile = answer == IDNO;
  }
  if (!deleteFile) {
    auto& slot = p.PaneSlots[static_cast<std::size_t>(channel)];
    Hwnd pane = slot.load();
    if (pane != 0)
      WinPostMessage(pane, WM_QUIT, 0, 0);
    slot = 0;
    p.Channel = ChannelClock;
    WinPostMessage(PanelOf(window), MsgPanelCommand, 20070, 0);
    return;
  }
  std::string address = WinGetControlText(PanelOf(window), AddressControl);
  std::string file = GameFileFromAddress(address, Beside("Game"));
  if (file.empty()) {
    Box(window, FixedText(TextNumberNotFound), TitleMessage);
    return;
  }
  std::string shown = address.substr(0, LinkSize - 1);
  if (AskOnce(PanelQuestion::CloseOrDelete, [&] {
        return WinMessageBox(PanelOf(window), FormatText(TextDeleteFile, shown), TitleMessage,
                             MB_YESNO);
      }) != IDYES)
    return;
  std::error_code error;
  fs::remove(file, error);
  if (Svc().refreshGamePane != nullptr)
    Svc().refreshGamePane(2);
}

// The harvest asks about each game it finds, on this thread; a harvest whose
// walk of the cache still runs (-1) comes again with PanelCmdHarvestWalked.
void HarvestStep(Hwnd window) {
  char cache[RegistryValueSize] = {};
  ReadShellFolder("Cache", cache);
  int found = -1;
  AskOnce(PanelQuestion::Harvest, [&] {
    found = Svc().harvestCache != nullptr ? Svc().harvestCache(cache, "*.swf") : 0;
    return 0;
  });
  if (found == 0)
    Box(window, FixedText(TextNewGameNotFound), TitleVexan);
}

void CollectToFolder(Hwnd window) {
  PanelState& p = Panel();
  int channel = p.Channel.load();
  if (channel == ChannelHome || channel == ChannelGame) {
    if (!p.CollectStatus.Empty()) {
      Box(window, FixedText(TextPleaseWait), TitleMessage, PanelQuestion::PleaseWait);
      return;
    }
    if (channel != ChannelGame)
      return;
    HarvestStep(window);
  } else if (channel == ChannelVideoSite) {
    if (!p.CollectStatus.Empty()) {
      Box(window, FixedText(TextPleaseWait), TitleVexan, PanelQuestion::PleaseWait);
      return;
    }
    VideoRequest(window, Beside("Video").c_str());
  }
}

void CollectToPhone(Hwnd window) {
  PanelState& p = Panel();
  int channel = p.Channel.load();
  if (channel == ChannelHome || channel == ChannelGame) {
    // A daily job that is still fetching its list or the date has no line yet.
    if (!p.PhoneStatus.Empty() || DailyJobRunning()) {
      Box(window, FixedText(TextPleaseWait), TitleVexan, PanelQuestion::PleaseWait);
      return;
    }
    if (AskOnce(PanelQuestion::DailySearch, [&] {
          return WinMessageBox(PanelOf(window), FixedText(TextSearchQuestion), TitleVexan,
                               MB_YESNO);
        }) != IDYES)
      return;
    std::string search = DailySearchSource();
    if (Svc().startDailyJob != nullptr)
      Svc().startDailyJob(PanelOf(window), search.c_str(), Beside("Game").c_str());
  } else if (channel == ChannelVideoSite) {
    char videoFolder[PathSize] = {};
    int drive = Svc().findPhoneDrive != nullptr ? Svc().findPhoneDrive('D', videoFolder) : 0;
    if (drive == 0) {
      Box(window, FixedText(TextConnectPhone), TitleVexan);
      return;
    }
    if (!p.PhoneStatus.Empty()) {
      Box(window, FixedText(TextPleaseWait), TitleVexan, PanelQuestion::PleaseWait);
      return;
    }
    VideoRequest(window, "");
  }
}

int CutVideoAddress(const std::string& address, std::string* listUrl, std::uint32_t* entry) {
  std::string text = address.substr(0, PathSize - 1);
  if (WebSchemeLength(text.c_str()) == 0 || text.find("Show") == std::string::npos)
    return -1;
  std::size_t last = text.rfind('/');
  if (last == std::string::npos || last == 0)
    return 0;
  std::size_t before = text.rfind('/', last - 1);
  if (before == std::string::npos || before == 0)
    return 0;
  std::uint32_t number = 0;
  for (std::size_t i = last + 1; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
    number = number * 10u + static_cast<std::uint32_t>(text[i] - '0');
  std::string url = text.substr(0, before) + "/Show/sortlink.htm";
  if (url.size() > LinkSize - 1)
    return 0;
  *listUrl = url;
  *entry = number;
  return 1;
}

void VideoRequest(Hwnd window, const char* target) {
  std::string address = WinGetControlText(PanelOf(window), AddressControl);
  std::string listUrl;
  std::uint32_t entry = 0;
  int cut = CutVideoAddress(address, &listUrl, &entry);
  if (cut < 0) {
    Box(window, FixedText(TextVideoLinkRefused), TitleVexan);
    return;
  }
  if (cut == 0)
    return;
  // Its save dialog stands before the job's status line is set.
  if (Svc().collectVideo != nullptr)
    AskOnce(PanelQuestion::VideoSave, [&] {
      return Svc().collectVideo(PanelOf(window), listUrl.c_str(), target != nullptr ? target : "",
                                entry);
    });
}

void OpenVideoSite(Hwnd window) {
  std::string address = WinGetControlText(PanelOf(window), AddressControl);
  std::string listUrl;
  std::uint32_t entry = 0;
  if (CutVideoAddress(address, &listUrl, &entry) < 0 || address.size() > LinkSize - 1)
    return;
  PanelState& p = Panel();
  p.PreviousChannel = p.Channel.load();
  p.Channel = ChannelVideoSite;
  // The channel has one Pane: a live one gives way to the new page.
  Hwnd pane = Slot(ChannelVideoSite);
  if (IsLive(pane))
    WinPostMessage(pane, WM_QUIT, 0, 0);
  Launch(PaneRowVideoSite, address.c_str());
}

void OpenVideoFolder(Hwnd window) {
  PanelState& p = Panel();
  p.PreviousChannel = p.Channel.load();
  p.Channel = ChannelVideoFolder;
  Hwnd pane = Slot(ChannelVideoFolder);
  if (IsLive(pane)) {
    WinBringWindowToTop(pane);
    return;
  }
  if (Svc().rebuildMediaMenu != nullptr)
    Svc().rebuildMediaMenu(Beside("Web\\MenuVideo.htm").c_str(), Beside("Video").c_str(),
                           VideoMasks);
  ShowOrLaunchVideo(window);
}
