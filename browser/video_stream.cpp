// Each stream request gets an ffmpeg of its own: first a short run that
// probes the file's streams, then the run that writes WebM to its standard
// output, which goes to the socket as an answer without a length. Both run
// beside the event loop, never waited for on it, and only a few streams run
// at once; a request beyond them is refused. The tool
// is held (SIGSTOP) while the socket has much unsent, so a paused player
// doesn't pile up the whole video in memory, and killed when the player
// hangs up.
#include "browser/video_stream.h"

#include "browser/game_server.h"
#include "browser/video_player.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <csignal>
#include <memory>
#include <sys/prctl.h>
#include <sys/types.h>

namespace {

constexpr qsizetype MaxHead = 16384;
constexpr qint64 HoldAbove = 8 << 20; // unsent bytes at which the tool is held
constexpr qint64 GoOnBelow = 1 << 20;
constexpr int MaxStreams = 4;       // ffmpeg processes (probe or stream) at once
constexpr int ProbeLimitMs = 15000; // a probe that takes longer is ended

int running = 0; // GUI thread only

struct Streams {
  std::string token;
  quint16 port = 0;
};

Streams streams;

QString FfmpegProgram() {
  QString beside = QCoreApplication::applicationDirPath() + "/ffmpeg";
  QFileInfo info(beside);
  if (info.isFile() && info.isExecutable())
    return beside;
  return QStandardPaths::findExecutable("ffmpeg");
}

void Refuse(QTcpSocket* socket) {
  socket->write("HTTP/1.1 404 Not Found\r\nContent-Type: text/plain\r\nContent-Length: 10\r\n"
                "Connection: close\r\n\r\nNot found\n");
  socket->disconnectFromHost();
}

void Busy(QTcpSocket* socket) {
  socket->write("HTTP/1.1 503 Service Unavailable\r\nContent-Type: text/plain\r\n"
                "Content-Length: 5\r\nRetry-After: 2\r\nConnection: close\r\n\r\nBusy\n");
  socket->disconnectFromHost();
}

// Counts a process among the running ones until it ends or goes away. The
// tool dies with this process, however it ends (a held one too).
void Count(QProcess* process) {
  process->setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
  ++running;
  auto counted = std::make_shared<bool>(true);
  auto done = [counted] {
    if (*counted) {
      *counted = false;
      --running;
    }
  };
  QObject::connect(process, &QProcess::finished, process, done);
  QObject::connect(process, &QProcess::errorOccurred, process, [done](QProcess::ProcessError e) {
    if (e == QProcess::FailedToStart)
      done();
  });
  QObject::connect(process, &QObject::destroyed, done);
}

void Send(QTcpSocket* socket, const QString& ffmpeg, const std::string& media,
          const std::string& probeText);

void Stream(QTcpSocket* socket, const std::string& media) {
  QString ffmpeg = FfmpegProgram();
  if (ffmpeg.isEmpty()) {
    Refuse(socket);
    return;
  }
  if (running >= MaxStreams) {
    Busy(socket);
    return;
  }
  auto* probe = new QProcess(socket);
  probe->setStandardInputFile(QProcess::nullDevice());
  probe->setStandardOutputFile(QProcess::nullDevice());
  Count(probe);
  auto* limit = new QTimer(probe);
  limit->setSingleShot(true);
  QObject::connect(limit, &QTimer::timeout, probe, [probe] { probe->kill(); });
  // The streams' description stands in the error output whether the probe
  // ends by itself or is ended.
  auto next = [socket, probe, ffmpeg, media] {
    std::string probeText = probe->readAllStandardError().toStdString();
    probe->deleteLater();
    if (socket->state() == QAbstractSocket::ConnectedState)
      Send(socket, ffmpeg, media, probeText);
  };
  QObject::connect(probe, &QProcess::finished, socket, next);
  QObject::connect(probe, &QProcess::errorOccurred, socket, [socket](QProcess::ProcessError e) {
    if (e == QProcess::FailedToStart)
      Refuse(socket);
  });
  probe->start(ffmpeg, {"-hide_banner", "-i", QString::fromStdString(media)});
  limit->start(ProbeLimitMs);
}

void Send(QTcpSocket* socket, const QString& ffmpeg, const std::string& media,
          const std::string& probeText) {
  QStringList args;
  for (const std::string& a : StreamArguments(media, probeText))
    args << QString::fromStdString(a);
  auto* tool = new QProcess(socket);
  tool->setStandardInputFile(QProcess::nullDevice());
  tool->setProcessChannelMode(QProcess::SeparateChannels);
  tool->setStandardErrorFile(QProcess::nullDevice());
  Count(tool);
  auto held = std::make_shared<bool>(false);
  QObject::connect(tool, &QProcess::readyReadStandardOutput, socket, [socket, tool, held] {
    socket->write(tool->readAllStandardOutput());
    if (!*held && socket->bytesToWrite() > HoldAbove) {
      *held = true;
      kill(static_cast<pid_t>(tool->processId()), SIGSTOP);
    }
  });
  QObject::connect(socket, &QTcpSocket::bytesWritten, tool, [socket, tool, held] {
    if (*held && socket->bytesToWrite() < GoOnBelow) {
      *held = false;
      kill(static_cast<pid_t>(tool->processId()), SIGCONT);
    }
  });
  QObject::connect(tool, &QProcess::finished, socket, [socket, tool] {
    socket->write(tool->readAllStandardOutput());
    socket->disconnectFromHost();
  });
  QObject::connect(socket, &QTcpSocket::disconnected, tool, [tool] {
    if (tool->state() != QProcess::NotRunning) {
      kill(static_cast<pid_t>(tool->processId()), SIGCONT);
      tool->kill();
      tool->waitForFinished(2000);
    }
  });
  socket->write("HTTP/1.1 200 OK\r\nContent-Type: video/webm\r\nCache-Control: no-store\r\n"
                "Connection: close\r\n\r\n");
  tool->start(ffmpeg, args);
}

void Answer(QTcpSocket* socket, const QByteArray& head) {
  bool isHead = false;
  std::string media =
      MediaOfStreamRequest(streams.token, RequestTarget(head.toStdString(), &isHead));
  if (media.empty() || isHead)
    Refuse(socket);
  else
    Stream(socket, media);
}

} // namespace

