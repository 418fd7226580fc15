// Lumbrel.dll: the browser program that shows one page on the Panel's screen.
//
// One process is one Pane. At start it reads `<page> /hN` or `/U=<address> /hN`,
// reaches the Panel over the carrier socket (HELLO, then POST 1044+N with its
// handle), and on X11 makes its window a child of the Panel's window at the
// Pane rectangle, so that it moves with the Panel; without a Panel it is a
// plain frameless window. Frames from the Panel are read line by line and
// turned into actions by pane_protocol; every page change is reported as
// `TEXT 2010 <address>` so the Panel's AddressControl stays current.
//
// The game menu's links point at the service's own web server. Requests for
// that host are redirected by an interceptor to a loopback listener of this
// process (127.0.0.1, random port, secret first path segment), whose answers
// game_server decides: a page that plays the named game with the emulator, or
// "Game not found.". Slot 1 (/h1) is the image player: it shows the pictures
// of the folder or page it was given, one at a time.
//
// Everything runs on the GUI thread; the state of the Pane is the one record
// `Pane` below.
#include <QApplication>
#include <QBuffer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QRandomGenerator>
#include <QScreen>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QVBoxLayout>
#include <QWebEngineHistory>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineSettings>
#include <QWebEngineUrlRequestInterceptor>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlScheme>
#include <QWebEngineUrlSchemeHandler>
#include <QWebEngineView>
#include <QWindow>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>
#include <vector>

#include "browser/flash_pages.h"
#include "browser/game_server.h"
#include "browser/local_pages.h"
#include "browser/pane_protocol.h"
#include "browser/panel_links.h"
#include "browser/video_site.h"
#include "browser/video_stream.h"
#include "browser/web_hosts.h"
#include "platform/carrier.h"
#include "platform/ini.h"
#include "platform/qt/x11_choice.h"

#ifndef SKERRY_RUFFLE_BUILD_DIR
#define SKERRY_RUFFLE_BUILD_DIR ""
#endif

