// Helpers shared by the carrier and pane hosting tests: a temporary folder
// that the tests' XDG_RUNTIME_DIR points at, and a loop that services the
// carrier on the test thread until a condition holds.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "platform/carrier.h"

struct TempFolder {
  std::string path;
  explicit TempFolder(const std::string& stem = "skerry-test") {
    std::string pattern = (std::filesystem::temp_directory_path() / (stem + "-XXXXXX")).string();
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) != nullptr)
      path = buffer.data();
  }
  ~TempFolder() {
    std::error_code ignored;
    if (!path.empty())
      std::filesystem::remove_all(path, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
};

// Services the carrier until done() holds or ms passed. Result: done().
inline bool ServiceUntil(const std::function<bool()>& done, int ms = 3000) {
  auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  while (!done()) {
    if (std::chrono::steady_clock::now() >= end)
      return false;
    CarrierPoll(10);
  }
  return true;
}

inline std::string ReadWholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

inline std::vector<std::string> FileLines(const std::string& path) {
  std::vector<std::string> lines;
  std::istringstream in(ReadWholeFile(path));
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}
