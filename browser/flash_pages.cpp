#include "browser/flash_pages.h"

#include <QCoreApplication>
#include <QUrlQuery>
#include <QWebEngineProfile>
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>
#include <QWebEngineUrlRequestInfo>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "browser/flash_cache.h"

namespace {

quint16 gameServerPort = 0;

// A page may name any number of addresses: the copies run on a few workers
// of their own, and past a number of distinct addresses a minute no more are
// taken until the minute is over.
constexpr int CopyWorkers = 2;
constexpr std::size_t MaxAddresses = 64;
constexpr std::chrono::seconds AddressWindow(60);
const char NotePath[] = "/.skerry-flash-note";

// Addresses taken in this process (one process is one Pane) and the copies
// still waiting. Never destroyed: a worker may still run while the process ends.
struct Copies {
  std::mutex lock;
  std::condition_variable wake;
  std::set<std::string> seen; // taken since windowStart
  std::chrono::steady_clock::time_point windowStart = std::chrono::steady_clock::now();
  std::deque<std::string> waiting;
  int busy = 0;
  bool started = false;
};
Copies& Shared() {
  static Copies* copies = new Copies;
  return *copies;
}

void CopyWorker(std::string cache) {
  Copies& copies = Shared();
  std::unique_lock<std::mutex> guard(copies.lock);
  while (true) {
    copies.wake.wait(guard, [&copies] { return !copies.waiting.empty(); });
    std::string address = std::move(copies.waiting.front());
    copies.waiting.pop_front();
    ++copies.busy;
    guard.unlock();
    CopyFlashToCache(address, cache);
    guard.lock();
    --copies.busy;
  }
}

// The game server's own pages load the emulator themselves; a page that
// already has the loader keeps its own configuration, which wins over ours.
// Every player's source (an embed's src, an object's data or movie, what the
// emulator is asked to load) is told to the program by a request it answers
// itself, so that Flash fetched by script is copied as well.
const char LoaderScript[] = R"JS(
(function () {
  var host = "127.0.0.1:%1";
  if (location.host === host || window.__skerryFlash) return;
  window.__skerryFlash = true;
  var base = "http://" + host + "/ruffle/";
  var told = {};
  function tell(source) {
    if (typeof source !== "string" || source === "") return;
    var address;
    try { address = new URL(source, document.baseURI).href; } catch (e) { return; }
    if (!/^https?:/.test(address) || told[address]) return;
    told[address] = true;
    new Image().src = "http://" + host + "%2?u=" + encodeURIComponent(address);
  }
  function tellLoad(options) { tell(typeof options === "string" ? options : options && options.url); }
  function scan(root) {
    if (!root.querySelectorAll) return;
    root.querySelectorAll("embed[src]").forEach(function (e) { tell(e.getAttribute("src")); });
    root.querySelectorAll("object").forEach(function (o) {
      var movie = o.querySelector("param[name=movie i]");
      tell(o.getAttribute("data") || (movie && movie.getAttribute("value")));
    });
  }
  // The emulator's players: wrap the load of the class that owns it.
  var define = customElements.define.bind(customElements);
  customElements.define = function (name, type, options) {
    define(name, type, options);
    if (!/^ruffle-/.test(name)) return;
    var owner = type.prototype;
    while (owner && !Object.prototype.hasOwnProperty.call(owner, "load")) owner = Object.getPrototypeOf(owner);
    if (!owner || owner.__skerryTold) return;
    owner.__skerryTold = true;
    var load = owner.load, ruffle = owner.ruffle;
    owner.load = function (options) { tellLoad(options); return load.apply(this, arguments); };
    if (typeof ruffle === "function") owner.ruffle = function () {
      var api = ruffle.apply(this, arguments), inner = api.load;
      api.load = function (options) { tellLoad(options); return inner.apply(api, arguments); };
      return api;
    };
  };
  scan(document);
  new MutationObserver(function (changes) {
    changes.forEach(function (c) { c.addedNodes.forEach(function (n) {
      if (n.nodeName === "EMBED" || n.nodeName === "OBJECT") scan(n.parentNode || document); else scan(n);
    }); });
  }).observe(document, {childList: true, subtree: true});
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
  for (int i = 0; i < 100; ++i) {
    {
      std::lock_guard<std::mutex> guard(Shared().lock);
      if (Shared().busy == 0 && Shared().waiting.empty())
        return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

// Queues address for its copy, once per address and within the cap.
void CopyOnce(const std::string& address) {
  if (address.rfind("http://", 0) != 0 && address.rfind("https://", 0) != 0)
    return;
  std::string cache = BrowserCacheFolder();
  if (cache.empty())
    return;
  Copies& copies = Shared();
  std::lock_guard<std::mutex> guard(copies.lock);
  auto now = std::chrono::steady_clock::now();
  if (now - copies.windowStart > AddressWindow) {
    copies.seen.clear();
    copies.windowStart = now;
  }
  if (copies.seen.size() >= MaxAddresses || !copies.seen.insert(address).second)
    return;
  if (!copies.started) {
    try {
      for (int i = 0; i < CopyWorkers; ++i)
        std::thread(CopyWorker, cache).detach();
      copies.started = true;
    } catch (const std::system_error&) {
      return;
    }
  }
  copies.waiting.push_back(address);
  copies.wake.notify_one();
}

bool OfGameServer(const QUrl& url) {
  return url.host() == "127.0.0.1" && url.port() == gameServerPort;
}

} // namespace

void InstallFlashOnEveryPage(QWebEngineProfile* profile, quint16 serverPort) {
  gameServerPort = serverPort;
  if (serverPort == 0)
    return;
  QWebEngineScript script;
  script.setName("skerry-flash");
  script.setSourceCode(QString::fromUtf8(LoaderScript).arg(serverPort).arg(NotePath));
  script.setInjectionPoint(QWebEngineScript::DocumentReady);
  script.setWorldId(QWebEngineScript::MainWorld);
  script.setRunsOnSubFrames(true);
  profile->scripts()->insert(script);
  QObject::connect(qApp, &QCoreApplication::aboutToQuit, AwaitCopies);
}

bool IsFlashNote(const QUrl& url) {
  return gameServerPort != 0 && url.scheme() == "http" && OfGameServer(url) &&
         url.path() == NotePath;
}

void NoteFlashSource(const QUrl& note) {
  QUrl source(QUrlQuery(note).queryItemValue("u", QUrl::FullyDecoded), QUrl::StrictMode);
  if (!source.isValid() || OfGameServer(source))
    return; // the game server's files lie in Game already
  CopyOnce(source.toString(QUrl::FullyEncoded | QUrl::RemoveFragment).toStdString());
}

void NoteFlashRequest(const QWebEngineUrlRequestInfo& info) {
  QUrl url = info.requestUrl();
  if ((url.scheme() != "http" && url.scheme() != "https") || OfGameServer(url))
    return;
  auto type = info.resourceType();
  std::string address = url.toString(QUrl::FullyEncoded | QUrl::RemoveFragment).toStdString();
  if (NamesFlashFile(address) || type == QWebEngineUrlRequestInfo::ResourceTypeObject ||
      type == QWebEngineUrlRequestInfo::ResourceTypePluginResource)
    CopyOnce(address);
}
