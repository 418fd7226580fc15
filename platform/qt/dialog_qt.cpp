// Template dialogs on Qt widgets: a QDialog laid out from the template's
// dialog units in the template's font, one widget per control, each click a
// WM_COMMAND to the dialog's procedure. The dialog is a window of the
// backend's table, so timers, posts, texts and placing work as for any local
// window. Every dialog lives on the GUI thread, modal to nothing; a job
// thread that asks for one waits for its end, so several can stand at once
// and end in any order.
//
// A paint of the dialog is the window system's expose, not every repaint of
// a control: the animation redraws only its button. Pulling the dialog in
// front raises it; it never toggles the stay-on-top flag, which would make
// the window anew and expose it again.
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QCloseEvent>
#include <QDialog>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFontMetrics>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QThread>
#include <QWindow>

#include <functional>
#include <future>
#include <map>
#include <memory>

#include "platform/bitmap.h"
#include "platform/qt/backend_qt.h"

namespace {

struct Control {
  const ControlTemplate* layout = nullptr;
  QWidget* widget = nullptr;
  LParam image = 0;
};

struct TemplateWin;

class TemplateWidget : public QDialog {
 public:
  TemplateWidget(QWidget* parent) : QDialog(parent) {}
  Hwnd id = 0;

 protected:
  void reject() override { QtDeliver(id, WM_COMMAND, IDCANCEL, 0); } // Esc
  void closeEvent(QCloseEvent* e) override {
    e->ignore();
    QtDeliver(id, WM_COMMAND, IDCANCEL, 0);
  }
  bool eventFilter(QObject* watched, QEvent* e) override;

