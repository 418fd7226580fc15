// A list of HLS watch pages collected as MP4 (the list, the scans of each
// page, the resolver fetching each stream, the hand-over and the delivery)
// against yt-dlp alone fetching the same pages with the same format choice,
// one run per page as the road runs it, from the same loopback server. Two
// pages of one 40 s 720p stream; each side runs twice, alternating, and the
// best time of each counts. Prints the ratio our time / yt-dlp time (target:
// below 1.15), and beside it the time of one yt-dlp run for all pages.
#include <stdlib.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_fixture.h"
#include "panel/panel_state.h"
#include "platform/headless/headless.h"
#include "shell/module_path.h"
#include "tests/testweb/test_web.h"
#include "video/video_jobs.h"

namespace {

constexpr int Pages = 2;

double Seconds(std::chrono::steady_clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

// yt-dlp with the options the road gives it for a folder format.
bool YtDlp(const std::vector<std::string>& pages, const std::string& folder) {
  std::vector<std::string> words = {"yt-dlp",
                                    "--ignore-config",
                                    "--no-warnings",
                                    "-q",
                                    "-S",
                                    "res:720",
                                    "-f",
                                    "bv*+ba/b/bv*",
                                    "--merge-output-format",
                                    "mp4",
                                    "-o",
                                    folder + "/%(id)s.%(ext)s",
                                    "--no-playlist"};
  words.push_back("--");
  words.insert(words.end(), pages.begin(), pages.end());
  return RunTool(words);
}

int CountVideos(const std::filesystem::path& folder) {
  int count = 0;
  for (const auto& e : std::filesystem::directory_iterator(folder))
    count += e.path().extension() == ".mp4" && e.file_size() > (1u << 20) ? 1 : 0;
  return count;
}

} // namespace

int main() {
  namespace fs = std::filesystem;
  fs::path root = BenchProgram("[Video]\nResolver=yt-dlp --no-warnings\n");
  setenv("SKERRY_SOURCE_DIR", SKERRY_SOURCE_DIR, 0); // where the test web's server lies

  TestWeb web(root / "web");
  fs::path site = web.Site("127.0.0.1");
  fs::create_directories(site / "hls");
  std::string make = "ffmpeg -nostdin -loglevel error -y -f lavfi -i "
                     "testsrc2=size=1280x720:rate=25 -f lavfi -i sine=sample_rate=44100 -t 40 "
                     "-c:v libx264 -preset ultrafast -qp 0 -g 25 -c:a aac -f hls -hls_time 2 "
                     "-hls_playlist_type vod -hls_segment_filename '" +
                     (site / "hls").string() + "/s%03d.ts' '" + (site / "hls").string() +
                     "/index.m3u8'";
  if (std::system(make.c_str()) != 0 || !web.Start()) {
    std::printf("stream_list: no stream or no server\n");
    return 1;
  }
  std::string host = "http://127.0.0.1:" + std::to_string(web.Port());
  std::string list = "[Sorted]\n", titles = "[Title]\n";
  std::vector<std::string> pages;
  for (int i = 1; i <= Pages; ++i) {
    std::string id = std::to_string(i);
    std::ofstream(site / ("page" + id + ".html"))
        << "<html><video src=\"/hls/index.m3u8\"></video></html>";
    web.Answer("127.0.0.1", "/watch?v=" + id + "&fmt=18", {"file=page" + id + ".html"});
    pages.push_back(host + "/watch?v=" + id + "&fmt=18");
    list += id + "=" + host + "/v/" + id + "\n";
    titles += id + "=Stream " + id + (i == 1 ? "/" + std::to_string(Pages) : "") + "\n";
  }
  web.Put("127.0.0.1", "/Show/sortlink.htm", list + titles);

  fs::path ours = root / "ours";
  fs::path theirs = root / "theirs";
  double best = 1e9, bestAlone = 1e9, bestOneRun = 1e9;
  for (int round = 0; round < 2; ++round) {
    fs::create_directories(theirs);
    auto start = std::chrono::steady_clock::now();
    bool ok = true;
    for (const std::string& page : pages)
      ok = YtDlp({page}, theirs.string()) && ok;
    bestAlone = std::min(bestAlone, Seconds(std::chrono::steady_clock::now() - start));
    fs::remove_all(theirs);
    fs::create_directories(theirs);
    start = std::chrono::steady_clock::now();
    ok = YtDlp(pages, theirs.string()) && ok;
    bestOneRun = std::min(bestOneRun, Seconds(std::chrono::steady_clock::now() - start));
    if (!ok || CountVideos(theirs) != Pages) {
      std::printf("stream_list: yt-dlp alone failed\n");
      return 1;
    }
    fs::remove_all(theirs);

    fs::create_directories(ours);
    ResetVideoCollect();
    VideoCollectRecord& v = VideoCollect();
    v.CollectListUrl.Set(host + "/Show/sortlink.htm");
    v.CollectDir.Set(ours.string());
    v.CollectFormat = FormatMp4;
    v.VideoJobs[0].ConvertTarget.Set(ours.string());
    start = std::chrono::steady_clock::now();
    StartVideoThread(DownloadSortedList, 0);
    StartVideoThread(ConvertJob, 0);
    while (RunningVideoThreads() > 0)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    best = std::min(best, Seconds(std::chrono::steady_clock::now() - start));
    if (CountVideos(ours) != Pages) {
      std::printf("stream_list: our road delivered %d of %d videos\n", CountVideos(ours), Pages);
      return 1;
    }
    fs::remove_all(ours);
  }
  web.Stop();
  SetModulePathForTests("");
  fs::remove_all(root);
  std::printf("stream_list: %d HLS pages of 40 s 720p, ours %.3f s, yt-dlp alone %.3f s "
              "(one run for all: %.3f s), ratio %.2f (target < 1.15)\n",
              Pages, best, bestAlone, bestOneRun, best / bestAlone);
  return 0;
}
