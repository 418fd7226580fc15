// The browser program's side of the video player: the loopback listener
// that streams videos through ffmpeg, and the page a player page becomes.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include "browser/local_pages.h"

// Listens on 127.0.0.1 at a random port for stream requests. GUI thread.
void StartVideoStreams(QObject* owner);

// The listener's port and token (port 0 when it doesn't listen), which
// local pages may reach.
LoopbackServer VideoStreamServer();

// The page that plays the video of the player page at pagePath; empty when
// the page belongs to no video file (then the page is shown as it stands).
QByteArray VideoPlayerFor(const QString& pagePath);
