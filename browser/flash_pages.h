// Flash on every page a Pane shows. The emulator's loader is added to every
// page and frame (as the emulator's own browser extension does), so Flash
// content embedded in any page plays, not only the game server's pages; and
// every Flash file a page asks for is copied into the browser cache
// (browser/flash_cache.h). GUI thread only; the copies run on threads of
// their own.
#pragma once

#include <QtGlobal>

class QWebEngineProfile;
class QWebEngineUrlRequestInfo;

// Adds the loader script to profile's pages. The emulator's files come from
// the game server's public route /ruffle/ on 127.0.0.1:serverPort.
void InstallFlashOnEveryPage(QWebEngineProfile* profile, quint16 serverPort);

// Called by the request interceptor for every request: a request for a
// Flash file (by its ending, or an object or plugin resource) of an http or
// https page starts its cache copy, once per address and process.
void NoteFlashRequest(const QWebEngineUrlRequestInfo& info);
