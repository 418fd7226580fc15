// The thin Qt adapter. Every local window is a record in one table; a dialog
// (the Panel) also has a frameless widget whose events become calls of the
// window's procedure. One Router object on the GUI thread receives posted
// messages (QCoreApplication::postEvent) and window timers (startTimer per
// (window, id)). Sends and message boxes from other threads are carried to
// the GUI thread, the caller waiting for the answer. Drawing goes to a QImage
// per window that the widget shows; WM_PAINT is asked for only when the
// window was invalidated. The carrier's descriptors are watched with
// QSocketNotifier and re-synchronised after every delivered message, since a
// handler (a launch waiting for its Pane) may accept new clients itself.
#include "platform/qt/backend_qt.h"
#include "platform/qt/x11_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QCursor>
#include <QEvent>
#include <QEventLoop>
#include <QHelpEvent>
#include <QIcon>
#include <QImage>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QPolygon>
#include <QRegion>
#include <QScreen>
#include <QSocketNotifier>
#include <QSystemTrayIcon>
#include <QThread>
#include <QTimer>
#include <QToolTip>
#include <QWidget>
#include <QWindow>

#include <cstdio>
#include <cstdlib>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/carrier.h"
#include "platform/tooltips.h"

namespace {

class PanelWidget;

struct QtWin {
  Hwnd id = 0;
  std::string className;
  std::string title;
  WindowProc proc = nullptr;
  QWidget* widget = nullptr; // dialogs only; owned here
  std::map<int, std::string> controls;
  QImage image;
  Canvas canvas;
  bool needPaint = true;
  bool inPaint = false;
  bool ended = false;
  int result = 0;
  QEventLoop* loop = nullptr;
  std::map<int, int> timers; // window timer id -> Qt timer id
  std::map<int, QSystemTrayIcon*> tray;
};

const QEvent::Type MessageEventType = static_cast<QEvent::Type>(QEvent::User + 9);

struct MessageEvent : QEvent {
  MessageEvent(Hwnd window, unsigned message, WParam w, LParam l)
      : QEvent(MessageEventType), window(window), message(message), w(w), l(l) {}
  Hwnd window;
  unsigned message;
  WParam w;
  LParam l;
};

class Router : public QObject {
 public:
  bool event(QEvent* e) override;

 protected:
  void timerEvent(QTimerEvent* e) override;
};

std::mutex tableLock; // guards windows for the calls other threads may make
std::map<Hwnd, std::unique_ptr<QtWin>> windows;
Hwnd nextId = LocalWindowBase;
Router* router = nullptr;
std::map<int, std::pair<Hwnd, int>> timerOwners; // Qt timer id -> (window, id)
std::vector<QEventLoop*> loops;
bool quitPending = false;
int quitCode = 0;
std::map<int, QSocketNotifier*> notifiers;
const QtDialogHooks* dialogHooks = nullptr;

bool OnGui() {
  return QThread::currentThread() == qApp->thread();
}

QtWin* Find(Hwnd window) {
  std::lock_guard<std::mutex> guard(tableLock);
  auto it = windows.find(window);
  return it == windows.end() ? nullptr : it->second.get();
}

QWidget* WidgetOf(Hwnd window);

void SyncCarrier() {
  std::vector<int> fds = CarrierDescriptors();
  for (auto it = notifiers.begin(); it != notifiers.end();) {
    bool kept = false;
    for (int fd : fds)
      kept = kept || fd == it->first;
    if (kept) {
      ++it;
      continue;
    }
    it->second->setEnabled(false);
    it->second->deleteLater();
    it = notifiers.erase(it);
  }
  for (int fd : fds) {
    if (notifiers.count(fd) != 0)
      continue;
    auto* n = new QSocketNotifier(fd, QSocketNotifier::Read, router);
    QObject::connect(n, &QSocketNotifier::activated, router, [fd] {
      CarrierService(fd);
      SyncCarrier();
    });
    notifiers[fd] = n;
  }
}

// A dialog that has ended is gone for its messages, as a destroyed window is.
LResult Deliver(Hwnd window, unsigned message, WParam w, LParam l) {
  QtWin* win = Find(window);
  if (win == nullptr || win->proc == nullptr || win->ended)
    return 0;
  LResult result = win->proc(window, message, w, l);
  SyncCarrier();
  return result;
}

bool Router::event(QEvent* e) {
  if (e->type() != MessageEventType)
    return QObject::event(e);
  auto* m = static_cast<MessageEvent*>(e);
  Deliver(m->window, m->message, m->w, m->l);
  return true;
}

void Router::timerEvent(QTimerEvent* e) {
  auto it = timerOwners.find(e->timerId());
  if (it != timerOwners.end())
    Deliver(it->second.first, WM_TIMER, static_cast<WParam>(it->second.second), 0);
}

LParam PointParam(const QPoint& p) {
  return static_cast<LParam>(((p.y() & 0xFFFF) << 16) | (p.x() & 0xFFFF));
}

class PanelWidget : public QWidget {
 public:
  explicit PanelWidget(Hwnd id) : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint), id_(id) {
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    // Tips also while a Pane or another program has the focus.
    setAttribute(Qt::WA_AlwaysShowToolTips);
    // X reports no move to the Panel once the pointer is over a Pane (a child
    // window) or gone; Windows does, and a lit button goes back to rest by it.
    pointerWatch_.setInterval(250);
    QObject::connect(&pointerWatch_, &QTimer::timeout, this, [this] {
      if (!isVisible() || QGuiApplication::mouseButtons() != Qt::NoButton)
        return;
      QPoint at = mapFromGlobal(QCursor::pos());
      if (at != lastMove_)
        Move(0, at);
    });
    pointerWatch_.start();
  }

