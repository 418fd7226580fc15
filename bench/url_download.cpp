// The URL download of a 256 MB body from a loopback server, against the curl
// command-line tool fetching the same address into a file in the same run.
// Each side runs three times, alternating; the best time of each counts.
// Prints the ratio curl time / our time: 1.0 is as fast as curl, above is
// faster (target: at least 0.9). Our side also writes the browser cache copy.
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>

#include "bench/loopback_server.h"
#include "platform/url_download.h"

extern char** environ;

namespace {

constexpr std::size_t BodySize = 256u << 20;

double Seconds(std::chrono::steady_clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

bool RunCurl(const std::string& url, const std::string& out) {
  const char* argv[] = {"curl", "-s", "-o", out.c_str(), url.c_str(), nullptr};
  pid_t pid = 0;
  if (posix_spawnp(&pid, "curl", nullptr, nullptr, const_cast<char**>(argv), environ) != 0)
    return false;
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

int main() {
  namespace fs = std::filesystem;
  char pattern[] = "/tmp/skerry-bench-XXXXXX";
  fs::path root = mkdtemp(pattern);
  ScriptServer server;
  StartServer(server, [](const std::string&) {
    return ServerReply{{{"HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(BodySize) +
                             "\r\nContent-Type: application/octet-stream\r\n\r\n",
                         0, BodySize}}};
  });
  std::string url = "http://127.0.0.1:" + std::to_string(server.port) + "/big.bin";
  std::string ours = (root / "ours.bin").string();
  std::string theirs = (root / "curl.bin").string();
  std::string cache = (root / "Cache").string();

  double best = 1e9;
  double bestCurl = 1e9;
  for (int round = 0; round < 3; ++round) {
    auto start = std::chrono::steady_clock::now();
    if (!RunCurl(url, theirs)) {
      std::printf("url_download: the curl tool failed\n");
      return 1;
    }
    bestCurl = std::min(bestCurl, Seconds(std::chrono::steady_clock::now() - start));
    fs::remove(theirs);

    start = std::chrono::steady_clock::now();
    int result = DownloadUrlToFile(url.c_str(), ours.c_str(), cache.c_str());
    best = std::min(best, Seconds(std::chrono::steady_clock::now() - start));
    if (result != 0 || fs::file_size(ours) != BodySize) {
      std::printf("url_download: our download failed (%d)\n", result);
      return 1;
    }
    fs::remove(ours);
    fs::remove_all(cache);
  }
  StopServer(server);
  fs::remove_all(root);
  std::printf("url_download: 256 MB ours %.3f s, curl tool %.3f s, ratio %.2f (target >= 0.9)\n",
              best, bestCurl, bestCurl / best);
  return 0;
}
