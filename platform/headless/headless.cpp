// The headless backend: one process-wide State under one lock holds the local
// windows, the message queue, the recording and the scripts. Procedures are
// always called with the lock released, so a procedure may post, send or ask
// freely. The GUI thread is the one that called HeadlessInstall; a send from
// any other thread is queued with a waiter and answered when the GUI thread
// pumps. Pane handles go to a second record that only records and answers
// IsWindow from the set of live handles the test keeps.
#include "platform/headless/headless.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

namespace {

struct Win {
  HeadlessWindow info;
  WindowProc proc = nullptr;
  std::map<int, std::string> controls;
  const DialogTemplate* layout = nullptr; // template dialogs
  std::map<int, int> checks;
  std::map<int, LParam> images;
  std::vector<std::uint32_t> pixels;
  Canvas canvas;
};

struct SendWait {
  bool done = false;
  LResult result = 0;
};

struct Queued {
  Hwnd window = 0;
  unsigned message = 0;
  WParam w = 0;
  LParam l = 0;
  std::shared_ptr<SendWait> wait; // set for a send from another thread
};

struct State {
  std::mutex lock;
  std::condition_variable changed;
  std::map<Hwnd, std::unique_ptr<Win>> windows;
  Hwnd next = LocalWindowBase;
  std::deque<Queued> queue;
  std::vector<HeadlessCall> calls;
  std::deque<int> answers;
  std::vector<HeadlessBox> boxes;
  std::deque<std::string> saveAnswers;
  std::vector<HeadlessSaveAsk> saveAsks;
  int unscripted = 0;
  Point cursor;
  int screenWidth = 1280;
  int screenHeight = 800;
  int bits = 32;
  Hwnd active = 0;
  std::set<Hwnd> livePanes;
  std::set<int> trayIcons;
  bool trayAvailable = true;
  bool clipboardReadable = true;
  std::string clipboard;
  bool clipboardHasText = false;
  std::thread::id gui;
};

State& S() {
  static State state;
  return state;
}

void Record(HeadlessCall call) {
  std::lock_guard<std::mutex> guard(S().lock);
  S().calls.push_back(std::move(call));
}

HeadlessCall Call(const char* op, Hwnd window) {
  HeadlessCall c;
  c.op = op;
  c.window = window;
  return c;
}

// The window record; only the GUI thread changes the map, so the pointer stays
// good for the GUI thread's use.
Win* Find(Hwnd window) {
  std::lock_guard<std::mutex> guard(S().lock);
  auto it = S().windows.find(window);
  return it == S().windows.end() ? nullptr : it->second.get();
}

// A dialog that has ended is gone for its messages, as a destroyed window is.
LResult Deliver(Hwnd window, unsigned message, WParam w, LParam l) {
  Win* win = Find(window);
  if (win == nullptr || win->proc == nullptr || win->info.dialogEnded)
    return 0;
  return win->proc(window, message, w, l);
}

bool OnGuiThread() {
  return std::this_thread::get_id() == S().gui;
}

// Takes the next entry unless the queue is empty or a quit message stands
// first. The caller delivers it.
bool Take(Queued* out) {
  std::lock_guard<std::mutex> guard(S().lock);
  if (S().queue.empty() || S().queue.front().message == WM_QUIT)
    return false;
  *out = S().queue.front();
  S().queue.pop_front();
  return true;
}

void Handle(const Queued& q) {
  LResult result = Deliver(q.window, q.message, q.w, q.l);
  if (q.wait) {
    std::lock_guard<std::mutex> guard(S().lock);
    q.wait->result = result;
    q.wait->done = true;
    S().changed.notify_all();
  }
}

int PostMessage(Hwnd window, unsigned message, WParam w, LParam l) {
  HeadlessCall c = Call("post", window);
  c.message = message;
  c.w = w;
  c.l = l;
  Record(c);
  std::lock_guard<std::mutex> guard(S().lock);
  if (S().windows.count(window) == 0)
    return 0;
  S().queue.push_back({window, message, w, l, nullptr});
  S().changed.notify_all();
  return 1;
}

LResult SendMessage(Hwnd window, unsigned message, WParam w, LParam l) {
  HeadlessCall c = Call("send", window);
  c.message = message;
  c.w = w;
  c.l = l;
  Record(c);
  if (OnGuiThread())
    return Deliver(window, message, w, l);
  auto wait = std::make_shared<SendWait>();
  std::unique_lock<std::mutex> guard(S().lock);
  if (S().windows.count(window) == 0)
    return 0;
  // Sent messages go before posted ones, as a window system delivers them.
  S().queue.push_front({window, message, w, l, wait});
  S().changed.notify_all();
  S().changed.wait(guard, [&] { return wait->done; });
  return wait->result;
}

bool IsWindow(Hwnd window) {
  std::lock_guard<std::mutex> guard(S().lock);
  return S().windows.count(window) != 0;
}

template <typename F> void Edit(Hwnd window, F f) {
  std::lock_guard<std::mutex> guard(S().lock);
  auto it = S().windows.find(window);
  if (it != S().windows.end())
    f(*it->second);
}

void BringToTop(Hwnd window) {
  Record(Call("bringToTop", window));
}
void SetForeground(Hwnd window) {
  Record(Call("setForeground", window));
  std::lock_guard<std::mutex> guard(S().lock);
  S().active = window;
}

void SetWindowPos(Hwnd window, Hwnd after, int x, int y, int cx, int cy, unsigned flags) {
  HeadlessCall c = Call("setWindowPos", window);
  c.after = after;
  c.x = x;
  c.y = y;
  c.cx = cx;
  c.cy = cy;
  c.flags = flags;
  Record(c);
  Edit(window, [&](Win& w) {
    Rect& r = w.info.rect;
    if (!(flags & SWP_NOMOVE)) {
      int width = r.right - r.left, height = r.bottom - r.top;
      r = {x, y, x + width, y + height};
    }
    if (!(flags & SWP_NOSIZE)) {
      r.right = r.left + cx;
      r.bottom = r.top + cy;
    }
    if (!(flags & SWP_NOZORDER) && after == HWND_TOPMOST)
      w.info.topmost = true;
    if (!(flags & SWP_NOZORDER) && after == HWND_NOTOPMOST)
      w.info.topmost = false;
    if (flags & SWP_SHOWWINDOW)
      w.info.visible = true;
  });
}

void ShowWindow(Hwnd window, int command) {
  HeadlessCall c = Call("showWindow", window);
  c.x = command;
  Record(c);
  Edit(window, [&](Win& w) { w.info.visible = command != SW_HIDE; });
}

bool GetWindowRect(Hwnd window, Rect* out) {
  std::lock_guard<std::mutex> guard(S().lock);
  auto it = S().windows.find(window);
  if (it == S().windows.end() || out == nullptr)
    return false;
  *out = it->second->info.rect;
  return true;
}

void SetWindowRegion(Hwnd window, const Point* points, int count) {
  HeadlessCall c = Call("setWindowRegion", window);
  c.x = count;
  Record(c);
  Edit(window, [&](Win& w) {
    w.info.region.clear();
    if (points != nullptr && count > 0)
      w.info.region.assign(points, points + count);
  });
}

void Invalidate(Hwnd window) {
  Record(Call("invalidate", window));
}

void SetTitle(Hwnd window, const std::string& title) {
  HeadlessCall c = Call("setTitle", window);
  c.text = title;
  Record(c);
  Edit(window, [&](Win& w) { w.info.title = title; });
}

Hwnd ActiveWindow() {
  std::lock_guard<std::mutex> guard(S().lock);
  return S().active;
}

void SetTimer(Hwnd window, int id, int ms) {
  HeadlessCall c = Call("setTimer", window);
  c.x = id;
  c.cx = ms;
  Record(c);
  Edit(window, [&](Win& w) {
    for (int t : w.info.timers)
      if (t == id)
        return;
    w.info.timers.push_back(id);
  });
}

void KillTimer(Hwnd window, int id) {
  HeadlessCall c = Call("killTimer", window);
  c.x = id;
  Record(c);
  Edit(window, [&](Win& w) { std::erase(w.info.timers, id); });
}

Point CursorPos() {
  std::lock_guard<std::mutex> guard(S().lock);
  return S().cursor;
}
int ScreenWidth() {
  std::lock_guard<std::mutex> guard(S().lock);
  return S().screenWidth;
}
int ScreenHeight() {
  std::lock_guard<std::mutex> guard(S().lock);
  return S().screenHeight;
}
int DisplayBits(Hwnd) {
  std::lock_guard<std::mutex> guard(S().lock);
  return S().bits;
}

int MessageBox(Hwnd owner, const std::string& text, const std::string& title, unsigned type) {
  HeadlessBox box{owner, text, title, type, IDOK, false};
  {
    std::lock_guard<std::mutex> guard(S().lock);
    if (!S().answers.empty()) {
      box.answer = S().answers.front();
      box.scripted = true;
      S().answers.pop_front();
    } else if (type == MB_YESNOCANCEL) {
      box.answer = IDCANCEL;
      ++S().unscripted;
    } else if (type == MB_YESNO) {
      box.answer = IDNO;
      ++S().unscripted;
    }
    S().boxes.push_back(box);
  }
  HeadlessCall c = Call("messageBox", owner);
  c.text = title + ": " + text;
  c.x = box.answer;
  Record(c);
  return box.answer;
}

std::string SaveFileDialog(Hwnd owner, const std::string& title,
                           const std::vector<FilterRow>& filter, const std::string& name,
                           const std::string& folder) {
  HeadlessSaveAsk ask{owner, title, filter, name, folder, std::string(), false};
  {
    std::lock_guard<std::mutex> guard(S().lock);
    if (!S().saveAnswers.empty()) {
      ask.answer = S().saveAnswers.front();
      ask.scripted = true;
      S().saveAnswers.pop_front();
    } else {
      ++S().unscripted;
    }
    S().saveAsks.push_back(ask);
  }
  HeadlessCall c = Call("saveFileDialog", owner);
  c.text = title + ": " + name;
  Record(c);
  return ask.answer;
}

std::string GetControlText(Hwnd window, int control) {
  std::lock_guard<std::mutex> guard(S().lock);
  auto it = S().windows.find(window);
  if (it == S().windows.end())
    return std::string();
  auto text = it->second->controls.find(control);
  return text == it->second->controls.end() ? std::string() : text->second;
}

void SetControlText(Hwnd window, int control, const std::string& text) {
  Edit(window, [&](Win& w) { w.controls[control] = text; });
}

Canvas* GetCanvas(Hwnd window) {
  Record(Call("getCanvas", window));
  std::lock_guard<std::mutex> guard(S().lock);
  auto it = S().windows.find(window);
  if (it == S().windows.end())
    return nullptr;
  Win& w = *it->second;
  int width = std::max(0, w.info.rect.right - w.info.rect.left);
  int height = std::max(0, w.info.rect.bottom - w.info.rect.top);
  if (width != w.canvas.width || height != w.canvas.height) {
    w.pixels.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
    w.canvas = {width, height, w.pixels.data()};
  }
  return &w.canvas;
}

void ReleaseCanvas(Hwnd window, Canvas*) {
  Record(Call("releaseCanvas", window));
}

Hwnd NewWindow(const std::string& className, const std::string& title, WindowProc proc) {
  auto win = std::make_unique<Win>();
  win->proc = proc;
  win->info.className = className;
  win->info.title = title;
  std::lock_guard<std::mutex> guard(S().lock);
  Hwnd id = S().next++;
  win->info.id = id;
  S().windows[id] = std::move(win);
  return id;
}

Hwnd CreateWindow(const std::string& className, const std::string& title, WindowProc proc) {
  if (className.empty() || proc == nullptr)
    return 0;
  Hwnd id = NewWindow(className, title, proc);
  HeadlessCall c = Call("createWindow", id);
  c.text = className + "|" + title;
  Record(c);
  Deliver(id, WM_CREATE, 0, 0);
  return id;
}

Hwnd FindWindow(const std::string& className, const std::string& title) {
  std::lock_guard<std::mutex> guard(S().lock);
  for (auto& [id, w] : S().windows)
    if (w->info.className == className && w->info.title == title)
      return id;
  return 0;
}

bool Ended(Hwnd window, int* result) {
  std::lock_guard<std::mutex> guard(S().lock);
  auto it = S().windows.find(window);
  if (it == S().windows.end() || !it->second->info.dialogEnded)
    return false;
  *result = it->second->info.dialogResult;
  return true;
}

// A dialog's modal loop on the GUI thread: WM_INITDIALOG, shown unless it
// ended at once, then messages until its end (-1 when the queue runs dry).
int RunDialog(Hwnd id, LParam param) {
  Deliver(id, WM_INITDIALOG, 0, param);
  int result = 0;
  if (!Ended(id, &result))
    Edit(id, [](Win& w) { w.info.visible = true; });
  for (;;) {
    if (Ended(id, &result))
      return result;
    Queued q;
    if (!Take(&q))
      return -1;
    Handle(q);
  }
}

int DialogBox(WindowProc proc, LParam param) {
  if (proc == nullptr)
    return -1;
  Hwnd id = NewWindow("#32770", "", proc);
  HeadlessCall c = Call("dialogBox", id);
  Record(c);
  return RunDialog(id, param);
}

void EndDialog(Hwnd window, int result) {
  HeadlessCall c = Call("endDialog", window);
  c.x = result;
  Record(c);
  Edit(window, [&](Win& w) {
    w.info.dialogEnded = true;
    w.info.dialogResult = result;
    w.info.visible = false;
  });
  S().changed.notify_all(); // a job thread may wait for this dialog
}

const ControlTemplate* ControlOf(const Win& w, int control) {
  if (w.layout == nullptr)
    return nullptr;
  for (int i = 0; i < w.layout->count; ++i)
    if (w.layout->controls[i].id == control)
      return &w.layout->controls[i];
  return nullptr;
}

int TemplateDialog(const DialogTemplate* layout, Hwnd owner, WindowProc proc, LParam param) {
  if (layout == nullptr || proc == nullptr)
    return -1;
  Hwnd id = NewWindow("#32770", layout->title, proc);
  Edit(id, [&](Win& w) {
    w.layout = layout;
    w.info.templateId = layout->id;
    w.info.owner = owner;
    for (int i = 0; i < layout->count; ++i)
      w.controls[layout->controls[i].id] = layout->controls[i].text;
  });
  HeadlessCall c = Call("templateDialog", id);
  c.x = layout->id;
  c.after = owner;
  Record(c);
  if (OnGuiThread())
    return RunDialog(id, param);
  // Another thread's dialog lives on the GUI thread, as in the program: its
  // start is queued there and this thread waits for its end.
  std::unique_lock<std::mutex> guard(S().lock);
  S().windows[id]->info.visible = true;
  S().queue.push_back({id, WM_INITDIALOG, 0, param, nullptr});
  S().changed.notify_all();
  int result = -1;
  S().changed.wait(guard, [&] {
    auto it = S().windows.find(id);
    if (it == S().windows.end())
      return true; // the test started over
    if (!it->second->info.dialogEnded)
      return false;
    result = it->second->info.dialogResult;
    return true;
  });
  return result;
}

LResult ControlMessage(Hwnd window, int control, unsigned message, WParam w, LParam l) {
  std::lock_guard<std::mutex> guard(S().lock);
  auto it = S().windows.find(window);
  if (it == S().windows.end() || ControlOf(*it->second, control) == nullptr)
    return 0;
  Win& win = *it->second;
  switch (message) {
  case BM_GETCHECK:
    return win.checks[control];
  case BM_SETCHECK:
    win.checks[control] = static_cast<int>(w);
    return 0;
  case BM_GETIMAGE:
    return win.images[control];
  case BM_SETIMAGE: {
    LParam old = win.images[control];
    win.images[control] = l;
    return old;
  }
  default:
    return 0;
  }
}

bool ClipboardText(std::string* out) {
  std::lock_guard<std::mutex> guard(S().lock);
  if (!S().clipboardReadable || !S().clipboardHasText)
    return false;
  *out = S().clipboard;
  return true;
}

int MessageLoop() {
  for (;;) {
    {
      std::lock_guard<std::mutex> guard(S().lock);
      if (S().queue.empty())
        return -1;
      if (S().queue.front().message == WM_QUIT) {
        int code = static_cast<int>(S().queue.front().w);
        S().queue.pop_front();
        return code;
      }
    }
    Queued q;
    if (Take(&q))
      Handle(q);
  }
}

void PostQuit(int code) {
  HeadlessCall c = Call("postQuit", 0);
  c.x = code;
  Record(c);
  std::lock_guard<std::mutex> guard(S().lock);
  S().queue.push_back({0, WM_QUIT, static_cast<WParam>(code), 0, nullptr});
  S().changed.notify_all();
}

Hwnd NativeId(Hwnd window) {
  return IsWindow(window) ? window : 0;
}

bool TrayAdd(Hwnd window, int id, unsigned callbackMessage, const std::string& iconPath,
             const std::string& tip) {
  HeadlessCall c = Call("trayAdd", window);
  c.x = id;
  c.message = callbackMessage;
  c.text = iconPath + "|" + tip;
  Record(c);
  std::lock_guard<std::mutex> guard(S().lock);
  if (!S().trayAvailable)
    return false;
  S().trayIcons.insert(id);
  return true;
}

void TrayDelete(Hwnd window, int id) {
  HeadlessCall c = Call("trayDelete", window);
  c.x = id;
  Record(c);
  std::lock_guard<std::mutex> guard(S().lock);
  S().trayIcons.erase(id);
}

void TrayNotify(Hwnd window, int id, const std::string& title, const std::string& text) {
  HeadlessCall c = Call("trayNotify", window);
  c.x = id;
  c.text = title + "|" + text;
  Record(c);
}

void TrackPopupMenu(Hwnd owner, const PopupEntry* entries, int count, int x, int y) {
  HeadlessCall c = Call("trackPopupMenu", owner);
  c.x = x;
  c.y = y;
  c.cx = count;
  for (int i = 0; entries != nullptr && i < count; ++i)
    c.text += (i > 0 ? "|" : "") + std::to_string(entries[i].Id) + ":" + entries[i].Text;
  Record(c);
}

void SetWindowIcon(Hwnd window, const std::string& iconPath) {
  HeadlessCall c = Call("setWindowIcon", window);
  c.text = iconPath;
  Record(c);
}

const WindowBackend backend = [] {
  WindowBackend b{};
  FILL_LOCAL_WINDOW_BACKEND(b);
  b.saveFileDialog = SaveFileDialog;
  b.templateDialog = TemplateDialog;
  b.controlMessage = ControlMessage;
  b.clipboardText = ClipboardText;
  return b;
}();

// --- the recording Pane backend --------------------------------------------

int PanePost(Hwnd pane, unsigned message, WParam w, LParam l) {
  HeadlessCall c = Call("post", pane);
  c.message = message;
  c.w = w;
  c.l = l;
  Record(c);
  return 1;
}

LResult PaneSend(Hwnd pane, unsigned message, WParam w, LParam l) {
  HeadlessCall c = Call("send", pane);
  c.message = message;
  c.w = w;
  c.l = l;
  Record(c);
  return 0;
}

bool PaneIsWindow(Hwnd pane) {
  std::lock_guard<std::mutex> guard(S().lock);
  return S().livePanes.count(pane) != 0;
}

void PaneShow(Hwnd pane, int command) {
  HeadlessCall c = Call("showWindow", pane);
  c.x = command;
  Record(c);
}

const WindowBackend paneBackend = [] {
  WindowBackend b{};
  b.postMessage = PanePost;
  b.sendMessage = PaneSend;
  b.isWindow = PaneIsWindow;
  b.bringToTop = BringToTop;
  b.setForeground = [](Hwnd pane) { Record(Call("setForeground", pane)); };
  b.setWindowPos = SetWindowPos;
  b.showWindow = PaneShow;
  b.invalidate = Invalidate;
  return b;
}();

} // namespace

