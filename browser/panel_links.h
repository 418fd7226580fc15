// Links of the local pages that act as the Panel's controls: "skerry-panel:40004"
// (the video folder) and "skerry-panel:40005" (the image player) post that
// menu command, as the tray menu's entries do; "skerry-panel:20100",
// ":20120" and ":20210" act as the face's Start, Home and Collect buttons
// (PanelLinkFrame). The page stays where it is.
#pragma once

#include <functional>
#include <string>

class QObject;
class QWebEngineProfile;

// Before the application object exists.
void RegisterPanelLinkScheme();
// post receives the frame of a followed link.
void InstallPanelLinks(QWebEngineProfile* profile, QObject* owner,
                       std::function<void(const std::string& frame)> post);
