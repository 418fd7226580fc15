// What the road benchmarks share: a program folder of their own with its
// Define.ini, the system folder and the cache below it, the headless
// backend, and tools run as children.
#pragma once

#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/headless/headless.h"
#include "shell/module_path.h"

extern char** environ;

// Makes a fresh folder below /tmp with program/ (Web and Video inside)
// holding define as Define.ini, points the module path, the system folder
// and the cache there and installs the headless backend. Result: the folder.
inline std::filesystem::path BenchProgram(const std::string& define) {
  namespace fs = std::filesystem;
  char pattern[] = "/tmp/skerry-bench-XXXXXX";
  fs::path root = mkdtemp(pattern);
  fs::create_directories(root / "program" / "Web");
  fs::create_directories(root / "program" / "Video");
  std::ofstream(root / "program" / "Define.ini") << define;
  SetModulePathForTests((root / "program" / "skerry").string());
  setenv("SKERRY_SYSTEM_DIR", (root / "system").c_str(), 1);
  setenv("XDG_CACHE_HOME", (root / "cache").c_str(), 1);
  HeadlessInstall();
  return root;
}

// Runs words as a child without a shell. Result: true when it exits with 0.
inline bool RunTool(std::vector<std::string> words) {
  std::vector<char*> argv;
  for (std::string& w : words)
    argv.push_back(w.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
    return false;
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