void HeadlessInstall() {
  {
    std::lock_guard<std::mutex> guard(S().lock);
    S().windows.clear();
    S().next = LocalWindowBase;
    S().queue.clear();
    S().calls.clear();
    S().answers.clear();
    S().boxes.clear();
    S().saveAnswers.clear();
    S().saveAsks.clear();
    S().unscripted = 0;
    S().cursor = {};
    S().screenWidth = 1280;
    S().screenHeight = 800;
    S().bits = 32;
    S().active = 0;
    S().livePanes.clear();
    S().trayIcons.clear();
    S().trayAvailable = true;
    S().clipboardReadable = true;
    S().clipboard.clear();
    S().clipboardHasText = false;
    S().gui = std::this_thread::get_id();
  }
  S().changed.notify_all(); // dialogs waited for by other threads are gone
  SetWindowBackend(&backend);
  SetPaneBackend(&paneBackend);
}

const WindowBackend* HeadlessBackend() {
  return &backend;
}
const WindowBackend* HeadlessPaneBackend() {
  return &paneBackend;
}

int HeadlessPump(int max) {
  int count = 0;
  Queued q;
  while (count < max && Take(&q)) {
    Handle(q);
    ++count;
  }
  return count;
}

int HeadlessPumpFor(int timeoutMs, int quietMs) {
  using Clock = std::chrono::steady_clock;
  auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
  int count = 0;
  for (;;) {
    count += HeadlessPump();
    std::unique_lock<std::mutex> guard(S().lock);
    auto quietEnd = std::min(end, Clock::now() + std::chrono::milliseconds(quietMs));
    bool more = S().changed.wait_until(
        guard, quietEnd, [] { return !S().queue.empty() && S().queue.front().message != WM_QUIT; });
    if (!more)
      return count;
  }
}

