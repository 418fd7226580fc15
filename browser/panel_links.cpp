#include "browser/panel_links.h"

#include <QWebEngineProfile>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlScheme>
#include <QWebEngineUrlSchemeHandler>

namespace {

const QByteArray PanelLinkScheme = "skerry-panel";

class PanelLinkHandler : public QWebEngineUrlSchemeHandler {
 public:
  PanelLinkHandler(QObject* owner, std::function<void(int)> post)
      : QWebEngineUrlSchemeHandler(owner), post_(std::move(post)) {}
  void requestStarted(QWebEngineUrlRequestJob* job) override {
    bool number = false;
    int command = job->requestUrl().path().toInt(&number);
    // Only the channels of the menu; a page can't reach other commands this way.
    if (number && (command == 40004 || command == 40005))
      post_(command);
    job->fail(QWebEngineUrlRequestJob::RequestAborted);
  }

 private:
  std::function<void(int)> post_;
};

} // namespace

void RegisterPanelLinkScheme() {
  QWebEngineUrlScheme scheme(PanelLinkScheme);
  scheme.setSyntax(QWebEngineUrlScheme::Syntax::Path);
  scheme.setFlags(QWebEngineUrlScheme::LocalScheme);
  QWebEngineUrlScheme::registerScheme(scheme);
}

void InstallPanelLinks(QWebEngineProfile* profile, QObject* owner, std::function<void(int)> post) {
  profile->installUrlSchemeHandler(PanelLinkScheme, new PanelLinkHandler(owner, std::move(post)));
}
