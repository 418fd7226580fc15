// The video service's pages belong to its channel: a Pane of another channel
// that is led to one hands it to the Panel, which shows it in channel 4.
#pragma once

#include <functional>
#include <string>

class QObject;
class QUrl;
class QWebEnginePage;
class QWebEngineProfile;

// Whether address is a page of the video service by the video request's own
// test: "http://" or "https://" (lower case) and "Show" in it.
bool IsVideoServicePage(const std::string& address);

// A page whose main-frame navigations (all but the Pane's first load) are
// first offered to handOver; a navigation that handOver takes (true) doesn't
// happen in this Pane.
QWebEnginePage* NewHandingPage(QWebEngineProfile* profile, QObject* parent,
                               std::function<bool(const QUrl&)> handOver);