namespace {

const QRect UprightPaneRect(20, 74, 310, 396);
constexpr int SlideMilliseconds = 3000;
constexpr qsizetype MaxRequestHead = 16384;

struct Pane {
  PaneArgs args;
  QUrl startUrl;
  QWidget* window = nullptr; // the top-level (or embedded) window
  QWebEngineView* view = nullptr;
  QLocalSocket* carrier = nullptr;
  QByteArray inbox;        // carrier bytes not yet ended by LF
  bool dropping = false;   // inside an over-long frame, skipping to its LF
  quint64 panelWindow = 0; // native id from the HELLO answer; 0 none
  bool embedded = false;
  bool filling = false; // fills the screen after 61488
  QRect paneRect = UprightPaneRect;
  GameServer games;
  LocalPolicy local; // what local pages may reach
  QString gameHost;
  quint16 serverPort = 0;
  // Image player.
  QStringList pictures;
  int picture = 0;
  bool paused = false;
  QTimer* slides = nullptr;
};

Pane pane;

void SendFrame(const std::string& line) {
  if (!pane.carrier || pane.carrier->state() != QLocalSocket::ConnectedState)
    return;
  pane.carrier->write(QByteArray::fromStdString(line + "\n"));
  pane.carrier->flush();
}

void ReportAddress(const QString& address) {
  if (address.isEmpty())
    return;
  SendFrame("TEXT 2010 " + AddressText(address.toStdString()));
}

// A loopback URL of our game server, written back as the service's address.
QString PublicAddress(const QUrl& url) {
  if (url.isLocalFile())
    return url.toLocalFile();
  if (url.scheme() == "skerry-page")
    return url.path();
  QString prefix = "/" + QString::fromStdString(pane.games.token);
  if (url.host() == "127.0.0.1" && url.port() == pane.serverPort &&
      url.path().startsWith(prefix + "/")) {
    QUrl shown = url;
    shown.setHost(pane.gameHost);
    shown.setPort(-1);
    shown.setPath(url.path().mid(prefix.size()));
    return shown.toString();
  }
  return url.toString();
}

// --- the game server ----------------------------------------------------------

// Player pages beside videos end in ".htw", which the engine would show as
// text. A local .htw is redirected to this scheme, which answers the file as
// HTML with a base of its folder; the scheme may load local files, so the
// page's relative links still reach the video beside it.
const QByteArray PlayerPageScheme = "skerry-page";
constexpr qint64 MaxPlayerPageBytes = 4 * 1024 * 1024;

bool IsPlayerPage(const QString& path) {
  return path.endsWith(".htw", Qt::CaseInsensitive);
}

class PlayerPageHandler : public QWebEngineUrlSchemeHandler {
 public:
  using QWebEngineUrlSchemeHandler::QWebEngineUrlSchemeHandler;
  void requestStarted(QWebEngineUrlRequestJob* job) override {
    QFileInfo info(job->requestUrl().path());
    QFile file(info.absoluteFilePath());
    if (!IsPlayerPage(info.fileName()) || !info.isFile() || info.size() > MaxPlayerPageBytes ||
        !file.open(QIODevice::ReadOnly)) {
      job->fail(QWebEngineUrlRequestJob::UrlNotFound);
      return;
    }
    QByteArray base = QUrl::fromLocalFile(info.absolutePath() + "/").toEncoded();
    base.replace('&', "&amp;").replace('"', "%22");
    auto* body = new QBuffer(job);
    body->setData("<base href=\"" + base + "\">\n" + file.readAll());
    if (QByteArray video = VideoPlayerFor(info.absoluteFilePath()); !video.isEmpty())
      body->setData(video);
    job->reply("text/html", body);
  }
};

// The pages were written for a file system that ignores case (the game menu
// links to "menu1.htm" beside Menu1.htm): a local path that doesn't exist is
// looked up again, each component ignoring case. Empty when nothing matches.
QString PathIgnoringCase(const QString& path) {
  if (!path.startsWith('/'))
    return QString();
  QString found = "/";
  const QStringList parts = path.split('/', Qt::SkipEmptyParts);
  for (const QString& part : parts) {
    QDir dir(found);
    QString next = dir.filePath(part);
    if (!QFileInfo::exists(next)) {
      next.clear();
      const QStringList names =
          dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
      for (const QString& name : names) {
        if (name.compare(part, Qt::CaseInsensitive) == 0) {
          next = dir.filePath(name);
          break;
        }
      }
      if (next.isEmpty())
        return QString();
    }
    found = next;
  }
  return found;
}

bool IsLocalPage(const QUrl& url) {
  return url.isLocalFile() || url.scheme() == QString::fromLatin1(PlayerPageScheme);
}

// Whether a request comes from a local page: a subresource or frame of a
// document under a local top page, or a navigation of the top page away from
// a local one that the page itself started (not one of ours: the start, a
// reload, a step through the history).
bool FromLocalPage(const QWebEngineUrlRequestInfo& info) {
  if (info.resourceType() != QWebEngineUrlRequestInfo::ResourceTypeMainFrame)
    return IsLocalPage(info.firstPartyUrl()) || IsLocalPage(info.initiator());
  switch (info.navigationType()) {
  case QWebEngineUrlRequestInfo::NavigationTypeTyped:
  case QWebEngineUrlRequestInfo::NavigationTypeBackForward:
  case QWebEngineUrlRequestInfo::NavigationTypeReload:
    return false;
  default:
    return IsLocalPage(pane.view->url()) || IsLocalPage(info.initiator());
  }
}

bool LocalPageMayLoad(const QUrl& url) {
  LocalRequest request;
  request.scheme = url.scheme().toLower().toStdString();
  request.host = url.host().toLower().toStdString();
  request.port = url.port();
  request.path = url.isLocalFile() ? url.toLocalFile().toStdString()
                                   : url.path(QUrl::FullyDecoded).toStdString();
  if (request.scheme == "http")
    request.path = url.path(QUrl::FullyEncoded).toStdString();
  return LocalPageMayReach(pane.local, request);
}

class GameHostRedirect : public QWebEngineUrlRequestInterceptor {
 public:
  void interceptRequest(QWebEngineUrlRequestInfo& info) override {
    QUrl url = info.requestUrl();
    if (IsFlashNote(url)) {
      // A local page names no source: it could have the program fetch any host.
      if (!FromLocalPage(info))
        NoteFlashSource(url);
      info.block(true);
      return;
    }
    NoteFlashRequest(info);
    if (FromLocalPage(info) && !LocalPageMayLoad(url)) {
      std::fprintf(stderr, "Lumbrel: a local page may not reach %s\n",
                   url.toString(QUrl::RemoveQuery).toLocal8Bit().constData());
      info.block(true);
      return;
    }
    if (url.isLocalFile()) {
      QString path = url.toLocalFile();
      if (IsPlayerPage(path) && QFileInfo(path).isFile()) {
        QUrl to;
        to.setScheme(QString::fromLatin1(PlayerPageScheme));
        to.setPath(path);
        to.setFragment(url.fragment());
        info.redirect(to);
        return;
      }
      if (!QFileInfo::exists(path)) {
        QString found = PathIgnoringCase(path);
        if (!found.isEmpty()) {
          QUrl to = QUrl::fromLocalFile(found);
          to.setFragment(url.fragment());
          info.redirect(to);
        }
      }
      return;
    }
    if (url.scheme() != "http" || url.host().compare(pane.gameHost, Qt::CaseInsensitive) != 0)
      return;
    QString to = QString("http://127.0.0.1:%1/%2%3")
                     .arg(pane.serverPort)
                     .arg(QString::fromStdString(pane.games.token))
                     .arg(QString::fromUtf8(url.path(QUrl::FullyEncoded).toUtf8()));
    if (url.hasQuery())
      to += "?" + url.query(QUrl::FullyEncoded);
    info.redirect(QUrl(to, QUrl::TolerantMode));
  }
};

// A file goes out in pieces as the socket takes them, so a game of any size
// costs the program a few pieces of memory, not its size.
constexpr qint64 FilePiece = 64 * 1024;
constexpr qint64 UnsentLimit = 4 * FilePiece;

void SendFile(QTcpSocket* socket, QFile* file) {
  auto more = [socket, file] {
    while (file->isOpen() && socket->bytesToWrite() < UnsentLimit) {
      QByteArray piece = file->read(FilePiece);
      if (piece.isEmpty()) {
        file->close();
        socket->disconnectFromHost();
        return;
      }
      socket->write(piece);
    }
  };
  QObject::connect(socket, &QTcpSocket::bytesWritten, file, more);
  more();
}

void AnswerRequest(QTcpSocket* socket, const QByteArray& head) {
  bool isHead = false;
  std::string target = RequestTarget(head.toStdString(), &isHead);
  HttpAnswer answer;
  if (target.empty()) {
    answer.status = 400;
    answer.type = "text/plain";
    answer.body = "Bad request\n";
  } else {
    answer = AnswerGameRequest(pane.games, target);
  }
  if (!answer.game.empty())
    ReportAddress(QString::fromStdString(answer.game));
  if (!answer.file.empty()) {
    auto* file = new QFile(QString::fromStdString(answer.file), socket);
    bool open = file->open(QIODevice::ReadOnly);
    socket->write(QByteArray::fromStdString(AnswerHead(answer, open ? file->size() : 0)));
    if (open && !isHead) {
      SendFile(socket, file);
      return;
    }
    socket->disconnectFromHost();
    return;
  }
  QByteArray body = QByteArray::fromStdString(answer.body);
  socket->write(QByteArray::fromStdString(AnswerHead(answer, body.size())));
  if (!isHead)
    socket->write(body);
  socket->disconnectFromHost();
}

void StartGameServer(QObject* owner, const QString& programDir) {
  pane.games.gameDir = (programDir + "/Game").toStdString();
  QStringList places = {programDir + "/ruffle", qEnvironmentVariable("SKERRY_RUFFLE_DIR"),
                        QString(SKERRY_RUFFLE_BUILD_DIR)};
  for (const QString& place : places) {
    if (!place.isEmpty() && QFileInfo::exists(place + "/ruffle.js")) {
      pane.games.ruffleDir = QFileInfo(place).canonicalFilePath().toStdString();
      break;
    }
  }
  quint64 secret[2] = {QRandomGenerator::system()->generate64(),
                       QRandomGenerator::system()->generate64()};
  pane.games.token =
      QByteArray(reinterpret_cast<const char*>(secret), sizeof secret).toHex().toStdString();

  auto* server = new QTcpServer(owner);
  if (!server->listen(QHostAddress::LocalHost, 0))
    return;
  pane.serverPort = server->serverPort();
  QObject::connect(server, &QTcpServer::newConnection, server, [server] {
    while (QTcpSocket* socket = server->nextPendingConnection()) {
      QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
      // A client that doesn't finish its request in time is cut off; an
      // answer that is still going out runs on.
      QTimer::singleShot(30000, socket, [socket] {
        if (!socket->property("answered").toBool())
          socket->abort();
      });
      auto* head = new QByteArray;
      QObject::connect(socket, &QObject::destroyed, [head] { delete head; });
      QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket, head] {
        if (head->isEmpty() && socket->property("answered").toBool())
          return;
        head->append(socket->readAll());
        if (head->contains("\r\n\r\n") || head->contains("\n\n")) {
          socket->setProperty("answered", true);
          AnswerRequest(socket, *head);
          head->clear();
        } else if (head->size() > MaxRequestHead) {
          socket->abort();
        }
      });
    }
  });
}