bool HeadlessQuitPending(int* code) {
  std::lock_guard<std::mutex> guard(S().lock);
  for (const Queued& q : S().queue)
    if (q.message == WM_QUIT) {
      if (code != nullptr)
        *code = static_cast<int>(q.w);
      return true;
    }
  return false;
}

std::vector<HeadlessCall> HeadlessCalls() {
  std::lock_guard<std::mutex> guard(S().lock);
  return S().calls;
}

void HeadlessClearCalls() {
  std::lock_guard<std::mutex> guard(S().lock);
  S().calls.clear();
  S().boxes.clear();
}

std::vector<HeadlessCall> HeadlessCallsOf(const std::string& op, Hwnd window) {
  std::vector<HeadlessCall> out;
  for (const HeadlessCall& c : HeadlessCalls())
    if (c.op == op && (window == 0 || c.window == window))
      out.push_back(c);
  return out;
}

void HeadlessScriptAnswers(const std::vector<int>& answers) {
  std::lock_guard<std::mutex> guard(S().lock);
  S().answers.insert(S().answers.end(), answers.begin(), answers.end());
}

std::vector<HeadlessBox> HeadlessBoxes() {
  std::lock_guard<std::mutex> guard(S().lock);
  return S().boxes;
}

void HeadlessScriptSaveAnswers(const std::vector<std::string>& answers) {
  std::lock_guard<std::mutex> guard(S().lock);
  S().saveAnswers.insert(S().saveAnswers.end(), answers.begin(), answers.end());
}

