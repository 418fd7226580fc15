// The conversion road on a 30 s clip of the old site's form (Flash video,
// 640x360, 1 Mbit/s, noisy picture) to the PAL DVD row: the whole road
// (ConvertJob with its polling and fixed sleeps, the runner reading ffmpeg's
// progress, the copy to the target folder, the deletes) against ffmpeg alone
// run on the same conversion in the same run. Each side runs three times,
// alternating; the best time of each counts. Prints road / ffmpeg in wall
// time (target: below 1.15) and the same ratio in processor time (this
// process and its children), which a loaded machine disturbs less.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "bench/bench_fixture.h"
#include "video/convert.h"
#include "video/video_jobs.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

// Once a measurement is over, the job's idle end is hurried along; while it
// runs, the job paces itself as in the program (no hook installed).
void QuickSleep(unsigned) {
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

double Seconds(Clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

// Processor time so far of this process and its waited-for children.
double CpuSeconds() {
  double total = 0;
  for (int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage u{};
    getrusage(who, &u);
    total +=
        u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
  }
  return total;
}

// ffmpeg alone: the row's command, no progress, output in the folder.
double Alone(const std::string& clip, const std::string& out, double* cpu) {
  double c0 = CpuSeconds();
  auto t0 = Clock::now();
  std::vector<std::string> args = {"ffmpeg", "-nostdin", "-loglevel", "error"};
  for (const std::string& a : ConversionArguments(27, clip, out, FfmpegBuild(FfmpegPath())))
    args.push_back(a);
  if (!RunTool(args))
    std::fprintf(stderr, "ffmpeg alone failed\n");
  double took = Seconds(Clock::now() - t0);
  *cpu = CpuSeconds() - c0;
  return took;
}

// The road: a download lands in the drop place; timed until the result
// stands in the target folder and the source is gone.
double Road(const std::string& clip, const fs::path& dir, double* cpu) {
  ResetVideoCollect();
  VideoCollect().CollectFormat = 27;
  VideoJob& job = VideoCollect().VideoJobs[0];
  fs::path target = dir / "target";
  fs::create_directories(target);
  job.ConvertTarget.Set(target.string());
  SetVideoSleepForTests(nullptr);
  std::thread worker([] { ConvertJob(0); });
  fs::path source = dir / "Clip0000~1";
  fs::copy_file(clip, dir / ".incoming", fs::copy_options::overwrite_existing);
  double c0 = CpuSeconds();
  auto t0 = Clock::now();
  fs::rename(dir / ".incoming", source);
  job.ConvertBase.Set((dir / "Clip0000").string());
  fs::path result = target / "Clip0000~1.mpg";
  while (!fs::exists(result) || fs::exists(source))
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  double took = Seconds(Clock::now() - t0);
  *cpu = CpuSeconds() - c0;
  SetVideoSleepForTests(QuickSleep);
  job.ConvertTarget.Clear();
  worker.join();
  fs::remove(result);
  return took;
}

} // namespace

int main() {
  char pattern[] = "/tmp/skerry-bench-XXXXXX";
  fs::path root = mkdtemp(pattern);
  std::string clip = (root / "clip.flv").string();
  if (!RunTool({"ffmpeg",
                "-nostdin",
                "-loglevel",
                "error",
                "-y",
                "-f",
                "lavfi",
                "-i",
                "testsrc2=size=640x360:rate=25,noise=alls=20:allf=t",
                "-f",
                "lavfi",
                "-i",
                "sine=frequency=440",
                "-t",
                "30",
                "-c:v",
                "flv1",
                "-b:v",
                "1M",
                "-c:a",
                "mp3",
                "-ar",
                "22050",
                clip})) {
    std::fprintf(stderr, "could not make the clip\n");
    return 1;
  }
  double alone = 1e9, road = 1e9, aloneCpu = 1e9, roadCpu = 1e9;
  for (int i = 0; i < 3; ++i) {
    double cpu = 0;
    alone = std::min(alone, Alone(clip, (root / "alone.mpg").string(), &cpu));
    aloneCpu = std::min(aloneCpu, cpu);
    road = std::min(road, Road(clip, root, &cpu));
    roadCpu = std::min(roadCpu, cpu);
  }
  std::printf("ffmpeg alone: %.2f s, whole road: %.2f s\n", alone, road);
  std::printf("processor time: ffmpeg alone %.2f s, whole road %.2f s, ratio %.3f\n", aloneCpu,
              roadCpu, roadCpu / aloneCpu);
  std::printf("ratio road / ffmpeg: %.3f (target below 1.15)\n", road / alone);
  fs::remove_all(root);
  return 0;
}