// --- the window ------------------------------------------------------------------

void PlaceOnPanel() {
  if (pane.embedded)
    pane.window->setGeometry(pane.paneRect);
}

// Makes the window a child of the Panel's native window (X11 only).
bool EmbedInPanel() {
  if (pane.panelWindow == 0 || QGuiApplication::platformName() != "xcb")
    return false;
  QWindow* panel = QWindow::fromWinId(static_cast<WId>(pane.panelWindow));
  if (!panel)
    return false;
  pane.window->winId();
  pane.window->windowHandle()->setParent(panel);
  pane.embedded = true;
  PlaceOnPanel();
  return true;
}

// The Panel's connection closed: the Panel ended (or was killed), and a Pane
// without its Panel is only a leak. exit, not quit, as for the quit message.
void LeavePanel() {
  QCoreApplication::exit(0);
}

void FillScreen() {
  if (pane.filling)
    return;
  pane.filling = true;
  if (pane.embedded)
    pane.window->windowHandle()->setParent(nullptr);
  QScreen* screen =
      pane.window->screen() ? pane.window->screen() : QGuiApplication::primaryScreen();
  pane.window->setGeometry(screen->geometry());
  pane.window->show();
  pane.window->raise();
  // The Panel undoes the fill once it is active again, so it must lose that.
  pane.window->activateWindow();
}

