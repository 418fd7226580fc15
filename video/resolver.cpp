// The resolver runs without a shell in a process group of its own (it starts
// ffmpeg to merge), its report read line by line from a pipe: progress lines
// give the share, and the one line it prints after moving the result names
// the file. The result must lie beside the temporary path and carry its name;
// it is then renamed to that path. A listed host of the hosts table is
// reached through the address the table gives, as the resolver's proxy.
#include "video/resolver.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/files.h"
#include "platform/hosts.h"
#include "platform/process.h"
#include "shell/module_path.h"
#include "shell/settings.h"
#include "web/url_text.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int DefaultStallSeconds = 60;
constexpr std::size_t ReasonMax = 160;

std::vector<std::string> Words(const char* text) {
  std::vector<std::string> words;
  for (const char* p = text; *p != '\0';) {
    while (*p == ' ' || *p == '\t')
      ++p;
    const char* start = p;
    while (*p != '\0' && *p != ' ' && *p != '\t')
      ++p;
    if (p != start)
      words.emplace_back(start, p);
  }
  return words;
}

// A download command is yt-dlp asked for no address (-g, --get-url).
bool IsDownloadCommand(const std::vector<std::string>& words) {
  if (words.empty())
    return false;
  std::string name = words[0].substr(words[0].rfind('/') + 1);
  if (name.rfind("yt-dlp", 0) != 0)
    return false;
  for (const std::string& word : words)
    if (word == "-g" || word == "--get-url")
      return false;
  return true;
}

// The proxy that reaches pageUrl's host when the hosts table lists it.
std::string ProxyFor(const std::string& pageUrl) {
  std::size_t begin = pageUrl.find("://");
  if (begin == std::string::npos)
    return std::string();
  begin += 3;
  std::size_t end = pageUrl.find_first_of("/?#", begin);
  std::string authority = pageUrl.substr(begin, end == std::string::npos ? end : end - begin);
  authority = authority.substr(authority.rfind('@') + 1);
  std::string host = authority.substr(0, authority.rfind(':'));
  if (!authority.empty() && authority[0] == '[')
    host = authority.substr(0, authority.find(']') + 1);
  HostEntry entry;
  if (host.empty() || pageUrl.rfind("http://", 0) != 0 || !LookupHost(host.c_str(), entry))
    return std::string();
  std::string address = entry.ipv6 ? "[" + entry.address + "]" : entry.address;
  return "http://" + address + ":" + std::to_string(entry.port != 0 ? entry.port : 80);
}

std::string Escaped(const std::string& path) {
  std::string out;
  for (char c : path)
    out += c == '%' ? std::string("%%") : std::string(1, c);
  return out;
}

// Removes what a run left beside tempPath under its name ("<name>.*").
// The files the resolver writes beside tempPath: "<tempPath>.<anything>".
std::vector<std::string> FilesBeside(const std::string& tempPath) {
  std::size_t slash = tempPath.rfind('/');
  std::string folder = tempPath.substr(0, slash);
  std::string head = tempPath.substr(slash + 1) + ".";
  std::vector<std::string> found;
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr)
    return found;
  while (dirent* e = readdir(dir))
    if (std::strncmp(e->d_name, head.c_str(), head.size()) == 0)
      found.push_back(folder + "/" + e->d_name);
  closedir(dir);
  return found;
}

void SweepBeside(const std::string& tempPath) {
  for (const std::string& path : FilesBeside(tempPath))
    unlink(path.c_str());
}

// Why a running download must end now, or empty: its files past maxBytes, or
// tempPath's file system below the reserve.
std::string OutOfRoom(const std::string& tempPath, long long maxBytes, long long reserveBytes,
                      bool& belowReserve) {
  long long written = 0;
  struct stat st {};
  for (const std::string& path : FilesBeside(tempPath))
    if (stat(path.c_str(), &st) == 0)
      written += st.st_size;
  if (maxBytes > 0 && written > maxBytes)
    return "larger than " + std::to_string(maxBytes >> 20) + " MB";
  if (!KeepsFreeBytes(tempPath.substr(0, tempPath.rfind('/')), reserveBytes)) {
    belowReserve = true;
    return "less than " + std::to_string(reserveBytes >> 20) + " MB free";
  }
  return std::string();
}

std::string Trimmed(std::string line) {
  while (!line.empty() && (line.back() == '\r' || line.back() == ' '))
    line.pop_back();
  return line;
}

} // namespace

int ResolverShare(const std::string& line) {
  std::string text = Trimmed(line);
  if (text.empty() || text.back() != '%')
    return -1;
  std::size_t start = text.find_first_not_of(' ');
  char* end = nullptr;
  double share = std::strtod(text.c_str() + start, &end);
  if (end != text.c_str() + text.size() - 1 || share < 0 || share > 100)
    return -1;
  return static_cast<int>(share);
}

std::vector<std::string> ResolverWords() {
  char define[260] = "";
  ModuleFilePath(0, define, "Define.ini");
  char command[ProfileValueSize] = "";
  ProfileRead("Video", "Resolver", command, define);
  return Words(command);
}

int ResolverSeconds() {
  char define[260] = "";
  ModuleFilePath(0, define, "Define.ini");
  char limit[ProfileValueSize] = "";
  ProfileRead("Video", "ResolverTimeout", limit, define);
  return std::atoi(limit) > 0 ? std::atoi(limit) : DefaultStallSeconds;
}

bool ResolverDownloads() {
  return IsDownloadCommand(ResolverWords());
}

