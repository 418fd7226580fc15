// The page of a Pane that hands pages of the video service over.
#include <QWebEnginePage>
#include <QWebEngineProfile>

#include "browser/video_site.h"

namespace {

class HandingPage : public QWebEnginePage {
 public:
  HandingPage(QWebEngineProfile* profile, QObject* parent,
              std::function<bool(const QUrl&)> handOver)
      : QWebEnginePage(profile, parent), handOver_(std::move(handOver)) {}

 protected:
  bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override {
    if (isMainFrame && type != NavigationTypeTyped && handOver_ && handOver_(url))
      return false;
    return QWebEnginePage::acceptNavigationRequest(url, type, isMainFrame);
  }

 private:
  std::function<bool(const QUrl&)> handOver_;
};

} // namespace

QWebEnginePage* NewHandingPage(QWebEngineProfile* profile, QObject* parent,
                               std::function<bool(const QUrl&)> handOver) {
  return new HandingPage(profile, parent, std::move(handOver));
}