void ReturnToPanel() {
  if (!pane.filling)
    return;
  pane.filling = false;
  if (pane.embedded) {
    QWindow* panel = QWindow::fromWinId(static_cast<WId>(pane.panelWindow));
    pane.window->windowHandle()->setParent(panel);
    PlaceOnPanel();
  } else {
    pane.window->setGeometry(pane.paneRect);
  }
  pane.window->show();
}

// While the Pane fills the screen, Esc or a double click anywhere in it brings
// it back, beside the Panel's own way (which then finds it back already).
class BackFromFilling : public QObject {
 protected:
  bool eventFilter(QObject*, QEvent* e) override {
    bool escape =
        e->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(e)->key() == Qt::Key_Escape;
    if (!pane.filling || !(escape || e->type() == QEvent::MouseButtonDblClick))
      return false;
    QTimer::singleShot(0, ReturnToPanel);
    return true;
  }
};

// --- the image player ------------------------------------------------------------

void ShowPicture() {
  if (pane.pictures.isEmpty())
    return;
  pane.picture =
      (pane.picture % pane.pictures.size() + pane.pictures.size()) % pane.pictures.size();
  QString url = pane.pictures[pane.picture];
  QString quoted =
      QString::fromUtf8(QUrl(url).toEncoded()).replace("\\", "\\\\").replace("'", "%27");
  pane.view->page()->runJavaScript("show('" + quoted + "')");
  QUrl shown(url);
  ReportAddress(shown.isLocalFile() ? shown.toLocalFile() : shown.toString());
}

