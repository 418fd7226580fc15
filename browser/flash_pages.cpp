#include "browser/flash_pages.h"

#include <QCoreApplication>
#include <QWebEngineProfile>
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>
#include <QWebEngineUrlRequestInfo>

#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "browser/flash_cache.h"

namespace {

quint16 gameServerPort = 0;

// Addresses already copied in this process, and the copies still running.
// Never destroyed: a copy thread may finish while the process ends.
struct Copies {
  std::mutex lock;
  std::set<std::string> seen;
  std::atomic<int> running{0};
};
Copies& Shared() {
  static Copies* copies = new Copies;
  return *copies;
}

// The game server's own pages load the emulator themselves; a page that
// already has the loader keeps its own configuration, which wins over ours.
const char LoaderScript[] = R"JS(
(function () {
  var host = "127.0.0.1:%1";
  if (location.host === host || window.__skerryFlash) return;
  window.__skerryFlash = true;
  var base = "http://" + host + "/ruffle/";
  window.RufflePlayer = window.RufflePlayer || {};
  window.RufflePlayer.config = Object.assign({
    publicPath: base, polyfills: true, autoplay: "on", unmuteOverlay: "hidden",
    splashScreen: false, warnOnUnsupportedContent: false, showSwfDownload: false
  }, window.RufflePlayer.config || {});
  var script = document.createElement("script");
  script.src = base + "ruffle.js";
  (document.head || document.documentElement).appendChild(script);
})();
)JS";

// Gives running copies a moment to end before the process does.
void AwaitCopies() {
  for (int i = 0; i < 100 && Shared().running.load() > 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

} // namespace

void InstallFlashOnEveryPage(QWebEngineProfile* profile, quint16 serverPort) {
  gameServerPort = serverPort;
  if (serverPort == 0)
    return;
  QWebEngineScript script;
  script.setName("skerry-flash");
  script.setSourceCode(QString::fromUtf8(LoaderScript).arg(serverPort));
  script.setInjectionPoint(QWebEngineScript::DocumentReady);
  script.setWorldId(QWebEngineScript::MainWorld);
  script.setRunsOnSubFrames(true);
  profile->scripts()->insert(script);
  QObject::connect(qApp, &QCoreApplication::aboutToQuit, AwaitCopies);
}

void NoteFlashRequest(const QWebEngineUrlRequestInfo& info) {
  QUrl url = info.requestUrl();
  if (url.scheme() != "http" && url.scheme() != "https")
    return;
  if (url.host() == "127.0.0.1" && url.port() == gameServerPort)
    return; // the game server's files lie in Game already
  auto type = info.resourceType();
  std::string address = url.toString(QUrl::FullyEncoded | QUrl::RemoveFragment).toStdString();
  if (!NamesFlashFile(address) && type != QWebEngineUrlRequestInfo::ResourceTypeObject &&
      type != QWebEngineUrlRequestInfo::ResourceTypePluginResource)
    return;
  Copies& copies = Shared();
  {
    std::lock_guard<std::mutex> guard(copies.lock);
    if (!copies.seen.insert(address).second)
      return;
  }
  std::string cache = BrowserCacheFolder();
  if (cache.empty())
    return;
  ++copies.running;
  try {
    std::thread([address, cache] {
      CopyFlashToCache(address, cache);
      --Shared().running;
    }).detach();
  } catch (const std::system_error&) {
    --copies.running;
  }
}
