// URL downloads on libcurl, and the browser cache copies they leave.
//
// One easy handle per call. The body streams into a sink that opens its file
// only when the first bytes of a 2xx answer arrive (redirect bodies never
// reach it). A target that did not exist is written directly and, once whole,
// gets its cache copy as a hard link (a copy across file systems). An existing
// target is left alone until the body is whole in the cache copy (or a private
// staging file) and is then replaced from it, so a failed download never costs
// a user's file. On any failure the files this call made are removed again.
#include "platform/url_download.h"

#include "platform/files.h"

#include <curl/curl.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <mutex>
#include <random>
#include <unordered_map>
#include <vector>

#include "platform/hosts.h"
#include "platform/sysdirs.h"

namespace {

constexpr std::size_t MaxPath = 260;
constexpr int CacheSubfolders = 4;

std::string RandomName(std::size_t length) {
  static const char alphabet[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  thread_local std::mt19937 engine{std::random_device{}()};
  std::uniform_int_distribution<int> pick(0, 35);
  std::string name;
  for (std::size_t i = 0; i < length; ++i)
    name += alphabet[pick(engine)];
  return name;
}

bool IsCacheSubfolderName(const char* name) {
  if (std::strlen(name) != 8)
    return false;
  for (const char* p = name; *p != '\0'; ++p)
    if (!((*p >= '0' && *p <= '9') || (*p >= 'A' && *p <= 'Z')))
      return false;
  return true;
}

// One of a few subfolders: a new one while there are fewer than
// CacheSubfolders, else one of those present, at random.
std::string PickCacheSubfolder(const std::string& cache) {
  std::vector<std::string> present;
  if (DIR* dir = opendir(cache.c_str()); dir != nullptr) {
    while (dirent* entry = readdir(dir)) {
      if (!IsCacheSubfolderName(entry->d_name))
        continue;
      struct stat st {};
      std::string full = cache + "/" + entry->d_name;
      if (lstat(full.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
        present.push_back(full);
    }
    closedir(dir);
  }
  if (static_cast<int>(present.size()) >= CacheSubfolders) {
    thread_local std::mt19937 engine{std::random_device{}()};
    return present[std::uniform_int_distribution<std::size_t>(0, present.size() - 1)(engine)];
  }
  std::string fresh = cache + "/" + RandomName(8);
  if (mkdir(fresh.c_str(), 0755) != 0 && errno != EEXIST)
    return std::string();
  return fresh;
}

constexpr int MaxCacheNumber = 100000;

// Where the claims of this process left off, per subfolder, stem and
// extension, so a claim never walks the copies already there one by one.
std::mutex cacheNumbersLock;
std::unordered_map<std::string, int>& CacheNumbers() {
  static auto* numbers = new std::unordered_map<std::string, int>; // jobs outlive exit
  return *numbers;
}

void RememberCacheNumber(const std::string& key, int next) {
  std::lock_guard<std::mutex> hold(cacheNumbersLock);
  if (CacheNumbers().size() > 4096)
    CacheNumbers().clear();
  CacheNumbers()[key] = next;
}

// The number to claim first for key: where this process left off, else the
// end of the run of taken numbers from 1, found by doubling and halving
// (taken(n): stem[n] exists), so the cost grows with the log of the copies.
// A gap that purged copies left below that end is not filled.
int NextCacheNumber(const std::string& key, const std::function<bool(int)>& taken) {
  {
    std::lock_guard<std::mutex> hold(cacheNumbersLock);
    auto known = CacheNumbers().find(key);
    if (known != CacheNumbers().end())
      return known->second;
  }
  if (!taken(1))
    return 1;
  int low = 1; // taken
  int high = 2;
  while (high < MaxCacheNumber && taken(high)) {
    low = high;
    high = std::min(high * 2, MaxCacheNumber);
  }
  while (high - low > 1) {
    int middle = low + (high - low) / 2;
    (taken(middle) ? low : high) = middle;
  }
  return high;
}

char SafeNameChar(char c) {
  if (std::strchr("<>:\"|?*\\/", c) != nullptr || static_cast<unsigned char>(c) < 32 || c == 127)
    return '_';
  return c;
}

// Stem and extension of the address's last path segment.
void NameParts(const char* url, std::string& stem, std::string& extension) {
  std::string text = url;
  std::size_t scheme = text.find("://");
  std::size_t pathStart = text.find('/', scheme == std::string::npos ? 0 : scheme + 3);
  std::string path = pathStart == std::string::npos ? std::string() : text.substr(pathStart);
  path = path.substr(0, path.find_first_of("?#"));
  std::string segment =
      path.substr(path.find_last_of('/') == std::string::npos ? 0 : path.find_last_of('/') + 1);
  std::size_t dot = segment.find_last_of('.');
  if (dot == std::string::npos) {
    stem = segment;
    extension.clear();
  } else {
    stem = segment.substr(0, dot);
    extension = segment.substr(dot + 1);
  }
  for (char& c : stem)
    c = SafeNameChar(c);
  for (char& c : extension)
    c = SafeNameChar(c);
  if (extension.size() > 16)
    extension.resize(16);
  if (stem.find_first_not_of('.') == std::string::npos)
    stem = RandomName(8);
}

// Makes path anew for writing: whatever stands there (a read-only file, a
// link, a file sharing its data with a cache copy) is removed first, so a
// replacement never writes into another name's data or through a link.
int OpenTarget(const char* path) {
  struct stat st {};
  if (lstat(path, &st) == 0 && !S_ISDIR(st.st_mode))
    unlink(path);
  return open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
}

// Copies from to path. A name standing at path is replaced, unless onlyNew
// asks to leave any name there alone (and fail).
bool CopyFileTo(const std::string& from, const char* path, bool onlyNew = false) {
  int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
  if (in < 0)
    return false;
  int out = onlyNew ? open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644)
                    : OpenTarget(path);
  bool ok = out >= 0;
  while (ok) {
    ssize_t n = copy_file_range(in, nullptr, out, nullptr, 1 << 30, 0);
    if (n < 0 && errno == EINTR)
      continue;
    if (n < 0) {
      // No in-kernel copy here: fall back to reading and writing.
      std::vector<char> buffer(1 << 20);
      for (;;) {
        ssize_t got = read(in, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR)
          continue;
        if (got <= 0) {
          ok = got == 0;
          break;
        }
        ok = WriteAll(out, buffer.data(), static_cast<std::size_t>(got));
        if (!ok)
          break;
      }
      break;
    }
    if (n == 0)
      break;
  }
  close(in);
  if (out >= 0)
    ok = close(out) == 0 && ok;
  if (!ok && out >= 0)
    unlink(path);
  return ok;
}

// Gives the data of from a second name to: a hard link where the file system
// allows it (both names are only ever replaced, never rewritten in place),
// else a copy. The new name is made beside to and renamed over it, so
// whatever stood at to is kept when neither a link nor a copy can be made.
bool ShareFile(const std::string& from, const char* to) {
  static std::atomic<unsigned> serial{0};
  std::string temp = std::string(to) + ".part-" + std::to_string(getpid()) + "-" +
                     std::to_string(serial.fetch_add(1));
  unlink(temp.c_str());
  if (link(from.c_str(), temp.c_str()) != 0 && !CopyFileTo(from, temp.c_str()))
    return false;
  if (rename(temp.c_str(), to) != 0) {
    unlink(temp.c_str());
    return false;
  }
  return true;
}

// Gives the data of from the name claimed, an empty file of this call's own
// in the cache: the claim gives way to a link (or, across file systems, a
// copy) under the same name. Never a rename over the claim: some file
// systems write a whole renamed body out at once when it replaces a name.
// False when another download took the name in between; theirs stands.
bool FillClaim(const std::string& from, const std::string& claimed) {
  unlink(claimed.c_str());
  if (link(from.c_str(), claimed.c_str()) == 0)
    return true;
  return errno != EEXIST && CopyFileTo(from, claimed.c_str(), true);
}

// Where the body goes while it arrives: straight into a target that did not
// exist, else into a staging file (the cache copy, or a private file in the
// system's Temp folder) from which the target is replaced once all is there.
struct Sink {
  CURL* handle = nullptr;
  const char* path = nullptr;
  const char* url = nullptr;
  std::string cacheFolder;
  bool targetExisted = false;
  bool opened = false;
  bool failed = false;
  int fd = -1;
  std::string stagePath;     // empty while writing the target itself
  bool stageIsCache = false; // the staging file is the cache copy
  // Stall watch: the byte count last seen and when it last moved.
  curl_off_t seenBytes = -1;
  std::chrono::steady_clock::time_point lastMove;
  long stallSeconds = 60;
  long long written = 0;
  long long reserveCheckedAt = -1; // the byte count of the last free-space look
  bool enough = false;             // keepBytes arrived; the rest isn't wanted
  bool belowReserve = false;
  const DownloadOptions* options = nullptr;
};

constexpr long long ReserveCheckBytes = 8LL << 20;

// Whether the file system of fd can take bytes more and keep the reserve.
bool KeepsReserve(int fd, long long bytes, long long reserve) {
  struct statvfs fs {};
  if (reserve <= 0 || fstatvfs(fd, &fs) != 0)
    return true;
  long long free = static_cast<long long>(fs.f_bavail) * static_cast<long long>(fs.f_frsize);
  return free - bytes >= reserve;
}

// Called by libcurl about once a second even while nothing arrives; ends a
// transfer whose byte count has not moved for the stall time.
int OnProgress(void* context, curl_off_t whole, curl_off_t received, curl_off_t, curl_off_t sent) {
  Sink& sink = *static_cast<Sink*>(context);
  if (sink.options->progress != nullptr)
    sink.options->progress(sink.options->progressContext, received, whole);
  auto now = std::chrono::steady_clock::now();
  if (received + sent != sink.seenBytes) {
    sink.seenBytes = received + sent;
    sink.lastMove = now;
    return 0;
  }
  return now - sink.lastMove >= std::chrono::seconds(sink.stallSeconds) ? 1 : 0;
}

std::string AnsweredUrl(const Sink& sink) {
  char* answered = nullptr;
  curl_easy_getinfo(sink.handle, CURLINFO_EFFECTIVE_URL, &answered);
  return answered != nullptr ? answered : sink.url;
}

bool OpenSink(Sink& sink) {
  sink.opened = true;
  if (!sink.targetExisted) {
    sink.fd = OpenTarget(sink.path);
    if (sink.fd >= 0)
      flock(sink.fd, LOCK_EX | LOCK_NB);
    return sink.fd >= 0;
  }
  if (!sink.cacheFolder.empty()) {
    sink.stagePath = ClaimCacheFile(sink.cacheFolder.c_str(), AnsweredUrl(sink).c_str());
    if (!sink.stagePath.empty()) {
      sink.fd = open(sink.stagePath.c_str(), O_WRONLY | O_TRUNC | O_NOFOLLOW | O_CLOEXEC);
      sink.stageIsCache = sink.fd >= 0;
    }
  }
  if (sink.fd < 0) {
    std::string stage = SystemSubfolder("Temp") + "/download-XXXXXX";
    std::vector<char> name(stage.begin(), stage.end());
    name.push_back('\0');
    sink.fd = mkostemp(name.data(), O_CLOEXEC);
    sink.stagePath = sink.fd >= 0 ? name.data() : "";
  }
  return sink.fd >= 0;
}

std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* context) {
  Sink& sink = *static_cast<Sink*>(context);
  std::size_t bytes = size * count;
  if (!sink.opened) {
    long status = 0;
    curl_easy_getinfo(sink.handle, CURLINFO_RESPONSE_CODE, &status);
    if (status < 200 || status > 299)
      return 0;
    if (!OpenSink(sink)) {
      sink.failed = true;
      return 0;
    }
  }
  std::size_t take = bytes;
  long long keep = sink.options->keepBytes;
  if (keep > 0 && sink.written + static_cast<long long>(bytes) >= keep) {
    take = static_cast<std::size_t>(keep - sink.written);
    sink.enough = true;
  }
  long long reserve = sink.options->reserveBytes;
  if (reserve > 0 &&
      (sink.reserveCheckedAt < 0 || sink.written - sink.reserveCheckedAt >= ReserveCheckBytes)) {
    sink.reserveCheckedAt = sink.written;
    if (!KeepsReserve(sink.fd, ReserveCheckBytes, reserve)) {
      sink.belowReserve = sink.failed = true;
      return 0;
    }
  }
  // Checked here as well as by libcurl, which only weighs an announced length.
  sink.written += static_cast<long long>(take);
  long long cap = sink.options->maxBytes;
  if ((cap > 0 && sink.written > cap) || !WriteAll(sink.fd, data, take)) {
    sink.failed = true;
    return 0;
  }
  // Taking less than was given ends the transfer once what is wanted is there.
  return sink.enough ? 0 : bytes;
}

// After a whole body: the target gets its data, and the cache its copy.
bool FinishSink(Sink& sink) {
  if (sink.stagePath.empty()) {
    if (!sink.cacheFolder.empty()) {
      std::string copy = ClaimCacheFile(sink.cacheFolder.c_str(), AnsweredUrl(sink).c_str());
      if (!copy.empty())
        FillClaim(sink.path, copy); // the copy is a courtesy; the download stands
    }
    return true;
  }
  if (sink.stageIsCache)
    return ShareFile(sink.stagePath, sink.path);
  bool ok = rename(sink.stagePath.c_str(), sink.path) == 0 || ShareFile(sink.stagePath, sink.path);
  unlink(sink.stagePath.c_str());
  return ok;
}

// The hosts table as libcurl's connect-to rules: every listed name, on any
// port, goes to its address (and its port, when the table gives one).
curl_slist* HostRules(curl_slist* rules) {
  for (const HostEntry& entry : ReadHostsTable()) {
    std::string address = entry.ipv6 ? "[" + entry.address + "]" : entry.address;
    std::string rule = entry.name + "::" + address + ":" +
                       (entry.port != 0 ? std::to_string(entry.port) : std::string());
    if (curl_slist* grown = curl_slist_append(rules, rule.c_str()); grown != nullptr)
      rules = grown;
  }
  return rules;
}

// The host that url names, or empty.
std::string UrlHost(const char* url) {
  std::string host;
  if (CURLU* parts = curl_url(); parts != nullptr) {
    char* text = nullptr;
    if (curl_url_set(parts, CURLUPART_URL, url, CURLU_NON_SUPPORT_SCHEME) == CURLUE_OK &&
        curl_url_get(parts, CURLUPART_HOST, &text, 0) == CURLUE_OK && text != nullptr)
      host = text;
    curl_free(text);
    curl_url_cleanup(parts);
  }
  return host;
}

void InitCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

} // namespace

std::string EscapeUrlForRequest(const char* url) {
  std::string text = url != nullptr ? url : "";
  std::size_t scheme = text.find("://");
  std::size_t from = scheme == std::string::npos ? 0 : scheme + 3;
  from = text.find_first_of("/?#", from);
  if (from == std::string::npos)
    return text;
  static const char hex[] = "0123456789ABCDEF";
  std::string out = text.substr(0, from);
  out.reserve(text.size() + 16);
  for (std::size_t i = from; i < text.size(); ++i) {
    auto c = static_cast<unsigned char>(text[i]);
    if (c <= 0x20 || c >= 0x7F || std::strchr("\"<>\\^`{|}", c) != nullptr) {
      out += '%';
      out += hex[c >> 4];
      out += hex[c & 15];
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

std::string ClaimCacheFile(const char* cacheFolder, const char* url) {
  if (cacheFolder == nullptr || *cacheFolder == '\0' || url == nullptr)
    return std::string();
  std::string cache = cacheFolder;
  while (cache.size() > 1 && cache.back() == '/')
    cache.pop_back();
  if (!MakeFolders(cache))
    return std::string();
  std::string folder = PickCacheSubfolder(cache);
  if (folder.empty())
    return std::string();
  std::string stem;
  std::string extension;
  NameParts(url, stem, extension);
  // stem[n].ext in folder, the stem cut so that the path stays under MaxPath.
  auto nameFor = [&](int n) {
    std::string tail = "[";
    tail.append(std::to_string(n)).append("]");
    if (!extension.empty())
      tail.append(".").append(extension);
    std::size_t room = folder.size() + 1 + tail.size();
    if (room + 1 >= MaxPath)
      return std::string();
    return folder + "/" + stem.substr(0, std::min(stem.size(), MaxPath - 1 - room)) + tail;
  };
  std::string key = folder + "/" + stem + "[]." + extension;
  int n = NextCacheNumber(key, [&](int k) {
    std::string full = nameFor(k);
    struct stat st {};
    return !full.empty() && lstat(full.c_str(), &st) == 0;
  });
  for (; n < MaxCacheNumber; ++n) {
    std::string full = nameFor(n);
    if (full.empty())
      return std::string();
    int fd = open(full.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd >= 0) {
      close(fd);
      RememberCacheNumber(key, n + 1);
      return full;
    }
    if (errno != EEXIST)
      return std::string();
  }
  return std::string();
}

int DownloadUrlToFile(const char* url, const char* path, const char* cacheFolder,
                      const DownloadOptions& options) {
  if (url == nullptr || path == nullptr || *url == '\0' || *path == '\0')
    return -1;
  InitCurlOnce();
  CURL* handle = curl_easy_init();
  if (handle == nullptr)
    return -1;

  Sink sink;
  sink.handle = handle;
  sink.path = path;
  // Blanks and other bytes an address may not hold go escaped, as a
  // browser sends them; the answered address names the cache copy.
  std::string escaped = EscapeUrlForRequest(url);
  url = escaped.c_str();
  sink.url = url;
  sink.cacheFolder = cacheFolder != nullptr ? cacheFolder : "";
  struct stat st {};
  sink.targetExisted = lstat(path, &st) == 0;

  curl_slist* connectTo = HostRules(nullptr);
  // A listed host may present the certificate the table trusts (a test
  // server's own); every other host keeps the system's trust.
  std::string certificate = HostsCertificate();
  HostEntry listed;
  if (!certificate.empty() && LookupHost(UrlHost(url).c_str(), listed))
    curl_easy_setopt(handle, CURLOPT_CAINFO, certificate.c_str());

  curl_easy_setopt(handle, CURLOPT_URL, url);
  curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(handle, CURLOPT_MAXREDIRS, 10L);
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(handle, CURLOPT_USERAGENT, options.userAgent);
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, options.connectTimeoutSeconds);
  sink.stallSeconds = options.stallSeconds;
  sink.options = &options;
  sink.lastMove = std::chrono::steady_clock::now();
  if (options.lowSpeedBytes > 0 && options.lowSpeedSeconds > 0) {
    curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, options.lowSpeedBytes);
    curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, options.lowSpeedSeconds);
  }
  if (options.maxBytes > 0)
    curl_easy_setopt(handle, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(options.maxBytes));
  curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, OnProgress);
  curl_easy_setopt(handle, CURLOPT_XFERINFODATA, &sink);
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_BUFFERSIZE, 512L * 1024L);
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, OnBody);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &sink);
  if (connectTo != nullptr)
    curl_easy_setopt(handle, CURLOPT_CONNECT_TO, connectTo);

  CURLcode code = curl_easy_perform(handle);
  long status = 0;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);

  int result = 0;
  if (sink.enough && code == CURLE_WRITE_ERROR)
    code = CURLE_OK;
  if (code != CURLE_OK && sink.belowReserve)
    result = DownloadBelowReserve;
  else if (code != CURLE_OK)
    result = sink.failed || status < 300 ? (sink.failed ? -1 : static_cast<int>(code))
                                         : static_cast<int>(status);
  else if (status < 200 || status > 299)
    result = static_cast<int>(status > 0 ? status : -1);
  else if (!sink.opened && !OpenSink(sink))
    result = -1; // an empty body: the files are made all the same

  if (sink.fd >= 0 && close(sink.fd) != 0 && result == 0)
    result = -1;
  if (result == 0 && !FinishSink(sink))
    result = -1;
  if (result != 0) {
    if (sink.opened && sink.stagePath.empty())
      unlink(sink.path); // made by this call
    else if (!sink.stagePath.empty())
      unlink(sink.stagePath.c_str());
  }
  curl_easy_cleanup(handle);
  curl_slist_free_all(connectTo);
  return result;
}
