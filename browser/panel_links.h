// Links of the local pages that ask the Panel for a channel no button of the
// face opens: "skerry-panel:40004" (the video folder) and "skerry-panel:40005"
// (the image player) post that menu command to the Panel, as the tray menu's
// entries do; the page stays where it is.
#pragma once

#include <functional>

class QObject;
class QWebEngineProfile;

// Before the application object exists.
void RegisterPanelLinkScheme();
// post receives the command of a followed link.
void InstallPanelLinks(QWebEngineProfile* profile, QObject* owner,
                       std::function<void(int command)> post);