std::vector<HeadlessSaveAsk> HeadlessSaveAsks() {
  std::lock_guard<std::mutex> guard(S().lock);
  return S().saveAsks;
}

int HeadlessUnscriptedQuestions() {
  std::lock_guard<std::mutex> guard(S().lock);
  return S().unscripted;
}

bool HeadlessWindowInfo(Hwnd window, HeadlessWindow* out) {
  std::lock_guard<std::mutex> guard(S().lock);
  auto it = S().windows.find(window);
  if (it == S().windows.end())
    return false;
  *out = it->second->info;
  return true;
}

std::vector<Hwnd> HeadlessDialogs(int templateId) {
  std::lock_guard<std::mutex> guard(S().lock);
  std::vector<Hwnd> found;
  for (auto& [id, w] : S().windows)
    if (w->info.templateId == templateId && !w->info.dialogEnded)
      found.push_back(id);
  return found;
}

bool HeadlessClick(Hwnd dialog, int control) {
  {
    std::lock_guard<std::mutex> guard(S().lock);
    auto it = S().windows.find(dialog);
    if (it == S().windows.end())
      return false;
    const ControlTemplate* c = ControlOf(*it->second, control);
    if (c == nullptr && control != IDCANCEL) // 2: Esc or the close box
      return false;
    if (c != nullptr && c->kind == ControlKind::CheckBox && (c->style & ControlAuto))
      it->second->checks[control] = it->second->checks[control] == BST_CHECKED ? 0 : BST_CHECKED;
  }
  return PostMessage(dialog, WM_COMMAND, static_cast<WParam>(control), 0) != 0;
}