void StartPlayer(const QStringList& pictures) {
  pane.pictures = pictures;
  pane.picture = 0;
  if (pictures.isEmpty()) {
    // Said in the page, not left black: the folder searched holds no picture.
    pane.view->setHtml("<!DOCTYPE html><html><head><meta charset=\"utf-8\"></head><body style=\""
                       "margin:0;background:#000;color:#ddd;font:14px sans-serif;text-align:center"
                       "\"><p style=\"margin-top:150px\">No pictures found here, nor in its "
                       "folders.</p></body></html>");
    return;
  }
  QString html = "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><style>"
                 "html,body{margin:0;width:100%;height:100%;background:#000;overflow:hidden}"
                 "img{width:100%;height:100%;object-fit:contain}</style>"
                 "<script>function show(u){document.getElementById('p').src=u;}</script></head>"
                 "<body><img id=\"p\" alt=\"\"></body></html>";
  QObject::connect(
      pane.view, &QWebEngineView::loadFinished, pane.view, [] { ShowPicture(); },
      Qt::SingleShotConnection);
  pane.view->setHtml(html, pane.startUrl);
  pane.slides->start(SlideMilliseconds);
}

// Collects the pictures of the start folder, or of the start page once loaded.
void LoadPlayer() {
  pane.slides->stop();
  QString path = pane.startUrl.isLocalFile() ? pane.startUrl.toLocalFile() : QString();
  if (!path.isEmpty() && QFileInfo(path).isDir()) {
    QStringList pictures;
    for (const std::string& picture : FolderPictures(path.toStdString()))
      pictures << QUrl::fromLocalFile(QString::fromStdString(picture)).toString();
    StartPlayer(pictures);
    return;
  }
  QObject::connect(
      pane.view, &QWebEngineView::loadFinished, pane.view,
      [](bool) {
        pane.view->page()->runJavaScript(
            "Array.from(document.images).map(function(i){return i.src;})",
            [](const QVariant& result) { StartPlayer(result.toStringList()); });
      },
      Qt::SingleShotConnection);
  pane.view->load(pane.startUrl);
}

// --- frames from the Panel -------------------------------------------------------

void DoAction(const Frame& frame, PaneAction action) {
  bool player = pane.args.slot == 1;
  QWebEnginePage* page = pane.view->page();
  switch (action) {
  case ActReload:
    if (player)
      LoadPlayer();
    else
      pane.view->reload();
    break;
  case ActBack:
    pane.view->back();
    break;
  case ActForward:
    pane.view->forward();
    break;
  case ActFirstPage:
    if (player)
      LoadPlayer();
    else
      pane.view->load(pane.startUrl);
    break;
  case ActMute:
    page->setAudioMuted(!page->isAudioMuted());
    break;
  case ActQuit:
    // exit, not quit: quit is a request that a window may turn down, and
    // the Panel no longer holds this Pane once it has asked.
    QCoreApplication::exit(0);
    break;
  case ActFillScreen:
    FillScreen();
    break;
  case ActReturnToPanel:
    ReturnToPanel();
    break;
  case ActNextPicture:
  case ActPreviousPicture:
    pane.picture += action == ActNextPicture ? 1 : -1;
    ShowPicture();
    if (!pane.paused)
      pane.slides->start(SlideMilliseconds);
    break;
  case ActPause:
    pane.paused = !pane.paused;
    if (pane.paused)
      pane.slides->stop();
    else if (!pane.pictures.isEmpty())
      pane.slides->start(SlideMilliseconds);
    break;
  case ActRaise:
    pane.window->raise();
    break;
  case ActFocus:
    pane.window->raise();
    pane.window->activateWindow();
    pane.view->setFocus();
    break;
  case ActTopmost:
    if (!pane.embedded && !pane.filling) {
      pane.window->setWindowFlag(Qt::WindowStaysOnTopHint, frame.number[0] != 0);
      pane.window->show();
    } else {
      pane.window->raise();
    }
    break;
  case ActMove: {
    QRect r = pane.paneRect;
    if (frame.number[0] >= 0)
      r.moveLeft(static_cast<int>(frame.number[0]));
    if (frame.number[1] >= 0)
      r.moveTop(static_cast<int>(frame.number[1]));
    if (frame.number[2] > 0 && frame.number[2] < 20000)
      r.setWidth(static_cast<int>(frame.number[2]));
    if (frame.number[3] > 0 && frame.number[3] < 20000)
      r.setHeight(static_cast<int>(frame.number[3]));
    pane.paneRect = r;
    if (!pane.filling)
      pane.window->setGeometry(r);
    break;
  }
  case ActShow:
    pane.window->setVisible(frame.number[0] != 0);
    break;
  case ActRedraw:
    pane.window->update();
    pane.view->update();
    break;
  case ActNone:
    break;
  }
}

