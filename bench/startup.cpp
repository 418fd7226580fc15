// Start-up to first paint: the program against a bare frameless Qt window
// showing the same picture (bench/startup/bare_panel.cpp), both started as
// processes on the same X display and timed until three pixels of the face
// stand on the screen where the centred panel lies. Prints the ratio of the
// medians; the target is below 1.5. Without a display it runs itself under
// xvfb-run.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "platform/bitmap.h"

#ifndef SKERRY_STARTUP_UNAVAILABLE
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <csignal>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

struct Probe {
  int x, y;
  unsigned long colour;
};

unsigned long SkinColour(const Bitmap& skin, int x, int y) {
  const std::uint8_t* p =
      skin.Bits.data() + std::size_t(skin.Height - 1 - y) * skin.RowLength() + 3 * x;
  return (unsigned long)(p[2]) << 16 | (unsigned long)(p[1]) << 8 | p[0];
}

bool Shown(Display* display, int left, int top, const std::vector<Probe>& probes) {
  Window root = DefaultRootWindow(display);
  for (const Probe& probe : probes) {
    XImage* image =
        XGetImage(display, root, left + probe.x, top + probe.y, 1, 1, AllPlanes, ZPixmap);
    if (image == nullptr)
      return false;
    unsigned long pixel = XGetPixel(image, 0, 0) & 0xFFFFFF;
    XDestroyImage(image);
    if (pixel != probe.colour)
      return false;
  }
  return true;
}

// Milliseconds from the start of argv until the face shows; -1 on time-out.
double TimeToFace(Display* display, int left, int top, const std::vector<Probe>& probes,
                  std::vector<std::string> args) {
  std::vector<char*> argv;
  for (auto& a : args)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  auto start = std::chrono::steady_clock::now();
  pid_t pid = 0;
  if (posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
    return -1;
  double took = -1;
  while (true) {
    std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
    if (Shown(display, left, top, probes)) {
      took = elapsed.count();
      break;
    }
    if (elapsed.count() > 20000)
      break;
    std::this_thread::sleep_for(std::chrono::microseconds(500));
  }
  kill(pid, SIGTERM);
  waitpid(pid, nullptr, 0);
  for (int i = 0; i < 400 && Shown(display, left, top, probes); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  return took;
}

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? -1 : v[v.size() / 2];
}

} // namespace

int main(int, char** argv) {
  if (std::getenv("DISPLAY") == nullptr) {
    execlp("xvfb-run", "xvfb-run", "-a", "-s", "-noreset -screen 0 1280x800x24", argv[0],
           (char*)nullptr);
    std::perror("bench_startup: xvfb-run");
    return 1;
  }
  std::string dir = SKERRY_PROGRAM_DIR;
  Bitmap skin;
  if (!LoadBitmapFile(dir + "/@VEXANH.BMP", &skin) || skin.BitsPerPixel != 24) {
    std::fprintf(stderr, "bench_startup: no skin in %s\n", dir.c_str());
    return 1;
  }
  char state[] = "/tmp/skerry-bench-XXXXXX";
  if (mkdtemp(state) == nullptr)
    return 1;
  setenv("XDG_RUNTIME_DIR", state, 1);
  setenv("SKERRY_SYSTEM_DIR", (std::string(state) + "/sys").c_str(), 1);
  Display* display = XOpenDisplay(nullptr);
  if (display == nullptr)
    return 1;
  int left = (DisplayWidth(display, 0) - 350) / 2;
  int top = (DisplayHeight(display, 0) - 593) / 2;
  // Pixels of the body, the top row and a big button at rest: no blink or
  // hover changes them.
  std::vector<Probe> probes;
  for (auto [x, y] : {std::pair{175, 10}, std::pair{316, 66}, std::pair{100, 480}})
    probes.push_back(Probe{x, y, SkinColour(skin, x, y)});

  std::vector<double> ours, bare;
  const int rounds = 9;
  for (int i = 0; i < rounds; ++i) {
    bare.push_back(TimeToFace(display, left, top, probes, {BARE_PANEL, dir + "/@VEXANH.BMP"}));
    ours.push_back(TimeToFace(display, left, top, probes, {dir + "/skerry"}));
  }
  XCloseDisplay(display);
  std::system((std::string("rm -rf ") + state).c_str());
  double a = Median(ours), b = Median(bare);
  if (a < 0 || b <= 0) {
    std::printf("startup: the face never showed (program %.1f ms, bare %.1f ms)\n", a, b);
    return 1;
  }
  std::printf("startup: program %.1f ms, bare Qt window %.1f ms, ratio %.2f (target < 1.5)\n", a, b,
              a / b);
  return 0;
}

#else
int main() {
  std::puts("startup: needs the program, Qt and X11; not built here");
  return 0;
}
#endif