void HeadlessSetClipboard(const std::string* text, bool readable) {
  std::lock_guard<std::mutex> guard(S().lock);
  S().clipboardHasText = text != nullptr;
  S().clipboard = text != nullptr ? *text : std::string();
  S().clipboardReadable = readable;
}

Hwnd HeadlessFindClass(const std::string& className) {
  std::lock_guard<std::mutex> guard(S().lock);
  for (auto& [id, w] : S().windows)
    if (w->info.className == className)
      return id;
  return 0;
}

bool HeadlessFireTimer(Hwnd window, int id) {
  {
    std::lock_guard<std::mutex> guard(S().lock);
    auto it = S().windows.find(window);
    if (it == S().windows.end())
      return false;
    bool running = false;
    for (int t : it->second->info.timers)
      running = running || t == id;
    if (!running)
      return false;
    S().queue.push_back({window, WM_TIMER, static_cast<WParam>(id), 0, nullptr});
  }
  return true;
}

void HeadlessSetCursor(Point p) {
  std::lock_guard<std::mutex> guard(S().lock);
  S().cursor = p;
}

void HeadlessSetScreen(int width, int height) {
  std::lock_guard<std::mutex> guard(S().lock);
  S().screenWidth = width;
  S().screenHeight = height;
}

void HeadlessSetDisplayBits(int bits) {
  std::lock_guard<std::mutex> guard(S().lock);
  S().bits = bits;
}

void HeadlessSetActiveWindow(Hwnd window) {
  std::lock_guard<std::mutex> guard(S().lock);
  S().active = window;
}

void HeadlessSetPaneLive(Hwnd pane, bool live) {
  std::lock_guard<std::mutex> guard(S().lock);
  if (live)
    S().livePanes.insert(pane);
  else
    S().livePanes.erase(pane);
}

void HeadlessSetTrayAvailable(bool available) {
  std::lock_guard<std::mutex> guard(S().lock);
  S().trayAvailable = available;
}

int HeadlessTrayIcons() {
  std::lock_guard<std::mutex> guard(S().lock);
  return static_cast<int>(S().trayIcons.size());
}