void StartVideoStreams(QObject* owner) {
  quint64 secret[2] = {QRandomGenerator::system()->generate64(),
                       QRandomGenerator::system()->generate64()};
  streams.token =
      QByteArray(reinterpret_cast<const char*>(secret), sizeof secret).toHex().toStdString();
  auto* server = new QTcpServer(owner);
  if (!server->listen(QHostAddress::LocalHost, 0))
    return;
  streams.port = server->serverPort();
  QObject::connect(server, &QTcpServer::newConnection, server, [server] {
    while (QTcpSocket* socket = server->nextPendingConnection()) {
      QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
      auto head = std::make_shared<QByteArray>();
      QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket, head] {
        if (socket->property("answered").toBool()) {
          socket->readAll();
          return;
        }
        head->append(socket->readAll());
        if (head->contains("\r\n\r\n") || head->contains("\n\n")) {
          socket->setProperty("answered", true);
          Answer(socket, *head);
        } else if (head->size() > MaxHead) {
          socket->abort();
        }
      });
    }
  });
}

LoopbackServer VideoStreamServer() {
  return {streams.port, streams.token, ""};
}

QByteArray VideoPlayerFor(const QString& pagePath) {
  std::string media = MediaOfPlayerPage(pagePath.toStdString());
  if (media.empty() || streams.port == 0)
    return QByteArray();
  std::string base = "http://127.0.0.1:" + std::to_string(streams.port) + "/" + streams.token;
  return QByteArray::fromStdString(VideoPlayerPage(media, VideoStreamUrl(base, media)));
}