 protected:
  void Move(WParam keys, const QPoint& at) {
    lastMove_ = at;
    Deliver(id_, WM_MOUSEMOVE, keys, PointParam(at));
  }
  // Every expose paints the whole face, as WM_PAINT does after an invalidate;
  // the widget's own updates only show the picture that the system drew.
  bool eventFilter(QObject* watched, QEvent* e) override {
    if (e->type() == QEvent::Expose && watched == windowHandle() && windowHandle()->isExposed()) {
      if (QtWin* win = Find(id_))
        win->needPaint = true;
    }
    return false;
  }
  void showEvent(QShowEvent*) override {
    if (windowHandle() != nullptr && !watchingExpose_) {
      windowHandle()->installEventFilter(this);
      watchingExpose_ = true;
    }
  }
  void paintEvent(QPaintEvent*) override {
    QtWin* win = Find(id_);
    if (win == nullptr)
      return;
    if (win->needPaint) {
      win->needPaint = false;
      win->inPaint = true;
      Deliver(id_, WM_PAINT, 0, 0);
      win->inPaint = false;
    }
    QPainter painter(this);
    if (win->image.isNull())
      painter.fillRect(rect(), Qt::black);
    else
      painter.drawImage(0, 0, win->image);
  }
  void mouseMoveEvent(QMouseEvent* e) override {
    Move((e->buttons() & Qt::LeftButton) ? MK_LBUTTON : 0, e->position().toPoint());
  }
  void mousePressEvent(QMouseEvent* e) override {
    if (e->button() != Qt::LeftButton)
      return;
    // The zone under the pointer, not the code the last press left behind: a
    // press without a move in between gets no move from X, where Windows
    // sends one whenever the window under the pointer changes.
    Move(0, e->position().toPoint());
    Deliver(id_, WM_LBUTTONDOWN, MK_LBUTTON, PointParam(e->position().toPoint()));
  }
  void mouseReleaseEvent(QMouseEvent* e) override {
    if (e->button() == Qt::LeftButton)
      Deliver(id_, WM_LBUTTONUP, 0, PointParam(e->position().toPoint()));
  }
  void keyPressEvent(QKeyEvent* e) override {
    // Esc is the dialog's cancel action.
    if (e->key() == Qt::Key_Escape)
      Deliver(id_, WM_COMMAND, 2, 0);
  }
  void closeEvent(QCloseEvent* e) override {
    e->ignore();
    Deliver(id_, WM_COMMAND, 2, 0);
  }
  bool event(QEvent* e) override {
    if (e->type() == QEvent::ToolTip) {
      auto* help = static_cast<QHelpEvent*>(e);
      std::string text = TooltipTextAt(id_, help->pos().x(), help->pos().y());
      if (text.empty())
        QToolTip::hideText();
      else
        QToolTip::showText(help->globalPos(), QString::fromStdString(text), this);
      return true;
    }
    return QWidget::event(e);
  }

 private:
  Hwnd id_;
  QTimer pointerWatch_;
  QPoint lastMove_{-1, -1};
  bool watchingExpose_ = false;
};

