// The link download question. The procedure runs wherever the backend
// delivers the dialog's messages (the GUI thread); the fields it shares with
// the jobs are copied under one lock. Timers 3 and 4 and controls 103, 202 and
// 203 belong to the wider template: the procedure serves them, though nothing
// opens that form yet.
#include "games/link_dialog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "panel/geometry.h"
#include "panel/skins.h"
#include "platform/bitmap.h"
#include "resources/dialogs.h"
#include "resources/strings.h"
#include "shell/module_path.h"
#include "shell/settings.h"

std::atomic<int> LinkFrameIndex{0};

namespace {

constexpr int AnimationTimer = 2;
constexpr int AutoDownloadTimer = 3;
constexpr int AutoCloseTimer = 4;
constexpr int FrameCount = 4;

struct Shared {
  std::mutex lock;
  LinkFields fields;
};

// Never destroyed: a job may read it while the process ends.
Shared& Fields() {
  static Shared* shared = new Shared;
  return *shared;
}

// The pictures stay loaded for the process's life: a button shows them by
// address. A frame that could not be read is tried again at the next start.
struct Frames {
  std::mutex lock;
  Bitmap pictures[FrameCount];
  bool loaded[FrameCount] = {};
};

Frames& LinkFrames() {
  static Frames* frames = new Frames;
  return *frames;
}

void LoadLinkFrames() {
  Frames& f = LinkFrames();
  std::lock_guard<std::mutex> guard(f.lock);
  for (int i = 0; i < FrameCount; ++i) {
    if (f.loaded[i])
      continue;
    char path[260];
    const char* name = ResourceFileName(208 + i);
    if (name == nullptr)
      continue;
    ModuleFilePath(0, path, name);
    f.loaded[i] = LoadBitmapFile(path, &f.pictures[i]);
  }
}

void ShowFrame(Hwnd dialog, int frame) {
  Frames& f = LinkFrames();
  const Bitmap* picture = nullptr;
  {
    std::lock_guard<std::mutex> guard(f.lock);
    if (f.loaded[frame])
      picture = &f.pictures[frame];
  }
  if (picture != nullptr)
    WinSendDlgItemMessage(dialog, 1, BM_SETIMAGE, 0, reinterpret_cast<LParam>(picture));
}

std::string Cut(const char* text, std::size_t size) {
  std::string s = text == nullptr ? std::string() : std::string(text);
  return s.size() < size ? s : s.substr(0, size - 1);
}

bool Checked(Hwnd dialog, int control) {
  return WinSendDlgItemMessage(dialog, control, BM_GETCHECK, 0, 0) == BST_CHECKED;
}

void SetCheck(Hwnd dialog, int control, bool on) {
  WinSendDlgItemMessage(dialog, control, BM_SETCHECK, on ? BST_CHECKED : BST_UNCHECKED, 0);
}

void WriteGameKey(const char* key, int value, const char* ini) {
  char text[ProfileValueSize];
  std::snprintf(text, sizeof text, "%d", value);
  ProfileWrite("Game", key, text, ini);
}

// The three check boxes of the wider form: the two automatic ones exclude
// each other, and the automatic download brings "Save to" with it.
void CheckBoxClicked(Hwnd dialog, int control, const char* ini) {
  bool on = Checked(dialog, control);
  switch (control) {
  case 1002:
    WriteGameKey("CheckSave", on, ini);
    if (!on) {
      SetCheck(dialog, 1003, false);
      WriteGameKey("CheckAuto", 0, ini);
      WinKillTimer(dialog, AutoDownloadTimer);
    }
    break;
  case 1003:
    WriteGameKey("CheckAuto", on, ini);
    if (!on)
      WinKillTimer(dialog, AutoDownloadTimer);
    if (on) {
      SetCheck(dialog, 1002, true);
      WriteGameKey("CheckSave", 1, ini);
      SetCheck(dialog, 1004, false);
      WriteGameKey("CheckClose", 0, ini);
      WinKillTimer(dialog, AutoCloseTimer);
    }
    break;
  case 1004:
    WriteGameKey("CheckClose", on, ini);
    if (!on)
      WinKillTimer(dialog, AutoCloseTimer);
    if (on) {
      SetCheck(dialog, 1003, false);
      WriteGameKey("CheckAuto", 0, ini);
      WinKillTimer(dialog, AutoDownloadTimer);
    }
    break;
  }
}

void Command(Hwnd dialog, int id) {
  char ini[260];
  ModuleFilePath(0, ini, "Define.ini");
  switch (id) {
  case 1:
    if (Checked(dialog, 1002)) {
      StoreLinkSaveFolder(WinGetControlText(dialog, 103));
      WinEndDialog(dialog, 1);
    } else {
      WinEndDialog(dialog, 6);
    }
    break;
  case 2:
    WinEndDialog(dialog, 0);
    break;
  case 1002:
  case 1003:
  case 1004:
    CheckBoxClicked(dialog, id, ini);
    break;
  }
}

// The count a control shows; text beyond a million either way (or none)
// reads as its bound, so the tick's arithmetic can never overflow.
int CountIn(Hwnd dialog, int control) {
  long long value = std::strtoll(WinGetControlText(dialog, control).c_str(), nullptr, 10);
  return static_cast<int>(std::clamp(value, -1000000LL, 1000000LL));
}

// The download fires on the tick on which its count reaches 0.
void AutoDownloadTick(Hwnd dialog) {
  int n = CountIn(dialog, 202) - 1;
  char text[64];
  std::snprintf(text, sizeof text, "Auto download remilding %d.", n);
  WinSetControlText(dialog, 1003, text);
  if (n == 0) {
    WinPostMessage(dialog, WM_COMMAND, 1, 3);
    WinKillTimer(dialog, AutoDownloadTimer);
  }
  WinSetControlText(dialog, 202, std::to_string(n));
}

// The closing fires one tick after its count has reached 0.
void AutoCloseTick(Hwnd dialog) {
  int n = CountIn(dialog, 203);
  if (n > 0) {
    --n;
    char text[64];
    std::snprintf(text, sizeof text, "Auto close remilding %d.", n);
    WinSetControlText(dialog, 1004, text);
  } else {
    WinPostMessage(dialog, WM_COMMAND, 2, 4);
    WinKillTimer(dialog, AutoCloseTimer);
  }
  WinSetControlText(dialog, 203, std::to_string(n));
}

void InitDialog(Hwnd dialog, LParam l) {
  SetDialogIcons(dialog, 100, 100);
  CentrePanel(dialog);
  LinkDialogTexts texts;
  if (l != 0) {
    texts = *reinterpret_cast<const LinkDialogTexts*>(l);
  } else {
    LinkFields fields = CopyLinkFields();
    texts = {fields.LinkSource, fields.LinkTarget};
  }
  WinSetControlText(dialog, 100, "Found a flash game at\r\n" + texts.target);
  WinSetControlText(dialog, 101, "Search from\r\n" + texts.source);
  LoadLinkFrames();
  ShowFrame(dialog, 0);
  WinSetTimer(dialog, AnimationTimer, 500);
}

} // namespace

