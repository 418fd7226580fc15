// The runner of ffmpeg. The tool gets /dev/null as input, a pipe as output
// (where "-progress pipe:1" writes its key=value blocks) and a pipe as error
// output (where it writes the input's "Duration:" and, on failure, why).
// Both pipes are read with poll on the caller's thread until they close, so
// the tool never blocks on a full pipe; the share done is out_time_us over
// the duration. The build's abilities come from two runs whose output is
// searched for the option names.
#include "video/convert.h"

#include "platform/process.h"
#include "shell/module_path.h"
#include "shell/settings.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>

namespace {

using Clock = std::chrono::steady_clock;

// Kept of the error output: enough for the duration line and the last words.
constexpr std::size_t ErrorTailBytes = 8192;
// A status line holds 259 characters; a reason never needs more than this.
constexpr std::size_t ReasonMax = 160;

bool IsExecutableFile(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(path.c_str(), X_OK) == 0;
}

// The last line of text that isn't blank, cut to ReasonMax.
std::string LastLine(const std::string& text) {
  std::size_t end = text.find_last_not_of(" \t\r\n");
  if (end == std::string::npos)
    return std::string();
  std::size_t begin = text.find_last_of("\r\n", end);
  begin = begin == std::string::npos ? 0 : begin + 1;
  std::string line = text.substr(begin, end - begin + 1);
  if (line.size() > ReasonMax)
    line.resize(ReasonMax);
  return line;
}

struct Pipe {
  int read = -1;
  int write = -1;
};

bool OpenPipe(Pipe& p) {
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0)
    return false;
  p.read = fds[0];
  p.write = fds[1];
  return true;
}

void CloseFd(int& fd) {
  if (fd >= 0)
    close(fd);
  fd = -1;
}

// One run with both pipes read to their end. out receives the whole standard
// output when keepOutput, else its lines are passed to onLine as they come;
// err keeps the head and the tail of the error output.
struct RunPipes {
  std::string out;
  std::string err;
  bool timedOut = false;
  bool stalled = false;
  ProcessResult process;
};

void RunWithPipes(RunPipes& r, const std::string& program,
                  const std::vector<std::string>& arguments, bool keepOutput,
                  const std::function<void(const std::string&)>& onLine, int timeoutMs,
                  const std::function<bool()>& stalled = {}) {
  Pipe out, err;
  int nullIn = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (!OpenPipe(out) || !OpenPipe(err) || nullIn < 0) {
    CloseFd(out.read), CloseFd(out.write), CloseFd(err.read), CloseFd(err.write), CloseFd(nullIn);
    r.process.error = std::string("pipe: ") + std::strerror(errno);
    return;
  }
  ProcessRequest request;
  request.program = program;
  request.arguments = arguments;
  request.inputFd = nullIn;
  request.outputFd = out.write;
  request.errorFd = err.write;
  r.process = ProcessStart(request);
  CloseFd(nullIn);
  CloseFd(out.write);
  CloseFd(err.write);
  Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  std::string pending;
  while (r.process.pid > 0 && (out.read >= 0 || err.read >= 0)) {
    pollfd fds[2] = {{out.read, POLLIN, 0}, {err.read, POLLIN, 0}};
    int wait = 250;
    if (timeoutMs >= 0) {
      auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      if (left.count() <= 0) {
        kill(r.process.pid, SIGKILL);
        r.timedOut = true;
        break;
      }
      wait = static_cast<int>(std::min<long long>(wait, left.count()));
    }
    if (stalled && stalled()) {
      kill(r.process.pid, SIGKILL);
      r.stalled = true;
      break;
    }
    int n = poll(fds, 2, wait);
    if (n < 0 && errno != EINTR)
      break;
    char buffer[4096];
    // The error output first: the duration written there before a progress
    // line must be known when that line is read.
    for (int i = 1; i >= 0; --i) {
      if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR)))
        continue;
      ssize_t got = read(fds[i].fd, buffer, sizeof buffer);
      if (got < 0 && errno == EINTR)
        continue;
      if (got <= 0) {
        CloseFd(i == 0 ? out.read : err.read);
        continue;
      }
      std::string chunk(buffer, static_cast<std::size_t>(got));
      if (i == 1) {
        r.err += chunk;
        // Keep the head, where the duration stands, and the tail.
        if (r.err.size() > 2 * ErrorTailBytes)
          r.err = r.err.substr(0, ErrorTailBytes / 2) + "\n" +
                  r.err.substr(r.err.size() - ErrorTailBytes);
      } else if (keepOutput) {
        r.out += chunk;
      } else {
        pending += chunk;
        std::size_t nl;
        while ((nl = pending.find('\n')) != std::string::npos) {
          if (onLine)
            onLine(pending.substr(0, nl));
          pending.erase(0, nl + 1);
        }
        if (pending.size() > 4096)
          pending.clear();
      }
    }
  }
  CloseFd(out.read);
  CloseFd(err.read);
  if (r.process.pid > 0)
    ProcessWait(&r.process, -1);
}