QWidget* WidgetOf(Hwnd window) {
  QtWin* win = Find(window);
  return win == nullptr ? nullptr : win->widget;
}

// --- the members -------------------------------------------------------------

int PostMessage(Hwnd window, unsigned message, WParam w, LParam l) {
  if (Find(window) == nullptr || router == nullptr)
    return 0;
  QCoreApplication::postEvent(router, new MessageEvent(window, message, w, l));
  return 1;
}

LResult SendMessage(Hwnd window, unsigned message, WParam w, LParam l) {
  if (OnGui())
    return Deliver(window, message, w, l);
  if (Find(window) == nullptr || router == nullptr)
    return 0;
  LResult result = 0;
  QMetaObject::invokeMethod(
      router, [&] { result = Deliver(window, message, w, l); }, Qt::BlockingQueuedConnection);
  return result;
}

bool IsWindow(Hwnd window) {
  return Find(window) != nullptr;
}

void BringToTop(Hwnd window) {
  if (QWidget* w = WidgetOf(window))
    w->raise();
}

void SetForeground(Hwnd window) {
  if (QWidget* w = WidgetOf(window)) {
    w->raise();
    w->activateWindow();
  }
}

// Kept above others through the window manager, not through Qt's flag: a
// change of that flag makes Qt replace the native window at its next show, and
// the Panes embedded in the old one would go with it. A hidden window takes
// the state when it is shown again.
void ApplyTopmost(QWidget* w) {
  QVariant wanted = w->property("skerryTopmost");
  if (!wanted.isValid() || !w->isVisible())
    return;
  w->setProperty("skerryTopmost", QVariant());
  X11SetAbove(w, wanted.toBool());
}

void SetTopmost(QWidget* w, bool on) {
  w->setProperty("skerryTopmost", on);
  ApplyTopmost(w);
}

void Show(QWidget* w, bool normal = false) {
  if (normal)
    w->showNormal();
  else
    w->show();
  ApplyTopmost(w);
}

void SetWindowPos(Hwnd window, Hwnd after, int x, int y, int cx, int cy, unsigned flags) {
  QWidget* w = WidgetOf(window);
  if (w == nullptr)
    return;
  if (!(flags & SWP_NOSIZE))
    w->setFixedSize(std::max(0, cx), std::max(0, cy));
  if (!(flags & SWP_NOMOVE))
    w->move(x, y);
  bool hooked = dialogHooks != nullptr && dialogHooks->zOrder(window, after);
  if (!(flags & SWP_NOZORDER) && !hooked) {
    if (after == HWND_TOPMOST)
      SetTopmost(w, true);
    else if (after == HWND_NOTOPMOST)
      SetTopmost(w, false);
    else if (after == HWND_TOP)
      w->raise();
  }
  if (flags & SWP_SHOWWINDOW)
    Show(w);
}

void ShowWindow(Hwnd window, int command) {
  QWidget* w = WidgetOf(window);
  if (w == nullptr)
    return;
  QtWin* win = Find(window);
  if (command == SW_HIDE && win->tray.empty() && X11HasWindowManager())
    w->showMinimized(); // no tray icon to bring it back by: the task bar's
  else if (command == SW_HIDE)
    w->hide();
  else
    Show(w, command == SW_RESTORE);
}

bool GetWindowRect(Hwnd window, Rect* out) {
  QWidget* w = WidgetOf(window);
  if (w == nullptr || out == nullptr)
    return false;
  QRect g = w->geometry();
  *out = {g.left(), g.top(), g.left() + g.width(), g.top() + g.height()};
  return true;
}

void SetWindowRegion(Hwnd window, const Point* points, int count) {
  QWidget* w = WidgetOf(window);
  if (w == nullptr)
    return;
  if (points == nullptr || count <= 0) {
    w->clearMask();
    return;
  }
  QPolygon polygon;
  for (int i = 0; i < count; ++i)
    polygon << QPoint(points[i].x, points[i].y);
  w->setMask(QRegion(polygon, Qt::OddEvenFill));
}

void Invalidate(Hwnd window) {
  QtWin* win = Find(window);
  if (win == nullptr || win->widget == nullptr)
    return;
  win->needPaint = true;
  win->widget->update();
}

