// Colours read in-process from the root window; kept pictures by ImageMagick's import.
// Flash files: the header with the stage rectangle in twips, then SetBackgroundColor,
// ShowFrame and End, so that a player shows the stage in the background colour.
#include "x11_shots.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <fcntl.h>
#include <spawn.h>

#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <thread>

extern char** environ;

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

static std::map<pid_t, int> reaped;

pid_t Spawn(const std::string& exe, const std::vector<std::string>& args,
            const std::vector<std::string>& env, const std::string& log) {
  std::vector<std::string> words = {exe}, all = env;
  words.insert(words.end(), args.begin(), args.end());
  for (char** e = environ; *e; ++e) {
    std::string name = std::string(*e).substr(0, std::string(*e).find('=') + 1);
    if (std::none_of(env.begin(), env.end(), [&](auto& mine) { return mine.starts_with(name); }))
      all.push_back(*e);
  }
  std::vector<char*> argv, envp;
  for (auto [from, to] : {std::pair{&words, &argv}, {&all, &envp}}) {
    for (std::string& word : *from)
      to->push_back(word.data());
    to->push_back(nullptr);
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t pid = -1;
  bool spawned = posix_spawn(&pid, exe.c_str(), &actions, nullptr, argv.data(), envp.data()) == 0;
  posix_spawn_file_actions_destroy(&actions);
  return spawned ? pid : -1;
}

bool Ended(pid_t pid, std::chrono::milliseconds wait, int* status) {
  bool ended = AwaitTrue(
      [pid] {
        int s = 0;
        if (pid_t r = reaped.count(pid) ? 0 : waitpid(pid, &s, WNOHANG);
            r == pid || (r < 0 && errno == ECHILD))
          reaped[pid] = s;
        return reaped.count(pid) > 0;
      },
      wait);
  if (ended && status)
    *status = reaped[pid];
  return ended;
}

void Stop(pid_t pid) {
  for (int signal : {SIGTERM, SIGKILL})
    if (pid > 0 && !Ended(pid, 0ms) && kill(pid, signal) == 0)
      Ended(pid, 10s);
}

void KeepShot(const std::string& name) {
  std::filesystem::path dir = std::filesystem::path(SKERRY_SOURCE_DIR) / "screenshots";
  std::filesystem::create_directories(dir);
  (void)!std::system(("import -window root '" + (dir / name).string() + "' 2>/dev/null").c_str());
}

unsigned ScreenColour(int x, int y, int w, int h) {
  static Display* display =
      (XSetErrorHandler([](Display*, XErrorEvent*) { return 0; }), XOpenDisplay(nullptr));
  if (!display || w <= 0 || h <= 0)
    return ~0u;
  XImage* image = XGetImage(display, DefaultRootWindow(display), x, y, static_cast<unsigned>(w),
                            static_cast<unsigned>(h), AllPlanes, ZPixmap);
  if (!image)
    return ~0u;
  unsigned long sum[3] = {}, n = static_cast<unsigned long>(w) * static_cast<unsigned long>(h);
  for (int j = 0; j < h; ++j)
    for (int i = 0; i < w; ++i)
      for (int c = 0; c < 3; ++c)
        sum[c] += (XGetPixel(image, i, j) >> (16 - 8 * c)) & 0xFF;
  XDestroyImage(image);
  return static_cast<unsigned>((sum[0] / n) << 16 | (sum[1] / n) << 8 | sum[2] / n);
}

bool Near(unsigned a, unsigned b) {
  for (int shift = 0; shift <= 16; shift += 8)
    if (std::abs(int((a >> shift) & 0xFF) - int((b >> shift) & 0xFF)) > 12)
      return false;
  return true;
}

bool AwaitTrue(const std::function<bool()>& done, std::chrono::milliseconds wait) {
  for (auto deadline = Clock::now() + wait; !done(); std::this_thread::sleep_for(150ms))
    if (Clock::now() >= deadline)
      return false;
  return true;
}

unsigned AwaitScreen(int x, int y, int w, int h, std::chrono::seconds wait,
                     const std::function<bool(unsigned)>& good) {
  unsigned seen = ~0u;
  AwaitTrue([&] { return good(seen = ScreenColour(x, y, w, h)); }, wait);
  return seen;
}

testing::AssertionResult AwaitColour(unsigned colour, int x, int y, int w, int h,
                                     std::chrono::seconds wait) {
  unsigned seen = AwaitScreen(x, y, w, h, wait, [colour](unsigned c) { return Near(c, colour); });
  return Near(seen, colour)
             ? testing::AssertionSuccess()
             : testing::AssertionFailure() << "saw " << Hex(seen) << ", not " << Hex(colour);
}

std::string Hex(unsigned colour) {
  char text[16];
  std::snprintf(text, sizeof text, "#%06X", colour);
  return text;
}

static std::string Little(std::uint32_t value, int bytes) {
  std::string out;
  for (int i = 0; i < bytes; ++i)
    out += static_cast<char>((value >> (8 * i)) & 0xFF);
  return out;
}

static std::string Tag(unsigned type, const std::string& body) {
  auto size = static_cast<std::uint32_t>(body.size());
  if (size < 63)
    return Little(type << 6 | size, 2) + body;
  return Little(type << 6 | 0x3F, 2) + Little(size, 4) + body;
}

std::string TinySwf(int width, int height, unsigned colour, unsigned padding) {
  std::string rect(9, '\0'); // 5 bits of field size (16), then four 16-bit fields
  int at = 0;
  for (std::uint32_t field : {16u, 0u, width * 20u, 0u, height * 20u})
    for (int i = at == 0 ? 4 : 15; i >= 0; --i, ++at)
      if ((field >> i) & 1)
        rect[at / 8] = static_cast<char>(rect[at / 8] | (0x80 >> (at % 8)));
  std::string rgb = Little(colour >> 16, 1) + Little(colour >> 8, 1) + Little(colour, 1);
  std::string body = rect + Little(12 << 8, 2) + Little(1, 2) + Tag(9, rgb) + Tag(1, "");
  if (padding > 0)
    body += Tag(1000, std::string(padding, 'Z')); // an unknown tag: players skip it
  body += Tag(0, "");
  return "FWS" + Little(6, 1) + Little(static_cast<std::uint32_t>(8 + body.size()), 4) + body;
}

bool MakeClip(const std::filesystem::path& path, const std::string& arguments) {
  auto plain = path.parent_path() / ("clip" + path.extension().string());
  std::string command =
      "ffmpeg -nostdin -loglevel error -y " + arguments + " '" + plain.string() + "'";
  if (std::system(command.c_str()) != 0)
    return false;
  std::filesystem::rename(plain, path);
  return true;
}