LinkFields CopyLinkFields() {
  std::lock_guard<std::mutex> guard(Fields().lock);
  return Fields().fields;
}

void StoreLinkArguments(Hwnd owner, const char* source, const char* target) {
  std::lock_guard<std::mutex> guard(Fields().lock);
  Fields().fields.LinkOwner = owner;
  Fields().fields.LinkSource = Cut(source, 512);
  Fields().fields.LinkTarget = Cut(target, 512);
}

void StoreLinkSaveFolder(const std::string& folder) {
  std::lock_guard<std::mutex> guard(Fields().lock);
  Fields().fields.LinkSaveFolder = Cut(folder.c_str(), 260);
}

LResult LinkDialogProc(Hwnd dialog, unsigned message, WParam w, LParam l) {
  switch (message) {
  case WM_INITDIALOG:
    InitDialog(dialog, l);
    return 1;
  case WM_PAINT:
    // Insists on being seen: every paint pulls it in front of all windows.
    WinSetWindowPos(dialog, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
    WinSetWindowPos(dialog, HWND_NOTOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
    WinSetForegroundWindow(dialog);
    return 0;
  case WM_TIMER:
    if (w == AnimationTimer) {
      int frame = LinkFrameIndex.load() + 1;
      if (frame > 3)
        frame = 0;
      LinkFrameIndex = frame;
      ShowFrame(dialog, frame);
    } else if (w == AutoDownloadTimer) {
      AutoDownloadTick(dialog);
    } else if (w == AutoCloseTimer) {
      AutoCloseTick(dialog);
    }
    return 0;
  case WM_COMMAND:
    Command(dialog, static_cast<int>(w & 0xFFFF));
    return 1;
  }
  return 0;
}

int LinkDialog(int templateId, Hwnd owner, const LinkDialogTexts* texts) {
  return WinTemplateDialog(LoadDialogTemplate(templateId), owner, LinkDialogProc,
                           reinterpret_cast<LParam>(texts));
}