 private:
  QElapsedTimer lastPaint_;
};

struct TemplateWin {
  TemplateWidget* dialog = nullptr;
  std::map<int, Control> controls;
  std::function<void(int)> done;
};

// GUI thread only, like the widgets.
std::map<Hwnd, TemplateWin>& Dialogs() {
  static auto* dialogs = new std::map<Hwnd, TemplateWin>;
  return *dialogs;
}

Control* ControlOf(Hwnd window, int control) {
  auto it = Dialogs().find(window);
  if (it == Dialogs().end())
    return nullptr;
  auto c = it->second.controls.find(control);
  return c == it->second.controls.end() ? nullptr : &c->second;
}

bool TemplateWidget::eventFilter(QObject* watched, QEvent* e) {
  // Pulled in front over other programs, never over another question of
  // ours that has the focus: two dialogs would take it from each other.
  auto* active = qobject_cast<QDialog*>(QApplication::activeWindow());
  if (e->type() == QEvent::Expose && windowHandle() != nullptr && windowHandle()->isExposed() &&
      (active == nullptr || active == this)) {
    // Its own raise may expose it once more at once; that is the same paint.
    if (!lastPaint_.isValid() || lastPaint_.elapsed() > 250) {
      lastPaint_.start();
      Hwnd window = id;
      QMetaObject::invokeMethod(
          this, [window] { QtDeliver(window, WM_PAINT, 0, 0); }, Qt::QueuedConnection);
    }
  }
  return QDialog::eventFilter(watched, e);
}

QString Shown(const std::string& text) {
  QString s = QString::fromStdString(text);
  s.replace("\r\n", "\n");
  return s;
}

bool GetText(Hwnd window, int control, std::string* out) {
  Control* c = ControlOf(window, control);
  if (c == nullptr)
    return false;
  QString text;
  if (auto* edit = qobject_cast<QPlainTextEdit*>(c->widget))
    text = edit->toPlainText().replace("\n", "\r\n");
  else if (auto* line = qobject_cast<QLineEdit*>(c->widget))
    text = line->text();
  else if (auto* label = qobject_cast<QLabel*>(c->widget))
    text = label->text();
  else if (auto* button = qobject_cast<QAbstractButton*>(c->widget))
    text = button->text();
  *out = text.toStdString();
  return true;
}

void SetText(Hwnd window, int control, const std::string& text) {
  Control* c = ControlOf(window, control);
  if (c == nullptr)
    return;
  if (auto* edit = qobject_cast<QPlainTextEdit*>(c->widget))
    edit->setPlainText(Shown(text));
  else if (auto* line = qobject_cast<QLineEdit*>(c->widget))
    line->setText(Shown(text));
  else if (auto* label = qobject_cast<QLabel*>(c->widget))
    label->setText(Shown(text));
  else if (auto* check = qobject_cast<QCheckBox*>(c->widget))
    check->setText(Shown(text));
}

bool ZOrder(Hwnd window, Hwnd after) {
  auto it = Dialogs().find(window);
  if (it == Dialogs().end())
    return false;
  if (after == HWND_TOPMOST || after == HWND_TOP)
    it->second.dialog->raise();
  return true;
}

void Ended(Hwnd window, int result) {
  auto it = Dialogs().find(window);
  if (it == Dialogs().end())
    return;
  TemplateWin win = it->second;
  Dialogs().erase(it);
  win.dialog->hide();
  // Each job opens a dialog of its own: an ended one goes, not kept hidden.
  QtForgetWidget(window);
  win.dialog->deleteLater();
  if (win.done)
    win.done(result);
}

const QtDialogHooks hooks = {GetText, SetText, ZOrder, Ended};

// Dialog units: a quarter of the font's average character width across, an
// eighth of its height down.
struct Units {
  int x = 1, y = 1;
  QRect Of(int left, int top, int width, int height) const {
    return QRect(left * x / 4, top * y / 8, width * x / 4, height * y / 8);
  }
};

QWidget* MakeControl(const ControlTemplate& t, QWidget* parent, Hwnd window) {
  QString text = QString::fromUtf8(t.text);
  WParam command = static_cast<WParam>(t.id);
  switch (t.kind) {
  case ControlKind::Button: {
    auto* button = new QPushButton(parent);
    if (!(t.style & ControlBitmap))
      button->setText(text);
    button->setDefault(t.style & ControlDefault);
    QObject::connect(button, &QPushButton::clicked,
                     [window, command] { QtDeliver(window, WM_COMMAND, command, 0); });
    return button;
  }
  case ControlKind::CheckBox: {
    auto* check = new QCheckBox(text, parent);
    // A plain check box: Qt turns it on the click, as an automatic one does.
    QObject::connect(check, &QCheckBox::clicked,
                     [window, command] { QtDeliver(window, WM_COMMAND, command, 0); });
    return check;
  }
  case ControlKind::Edit:
    if (t.style & ControlMultiLine) {
      auto* edit = new QPlainTextEdit(parent);
      edit->setReadOnly(t.style & ControlReadOnly);
      edit->setFrameShape(QFrame::NoFrame);
      edit->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
      edit->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
      edit->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
      edit->document()->setDocumentMargin(0);
      QPalette palette = edit->palette();
      palette.setColor(QPalette::Base, parent->palette().color(QPalette::Window));
      edit->setPalette(palette);
      return edit;
    } else {
      auto* line = new QLineEdit(text, parent);
      line->setReadOnly(t.style & ControlReadOnly);
      return line;
    }
  case ControlKind::Static:
    break;
  }
  auto* label = new QLabel(text, parent);
  label->setTextFormat(Qt::PlainText);
  label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
  return label;
}

TemplateWidget* Build(const DialogTemplate* t, Hwnd owner, WindowProc proc, Hwnd* id) {
  auto* dialog = new TemplateWidget(QtQuestionParent(owner));
  dialog->setWindowFlags(Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                         Qt::WindowCloseButtonHint | Qt::WindowStaysOnTopHint);
  dialog->setWindowTitle(QString::fromUtf8(t->title));
  QFont font(QString::fromUtf8(t->font), t->fontSize);
  font.setStyleHint(QFont::Serif);
  dialog->setFont(font);
  QFontMetrics metrics(font);
  Units units;
  const char* sample = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  units.x = (metrics.horizontalAdvance(QString::fromLatin1(sample)) / 26 + 1) / 2;
  units.y = metrics.height();
  QRect size = units.Of(0, 0, t->cx, t->cy);
  dialog->setFixedSize(size.width(), size.height());

  *id = QtAddWindow("#32770", t->title, proc, dialog);
  dialog->id = *id;
  TemplateWin& win = Dialogs()[*id];
  win.dialog = dialog;
  for (int i = 0; i < t->count; ++i) {
    const ControlTemplate& c = t->controls[i];
    QWidget* widget = MakeControl(c, dialog, *id);
    widget->setGeometry(units.Of(c.x, c.y, c.cx, c.cy));
    if (c.style & ControlHidden)
      widget->hide();
    if (auto* button = qobject_cast<QPushButton*>(widget))
      button->setIconSize(widget->size() - QSize(8, 8));
    win.controls[c.id] = {&c, widget, 0};
  }
  dialog->winId(); // the native window, so that its exposes can be watched
  dialog->windowHandle()->installEventFilter(dialog);
  return dialog;
}

// Starts the dialog on the GUI thread; done gets its result. False when it
// ended already in WM_INITDIALOG (done has been called).
void Start(const DialogTemplate* t, Hwnd owner, WindowProc proc, LParam param,
           std::function<void(int)> done) {
  QtSetDialogHooks(&hooks);
  Hwnd id = 0;
  TemplateWidget* dialog = Build(t, owner, proc, &id);
  Dialogs()[id].done = std::move(done);
  QtDeliver(id, WM_INITDIALOG, 0, param);
  if (Dialogs().count(id) != 0)
    QtShowQuestion(dialog);
}

QPixmap PixmapOf(const Bitmap* bitmap) {
  static auto* cache = new std::map<const Bitmap*, QPixmap>;
  auto it = cache->find(bitmap);
  if (it != cache->end())
    return it->second;
  QImage image(bitmap->Width, bitmap->Height, QImage::Format_RGB32);
  int step = bitmap->BytesPerPixel();
  bool valid =
      (step == 3 || step == 4) &&
      bitmap->Bits.size() >= static_cast<std::size_t>(bitmap->RowLength() * bitmap->Height);
  for (int y = 0; valid && y < bitmap->Height; ++y) {
    const std::uint8_t* row =
        bitmap->Bits.data() +
        static_cast<std::size_t>(bitmap->Height - 1 - y) * bitmap->RowLength();
    for (int x = 0; x < bitmap->Width; ++x, row += step)
      image.setPixel(x, y, qRgb(row[2], row[1], row[0]));
  }
  QPixmap pixmap = valid ? QPixmap::fromImage(image) : QPixmap();
  (*cache)[bitmap] = pixmap;
  return pixmap;
}

} // namespace