// The demuxers of real video containers. A downloaded file is read by none
// other: a playlist, a concatenation or an image sequence would lead the tool
// to other files or addresses.
constexpr const char* VideoContainers =
    "mov,matroska,avi,flv,asf,mpeg,mpegts,mpegvideo,m4v,h264,hevc,rm,ogg,nut,dv,mp3,aac,wav";

std::string FfprobePath() {
  std::string ffmpeg = FfmpegPath();
  std::size_t slash = ffmpeg.rfind('/');
  if (slash == std::string::npos)
    return std::string();
  std::string beside = ffmpeg.substr(0, slash + 1) + "ffprobe";
  return IsExecutableFile(beside) ? beside : std::string();
}

std::mutex abilitiesLock;
std::map<std::string, FfmpegAbilities>& KnownAbilities() {
  static auto* known =
      new std::map<std::string, FfmpegAbilities>; // never destroyed: jobs outlive exit
  return *known;
}

} // namespace

long long FfmpegDuration(const std::string& errorText) {
  std::size_t at = errorText.find("Duration: ");
  if (at == std::string::npos)
    return 0;
  // hh:mm:ss.ff, each field read with a bound so that no digit run overflows.
  long long fields[3] = {0, 0, 0};
  long long fraction = 0, scale = 1000000;
  const char* p = errorText.c_str() + at + 10;
  for (int f = 0; f < 3; ++f) {
    if (!std::isdigit(static_cast<unsigned char>(*p)))
      return 0;
    for (int digits = 0; std::isdigit(static_cast<unsigned char>(*p)); ++p)
      if (++digits <= 6)
        fields[f] = fields[f] * 10 + (*p - '0');
    if (f < 2 && *p++ != ':')
      return 0;
  }
  if (*p == '.')
    for (++p; std::isdigit(static_cast<unsigned char>(*p)); ++p)
      if (scale > 1) {
        scale /= 10;
        fraction += (*p - '0') * scale;
      }
  return (fields[0] * 3600 + fields[1] * 60 + fields[2]) * 1000000 + fraction;
}

int FfmpegShare(const std::string& progressLine, long long durationMicros) {
  const char* key = "out_time_us=";
  if (durationMicros <= 0 || progressLine.compare(0, std::strlen(key), key) != 0)
    return -1;
  long long at = std::strtoll(progressLine.c_str() + std::strlen(key), nullptr, 10);
  at = std::clamp(at, 0LL, durationMicros);
  return static_cast<int>(static_cast<double>(at) * 100 / static_cast<double>(durationMicros));
}

std::string FfmpegPath() {
  std::string beside = ModulePath();
  std::size_t slash = beside.rfind('/');
  if (slash != std::string::npos) {
    beside = beside.substr(0, slash + 1) + "ffmpeg";
    if (IsExecutableFile(beside))
      return beside;
  }
  const char* path = std::getenv("PATH");
  std::string dirs = path ? path : "/usr/local/bin:/usr/bin:/bin";
  std::size_t start = 0;
  while (start <= dirs.size()) {
    std::size_t colon = dirs.find(':', start);
    std::string dir =
        dirs.substr(start, colon == std::string::npos ? std::string::npos : colon - start);
    if (!dir.empty() && dir[0] == '/' && IsExecutableFile(dir + "/ffmpeg"))
      return dir + "/ffmpeg";
    if (colon == std::string::npos)
      break;
    start = colon + 1;
  }
  return std::string();
}

