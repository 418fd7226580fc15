// The wall time of a 1,000-entry video list with 40,000 copies of watch
// pages in the browser cache (what earlier lists left behind) against the
// same list with an empty cache, in one run, from one loopback server. Every
// entry has its watch page; every 50th page names a small Flash video, the
// others a media address that answers 404, so the run weighs the road's own
// work more than transfers. Two rounds, each side first once, best of each. Prints the
// ratio full / empty: 1.0 is no cost of the copies (target: below 1.2).
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "bench/bench_fixture.h"
#include "bench/loopback_server.h"
#include "platform/headless/headless.h"
#include "shell/module_path.h"
#include "video/video_jobs.h"

namespace {

constexpr int Entries = 1000;
constexpr int Copies = 40000;

double Seconds(std::chrono::steady_clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

void FillCache(const std::filesystem::path& cache) {
  const char* names[] = {"A0000001", "B0000002", "C0000003", "D0000004"};
  for (const char* name : names) {
    std::filesystem::create_directories(cache / name);
    for (int n = 1; n <= Copies / 4; ++n) {
      std::string file = (cache / name).string() + "/watch[" + std::to_string(n) + "]";
      close(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    }
  }
}

} // namespace

int main() {
  namespace fs = std::filesystem;
  fs::path root = BenchProgram("[Video]\nResolver=\n");

  std::string clipPath = (root / "clip.flv").string();
  std::string make = "ffmpeg -nostdin -loglevel error -y -f lavfi -i testsrc=size=160x120:rate=25 "
                     "-t 1 -c:v flv1 '" +
                     clipPath + "'";
  if (std::system(make.c_str()) != 0) {
    std::printf("list_cache: no clip (ffmpeg failed)\n");
    return 1;
  }
  std::ifstream in(clipPath, std::ios::binary);
  const std::string clip(std::istreambuf_iterator<char>(in), {});

  ScriptServer server;
  std::string host;
  StartServer(server, [&](const std::string& request) {
    std::string target = request.substr(4, request.find(' ', 4) - 4);
    if (target.find("sortlink") != std::string::npos) {
      std::string list = "[Sorted]\n";
      for (int i = 1; i <= Entries; ++i)
        list += std::to_string(i) + "=" + host + "/v/" + std::to_string(i) + "\n";
      list += "[Title]\n1=Video 1/" + std::to_string(Entries) + "\n";
      return PlainReply(list);
    }
    std::size_t watch = target.find("/watch?v=");
    if (watch != std::string::npos) {
      std::string media = host + "/m/" + target.substr(watch + 9) + ".flv";
      std::string escaped;
      for (char c : media)
        escaped += c == ':' ? "%3A" : c == '/' ? "%2F" : std::string(1, c);
      return PlainReply("<script>var v = \"fmt_url_map=34%7C" + escaped + "&amp;x\";</script>");
    }
    int n = std::atoi(target.c_str() + 3);
    return n % 50 == 0 ? PlainReply(clip) : PlainReply("no", "404 Not Found");
  });
  host = "http://127.0.0.1:" + std::to_string(server.port);

  double best[2] = {1e9, 1e9}; // empty, full
  for (int round = 0; round < 2; ++round) {
    for (int turn = 0; turn < 2; ++turn) {
      int full = (round + turn) % 2; // each side first once
      fs::path home = root / ("cache" + std::to_string(round) + std::to_string(full));
      setenv("XDG_CACHE_HOME", home.c_str(), 1);
      if (full)
        FillCache(home / "skerry" / "Cache");
      fs::path out = root / "out";
      fs::create_directories(out);
      VideoCollectRecord& v = VideoCollect();
      v.CollectListUrl.Set(host + "/Show/sortlink.htm");
      v.CollectDir.Set(out.string());
      v.CollectFormat = 0;
      auto start = std::chrono::steady_clock::now();
      int count = DownloadSortedList(0);
      best[full] = std::min(best[full], Seconds(std::chrono::steady_clock::now() - start));
      std::size_t files = 0;
      for (const auto& e : fs::directory_iterator(out))
        files += e.is_regular_file() ? 1 : 0;
      if (count != Entries || files != Entries / 50) {
        std::printf("list_cache: the list failed (%d entries, %zu files)\n", count, files);
        return 1;
      }
      fs::remove_all(out);
      fs::remove_all(home);
    }
  }
  StopServer(server);
  SetModulePathForTests("");
  fs::remove_all(root);
  std::printf("list_cache: %d entries, empty cache %.3f s, %d copies %.3f s, ratio %.2f "
              "(target < 1.2)\n",
              Entries, best[0], Copies, best[1], best[1] / best[0]);
  return 0;
}