void HandleLine(const std::string& line) {
  Frame frame = ParseFrame(line);
  PaneAction action = ActionFor(frame, pane.args.slot == 1);
  // A SEND always gets its answer, so a Panel never waits on us for nothing;
  // the answer goes out before a quit ends the process.
  if (frame.kind == FrameSend)
    SendFrame("RET 0");
  DoAction(frame, action);
  // Window requests wait in the display connection's buffer until something
  // else flushes it; a raised Pane would show only at its next X event.
  if (action == ActRaise || action == ActFocus || action == ActTopmost || action == ActShow)
    QGuiApplication::sync();
}

void ReadCarrier() {
  pane.inbox.append(pane.carrier->readAll());
  while (true) {
    qsizetype end = pane.inbox.indexOf('\n');
    if (end < 0) {
      if (pane.inbox.size() > static_cast<qsizetype>(MaxFrameBytes)) {
        pane.inbox.clear();
        pane.dropping = true;
      }
      return;
    }
    QByteArray line = pane.inbox.left(end);
    pane.inbox.remove(0, end + 1);
    if (pane.dropping || line.size() > static_cast<qsizetype>(MaxFrameBytes)) {
      pane.dropping = false;
      continue;
    }
    HandleLine(line.toStdString());
  }
}

// Connects, says HELLO and waits for the Panel's answer (its window id).
// False when no Panel answers: the Pane then runs as a plain window.
bool ReachPanel(QObject* owner) {
  pane.carrier = new QLocalSocket(owner);
  // A socket in a folder another user could reach isn't the Panel's: this
  // Pane would tell a stranger its addresses.
  std::string why;
  if (!CarrierPathTrusted(PaneCarrierPath(), &why)) {
    std::fprintf(stderr, "Lumbrel: not using the Panel's socket: %s\n", why.c_str());
    return false;
  }
  pane.carrier->connectToServer(QString::fromStdString(PaneCarrierPath()));
  if (!pane.carrier->waitForConnected(1500))
    return false;
  pane.carrier->write(QByteArray("HELLO ") + QByteArray::number(qint64(getpid())) + "\n");
  pane.carrier->flush();
  QElapsedTimer waited;
  waited.start();
  while (waited.elapsed() < 3000) {
    qsizetype end = pane.inbox.indexOf('\n');
    if (end >= 0) {
      Frame frame = ParseFrame(pane.inbox.left(end).toStdString());
      pane.inbox.remove(0, end + 1);
      if (frame.kind == FrameHello) {
        pane.panelWindow =
            frame.count > 0 && frame.number[0] > 0 ? static_cast<quint64>(frame.number[0]) : 0;
        return true;
      }
      continue;
    }
    if (!pane.carrier->waitForReadyRead(3000 - static_cast<int>(waited.elapsed())))
      break;
    pane.inbox.append(pane.carrier->readAll());
    if (pane.inbox.size() > static_cast<qsizetype>(MaxFrameBytes))
      break;
  }
  return pane.carrier->state() == QLocalSocket::ConnectedState;
}

// --- start -----------------------------------------------------------------------

QUrl StartUrlOf(const PaneArgs& args) {
  QString target = QString::fromStdString(args.target);
  if (target.isEmpty())
    return QUrl("about:blank");
  if (args.isAddress && !target.startsWith('/')) {
    if (target.contains("://") || target.startsWith("about:") || target.startsWith("data:"))
      return QUrl(target);
    return QUrl::fromUserInput(target);
  }
  if (!QFileInfo::exists(target) && target.contains('\\')) {
    QString native = QString(target).replace('\\', '/');
    if (QFileInfo::exists(native))
      target = native;
  }
  return QUrl::fromLocalFile(QFileInfo(target).absoluteFilePath());
}