void SetTitle(Hwnd window, const std::string& title) {
  QtWin* win = Find(window);
  if (win == nullptr)
    return;
  {
    std::lock_guard<std::mutex> guard(tableLock);
    win->title = title;
  }
  if (win->widget != nullptr)
    win->widget->setWindowTitle(QString::fromStdString(title));
}

Hwnd ActiveWindow() {
  QWidget* active = QApplication::activeWindow();
  std::lock_guard<std::mutex> guard(tableLock);
  for (auto& [id, w] : windows)
    if (active != nullptr && w->widget == active)
      return id;
  return 0;
}

void KillTimer(Hwnd window, int id) {
  QtWin* win = Find(window);
  if (win == nullptr)
    return;
  auto it = win->timers.find(id);
  if (it == win->timers.end())
    return;
  router->killTimer(it->second);
  timerOwners.erase(it->second);
  win->timers.erase(it);
}

void SetTimer(Hwnd window, int id, int ms) {
  QtWin* win = Find(window);
  if (win == nullptr || router == nullptr)
    return;
  KillTimer(window, id); // a timer set again starts over
  int qtId = router->startTimer(std::max(1, ms));
  if (qtId == 0)
    return;
  win->timers[id] = qtId;
  timerOwners[qtId] = {window, id};
}

Point CursorPos() {
  QPoint p = QCursor::pos();
  return {p.x(), p.y()};
}

QScreen* Screen() {
  return QGuiApplication::primaryScreen();
}
int ScreenWidth() {
  return Screen() != nullptr ? Screen()->geometry().width() : 0;
}
int ScreenHeight() {
  return Screen() != nullptr ? Screen()->geometry().height() : 0;
}
int DisplayBits(Hwnd) {
  return Screen() != nullptr ? Screen()->depth() : 0;
}

QMessageBox::StandardButtons Buttons(unsigned type) {
  if (type == MB_YESNOCANCEL)
    return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
  if (type == MB_YESNO)
    return QMessageBox::Yes | QMessageBox::No;
  return QMessageBox::Ok;
}

int Answer(QMessageBox* box, unsigned type) {
  switch (box->standardButton(box->clickedButton())) {
  case QMessageBox::Yes:
    return IDYES;
  case QMessageBox::No:
    return IDNO;
  case QMessageBox::Cancel:
    return IDCANCEL;
  case QMessageBox::Ok:
    return IDOK;
  default:
    // Closed without a button: the answer that changes nothing.
    return type == MB_YESNO ? IDNO : type == MB_YESNOCANCEL ? IDCANCEL : IDOK;
  }
}

QMessageBox* NewBox(Hwnd owner, const std::string& text, const std::string& title, unsigned type) {
  auto* box = new QMessageBox(QMessageBox::NoIcon, QString::fromStdString(title),
                              QString::fromStdString(text), Buttons(type), WidgetOf(owner));
  if (owner == 0 || WidgetOf(owner) == nullptr || !WidgetOf(owner)->isVisible())
    box->setParent(nullptr, Qt::Dialog);
  return box;
}

int MessageBox(Hwnd owner, const std::string& text, const std::string& title, unsigned type) {
  if (OnGui()) {
    std::unique_ptr<QMessageBox> box(NewBox(owner, text, title, type));
    box->exec();
    return Answer(box.get(), type);
  }
  // A worker's box stands on the GUI thread without a nested loop of its
  // own, so several can stand at once and end in any order.
  auto answer = std::make_shared<std::promise<int>>();
  std::future<int> result = answer->get_future();
  QMetaObject::invokeMethod(
      router,
      [=] {
        QMessageBox* box = NewBox(owner, text, title, type);
        box->setAttribute(Qt::WA_DeleteOnClose);
        QObject::connect(box, &QMessageBox::finished, box,
                         [=](int) { answer->set_value(Answer(box, type)); });
        box->open();
      },
      Qt::QueuedConnection);
  return result.get();
}

std::string GetControlText(Hwnd window, int control) {
  std::string shown;
  if (dialogHooks != nullptr && OnGui() && dialogHooks->getText(window, control, &shown))
    return shown;
  std::lock_guard<std::mutex> guard(tableLock);
  auto it = windows.find(window);
  if (it == windows.end())
    return std::string();
  auto text = it->second->controls.find(control);
  return text == it->second->controls.end() ? std::string() : text->second;
}

void SetControlText(Hwnd window, int control, const std::string& text) {
  {
    std::lock_guard<std::mutex> guard(tableLock);
    auto it = windows.find(window);
    if (it != windows.end())
      it->second->controls[control] = text;
  }
  if (dialogHooks != nullptr && OnGui())
    dialogHooks->setText(window, control, text);
}

