// Flash on every page a Pane shows. The emulator's loader is added to every
// page and frame (as the emulator's own browser extension does), so Flash
// content embedded in any page plays, not only the game server's pages; and
// every Flash file a page asks for is copied into the browser cache
// (browser/flash_cache.h). GUI thread only; the copies run on a few worker
// threads, and a Pane copies at most a fixed number of distinct addresses a
// minute.
#pragma once

#include <QtGlobal>

class QUrl;
class QWebEngineProfile;
class QWebEngineUrlRequestInfo;

// Adds the loader script to profile's pages. The emulator's files come from
// the game server's public route /ruffle/ on 127.0.0.1:serverPort.
void InstallFlashOnEveryPage(QWebEngineProfile* profile, quint16 serverPort);

// The loader script tells each player's source by a request for an address
// of the game server's that IsFlashNote knows; the interceptor blocks it and,
// unless a local page sent it, hands it to NoteFlashSource, which copies the
// source (http or https) once.
bool IsFlashNote(const QUrl& url);
void NoteFlashSource(const QUrl& note);

// Called by the request interceptor for every request: a request for a
// Flash file (by its ending, or an object or plugin resource) of an http or
// https page starts its cache copy, once per address and process.
void NoteFlashRequest(const QWebEngineUrlRequestInfo& info);