// Chromium's switches, set before the engine starts: stay off the services it
// can't reach, draw in software unless SKERRY_GPU=1, and run without the
// sandbox when started as root (where Chromium refuses to run with it).
void PrepareEngine() {
  QByteArray flags = qgetenv("QTWEBENGINE_CHROMIUM_FLAGS");
  flags += " --disable-background-networking --disable-component-update --disable-sync"
           " --disable-domain-reliability --disable-breakpad --no-pings"
           " --disable-client-side-phishing-detection --metrics-recording-only"
           " --no-default-browser-check --autoplay-policy=no-user-gesture-required"
           " --disable-features=Translate,MediaRouter,OptimizationHints,"
           "AutofillServerCommunication,CertificateTransparencyComponentUpdater,BackForwardCache"
           " --disable-back-forward-cache";
  if (qgetenv("SKERRY_GPU") != "1") {
    flags += " --disable-gpu --disable-gpu-compositing";
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND"))
      qputenv("QT_QUICK_BACKEND", "software");
  }
  if (geteuid() == 0) {
    qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    flags += " --no-sandbox";
    std::fprintf(stderr, "Lumbrel: running as root; the page sandbox is switched off\n");
  }
  qputenv("QTWEBENGINE_CHROMIUM_FLAGS", flags.trimmed());
  // The engine's start-up report and the pages' console lines ("js: ...")
  // stay off the terminal unless SKERRY_DEBUG=1; QT_LOGGING_RULES still wins.
  if (qgetenv("SKERRY_DEBUG") != "1")
    QLoggingCategory::setFilterRules("qt.webenginecontext=false\njs=false");
}

// The host of the service's own web server: the host of [Library] GameHost of
// Define.ini ("http://host" or a bare host), which the game menu's links start
// with; skerry.local when unset.
QString GameHostName(const QString& programDir) {
  std::string define = (programDir + "/Define.ini").toStdString();
  QString value =
      QString::fromStdString(IniReadString(define.c_str(), "Library", "GameHost", "")).trimmed();
  if (!value.isEmpty() && !value.contains("://"))
    value = "http://" + value;
  QString host = QUrl(value).host();
  return host.isEmpty() ? QString("skerry.local") : host;
}

} // namespace

