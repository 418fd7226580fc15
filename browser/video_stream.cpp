// Each stream request gets an ffmpeg of its own: first a short run that
// probes the file's streams, then the run that writes WebM to its standard
// output, which goes to the socket as an answer without a length. The tool
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
#include <sys/types.h>

namespace {

constexpr qsizetype MaxHead = 16384;
constexpr qint64 HoldAbove = 8 << 20; // unsent bytes at which the tool is held
constexpr qint64 GoOnBelow = 1 << 20;

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

void Stream(QTcpSocket* socket, const std::string& media) {
  QString ffmpeg = FfmpegProgram();
  if (ffmpeg.isEmpty()) {
    Refuse(socket);
    return;
  }
  QProcess probe;
  probe.start(ffmpeg, {"-hide_banner", "-i", QString::fromStdString(media)});
  probe.waitForFinished(15000);
  std::string probeText = probe.readAllStandardError().toStdString();

  QStringList args;
  for (const std::string& a : StreamArguments(media, probeText))
    args << QString::fromStdString(a);
  auto* tool = new QProcess(socket);
  tool->setStandardInputFile(QProcess::nullDevice());
  tool->setProcessChannelMode(QProcess::SeparateChannels);
  tool->setStandardErrorFile(QProcess::nullDevice());
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