Canvas* GetCanvas(Hwnd window) {
  QtWin* win = Find(window);
  if (win == nullptr || win->widget == nullptr)
    return nullptr;
  QSize size = win->widget->size();
  if (win->image.size() != size) {
    win->image = QImage(size, QImage::Format_RGB32);
    win->image.fill(Qt::black);
  }
  // 32-bit rows are exactly width pixels long: no padding to step over.
  win->canvas = {win->image.width(), win->image.height(),
                 reinterpret_cast<std::uint32_t*>(win->image.bits())};
  return &win->canvas;
}

void ReleaseCanvas(Hwnd window, Canvas*) {
  QtWin* win = Find(window);
  if (win == nullptr || win->widget == nullptr || win->image.isNull())
    return;
  // The system draws 0x00RRGGBB; the picture wants its pixels opaque.
  auto* p = reinterpret_cast<std::uint32_t*>(win->image.bits());
  std::size_t n =
      static_cast<std::size_t>(win->image.width()) * static_cast<std::size_t>(win->image.height());
  for (std::size_t i = 0; i < n; ++i)
    p[i] |= 0xFF000000u;
  if (!win->inPaint)
    win->widget->update();
}

Hwnd NewWindow(const std::string& className, const std::string& title, WindowProc proc,
               bool dialog) {
  auto win = std::make_unique<QtWin>();
  win->className = className;
  win->title = title;
  win->proc = proc;
  Hwnd id;
  {
    std::lock_guard<std::mutex> guard(tableLock);
    id = nextId++;
    win->id = id;
  }
  if (dialog) {
    win->widget = new PanelWidget(id);
    win->widget->setWindowTitle(QString::fromStdString(title));
  }
  std::lock_guard<std::mutex> guard(tableLock);
  windows[id] = std::move(win);
  return id;
}

Hwnd CreateWindow(const std::string& className, const std::string& title, WindowProc proc) {
  if (className.empty() || proc == nullptr || router == nullptr)
    return 0;
  Hwnd id = NewWindow(className, title, proc, false);
  Deliver(id, WM_CREATE, 0, 0);
  return id;
}

Hwnd FindWindow(const std::string& className, const std::string& title) {
  std::lock_guard<std::mutex> guard(tableLock);
  for (auto& [id, w] : windows)
    if (w->className == className && w->title == title)
      return id;
  return 0;
}

int DialogBox(WindowProc proc, LParam param) {
  if (proc == nullptr || router == nullptr)
    return -1;
  Hwnd id = NewWindow("#32770", "", proc, true);
  QtWin* win = Find(id);
  Deliver(id, WM_INITDIALOG, 0, param);
  if (win->ended)
    return win->result;
  Show(win->widget);
  SyncCarrier();
  if (!quitPending) {
    QEventLoop loop;
    win->loop = &loop;
    loops.push_back(&loop);
    loop.exec();
    loops.pop_back();
    win->loop = nullptr;
  }
  return win->ended ? win->result : -1;
}

void EndDialog(Hwnd window, int result) {
  QtWin* win = Find(window);
  if (win == nullptr)
    return;
  win->ended = true;
  win->result = result;
  // An ended dialog gets no more messages: its timers go with it.
  while (!win->timers.empty())
    KillTimer(window, win->timers.begin()->first);
  if (win->widget != nullptr)
    win->widget->hide();
  if (win->loop != nullptr)
    win->loop->quit();
  if (dialogHooks != nullptr)
    dialogHooks->ended(window, result);
}

int MessageLoop() {
  if (!quitPending) {
    QEventLoop loop;
    loops.push_back(&loop);
    loop.exec();
    loops.pop_back();
  }
  quitPending = false;
  return quitCode;
}

void PostQuit(int code) {
  quitPending = true;
  quitCode = code;
  for (QEventLoop* loop : loops)
    loop->quit();
}

Hwnd NativeId(Hwnd window) {
  QWidget* w = WidgetOf(window);
  return w == nullptr ? 0 : static_cast<Hwnd>(w->winId());
}