int main(int argc, char** argv) {
  // A Pane the Panel started (it names itself in SKERRY_PANEL_PID) ends with
  // that Panel, also with one killed before this Pane could reach it.
  if (const char* panel = std::getenv("SKERRY_PANEL_PID"); panel != nullptr && *panel != '\0') {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (std::to_string(getppid()) != panel)
      return 0;
  }
  std::vector<std::string> words(argv + 1, argv + argc);
  pane.args = ParsePaneArgs(words);
  PrepareEngine();
  PreferX11BesideWayland();
  // The hosts table's resolver switch holds blanks, which the engine's
  // environment switches can't carry: with a table, every switch moves among
  // the arguments behind --webEngineArgs, which the engine reads when that
  // environment is unset.
  std::vector<std::string> engineWords = HostResolverArguments();
  if (!engineWords.empty()) {
    engineWords.insert(engineWords.begin(), "--webEngineArgs");
    for (const QByteArray& flag : qgetenv("QTWEBENGINE_CHROMIUM_FLAGS").split(' '))
      if (!flag.isEmpty())
        engineWords.push_back(flag.toStdString());
    qunsetenv("QTWEBENGINE_CHROMIUM_FLAGS");
  }
  std::vector<char*> engineArgs(argv, argv + argc);
  for (std::string& word : engineWords)
    engineArgs.push_back(word.data());
  engineArgs.push_back(nullptr);
  argc = static_cast<int>(engineArgs.size()) - 1;
  argv = engineArgs.data();
  QWebEngineUrlScheme playerPages(PlayerPageScheme);
  playerPages.setSyntax(QWebEngineUrlScheme::Syntax::Path);
  playerPages.setFlags(QWebEngineUrlScheme::LocalScheme | QWebEngineUrlScheme::LocalAccessAllowed);
  QWebEngineUrlScheme::registerScheme(playerPages);
  RegisterPanelLinkScheme();
  QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
  QApplication app(argc, argv);
  QApplication::setQuitOnLastWindowClosed(true);
  QString programDir = QCoreApplication::applicationDirPath();

  bool withPanel = ReachPanel(&app);
  pane.startUrl = StartUrlOf(pane.args);
  pane.gameHost = GameHostName(programDir);
  StartGameServer(&app, programDir);
  StartVideoStreams(&app);
  for (const char* folder : {"/Web", "/Game", "/Video"})
    pane.local.roots.push_back((programDir + folder).toStdString());
  if (pane.startUrl.isLocalFile()) {
    QFileInfo start(pane.startUrl.toLocalFile());
    pane.local.roots.push_back(
        (start.isDir() ? start.absoluteFilePath() : start.absolutePath()).toStdString());
  }
  pane.local.gameHost = pane.gameHost.toLower().toStdString();
  pane.local.servers.push_back({pane.serverPort, pane.games.token, "/ruffle/"});
  pane.local.servers.push_back(VideoStreamServer());

  app.installEventFilter(new BackFromFilling);
  auto* interceptor = new GameHostRedirect;
  interceptor->setParent(&app);
  auto* profile = new QWebEngineProfile(&app); // off the record: nothing on disk
  profile->setUrlRequestInterceptor(interceptor);
  InstallFlashOnEveryPage(profile, pane.serverPort);
  profile->installUrlSchemeHandler(PlayerPageScheme, new PlayerPageHandler(&app));
  InstallPanelLinks(profile, &app, [](const std::string& frame) { SendFrame(frame); });
  profile->settings()->setAttribute(QWebEngineSettings::PlaybackRequiresUserGesture, false);
  profile->settings()->setAttribute(QWebEngineSettings::ShowScrollBars, true);
  // The menus are local files whose links lead to the game server; without
  // this a reload or a step through the history of such a link is refused.
  profile->settings()->setAttribute(QWebEngineSettings::LocalContentCanAccessRemoteUrls, true);

  pane.window = new QWidget(nullptr, Qt::FramelessWindowHint);
  pane.window->setWindowTitle("Lumbrel");
  pane.window->resize(UprightPaneRect.size());
  auto* layout = new QVBoxLayout(pane.window);
  layout->setContentsMargins(0, 0, 0, 0);
  pane.view = new QWebEngineView(pane.window);
  // Pages of the video service belong to channel 4: other Panes hand them to
  // the Panel instead of showing them.
  pane.view->setPage(NewHandingPage(profile, pane.view, [](const QUrl& url) {
    if (pane.args.slot == 4 || pane.args.slot == 1 || !pane.carrier ||
        pane.carrier->state() != QLocalSocket::ConnectedState ||
        !IsVideoServicePage(url.toString().toStdString()))
      return false;
    SendFrame("TEXT 2010 " + AddressText(url.toString().toStdString()));
    SendFrame("POST 1033 19040 0");
    return true;
  }));
  TrustListedHosts(pane.view->page());
  pane.view->setContextMenuPolicy(Qt::NoContextMenu);
  layout->addWidget(pane.view);
  pane.slides = new QTimer(&app);
  QObject::connect(pane.slides, &QTimer::timeout, [] {
    ++pane.picture;
    ShowPicture();
  });

  QObject::connect(pane.view, &QWebEngineView::urlChanged, [](const QUrl& url) {
    if (pane.args.slot != 1 || pane.pictures.isEmpty())
      ReportAddress(PublicAddress(url));
  });

  if (withPanel) {
    QObject::connect(pane.carrier, &QLocalSocket::readyRead, ReadCarrier);
    QObject::connect(pane.carrier, &QLocalSocket::disconnected, LeavePanel);
    unsigned announcement = AnnouncementFor(pane.args.slot);
    if (announcement != 0)
      SendFrame("POST " + std::to_string(announcement) + " " +
                std::to_string(PaneHandleFor(getpid())) + " 0");
    EmbedInPanel();
    if (!pane.inbox.isEmpty())
      QTimer::singleShot(0, ReadCarrier);
  }
  if (!pane.embedded)
    pane.window->setGeometry(QRect(pane.window->pos(), UprightPaneRect.size()));
  pane.window->show();

  if (pane.args.slot == 1)
    LoadPlayer();
  else
    pane.view->load(pane.startUrl);
  int result = app.exec();
  // The engine's teardown can outlast the Panel's wait for a closed Pane; its
  // helper processes end with their connection to this one.
  std::fflush(nullptr);
  std::_Exit(result);
}
