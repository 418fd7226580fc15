// The setting the web tests run in: a temporary program folder with its
// Define.ini, system folder and cache home, no pacing sleeps and a resolver
// that gives up quickly.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "shell/module_path.h"
#include "web/fetcher.h"

struct WebEnv {
  std::filesystem::path root;
  std::filesystem::path program;

  std::string File(const std::string& name) const { return (root / name).string(); }
  std::string CacheFolder() const { return (root / "cache/skerry/Cache").string(); }
};

inline std::string ReadWhole(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteWhole(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

// FetchToFile into file (FetchToFileUpTo when upTo), its console text swallowed.
inline int FetchInto(const char* url, const std::string& file, std::uint64_t upTo = 0) {
  char path[FetchPathSize];
  std::snprintf(path, sizeof path, "%s", file.c_str());
  testing::internal::CaptureStdout();
  int result = upTo != 0 ? FetchToFileUpTo(url, path, upTo) : FetchToFile(url, path);
  testing::internal::GetCapturedStdout();
  return result;
}

inline WebEnv MakeWebEnv(const std::string& define = "") {
  WebEnv env;
  char pattern[] = "/tmp/skerry-web-XXXXXX";
  env.root = mkdtemp(pattern);
  env.program = env.root / "program";
  std::filesystem::create_directories(env.program);
  WriteWhole((env.program / "Define.ini").string(), "[Web]\nFetchTimeout=2\n" + define);
  SetModulePathForTests((env.program / "skerry").string());
  setenv("SKERRY_SYSTEM_DIR", (env.root / "system").c_str(), 1);
  setenv("XDG_CACHE_HOME", (env.root / "cache").c_str(), 1);
  setenv("RES_OPTIONS", "timeout:1 attempts:1", 1);
  SetWebSleepForTests([](unsigned) {});
  return env;
}

inline void DropWebEnv(WebEnv& env) {
  SetWebSleepForTests(nullptr);
  SetModulePathForTests("");
  std::error_code ignored;
  std::filesystem::remove_all(env.root, ignored);
}
