// Claiming a browser cache name for a watch page ("watch[N]") with 40,000
// copies of that name already in the cache (10,000 in each of its four
// subfolders, as a long run of video lists left them) against an empty
// cache, in one run. 2,000 claims a side, three rounds alternating, best of
// each. Prints the ratio full / empty: 1.0 is no cost of the copies (target:
// below 1.2).
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>

#include "platform/url_download.h"

namespace {

constexpr int Copies = 40000;
constexpr int Subfolders = 4;
constexpr int Claims = 2000;

double Seconds(std::chrono::steady_clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

// A cache with Copies copies of watch[N] spread over its subfolders.
void FillCache(const std::filesystem::path& cache) {
  const char* names[Subfolders] = {"A0000001", "B0000002", "C0000003", "D0000004"};
  for (const char* name : names) {
    std::filesystem::create_directories(cache / name);
    for (int n = 1; n <= Copies / Subfolders; ++n) {
      std::string file = (cache / name).string() + "/watch[" + std::to_string(n) + "]";
      close(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    }
  }
}

// Seconds for Claims claims in cache; false when one failed.
bool TimeClaims(const std::filesystem::path& cache, double* seconds) {
  auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < Claims; ++i) {
    std::string url = "http://tube.test/watch?v=" + std::to_string(i);
    if (ClaimCacheFile(cache.c_str(), url.c_str()).empty())
      return false;
  }
  *seconds = Seconds(std::chrono::steady_clock::now() - start);
  return true;
}

} // namespace

int main() {
  namespace fs = std::filesystem;
  char pattern[] = "/tmp/skerry-bench-XXXXXX";
  fs::path root = mkdtemp(pattern);
  double empty = 1e9, full = 1e9;
  for (int round = 0; round < 3; ++round) {
    fs::path bare = root / ("empty" + std::to_string(round));
    fs::path filled = root / ("full" + std::to_string(round));
    fs::create_directories(bare);
    FillCache(filled);
    double a = 0, b = 0;
    if (!TimeClaims(bare, &a) || !TimeClaims(filled, &b)) {
      std::printf("cache_claim: a claim failed\n");
      return 1;
    }
    empty = std::min(empty, a);
    full = std::min(full, b);
    fs::remove_all(bare);
    fs::remove_all(filled);
  }
  fs::remove_all(root);
  std::printf("cache_claim: %d claims, empty cache %.3f s, %d copies %.3f s, ratio %.2f "
              "(target < 1.2)\n",
              Claims, empty, Copies, full, full / empty);
  return 0;
}
