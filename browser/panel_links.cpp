#include "browser/panel_links.h"
#include "browser/local_pages.h"

#include <QWebEngineProfile>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlScheme>
#include <QWebEngineUrlSchemeHandler>

namespace {

const QByteArray PanelLinkScheme = "skerry-panel";

class PanelLinkHandler : public QWebEngineUrlSchemeHandler {
 public:
  PanelLinkHandler(QObject* owner, std::function<void(const std::string&)> post)
      : QWebEngineUrlSchemeHandler(owner), post_(std::move(post)) {}
  void requestStarted(QWebEngineUrlRequestJob* job) override {
    // Only the commands of PanelLinkFrame; a page can't reach others this way.
    std::string frame = PanelLinkFrame(job->requestUrl().path().toStdString());
    if (!frame.empty())
      post_(frame);
    job->fail(QWebEngineUrlRequestJob::RequestAborted);
  }

 private:
  std::function<void(const std::string&)> post_;
};

} // namespace

void RegisterPanelLinkScheme() {
  QWebEngineUrlScheme scheme(PanelLinkScheme);
  scheme.setSyntax(QWebEngineUrlScheme::Syntax::Path);
  scheme.setFlags(QWebEngineUrlScheme::LocalScheme);
  QWebEngineUrlScheme::registerScheme(scheme);
}

void InstallPanelLinks(QWebEngineProfile* profile, QObject* owner,
                       std::function<void(const std::string&)> post) {
  profile->installUrlSchemeHandler(PanelLinkScheme, new PanelLinkHandler(owner, std::move(post)));
}
