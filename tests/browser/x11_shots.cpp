// Screenshots with ImageMagick's import of the root window; colours by
// cropping a box and scaling it to one pixel.
#include "x11_shots.h"

#include <cstdio>
#include <cstdlib>
#include <signal.h>
#include <sys/wait.h>
#include <thread>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

bool Ended(pid_t pid, std::chrono::seconds wait, int* status) {
  auto deadline = Clock::now() + wait;
  int s = 0;
  while (Clock::now() < deadline) {
    pid_t r = waitpid(pid, &s, WNOHANG);
    if (r == pid) {
      if (status)
        *status = s;
      return true;
    }
    std::this_thread::sleep_for(100ms);
  }
  return false;
}

void Stop(pid_t pid) {
  if (pid <= 0)
    return;
  kill(pid, SIGTERM);
  if (!Ended(pid, 10s)) {
    kill(pid, SIGKILL);
    Ended(pid, 10s);
  }
}

fs::path ShotPath(const std::string& name) {
  fs::path dir = fs::path(SKERRY_SOURCE_DIR) / "screenshots";
  fs::create_directories(dir);
  return dir / name;
}

bool Screenshot(const fs::path& file) {
  std::string command = "import -window root '" + file.string() + "' 2>/dev/null";
  return std::system(command.c_str()) == 0;
}

unsigned MeanColour(const fs::path& picture, int x, int y, int w, int h) {
  std::string command = "convert '" + picture.string() + "' -crop " + std::to_string(w) + "x" +
                        std::to_string(h) + "+" + std::to_string(x) + "+" + std::to_string(y) +
                        " +repage -resize '1x1!' -depth 8 rgb:- 2>/dev/null";
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe)
    return ~0u;
  unsigned char rgb[3];
  size_t got = fread(rgb, 1, 3, pipe);
  pclose(pipe);
  if (got != 3)
    return ~0u;
  return (rgb[0] << 16) | (rgb[1] << 8) | rgb[2];
}

bool Near(unsigned a, unsigned b) {
  for (int shift = 0; shift <= 16; shift += 8) {
    int d = static_cast<int>((a >> shift) & 0xFF) - static_cast<int>((b >> shift) & 0xFF);
    if (d < -12 || d > 12)
      return false;
  }
  return true;
}

unsigned AwaitColour(const fs::path& file, unsigned colour, int x, int y, int w, int h,
                     std::chrono::seconds wait) {
  auto deadline = Clock::now() + wait;
  unsigned seen = ~0u;
  do {
    if (Screenshot(file)) {
      seen = MeanColour(file, x, y, w, h);
      if (Near(seen, colour))
        return seen;
    }
    std::this_thread::sleep_for(500ms);
  } while (Clock::now() < deadline);
  return seen;
}

std::string Hex(unsigned colour) {
  char text[16];
  std::snprintf(text, sizeof text, "#%06X", colour);
  return text;
}
