// The real program in temporary program, system and runtime folders on a
// virtual display, for the end-to-end runs of tests/collect and
// tests/link_x11; windows are found and answered with xdotool.
#pragma once

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/carrier_client.h"
#include "tests/web/web_env.h"

namespace run {

namespace fs = std::filesystem;

inline std::string Output(const std::string& command) {
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[256];
    while (fgets(buffer, sizeof buffer, pipe) != nullptr)
      out += buffer;
    pclose(pipe);
  }
  return out;
}

inline bool WaitFor(const std::function<bool()>& done, int seconds = 30) {
  for (auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
       std::chrono::steady_clock::now() < end;
       std::this_thread::sleep_for(std::chrono::milliseconds(100)))
    if (done())
      return true;
  return false;
}

// Whether the file at path comes to hold text within seconds.
inline bool WaitForText(const fs::path& path, const std::string& text, int seconds = 30) {
  return WaitFor([&] { return ReadWhole(path).find(text) != std::string::npos; }, seconds);
}

inline std::string Windows(const std::string& title) {
  return Output("xdotool search --onlyvisible --name '^" + title + "$' 2>/dev/null");
}

// The first visible window titled exactly title, or empty.
inline std::string WaitWindow(const std::string& title, int seconds = 60) {
  std::string id;
  WaitFor([&] { return bool(std::istringstream(Windows(title)) >> id); }, seconds);
  return id;
}

// Answers the next box titled title with key, as a user at the keyboard, and
// waits for it to go.
inline bool AnswerBox(const std::string& title, const std::string& key) {
  std::string id = WaitWindow(title);
  if (id.empty())
    return false;
  Output("xdotool windowfocus --sync " + id + " key " + key + " 2>/dev/null");
  WaitFor([&] { return Windows(title).find(id) == std::string::npos; }, 5);
  return true;
}

struct Program {
  fs::path root, program;
  std::vector<pid_t> started;

  Program() {
    char pattern[] = "/tmp/skerry-run-XXXXXX";
    root = mkdtemp(pattern);
    program = root / "program";
    fs::create_directories(program / "Web");
    fs::create_directories(program / "Game");
    fs::create_directories(root / "run");
    fs::permissions(root / "run", fs::perms::owner_all);
    fs::copy_file(SKERRY_PROGRAM, program / "skerry");
    fs::path resources = fs::path(SKERRY_SOURCE_DIR) / "resources" / "program";
    fs::copy_file(resources / "@VEXANH.BMP", program / "@VEXANH.BMP");
    fs::copy(resources / "Res", program / "Res", fs::copy_options::recursive);
  }
  ~Program() {
    // Only children not yet reaped: a reaped one's pid may be another process's by now.
    for (pid_t pid : started)
      if (waitpid(pid, nullptr, WNOHANG) == 0 && kill(pid, SIGKILL) == 0)
        waitpid(pid, nullptr, 0);
    std::error_code ignored; // a dying Pane may still be writing there
    if (!getenv("SKERRY_KEEP_TEST_FILES"))
      fs::remove_all(root, ignored);
  }

  // The shipped Define.ini and empty pages for those a start opens.
  void AddShippedFiles() const {
    fs::copy_file(fs::path(SKERRY_SOURCE_DIR) / "resources/program/Define.ini",
                  program / "Define.ini");
    for (const char* page : {"iStart.htm", "iClock.htm", "Index.htm"})
      std::ofstream(program / "Web" / page) << "<html></html>";
  }

  // Starts the program with args and extra environment, again when it dies at
  // once because the loaded virtual display refused its connection.
  pid_t Start(std::vector<std::string> args = {},
              const std::vector<std::pair<std::string, std::string>>& env = {}) {
    args.insert(args.begin(), (program / "skerry").string());
    for (int attempt = 0;; ++attempt) {
      pid_t pid = fork();
      if (pid == 0) {
        setenv("XDG_RUNTIME_DIR", (root / "run").c_str(), 1);
        setenv("SKERRY_SYSTEM_DIR", (root / "system").c_str(), 1);
        setenv("XDG_CACHE_HOME", (root / "cache").c_str(), 1);
        setenv("LC_ALL", "C", 1);
        for (const auto& [name, value] : env)
          setenv(name.c_str(), value.c_str(), 1);
        std::vector<char*> argv;
        for (std::string& arg : args)
          argv.push_back(arg.data());
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
      }
      started.push_back(pid);
      int status = 0;
      auto settled = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
      while (std::chrono::steady_clock::now() < settled && waitpid(pid, &status, WNOHANG) == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
      if (kill(pid, 0) == 0 || attempt == 2)
        return pid;
    }
  }

  // Connects client to the Panel's carrier socket and greets it; false when
  // no Panel answers within seconds.
  bool Connect(CarrierConnection* client, int seconds = 30) const {
    std::string socket = (root / "run" / "skerry" / "panel.sock").string();
    return WaitFor(
        [&] {
          std::string error;
          long long native = 0;
          if (CarrierConnect(client, socket, &error) &&
              CarrierClientHello(client, getpid(), 3000, &native))
            return true;
          CarrierDisconnect(client);
          return false;
        },
        seconds);
  }

  // The exit code; -1 when killed or still running after 30 s.
  static int WaitExit(pid_t pid) {
    int status = 0;
    if (!WaitFor([&] { return waitpid(pid, &status, WNOHANG) == pid; }))
      return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
};

} // namespace run
