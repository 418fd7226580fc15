// Helpers shared by many test folders:
// a temporary folder, and a loop that services the carrier on the test thread
// until a condition holds.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "platform/carrier.h"

struct TempFolder {
  std::string path;
  explicit TempFolder(const std::string& stem = "skerry-test") {
    std::string pattern = (std::filesystem::temp_directory_path() / (stem + "-XXXXXX")).string();
    path = mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::string operator/(const std::string& name) const { return path + "/" + name; }
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

inline std::vector<std::string> FileLines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream in(path, std::ios::binary);
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}