ResolverDownload DownloadWithResolver(const std::string& pageUrl, const std::string& tempPath,
                                      bool small, long long maxBytes, long long reserveBytes,
                                      const std::function<void(int)>& progress) {
  ResolverDownload result;
  std::vector<std::string> words = ResolverWords();
  if (!IsDownloadCommand(words))
    return result;
  result.used = true;
  int stallSeconds = ResolverSeconds();
  if (WebSchemeLength(pageUrl.c_str()) == 0) {
    result.error = "no web address";
    return result;
  }

  ProcessRequest request;
  request.program = words[0];
  request.arguments.assign(words.begin() + 1, words.end());
  // No file may configure it, and its report is one line per step.
  for (const char* word : {"--ignore-config",
                           "--no-playlist",
                           "--no-cache-dir",
                           "--no-mtime",
                           "--no-simulate",
                           "--progress",
                           "--newline",
                           "--abort-on-unavailable-fragment",
                           "--retries",
                           "3",
                           "--fragment-retries",
                           "3",
                           "--progress-template",
                           "download:%(progress._percent_str)s",
                           "--print",
                           "after_move:filepath",
                           "--merge-output-format",
                           "mp4",
                           "-f",
                           "bv*+ba/b/bv*"})
    request.arguments.emplace_back(word);
  request.arguments.insert(request.arguments.end(), {"-S", small ? "+res:144" : "res:720", "-o",
                                                     Escaped(tempPath) + ".%(ext)s"});
  if (maxBytes > 0)
    request.arguments.insert(request.arguments.end(), {"--max-filesize", std::to_string(maxBytes)});
  std::string proxy = ProxyFor(pageUrl);
  if (!proxy.empty())
    request.arguments.insert(request.arguments.end(), {"--proxy", proxy});
  request.arguments.insert(request.arguments.end(), {"--", pageUrl});

  int out[2], err[2];
  if (pipe2(out, O_CLOEXEC) != 0) {
    result.error = std::strerror(errno);
    return result;
  }
  if (pipe2(err, O_CLOEXEC) != 0) {
    result.error = std::strerror(errno);
    close(out[0]), close(out[1]);
    return result;
  }
  int quiet = open("/dev/null", O_RDONLY | O_CLOEXEC);
  request.inputFd = quiet;
  request.outputFd = out[1];
  request.errorFd = err[1];
  request.ownGroup = true;
  ProcessResult process = ProcessStart(request);
  close(out[1]), close(err[1]);
  if (quiet >= 0)
    close(quiet);

  std::string pending[2], lastError, moved;
  bool stalled = false;
  std::string outOfRoom;
  Clock::time_point moving = Clock::now();
  Clock::time_point roomLooked = moving;
  int fds[2] = {out[0], err[0]};
  while (process.pid > 0 && (fds[0] >= 0 || fds[1] >= 0)) {
    if (Clock::now() - moving >= std::chrono::seconds(stallSeconds)) {
      stalled = true;
      break;
    }
    if (Clock::now() - roomLooked >= std::chrono::seconds(1)) {
      roomLooked = Clock::now();
      outOfRoom = OutOfRoom(tempPath, maxBytes, reserveBytes, result.belowReserve);
      if (!outOfRoom.empty())
        break;
    }
    pollfd waits[2] = {{fds[0], POLLIN, 0}, {fds[1], POLLIN, 0}};
    if (poll(waits, 2, 250) < 0 && errno != EINTR)
      break;
    for (int i = 0; i < 2; ++i) {
      if (fds[i] < 0 || !(waits[i].revents & (POLLIN | POLLHUP | POLLERR)))
        continue;
      char chunk[4096];
      ssize_t got = read(fds[i], chunk, sizeof chunk);
      if (got < 0 && errno == EINTR)
        continue;
      if (got <= 0) {
        close(fds[i]);
        fds[i] = -1;
        continue;
      }
      pending[i].append(chunk, static_cast<std::size_t>(got));
      for (std::size_t nl; (nl = pending[i].find('\n')) != std::string::npos;) {
        std::string line = Trimmed(pending[i].substr(0, nl));
        pending[i].erase(0, nl + 1);
        if (i == 1) {
          if (line.rfind("ERROR:", 0) == 0)
            lastError = line.substr(0, ReasonMax);
          continue;
        }
        moving = Clock::now();
        int share = ResolverShare(line);
        if (share >= 0 && progress)
          progress(share);
        else if (!line.empty() && line[0] == '/')
          moved = line;
      }
      if (pending[i].size() > 65536)
        pending[i].clear();
    }
  }
  for (int fd : fds)
    if (fd >= 0)
      close(fd);
  bool ended = stalled || !outOfRoom.empty();
  if (ended || !ProcessWait(&process, ended ? 0 : 10000))
    ProcessKill(&process);

  // The result must be "<tempPath>.<ending>": nothing else of the run is
  // taken, wherever the resolver says it wrote.
  std::string head = tempPath + ".";
  struct stat st {};
  if (process.pid <= 0)
    result.error = process.error.empty() ? "the resolver did not start" : process.error;
  else if (stalled)
    result.error = "no progress for " + std::to_string(stallSeconds) + " s";
  else if (!outOfRoom.empty())
    result.error = outOfRoom;
  else if (process.exitCode != 0)
    result.error =
        lastError.empty() ? "resolver exit " + std::to_string(process.exitCode) : lastError;
  else if (moved.rfind(head, 0) != 0 || moved.find('/', head.size()) != std::string::npos ||
           lstat(moved.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size <= 0)
    result.error = "the resolver delivered no video";
  else if (rename(moved.c_str(), tempPath.c_str()) != 0)
    result.error = std::strerror(errno);
  else
    result.ok = true;
  SweepBeside(tempPath);
  return result;
}