bool TrayAdd(Hwnd window, int id, unsigned callbackMessage, const std::string& iconPath,
             const std::string& tip) {
  QtWin* win = Find(window);
  if (win == nullptr || !QSystemTrayIcon::isSystemTrayAvailable())
    return false;
  if (win->tray.count(id) != 0)
    return true;
  auto* icon = new QSystemTrayIcon(QIcon(QString::fromStdString(iconPath)), router);
  icon->setToolTip(QString::fromStdString(tip));
  QObject::connect(icon, &QSystemTrayIcon::activated, router,
                   [window, id, callbackMessage](QSystemTrayIcon::ActivationReason reason) {
                     LParam mouse = reason == QSystemTrayIcon::Context       ? WM_RBUTTONDOWN
                                    : reason == QSystemTrayIcon::DoubleClick ? WM_LBUTTONDBLCLK
                                    : reason == QSystemTrayIcon::Trigger     ? WM_LBUTTONDOWN
                                                                             : 0;
                     if (mouse != 0)
                       Deliver(window, callbackMessage, static_cast<WParam>(id), mouse);
                   });
  icon->show();
  win->tray[id] = icon;
  return true;
}

void TrayDelete(Hwnd window, int id) {
  QtWin* win = Find(window);
  if (win == nullptr)
    return;
  auto it = win->tray.find(id);
  if (it == win->tray.end())
    return;
  it->second->hide();
  it->second->deleteLater();
  win->tray.erase(it);
}

void TrayNotify(Hwnd window, int id, const std::string& title, const std::string& text) {
  if (router == nullptr)
    return;
  // The icon lives on the GUI thread; a job's thread only queues the message.
  QMetaObject::invokeMethod(
      router,
      [window, id, title, text] {
        QtWin* win = Find(window);
        auto it = win == nullptr ? decltype(win->tray)::iterator{} : win->tray.find(id);
        if (win != nullptr && it != win->tray.end())
          it->second->showMessage(QString::fromStdString(title), QString::fromStdString(text));
      },
      Qt::QueuedConnection);
}

void TrackPopupMenu(Hwnd owner, const PopupEntry* entries, int count, int x, int y) {
  if (entries == nullptr || count <= 0)
    return;
  QMenu menu;
  for (int i = 0; i < count; ++i) {
    if (entries[i].Id == 0) {
      menu.addSeparator();
      continue;
    }
    QAction* action = menu.addAction(QString::fromStdString(entries[i].Text));
    action->setData(entries[i].Id);
  }
  QAction* chosen = menu.exec(QPoint(x, y));
  if (chosen != nullptr)
    PostMessage(owner, WM_COMMAND, static_cast<WParam>(chosen->data().toInt()), 0);
}

void SetWindowIcon(Hwnd window, const std::string& iconPath) {
  if (QWidget* w = WidgetOf(window))
    w->setWindowIcon(QIcon(QString::fromStdString(iconPath)));
}

const WindowBackend backend = [] {
  WindowBackend b{};
  FILL_LOCAL_WINDOW_BACKEND(b);
  b.saveFileDialog = QtSaveFileDialog;
  b.templateDialog = QtTemplateDialog;
  b.controlMessage = QtControlMessage;
  b.clipboardText = QtClipboardText;
  return b;
}();

} // namespace

void QtEndProcess(int code) {
  CarrierClose();
  std::vector<unsigned long> natives;
  {
    std::lock_guard<std::mutex> guard(tableLock);
    for (auto& [id, w] : windows)
      if (w->widget != nullptr && w->widget->testAttribute(Qt::WA_WState_Created))
        natives.push_back(static_cast<unsigned long>(w->widget->winId()));
  }
  X11AwaitNoChildren(natives.data(), static_cast<int>(natives.size()), 4000);
  std::fflush(nullptr);
  std::_Exit(code);
}

QWidget* QtWindowWidget(Hwnd window) {
  return WidgetOf(window);
}

Hwnd QtAddWindow(const std::string& className, const std::string& title, WindowProc proc,
                 QWidget* widget) {
  Hwnd id = NewWindow(className, title, proc, false);
  Find(id)->widget = widget;
  return id;
}

void QtForgetWidget(Hwnd window) {
  if (QtWin* win = Find(window))
    win->widget = nullptr;
}

LResult QtDeliver(Hwnd window, unsigned message, WParam w, LParam l) {
  return Deliver(window, message, w, l);
}

void QtSetDialogHooks(const QtDialogHooks* hooks) {
  dialogHooks = hooks;
}

const WindowBackend* QtBackend() {
  if (router == nullptr)
    router = new Router;
  return &backend;
}