FfmpegAbilities FfmpegBuild(const std::string& ffmpegPath) {
  {
    std::lock_guard<std::mutex> hold(abilitiesLock);
    auto it = KnownAbilities().find(ffmpegPath);
    if (it != KnownAbilities().end())
      return it->second;
  }
  FfmpegAbilities a;
  if (!ffmpegPath.empty()) {
    RunPipes encoders;
    RunWithPipes(encoders, ffmpegPath, {"-hide_banner", "-encoders"}, true, {}, 20000);
    a.libfaac = encoders.out.find(" libfaac ") != std::string::npos;
    RunPipes help;
    RunWithPipes(help, ffmpegPath, {"-hide_banner", "-h", "long"}, true, {}, 20000);
    a.sameq = help.out.find("-sameq") != std::string::npos;
  }
  std::lock_guard<std::mutex> hold(abilitiesLock);
  KnownAbilities()[ffmpegPath] = a;
  return a;
}

FfmpegOutcome RunFfmpeg(const std::vector<std::string>& arguments,
                        const std::function<void(int)>& progress, int timeoutMs, int stallMs) {
  FfmpegOutcome outcome;
  std::string program = FfmpegPath();
  if (program.empty()) {
    outcome.error = "no ffmpeg";
    return outcome;
  }
  std::vector<std::string> args = {"-hide_banner", "-nostats", "-progress", "pipe:1"};
  args.insert(args.end(), arguments.begin(), arguments.end());

  long long duration = 0;
  int lastShare = -1;
  Clock::time_point lastReport{};
  std::string position; // the latest out_time_us line
  Clock::time_point moved = Clock::now();
  RunPipes r;
  RunWithPipes(
      r, program, args, false,
      [&](const std::string& line) {
        if (line.rfind("out_time_us=", 0) == 0 && line != position) {
          position = line;
          moved = Clock::now();
        }
        if (!progress)
          return;
        if (duration <= 0)
          duration = FfmpegDuration(r.err);
        int share = FfmpegShare(line, duration);
        Clock::time_point now = Clock::now();
        if (share >= 0 && share != lastShare &&
            now - lastReport >= std::chrono::milliseconds(500)) {
          lastShare = share;
          lastReport = now;
          progress(share);
        }
      },
      timeoutMs,
      [&] { return stallMs >= 0 && Clock::now() - moved >= std::chrono::milliseconds(stallMs); });
  outcome.exitCode = r.timedOut || r.stalled || r.process.pid <= 0 ? -1 : r.process.exitCode;
  outcome.ok = outcome.exitCode == 0;
  if (r.process.pid <= 0)
    outcome.error = r.process.error.empty() ? "ffmpeg did not start" : r.process.error;
  else if (r.timedOut)
    outcome.error = "timed out";
  else if (r.stalled)
    outcome.error = "no progress for " + std::to_string(stallMs / 1000) + " s";
  else if (!outcome.ok)
    outcome.error = "exit " + std::to_string(r.process.exitCode) + ": " + LastLine(r.err);
  return outcome;
}

std::vector<std::string> FfmpegLocalInput(const std::string& path) {
  return {"-protocol_whitelist", "file", "-format_whitelist", VideoContainers, "-i", path};
}

bool FfmpegKnowsContainer(const std::string& path) {
  std::string ffprobe = FfprobePath();
  if (ffprobe.empty() || path.empty() || path[0] != '/')
    return false;
  std::vector<std::string> arguments = {
      "-hide_banner",     "-v", "error", "-show_entries", "format=format_name", "-of",
      "default=nw=1:nk=1"};
  for (const std::string& word : FfmpegLocalInput(path))
    arguments.push_back(word);
  RunPipes probe;
  RunWithPipes(probe, ffprobe, arguments, true, {}, 60000);
  return !probe.timedOut && probe.process.exitCode == 0 &&
         probe.out.find_first_not_of(" \r\n") != std::string::npos;
}

int FfmpegStallSeconds() {
  char path[260] = "";
  ModuleFilePath(0, path, "Define.ini");
  char value[ProfileValueSize] = "";
  ProfileRead("Video", "FfmpegStall", value, path);
  int seconds = std::atoi(value);
  return seconds > 0 ? seconds : 120;
}