int QtTemplateDialog(const DialogTemplate* t, Hwnd owner, WindowProc proc, LParam param) {
  if (t == nullptr || proc == nullptr)
    return -1;
  if (QThread::currentThread() == qApp->thread()) {
    int result = -1;
    bool ended = false;
    QEventLoop loop;
    Start(t, owner, proc, param, [&](int r) {
      result = r;
      ended = true;
      loop.quit();
    });
    if (!ended)
      loop.exec();
    return result;
  }
  auto answer = std::make_shared<std::promise<int>>();
  std::future<int> result = answer->get_future();
  QMetaObject::invokeMethod(
      qApp, [=] { Start(t, owner, proc, param, [answer](int r) { answer->set_value(r); }); },
      Qt::QueuedConnection);
  try {
    return result.get();
  } catch (const std::future_error&) {
    return -1; // the application went before the dialog ended
  }
}

LResult QtControlMessage(Hwnd window, int control, unsigned message, WParam w, LParam l) {
  Control* c = ControlOf(window, control);
  if (c == nullptr)
    return 0;
  auto* button = qobject_cast<QAbstractButton*>(c->widget);
  switch (message) {
  case BM_GETCHECK:
    return button != nullptr && button->isChecked() ? BST_CHECKED : BST_UNCHECKED;
  case BM_SETCHECK:
    if (button != nullptr && button->isCheckable())
      button->setChecked(w == BST_CHECKED);
    return 0;
  case BM_GETIMAGE:
    return c->image;
  case BM_SETIMAGE: {
    LParam old = c->image;
    c->image = l;
    if (button != nullptr && l != 0)
      button->setIcon(QIcon(PixmapOf(reinterpret_cast<const Bitmap*>(l))));
    return old;
  }
  default:
    return 0;
  }
}

bool QtClipboardText(std::string* out) {
  const QMimeData* data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
  if (data == nullptr || !data->hasText())
    return false;
  *out = data->text().toStdString();
  return true;
}
