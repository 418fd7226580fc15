// The whole download of a sorted list (list, two scans of each watch page,
// each video downloaded and kept as a Flash video under its title) against
// the curl command-line tool fetching the same video files in one run, from
// the same loopback server. Four videos of 64 MB; each side runs three
// times, alternating, and the best time of each counts. Prints the ratio
// curl time / our time: 1.0 is as fast as curl (target: at least 0.9).
#include <stdlib.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/bench_fixture.h"
#include "bench/loopback_server.h"
#include "panel/panel_state.h"
#include "platform/headless/headless.h"
#include "shell/module_path.h"
#include "video/video_jobs.h"

namespace {

constexpr int Videos = 4;
constexpr std::size_t VideoSize = 64u << 20;

double Seconds(std::chrono::steady_clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

bool RunCurl(const std::vector<std::string>& urls, const std::string& folder) {
  std::vector<std::string> words = {"curl", "-s"};
  for (std::size_t i = 0; i < urls.size(); ++i) {
    words.push_back("-o");
    words.push_back(folder + "/curl" + std::to_string(i) + ".flv");
    words.push_back(urls[i]);
  }
  return RunTool(words);
}

} // namespace

int main() {
  namespace fs = std::filesystem;
  fs::path root = BenchProgram("[Video]\nResolver=\n");

  ScriptServer server;
  std::string host;
  StartServer(server, [&](const std::string& request) {
    std::string target = request.substr(4, request.find(' ', 4) - 4);
    if (target.find("sortlink") != std::string::npos) {
      std::string list = "[Sorted]\n";
      for (int i = 1; i <= Videos; ++i)
        list += std::to_string(i) + "=" + host + "/v/" + std::to_string(i) + "\n";
      list += "[Title]\n1=Video 1/" + std::to_string(Videos) + "\n";
      for (int i = 2; i <= Videos; ++i)
        list += std::to_string(i) + "=Video " + std::to_string(i) + "\n";
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
    return ServerReply{{{"HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(VideoSize) +
                             "\r\nContent-Type: video/x-flv\r\n\r\nFLV\x01",
                         0, VideoSize - 4}}};
  });
  host = "http://127.0.0.1:" + std::to_string(server.port);
  std::vector<std::string> media;
  for (int i = 1; i <= Videos; ++i)
    media.push_back(host + "/m/" + std::to_string(i) + ".flv");

  fs::path ours = root / "ours";
  fs::path theirs = root / "curl";
  double best = 1e9, bestCurl = 1e9;
  for (int round = 0; round < 3; ++round) {
    fs::create_directories(theirs);
    auto start = std::chrono::steady_clock::now();
    if (!RunCurl(media, theirs.string())) {
      std::printf("sorted_list: the curl tool failed\n");
      return 1;
    }
    bestCurl = std::min(bestCurl, Seconds(std::chrono::steady_clock::now() - start));
    fs::remove_all(theirs);

    fs::create_directories(ours);
    VideoCollectRecord& v = VideoCollect();
    v.CollectListUrl.Set(host + "/Show/sortlink.htm");
    v.CollectDir.Set(ours.string());
    v.CollectFormat = 0;
    start = std::chrono::steady_clock::now();
    int count = DownloadSortedList(0);
    best = std::min(best, Seconds(std::chrono::steady_clock::now() - start));
    std::size_t files = 0;
    for (const auto& e : fs::directory_iterator(ours))
      files += e.file_size() == VideoSize ? 1 : 0;
    if (count != Videos || files != static_cast<std::size_t>(Videos)) {
      std::printf("sorted_list: our download failed (%d entries, %zu files)\n", count, files);
      return 1;
    }
    fs::remove_all(ours);
    fs::remove_all(root / "cache");
  }
  StopServer(server);
  SetModulePathForTests("");
  fs::remove_all(root);
  std::printf("sorted_list: %d videos of 64 MB ours %.3f s, curl tool %.3f s, ratio %.2f "
              "(target >= 0.9)\n",
              Videos, best, bestCurl, bestCurl / best);
  return 0;
}
